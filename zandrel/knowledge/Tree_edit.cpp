// The prediction of an edit's effects on a compact container. The edit is not tried: we follow its
// steps and note which classifiers gain or lose a category.
//
// Only classifiers without rules count, since rules are complete in a compact container. A
// classifier that the edit deletes may lose categories. Example: deleting the only category of a
// statistical node makes the node a leaf. Its classifier is deleted, and the edit is allowed. If
// the node has a second category, its classifier remains without one of them, and the edit is
// refused.
//
// If the number of classifiers in memory is limited, fetching one can delete another from memory.
// So we note the nodes of classifiers, not the classifiers, and fetch one for each question.
#include "zandrel/knowledge/Tree_edit.h"

#include <algorithm>
#include <map>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/knowledge/Classifier_type.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace zandrel {

namespace {

using Node_set = hash_set<zeNode*, zePointer_hash>;
using Logical_nodes = std::vector<zeLogicalNode*>;

// Collects what an edit does to the classifiers without rules.
class Edit_effects {
public:
    explicit Edit_effects(const zeManager& manager)
        : m_manager(manager), m_tree(*manager.m_logical_tree) {
        for (zeNode* const node : manager.m_physical_tree->GetClassifierNodes()) {
            if (has_learned(node)) {
                m_learned.push_back(node);
            }
        }
    }

    void add(const zeLogicalNode& node) {
        if (!m_tree.WillChangeParentToClassifier(node)) {
            gain(decider_from(node.parent));
            return;
        }
        zeLogicalNode parent = m_tree.GetNode(node.parent);
        parent.type = detail::type_for_first_child(!node.rule.empty());
        change(parent);
    }

    void remove(const zeLogicalNode& node) {
        note_deleted(node);
        Node_set leaving;
        for (const zeLogicalNode* const each : m_tree.Subtree(node)) {
            m_deleted.insert(each->physical_node);
            leaving.insert(each->physical_node);
        }
        lose_all(leaving);
        reduce(m_tree.GetNode(node.parent));
    }

    void move(const zeLogicalNode& node, unsigned int new_parent) {
        const zeLogicalNode* const from = m_tree.NearestClassifierNode(node.parent);
        const zeLogicalNode* const to = m_tree.NearestClassifierNode(new_parent);
        if (from == to && to != nullptr && detail::is_type_without_rules(to->type)) {
            return;  // Only links change.
        }
        zeLogicalNode moved = node;
        moved.parent = new_parent;
        add(moved);
        Logical_nodes gathered;
        m_tree.GatherFatherAndSons(&node, gathered);
        for (const zeLogicalNode* const each : gathered) {
            lose(decider_from(node.parent), each->physical_node);
            lose(each->physical_node->m_parent, each->physical_node);
        }
        reduce(m_tree.GetNode(node.parent));
    }

    void change(const zeLogicalNode& wanted) {
        const zeLogicalNode& node = m_tree.GetNode(wanted.id);
        if (node.id == 0 || wanted.type == node.type) {
            return;
        }
        if (node.type == ZE_LEAF) {
            leave_others(node);
        }
        Logical_nodes sons;
        m_tree.GatherSons(&node, sons);
        if (!sons.empty() && !detail::is_type_with_rules(node.type) &&
            !detail::is_type_with_rules(wanted.type)) {
            // The classifier above gains or loses the sons. In both cases `gain` notes that it
            // changes.
            gain(decider_from(node.parent));
        }
    }

    // Returns whether each classifier that gains or loses a category is deleted.
    bool are_harmless() const {
        return std::all_of(m_changed.begin(), m_changed.end(), [this](const auto& entry) {
            return m_deleted.count(entry.first) != 0;
        });
    }

private:
    // Returns whether the node has a classifier without rules.
    static bool has_learned(const zeNode* node) {
        return node != nullptr && node->m_classifier_id != 0 &&
               detail::is_type_without_rules(node->m_classifier_type);
    }

    // A classifier that is not in memory knows only children of its node.
    bool knows(zeNode* node, zeNode* category) const {
        if (!detail::is_in_memory(*node) && node->find_child(category) < 0) {
            return false;
        }
        const zeClassifier* const classifier = m_manager.m_physical_tree->get_classifier(node);
        return classifier != nullptr && classifier->knows(category);
    }

    // The node whose classifier decides the nodes below `id`, or null.
    zeNode* decider_from(unsigned int id) const {
        const zeLogicalNode* const node = m_tree.NearestClassifierNode(id);
        return node == nullptr ? nullptr : node->physical_node;
    }

    void gain(zeNode* node) {
        if (has_learned(node)) {
            m_changed[node];
        }
    }

    void lose(zeNode* node, zeNode* category) {
        if (has_learned(node) && knows(node, category)) {
            m_changed[node].insert(category);
        }
    }

    // No pointer leads from a node to all classifiers that know it.
    void lose_everywhere(zeNode* category, const zeNode* but) {
        for (zeNode* const node : m_learned) {
            if (node != but) {
                lose(node, category);
            }
        }
    }

    // Asking each classifier for each node costs the product of their numbers. For more nodes than
    // this, it is faster to look at all categories of each classifier.
    void lose_all(const Node_set& leaving) {
        constexpr std::size_t kFewNodes = 64;
        if (leaving.size() <= kFewNodes) {
            for (zeNode* const node : leaving) {
                lose_everywhere(node, nullptr);
            }
            return;
        }
        for (zeNode* const node : m_learned) {
            for (zeNode* const category : categories_of(node)) {
                if (leaving.count(category) != 0) {
                    lose(node, category);
                }
            }
        }
    }

    // The categories that the classifier may know. It is not fetched.
    static std::vector<zeNode*> categories_of(const zeNode* node) {
        if (!detail::is_in_memory(*node)) {
            return node->m_children;
        }
        std::vector<zeNode*> categories;
        node->m_classifier->get_all_categories(categories);
        return categories;
    }

    // A leaf that gets a classifier remains only in the classifier above.
    void leave_others(const zeLogicalNode& leaf) {
        const zeLogicalNode* const above = m_tree.NearestClassifierNode(leaf.parent);
        if (above != nullptr && above->physical_node->find_child(leaf.physical_node) >= 0) {
            lose_everywhere(leaf.physical_node, above->physical_node);
        }
    }

    // The classifiers below a node are deleted with it. Physically, the nodes below a leaf are its
    // siblings, so we look below each of them.
    void note_deleted(const zeLogicalNode& node) {
        Logical_nodes gathered;
        m_tree.GatherFatherAndSons(&node, gathered);
        for (const zeLogicalNode* const each : gathered) {
            each->physical_node->get_subtree_classifiers(m_deleted);
        }
    }

    // A classifier that has lost its last category is deleted with the step that makes its node a
    // leaf. That happens only to the parent of the moved or deleted node, and never to the root.
    void reduce(const zeLogicalNode& parent) {
        if (parent.type == ZE_LEAF || parent.parent == 0) {
            return;
        }
        const auto changed = m_changed.find(parent.physical_node);
        if (changed == m_changed.end()) {
            return;
        }
        const std::vector<zeNode*> categories = categories_of(parent.physical_node);
        const bool is_emptied =
            std::all_of(categories.begin(), categories.end(), [&changed](zeNode* category) {
                return category == nullptr || changed->second.count(category) != 0;
            });
        if (is_emptied) {
            m_deleted.insert(parent.physical_node);
        }
    }

    const zeManager& m_manager;
    const zeLogicalTree& m_tree;
    std::vector<zeNode*> m_learned;         // all nodes that have a classifier without rules
    std::map<zeNode*, Node_set> m_changed;  // those that change, with the categories they lose
    Node_set m_deleted;                     // nodes whose classifiers are deleted
};

}  // namespace

bool allows_edit(const zeManager& manager, const Tree_edit& edit) {
    if (!manager.m_compact) {
        return true;
    }
    Edit_effects effects(manager);
    const zeLogicalNode& node = manager.m_logical_tree->GetNode(edit.node.id);
    const bool can_leave = node.id != 0 && node.parent != 0;  // else the tree refuses the edit
    switch (edit.kind) {
        case Tree_edit::Kind::Add:
            effects.add(edit.node);
            break;
        case Tree_edit::Kind::Change:
            effects.change(edit.node);
            break;
        case Tree_edit::Kind::Delete:
            if (can_leave) {
                effects.remove(node);
            }
            break;
        case Tree_edit::Kind::Move:
            if (can_leave) {
                effects.move(node, edit.new_parent);
            }
            break;
    }
    return effects.are_harmless();
}

}  // namespace zandrel
