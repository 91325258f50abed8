#include "zandrel/statistics/zeStat_matcher.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kPi = 3.141592653589793;

double squash(double x) {
    return std::atan(kPi * x) / kPi + 0.5;
}

// Two categories of 2 of 4 messages each, and a matcher at a root without children. The concept x
// counts 1 for a and -1 for b; y counts 2 for b alone.
class zeStatMatcherTest : public testing::Test {
protected:
    zeStatMatcherTest() {
        bool added = false;
        m_storage.get_or_add_profile(&m_a, added);
        m_storage.get_or_add_profile(&m_b, added);
        m_storage.m_num_msgs = 4;
        for (const int iprofile : {0, 1}) {
            m_storage.profile(iprofile).m_num_msgs = 2;
        }
        GiveWeights();
        m_matcher.feed(m_storage, false);
    }

    void GiveWeights() {
        m_storage.profile(0).m_weights = {{term("x"), 1.0F}};
        m_storage.profile(1).m_weights = {{term("y"), 2.0F}, {term("x"), -1.0F}};
    }

    // Likelihood correction with tables that differ in every bin.
    void UseLikelihood() {
        m_storage.m_use_train_likelihood = true;
        m_storage.m_use_likelihood_in_match = true;
        for (std::size_t i = 0; i < 30; ++i) {
            m_storage.profile(0).m_likelihood[i] = static_cast<double>(i + 1) / 32;
            m_matcher.m_avg_likelihood[i] = static_cast<double>((i + 1) * (i + 1)) / 1024;
        }
    }

    double& Accumulator(int iprofile) { return m_storage.profile(iprofile).m_match_value; }

    double Score(zeSml& sml, int iprofile) { return m_matcher.adjust_match_value(sml, iprofile); }

    zeResult_set Classify(const MessageBuilder& msg, double threshold = 0.0) {
        zeResult_set results(threshold, -1);
        m_matcher.classify(*msg.make(), results, 1.0, false);
        return results;
    }

    zeNode m_root{term("root")};
    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_matcher m_matcher{nullptr, &m_root, m_storage, false};
};

// Compiling the table.

TEST_F(zeStatMatcherTest, IsAStatisticalClassifierWithoutBlocks) {
    zeNode* child = &m_a;
    const qtPtrLight<zeMsg> msg = MessageBuilder().make();

    EXPECT_EQ(m_matcher.GetType(), 2U);
    EXPECT_FALSE(m_matcher.is_cat_blocked(child, *msg));
    EXPECT_EQ(m_matcher.m_node, &m_root);
}

TEST_F(zeStatMatcherTest, CompilesGivenWeightsAsTheyAre) {
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

TEST_F(zeStatMatcherTest, EmptiesTheWeightsItHasTaken) {
    EXPECT_THAT(m_storage.profile(0).m_weights, IsEmpty());
    EXPECT_THAT(m_storage.profile(1).m_weights, IsEmpty());
}

TEST_F(zeStatMatcherTest, TakesGivenWeightsEvenIfOnlyOneProfileHasSome) {
    m_storage.profile(1).m_weights = {{term("z"), 4.0F}};
    const Trace_capture trace;

    m_matcher.feed(m_storage, false);

    EXPECT_EQ(m_matcher.m_table.size(), 1U);
    EXPECT_EQ(m_matcher.m_table.count(term("z")), 1U);
    EXPECT_THAT(trace.texts(),
                ElementsAre("Collecting data for matching table", "Matching table completed"));
}

TEST_F(zeStatMatcherTest, SelectsFeaturesIfThereAreNoWeights) {
    const Trace_capture trace;

    m_matcher.feed(m_storage, false);

    EXPECT_THAT(trace.texts(),
                ElementsAre("Performing feature selection (num profiles: 2)",
                            "Collecting data for matching table", "Matching table completed"));
    EXPECT_TRUE(m_matcher.m_table.empty());
    EXPECT_EQ(m_storage.profile(0).m_selection_mark, 2);
}

TEST_F(zeStatMatcherTest, BecomesDirtyWhenFed) {
    GiveWeights();
    m_matcher.m_dirty = false;

    m_matcher.feed(m_storage, false);

    EXPECT_TRUE(m_matcher.m_dirty);
}

TEST_F(zeStatMatcherTest, ReplacesTheChildrenByThoseOfTheProfiles) {
    zeNode other(term("other"));
    m_root.add_child(&other);
    GiveWeights();

    m_matcher.feed(m_storage, true);

    EXPECT_THAT(m_root.m_children, ElementsAre(&m_a, &m_b));
    EXPECT_EQ(m_a.m_parent, &m_root);
    EXPECT_EQ(other.m_parent, nullptr);
}

TEST_F(zeStatMatcherTest, UnlinksTheChildrenEvenIfItAddsNone) {
    m_root.add_child(&m_a);
    GiveWeights();

    m_matcher.feed(m_storage, false);

    EXPECT_THAT(m_root.m_children, IsEmpty());
}

TEST_F(zeStatMatcherTest, LeavesNodesAloneWithoutANodeOfItsOwn) {
    GiveWeights();

    zeStat_matcher temporary(nullptr, nullptr, m_storage, true);

    EXPECT_EQ(m_a.m_parent, nullptr);
    EXPECT_EQ(temporary.m_table.size(), 2U);
}

TEST_F(zeStatMatcherTest, PointsAtTheStorageItIsFed) {
    zeStat_storage other(nullptr, m_settings);

    m_matcher.feed(other, false);

    EXPECT_EQ(m_matcher.m_storage, &other);
    EXPECT_TRUE(m_matcher.m_table.empty());
}

TEST_F(zeStatMatcherTest, CompilesItsTableWhenMade) {
    GiveWeights();

    const zeStat_matcher made(nullptr, &m_root, m_storage, true);

    EXPECT_EQ(made.m_storage, &m_storage);
    EXPECT_EQ(made.m_table.size(), 2U);
    EXPECT_GE(made.m_table.bucket_count(), 100U);
    EXPECT_THAT(m_root.m_children, ElementsAre(&m_a, &m_b));
}

TEST_F(zeStatMatcherTest, AppendsTheNodesOfAllProfiles) {
    zeNode other(term("other"));
    std::vector<zeNode*> cats = {&other};

    m_matcher.get_all_categories(cats);

    EXPECT_THAT(cats, ElementsAre(&other, &m_a, &m_b));
}

TEST_F(zeStatMatcherTest, ReplacesItsNodeAndThoseOfTheProfiles) {
    zeNode new_root(term("root"));
    zeNode new_a(term("a"));
    std::map<zeNode*, zeNode*> replacement = {{&m_root, &new_root}, {&m_a, &new_a}, {&m_b, &m_b}};

    m_matcher.global_replace(replacement);

    EXPECT_EQ(m_matcher.m_node, &new_root);
    EXPECT_EQ(m_storage.profile(0).m_node, &new_a);
    EXPECT_EQ(m_storage.get_profile(&new_a), 0);
}

TEST_F(zeStatMatcherTest, ItsNodeMissingFromTheReplacementBecomesNullAndEntersIt) {
    std::map<zeNode*, zeNode*> replacement = {{&m_a, &m_a}, {&m_b, &m_b}};

    m_matcher.global_replace(replacement);

    EXPECT_EQ(m_matcher.m_node, nullptr);
    EXPECT_EQ(replacement.count(&m_root), 1U);
}

TEST_F(zeStatMatcherTest, ReplacesOnlyProfilesWithoutANodeOfItsOwn) {
    m_matcher.m_node = nullptr;
    std::map<zeNode*, zeNode*> replacement = {{&m_a, &m_a}, {&m_b, &m_b}};

    m_matcher.global_replace(replacement);

    EXPECT_EQ(m_matcher.m_node, nullptr);
    EXPECT_EQ(replacement.size(), 2U);
}

// Filling the accumulators.

TEST_F(zeStatMatcherTest, AddsWeightTimesWeightForEachPair) {
    m_matcher.classify_sml(*make_bag({{"x", 3.0}, {"y", 0.5}, {"unknown", 8.0}}));

    EXPECT_EQ(Accumulator(0), 3.0);
    EXPECT_EQ(Accumulator(1), 2.0 * 0.5 - 3.0);
}

TEST_F(zeStatMatcherTest, AddsToWhatTheAccumulatorsHold) {
    Accumulator(0) = 10.0;

    m_matcher.classify_sml(*make_bag({{"x", 3.0}}));

    EXPECT_EQ(Accumulator(0), 13.0);
}

TEST_F(zeStatMatcherTest, FillsTheAccumulatorOfOneProfile) {
    int iprofile = 1;

    m_matcher.classify_sml_with_profile(*make_bag({{"x", 3.0}, {"y", 0.5}, {"unknown", 8.0}}),
                                        iprofile);

    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Accumulator(1), 2.0 * 0.5 - 3.0);
}

TEST_F(zeStatMatcherTest, TakesTheFirstPairOfAProfile) {
    m_matcher.m_table[term("x")] = {{1.0F, 0}, {2.0F, 1}, {4.0F, 1}};
    int iprofile = 1;

    m_matcher.classify_sml_with_profile(*make_bag({{"x", 1.0}}), iprofile);

    EXPECT_EQ(Accumulator(1), 2.0);
}

TEST_F(zeStatMatcherTest, SkipsPairsOfAStaleTable) {
    int deleted = 1;
    m_storage.delete_profile(deleted);

    m_matcher.classify_sml(*make_bag({{"x", 3.0}, {"y", 1.0}}));

    EXPECT_EQ(Accumulator(0), 3.0);
}

TEST_F(zeStatMatcherTest, ClassifiesWithAStaleTable) {
    zeNode c(term("c"));
    bool added = false;
    m_storage.get_or_add_profile(&c, added);
    m_storage.profile(2).m_num_msgs = 1;
    int deleted = 1;
    m_storage.delete_profile(deleted);

    zeResult_set results = Classify(MessageBuilder().bag({{"x", 1.0}}));

    // The moved profile takes over the index and with it the old pairs.
    ASSERT_EQ(results.results.size(), 2U);
    EXPECT_EQ(results.results[0].score, squash(1.0));
    EXPECT_EQ(results.results[1].node, &c);
}

// A category's score.

TEST_F(zeStatMatcherTest, TestsActivationBeforeAnythingElse) {
    struct Row {
        const char* rule;
        int n;  // messages of the category
        int N;  // of the model
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

TEST_F(zeStatMatcherTest, ResetsTheAccumulatorWhateverTheScore) {
    const qtPtrLight<zeSml> bag = make_bag({{"x", 1.0}});
    for (const int num_msgs : {0, 2, 4}) {
        SCOPED_TRACE(num_msgs);
        m_storage.profile(0).m_num_msgs = num_msgs;
        Accumulator(0) = 5.0;

        Score(*bag, 0);

        EXPECT_EQ(Accumulator(0), 0.0);
    }
}

TEST_F(zeStatMatcherTest, OneProfileAloneScoresOneForAnyBagThatIsNotEmpty) {
    int deleted = 1;
    m_storage.delete_profile(deleted);
    Accumulator(0) = -5.0;

    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 1.0);
    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Score(*make_bag({}), 0), 0.0);
    m_storage.m_activation_inside = 3;
    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 0.0);
}

TEST_F(zeStatMatcherTest, AnEmptyAccumulatorScoresAHalf) {
    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 0.5);
}

// The accumulator is 6 and the bag's total 4. atan(1) is a quarter of pi;
// atan(pi) was summed as the series of pi / 2 - atan(1 / pi).
TEST_F(zeStatMatcherTest, SquashesTheScaledAndShiftedAccumulator) {
    struct Row {
        const char* rule;
        double M;
        double score;
    };

    const qtPtrLight<zeSml> bag = make_bag({{"x", 3.0}, {"u", 1.0}});
    for (const Row& row : {
             Row{"1.5 - 1.5", -1.5, 0.5},
             Row{"1 / pi", 1.0 / kPi - 1.5, 0.75},
             Row{"-1 / pi", -1.0 / kPi - 1.5, 0.25},
             Row{"-1", -2.5, 0.09809326195229360},
             Row{"1", -0.5, 0.90190673804770640},
         }) {
        SCOPED_TRACE(row.rule);
        Accumulator(0) = 6.0;
        m_storage.profile(0).m_M = row.M;

        EXPECT_NEAR(Score(*bag, 0), row.score, 1e-14);
    }
}

// Likelihood correction.

TEST_F(zeStatMatcherTest, LeavesScoresAloneUnlessTablesAreBuiltAndUsed) {
    UseLikelihood();
    for (const auto& [in_train, in_match] :
         {std::pair(false, false), {true, false}, {false, true}}) {
        m_storage.m_use_train_likelihood = in_train;
        m_storage.m_use_likelihood_in_match = in_match;

        EXPECT_EQ(m_matcher.adjust_likelihood(0.3, 0), 0.3);
        EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 0.5);
    }
}

// Own table L[i] = (i + 1) / 32, average A[i] = (i + 1)^2 / 1024. Two profiles, so an age of 2
// blends them half and half.
TEST_F(zeStatMatcherTest, BlendsTheOwnTableWithTheAverage) {
    UseLikelihood();

    struct Row {
        const char* rule;
        int age;
        double score;
        double table;  // w * b + (1 - w) * a
    };

    for (const Row& row : {
             Row{"0", 0, 0.0, 0.0},
             Row{"0, with an own table", 2, 0.0, 0.0},
             Row{"below the first centre, average alone: A[0] / 2", 0, 1.0 / 120, 0.5 / 1024},
             Row{"below the first centre, own alone: L[0] / 2", 1000, 1.0 / 120, 0.5 / 32},
             Row{"below the first centre, both", 2, 1.0 / 120, (0.5 / 1024 + 0.5 / 32) / 2},
             Row{"first centre", 1000, 1.0 / 60, 1.0 / 32},
             Row{"halfway from 14 to 15, average alone", 0, 0.5, (225.0 + 256.0) / 2 / 1024},
             Row{"halfway from 14 to 15, own alone", 1000, 0.5, 15.5 / 32},
             Row{"halfway from 14 to 15, both", 2, 0.5,
                 ((225.0 + 256.0) / 2 / 1024 + 15.5 / 32) / 2},
             Row{"a quarter from 7 to 8", 1000, 7.75 / 30, 8.25 / 32},
             Row{"age of 999: w is 2 / 1001", 999, 0.5,
                 2.0 / 1001 * (225.0 + 256.0) / 2 / 1024 + 999.0 / 1001 * 15.5 / 32},
             Row{"age beyond the ceiling", 5000, 0.5, 15.5 / 32},
             Row{"last interval, halfway from 28 to 29", 1000, 29.0 / 30, 29.5 / 32},
             Row{"behind the last centre, own alone", 1000, 29.75 / 30, 30.0 / 32},
             Row{"behind the last centre, average alone", 0, 29.75 / 30, 900.0 / 1024},
             Row{"1", 2, 1.0, (30.0 / 32 + 900.0 / 1024) / 2},
         }) {
        SCOPED_TRACE(row.rule);
        m_storage.profile(0).m_likelihood_age = row.age;

        // The position in the table is rounded before the interpolation.
        EXPECT_NEAR(m_matcher.adjust_likelihood(row.score, 0), 0.99 * row.table + 0.01 * row.score,
                    1e-14);
    }
}

TEST_F(zeStatMatcherTest, AScoreOfZeroStaysExactlyZero) {
    UseLikelihood();

    EXPECT_EQ(m_matcher.adjust_likelihood(0.0, 0), 0.0);
}

TEST_F(zeStatMatcherTest, AScoreThatIsNoNumberStaysNone) {
    UseLikelihood();
    for (const int age : {0, 2, 1000}) {
        SCOPED_TRACE(age);
        m_storage.profile(0).m_likelihood_age = age;

        EXPECT_TRUE(std::isnan(m_matcher.adjust_likelihood(std::nan(""), 0)));
    }
}

TEST_F(zeStatMatcherTest, CorrectsTheSquashedScore) {
    UseLikelihood();
    m_storage.profile(0).m_likelihood_age = 1000;

    EXPECT_NEAR(Score(*make_bag({{"u", 1.0}}), 0), 0.99 * 15.5 / 32 + 0.01 * 0.5, 1e-14);
}

TEST_F(zeStatMatcherTest, DoesNotCorrectScoresThatNeedNoLook) {
    UseLikelihood();
    m_storage.profile(0).m_num_msgs = 4;

    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 1.0);
}

// With ages 10 and 20 and tables of 1/2 and 1/4 an entry is ((2i + 1) / 2 + 5 + 5) / 60.
TEST_F(zeStatMatcherTest, AveragesTheTablesByAgeWithAPriorOfThirtyMessages) {
    UseLikelihood();
    m_storage.profile(0).m_likelihood.fill(0.5);
    m_storage.profile(0).m_likelihood_age = 10;
    m_storage.profile(1).m_likelihood.fill(0.25);
    m_storage.profile(1).m_likelihood_age = 20;

    m_matcher.build_avg_likelihood();

    for (std::size_t i = 0; i < 30; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(m_matcher.m_avg_likelihood[i], (static_cast<double>(i) + 10.5) / 60);
    }
}

TEST_F(zeStatMatcherTest, AveragesNoTablesToTheCentresOfTheBins) {
    zeStat_storage empty(nullptr, m_settings);
    empty.m_use_train_likelihood = true;

    m_matcher.feed(empty, false);

    for (std::size_t i = 0; i < 30; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(m_matcher.m_avg_likelihood[i], (static_cast<double>(i) + 0.5) / 30);
    }
}

TEST_F(zeStatMatcherTest, LeavesTheAverageAloneIfNoTablesAreBuilt) {
    m_storage.m_use_train_likelihood = false;
    m_matcher.m_avg_likelihood.fill(7.0);

    m_matcher.build_avg_likelihood();

    EXPECT_EQ(m_matcher.m_avg_likelihood[29], 7.0);
}

// Classifying.

TEST_F(zeStatMatcherTest, AddsEachCategoryInTheOrderOfItsIndex) {
    zeResult_set results = Classify(MessageBuilder().bag({{"x", 1.0}, {"y", 3.0}}));

    ASSERT_EQ(results.results.size(), 2U);
    EXPECT_EQ(results.results[0].node, &m_a);
    EXPECT_EQ(results.results[0].score, squash(0.25));
    EXPECT_EQ(results.results[1].node, &m_b);
    EXPECT_EQ(results.results[1].score, squash(1.25));
    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Accumulator(1), 0.0);
}

TEST_F(zeStatMatcherTest, MarksTheResultsAsNeitherSortedNorUnique) {
    zeResult_set results(0.0, -1);
    results.sorted = true;
    results.deduplicated = true;

    m_matcher.classify(*MessageBuilder().bag({{"x", 1.0}}).make(), results, 1.0, false);

    EXPECT_FALSE(results.sorted);
    EXPECT_FALSE(results.deduplicated);
}

TEST_F(zeStatMatcherTest, LeavesTheMarksAloneIfNothingIsAdded) {
    zeResult_set results(0.99, -1);
    results.sorted = true;
    results.deduplicated = true;

    m_matcher.classify(*MessageBuilder().bag({{"x", 1.0}}).make(), results, 1.0, false);

    EXPECT_THAT(results.results, IsEmpty());
    EXPECT_TRUE(results.sorted);
    EXPECT_TRUE(results.deduplicated);
}

TEST_F(zeStatMatcherTest, LeavesResultsAloneWithoutABag) {
    zeResult_set results(0.0, -1);
    results.add(&m_root, 0.25);

    m_matcher.classify(*MessageBuilder().make(), results, 1.0, false);

    EXPECT_EQ(results.results.size(), 1U);
}

TEST_F(zeStatMatcherTest, AddsNothingForAnEmptyBag) {
    EXPECT_THAT(Classify(MessageBuilder().bag({})).results, IsEmpty());
}

TEST_F(zeStatMatcherTest, ReadsTheActiveSlot) {
    zeResult_set results =
        Classify(MessageBuilder().bag({{"u", 1.0}}).bag_at(1, {{"x", 1.0}}).active(1));

    EXPECT_EQ(results.results.at(0).score, squash(1.0));
}

TEST_F(zeStatMatcherTest, ClipsTheBag) {
    m_storage.m_clip_value = 2.0;

    zeResult_set results = Classify(MessageBuilder().bag({{"x", 10.0}, {"u", 1.0}, {"v", 1.0}}));

    EXPECT_EQ(results.results.at(0).score, squash(0.5));
}

TEST_F(zeStatMatcherTest, AddsAScoreAtTheThresholdOnlyAboveZero) {
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
    m_storage.m_activation_total = 5;  // Now both score 0.
    EXPECT_THAT(Classify(MessageBuilder().bag({{"u", 1.0}}), 0.0).results, IsEmpty());
}

TEST_F(zeStatMatcherTest, AppliesTheNodesThresholdsToTheProductIfAsked) {
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
        EXPECT_EQ(results.results.back().score, 0.5);  // the node's score is not multiplied in
        EXPECT_EQ(Accumulator(0), 0.0);
    }
}

TEST_F(zeStatMatcherTest, ResetsAccumulatorsOfCategoriesThatAreLeftOut) {
    Classify(MessageBuilder().bag({{"x", 1.0}, {"y", 1.0}}), 2.0);

    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Accumulator(1), 0.0);
}

// The bag's total and the accumulator of b are both beyond range, and their quotient is no number.
TEST_F(zeStatMatcherTest, LeavesOutACategoryWhoseScoreIsNoNumber) {
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

TEST_F(zeStatMatcherTest, LeavesOutAProfileThatHasLostItsNode) {
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

TEST_F(zeStatMatcherTest, MakesRoomForMoreChildrenThanThereAreProfiles) {
    std::array<zeNode, 5> children = {zeNode(term("c")), zeNode(term("d")), zeNode(term("e")),
                                      zeNode(term("f")), zeNode(term("g"))};
    for (zeNode& child : children) {
        m_root.add_child(&child);
    }

    const zeResult_set results = Classify(MessageBuilder().bag({{"u", 1.0}}), 2.0);

    EXPECT_GE(results.results.capacity(), 5U);
}

TEST_F(zeStatMatcherTest, MakesNoRoomWithoutANode) {
    m_matcher.m_node = nullptr;
    zeResult_set results(2.0, -1);

    m_matcher.classify(*MessageBuilder().bag({{"u", 1.0}}).make(), results, 1.0, false);

    EXPECT_EQ(results.results.capacity(), 0U);
}

TEST_F(zeStatMatcherTest, MakesRoomForItsChildren) {
    GiveWeights();
    m_matcher.feed(m_storage, true);
    zeResult_set results(2.0, -1);

    m_matcher.classify(*MessageBuilder().bag({{"u", 1.0}}).make(), results, 1.0, false);

    EXPECT_GE(results.results.capacity(), 2U);
}

TEST_F(zeStatMatcherTest, ClassifiesWithoutANode) {
    m_matcher.m_node = nullptr;

    EXPECT_EQ(Classify(MessageBuilder().bag({{"x", 1.0}})).results.size(), 2U);
}

// Training.

// A manager with a statistical root, and three messages of two categories in its tree.
class zeStatMatcherTrainingTest : public testing::Test {
protected:
    zeStatMatcherTrainingTest() {
        m_manager.m_defaults = plain_settings();
        m_manager.m_root = m_tree->MakeNode(term("root"), ZE_STAT, zeNode::NoScore, 0.0);
        zeNode* const a = m_tree->MakeNode(term("a"), ZE_LEAF, 0, 0.0);
        zeNode* const b = m_tree->MakeNode(term("b"), ZE_LEAF, 0, 0.0);
        m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"u", 1.0}}), {a});
        m_corpus.add(MessageBuilder().bag({{"y", 1.0}, {"u", 1.0}}), {b});
        m_corpus.add(MessageBuilder().bag({{"y", 3.0}, {"v", 1.0}}), {b});
    }

    zeStat_matcher& Matcher() {
        return dynamic_cast<zeStat_matcher&>(*m_manager.GetRootClassifier());
    }

    // The table as a list in order: a concept, a profile's index and its weight there.
    std::vector<std::tuple<std::string, int, float>> Table() {
        std::vector<std::tuple<std::string, int, float>> rows;
        for (const auto& [known, pairs] : Matcher().m_table) {
            for (const zeStat_matcher::Concept_weight& pair : pairs) {
                rows.emplace_back(known.view(), pair.m_iprofile, pair.m_weight);
            }
        }
        std::sort(rows.begin(), rows.end());
        return rows;
    }

    std::vector<double> Scores() {
        zeResult_set results(0.0, -1);
        Matcher().classify(*m_corpus.corpus.msgs[1], results, 1.0, false);
        std::vector<double> scores;
        for (const zeResult& result : results.results) {
            scores.push_back(result.score);
        }
        return scores;
    }

    zeManager m_manager;
    qtPtrLight<zePhysicalTree> m_tree = m_manager.m_physical_tree;
    Small_corpus m_corpus;
};

TEST_F(zeStatMatcherTrainingTest, CountsAndCompiles) {
    const Trace_capture trace;

    Matcher().train(m_corpus.view);

    EXPECT_THAT(trace.texts(),
                ElementsAre("Calculating global concept data", "Training completed",
                            "Performing feature selection (num profiles: 2)",
                            "Collecting data for matching table", "Matching table completed"));
    EXPECT_EQ(m_manager.m_root->m_children.size(), 2U);
    const std::vector<double> scores = Scores();
    ASSERT_EQ(scores.size(), 2U);
    EXPECT_LT(scores[0], 0.5);
    EXPECT_GT(scores[1], 0.5);
}

// Three messages and two profiles: five polls.
TEST_F(zeStatMatcherTrainingTest, CanBeInterruptedAtEveryPollAndTrainedAnew) {
    Matcher().train(m_corpus.view);
    const std::vector<double> expected = Scores();
    for (int poll = 1; poll <= 5; ++poll) {
        SCOPED_TRACE(poll);
        Matcher().m_storage->create_skeleton();
        Interrupt_at progress(poll);
        m_manager.m_progress = &progress;

        EXPECT_QTX(Matcher().train(m_corpus.view), zeWorkflow, 2, "Process interrupted");

        m_manager.m_progress = nullptr;
        EXPECT_EQ(Matcher().m_storage->m_num_msgs, poll < 3 ? poll : 3);
        EXPECT_NO_THROW(Scores());
        Matcher().m_storage->create_skeleton();
        Matcher().train(m_corpus.view);
        EXPECT_EQ(Scores(), expected);
    }
}

TEST_F(zeStatMatcherTrainingTest, AsksNoOftenerThanThereAreMessagesAndProfiles) {
    Interrupt_at progress(6);
    m_manager.m_progress = &progress;

    Matcher().train(m_corpus.view);

    EXPECT_EQ(progress.polls, 5);
}

TEST_F(zeStatMatcherTrainingTest, KeepsTheOldTableIfSelectionIsInterrupted) {
    Matcher().train(m_corpus.view);
    const std::vector<double> expected = Scores();
    Interrupt_at progress(1);
    m_manager.m_progress = &progress;

    EXPECT_QTX(Matcher().feed(*Matcher().m_storage, true), zeWorkflow, 2, "Process interrupted");

    EXPECT_EQ(Scores(), expected);
    EXPECT_EQ(m_manager.m_root->m_children.size(), 2U);
}

// Weights of the profiles before the interruption must not pass for a whole selection.
TEST_F(zeStatMatcherTrainingTest, SelectsAnewAfterAnInterruptedSelection) {
    Matcher().train(m_corpus.view);
    const auto table = Table();
    const std::vector<double> scores = Scores();
    for (int poll = 1; poll <= 2; ++poll) {
        SCOPED_TRACE(poll);
        Interrupt_at progress(poll);
        m_manager.m_progress = &progress;
        EXPECT_QTX(Matcher().feed(*Matcher().m_storage, true), zeWorkflow, 2,
                   "Process interrupted");
        m_manager.m_progress = nullptr;

        Matcher().feed(*Matcher().m_storage, true);

        EXPECT_EQ(Table(), table);
        EXPECT_EQ(Scores(), scores);
    }
}

// Three polls of counting come before the two of selection.
TEST_F(zeStatMatcherTrainingTest, CompilesWhatTrainingHasCountedBeforeItsSelectionBroke) {
    Matcher().train(m_corpus.view);
    const auto table = Table();
    const std::vector<double> scores = Scores();
    for (int poll = 4; poll <= 5; ++poll) {
        SCOPED_TRACE(poll);
        Matcher().m_storage->create_skeleton();
        Interrupt_at progress(poll);
        m_manager.m_progress = &progress;
        EXPECT_QTX(Matcher().train(m_corpus.view), zeWorkflow, 2, "Process interrupted");
        m_manager.m_progress = nullptr;

        Matcher().feed(*Matcher().m_storage, true);

        EXPECT_EQ(Table(), table);
        EXPECT_EQ(Scores(), scores);
    }
}

}  // namespace
