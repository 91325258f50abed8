#include "zandrel/statistics/zeStat_matcher.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/statistics/matcher_fixture.h"
#include "tests/support/bags.h"
#include "tests/support/match_rows.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kPiOfFormula = 3.141592653589793;

double squash(double x) {
    return std::atan(kPiOfFormula * x) / kPiOfFormula + 0.5;
}

// Compiling the table.

TEST_F(zeStatMatcherTest, TypeIsStatisticalAndNothingIsBlocked) {
    zeNode* child = &m_a;
    const qtPtrLight<zeMsg> msg = MessageBuilder().make();

    EXPECT_EQ(m_matcher.GetType(), 2U);
    EXPECT_FALSE(m_matcher.is_cat_blocked(child, *msg));
    EXPECT_EQ(m_matcher.m_node, &m_root);
}

TEST_F(zeStatMatcherTest, GivenWeightsAreCompiledUnchanged) {
    const auto& x = m_matcher.m_table.at(term("x"));
    const auto& y = m_matcher.m_table.at(term("y"));

    EXPECT_EQ(m_matcher.m_table.size(), 2U);
    ASSERT_EQ(x.size(), 2U);
    EXPECT_EQ(x[0].m_iprofile, 0);
    EXPECT_EQ(x[0].m_weight, 1.0F);
    EXPECT_EQ(x[1].m_iprofile, 1);
    EXPECT_EQ(x[1].m_weight, -1.0F);
    ASSERT_EQ(y.size(), 1U);
    EXPECT_EQ(y[0].m_iprofile, 1);
    EXPECT_EQ(y[0].m_weight, 2.0F);
}

TEST_F(zeStatMatcherTest, WeightsThatWereTakenAreEmptied) {
    EXPECT_THAT(m_storage.profile(0).m_weights, IsEmpty());
    EXPECT_THAT(m_storage.profile(1).m_weights, IsEmpty());
}

TEST_F(zeStatMatcherTest, GivenWeightsAreTakenEvenIfOnlyOneProfileHasSome) {
    m_storage.profile(1).m_weights = {{term("z"), 4.0F}};
    const Trace_capture trace;

    m_matcher.feed(m_storage, false);

    EXPECT_EQ(m_matcher.m_table.size(), 1U);
    EXPECT_EQ(m_matcher.m_table.count(term("z")), 1U);
    EXPECT_THAT(trace.texts(),
                ElementsAre("Collecting data for matching table", "Matching table completed"));
}

TEST_F(zeStatMatcherTest, FeaturesAreSelectedIfThereAreNoWeights) {
    const Trace_capture trace;

    m_matcher.feed(m_storage, false);

    EXPECT_THAT(trace.texts(),
                ElementsAre("Performing feature selection (num profiles: 2)",
                            "Collecting data for matching table", "Matching table completed"));
    EXPECT_TRUE(trace.has(zandrel::kTraceDebug, "Collecting data for matching table"));
    EXPECT_TRUE(m_matcher.m_table.empty());
    EXPECT_EQ(m_storage.profile(0).m_selection_mark, 2);
}

TEST_F(zeStatMatcherTest, FeedingMakesTheMatcherDirty) {
    GiveWeights();
    m_matcher.m_dirty = false;

    m_matcher.feed(m_storage, false);

    EXPECT_TRUE(m_matcher.m_dirty);
}

TEST_F(zeStatMatcherTest, ChildrenAreReplacedByTheNodesOfTheProfiles) {
    zeNode other(term("other"));
    m_root.add_child(&other);
    GiveWeights();

    m_matcher.feed(m_storage, true);

    EXPECT_THAT(m_root.m_children, ElementsAre(&m_a, &m_b));
    EXPECT_EQ(m_a.m_parent, &m_root);
    EXPECT_EQ(other.m_parent, nullptr);
}

TEST_F(zeStatMatcherTest, ChildrenAreUnlinkedEvenIfNoneAreAdded) {
    m_root.add_child(&m_a);
    GiveWeights();

    m_matcher.feed(m_storage, false);

    EXPECT_THAT(m_root.m_children, IsEmpty());
}

TEST_F(zeStatMatcherTest, MatcherWithoutANodeLinksNoNodes) {
    GiveWeights();

    zeStat_matcher temporary(nullptr, nullptr, m_storage, true);

    EXPECT_EQ(m_a.m_parent, nullptr);
    EXPECT_EQ(temporary.m_table.size(), 2U);
}

TEST_F(zeStatMatcherTest, FedStorageIsUsed) {
    zeStat_storage other(nullptr, m_settings);

    m_matcher.feed(other, false);

    EXPECT_EQ(m_matcher.m_storage, &other);
    EXPECT_TRUE(m_matcher.m_table.empty());
}

TEST_F(zeStatMatcherTest, ConstructorCompilesTheTable) {
    GiveWeights();

    const zeStat_matcher made(nullptr, &m_root, m_storage, true);

    EXPECT_EQ(made.m_storage, &m_storage);
    EXPECT_EQ(made.m_table.size(), 2U);
    EXPECT_THAT(m_root.m_children, ElementsAre(&m_a, &m_b));
}

TEST_F(zeStatMatcherTest, NodesOfAllProfilesAreAppended) {
    zeNode other(term("other"));
    std::vector<zeNode*> cats = {&other};

    m_matcher.get_all_categories(cats);

    EXPECT_THAT(cats, ElementsAre(&other, &m_a, &m_b));
}

TEST_F(zeStatMatcherTest, NodesOfTheMatcherAndItsProfilesAreReplaced) {
    zeNode new_root(term("root"));
    zeNode new_a(term("a"));
    std::map<zeNode*, zeNode*> replacement = {{&m_root, &new_root}, {&m_a, &new_a}, {&m_b, &m_b}};

    m_matcher.global_replace(replacement);

    EXPECT_EQ(m_matcher.m_node, &new_root);
    EXPECT_EQ(m_storage.profile(0).m_node, &new_a);
    EXPECT_EQ(m_storage.get_profile(&new_a), 0);
}

TEST_F(zeStatMatcherTest, OwnNodeMissingFromTheReplacementBecomesNullAndIsAddedToIt) {
    std::map<zeNode*, zeNode*> replacement = {{&m_a, &m_a}, {&m_b, &m_b}};

    m_matcher.global_replace(replacement);

    EXPECT_EQ(m_matcher.m_node, nullptr);
    EXPECT_EQ(replacement.count(&m_root), 1U);
}

TEST_F(zeStatMatcherTest, OnlyNodesOfProfilesAreReplacedWithoutAnOwnNode) {
    m_matcher.m_node = nullptr;
    std::map<zeNode*, zeNode*> replacement = {{&m_a, &m_a}, {&m_b, &m_b}};

    m_matcher.global_replace(replacement);

    EXPECT_EQ(m_matcher.m_node, nullptr);
    EXPECT_EQ(replacement.size(), 2U);
}

// Filling the accumulators.

TEST_F(zeStatMatcherTest, WeightTimesWeightIsAddedForEachPair) {
    m_matcher.classify_sml(*make_bag({{"x", 3.0}, {"y", 0.5}, {"unknown", 8.0}}));

    EXPECT_EQ(Accumulator(0), 3.0);
    EXPECT_EQ(Accumulator(1), 2.0 * 0.5 - 3.0);
}

TEST_F(zeStatMatcherTest, PreviousValuesOfTheAccumulatorsCount) {
    Accumulator(0) = 10.0;

    m_matcher.classify_sml(*make_bag({{"x", 3.0}}));

    EXPECT_EQ(Accumulator(0), 13.0);
}

TEST_F(zeStatMatcherTest, AccumulatorOfOneProfileIsFilled) {
    int iprofile = 1;

    m_matcher.classify_sml_with_profile(*make_bag({{"x", 3.0}, {"y", 0.5}, {"unknown", 8.0}}),
                                        iprofile);

    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Accumulator(1), 2.0 * 0.5 - 3.0);
}

TEST_F(zeStatMatcherTest, FirstPairOfAProfileIsUsed) {
    set_row(m_matcher.m_table, term("x"), {{1.0F, 0}, {2.0F, 1}, {4.0F, 1}});
    int iprofile = 1;

    m_matcher.classify_sml_with_profile(*make_bag({{"x", 1.0}}), iprofile);

    EXPECT_EQ(Accumulator(1), 2.0);
}

TEST_F(zeStatMatcherTest, PairsOfAStaleTableAreSkipped) {
    int deleted = 1;
    m_storage.delete_profile(deleted);

    m_matcher.classify_sml(*make_bag({{"x", 3.0}, {"y", 1.0}}));

    EXPECT_EQ(Accumulator(0), 3.0);
}

TEST_F(zeStatMatcherTest, StaleTableCanClassify) {
    zeNode c(term("c"));
    bool added = false;
    m_storage.get_or_add_profile(&c, added);
    m_storage.profile(2).m_num_msgs = 1;
    int deleted = 1;
    m_storage.delete_profile(deleted);

    zeResult_set results = Classify(MessageBuilder().bag({{"x", 1.0}}));

    // The moved profile has the index of the deleted one now, so it gets the old pairs.
    ASSERT_EQ(results.results.size(), 2U);
    EXPECT_EQ(results.results[0].score, squash(1.0));
    EXPECT_EQ(results.results[1].node, &c);
}

// A category's score.

TEST_F(zeStatMatcherTest, ActivationIsTestedBeforeAnythingElse) {
    struct Row {
        const char* rule;
        int n;  // messages of the category
        int N;  // messages of the model
        int inside;
        int outside;
        int total;
        bool has_bag;
        double score;
    };

    for (const Row& row : {
             Row{"all thresholds pass", 2, 4, 2, 2, 4, true, 0.5},
             Row{"no message in the category", 0, 4, 0, 0, 0, true, 0.0},
             Row{"no message at all", 0, 0, 0, 0, 0, true, 0.0},
             Row{"too few inside", 2, 4, 3, 0, 0, true, 0.0},
             Row{"too few outside", 2, 4, 0, 3, 0, true, 0.0},
             Row{"too few in total", 2, 4, 0, 0, 5, true, 0.0},
             Row{"empty bag", 2, 4, 0, 0, 0, false, 0.0},
             Row{"all messages in the category", 4, 4, 0, 0, 0, true, 1.0},
             Row{"all in the category, empty bag", 4, 4, 0, 0, 0, false, 0.0},
             Row{"all in the category, some wanted outside", 4, 4, 0, 1, 0, true, 0.0},
         }) {
        SCOPED_TRACE(row.rule);
        m_storage.profile(0).m_num_msgs = row.n;
        m_storage.m_num_msgs = row.N;
        m_storage.m_activation_inside = row.inside;
        m_storage.m_activation_outside = row.outside;
        m_storage.m_activation_total = row.total;
        const qtPtrLight<zeSml> bag = row.has_bag ? make_bag({{"u", 2.0}}) : make_bag({});

        EXPECT_EQ(Score(*bag, 0), row.score);
    }
}

TEST_F(zeStatMatcherTest, AccumulatorIsResetForAnyScore) {
    const qtPtrLight<zeSml> bag = make_bag({{"x", 1.0}});
    for (const int num_msgs : {0, 2, 4}) {
        SCOPED_TRACE(num_msgs);
        m_storage.profile(0).m_num_msgs = num_msgs;
        Accumulator(0) = 5.0;

        Score(*bag, 0);

        EXPECT_EQ(Accumulator(0), 0.0);
    }
}

TEST_F(zeStatMatcherTest, OnlyProfileScoresOneForAnyNonEmptyBag) {
    int deleted = 1;
    m_storage.delete_profile(deleted);
    Accumulator(0) = -5.0;

    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 1.0);
    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Score(*make_bag({}), 0), 0.0);
    m_storage.m_activation_inside = 3;
    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 0.0);
}

TEST_F(zeStatMatcherTest, EmptyAccumulatorScoresAHalf) {
    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 0.5);
}

// The accumulator is 6 and the bag's total 4. atan(1) is pi / 4. atan(pi) was computed by hand as
// pi / 2 - atan(1 / pi), with the series of atan.
TEST_F(zeStatMatcherTest, AccumulatorIsScaledShiftedAndSquashed) {
    struct Row {
        const char* rule;
        double M;
        double score;
    };

    const qtPtrLight<zeSml> bag = make_bag({{"x", 3.0}, {"u", 1.0}});
    for (const Row& row : {
             Row{"1.5 - 1.5", -1.5, 0.5},
             Row{"1 / pi", 1.0 / kPiOfFormula - 1.5, 0.75},
             Row{"-1 / pi", -1.0 / kPiOfFormula - 1.5, 0.25},
             Row{"-1", -2.5, 0.09809326195229360},
             Row{"1", -0.5, 0.90190673804770640},
         }) {
        SCOPED_TRACE(row.rule);
        Accumulator(0) = 6.0;
        m_storage.profile(0).m_M = row.M;

        EXPECT_NEAR(Score(*bag, 0), row.score, 1e-14);
    }
}

// Classifying.

TEST_F(zeStatMatcherTest, CategoriesAreAddedInTheOrderOfTheirIndices) {
    zeResult_set results = Classify(MessageBuilder().bag({{"x", 1.0}, {"y", 3.0}}));

    ASSERT_EQ(results.results.size(), 2U);
    EXPECT_EQ(results.results[0].node, &m_a);
    EXPECT_EQ(results.results[0].score, squash(0.25));
    EXPECT_EQ(results.results[1].node, &m_b);
    EXPECT_EQ(results.results[1].score, squash(1.25));
    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Accumulator(1), 0.0);
}

TEST_F(zeStatMatcherTest, ResultsAreMarkedAsUnsortedAndNotDeduplicated) {
    zeResult_set results(0.0, -1);
    results.sorted = true;
    results.deduplicated = true;

    m_matcher.classify(*MessageBuilder().bag({{"x", 1.0}}).make(), results, 1.0, false);

    EXPECT_FALSE(results.sorted);
    EXPECT_FALSE(results.deduplicated);
}

TEST_F(zeStatMatcherTest, MarksAreKeptIfNothingIsAdded) {
    zeResult_set results(0.99, -1);
    results.sorted = true;
    results.deduplicated = true;

    m_matcher.classify(*MessageBuilder().bag({{"x", 1.0}}).make(), results, 1.0, false);

    EXPECT_THAT(results.results, IsEmpty());
    EXPECT_TRUE(results.sorted);
    EXPECT_TRUE(results.deduplicated);
}

TEST_F(zeStatMatcherTest, ResultsAreUnchangedWithoutABag) {
    zeResult_set results(0.0, -1);
    results.add(&m_root, 0.25);

    m_matcher.classify(*MessageBuilder().make(), results, 1.0, false);

    EXPECT_EQ(results.results.size(), 1U);
}

TEST_F(zeStatMatcherTest, EmptyBagAddsNothing) {
    EXPECT_THAT(Classify(MessageBuilder().bag({})).results, IsEmpty());
}

TEST_F(zeStatMatcherTest, ActiveSlotIsRead) {
    zeResult_set results =
        Classify(MessageBuilder().bag({{"u", 1.0}}).bag_at(1, {{"x", 1.0}}).active(1));

    EXPECT_EQ(results.results.at(0).score, squash(1.0));
}

TEST_F(zeStatMatcherTest, BagIsClipped) {
    m_storage.m_clip_value = 2.0;

    zeResult_set results = Classify(MessageBuilder().bag({{"x", 10.0}, {"u", 1.0}, {"v", 1.0}}));

    EXPECT_EQ(results.results.at(0).score, squash(0.5));
}

TEST_F(zeStatMatcherTest, ScoreAtTheThresholdIsAddedOnlyAboveZero) {
    struct Row {
        const char* rule;
        double threshold;
        std::size_t count;
    };

    // Both categories score 0.5.
    for (const Row& row : {
             Row{"below", 0.4999, 2},
             Row{"at", 0.5, 2},
             Row{"above", 0.5001, 0},
         }) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(Classify(MessageBuilder().bag({{"u", 1.0}}), row.threshold).results.size(),
                  row.count);
    }
    m_storage.m_activation_total = 5;  // Now both categories score 0.
    EXPECT_THAT(Classify(MessageBuilder().bag({{"u", 1.0}}), 0.0).results, IsEmpty());
}

TEST_F(zeStatMatcherTest, NodesThresholdsApplyToTheProductIfRequested) {
    struct Row {
        const char* rule;
        double node_threshold;
        double node_score;
        bool use_thresholds;
        std::size_t count;
    };

    for (const Row& row : {
             Row{"not asked", 0.9, 1.0, false, 2},
             Row{"no threshold", 0.0, 1.0, true, 2},
             Row{"product at the threshold", 0.25, 0.5, true, 2},
             Row{"product below it", 0.25, 0.499, true, 1},
             Row{"score below it", 0.501, 1.0, true, 1},
         }) {
        SCOPED_TRACE(row.rule);
        m_a.m_threshold = row.node_threshold;
        zeResult_set results(0.0, -1);

        m_matcher.classify(*MessageBuilder().bag({{"u", 1.0}}).make(), results, row.node_score,
                           row.use_thresholds);

        EXPECT_EQ(results.results.size(), row.count);
        EXPECT_EQ(results.results.back().node, &m_b);
        // the result is not multiplied by the node's score
        EXPECT_EQ(results.results.back().score, 0.5);
        EXPECT_EQ(Accumulator(0), 0.0);
    }
}

TEST_F(zeStatMatcherTest, AccumulatorsOfCategoriesThatAreLeftOutAreReset) {
    Classify(MessageBuilder().bag({{"x", 1.0}, {"y", 1.0}}), 2.0);

    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Accumulator(1), 0.0);
}

// The bag's total and the accumulator of b are both infinite, so their quotient is NaN.
TEST_F(zeStatMatcherTest, CategoryWhoseScoreIsNaNIsLeftOut) {
    for (const bool use_likelihood : {false, true}) {
        if (use_likelihood) {
            UseLikelihood();
        }
        for (const bool use_thresholds : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << "likelihood " << use_likelihood << ", thresholds " << use_thresholds);
            const MessageBuilder msg = MessageBuilder().bag({{"y", 1e308}, {"u", 1e308}});
            zeResult_set results(0.0, -1);

            m_matcher.classify(*msg.make(), results, 1.0, use_thresholds);

            ASSERT_EQ(results.results.size(), 1U);
            EXPECT_EQ(results.results[0].node, &m_a);
            EXPECT_EQ(Accumulator(1), 0.0);
        }
    }
}

TEST_F(zeStatMatcherTest, ProfileWithoutItsNodeIsLeftOut) {
    std::map<zeNode*, zeNode*> replacement = {{&m_root, &m_root}, {&m_b, &m_b}};
    m_matcher.global_replace(replacement);
    ASSERT_EQ(m_storage.profile(0).m_node, nullptr);
    for (const bool use_thresholds : {false, true}) {
        SCOPED_TRACE(use_thresholds);
        zeResult_set results(0.0, -1);

        m_matcher.classify(*MessageBuilder().bag({{"x", 1.0}}).make(), results, 1.0,
                           use_thresholds);

        ASSERT_EQ(results.results.size(), 1U);
        EXPECT_EQ(results.results[0].node, &m_b);
        EXPECT_EQ(results.results[0].score, squash(-1.0));
        EXPECT_EQ(Accumulator(0), 0.0);
    }
}

TEST_F(zeStatMatcherTest, RoomIsReservedForMoreChildrenThanProfiles) {
    std::array<zeNode, 5> children = {zeNode(term("c")), zeNode(term("d")), zeNode(term("e")),
                                      zeNode(term("f")), zeNode(term("g"))};
    for (zeNode& child : children) {
        m_root.add_child(&child);
    }

    const zeResult_set results = Classify(MessageBuilder().bag({{"u", 1.0}}), 2.0);

    EXPECT_GE(results.results.capacity(), 5U);
}

TEST_F(zeStatMatcherTest, NoRoomIsReservedWithoutANode) {
    m_matcher.m_node = nullptr;
    zeResult_set results(2.0, -1);

    m_matcher.classify(*MessageBuilder().bag({{"u", 1.0}}).make(), results, 1.0, false);

    EXPECT_EQ(results.results.capacity(), 0U);
}

TEST_F(zeStatMatcherTest, RoomIsReservedForTheChildren) {
    GiveWeights();
    m_matcher.feed(m_storage, true);
    zeResult_set results(2.0, -1);

    m_matcher.classify(*MessageBuilder().bag({{"u", 1.0}}).make(), results, 1.0, false);

    EXPECT_GE(results.results.capacity(), 2U);
}

TEST_F(zeStatMatcherTest, MatcherWithoutANodeClassifies) {
    m_matcher.m_node = nullptr;

    EXPECT_EQ(Classify(MessageBuilder().bag({{"x", 1.0}})).results.size(), 2U);
}

}  // namespace
