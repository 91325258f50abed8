// Edited_container: a container whose tree is built by the public edits. DumpState: the whole tree
// as text: logical side, physical side and classifiers. ExpectSound: checks that these three agree.
#ifndef ZANDREL_TESTS_SUPPORT_LOGICAL_TREE_H_
#define ZANDREL_TESTS_SUPPORT_LOGICAL_TREE_H_

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"

// The whole state of a tree as text that can be compared: the container's settings that the tree
// reads and writes, logical nodes and finder, physical nodes, lists of leaves, and the registry's
// objects with the rules, profiles and matching tables of classifiers. Nodes are shown by id. An
// order is shown only where it has a meaning; everything else is sorted.
std::string DumpState(zeManager& manager);

// The logical nodes only.
std::string DumpLogicalTree(const zeLogicalTree& tree);

// Checks the invariants of each node: its parent lists it as a child, the finder has it, a physical
// node mirrors it, and the classifier of its real parent decides it. Also checks that no classifier
// decides any other node.
void ExpectSound(zeManager& manager);

// Checks that the container has no pointer to a physical node or object that was deleted.
void ExpectNoDanglingPointers(zeManager& manager);

// Checks at the end of its scope that the container's state is still the one at construction.
class Unchanged {
public:
    explicit Unchanged(zeManager& manager) : m_manager(manager), m_before(DumpState(manager)) {}

    Unchanged(const Unchanged&) = delete;
    Unchanged& operator=(const Unchanged&) = delete;

    ~Unchanged() { EXPECT_EQ(DumpState(m_manager), m_before); }

private:
    zeManager& m_manager;
    std::string m_before;
};

// Three different rules.
inline constexpr const char* kAboveOne = "$a(n) > 1";
inline constexpr const char* kAboveTwo = "$a(n) > 2";
inline constexpr const char* kAboveThree = "$a(n) > 3";

// A node that is not yet in the tree.
inline zeLogicalNode node_to_add(unsigned int parent, std::string_view category,
                                 const qtString& rule = "", unsigned int type = ZE_LEAF) {
    zeLogicalNode node;
    node.parent = parent;
    node.category = term(category);
    node.rule = rule;
    node.type = static_cast<unsigned char>(type);
    return node;
}

// Makes a tree step by step:
//
//     Edited_container kc;
//     unsigned int root = kc.Root(ZE_STAT);
//     unsigned int sport = kc.Add(root, "sport");
struct Edited_container {
    unsigned int Root(unsigned int type) { return Add(0, "root", "", type); }

    // Adds a node with that category and returns its id. The node is marked NoScore if it has a
    // classifier.
    unsigned int Add(unsigned int parent, std::string_view category, const qtString& rule = "",
                     unsigned int type = ZE_LEAF) {
        zeLogicalNode node = node_to_add(parent, category, rule, type);
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        if (manager.m_compat55) {
            node.name = node.category;
        }
        return tree.AddLogicalNode(node);
    }

    // A copy of a node, to change and to give to `ChangeLogicalNode`.
    zeLogicalNode Copy(unsigned int id) const { return tree.GetNode(id); }

    const zeLogicalNode& Node(unsigned int id) const { return tree.GetNode(id); }

    // REQUIRES, here and below: the id is known.
    zeNode* Physical(unsigned int id) const { return tree.GetNode(id).physical_node; }

    zeSwitcher& Switcher(unsigned int id) const {
        return dynamic_cast<zeSwitcher&>(*manager.m_physical_tree->get_classifier(Physical(id)));
    }

    zeStat_matcher& Matcher(unsigned int id) const {
        return dynamic_cast<zeStat_matcher&>(
            *manager.m_physical_tree->get_classifier(Physical(id)));
    }

    // The logical ids of the nodes that a node's classifier decides, in ascending order.
    std::vector<unsigned int> Categories(unsigned int id) const;

    zeManager manager;
    zeLogicalTree& tree = *manager.m_logical_tree;
};

#endif  // ZANDREL_TESTS_SUPPORT_LOGICAL_TREE_H_
