#include "zandrel/knowledge/zeManager.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/Hio.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/known_to_storage.h"
#include "tests/support/record_bytes.h"

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

TEST_F(zeManagerOperationsTest, GetRootStorageReturnsTheMatchersStorage) {
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

TEST_F(zeManagerOperationsTest, AddClassifierRefusesAnUnknownType) {
    zeNode* const node = Leaf("root");
    for (const unsigned int type : {0U, 3U, 7U, 256U, 257U, 258U, 4294967295U}) {
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

TEST_F(zeManagerOperationsTest, AddClassifierSetsAnEmptySwitcherOnTheNode) {
    zeNode* const node = Leaf("root");

    zeClassifier* const classifier = manager.AddClassifier(node, ZE_RULE);

    const auto* const switcher = dynamic_cast<const zeSwitcher*>(classifier);
    ASSERT_NE(switcher, nullptr);
    EXPECT_EQ(switcher->GetType(), ZE_RULE);
    EXPECT_TRUE(switcher->m_dirty);
    EXPECT_THAT(switcher->m_rules, IsEmpty());
    EXPECT_EQ(switcher->m_default, nullptr);
    EXPECT_EQ(switcher->m_node, node);
    EXPECT_EQ(node->m_classifier, classifier);
    EXPECT_EQ(node->m_classifier_id, classifier->m_id);
    EXPECT_EQ(node->m_classifier_type, ZE_RULE);
    EXPECT_TRUE(node->is_no_score());
    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zeManagerOperationsTest, AddClassifierRegistersASwitcherUnderTheNextId) {
    manager.m_last_object_id = 6;

    zeClassifier* const classifier = manager.AddClassifier(Leaf("root"), ZE_RULE);

    EXPECT_EQ(classifier->m_id, 7U);
    EXPECT_EQ(manager.m_last_object_id, 7U);
    EXPECT_EQ(manager.m_objects.size(), 1U);
    EXPECT_EQ(manager.m_objects.at(7), classifier);
}

TEST_F(zeManagerOperationsTest, GetRootStorageRaisesForARuleRoot) {
    manager.m_root = tree.MakeNode(term("root"), ZE_RULE, 0, 0.0);

    EXPECT_QTX_ARGS(manager.GetRootStorage(), zeManager, 1, "Root classifier is not statistic", {});
}

// LoadCat.

TEST_F(zeManagerOperationsTest, LoadCatReturnsTheNodeOfAKnownIdAndNullForOthers) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("b");
    SegBuf record =
        record_of(from_hex("00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 03 ff ff ff ff"));
    Hio<HSegment> io(new HSegment(record, 'r'));

    EXPECT_EQ(manager.LoadCat(io, nullptr), second);
    EXPECT_EQ(manager.LoadCat(io, second), first);
    EXPECT_EQ(manager.LoadCat(io, first), nullptr);
    EXPECT_EQ(manager.LoadCat(io, first), nullptr);
    EXPECT_EQ(manager.LoadCat(io, nullptr), nullptr);
    EXPECT_EQ(tree.m_nodes.size(), 2U);
}

TEST_F(zeManagerOperationsTest, LoadCatRaisesAtTheEndOfTheRecord) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'r'));

    EXPECT_SEGBUF_ERROR(manager.LoadCat(io, nullptr), qtxSegBuf::kLocateError);
}

// DelClassifier.

TEST_F(zeManagerOperationsTest, DelClassifierMakesALeafAndFreesBothObjects) {
    zeNode* const node = Leaf("root");
    manager.AddClassifier(node, ZE_STAT);
    zeNode* const child = Leaf("child");
    node->add_child(child);
    const Known_only_to_storage known(*node);

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

TEST_F(zeManagerOperationsTest, DelClassifierOfANodeWithoutOneDoesNothing) {
    zeNode* const node = Leaf("root");
    zeNode* const child = Leaf("child");
    node->add_child(child);

    manager.DelClassifier(node);

    EXPECT_THAT(node->m_children, ElementsAre(child));
}

}  // namespace
