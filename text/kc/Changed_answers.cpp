// Compares the container before and after an edit. Example: the leaves 2 (sport) and 3 (tax) get
// the names games and money. Each is still the only leaf of its category, so the answers have other
// names, but the same scores. If both get the name games, an answer has one label less, and the
// lead over the second one changes.
#include "text/kc/Changed_answers.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "text/kc/Kept_confidence.h"

namespace zandrel {

namespace {

// The settings of which a score can depend, at once or after the next learning. The others only
// bound what is learned, or concern bootstraps and archives.
constexpr std::array<std::string_view, 15> kSettingsOfScores = {"ClipValue",
                                                                "UseLikelihoodInTrain",
                                                                "UseLikelihoodInMatch",
                                                                "UseOmitMethod",
                                                                "LikelihoodHistogramResolution",
                                                                "ProfileSize",
                                                                "NumberOfSlices",
                                                                "SuppressM",
                                                                "SuppressMThreshold",
                                                                "UseNewZC",
                                                                "UseNormalization",
                                                                "ActivationInside",
                                                                "ActivationOutside",
                                                                "ActivationTotal",
                                                                "FullPropogation"};

bool is_of_scores(const Kc_setting& setting) {
    return std::find(kSettingsOfScores.begin(), kSettingsOfScores.end(), setting.key) !=
           kSettingsOfScores.end();
}

}  // namespace

std::vector<Changed_answers::Node> Changed_answers::nodes_of(const zeManager& manager) {
    const zeLogicalTree& tree = *manager.m_logical_tree;
    std::map<std::string_view, unsigned int> first_leaves;  // by category
    for (const auto& [id, node] : tree.nodes) {
        if (node.type == ZE_LEAF) {
            const auto [first, is_new] = first_leaves.try_emplace(node.category.view(), id);
            first->second = std::min(first->second, id);
        }
    }
    std::vector<Node> nodes;
    for (const auto& [id, node] : tree.nodes) {
        const unsigned int first = node.type == ZE_LEAF ? first_leaves.at(node.category.view()) : 0;
        nodes.emplace_back(id, node.type, node.attributes, node.threshold, node.rule.str(),
                           node.parent, first);
    }
    std::sort(nodes.begin(), nodes.end());  // the table of nodes has no order
    return nodes;
}

std::vector<Kc_setting> Changed_answers::settings_of(qtPtrLight<zeManager>& manager) {
    std::vector<Kc_setting> settings = kc_settings(manager);
    std::erase_if(settings, [](const Kc_setting& each) { return !is_of_scores(each); });
    // The path of a classifier is only its name. Renamed classifiers have the same settings.
    for (Kc_setting& setting : settings) {
        for (Other_value& other : setting.others) {
            other.path.clear();
        }
        std::sort(setting.others.begin(), setting.others.end(),
                  [](const Other_value& left, const Other_value& right) {
                      return left.value < right.value;
                  });
    }
    return settings;
}

Changed_answers::Changed_answers(qtPtrLight<zeManager>& manager)
    : m_has_map(manager->m_config.get_optional(kConfidenceKey) != nullptr) {
    if (m_has_map) {
        m_nodes = nodes_of(*manager);
        m_settings = settings_of(manager);
    }
}

std::string Changed_answers::drop_confidence(const std::string& path,
                                             qtPtrLight<zeManager>& manager) const {
    if (!m_has_map) {
        return {};
    }
    std::string reason;
    if (nodes_of(*manager) != m_nodes) {
        reason = "its tree has changed";
    } else if (settings_of(manager) != m_settings) {
        reason = "its settings have changed";
    }
    if (reason.empty()) {
        return {};
    }
    forget_confidence(manager->m_config);
    manager->m_modified = true;  // the cached form writes the settings only if they have changed
    return forgotten_confidence(path, reason);
}

}  // namespace zandrel
