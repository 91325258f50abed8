#include "zandrel/classification/zeWorkflow.h"

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/classification/workflow_fixture.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/tree_builder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class zeWorkflowTest : public Workflow_fixture {};

// Construction.

TEST_F(zeWorkflowTest, RootIsRequired) {
    zeManager empty;

    EXPECT_QTX_ARGS(zeWorkflow{&empty}, zeWorkflow, 0, "Root classifier does not exist", {});
}

TEST_F(zeWorkflowTest, RootOfTheConstructionIsKept) {
    root = tree.Root("old");
    zeWorkflow workflow(&tree.Manager());
    tree.Root("new");
    zeResult_set results(0.0, -1);

    workflow.classify(msg, results, false, false);

    EXPECT_THAT(listing_of(results), ElementsAre(Pair("old", 1.0)));
    EXPECT_EQ(workflow.start_node(nullptr).at(0).node, root);
}

TEST_F(zeWorkflowTest, RootIsKeptWhenTheManagerLosesIt) {
    tree.Root("old");
    zeWorkflow workflow(&tree.Manager());
    tree.Manager().m_root = nullptr;
    zeResult_set results(0.0, -1);

    workflow.classify(msg, results, false, false);

    EXPECT_THAT(listing_of(results), ElementsAre(Pair("old", 1.0)));
}

// The walk down in trees of one to four levels.

TEST_F(zeWorkflowTest, RootThatIsALeafIsTheOnlyResult) {
    tree.Manager().m_root = tree.Tree().MakeNode(term("root"), ZE_LEAF, 0, 0.0);

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0)));
}

TEST_F(zeWorkflowTest, ChildrenThatTheClassifierAnswersAreResults) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 0.25);
    tree.Leaf(root, "b", 0.75);
    root->add_child(tree.Tree().MakeNode(term("unanswered"), ZE_LEAF, 0, 0.0));

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("b", 0.75), Pair("a", 0.25)));
}

TEST_F(zeWorkflowTest, ScoresAlongThePathAreMultiplied) {
    root = tree.Root("root");
    zeNode* const upper = tree.Inner(root, "upper", 0.5);
    zeNode* const lower = tree.Inner(upper, "lower", 0.75);
    tree.Leaf(lower, "leaf", 0.5);

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("upper", 0.5),
                                              Pair("lower", 0.375), Pair("leaf", 0.1875)));
}

TEST_F(zeWorkflowTest, ResultsOfAllLevelsAreRankedTogether) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    tree.Leaf(inner, "deep", 0.5);
    tree.Leaf(root, "above", 0.375);
    tree.Leaf(root, "below", 0.125);

    EXPECT_THAT(Results(0.0, -1),
                ElementsAre(Pair("root", 1.0), Pair("inner", 0.5), Pair("above", 0.375),
                            Pair("deep", 0.25), Pair("below", 0.125)));
}

TEST_F(zeWorkflowTest, BestNodeOfAnyLevelIsAskedNext) {
    root = tree.Root("root");
    zeNode* const good = tree.Inner(root, "good", 0.75);
    zeNode* const poor = tree.Inner(root, "poor", 0.5);
    tree.Inner(good, "under good", 0.5);    // 0.375
    tree.Inner(good, "best under", 0.875);  // 0.65625
    tree.Inner(poor, "under poor", 0.875);  // 0.4375

    Results(0.0, -1);

    EXPECT_THAT(tree.Asked(),
                ElementsAre("root", "good", "best under", "poor", "under poor", "under good"));
}

TEST_F(zeWorkflowTest, GreatestNameIsAskedNextIfScoresAreEqual) {
    root = tree.Root("root");
    for (const char* const name : {"ab", "z", "\xC3\xA4", "a", "abc", "B"}) {
        tree.Inner(root, name, 0.5);
    }

    Results(0.0, -1);

    EXPECT_THAT(tree.Asked(), ElementsAre("root", "\xC3\xA4", "z", "abc", "ab", "a", "B"));
}

TEST_F(zeWorkflowTest, PathEndsAtANodeWithoutAClassifierInMemory) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    tree.Leaf(inner, "leaf", 0.5);
    tree.Tree().release_classifier(inner, nullptr);

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("inner", 0.5)));
}

TEST_F(zeWorkflowTest, EarlierResultsOfTheSetAreKept) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 0.5);
    zeNode* const held = tree.Tree().MakeNode(term("held"), ZE_LEAF, 0, 0.0);
    zeResult_set results(0.0, -1);
    results.add(held, 0.75);

    Classify(results);

    EXPECT_THAT(listing_of(results),
                ElementsAre(Pair("root", 1.0), Pair("held", 0.75), Pair("a", 0.5)));
}

TEST_F(zeWorkflowTest, ResultsAreNotSorted) {
    tree.Root("root");
    zeResult_set results(0.0, -1);
    results.deduplicated = true;

    Classify(results);

    EXPECT_FALSE(results.sorted);
    EXPECT_FALSE(results.deduplicated);
}

// The products with an infinite score are equal, so the names decide. "b" has the best factor, and
// "c" the greatest name.
TEST_F(zeWorkflowTest, BestOfInfiniteScoresHasTheGreatestName) {
    root = tree.Root("root");
    tree.Manager().m_defaults = plain_settings();
    zeNode* const stat = tree.Tree().MakeNode(term("stat"), ZE_STAT, 0, 0.0);
    tree.Answer(root, stat, std::numeric_limits<double>::infinity());
    for (zeNode* const node : {root, stat}) {
        tree.NoScore(node);
    }
    auto& matcher = dynamic_cast<zeStat_matcher&>(*tree.Tree().get_classifier(stat));
    matcher.m_storage->m_num_msgs = 3;
    using Named_weight = std::pair<const char*, float>;
    for (const auto& [name, weight] :
         {Named_weight("a", 0.0F), Named_weight("b", 1.0F), Named_weight("c", -1.0F)}) {
        zeNode* category = tree.Tree().MakeNode(term(name), ZE_LEAF, 0, 0.0);
        matcher.add_cat(category);
        zeStat_storage::Profile& profile = *matcher.m_storage->m_profiles.back();
        profile.m_num_msgs = 1;
        profile.m_weights = {{term("x"), weight}};
    }
    matcher.feed(*matcher.m_storage, true);
    msg.smls[0] = make_bag({{"x", 1.0}});

    for (const int max_results : {1, 2}) {
        SCOPED_TRACE(max_results);
        zeResult_set results(0.0, max_results);
        Classify(results, true);
        ASSERT_EQ(results.count(), max_results);
        EXPECT_EQ(results.get_result(0).node->m_concept.view(), "c");
    }
}

// The threshold.

TEST_F(zeWorkflowTest, ScoreEqualToTheThresholdIsAResult) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    tree.Leaf(inner, "at", 0.5);
    tree.Leaf(inner, "below", 0.4375);

    EXPECT_THAT(Results(0.25, -1),
                ElementsAre(Pair("root", 1.0), Pair("inner", 0.5), Pair("at", 0.25)));
}

TEST_F(zeWorkflowTest, NodesBelowANodeUnderTheThresholdAreNotSearched) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.25);
    tree.Leaf(inner, "leaf", 1.0);

    EXPECT_THAT(Results(0.5, -1), ElementsAre(Pair("root", 1.0)));

    EXPECT_THAT(tree.Asked(), ElementsAre("root"));
}

TEST_F(zeWorkflowTest, RootIsAResultAtAThresholdOfOne) {
    root = tree.Root("root");
    tree.Leaf(root, "sure", 1.0);
    tree.Leaf(root, "likely", 0.875);

    EXPECT_THAT(Results(1.0, -1), ElementsAre(Pair("sure", 1.0), Pair("root", 1.0)));
}

TEST_F(zeWorkflowTest, NoClassifierIsAskedAtAThresholdAboveOne) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 1.0);

    EXPECT_THAT(Results(1.5, -1), IsEmpty());

    EXPECT_THAT(tree.Asked(), IsEmpty());
}

TEST_F(zeWorkflowTest, AnswerThatIgnoresTheThresholdIsDropped) {
    root = tree.Root("root");
    tree.Classifier(root).ignores_threshold = true;
    tree.Leaf(root, "a", 0.25);
    tree.Leaf(root, "b", 0.75);

    EXPECT_THAT(Results(0.5, -1), ElementsAre(Pair("root", 1.0), Pair("b", 0.75)));
}

TEST_F(zeWorkflowTest, ScoreOfZeroIsNeverAResult) {
    for (const double threshold : {0.0, -1.0}) {
        SCOPED_TRACE(threshold);
        TreeBuilder other;
        zeNode* const top = other.Root("root");
        other.Classifier(top).ignores_threshold = true;
        other.Leaf(top, "never", 0.0);
        other.Leaf(top, "a", 0.5);
        zeResult_set results(threshold, -1);

        other.Manager().GetWorkflow()->classify(msg, results, false, false);

        EXPECT_THAT(listing_of(results), ElementsAre(Pair("root", 1.0), Pair("a", 0.5)));
    }
}

TEST_F(zeWorkflowTest, ClassifierGetsTheThresholdForItsFactors) {
    root = tree.Root("root");
    zeNode* const upper = tree.Inner(root, "upper", 0.5);
    zeNode* const lower = tree.Inner(upper, "lower", 0.5);

    Results(0.125, 4);

    // The thresholds are 0.125 / 1, 0.125 / 0.5 and 0.125 / 0.25, for any number of wanted results.
    ASSERT_EQ(tree.Classifier(lower).calls.size(), 1U);
    EXPECT_EQ(tree.Classifier(root).calls.at(0).threshold, 0.125);
    EXPECT_EQ(tree.Classifier(upper).calls.at(0).threshold, 0.25);
    EXPECT_EQ(tree.Classifier(lower).calls.at(0).threshold, 0.5);
    EXPECT_EQ(tree.Classifier(root).calls.at(0).max_results, -1);
    EXPECT_EQ(tree.Classifier(lower).calls.at(0).max_results, -1);
}

// The set's threshold may change during the walk. A node becomes a result if it reaches the current
// threshold. It is searched if it reaches the threshold from the start.
TEST_F(zeWorkflowTest, ResultsUseTheCurrentThresholdAndTheSearchUsesTheFirst) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    tree.Leaf(root, "good", 0.75);
    tree.Leaf(inner, "leaf", 0.5);
    zeResult_set results(0.25, -1);
    tree.Classifier(root).on_classify = [&] { results.threshold = 0.625; };
    tree.Classifier(inner).on_classify = [&] { results.threshold = 0.125; };

    Classify(results);

    EXPECT_THAT(listing_of(results),
                ElementsAre(Pair("root", 1.0), Pair("good", 0.75), Pair("leaf", 0.25)));
    EXPECT_EQ(tree.Classifier(inner).calls.at(0).threshold, 0.5);  // 0.25 / 0.5
}

// The nodes' own thresholds.

TEST_F(zeWorkflowTest, AnswersUnderTheThresholdOfTheAskedNodeAreDropped) {
    root = tree.Root("root");
    root->m_threshold = 0.5;
    tree.Leaf(root, "above", 0.75);
    tree.Leaf(root, "at", 0.5);
    tree.Leaf(root, "below", 0.4375);

    EXPECT_THAT(Results(0.0, -1),
                ElementsAre(Pair("root", 1.0), Pair("above", 0.75), Pair("at", 0.5)));
}

TEST_F(zeWorkflowTest, ThresholdOfANodeIsComparedWithTheWholePathScore) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    inner->m_threshold = 0.25;
    tree.Leaf(inner, "at", 0.5);  // 0.25
    // 0.21875: too low, although the factor is above the threshold
    tree.Leaf(inner, "below", 0.4375);

    EXPECT_THAT(Results(0.0, -1),
                ElementsAre(Pair("root", 1.0), Pair("inner", 0.5), Pair("at", 0.25)));
}

TEST_F(zeWorkflowTest, ThresholdOfTheAnsweredNodeIsIgnored) {
    root = tree.Root("root");
    tree.Leaf(root, "a", 0.25)->m_threshold = 0.75;

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("a", 0.25)));
}

TEST_F(zeWorkflowTest, InnerNodeUnderItsOwnThresholdIsAResultAndEndsItsPath) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    inner->m_threshold = 0.75;
    tree.Leaf(inner, "leaf", 1.0);

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("inner", 0.5)));
}

// The arguments of classifiers.

TEST_F(zeWorkflowTest, EveryClassifierGetsTheMessage) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);

    Results(0.0, -1);

    EXPECT_EQ(tree.Classifier(root).calls.at(0).msg, &msg);
    EXPECT_EQ(tree.Classifier(inner).calls.at(0).msg, &msg);
}

TEST_F(zeWorkflowTest, ClassifierGetsTheScoreOfThePath) {
    root = tree.Root("root");
    zeNode* const upper = tree.Inner(root, "upper", 0.5);
    zeNode* const lower = tree.Inner(upper, "lower", 0.75);

    Results(0.0, -1);

    EXPECT_EQ(tree.Classifier(root).calls.at(0).node_score, 1.0);
    EXPECT_EQ(tree.Classifier(upper).calls.at(0).node_score, 0.5);
    EXPECT_EQ(tree.Classifier(lower).calls.at(0).node_score, 0.375);
}

TEST_F(zeWorkflowTest, EveryClassifierGetsUseThresholds) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    for (const bool use_thresholds : {false, true}) {
        SCOPED_TRACE(use_thresholds);
        zeResult_set results(0.0, -1);

        Classify(results, false, use_thresholds);

        EXPECT_EQ(tree.Classifier(root).calls.back().use_thresholds, use_thresholds);
        EXPECT_EQ(tree.Classifier(inner).calls.back().use_thresholds, use_thresholds);
    }
}

TEST_F(zeWorkflowTest, AskedClassifiersAreCounted) {
    root = tree.Root("root");
    tree.Inner(root, "inner", 0.5);
    tree.Leaf(root, "leaf", 0.5);
    const unsigned int before = g_ClassifyCount;

    Results(0.0, -1);
    EXPECT_EQ(g_ClassifyCount - before, 2U);

    Results(0.75, -1);
    EXPECT_EQ(g_ClassifyCount - before, 3U);
}

// NoScore.

TEST_F(zeWorkflowTest, SkippedNoScoreNodesAreSearchedButAreNoResults) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    tree.Leaf(inner, "leaf", 0.5);
    tree.NoScore(tree.Leaf(inner, "silent", 0.75));
    tree.NoScore(root);
    tree.NoScore(inner);

    EXPECT_THAT(Results(0.0, -1, true), ElementsAre(Pair("leaf", 0.25)));
}

TEST_F(zeWorkflowTest, NoScoreNodesAreResultsUnlessTheyAreSkipped) {
    root = tree.Root("root");
    tree.NoScore(tree.Leaf(root, "silent", 0.75));
    tree.NoScore(root);

    EXPECT_THAT(Results(0.0, -1, false), ElementsAre(Pair("root", 1.0), Pair("silent", 0.75)));
}

TEST_F(zeWorkflowTest, SkippingKeepsScoredInnerNodes) {
    root = tree.Root("root");
    tree.Leaf(root, "leaf", 0.5);

    EXPECT_THAT(Results(0.0, -1, true), ElementsAre(Pair("root", 1.0), Pair("leaf", 0.5)));
}

// Nodes and categories that are reached several times.

TEST_F(zeWorkflowTest, TwoLeavesOfOneCategoryAreOneResultWithTheHigherScore) {
    BuildTwoEqualBranches();
    zeNode* const better = tree.Leaf(p, "a", 0.75);
    tree.Leaf(q, "a", 0.5);
    zeResult_set results(0.0, -1);

    Classify(results, true);

    EXPECT_THAT(listing_of(results), ElementsAre(Pair("a", 0.75)));
    EXPECT_EQ(results.get_result(0).node, better);
}

// Duplicates in the answers of one classifier are removed before NoScore is considered.
TEST_F(zeWorkflowTest, SkippedLeafHidesALowerAnswerOfTheSameClassifier) {
    root = tree.Root("root");
    tree.NoScore(tree.Leaf(root, "a", 0.75));
    tree.Leaf(root, "a", 0.5);

    EXPECT_THAT(Results(0.0, -1, true), ElementsAre(Pair("root", 1.0)));
}

TEST_F(zeWorkflowTest, SkippedLeafDoesNotHideAnAnswerOfAnotherClassifier) {
    BuildTwoEqualBranches();
    tree.NoScore(tree.Leaf(p, "a", 0.75));
    tree.Leaf(q, "a", 0.5);

    EXPECT_THAT(Results(0.0, -1, true), ElementsAre(Pair("a", 0.5)));
}

TEST_F(zeWorkflowTest, TwoInnerNodesOfTheSameNameAreTwoResults) {
    root = tree.Root("root");
    tree.Inner(root, "a", 0.75);
    tree.Inner(root, "a", 0.5);

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("a", 0.75), Pair("a", 0.5)));
}

TEST_F(zeWorkflowTest, NodeReachedOnTwoPathsIsSearchedTwiceAndIsOneResult) {
    BuildTwoEqualBranches();
    zeNode* const shared = tree.Inner(p, "shared", 0.5);
    tree.Answer(q, shared, 0.25);
    tree.Leaf(shared, "leaf", 0.5);

    EXPECT_THAT(Results(0.0, -1, true), ElementsAre(Pair("shared", 0.5), Pair("leaf", 0.25)));

    const std::vector<FakeClassifier::Call>& calls = tree.Classifier(shared).calls;
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].node_score, 0.5);
    EXPECT_EQ(calls[1].node_score, 0.25);
}

TEST_F(zeWorkflowTest, BestAnswerOfOneClassifierForANodeCounts) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.25);
    tree.Answer(root, inner, 0.75);

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("inner", 0.75)));

    EXPECT_EQ(tree.Classifier(inner).calls.size(), 1U);
}

// The lower id wins even though the walk finds the other node first: branch "q" is asked before
// "p".
TEST_F(zeWorkflowTest, OlderLeafIsPreferredIfCategoryAndScoreAreEqual) {
    for (const int max_results : {1, -1}) {
        for (const bool older_first : {true, false}) {
            SCOPED_TRACE(std::to_string(max_results) + (older_first ? " older" : " newer"));
            TreeBuilder other;
            zeNode* const top = other.Root("root");
            zeNode* const late = other.Inner(top, "p", 1.0);
            zeNode* const early = other.Inner(top, "q", 1.0);
            for (zeNode* const node : {top, late, early}) {
                other.NoScore(node);
            }
            zeNode* const older = other.Leaf(older_first ? early : late, "a", 0.5);
            other.Leaf(older_first ? late : early, "a", 0.5);
            zeResult_set results(0.0, max_results);

            other.Manager().GetWorkflow()->classify(msg, results, true, false);

            EXPECT_EQ(results.get_result(0).node, older);
            EXPECT_EQ(results.count(), 1);
        }
    }
}

TEST_F(zeWorkflowTest, OlderInnerNodeIsPreferredIfNameAndScoreAreEqual) {
    for (const bool older_first : {true, false}) {
        SCOPED_TRACE(older_first);
        TreeBuilder other;
        zeNode* const top = other.Root("root");
        zeNode* const late = other.Inner(top, "p", 1.0);
        zeNode* const early = other.Inner(top, "q", 1.0);
        for (zeNode* const node : {top, late, early}) {
            other.NoScore(node);
        }
        zeNode* const older = other.Inner(older_first ? early : late, "a", 0.5);
        other.Inner(older_first ? late : early, "a", 0.5);
        zeResult_set results(0.0, 1);

        other.Manager().GetWorkflow()->classify(msg, results, true, false);

        EXPECT_EQ(results.get_result(0).node, older);
    }
}

// Errors, and the tree that the walk keeps.

TEST_F(zeWorkflowTest, ErrorOfAClassifierIsPassedOnAndTheTreeReleased) {
    root = tree.Root("root");
    tree.Classifier(root).on_classify = [] { throw std::runtime_error("broken"); };
    zeResult_set results(0.0, -1);
    const unsigned int before = g_ClassifyCount;

    EXPECT_THROW(Classify(results), std::runtime_error);

    EXPECT_EQ(tree.Manager().m_physical_tree.use_count(), 1U);
    EXPECT_EQ(g_ClassifyCount, before);
}

TEST_F(zeWorkflowTest, WalkWorksAgainAfterAnError) {
    root = tree.Root("root");
    tree.Classifier(root).on_classify = [] { throw std::runtime_error("broken"); };
    tree.Leaf(root, "a", 0.5);
    zeResult_set results(0.0, -1);
    EXPECT_THROW(Classify(results), std::runtime_error);
    tree.Classifier(root).on_classify = nullptr;

    EXPECT_THAT(Results(0.0, -1), ElementsAre(Pair("root", 1.0), Pair("a", 0.5)));
}

TEST_F(zeWorkflowTest, TreeThatTheManagerReplacesIsKeptUntilTheWalkEnds) {
    root = tree.Root("root");
    zeNode* const inner = tree.Inner(root, "inner", 0.5);
    tree.Leaf(inner, "leaf", 0.5);
    zeManager& manager = tree.Manager();
    bool is_held = false;
    tree.Classifier(root).on_classify = [&] {
        is_held = manager.m_physical_tree.use_count() > 1;
        manager.m_physical_tree = qtPtrLight<zePhysicalTree>(new zePhysicalTree(&manager));
    };
    zeResult_set results(0.0, -1);

    Classify(results);

    EXPECT_TRUE(is_held);
    EXPECT_EQ(results.results.size(), 3U);  // their nodes were deleted with the tree
}

}  // namespace
