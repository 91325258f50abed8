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

#include "text/kc/Cached_kc.h"
#include "text/kc/Kept_confidence.h"

namespace zandrel {

namespace {

// The settings on which a score can depend, at once or after the next learning. The others only
// bound what is learned, or concern bootstraps and archives. The last one concerns only trees with
// rules.
constexpr std::string_view kSettingOfRules = "FullPropogation";
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
                                                                kSettingOfRules};

bool is_of_scores(const Kc_setting& setting) {
    return std::find(kSettingsOfScores.begin(), kSettingsOfScores.end(), setting.key) !=
           kSettingsOfScores.end();
}

bool has_rule_node(const zeManager& manager) {
    const auto& nodes = manager.m_logical_tree->nodes;
    return std::any_of(nodes.begin(), nodes.end(),
                       [](const auto& each) { return each.second.type == ZE_RULE; });
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
    const bool has_rules = has_rule_node(*manager);
    std::erase_if(settings, [has_rules](const Kc_setting& each) {
        return !is_of_scores(each) || (each.key == kSettingOfRules && !has_rules);
    });
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

Changed_answers::Changed_answers(qtPtrLight<zeManager>& manager) {
    const qtString* const map = manager->m_config.get_optional(kConfidenceKey);
    if (map != nullptr) {
        m_map = map->str();
        m_nodes = nodes_of(*manager);
        m_settings = settings_of(manager);
        manager->m_config.optional.erase(kConfidenceKey);
    }
}

std::string Changed_answers::settle_confidence(const std::string& path,
                                               qtPtrLight<zeManager>& manager) const {
    if (!m_map) {
        return {};
    }
    manager->m_modified = true;
    std::string reason;
    if (nodes_of(*manager) != m_nodes) {
        reason = "its tree has changed";
    } else if (settings_of(manager) != m_settings) {
        reason = "its settings have changed";
    }
    if (reason.empty()) {
        manager->m_config.set_optional(kConfidenceKey, *m_map);
        return {};
    }
    return forgotten_confidence(path, reason, is_cached(*manager));
}

}  // namespace zandrel
