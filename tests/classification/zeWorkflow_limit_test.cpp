// The number of results at which the walk ends.
#include "zandrel/classification/zeWorkflow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/classification/workflow_fixture.h"
#include "tests/support/bags.h"
#include "tests/support/small_model.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class zeWorkflowLimitTest : public Workflow_fixture {};

TEST_F(zeWorkflowLimitTest, WalkEndsAtOnceIfNoResultIsWanted) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 0.5);
    zeResult_set results(0.0, 0);
    const unsigned int before = g_ClassifyCount;

    Classify(results);

    EXPECT_THAT(results.results, IsEmpty());
    EXPECT_THAT(tree.Asked(), IsEmpty());
    EXPECT_EQ(g_ClassifyCount, before);
    EXPECT_TRUE(results.sorted);
}

TEST_F(zeWorkflowLimitTest, NegativeMaximumReturnsAllResults) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 0.5);
    tree.Leaf(root, "b", 0.25);

    EXPECT_EQ(Results(0.0, -1).size(), 3U);
    EXPECT_EQ(Results(0.0, -9).size(), 3U);
}

TEST_F(zeWorkflowLimitTest, WalkEndsWhenThereAreEnoughResults) {
    root = tree.Root("root");
    tree.Inner(root, "a", 0.75);
    tree.Inner(root, "b", 0.5);
    tree.Inner(root, "c", 0.25);

    EXPECT_THAT(Results(0.0, 2), ElementsAre(Pair("root", 1.0), Pair("a", 0.75)));

    EXPECT_THAT(tree.Asked(), ElementsAre("root"));
}

TEST_F(zeWorkflowLimitTest, LimitSetDuringTheWalkIsIgnored) {
    root = tree.Root("root");
    tree.Inner(root, "a", 0.75);
    tree.Inner(root, "b", 0.5);
    zeResult_set results(0.0, -1);
    tree.Classifier(root).on_classify = [&] { results.max_results = 1; };

    Classify(results);

    EXPECT_THAT(tree.Asked(), ElementsAre("a", "b"));  // the line above replaced the root's record
    EXPECT_EQ(results.results.size(), 3U);
}

TEST_F(zeWorkflowLimitTest, LimitRemovedDuringTheWalkStaysInForce) {
    root = tree.Root("root");
    tree.NoScore(root);
    tree.Inner(root, "a", 0.75);
    tree.Inner(root, "b", 0.5);
    zeResult_set results(0.0, 1);
    tree.Classifier(root).on_classify = [&] { results.max_results = -1; };

    Classify(results, true);

    EXPECT_THAT(tree.Asked(), IsEmpty());
    EXPECT_EQ(results.results.size(), 1U);
}

TEST_F(zeWorkflowLimitTest, FewerResultsThanWantedAreReturnedIfThereAreNoMore) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 0.5);

    EXPECT_THAT(Results(0.0, 5), ElementsAre(Pair("root", 1.0), Pair("a", 0.5)));
}

TEST_F(zeWorkflowLimitTest, GreatestNameIsPreferredAtTheLimit) {
    root = tree.Root("root");
    for (const char* const name : {"b", "d", "a", "c"}) {
        tree.Leaf(root, name, 0.5);
    }

    EXPECT_THAT(Results(0.0, 3), ElementsAre(Pair("root", 1.0), Pair("d", 0.5), Pair("c", 0.5)));
}

TEST_F(zeWorkflowLimitTest, DuplicatesDoNotCountTowardsTheLimit) {
    BuildTwoEqualBranches();
    tree.Leaf(p, "a", 0.75);
    tree.Leaf(q, "a", 0.5);
    tree.Leaf(q, "b", 0.25);
    tree.Leaf(q, "c", 0.125);

    EXPECT_THAT(Results(0.0, 2, true), ElementsAre(Pair("a", 0.75), Pair("b", 0.25)));
}

TEST_F(zeWorkflowLimitTest, EarlierResultsOfTheSetCountTowardsTheLimit) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 0.5);
    zeNode* const held = tree.Tree().MakeNode(term("held"), ZE_LEAF, 0, 0.0);
    zeResult_set results(0.0, 1);
    results.add(held, 0.25);

    Classify(results);

    EXPECT_THAT(tree.Asked(), IsEmpty());
    EXPECT_THAT(listing_of(results), ElementsAre(Pair("root", 1.0)));
}

TEST_F(zeWorkflowLimitTest, SkippedNodeNeverEndsTheWalk) {
    root = tree.Root("root");
    tree.Inner(root, "first", 0.5);
    tree.Inner(root, "second", 0.25);
    tree.NoScore(root);
    zeNode* const held = tree.Tree().MakeNode(term("held"), ZE_LEAF, 0, 0.0);
    zeResult_set results(0.0, 1);
    results.add(held, 0.125);

    Classify(results, true);

    // The set is full from the start, but only a candidate that is not skipped ends the walk.
    EXPECT_THAT(tree.Asked(), ElementsAre("root"));
    EXPECT_THAT(listing_of(results), ElementsAre(Pair("first", 0.5)));
}

TEST_F(zeWorkflowLimitTest, CandidateThatIsNotAddedEndsTheWalkIfTheSetIsFull) {
    root = tree.Root("root");
    tree.Inner(root, "inner", 0.5);
    tree.NoScore(root);
    zeNode* const held = tree.Tree().MakeNode(term("held"), ZE_LEAF, 0, 0.0);
    zeResult_set results(0.0, 1);
    results.add(held, 0.75);
    tree.Classifier(root).on_classify = [&] { results.threshold = 0.625; };

    Classify(results, true);

    EXPECT_THAT(tree.Asked(), IsEmpty());  // the root would be recorded too
    EXPECT_THAT(listing_of(results), ElementsAre(Pair("held", 0.75)));
}

}  // namespace
