// Trees that are very deep. No step of an edit is recursive, so no step runs out of stack.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/Tree_text.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/knowledge/dangling_pointers.h"
#include "tests/support/bags.h"
#include "tests/support/logical_tree.h"

namespace {

using Id = unsigned int;

class zeLogicalTreeDeepTest : public testing::Test {
protected:
    Id Add(Id parent, unsigned char type, const std::string& category, const qtString& rule = "") {
        zeLogicalNode node = node_to_add(parent, category, rule, type);
        return tree.AddLogicalNode(node);
    }

    // Adds a chain of nodes below a node and returns their ids, from the top down.
    std::vector<Id> AddChain(Id parent, unsigned char type, std::size_t length) {
        std::vector<Id> chain;
        for (std::size_t i = 0; i < length; ++i) {
            chain.push_back(Add(chain.empty() ? parent : chain.back(), type, std::to_string(i)));
        }
        return chain;
    }

    // Adds a chain of leaves below the root in linear time. The leaves are not categories of the
    // root's classifier, so this is only for tests that do not use the physical side.
    std::vector<Id> NestLeaves(std::size_t length) {
        std::vector<Id> chain;
        Id parent = 1;
        for (std::size_t i = 0; i < length; ++i) {
            zeNode* const node =
                manager.m_physical_tree->MakeNode(term(std::to_string(i)), ZE_LEAF, 0, 0.0);
            tree.KCE_Add(node, nullptr);
            tree.GetNodePtr(tree.next_id)->parent = parent;
            tree.GetNodePtr(parent)->children.push_back(tree.next_id);
            parent = tree.next_id;
            chain.push_back(parent);
        }
        return chain;
    }

    zeStat_storage& Storage(Id id) {
        return *dynamic_cast<zeStat_matcher&>(*tree.GetRealParent(id)).m_storage;
    }

    zeManager manager;
    zeLogicalTree& tree = *manager.m_logical_tree;
};

constexpr std::size_t kDeepLeaves = 100000;

// The length of a chain that is added node by node. This takes quadratic time, since each new
// category is compared with all categories of its classifier, so the chain is shorter than
// kDeepLeaves.
constexpr std::size_t kDeepToAdd = 4000;

constexpr std::size_t kDeepClassifiers = 10000;

// With plus signs the text would take 5 GB. A level below 0 has none.
TEST_F(zeLogicalTreeDeepTest, DeepTreeIsWrittenAsText) {
    Add(0, ZE_STAT, "root");
    NestLeaves(kDeepLeaves);
    std::ostringstream out;

    zandrel::Tree_text::Write(tree, 1, -static_cast<int>(kDeepLeaves), out);

    const std::string text = out.str();
    const std::string last =
        "\t[Leaf]\t[Score]\t[]\t[" + std::to_string(kDeepLeaves - 1) + "]\t[]\n";
    EXPECT_EQ(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')),
              kDeepLeaves + 1);
    EXPECT_TRUE(text.ends_with("\n" + last));
}

TEST_F(zeLogicalTreeDeepTest, PathOfADeepLeafIsReturnedAndFindsTheLeaf) {
    Add(0, ZE_STAT, "root");
    const std::vector<Id> chain = NestLeaves(kDeepLeaves);

    qtString path;
    tree.GetNodePath(chain.back(), path);

    std::string expected = "root";
    for (std::size_t i = 0; i < kDeepLeaves; ++i) {
        expected += "/" + std::to_string(i);
    }
    EXPECT_TRUE(path.view() == expected) << "not compared by EXPECT_EQ, which would print it";
    EXPECT_EQ(tree.FindNodeByPath(path).id, chain.back());
}

TEST_F(zeLogicalTreeDeepTest, NestedLeavesAreGatheredFromTheTopDown) {
    Add(0, ZE_STAT, "root");
    const std::vector<Id> chain = NestLeaves(kDeepLeaves);

    std::vector<zeLogicalNode*> gathered;
    tree.GatherFatherAndSons(&tree.GetNode(chain.front()), gathered);

    ASSERT_EQ(gathered.size(), kDeepLeaves);
    for (std::size_t i = 0; i < kDeepLeaves; ++i) {
        ASSERT_EQ(gathered[i]->id, chain[i]);
    }
    EXPECT_EQ(tree.GetRealParent(chain.back()), manager.m_root->m_classifier);
}

TEST_F(zeLogicalTreeDeepTest, NestedLeavesAreMovedWithinTheirClassifier) {
    Add(0, ZE_STAT, "root");
    const std::vector<Id> chain = NestLeaves(kDeepLeaves);
    const Id target = Add(1, ZE_LEAF, "target");

    tree.MoveLogicalNode(chain[1], target);
    tree.MoveLogicalNode(target, chain.front());

    EXPECT_EQ(tree.GetNode(chain[1]).parent, target);
    EXPECT_EQ(tree.GetNode(chain.front()).children, std::vector<Id>{target});
}

TEST_F(zeLogicalTreeDeepTest, NestedLeavesAreDeletedInBothTrees) {
    Add(0, ZE_STAT, "root");
    const std::vector<Id> chain = NestLeaves(kDeepLeaves);

    tree.RecursiveNodeDelete(*tree.GetNodePtr(chain.front()), true);

    EXPECT_EQ(tree.nodes.size(), 1U);
    EXPECT_EQ(tree.finder.size(), 1U);
    EXPECT_EQ(manager.m_physical_tree->m_nodes.size(), 1U);
    EXPECT_TRUE(manager.m_physical_tree->m_finder.empty());
}

TEST_F(zeLogicalTreeDeepTest, NestedLeavesAreCopiedWithTheirParents) {
    Add(0, ZE_STAT, "root");
    NestLeaves(kDeepLeaves);
    zeManager other;

    other.m_logical_tree->CopySubTree(tree, 1, 0, nullptr);

    ASSERT_EQ(other.m_logical_tree->nodes.size(), kDeepLeaves + 1);
    for (Id id = 1; id <= kDeepLeaves; ++id) {
        ASSERT_EQ(other.m_logical_tree->GetNode(id).children, std::vector<Id>{id + 1});
        ASSERT_EQ(other.m_logical_tree->GetNode(id + 1).parent, id);
    }
}

TEST_F(zeLogicalTreeDeepTest, NestedLeavesAreAddedMovedChangedAndDeleted) {
    Add(0, ZE_STAT, "root");
    const Id other = Add(1, ZE_STAT, "other");
    const std::vector<Id> chain = AddChain(1, ZE_LEAF, kDeepToAdd);

    tree.MoveLogicalNode(chain.front(), other);
    EXPECT_EQ(Storage(1).profile_count(), 1);
    EXPECT_EQ(Storage(other).profile_count(), static_cast<int>(kDeepToAdd));

    zeLogicalNode top = tree.GetNode(chain.front());
    top.type = ZE_STAT;
    tree.ChangeLogicalNode(top);
    EXPECT_EQ(Storage(other).profile_count(), 1);
    EXPECT_EQ(Storage(chain.back()).profile_count(), static_cast<int>(kDeepToAdd) - 1);

    top.type = ZE_LEAF;
    tree.ChangeLogicalNode(top);
    EXPECT_EQ(Storage(other).profile_count(), static_cast<int>(kDeepToAdd));

    tree.DelLogicalNode(chain.front(), true);
    EXPECT_EQ(tree.nodes.size(), 2U);
    EXPECT_EQ(manager.m_physical_tree->m_nodes.size(), 2U);
    EXPECT_EQ(tree.GetNode(other).type, ZE_LEAF);
    EXPECT_EQ(first_dangling_pointer(manager), "");
}

TEST_F(zeLogicalTreeDeepTest, NestedClassifiersAreAddedMovedAndDeleted) {
    Add(0, ZE_STAT, "root");
    const Id other = Add(1, ZE_STAT, "other");
    const std::vector<Id> chain = AddChain(1, ZE_STAT, kDeepClassifiers);

    tree.MoveLogicalNode(chain.front(), other);
    EXPECT_EQ(Storage(other).profile_count(), 1);

    tree.DelLogicalNode(chain.front(), true);
    EXPECT_EQ(tree.nodes.size(), 2U);
    EXPECT_EQ(manager.m_physical_tree->m_nodes.size(), 2U);
    EXPECT_EQ(manager.m_objects.size(), 2U) << "the root's matcher and storage are left";
}

}  // namespace
