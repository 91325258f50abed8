#include "zandrel/knowledge/zeManager.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/known_to_storage.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zeManagerOperationsTest : public testing::Test {
protected:
    zeNode* Leaf(std::string_view name) { return tree.MakeNode(term(name), ZE_LEAF, 0, 0.0); }

    zeManager manager;
    zePhysicalTree& tree = *manager.m_physical_tree;
};

// GetRootStorage.

TEST_F(zeManagerOperationsTest, GetRootStorageRaisesWithoutARoot) {
    EXPECT_QTX_ARGS(manager.GetRootStorage(), zeManager, 1, "Root classifier is not set", {});
}

TEST_F(zeManagerOperationsTest, GetRootStorageRaisesForARootWithoutAClassifier) {
    manager.m_root = Leaf("root");

    EXPECT_QTX_ARGS(manager.GetRootStorage(), zeManager, 1, "Root classifier is not set", {});
}

TEST_F(zeManagerOperationsTest, GetRootStorageRaisesForAnotherKindOfClassifier) {
    manager.m_root = Leaf("root");
    tree.set_classifier(manager.m_root, new FakeClassifier(&manager, manager.m_root, ZE_RULE));

    EXPECT_QTX_ARGS(manager.GetRootStorage(), zeManager, 1, "Root classifier is not statistic", {});
}

TEST_F(zeManagerOperationsTest, GetRootStorageYieldsTheMatchersStorage) {
    manager.m_root = Leaf("root");
    const auto* const matcher =
        dynamic_cast<zeStat_matcher*>(manager.AddClassifier(manager.m_root, ZE_STAT));
    ASSERT_NE(matcher, nullptr);

    EXPECT_EQ(manager.GetRootStorage(), matcher->m_storage);
}

// AddClassifier.

TEST_F(zeManagerOperationsTest, AddClassifierSetsAMatcherOnTheNode) {
    zeNode* const node = Leaf("root");

    const zeClassifier* const classifier = manager.AddClassifier(node, ZE_STAT);

    EXPECT_NE(dynamic_cast<const zeStat_matcher*>(classifier), nullptr);
    EXPECT_EQ(classifier->m_node, node);
    EXPECT_EQ(node->m_classifier, classifier);
    EXPECT_EQ(node->m_classifier_id, classifier->m_id);
    EXPECT_EQ(node->m_classifier_type, ZE_STAT);
    EXPECT_TRUE(node->is_no_score());
    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zeManagerOperationsTest, AddClassifierRegistersTheStorageBeforeTheMatcher) {
    zeClassifier* const classifier = manager.AddClassifier(Leaf("root"), ZE_STAT);

    const auto* const storage = dynamic_cast<zeStat_matcher&>(*classifier).m_storage;
    EXPECT_EQ(storage->m_id, 1U);
    EXPECT_EQ(classifier->m_id, 2U);
    EXPECT_EQ(manager.m_objects.size(), 2U);
    EXPECT_EQ(manager.m_objects.at(1), storage);
    EXPECT_EQ(manager.m_objects.at(2), classifier);
}

TEST_F(zeManagerOperationsTest, AddClassifierStartsBothObjectsDirty) {
    zeClassifier* const classifier = manager.AddClassifier(Leaf("root"), ZE_STAT);

    EXPECT_TRUE(classifier->m_dirty);
    EXPECT_TRUE(dynamic_cast<zeStat_matcher&>(*classifier).m_storage->m_dirty);
}

TEST_F(zeManagerOperationsTest, AddClassifierGivesTheStorageTheManagersDefaults) {
    manager.m_defaults.clip_value = 7.5;
    manager.m_defaults.profile_size = 12;

    zeClassifier* const classifier = manager.AddClassifier(Leaf("root"), ZE_STAT);

    const auto* const storage = dynamic_cast<zeStat_matcher&>(*classifier).m_storage;
    EXPECT_EQ(storage->m_clip_value, 7.5);
    EXPECT_EQ(storage->m_profile_size, 12);
    EXPECT_EQ(storage->profile_count(), 0);
}

TEST_F(zeManagerOperationsTest, AddClassifierUnlinksTheNodesChildren) {
    zeNode* const node = Leaf("root");
    zeNode* const child = Leaf("child");
    node->add_child(child);

    manager.AddClassifier(node, ZE_STAT);

    EXPECT_THAT(node->m_children, IsEmpty());
    EXPECT_EQ(child->m_parent, nullptr);
}

TEST_F(zeManagerOperationsTest, AddClassifierRefusesATypeThatNoClassifierHas) {
    zeNode* const node = Leaf("root");
    for (const unsigned int type : {0U, 3U, 256U, 258U, 4294967295U}) {
        SCOPED_TRACE(type);

        EXPECT_QTX_ARGS(manager.AddClassifier(node, type), zeManager, 0, "Invalid classifier type",
                        {qtString(std::to_string(type))});

        EXPECT_EQ(node->m_classifier, nullptr);
        EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
        EXPECT_FALSE(node->is_no_score());
        EXPECT_THAT(tree.GetLeafNodes(term("root")), ElementsAre(node));
        EXPECT_THAT(manager.m_objects, IsEmpty());
        EXPECT_EQ(manager.m_last_object_id, 0U);
    }
}

// The engine has no rule classifier.
TEST_F(zeManagerOperationsTest, AddClassifierRefusesARuleNode) {
    EXPECT_QTX_ARGS(manager.AddClassifier(Leaf("root"), ZE_RULE), zeManager, 0,
                    "Invalid classifier type", {"1"});
}

// DelClassifier.

TEST_F(zeManagerOperationsTest, DelClassifierMakesALeafAndFreesBothObjects) {
    zeNode* const node = Leaf("root");
    manager.AddClassifier(node, ZE_STAT);
    zeNode* const child = Leaf("child");
    node->add_child(child);
    const Known_to_storage_alone known(*node);

    manager.DelClassifier(node);

    EXPECT_TRUE(known.is_gone());
    EXPECT_THAT(manager.m_objects, IsEmpty());
    EXPECT_EQ(node->m_classifier, nullptr);
    EXPECT_EQ(node->m_classifier_id, 0U);
    EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
    EXPECT_FALSE(node->is_no_score());
    EXPECT_THAT(node->m_children, IsEmpty());
    EXPECT_EQ(child->m_parent, nullptr);
    EXPECT_THAT(tree.GetLeafNodes(term("root")), ElementsAre(node));
}

TEST_F(zeManagerOperationsTest, DelClassifierDoesNothingWithoutOne) {
    zeNode* const node = Leaf("root");
    zeNode* const child = Leaf("child");
    node->add_child(child);

    manager.DelClassifier(node);

    EXPECT_THAT(node->m_children, ElementsAre(child));
}

}  // namespace
