// The classifiers of the physical tree's nodes.
#include "zandrel/knowledge/zePhysicalTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/knowledge/physical_tree_fixture.h"
#include "tests/support/bags.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/known_to_storage.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(zePhysicalTreeTest, GetClassifierReturnsTheOneInMemory) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        zeNode* const node = Inner("a", type);

        EXPECT_EQ(tree.get_classifier(node), node->m_classifier);
        EXPECT_NE(tree.get_classifier(node), nullptr);
    }
}

TEST_F(zePhysicalTreeTest, GetClassifierReturnsNullForALeaf) {
    EXPECT_EQ(tree.get_classifier(Leaf("a")), nullptr);
}

TEST_F(zePhysicalTreeTest, SetClassifierGivesTheNodeItsIdAndType) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        zeNode* const node = Leaf("a");
        auto* const classifier = new FakeClassifier(&manager, node, type);

        tree.set_classifier(node, classifier);

        EXPECT_EQ(node->m_classifier, classifier);
        EXPECT_EQ(node->m_classifier_id, classifier->m_id);
        EXPECT_EQ(node->m_classifier_type, type);
        EXPECT_TRUE(node->is_no_score());
        EXPECT_THAT(tree.GetLeafNodes(term("a")), IsEmpty());
    }
}

TEST_F(zePhysicalTreeTest, SetClassifierOfTheSameTypeKeepsNoScore) {
    zeNode* const node = Inner("a");
    node->m_flags = kNoFlags;
    auto* const classifier = new FakeClassifier(&manager, node);

    tree.set_classifier(node, classifier);

    EXPECT_EQ(node->m_classifier, classifier);
    EXPECT_EQ(node->m_flags, kNoFlags);
}

TEST_F(zePhysicalTreeTest, SetClassifierOfNullMakesALeaf) {
    zeNode* const node = Inner("a");

    tree.set_classifier(node, nullptr);

    EXPECT_EQ(node->m_classifier, nullptr);
    EXPECT_EQ(node->m_classifier_id, 0U);
    EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
    EXPECT_FALSE(node->is_no_score());
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node));
}

TEST_F(zePhysicalTreeTest, SetClassifierKeepsTheOldOneInTheRegistry) {
    zeNode* const node = Inner("a");
    const unsigned int id = node->m_classifier_id;

    tree.set_classifier(node, nullptr);

    EXPECT_TRUE(IsRegistered(id));
}

TEST_F(zePhysicalTreeTest, SetClassifierOfOneInMemoryTracesNothing) {
    zeNode* const node = Leaf("a");
    const Trace_capture traced;

    tree.set_classifier(node, new FakeClassifier(&manager, node));
    tree.get_classifier(node);

    EXPECT_THAT(traced.texts(), IsEmpty());
}

TEST_F(zePhysicalTreeTest, ReleaseClassifierDropsTheObjectAndKeepsItsId) {
    zeNode* const node = Inner("a");
    zeNode* const child = Leaf("child");
    node->add_child(child);
    const unsigned int id = node->m_classifier_id;
    int destroyed_count = 0;
    Fake(node).destroyed_count = &destroyed_count;
    ASSERT_TRUE(node->m_classifier->m_dirty);

    tree.release_classifier(node, nullptr);

    EXPECT_EQ(destroyed_count, 1);
    EXPECT_FALSE(IsRegistered(id));
    EXPECT_EQ(node->m_classifier, nullptr);
    EXPECT_EQ(node->m_classifier_id, id);
    EXPECT_EQ(node->m_classifier_type, ZE_STAT);
    EXPECT_TRUE(node->is_no_score());
    EXPECT_THAT(node->m_children, ElementsAre(child));
}

// The blank before the colon is a part of the fixed text.
TEST_F(zePhysicalTreeTest, ReleaseClassifierTracesTheNodesName) {
    zeNode* const node = Inner("sport");
    const Trace_capture traced;

    tree.release_classifier(node, nullptr);

    ASSERT_EQ(traced.lines.size(), 1U);
    EXPECT_EQ(traced.lines[0].text, "Removing classifier from cache : sport");
    EXPECT_EQ(traced.lines[0].level, zandrel::kTraceDebug);
}

TEST_F(zePhysicalTreeTest, ReleaseClassifierOfANodeWithoutOneDoesNothing) {
    zeNode* const leaf = Leaf("a");
    zeNode* const released = Inner("b");
    tree.release_classifier(released, nullptr);
    const Trace_capture traced;

    tree.release_classifier(leaf, nullptr);
    tree.release_classifier(released, nullptr);

    EXPECT_THAT(traced.texts(), IsEmpty());
    EXPECT_NE(released->m_classifier_id, 0U);
}

TEST_F(zePhysicalTreeTest, ReleaseClassifierOfAMatcherDropsItsStorageToo) {
    zeNode* const node = tree.MakeNode(term("a"), ZE_STAT, 0, 0.0);
    ASSERT_EQ(manager.m_objects.size(), 2U);
    const Known_only_to_storage known(*node);

    tree.release_classifier(node, nullptr);

    EXPECT_TRUE(known.is_gone());
    EXPECT_THAT(manager.m_objects, IsEmpty());
}

TEST_F(zePhysicalTreeTest, DeleteClassifierMakesALeafWithoutChildren) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        tree.Clear();
        zeNode* const node = Inner("a", type);
        zeNode* const child = Leaf("child");
        node->add_child(child);
        const unsigned int id = node->m_classifier_id;
        int destroyed_count = 0;
        Fake(node).destroyed_count = &destroyed_count;

        tree.delete_classifier(node);

        EXPECT_EQ(destroyed_count, 1);
        EXPECT_FALSE(IsRegistered(id));
        EXPECT_EQ(node->m_classifier, nullptr);
        EXPECT_EQ(node->m_classifier_id, 0U);
        EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
        EXPECT_FALSE(node->is_no_score());
        EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node));
        EXPECT_THAT(node->m_children, IsEmpty());
        EXPECT_EQ(child->m_parent, nullptr);
        EXPECT_EQ(tree.GetNode(child->m_node_id), child);
    }
}

TEST_F(zePhysicalTreeTest, DeleteClassifierOfAMatcherDeletesItsStorageToo) {
    zeNode* const node = tree.MakeNode(term("a"), ZE_STAT, 0, 0.0);
    ASSERT_EQ(manager.m_objects.size(), 2U);
    const Known_only_to_storage known(*node);

    tree.delete_classifier(node);

    EXPECT_TRUE(known.is_gone());
    EXPECT_THAT(manager.m_objects, IsEmpty());
}

TEST_F(zePhysicalTreeTest, DeleteClassifierOfANodeWithoutOneDoesNothing) {
    zeNode* const node = Leaf("a");
    zeNode* const child = Leaf("child");
    node->add_child(child);
    node->m_flags = kNoScore;

    tree.delete_classifier(node);

    EXPECT_THAT(node->m_children, ElementsAre(child));
    EXPECT_EQ(child->m_parent, node);
    EXPECT_EQ(node->m_flags, kNoScore);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node));
}

// is_cat_blocked.

TEST_F(zePhysicalTreeTest, EveryNodeBelowALeafIsBlocked) {
    zeMsg msg;

    EXPECT_TRUE(tree.is_cat_blocked(Leaf("a"), nullptr, msg));
}

TEST_F(zePhysicalTreeTest, NoNodeBelowAStatisticalNodeIsBlockedAndNoClassifierIsAsked) {
    zeNode* const parent = Inner("parent", ZE_STAT);
    zeNode* const child = Leaf("child");
    Fake(parent).blocked_children = {child};
    zeMsg msg;

    EXPECT_FALSE(tree.is_cat_blocked(parent, child, msg));

    EXPECT_THAT(Fake(parent).asked_children, IsEmpty());
}

TEST_F(zePhysicalTreeTest, NoNodeBelowAStatisticalNodeWithoutAClassifierIsBlocked) {
    zeNode* const parent = Inner("parent", ZE_STAT);
    tree.release_classifier(parent, nullptr);
    zeMsg msg;

    EXPECT_FALSE(tree.is_cat_blocked(parent, Leaf("child"), msg));
}

TEST_F(zePhysicalTreeTest, ClassifierOfARuleNodeDecidesWhetherAChildIsBlocked) {
    zeNode* const parent = Inner("parent", ZE_RULE);
    zeNode* const closed = Leaf("closed");
    zeNode* const open = Leaf("open");
    Fake(parent).blocked_children = {closed};
    zeMsg msg;

    EXPECT_TRUE(tree.is_cat_blocked(parent, closed, msg));
    EXPECT_FALSE(tree.is_cat_blocked(parent, open, msg));

    EXPECT_THAT(Fake(parent).asked_children, ElementsAre(closed, open));
}

TEST_F(zePhysicalTreeTest, EveryNodeBelowARuleNodeWithoutAClassifierIsBlocked) {
    zeNode* const parent = Leaf("parent");
    tree.ChangeType(parent, ZE_RULE);
    zeMsg msg;

    EXPECT_TRUE(tree.is_cat_blocked(parent, Leaf("child"), msg));
}

}  // namespace
