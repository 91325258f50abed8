#include "cli/kc/Kc_tree.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <vector>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "cli/errors.h"
#include "cli/kc/Kc_paths.h"
#include "cli/text/Shown_text.h"

namespace cli {

namespace {

constexpr unsigned int kRootId = 1;
constexpr const char* kDefaultRule = "default";

// The statistical classifiers of a compact container, to be compared before and after an edit. An
// edit reaches them on many ways: nodes come and go, move, or change their type and take the nodes
// below along. All of them end in what a classifier holds, so that is what is looked at.
class Compact_guard {
public:
    explicit Compact_guard(zeManager& manager) : m_manager(manager) {
        if (m_manager.m_compact) {
            m_before = holdings();
        }
    }

    // A classifier that has gone may: it takes nothing from the others.
    // RAISES: Edit_refused.
    void check() const {
        if (m_before.empty()) {
            return;
        }
        const std::map<unsigned int, Holding> after = holdings();
        for (const auto& [id, holding] : m_before) {
            const auto now = after.find(id);
            if (now != after.end() && now->second != holding) {
                throw Edit_refused(
                    "the container is compact: without the statistics of training no category of "
                    "a statistical classifier can come or go");
            }
        }
    }

private:
    struct Holding {
        std::size_t features = 0;
        std::vector<const zeNode*> categories;

        bool operator==(const Holding& other) const = default;
    };

    // By the classifiers' ids.
    std::map<unsigned int, Holding> holdings() const {
        std::map<unsigned int, Holding> found;
        for (const auto& [id, node] : m_manager.m_logical_tree->nodes) {
            auto* const matcher = dynamic_cast<zeStat_matcher*>(
                m_manager.m_physical_tree->get_classifier(node.physical_node));
            if (matcher == nullptr) {
                continue;
            }
            Holding& holding = found[matcher->m_id];
            holding.features = matcher->m_table.size();
            for (const auto& profile : matcher->m_storage->m_profiles) {
                holding.categories.push_back(profile->m_node);
            }
            std::sort(holding.categories.begin(), holding.categories.end());
        }
        return found;
    }

    zeManager& m_manager;
    std::map<unsigned int, Holding> m_before;
};

// The tree says only that a rule is wrong; the parser says why.
void check_rule(const Node_attributes& attributes) {
    if (!attributes.rule || attributes.rule->empty() || *attributes.rule == kDefaultRule) {
        return;
    }
    try {
        const Rule_checker parsed(*attributes.rule);
    } catch (const qtX<RuleParser>& error) {
        throw Data_error("rule", shown_complaint(error.what()));
    }
}

unsigned char with_scoring(unsigned char attributes, bool is_scored) {
    return static_cast<unsigned char>(is_scored ? attributes & ~zeNode::NoScore
                                                : attributes | zeNode::NoScore);
}

// Gives a node what is asked for; `type_before` is that which its present marks go with.
void apply(const Node_attributes& attributes, unsigned char type_before, zeLogicalNode& node) {
    node.type = attributes.type.value_or(node.type);
    if (attributes.is_scored) {
        node.attributes = with_scoring(node.attributes, *attributes.is_scored);
    } else if ((node.type == ZE_LEAF) != (type_before == ZE_LEAF)) {
        node.attributes = with_scoring(node.attributes, node.type == ZE_LEAF);
    }
    node.rule = attributes.rule ? qtString(*attributes.rule) : node.rule;
    node.threshold = attributes.threshold.value_or(node.threshold);
    node.note1 = attributes.note1 ? qtString(*attributes.note1) : node.note1;
    node.note2 = attributes.note2 ? qtString(*attributes.note2) : node.note2;
}

}  // namespace

bool Node_attributes::empty() const {
    return !type && !rule && !threshold && !is_scored && !note1 && !note2;
}

void add_node(zeManager& manager, const std::string& path, const Node_attributes& attributes) {
    check_rule(attributes);
    zeLogicalTree& tree = *manager.m_logical_tree;
    const New_place place = find_new_place(tree, path);
    const Compact_guard guard(manager);
    zeLogicalNode node;
    node.parent = place.parent;
    node.category = Concept::insert_view(place.name);
    node.name = node.category;
    apply(attributes, ZE_LEAF, node);
    tree.AddLogicalNode(node);
    guard.check();
}

void change_node(zeManager& manager, const std::string& path, const Node_attributes& attributes) {
    check_rule(attributes);
    zeLogicalTree& tree = *manager.m_logical_tree;
    zeLogicalNode node = find_node(tree, path);
    const Compact_guard guard(manager);
    const unsigned char type_before = node.type;
    // The root's classifier is replaced in a way of its own.
    if (node.id == kRootId && attributes.type) {
        tree.ChangeRootType(*attributes.type);
        node.type = *attributes.type;
    }
    apply(attributes, type_before, node);
    tree.ChangeLogicalNode(node);
    guard.check();
}

void rename_node(zeManager& manager, const std::string& path, const std::string& name) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    zeLogicalNode node = find_node(tree, path);
    const bool names_container =
        node.id == kRootId && manager.m_config.kc_name.view() == node.name.view();
    node.name = Concept::insert_view(name);
    if (!manager.m_compat55) {
        node.category = node.name;
    }
    tree.ChangeLogicalNode(node);
    if (names_container) {
        manager.m_config.kc_name = name;
    }
}

void move_node(zeManager& manager, const std::string& path, const std::string& new_parent) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    const unsigned int id = find_node(tree, path).id;
    const unsigned int target = find_node(tree, new_parent).id;
    const Compact_guard guard(manager);
    tree.MoveLogicalNode(id, target);
    guard.check();
}

void delete_node(zeManager& manager, const std::string& path, bool keeps_concepts) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    const unsigned int id = find_node(tree, path).id;
    const Compact_guard guard(manager);
    tree.DelLogicalNode(id, !keeps_concepts);
    guard.check();
}

}  // namespace cli
