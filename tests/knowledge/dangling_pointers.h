// first_dangling_pointer: searches a container for pointers to nodes or objects that it no longer
// has.
#ifndef ZANDREL_TESTS_KNOWLEDGE_DANGLING_POINTERS_H_
#define ZANDREL_TESTS_KNOWLEDGE_DANGLING_POINTERS_H_

#include <set>
#include <string>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

// Dereferences a pointer only after it was found among the container's nodes or objects.
class Pointer_check {
public:
    explicit Pointer_check(zeManager& manager) : m_manager(manager) {
        for (auto& [id, node] : manager.m_physical_tree->m_nodes) {
            m_nodes.insert(&node);
        }
        for (const auto& [id, object] : manager.m_objects) {
            m_objects.insert(object);
        }
    }

    // Returns the empty text if there is none.
    std::string First() {
        for (const zeNode* const node : m_nodes) {
            CheckNode(*node);
        }
        for (zeBase* const object : m_objects) {
            CheckObject(object);
        }
        CheckTrees();
        return m_problem;
    }

private:
    void Hold(bool holds, const char* claim) {
        if (!holds && m_problem.empty()) {
            m_problem = claim;
        }
    }

    bool IsNode(zeNode* node) const { return m_nodes.count(node) != 0; }

    void CheckNode(const zeNode& node) {
        Hold(node.m_parent == nullptr || IsNode(node.m_parent), "a node's parent");
        Hold(node.m_classifier == nullptr || m_objects.count(node.m_classifier) != 0,
             "a node's classifier");
        for (zeNode* const child : node.m_children) {
            Hold(IsNode(child) && child->m_parent == &node, "a node's child");
        }
    }

    void CheckObject(zeBase* object) {
        const auto* const classifier = dynamic_cast<const zeClassifier*>(object);
        if (classifier != nullptr) {
            Hold(IsNode(classifier->m_node) && classifier->m_node->m_classifier == classifier,
                 "a classifier's node");
        }
        if (const auto* const switcher = dynamic_cast<const zeSwitcher*>(object)) {
            Hold(switcher->m_default == nullptr || IsNode(switcher->m_default), "a default");
            for (const auto& [child, rule] : switcher->m_rules) {
                Hold(IsNode(child), "a rule's node");
            }
        }
        if (const auto* const matcher = dynamic_cast<const zeStat_matcher*>(object)) {
            Hold(m_objects.count(matcher->m_storage) != 0, "a matcher's storage");
        }
        if (const auto* const storage = dynamic_cast<const zeStat_storage*>(object)) {
            for (const auto& profile : storage->m_profiles) {
                Hold(IsNode(profile->m_node), "a profile's node");
            }
        }
    }

    void CheckTrees() {
        Hold(m_manager.m_root == nullptr || IsNode(m_manager.m_root), "the root");
        for (const auto& [category, leaves] : m_manager.m_physical_tree->m_finder) {
            for (zeNode* const leaf : leaves) {
                Hold(IsNode(leaf), "a leaf in the list of its category");
            }
        }
        for (const auto& [id, node] : m_manager.m_logical_tree->nodes) {
            Hold(IsNode(node.physical_node), "a mirrored node");
        }
        for (const auto& [node, id] : m_manager.m_logical_tree->finder) {
            Hold(IsNode(node), "a node of the finder");
        }
    }

    zeManager& m_manager;
    std::set<zeNode*> m_nodes;
    std::set<zeBase*> m_objects;
    std::string m_problem;
};

inline std::string first_dangling_pointer(zeManager& manager) {
    return Pointer_check(manager).First();
}

#endif  // ZANDREL_TESTS_KNOWLEDGE_DANGLING_POINTERS_H_
