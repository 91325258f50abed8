#include "zandrel/knowledge/zeLogicalTree.h"

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"

namespace {

TEST(zeLogicalTreeTest, StartsEmpty) {
    zeManager manager;

    const zeLogicalTree tree(&manager);

    EXPECT_TRUE(tree.nodes.empty());
    EXPECT_TRUE(tree.finder.empty());
    EXPECT_EQ(tree.next_id, 0U);
    EXPECT_EQ(tree.manager, &manager);
    EXPECT_EQ(tree.not_found_node.id, 0U);
}

TEST(zeLogicalTreeTest, ClearRemovesNodesAndRestartsIds) {
    zeManager manager;
    zeLogicalTree tree(&manager);
    zeNode* const mirrored = manager.m_physical_tree->MakeNode(term("sport"), ZE_LEAF, 0, 0.0);
    tree.nodes[1].physical_node = mirrored;
    tree.finder[mirrored] = 1;
    tree.next_id = 1;

    tree.Clear();

    EXPECT_TRUE(tree.nodes.empty());
    EXPECT_TRUE(tree.finder.empty());
    EXPECT_EQ(tree.next_id, 0U);
    EXPECT_EQ(tree.manager, &manager);
}

TEST(zeLogicalTreeTest, ClearKeepsThePhysicalSide) {
    zeManager manager;
    zeNode* const mirrored = manager.m_physical_tree->MakeNode(term("sport"), ZE_LEAF, 0, 0.0);
    manager.m_logical_tree->nodes[1].physical_node = mirrored;

    manager.m_logical_tree->Clear();

    EXPECT_EQ(manager.m_physical_tree->GetNode(1), mirrored);
}

}  // namespace
