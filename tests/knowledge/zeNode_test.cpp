#include "zandrel/knowledge/zeNode.h"

#include <cstddef>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeBase.h"

#include "tests/support/bags.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Node_set = hash_set<zeNode*, zePointer_hash>;

// A parent with the children a, b and c, in this order, and two nodes outside.
class zeNodeTest : public testing::Test {
protected:
    zeNodeTest() {
        parent.add_child(&a);
        parent.add_child(&b);
        parent.add_child(&c);
    }

    zeNode parent{term("parent")};
    zeNode a{term("a")};
    zeNode b{term("b")};
    zeNode c{term("c")};
    zeNode stranger{term("stranger")};
    zeNode other_parent{term("other parent")};
};

TEST_F(zeNodeTest, NewNodeIsAnEmptyLeaf) {
    const zeNode node(term("sport"));

    EXPECT_EQ(node.m_node_id, 0U);
    EXPECT_EQ(node.m_concept, term("sport"));
    EXPECT_EQ(node.m_classifier, nullptr);
    EXPECT_EQ(node.m_classifier_id, 0U);
    EXPECT_EQ(node.m_classifier_type, ZE_LEAF);
    EXPECT_EQ(node.m_flags, 0);
    EXPECT_EQ(node.m_threshold, 0.0);
    EXPECT_EQ(node.m_parent, nullptr);
    EXPECT_THAT(node.m_children, IsEmpty());
}

TEST_F(zeNodeTest, FlagsHaveTheirStoredBits) {
    EXPECT_EQ(zeNode::NoScore, 1);
    EXPECT_EQ(zeNode::Junk, 2);
}

TEST_F(zeNodeTest, IsNoScoreReadsOnlyBitZero) {
    zeNode node(term("sport"));

    node.m_flags = 0xFE;
    EXPECT_FALSE(node.is_no_score());

    node.m_flags = 0x01;
    EXPECT_TRUE(node.is_no_score());
}

TEST_F(zeNodeTest, FindChildReturnsThePosition) {
    EXPECT_EQ(parent.find_child(&a), 0);
    EXPECT_EQ(parent.find_child(&b), 1);
    EXPECT_EQ(parent.find_child(&c), 2);
}

TEST_F(zeNodeTest, FindChildReturnsMinusOneIfTheNodeIsNoChild) {
    EXPECT_EQ(parent.find_child(&stranger), -1);
    EXPECT_EQ(parent.find_child(&parent), -1);
    EXPECT_EQ(parent.find_child(nullptr), -1);
    EXPECT_EQ(a.find_child(&b), -1);
}

TEST_F(zeNodeTest, AddChildAppendsAndSetsTheParent) {
    EXPECT_TRUE(parent.add_child(&stranger));

    EXPECT_THAT(parent.m_children, ElementsAre(&a, &b, &c, &stranger));
    EXPECT_EQ(stranger.m_parent, &parent);
}

TEST_F(zeNodeTest, AddChildRefusesNull) {
    EXPECT_FALSE(parent.add_child(nullptr));

    EXPECT_THAT(parent.m_children, ElementsAre(&a, &b, &c));
}

TEST_F(zeNodeTest, AddChildRefusesAPresentChildAndKeepsItsParent) {
    b.m_parent = &other_parent;

    EXPECT_FALSE(parent.add_child(&b));

    EXPECT_THAT(parent.m_children, ElementsAre(&a, &b, &c));
    EXPECT_EQ(b.m_parent, &other_parent);
}

TEST_F(zeNodeTest, RemoveChildMovesTheLastIntoItsPlace) {
    EXPECT_TRUE(parent.remove_child(&a));

    EXPECT_THAT(parent.m_children, ElementsAre(&c, &b));
    EXPECT_EQ(a.m_parent, nullptr);
    EXPECT_EQ(c.m_parent, &parent);
}

TEST_F(zeNodeTest, RemoveChildOfTheLastShortensTheList) {
    EXPECT_TRUE(parent.remove_child(&c));

    EXPECT_THAT(parent.m_children, ElementsAre(&a, &b));
    EXPECT_EQ(c.m_parent, nullptr);
}

TEST_F(zeNodeTest, RemoveChildOfAnOnlyChildEmptiesTheList) {
    other_parent.add_child(&stranger);

    EXPECT_TRUE(other_parent.remove_child(&stranger));

    EXPECT_THAT(other_parent.m_children, IsEmpty());
}

TEST_F(zeNodeTest, RemoveChildRefusesAnAbsentChildAndKeepsItsParent) {
    other_parent.add_child(&stranger);

    EXPECT_FALSE(parent.remove_child(&stranger));

    EXPECT_THAT(parent.m_children, ElementsAre(&a, &b, &c));
    EXPECT_EQ(stranger.m_parent, &other_parent);
}

TEST_F(zeNodeTest, ReplaceChildPutsTheNewOneAtTheEnd) {
    EXPECT_TRUE(parent.replace_child(&a, &stranger));

    EXPECT_THAT(parent.m_children, ElementsAre(&c, &b, &stranger));
    EXPECT_EQ(a.m_parent, nullptr);
    EXPECT_EQ(stranger.m_parent, &parent);
}

TEST_F(zeNodeTest, ReplaceChildByItselfMovesItToTheEnd) {
    EXPECT_TRUE(parent.replace_child(&a, &a));

    EXPECT_THAT(parent.m_children, ElementsAre(&c, &b, &a));
    EXPECT_EQ(a.m_parent, &parent);
}

TEST_F(zeNodeTest, ReplaceChildOfAnAbsentChildAddsNothing) {
    EXPECT_FALSE(parent.replace_child(&other_parent, &stranger));

    EXPECT_THAT(parent.m_children, ElementsAre(&a, &b, &c));
    EXPECT_EQ(stranger.m_parent, nullptr);
}

TEST_F(zeNodeTest, ReplaceChildByAPresentChildStillRemovesTheOldOne) {
    EXPECT_FALSE(parent.replace_child(&a, &b));

    EXPECT_THAT(parent.m_children, ElementsAre(&c, &b));
    EXPECT_EQ(a.m_parent, nullptr);
}

TEST_F(zeNodeTest, ReplaceChildByNullStillRemovesTheOldOne) {
    EXPECT_FALSE(parent.replace_child(&c, nullptr));

    EXPECT_THAT(parent.m_children, ElementsAre(&a, &b));
}

TEST_F(zeNodeTest, RemoveAllChildrenUnlinksEachOfThem) {
    b.add_child(&stranger);

    parent.remove_all_children();

    EXPECT_THAT(parent.m_children, IsEmpty());
    EXPECT_EQ(a.m_parent, nullptr);
    EXPECT_EQ(b.m_parent, nullptr);
    EXPECT_EQ(c.m_parent, nullptr);
    EXPECT_EQ(stranger.m_parent, &b);
}

TEST_F(zeNodeTest, GetSubtreeAddsTheNodeAndAllBelow) {
    b.add_child(&stranger);
    Node_set nodes;

    parent.get_subtree(nodes);

    EXPECT_THAT(nodes, UnorderedElementsAre(&parent, &a, &b, &c, &stranger));
}

TEST_F(zeNodeTest, GetSubtreeLeavesOutNodesAbove) {
    b.add_child(&stranger);
    Node_set nodes;

    b.get_subtree(nodes);

    EXPECT_THAT(nodes, UnorderedElementsAre(&b, &stranger));
}

TEST_F(zeNodeTest, GetSubtreeKeepsPresentEntriesOfTheSet) {
    Node_set nodes = {&stranger};

    a.get_subtree(nodes);

    EXPECT_THAT(nodes, UnorderedElementsAre(&stranger, &a));
}

TEST_F(zeNodeTest, GetSubtreeWalksBelowPresentEntriesOfTheSet) {
    b.add_child(&stranger);
    Node_set nodes = {&b};

    parent.get_subtree(nodes);

    EXPECT_THAT(nodes, UnorderedElementsAre(&parent, &a, &b, &c, &stranger));
}

TEST_F(zeNodeTest, GetSubtreeClassifiersTestsTheClassifiersId) {
    // The classifiers of both nodes are not in memory; the nodes have only the ids of their
    // classifiers. `stranger` is below a leaf.
    b.add_child(&stranger);
    parent.m_classifier_id = 7;
    stranger.m_classifier_id = 8;
    Node_set nodes;

    parent.get_subtree_classifiers(nodes);

    EXPECT_THAT(nodes, UnorderedElementsAre(&parent, &stranger));
}

TEST_F(zeNodeTest, GetSubtreeClassifiersAddsNothingForLeaves) {
    Node_set nodes;

    parent.get_subtree_classifiers(nodes);

    EXPECT_THAT(nodes, IsEmpty());
}

// A recursive walk would run out of stack at this depth.
TEST(zeNodeDeepTest, GetSubtreeWalksAnyDepth) {
    constexpr std::size_t kDepth = 300000;
    std::vector<zeNode> chain(kDepth, zeNode(term("link")));
    for (std::size_t i = 0; i < kDepth; ++i) {
        chain[i].m_classifier_id = 1;
        if (i > 0) {
            chain[i - 1].add_child(&chain[i]);
        }
    }
    Node_set nodes;
    Node_set classifiers;

    chain.front().get_subtree(nodes);
    chain.front().get_subtree_classifiers(classifiers);

    EXPECT_EQ(nodes.size(), kDepth);
    EXPECT_EQ(classifiers.size(), kDepth);
}

TEST_F(zeNodeTest, GetSubtreeWalksFromAConstNode) {
    const zeNode& start = parent;
    Node_set nodes;

    start.get_subtree(nodes);

    EXPECT_THAT(nodes, UnorderedElementsAre(&parent, &a, &b, &c));
}

TEST_F(zeNodeTest, GetSubtreeClassifiersWalksFromAConstNode) {
    const zeNode& start = parent;
    b.m_classifier_id = 7;
    Node_set nodes;

    start.get_subtree_classifiers(nodes);

    EXPECT_THAT(nodes, UnorderedElementsAre(&b));
}

TEST_F(zeNodeTest, IdentityOfALeafIsItsConceptsIdentity) {
    const zeNode first(term("sport"));
    const zeNode second(term("sport"));

    EXPECT_EQ(first.identity(), term("sport").identity());
    EXPECT_EQ(first.identity(), second.identity());
    EXPECT_NE(first.identity(), a.identity());
}

TEST_F(zeNodeTest, IdentityOfAnInnerNodeIsTheNode) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        zeNode first(term("sport"));
        zeNode second(term("sport"));
        first.m_classifier_type = static_cast<unsigned char>(type);
        second.m_classifier_type = static_cast<unsigned char>(type);

        EXPECT_EQ(first.identity(), &first);
        EXPECT_EQ(second.identity(), &second);
    }
}

}  // namespace
