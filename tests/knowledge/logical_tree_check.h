// Tree_check: compares a container with a Tree_model: logical side, physical side and classifiers.
#ifndef ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_CHECK_H_
#define ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_CHECK_H_

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/knowledge/logical_tree_model.h"

// Finds the first difference between a model and a container. The model must be sound: each child
// names its parent. The shape of the model then says which classifier decides which node.
class Tree_check {
public:
    Tree_check(const Tree_model& model, zeManager& manager)
        : m_model(model), m_manager(manager), m_tree(*manager.m_logical_tree) {}

    // Returns the empty text if there is none.
    std::string FirstDifference() {
        CheckCounts();
        for (const auto& [id, node] : m_model.nodes) {
            if (!m_problem.empty()) {
                return m_problem;
            }
            CheckNode(node);
        }
        if (m_problem.empty()) {
            CheckClassifiers();
        }
        if (m_problem.empty()) {
            CheckRoot();
            CheckLeafLists();
        }
        return m_problem;
    }

private:
    using Nodes = std::vector<zeNode*>;

    void Hold(bool holds, const char* claim, Tree_model::Id id = 0) {
        if (!holds && m_problem.empty()) {
            m_problem = std::string(claim) + " (node " + std::to_string(id) + ")";
        }
    }

    zeNode* Physical(Tree_model::Id id) { return m_tree.GetNode(id).physical_node; }

    // Each side must have as many entries as there are nodes. Since each node is found on each
    // side, no entry is stale.
    void CheckCounts() {
        const std::size_t count = m_model.nodes.size();
        Hold(m_tree.nodes.size() == count, "the tree has each node");
        Hold(m_tree.finder.size() == count, "the finder has each node");
        Hold(m_manager.m_physical_tree->m_nodes.size() == count, "each physical node is mirrored");
        Hold(m_tree.next_id == m_model.last_id, "the last id is as foretold");
    }

    void CheckNode(const Tree_model::Node& node) {
        const zeLogicalNode& held = m_tree.GetNode(node.id);
        if (held.id != node.id || held.physical_node == nullptr) {
            Hold(false, "the node is there", node.id);
            return;
        }
        Hold(held.type == node.type, "type", node.id);
        Hold(held.attributes == node.attributes, "attributes", node.id);
        Hold(held.threshold == node.threshold, "threshold", node.id);
        Hold(held.category.view() == node.category, "category", node.id);
        Hold(held.name.view() == node.name, "name", node.id);
        Hold(held.rule.view() == node.rule, "rule", node.id);
        Hold(held.note1.view() == node.note1 && held.note2.view() == node.note2, "notes", node.id);
        Hold(held.parent == node.parent, "parent", node.id);
        Hold(held.children == node.children, "children", node.id);
        CheckPhysicalNode(held);
    }

    void CheckPhysicalNode(const zeLogicalNode& held) {
        const auto finder = m_tree.finder.find(held.physical_node);
        Hold(finder != m_tree.finder.end() && finder->second == held.id, "finder entry", held.id);
        const zeNode& physical = *held.physical_node;
        Hold(m_manager.m_physical_tree->GetNode(physical.m_node_id) == &physical,
             "the physical node is the tree's", held.id);
        Hold(physical.m_concept == held.category, "physical name", held.id);
        Hold(physical.m_classifier_type == held.type, "physical type", held.id);
        Hold(physical.m_flags == held.attributes, "physical flags", held.id);
        Hold(physical.m_threshold == held.threshold, "physical threshold", held.id);
    }

    static Nodes Sorted(Nodes nodes) {
        std::sort(nodes.begin(), nodes.end());
        return nodes;
    }

    void CheckClassifiers() {
        std::size_t object_count = 0;
        unsigned int fetched_count = 0;  // statistical classifiers in memory
        for (const auto& [id, node] : m_model.nodes) {
            const zeNode& physical = *Physical(id);
            if (node.type == Tree_model::kLeaf) {
                Hold(physical.m_children.empty(), "a leaf has no physical child", id);
                Hold(physical.m_classifier == nullptr && physical.m_classifier_id == 0,
                     "a leaf has no classifier", id);
                continue;
            }
            const bool is_in_memory = physical.m_classifier != nullptr;
            if (node.type == Tree_model::kStat) {
                fetched_count += is_in_memory ? 1U : 0U;
                object_count += is_in_memory ? 2U : 0U;
            } else {
                ++object_count;
            }
            Hold(is_in_memory || m_manager.ReadOnDemand() != 0, "the classifier is in memory", id);
        }
        Hold(m_manager.m_objects.size() == object_count,
             "the registry holds the classifiers and their storages alone");
        const unsigned int limit = m_manager.ReadOnDemand();
        Hold(limit == 0 || fetched_count <= limit, "the limit of classifiers in memory");
        for (const auto& [id, node] : m_model.nodes) {
            if (node.type != Tree_model::kLeaf) {
                m_manager.m_physical_tree->get_classifier(Physical(id));
                CheckClassifier(node, *Physical(id));
            }
        }
    }

    void CheckClassifier(const Tree_model::Node& node, const zeNode& physical) {
        const auto registered = m_manager.m_objects.find(physical.m_classifier_id);
        if (physical.m_classifier == nullptr || registered == m_manager.m_objects.end()) {
            Hold(false, "the classifier is in memory and in the registry", node.id);
            return;
        }
        Hold(registered->second == physical.m_classifier, "the registry's classifier", node.id);
        Hold(physical.m_classifier->m_node == &physical, "the classifier's node", node.id);
        Nodes expected;
        for (const Tree_model::Id son : m_model.Sons(node)) {
            expected.push_back(Physical(son));
            Hold(Physical(son)->m_parent == &physical, "physical parent", son);
        }
        expected = Sorted(expected);
        Hold(Sorted(physical.m_children) == expected, "physical children", node.id);
        if (node.type == Tree_model::kRule) {
            CheckSwitcher(node, dynamic_cast<const zeSwitcher*>(physical.m_classifier));
        } else {
            CheckMatcher(node, dynamic_cast<const zeStat_matcher*>(physical.m_classifier),
                         expected);
        }
    }

    void CheckSwitcher(const Tree_model::Node& node, const zeSwitcher* switcher) {
        if (switcher == nullptr) {
            Hold(false, "a rule node has a switcher", node.id);
            return;
        }
        std::size_t rule_count = 0;
        const zeNode* otherwise = nullptr;
        for (const Tree_model::Id child : node.children) {
            const std::string& rule = m_model.Find(child)->rule;
            if (rule == "default") {
                otherwise = Physical(child);
                continue;
            }
            ++rule_count;
            const auto entry = switcher->m_rules.find(Physical(child));
            Hold(entry != switcher->m_rules.end() && entry->second.text().view() == rule,
                 "the switcher's rule", child);
        }
        Hold(switcher->m_rules.size() == rule_count, "the switcher has no other rule", node.id);
        Hold(switcher->m_default == otherwise, "the switcher's default", node.id);
    }

    void CheckMatcher(const Tree_model::Node& node, const zeStat_matcher* matcher,
                      const Nodes& expected) {
        if (matcher == nullptr) {
            Hold(false, "a statistical node has a matcher", node.id);
            return;
        }
        const zeStat_storage* const storage = matcher->m_storage;
        const auto registered = m_manager.m_objects.find(storage->m_id);
        Hold(registered != m_manager.m_objects.end() && registered->second == storage,
             "the storage is in the registry", node.id);
        Nodes with_profiles;
        for (const auto& profile : storage->m_profiles) {
            with_profiles.push_back(profile->m_node);
        }
        Hold(Sorted(with_profiles) == expected, "the matcher's profiles", node.id);
    }

    void CheckRoot() {
        if (m_model.nodes.empty()) {
            Hold(m_manager.m_root == nullptr, "an empty tree has no root");
            return;
        }
        const zeLogicalNode& root = m_tree.GetNode(1);
        Hold(root.parent == 0 && (root.type == ZE_RULE || root.type == ZE_STAT), "the root", 1);
        Hold(root.physical_node == m_manager.m_root, "the root is the container's", 1);
        Hold(m_manager.m_root->m_parent == nullptr, "the root has no physical parent", 1);
        std::map<Tree_model::Id, int> mentions;
        for (const auto& [id, node] : m_tree.nodes) {
            for (const Tree_model::Id child : node.children) {
                Hold(m_tree.GetNode(child).parent == id, "a child names its parent", child);
                ++mentions[child];
            }
        }
        for (const auto& [id, node] : m_tree.nodes) {
            Hold(mentions[id] == (id == 1 ? 0 : 1), "each node is once a child", id);
        }
    }

    void CheckLeafLists() {
        std::map<std::string, Nodes> expected;
        for (const auto& [id, node] : m_model.nodes) {
            if (node.type == Tree_model::kLeaf) {
                expected[node.category].push_back(Physical(id));
            }
        }
        const zePhysicalTree& physical = *m_manager.m_physical_tree;
        Hold(physical.m_finder.size() == expected.size(), "leaf lists of leaf categories alone");
        for (const auto& [category, leaves] : expected) {
            Hold(Sorted(physical.GetLeafNodes(Concept::insert_view(category))) == Sorted(leaves),
                 ("leaves of " + category).c_str());
        }
    }

    const Tree_model& m_model;
    zeManager& m_manager;
    zeLogicalTree& m_tree;
    std::string m_problem;
};

#endif  // ZANDREL_TESTS_KNOWLEDGE_LOGICAL_TREE_CHECK_H_
