#include "zandrel/knowledge/zeManager.h"

#include <memory>
#include <set>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/known_to_storage.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Interrupts at every poll, or never.
class Progress : public CTProgress {
public:
    explicit Progress(bool interrupts) : m_interrupts(interrupts) {}

    bool IsInterrupted() const override { return m_interrupts; }

private:
    bool m_interrupts;
};

zeNode* add_node(zeManager& manager, std::string_view name, unsigned int flags = 0) {
    return manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, flags, 0.0);
}

FakeClassifier* add_counted_object(zeManager& manager, int& destroyed_count) {
    auto* const object = new FakeClassifier(&manager, nullptr);
    object->destroyed_count = &destroyed_count;
    return object;
}

TEST(zeManagerTest, StartsEmpty) {
    const zeManager manager;

    EXPECT_EQ(manager.m_last_object_id, 0U);
    EXPECT_EQ(manager.m_root, nullptr);
    EXPECT_THAT(manager.m_objects, IsEmpty());
    EXPECT_TRUE(manager.m_io.IsNull());
    EXPECT_EQ(manager.m_progress, nullptr);
}

TEST(zeManagerTest, NewContainerIsModifiedAndOfVersionTwo) {
    const zeManager manager;

    EXPECT_EQ(manager.m_version, 2);
    EXPECT_TRUE(manager.m_modified);
    EXPECT_FALSE(manager.m_compact);
    EXPECT_FALSE(manager.m_compat55);
    EXPECT_EQ(manager.m_defaults, zeDefaults());
}

TEST(zeManagerTest, BothTreesOfANewManagerPointToIt) {
    const zeManager manager;

    ASSERT_FALSE(manager.m_logical_tree.IsNull());
    ASSERT_FALSE(manager.m_physical_tree.IsNull());
    EXPECT_EQ(manager.m_logical_tree->manager, &manager);
    EXPECT_EQ(manager.m_physical_tree->m_manager, &manager);
}

// The registry.

TEST(zeManagerTest, RegisterObjectReplacesTheObjectOfAnId) {
    zeManager manager;
    auto first = std::make_unique<FakeClassifier>(nullptr, nullptr);
    auto* const second = new FakeClassifier(nullptr, nullptr);
    first->m_id = 9;
    second->m_id = 9;

    manager.RegisterObject(first.get());
    manager.RegisterObject(second);

    EXPECT_EQ(manager.m_objects.size(), 1U);
    EXPECT_EQ(manager.m_objects.at(9), second);
}

TEST(zeManagerTest, UnregisterObjectDoesNotDeleteTheObject) {
    zeManager manager;
    int destroyed_count = 0;
    const std::unique_ptr<FakeClassifier> object(add_counted_object(manager, destroyed_count));

    manager.UnregisterObject(object.get());

    EXPECT_THAT(manager.m_objects, IsEmpty());
    EXPECT_EQ(destroyed_count, 0);
    EXPECT_EQ(object->m_id, 1U);
    EXPECT_EQ(object->m_manager, &manager);
}

TEST(zeManagerTest, ReleaseOfAnObjectDeletesOnlyThatObject) {
    int released_count = 0;
    int other_count = 0;
    zeManager manager;
    zeBase* const released = add_counted_object(manager, released_count);
    zeBase* const other = add_counted_object(manager, other_count);

    manager.Release(released);

    EXPECT_EQ(released_count, 1);
    EXPECT_EQ(other_count, 0);
    EXPECT_EQ(manager.m_objects.size(), 1U);
    EXPECT_EQ(manager.m_objects.at(2), other);
}

TEST(zeManagerTest, ReleaseOfAnObjectDoesNotFreeItsId) {
    zeManager manager;

    manager.Release(new FakeClassifier(&manager, nullptr));

    EXPECT_EQ(FakeClassifier(&manager, nullptr).m_id, 2U);
    manager.m_objects.clear();  // the object of the line above was deleted already
}

TEST(zeManagerTest, ReleaseOfAMatcherDeletesItsStorageToo) {
    zeManager manager;
    zeNode* const node = add_node(manager, "root");
    zeClassifier* const matcher = manager.AddClassifier(node, ZE_STAT);
    zeBase* const other = new FakeClassifier(&manager, nullptr);
    ASSERT_EQ(manager.m_objects.size(), 3U);
    const Known_only_to_storage known(*node);

    manager.Release(matcher);

    EXPECT_TRUE(known.is_gone());
    ASSERT_EQ(manager.m_objects.size(), 1U);
    EXPECT_EQ(manager.m_objects.begin()->second, other);
}

// Release().

TEST(zeManagerTest, ReleaseDeletesAllObjects) {
    zeManager manager;
    int destroyed_count = 0;
    add_counted_object(manager, destroyed_count);
    add_counted_object(manager, destroyed_count);
    manager.AddClassifier(add_node(manager, "root"), ZE_STAT);

    manager.Release();

    EXPECT_EQ(destroyed_count, 2);
    EXPECT_THAT(manager.m_objects, IsEmpty());
}

TEST(zeManagerTest, ReleaseEmptiesBothTrees) {
    zeManager manager;
    manager.m_root = add_node(manager, "root");
    manager.m_logical_tree->nodes[1].physical_node = manager.m_root;
    manager.m_logical_tree->finder[manager.m_root] = 1;
    manager.m_logical_tree->next_id = 1;

    manager.Release();

    EXPECT_EQ(manager.m_root, nullptr);
    EXPECT_THAT(manager.m_physical_tree->m_nodes, IsEmpty());
    EXPECT_THAT(manager.m_physical_tree->m_finder, IsEmpty());
    EXPECT_THAT(manager.m_logical_tree->nodes, IsEmpty());
    EXPECT_THAT(manager.m_logical_tree->finder, IsEmpty());
    EXPECT_EQ(manager.m_logical_tree->next_id, 0U);
}

TEST(zeManagerTest, ReleaseRestartsIds) {
    zeManager manager;
    new FakeClassifier(&manager, nullptr);
    add_node(manager, "a");

    manager.Release();

    EXPECT_EQ(manager.m_last_object_id, 0U);
    EXPECT_EQ((new FakeClassifier(&manager, nullptr))->m_id, 1U);
    EXPECT_EQ(add_node(manager, "b")->m_node_id, 1U);
}

TEST(zeManagerTest, ReleaseKeepsSettingsVersionAndFlags) {
    zeManager manager;
    manager.m_defaults.clip_value = 7.5;
    manager.m_version = 1;
    manager.m_modified = false;
    manager.m_compact = true;
    manager.m_compat55 = true;
    Progress progress(false);
    manager.m_progress = &progress;

    manager.Release();

    EXPECT_EQ(manager.m_defaults.clip_value, 7.5);
    EXPECT_EQ(manager.m_version, 1);
    EXPECT_FALSE(manager.m_modified);
    EXPECT_TRUE(manager.m_compact);
    EXPECT_TRUE(manager.m_compat55);
    EXPECT_EQ(manager.m_progress, &progress);
}

TEST(zeManagerTest, ReleaseTwiceDoesNoHarm) {
    zeManager manager;
    int destroyed_count = 0;
    add_counted_object(manager, destroyed_count);

    manager.Release();
    manager.Release();

    EXPECT_EQ(destroyed_count, 1);
    EXPECT_THAT(manager.m_objects, IsEmpty());
}

TEST(zeManagerTest, DestructionDeletesWhatWasNotReleased) {
    int destroyed_count = 0;
    {
        zeManager manager;
        add_counted_object(manager, destroyed_count);
        manager.AddClassifier(add_node(manager, "root"), ZE_STAT);
    }

    EXPECT_EQ(destroyed_count, 1);
}

TEST(zeManagerTest, DestructionAfterReleaseDeletesNothingTwice) {
    int destroyed_count = 0;
    {
        zeManager manager;
        add_counted_object(manager, destroyed_count);
        manager.Release();
    }

    EXPECT_EQ(destroyed_count, 1);
}

TEST(zeManagerTest, DestructionNeedsNoTrees) {
    int destroyed_count = 0;
    {
        zeManager manager;
        add_counted_object(manager, destroyed_count);
        manager.m_logical_tree.reset();
        manager.m_physical_tree.reset();
    }

    EXPECT_EQ(destroyed_count, 1);
}

TEST(zeManagerTest, TreeInUseOutlivesItsManager) {
    qtPtrLight<zePhysicalTree> held;
    {
        zeManager manager;
        add_node(manager, "a");
        held = manager.m_physical_tree;
    }

    EXPECT_THAT(held->m_nodes, IsEmpty());
}

// Questions.

TEST(zeManagerTest, ReadOnDemandIsZeroWithoutAFile) {
    const zeManager manager;

    EXPECT_EQ(manager.ReadOnDemand(), 0U);
}

TEST(zeManagerTest, GetRootClassifierReturnsNullWithoutARoot) {
    zeManager manager;

    EXPECT_EQ(manager.GetRootClassifier(), nullptr);
}

TEST(zeManagerTest, GetRootClassifierReturnsNullForALeaf) {
    zeManager manager;
    manager.m_root = add_node(manager, "root");

    EXPECT_EQ(manager.GetRootClassifier(), nullptr);
}

TEST(zeManagerTest, GetRootClassifierReturnsTheRootsClassifier) {
    zeManager manager;
    manager.AddClassifier(add_node(manager, "other"), ZE_STAT);
    manager.m_root = add_node(manager, "root");

    zeClassifier* const classifier = manager.AddClassifier(manager.m_root, ZE_STAT);

    EXPECT_EQ(manager.GetRootClassifier(), classifier);
}

// A scored inner node is a category too. The root and `inner` differ only in that flag.
class zeManagerCategoriesTest : public testing::Test {
protected:
    zeManagerCategoriesTest() {
        add_node(manager, "leaf");
        add_node(manager, "silent leaf", zeNode::NoScore);
        add_node(manager, "junk", zeNode::Junk);
        manager.m_physical_tree->MakeNode(term("inner"), ZE_STAT, 0, 0.0);
        manager.m_root =
            manager.m_physical_tree->MakeNode(term("root"), ZE_STAT, zeNode::NoScore, 0.0);
    }

    zeManager manager;
    std::set<Concept> cats;
};

TEST_F(zeManagerCategoriesTest, GetAllCatsReturnsScoredNodesOfEveryType) {
    manager.GetAllCats(cats, false);

    EXPECT_THAT(cats, ElementsAre(term("inner"), term("junk"), term("leaf")));
}

TEST_F(zeManagerCategoriesTest, GetAllCatsReturnsUnscoredNodesIfAllAreWanted) {
    manager.GetAllCats(cats, true);

    EXPECT_THAT(cats, ElementsAre(term("inner"), term("junk"), term("leaf"), term("root"),
                                  term("silent leaf")));
}

TEST_F(zeManagerCategoriesTest, GetAllCatsReturnsACategoryWithOneScoredLeafOnce) {
    add_node(manager, "silent leaf");
    add_node(manager, "leaf");

    manager.GetAllCats(cats, false);

    EXPECT_THAT(cats, ElementsAre(term("inner"), term("junk"), term("leaf"), term("silent leaf")));
}

TEST_F(zeManagerCategoriesTest, GetAllCatsClearsTheSetFirst) {
    cats.insert(term("stale"));

    zeManager().GetAllCats(cats, true);

    EXPECT_THAT(cats, IsEmpty());
}

TEST(zeManagerTest, GetWorkflowReturnsANewOneEachTime) {
    zeManager manager;
    manager.m_root = add_node(manager, "root");

    const qtPtrLight<zeWorkflow> first = manager.GetWorkflow();
    const qtPtrLight<zeWorkflow> second = manager.GetWorkflow();

    ASSERT_FALSE(first.IsNull());
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(first.use_count(), 1U);
}

TEST(zeManagerTest, GetWorkflowRaisesWithoutARoot) {
    zeManager manager;

    EXPECT_QTX_ARGS(manager.GetWorkflow(), zeWorkflow, 0, "Root classifier does not exist", {});
}

// Interruption.

TEST(zeManagerTest, InterruptsRaisesIfTheProgressInterrupts) {
    Progress progress(true);

    EXPECT_QTX_ARGS(zeInterrupts(&progress), zeWorkflow, 2, "Process interrupted", {});
}

TEST(zeManagerTest, InterruptsDoesNothingOtherwise) {
    Progress progress(false);

    EXPECT_NO_THROW(zeInterrupts(&progress));
}

TEST(zeManagerTest, CheckInterruptDoesNothingWithoutAProgress) {
    zeManager manager;

    EXPECT_NO_THROW(manager.check_interrupt());
}

TEST(zeManagerTest, CheckInterruptAsksTheCurrentProgress) {
    zeManager manager;
    Progress calm(false);
    Progress interrupting(true);

    manager.m_progress = &calm;
    EXPECT_NO_THROW(manager.check_interrupt());

    manager.m_progress = &interrupting;
    EXPECT_QTX(manager.check_interrupt(), zeWorkflow, 2, "Process interrupted");
}

}  // namespace
