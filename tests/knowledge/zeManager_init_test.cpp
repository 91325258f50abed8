// InitWorkflow, which creates the root of a new container.
#include "zandrel/knowledge/zeManager.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zeManagerInitTest : public testing::Test {
protected:
    qtPtrLight<zeWorkflow> Init(std::string_view name) {
        Concept root = term(name);
        return manager.InitWorkflow(root);
    }

    std::set<Concept> Categories(bool all) {
        std::set<Concept> cats;
        manager.GetAllCats(cats, all);
        return cats;
    }

    zeManager manager;
};

TEST_F(zeManagerInitTest, NewContainerHasAStatisticalRootThatIsNotScored) {
    Init("shop");

    const zeLogicalNode& root = manager.m_logical_tree->GetNode(1);
    EXPECT_EQ(root.type, ZE_STAT);
    EXPECT_EQ(root.attributes, zeNode::NoScore);
    EXPECT_EQ(root.threshold, 0.0);
    EXPECT_EQ(root.category, term("shop"));
    EXPECT_EQ(root.name, term("shop"));
    EXPECT_EQ(root.parent, 0U);
    EXPECT_EQ(root.physical_node, manager.m_root);
    EXPECT_EQ(manager.m_logical_tree->nodes.size(), 1U);
    ExpectSound(manager);
}

TEST_F(zeManagerInitTest, PhysicalRootHasTheNameAndAMatcher) {
    Init("shop");

    ASSERT_NE(manager.m_root, nullptr);
    EXPECT_EQ(manager.m_root->m_concept, term("shop"));
    EXPECT_TRUE(manager.m_root->is_no_score());
    EXPECT_NE(dynamic_cast<zeStat_matcher*>(manager.GetRootClassifier()), nullptr);
}

TEST_F(zeManagerInitTest, GetRootStorageSucceedsAfterwards) {
    Init("shop");

    EXPECT_EQ(manager.GetRootStorage(),
              dynamic_cast<zeStat_matcher&>(*manager.GetRootClassifier()).m_storage);
}

TEST_F(zeManagerInitTest, ReturnedWorkflowIsNewAndClassifies) {
    const qtPtrLight<zeWorkflow> workflow = Init("shop");
    zeMsg msg;
    zeResult_set results(0.0, -1);

    workflow->classify(msg, results, true, false);

    EXPECT_EQ(workflow.use_count(), 1U);
    EXPECT_EQ(results.count(), 0);
}

TEST_F(zeManagerInitTest, ContainerIsModifiedAfterwards) {
    manager.m_modified = false;

    Init("shop");

    EXPECT_TRUE(manager.m_modified);
}

TEST_F(zeManagerInitTest, RootIsACategoryOnlyIfUnscoredNodesAreWanted) {
    Init("shop");

    EXPECT_THAT(Categories(false), IsEmpty());
    EXPECT_THAT(Categories(true), ElementsAre(term("shop")));
}

TEST_F(zeManagerInitTest, SecondRootIsRefused) {
    Init("shop");
    const Unchanged unchanged(manager);

    EXPECT_QTX_ARGS(Init("other"), zeLogicalTree, 4, "More than one node under root", {});
}

TEST_F(zeManagerInitTest, RootWithoutANameIsRefused) {
    const Unchanged unchanged(manager);

    EXPECT_QTX_ARGS(Init(""), zeLogicalTree, 11, "Missing category name", {});
}

TEST_F(zeManagerInitTest, RootsNameIsItsCategoryInCompatibilityMode) {
    manager.m_compat55 = true;

    Init("shop");

    EXPECT_EQ(manager.m_logical_tree->GetNode(1).name, term("shop"));
}

TEST_F(zeManagerInitTest, ReleasedContainerGetsANewRoot) {
    Init("shop");
    manager.Release();

    Init("other");

    EXPECT_EQ(manager.m_root->m_concept, term("other"));
    EXPECT_EQ(manager.m_logical_tree->GetNode(1).category, term("other"));
    ExpectSound(manager);
}

}  // namespace
