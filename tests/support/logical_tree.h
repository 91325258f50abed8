// Edited_container: a container whose tree grows by its public edits. DumpState: all three sides of
// a tree as text. ExpectSound: that the three sides agree.
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

// What a tree is on all of its sides, in a form that can be compared: settings of the container
// that the tree reads and writes, logical nodes and finder, physical nodes, lists of leaves, and
// the objects of the registry with the rules, profiles and matching tables of the classifiers.
// Nodes are named by their ids; only orders that mean something show.
std::string DumpState(zeManager& manager);

// The logical nodes alone.
std::string DumpLogicalTree(const zeLogicalTree& tree);

// Checks the invariants: each node in its parent's children, in the finder, mirrored by its
// physical node, and decided by the classifier of its real parent, which decides nothing else.
void ExpectSound(zeManager& manager);

// Checks that no part of the container points at a physical node or an object that is gone.
void ExpectNoDanglingPointers(zeManager& manager);

// Checks at the end of its scope that the container is as it was at the beginning.
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

// Three rules that differ.
inline constexpr const char* kAboveOne = "$a(n) > 1";
inline constexpr const char* kAboveTwo = "$a(n) > 2";
inline constexpr const char* kAboveThree = "$a(n) > 3";

// A node to be added.
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

    // Adds a node of that category, marked NoScore if it has a classifier; returns its id.
    unsigned int Add(unsigned int parent, std::string_view category, const qtString& rule = "",
                     unsigned int type = ZE_LEAF) {
        zeLogicalNode node = node_to_add(parent, category, rule, type);
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        if (manager.m_compat55) {
            node.name = node.category;
        }
        return tree.AddLogicalNode(node);
    }

    // A copy to change and hand to `ChangeLogicalNode`.
    zeLogicalNode Copy(unsigned int id) const { return tree.GetNode(id); }

    const zeLogicalNode& Node(unsigned int id) const { return tree.GetNode(id); }

    // REQUIRES: a known id, here and below.
    zeNode* Physical(unsigned int id) const { return tree.GetNode(id).physical_node; }

    zeSwitcher& Switcher(unsigned int id) const {
        return dynamic_cast<zeSwitcher&>(*Physical(id)->m_classifier);
    }

    zeStat_matcher& Matcher(unsigned int id) const {
        return dynamic_cast<zeStat_matcher&>(*Physical(id)->m_classifier);
    }

    // The logical ids of what a node's classifier decides, in ascending order.
    std::vector<unsigned int> Categories(unsigned int id) const;

    zeManager manager;
    zeLogicalTree& tree = *manager.m_logical_tree;
};

#endif  // ZANDREL_TESTS_SUPPORT_LOGICAL_TREE_H_
