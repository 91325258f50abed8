// Copies of subtrees of the logical tree.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"
#include "tests/support/logical_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Id = unsigned int;

// The source: the root 1 with 2 and 5, and below 2 the nodes 3 and 4.
class zeLogicalTreeCopyTest : public testing::Test {
protected:
    zeLogicalTreeCopyTest() {
        source.Root(ZE_STAT);
        source.Add(1, "rules", "", ZE_RULE);
        source.Add(2, "first", "7");
        source.Add(2, "second", "default");
        source.Add(1, "beside");
    }

    Id Copy(Id id, Id parent, std::map<zeNode*, zeNode*>* node_map = nullptr) {
        return target.CopySubTree(source.tree, id, parent, node_map);
    }

    Edited_container source;
    zeManager target_manager;
    zeLogicalTree& target = *target_manager.m_logical_tree;
};

TEST_F(zeLogicalTreeCopyTest, CopyIntoAnEmptyTreeBecomesTheRoot) {
    EXPECT_EQ(Copy(2, 0), 1U);

    EXPECT_EQ(target.nodes.size(), 3U);
    EXPECT_EQ(target.next_id, 3U);
    EXPECT_EQ(target.GetNode(1).parent, 0U);
    EXPECT_THAT(target.GetNode(1).children, ElementsAre(2U, 3U));
    EXPECT_EQ(target.GetNode(2).parent, 1U);
    EXPECT_EQ(target.GetNode(2).category, term("first"));
    EXPECT_EQ(target.GetNode(3).category, term("second"));
}

TEST_F(zeLogicalTreeCopyTest, CopyHasEveryField) {
    zeLogicalNode& original = *source.tree.GetNodePtr(3);
    original.attributes = 3;
    original.threshold = 0.25;
    original.name = term("name");
    original.note1 = "one";
    original.note2 = "two";

    const zeLogicalNode& copy = target.GetNode(Copy(3, 0));

    EXPECT_EQ(copy.id, 1U);
    EXPECT_EQ(copy.type, ZE_LEAF);
    EXPECT_EQ(copy.attributes, 3);
    EXPECT_EQ(copy.threshold, 0.25);
    EXPECT_EQ(copy.category, term("first"));
    EXPECT_EQ(copy.name, term("name"));
    EXPECT_EQ(copy.rule, qtString("7"));
    EXPECT_EQ(copy.note1, qtString("one"));
    EXPECT_EQ(copy.note2, qtString("two"));
    EXPECT_EQ(copy.physical_node, original.physical_node) << "without a map the same is mirrored";
    EXPECT_EQ(&target.FindCategory(original.physical_node), &copy);
    EXPECT_THAT(copy.children, IsEmpty());
}

TEST_F(zeLogicalTreeCopyTest, CopiesGetIdsAfterTheLastOneParentsBeforeChildren) {
    target.next_id = 40;

    EXPECT_EQ(Copy(1, 0), 41U);

    EXPECT_EQ(target.next_id, 45U);
    EXPECT_EQ(target.GetNode(42).category, term("rules"));
    EXPECT_EQ(target.GetNode(43).category, term("first"));
    EXPECT_EQ(target.GetNode(44).category, term("second"));
    EXPECT_EQ(target.GetNode(45).category, term("beside"));
}

TEST_F(zeLogicalTreeCopyTest, CopyIsAppendedToTheChildrenOfTheParent) {
    Copy(5, 0);
    Copy(3, 1);

    EXPECT_EQ(Copy(2, 1), 3U);

    EXPECT_THAT(target.GetNode(1).children, ElementsAre(2U, 3U));
    EXPECT_EQ(target.GetNode(3).parent, 1U);
}

TEST_F(zeLogicalTreeCopyTest, CopyMirrorsTheNodesOfTheMap) {
    zePhysicalTree& physical = *target_manager.m_physical_tree;
    std::map<zeNode*, zeNode*> node_map;
    physical.CopySubTree(source.Physical(2), nullptr, node_map);

    Copy(2, 0, &node_map);

    for (const Id id : {1U, 2U, 3U}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(target.GetNode(id).physical_node, physical.GetNode(id));
        EXPECT_EQ(target.FindCategory(physical.GetNode(id)).id, id);
    }
    EXPECT_EQ(target.finder.size(), 3U);
}

TEST_F(zeLogicalTreeCopyTest, CopyMirrorsNothingIfTheMapLacksANode) {
    std::map<zeNode*, zeNode*> node_map;

    Copy(3, 0, &node_map);

    EXPECT_EQ(target.GetNode(1).physical_node, nullptr);
}

TEST_F(zeLogicalTreeCopyTest, SourceIsUnchanged) {
    const Unchanged unchanged(source.manager);

    Copy(1, 0);
}

TEST_F(zeLogicalTreeCopyTest, CopyIntoTheSameTreeWorks) {
    EXPECT_EQ(source.tree.CopySubTree(source.tree, 2, 5, nullptr), 6U);

    EXPECT_THAT(source.Node(5).children, ElementsAre(6U));
    EXPECT_THAT(source.Node(6).children, ElementsAre(7U, 8U));
    EXPECT_THAT(source.Node(2).children, ElementsAre(3U, 4U));
}

TEST_F(zeLogicalTreeCopyTest, NestedLeafIsCopiedWithAllNodesBelowIt) {
    const Id below = source.Add(5, "below");
    source.Add(below, "deeper");

    Copy(5, 0);

    EXPECT_EQ(target.nodes.size(), 3U);
    EXPECT_EQ(target.GetNode(3).category, term("deeper"));
    EXPECT_EQ(target.GetNode(3).parent, 2U);
}

// A mirrored deletion leaves children that name the deleted node as their parent. The deleted
// node's former parent has these children in its list.
TEST_F(zeLogicalTreeCopyTest, ParentOfACopyIsTheNodeThatListsIt) {
    const Id below = source.Add(5, "below");
    source.tree.KCE_Delete(source.Physical(5));
    ASSERT_EQ(source.Node(below).parent, 5U);

    Copy(1, 0);

    EXPECT_EQ(target.GetNode(5).category, term("below"));
    EXPECT_EQ(target.GetNode(5).parent, 1U);
}

TEST_F(zeLogicalTreeCopyTest, VeryDeepSourceIsCopied) {
    constexpr Id kDeepCopy = 100000;
    zeManager deep_manager;
    zeLogicalTree& deep = *deep_manager.m_logical_tree;
    for (Id id = 1; id <= kDeepCopy; ++id) {
        zeLogicalNode node;
        node.id = id;
        node.parent = id - 1;
        if (id < kDeepCopy) {
            node.children = {id + 1};
        }
        deep.nodes.emplace(id, node);
    }

    target.CopySubTree(deep, 1, 0, nullptr);

    EXPECT_EQ(target.nodes.size(), kDeepCopy);
    EXPECT_EQ(target.GetNode(kDeepCopy).parent, kDeepCopy - 1);
}

}  // namespace
