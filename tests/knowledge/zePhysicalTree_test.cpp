#include "zandrel/knowledge/zePhysicalTree.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/knowledge/physical_tree_fixture.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(zePhysicalTreeTest, StartsEmpty) {
    const zePhysicalTree made(&manager);

    EXPECT_THAT(made.m_nodes, IsEmpty());
    EXPECT_THAT(made.m_finder, IsEmpty());
    EXPECT_EQ(made.m_last_node_id, 0U);
    EXPECT_EQ(made.m_manager, &manager);
}

// MakeNode and GetNode.

TEST_F(zePhysicalTreeTest, MakeNodeGivesIdsFromOneUp) {
    EXPECT_EQ(Leaf("a")->m_node_id, 1U);
    EXPECT_EQ(Leaf("b")->m_node_id, 2U);
    EXPECT_EQ(tree.m_last_node_id, 2U);
}

TEST_F(zePhysicalTreeTest, MakeNodeOfALeafStoresItsArguments) {
    const zeNode* const node = tree.MakeNode(term("sport"), ZE_LEAF, kJunk, 0.25);

    EXPECT_EQ(node->m_concept, term("sport"));
    EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
    EXPECT_EQ(node->m_flags, kJunk);
    EXPECT_EQ(node->m_threshold, 0.25);
    EXPECT_EQ(node->m_classifier, nullptr);
    EXPECT_EQ(node->m_classifier_id, 0U);
    EXPECT_EQ(node->m_parent, nullptr);
    EXPECT_THAT(node->m_children, IsEmpty());
}

TEST_F(zePhysicalTreeTest, MakeNodeStoresTheLowByteOfTheFlags) {
    EXPECT_EQ(tree.MakeNode(term("sport"), ZE_LEAF, 0x1A5, 0.0)->m_flags, 0xA5);
}

TEST_F(zePhysicalTreeTest, MakeNodeEntersALeafInTheFinder) {
    zeNode* const node = Leaf("sport");

    EXPECT_THAT(tree.GetLeafNodes(term("sport")), ElementsAre(node));
}

TEST_F(zePhysicalTreeTest, MakeNodeOfAnInnerNodeMakesItsClassifier) {
    zeNode* const node = tree.MakeNode(term("news"), ZE_STAT, 0, 0.25);

    const auto* const matcher = dynamic_cast<zeStat_matcher*>(node->m_classifier);
    ASSERT_NE(matcher, nullptr);
    EXPECT_EQ(matcher->m_node, node);
    EXPECT_EQ(node->m_classifier_id, matcher->m_id);
    EXPECT_EQ(node->m_classifier_type, ZE_STAT);
    EXPECT_EQ(node->m_threshold, 0.25);
    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zePhysicalTreeTest, MakeNodeOfAnInnerNodeKeepsTheGivenFlags) {
    EXPECT_EQ(tree.MakeNode(term("a"), ZE_STAT, kNoFlags, 0.0)->m_flags, kNoFlags);
    EXPECT_EQ(tree.MakeNode(term("b"), ZE_STAT, kNoScore, 0.0)->m_flags, kNoScore);
}

TEST_F(zePhysicalTreeTest, MakeNodeChecksTheWholeTypeAndLeavesNoNodeIfRefused) {
    const struct {
        unsigned int type;
        const char* argument;
    } rows[] = {{zandrel::kStorageObjectType, "3"},
                {256, "256"},
                {258, "258"},
                {4294967295U, "4294967295"}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.argument);

        EXPECT_QTX_ARGS(tree.MakeNode(term("a"), row.type, 0, 0.0), zeManager, 0,
                        "Invalid classifier type", {row.argument});

        EXPECT_THAT(tree.m_nodes, IsEmpty());
        EXPECT_THAT(tree.m_finder, IsEmpty());
        EXPECT_THAT(manager.m_objects, IsEmpty());
    }
}

TEST_F(zePhysicalTreeTest, MakeNodeUsesAFreshIdAfterARefusal) {
    EXPECT_THROW(tree.MakeNode(term("a"), 258, 0, 0.0), qtX<zeManager>);

    EXPECT_EQ(Leaf("a")->m_node_id, 2U);
}

TEST_F(zePhysicalTreeTest, MakeNodeAssertsThatItsIdIsNew) {
    zeNode* const present = Leaf("a");
    tree.m_last_node_id = 0;

    EXPECT_ASSERTS(Leaf("b"), "pp.second");

    EXPECT_EQ(tree.GetNode(1), present);
    EXPECT_EQ(present->m_concept, term("a"));
    EXPECT_THAT(tree.GetLeafNodes(term("b")), IsEmpty());
}

TEST_F(zePhysicalTreeTest, GetNodeReturnsNullForAMissingId) {
    zeNode* const node = Leaf("a");

    EXPECT_EQ(tree.GetNode(1), node);
    EXPECT_EQ(tree.GetNode(0), nullptr);
    EXPECT_EQ(tree.GetNode(2), nullptr);
}

TEST_F(zePhysicalTreeTest, NodesKeepTheirAddressesWhileTheTableGrows) {
    std::vector<zeNode*> made;
    for (int i = 0; i < 1000; ++i) {
        made.push_back(Leaf("n" + std::to_string(i)));
    }

    for (unsigned int i = 0; i < 1000; ++i) {
        EXPECT_EQ(tree.GetNode(i + 1), made[i]);
        EXPECT_EQ(made[i]->m_concept, term("n" + std::to_string(i)));
    }
}

// The finder.

TEST_F(zePhysicalTreeTest, GetLeafNodesReturnsOneSharedEmptyListIfThereAreNone) {
    const zePhysicalTree other(nullptr);

    const std::vector<zeNode*>& none = tree.GetLeafNodes(term("a"));

    EXPECT_THAT(none, IsEmpty());
    EXPECT_EQ(&tree.GetLeafNodes(term("b")), &none);
    EXPECT_EQ(&other.GetLeafNodes(term("a")), &none);
    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zePhysicalTreeTest, GetLeafNodesReturnsTheLeavesInTheOrderOfAdding) {
    zeNode* const first = Leaf("a");
    Leaf("b");
    zeNode* const second = Leaf("a");

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, AddFinderReservesRoomForExactlyOneLeaf) {
    Leaf("a");

    EXPECT_EQ(tree.GetLeafNodes(term("a")).capacity(), 1U);
}

TEST_F(zePhysicalTreeTest, AddFinderAddsANodeTwice) {
    zeNode* const node = Leaf("a");

    tree.AddFinder(node);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node, node));
}

TEST_F(zePhysicalTreeTest, DelFinderMovesTheLastIntoThePlace) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");
    zeNode* const third = Leaf("a");

    tree.DelFinder(first);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(third, second));
}

TEST_F(zePhysicalTreeTest, DelFinderOfTheLastShortensTheList) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");
    zeNode* const third = Leaf("a");

    tree.DelFinder(third);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, DelFinderRemovesTheFirstOfTwoEntries) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");
    zeNode* const third = Leaf("a");
    tree.AddFinder(second);

    tree.DelFinder(second);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second, third));
}

TEST_F(zePhysicalTreeTest, DelFinderOfACategorysLastLeafErasesItsList) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.DelFinder(first);
    EXPECT_EQ(tree.m_finder.count(term("a")), 1U);

    tree.DelFinder(second);
    EXPECT_EQ(tree.m_finder.count(term("a")), 0U);
}

TEST_F(zePhysicalTreeTest, DelFinderErasesAListThatWasEmpty) {
    zeNode node(term("a"));
    tree.m_finder[term("a")];

    tree.DelFinder(&node);

    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zePhysicalTreeTest, DelFinderOfAnAbsentNodeChangesNothing) {
    zeNode* const present = Leaf("a");
    zeNode same_category(term("a"));
    zeNode other_category(term("b"));

    tree.DelFinder(&same_category);
    tree.DelFinder(&other_category);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(present));
    EXPECT_EQ(tree.m_finder.size(), 1U);
}

// SetName.

TEST_F(zePhysicalTreeTest, SetNameMovesALeafToTheEndOfItsNewCategory) {
    zeNode* const moved = Leaf("a");
    zeNode* const staying = Leaf("a");
    zeNode* const present = Leaf("b");

    tree.SetName(moved, term("b"));

    EXPECT_EQ(moved->m_concept, term("b"));
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(staying));
    EXPECT_THAT(tree.GetLeafNodes(term("b")), ElementsAre(present, moved));
}

TEST_F(zePhysicalTreeTest, SetNameToTheSameNameKeepsTheFindersOrder) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.SetName(first, term("a"));

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, SetNameOfAnInnerNodeDoesNotChangeTheFinder) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        tree.Clear();
        zeNode* const leaf = Leaf("a");
        zeNode* const inner = Inner("a", type);

        tree.SetName(inner, term("b"));

        EXPECT_EQ(inner->m_concept, term("b"));
        EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(leaf));
        EXPECT_EQ(tree.m_finder.size(), 1U);
    }
}

// ChangeType.

// All changes of type, with NoScore set and not set, and with another bit that must not change.
TEST_F(zePhysicalTreeTest, ChangeTypeSetsNoScoreFromALeafAndClearsItToALeaf) {
    const struct {
        unsigned int from;
        unsigned int to;
        unsigned char flags_before;
        unsigned char flags_after;
    } rows[] = {
        // The same type changes no flags, so the user's choice remains.
        {ZE_LEAF, ZE_LEAF, kJunk, kJunk},
        {ZE_LEAF, ZE_LEAF, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_RULE, ZE_RULE, kJunk, kJunk},
        {ZE_RULE, ZE_RULE, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_STAT, ZE_STAT, kJunk, kJunk},
        {ZE_STAT, ZE_STAT, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_LEAF, ZE_RULE, kJunk, kJunk | kNoScore},
        {ZE_LEAF, ZE_RULE, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_LEAF, ZE_STAT, kJunk, kJunk | kNoScore},
        {ZE_LEAF, ZE_STAT, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_RULE, ZE_STAT, kJunk, kJunk | kNoScore},
        {ZE_RULE, ZE_STAT, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_STAT, ZE_RULE, kJunk, kJunk | kNoScore},
        {ZE_STAT, ZE_RULE, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_RULE, ZE_LEAF, kJunk, kJunk},
        {ZE_RULE, ZE_LEAF, kJunk | kNoScore, kJunk},
        {ZE_STAT, ZE_LEAF, kJunk, kJunk},
        {ZE_STAT, ZE_LEAF, kJunk | kNoScore, kJunk},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.from) + " to " + std::to_string(row.to) + " from flags " +
                     std::to_string(row.flags_before));
        tree.Clear();
        zeNode* const node = Leaf("a");
        tree.ChangeType(node, row.from);
        node->m_flags = row.flags_before;

        tree.ChangeType(node, row.to);

        EXPECT_EQ(node->m_classifier_type, row.to);
        EXPECT_EQ(node->m_flags, row.flags_after);
        EXPECT_EQ(tree.GetLeafNodes(term("a")).size(), row.to == ZE_LEAF ? 1U : 0U);
    }
}

TEST_F(zePhysicalTreeTest, ChangeTypeThereAndBackPutsALeafAtTheEndOfItsCategory) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.ChangeType(first, ZE_STAT);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(second));

    tree.ChangeType(first, ZE_LEAF);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(second, first));
}

TEST_F(zePhysicalTreeTest, ChangeTypeToTheSameTypeKeepsTheFindersOrder) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.ChangeType(first, ZE_LEAF);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, ChangeTypeBetweenInnerTypesDoesNotChangeTheFinder) {
    zeNode* const leaf = Leaf("a");
    zeNode* const inner = Inner("a", ZE_STAT);

    tree.ChangeType(inner, ZE_RULE);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(leaf));
}

// DeleteCat and Clear.

TEST_F(zePhysicalTreeTest, DeleteCatRemovesALeafFromTableAndFinder) {
    zeNode* const deleted = Leaf("a");
    zeNode* const staying = Leaf("a");

    tree.DeleteCat(deleted);

    EXPECT_EQ(tree.GetNode(1), nullptr);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(staying));
}

TEST_F(zePhysicalTreeTest, DeleteCatOfAnInnerNodeKeepsFinderChildrenAndClassifier) {
    zeNode* const leaf = Leaf("a");
    zeNode* const inner = Inner("a");
    zeNode* const child = Leaf("child");
    inner->add_child(child);
    const unsigned int inner_id = inner->m_node_id;
    const unsigned int classifier_id = inner->m_classifier_id;

    tree.DeleteCat(inner);

    EXPECT_EQ(tree.GetNode(inner_id), nullptr);
    EXPECT_EQ(tree.GetNode(child->m_node_id), child);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(leaf));
    EXPECT_TRUE(IsRegistered(classifier_id));
}

TEST_F(zePhysicalTreeTest, DeleteCatDoesNotFreeTheId) {
    tree.DeleteCat(Leaf("a"));

    EXPECT_EQ(Leaf("b")->m_node_id, 2U);
}

TEST_F(zePhysicalTreeTest, ClearRemovesNodesAndRestartsIds) {
    Leaf("a");
    Leaf("b");

    tree.Clear();

    EXPECT_THAT(tree.m_nodes, IsEmpty());
    EXPECT_THAT(tree.m_finder, IsEmpty());
    EXPECT_EQ(tree.m_manager, &manager);
    EXPECT_EQ(Leaf("c")->m_node_id, 1U);
}

TEST_F(zePhysicalTreeTest, ClearKeepsClassifiers) {
    const unsigned int id = Inner("a")->m_classifier_id;

    tree.Clear();

    EXPECT_TRUE(IsRegistered(id));
}

}  // namespace
