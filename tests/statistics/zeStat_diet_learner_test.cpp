// Learning a batch: its sub-bulks, and the steps of each.
#include "zandrel/statistics/zeStat_diet_learner.h"

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/statistics/learner_fixture.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/match_rows.h"
#include "tests/support/trace_capture.h"

using zandrel::kTraceDebug;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zeStatDietLearnerTest : public Learner_fixture {
protected:
    zeStatDietLearnerTest() { SetCap(3); }

    void SetCap(int cap) {
        m_storage.m_min_Ps_size = 0;
        m_storage.m_max_Ps_size = cap;
        m_storage.m_profile_size = 0;
    }

    void AddProfiles(int count) {
        for (int i = 0; i < count; ++i) {
            AddProfile(0.0, 0.0);
        }
    }

    // Adds a message with one concept of that weight.
    void Add(double bag_weight, const std::vector<zeNode*>& cats) {
        m_corpus.add(MessageBuilder().bag({{"x", bag_weight}}), cats);
    }

    void Learn(bool first = true) { m_learner.learn(m_corpus.view, first); }

    // The trace text that says how the batch is divided.
    std::string Division() {
        const Trace_capture trace;
        Learn();
        return trace.lines.at(1).text;
    }

    static std::string Prime(int msgs, const char* concepts, int sub_bulks) {
        return "Prime bulk size: " + std::to_string(msgs) +
               " (estimated num concepts: " + concepts +
               "), total sub bulks: " + std::to_string(sub_bulks);
    }

    // The numbers of the messages in each part.
    std::vector<std::vector<int>> Parts(int count) {
        std::vector<zeCorpus_view> parts;
        m_learner.build_subcorpuses(m_corpus.view, count, parts);
        std::vector<std::vector<int>> numbers;
        for (const zeCorpus_view& part : parts) {
            EXPECT_EQ(part.corpus, &m_corpus.corpus);
            auto& list = numbers.emplace_back();
            for (const zeCorpus_view::Msg& msg : part.msgs) {
                list.push_back(msg.index);
            }
        }
        return numbers;
    }
};

// An application may call one step and save. A container writes only objects that have changed.
TEST_F(zeStatDietLearnerTest, EachStepThatIsCalledByItselfMarksTheModelAsChanged) {
    struct Row {
        const char* step;
        std::function<void()> run;
    };

    AddProfiles(1);
    m_storage.m_use_train_likelihood = true;
    Add(1.0, {Node(0)});
    zeStat_matcher matcher(nullptr, nullptr, m_storage, false);
    zeStat_trainer trainer(m_storage);
    trainer.m_view = &m_corpus.view;
    trainer.m_matcher = &matcher;
    trainer.m_model_is_matched = true;
    int first = 0;
    std::vector<zeStat_diet_learner::Concept_info> candidates;
    for (const Row& row :
         {Row{"match", [&] { trainer.match_msgs_for_likelihood({0}); }},
          Row{"likelihood", [&] { trainer.calculate_likelihood_from_results(); }},
          Row{"selection", [&] { trainer.calculate_profile_M_and_rate(first); }},
          Row{"selection of all", [&] { trainer.calculate_feature_selection(); }},
          Row{"deletion", [&] { m_learner.delete_Ps(first, candidates, 0); }},
          Row{"elimination", [&] { m_learner.eliminate_features(false); }},
          Row{"removal", [&] { m_learner.remove_influence_of_profile(first, true); }}}) {
        SCOPED_TRACE(row.step);
        m_storage.m_dirty = false;

        row.run();

        EXPECT_TRUE(m_storage.m_dirty);
    }
}

TEST_F(zeStatDietLearnerTest, LearnerBorrowsTheStorageAndItsManager) {
    zeManager manager;
    zeStat_storage* const storage = new zeStat_storage(&manager, m_settings);

    const zeStat_diet_learner learner(*storage);

    EXPECT_EQ(learner.m_storage, storage);
    EXPECT_EQ(learner.m_manager, &manager);
    EXPECT_EQ(learner.m_matcher, nullptr);
    EXPECT_EQ(learner.m_view, nullptr);
    EXPECT_THAT(learner.m_num_msgs4profile, IsEmpty());
}

// The number of sub-bulks. For each of its categories, a message is estimated at half of its bag's
// weight. Two profiles of at most 3 concepts have room for 6.

TEST_F(zeStatDietLearnerTest, EstimateUpToTheRoomOfAllProfilesGivesOneBulk) {
    struct Row {
        const char* rule;
        double bag_weight;
        std::vector<zeNode*> cats;
        const char* concepts;
        int sub_bulks;
    };

    AddProfiles(2);
    for (const Row& row : {
             Row{"exactly the room", 12.0, {Node(0)}, "6", 1},
             Row{"halves go down", 13.0, {Node(0)}, "6", 1},
             Row{"fractions go down", 13.9, {Node(0)}, "6", 1},
             Row{"one more", 14.0, {Node(0)}, "7", 2},
             Row{"twice the room", 24.0, {Node(0)}, "12", 2},
             Row{"one more than twice", 26.0, {Node(0)}, "13", 3},
             Row{"each category counts", 7.0, {Node(0), Node(1)}, "7", 2},
             Row{"no category", 1000.0, {}, "0", 1},
         }) {
        SCOPED_TRACE(row.rule);
        m_corpus.view.msgs.clear();
        Add(row.bag_weight, row.cats);

        EXPECT_EQ(Division(), Prime(1, row.concepts, row.sub_bulks));
    }
}

// The sum of the weights is rounded down after each message, to 4, 8 and 12. So the estimate, half
// of it, is 6. Without rounding the sum would be 14.7, and the estimate 7.
TEST_F(zeStatDietLearnerTest, EstimateIsRoundedDownAfterEachMessage) {
    AddProfiles(2);
    for (int i = 0; i < 3; ++i) {
        Add(4.9, {Node(0)});
    }

    EXPECT_EQ(Division(), Prime(3, "6", 1));
}

TEST_F(zeStatDietLearnerTest, EstimateUsesTheActiveBag) {
    AddProfiles(2);
    m_corpus.add(MessageBuilder().bag({{"x", 100.0}}).bag_at(2, {{"x", 14.0}}).active(2),
                 {Node(0)});
    m_corpus.add(MessageBuilder().bag({{"x", 100.0}}).active(3), {Node(0)});

    EXPECT_EQ(Division(), Prime(2, "7", 2));
}

TEST_F(zeStatDietLearnerTest, RoomIsTheLargestOfTheThreeSizes) {
    struct Row {
        int least;
        int most;
        int selected;
        int sub_bulks;
    };

    AddProfiles(2);
    Add(14.0, {Node(0)});
    for (const Row& row : {Row{3, 1, 2, 2}, Row{1, 3, 2, 2}, Row{1, 2, 3, 2}, Row{4, 1, 1, 1},
                           Row{1, 4, 1, 1}, Row{1, 1, 4, 1}, Row{1, 1, 1, 4}}) {
        m_storage.m_min_Ps_size = row.least;
        m_storage.m_max_Ps_size = row.most;
        m_storage.m_profile_size = row.selected;

        EXPECT_EQ(Division(), Prime(1, "7", row.sub_bulks));
    }
}

TEST_F(zeStatDietLearnerTest, ModelWithoutProfilesOrRoomTakesABatchAsOneBulk) {
    Add(1000.0, {Node(0)});
    EXPECT_EQ(Division(), Prime(1, "500", 1));

    SetCap(0);
    EXPECT_EQ(m_storage.profile_count(), 1);
    EXPECT_EQ(Division(), Prime(1, "500", 1));
}

TEST_F(zeStatDietLearnerTest, HugeWeightGivesALimitedNumberOfSubBulks) {
    AddProfiles(1);
    Add(1e300, {Node(0)});

    EXPECT_EQ(Division(), Prime(1, "2147483647", 10000));
}

// The estimate is 1e8 / 2 concepts, and a sub-bulk has room for 50,000.
TEST_F(zeStatDietLearnerTest, SubBulksWithoutAMessageAreSkipped) {
    SetCap(50000);
    AddProfiles(1);
    Add(1e8, {Node(0)});
    Add(1.0, {Node(0)});
    const Trace_capture trace;

    Learn();

    EXPECT_EQ(trace.lines.at(1).text, Prime(2, "50000000", 1000));
    EXPECT_TRUE(trace.has(kTraceDebug, "Starting secondary bulk 1"));
    EXPECT_TRUE(trace.has(kTraceDebug, "Secondary bulk 2 completed"));
    EXPECT_FALSE(trace.has(kTraceDebug, "Starting secondary bulk 3"));
    EXPECT_FALSE(trace.has(kTraceDebug, "Secondary bulk 1000 completed"));
    EXPECT_EQ(m_storage.profile(0).m_selection_mark, 3);  // one more for each sub-bulk
    EXPECT_EQ(m_storage.m_num_msgs, 2);
}

// The weight of 40 is reduced to the limit of 16.
TEST_F(zeStatDietLearnerTest, ViewWithoutMessagesRunsTheFirstBulk) {
    AddProfile(40.0, 40.0);
    SetTotals(40.0, 40.0, 40.0);

    Learn();

    EXPECT_EQ(m_storage.profile(0).m_weight, 16.0);
    EXPECT_EQ(m_storage.profile(0).m_selection_mark, 2);
}

TEST_F(zeStatDietLearnerTest, EachOfManyMessagesMayHaveItsOwnSubBulk) {
    AddProfiles(1);
    Add(1e300, {Node(0)});
    m_corpus.view.msgs.resize(10001, m_corpus.view.msgs.front());

    EXPECT_EQ(Division(), Prime(10001, "2147483647", 10001));
    EXPECT_EQ(m_storage.m_num_msgs, 10001);
}

// Sub-bulks.

// The messages of two categories count for the second and for the first of them, since three
// messages with a category come before. So a has 0, 1 and 5, b has 2, 4 and 6, and 3 has no
// category.
TEST_F(zeStatDietLearnerTest, EachCategoryIsDealtEvenlyAndTheUnlabelledLast) {
    for (const std::vector<zeNode*>& cats : {std::vector<zeNode*>{Node(0)},
                                             {Node(0)},
                                             {Node(1)},
                                             {},
                                             {Node(0), Node(1)},
                                             {Node(0), Node(1)},
                                             {Node(1)}}) {
        Add(1.0, cats);
    }

    EXPECT_THAT(Parts(2), ElementsAre(ElementsAre(0, 5, 4, 3), ElementsAre(1, 2, 6)));
    EXPECT_THAT(Parts(3), ElementsAre(ElementsAre(0, 2, 3), ElementsAre(1, 4), ElementsAre(5, 6)));
}

TEST_F(zeStatDietLearnerTest, CategoriesAreDealtInTheOrderOfTheirFirstMessages) {
    for (const std::size_t cat : {1U, 0U, 1U}) {
        Add(1.0, {Node(cat)});
    }

    EXPECT_THAT(Parts(2), ElementsAre(ElementsAre(0, 1), ElementsAre(2)));
}

TEST_F(zeStatDietLearnerTest, PartsWithoutAMessageStayEmpty) {
    Add(1.0, {Node(0)});

    EXPECT_THAT(Parts(3), ElementsAre(ElementsAre(0), IsEmpty(), IsEmpty()));
}

TEST_F(zeStatDietLearnerTest, PartsHaveTheCategoriesOfTheirMessages) {
    Add(1.0, {Node(1), Node(0)});
    std::vector<zeCorpus_view> parts(7);

    m_learner.build_subcorpuses(m_corpus.view, 1, parts);

    ASSERT_EQ(parts.size(), 1U);
    ASSERT_EQ(parts[0].msgs.size(), 1U);
    EXPECT_THAT(parts[0].msgs[0].cats, ElementsAre(Node(1), Node(0)));
}

// Of the two sub-bulks only the first reduces the old weight of 40 to the limit of 16.
TEST_F(zeStatDietLearnerTest, RoomIsMadeOnceForAllSubBulks) {
    for (const bool first : {true, false}) {
        SCOPED_TRACE(first);
        m_storage.clear();
        m_corpus.view.msgs.clear();
        AddProfile(40.0, 40.0);
        SetTotals(40.0, 40.0, 40.0);
        Add(4.0, {Node(0)});
        Add(4.0, {Node(0)});

        Learn(first);

        EXPECT_EQ(m_storage.profile(0).m_weight, first ? 18.0 : 42.0);
    }
}

// Traces.

TEST_F(zeStatDietLearnerTest, ViewWithoutBagsIsLearnedInOneBulk) {
    AddProfiles(1);
    m_corpus.add(MessageBuilder(), {Node(0)});
    AddP(0, "y", 1.0).m_life = 3;
    const Trace_capture trace;

    Learn(false);

    EXPECT_THAT(
        trace.texts(),
        ElementsAre("Starting learning",
                    "Prime bulk size: 1 (estimated num concepts: 0), total sub bulks: 1",
                    "Calculating global concept data", "SML does not exist or empty (message 0)",
                    "Training completed", "Performing feature selection (num profiles: 1)",
                    "Learning completed"));
    EXPECT_EQ(P_of(m_storage, 0, "y").m_life, 2);
}

TEST_F(zeStatDietLearnerTest, EachSubBulkIsTraced) {
    AddProfiles(1);
    Add(6.0, {Node(0)});
    Add(4.0, {Node(0)});
    const Trace_capture trace;

    Learn();

    EXPECT_THAT(trace.texts(),
                ElementsAre("Starting learning",
                            "Prime bulk size: 2 (estimated num concepts: 5), total sub bulks: 2",
                            "Starting secondary bulk 1", "Calculating global concept data",
                            "Training completed", "Performing feature selection (num profiles: 1)",
                            "Secondary bulk 1 completed", "Starting secondary bulk 2",
                            "Calculating global concept data", "Training completed",
                            "Performing feature selection (num profiles: 1)",
                            "Secondary bulk 2 completed", "Learning completed"));
    EXPECT_EQ(trace.lines[0].level, kTraceDebug);
    EXPECT_EQ(trace.lines[0].file, "zeStat_diet_learner.cpp");
}

// One bulk.

TEST_F(zeStatDietLearnerTest, MessagesOfEachProfileAreCounted) {
    AddProfiles(3);
    Add(1.0, {Node(0), Node(2)});
    Add(1.0, {Node(2)});
    Add(1.0, {});
    Add(1.0, {Node(5)});  // has no profile
    SetBulk({9, 9, 9, 9, 9});
    m_learner.m_view = &m_corpus.view;

    m_learner.build_num_msgs4profile();

    EXPECT_THAT(m_learner.m_num_msgs4profile, ElementsAre(1, 0, 2));
}

TEST_F(zeStatDietLearnerTest, MessagesAreCountedBeforeTheyAreLearned) {
    AddProfiles(1);
    AddP(0, "y", 1.0).m_life = 3;
    Add(1.0, {Node(0)});
    Add(1.0, {Node(0)});

    m_learner.learn_bulk(m_corpus.view, false);

    EXPECT_EQ(m_learner.m_view, &m_corpus.view);
    EXPECT_THAT(m_learner.m_num_msgs4profile, ElementsAre(2));
    EXPECT_EQ(P_of(m_storage, 0, "y").m_life, 1);
}

TEST_F(zeStatDietLearnerTest, LearningAddsTheProfileOfANewCategory) {
    AddProfiles(1);
    Add(1.0, {Node(4)});

    Learn();

    ASSERT_EQ(m_storage.profile_count(), 2);
    EXPECT_EQ(m_storage.profile(1).m_node, Node(4));
    EXPECT_EQ(m_storage.profile(1).m_num_msgs, 1);
    EXPECT_THAT(m_learner.m_num_msgs4profile, ElementsAre(0));
}

// Selected concepts must not be deleted, so the selection comes before the deletion. Each profile
// selects one concept. With two profiles, `strong` and `other` are equally useful for both.
TEST_F(zeStatDietLearnerTest, ConceptsSelectedInTheBulkAreNotDeleted) {
    AddProfiles(2);
    SetTotals(0.0, 0.0, 1000.0);  // so that the rate of a concept seen once is small
    m_storage.set_profile_size(1);
    m_storage.m_max_Ps_size = 1;
    m_corpus.add(MessageBuilder().bag({{"weak", 1.0}, {"strong", 2.0}}), {Node(0)});
    m_corpus.add(MessageBuilder().bag({{"weak", 1.0}, {"other", 2.0}}), {Node(1)});

    m_learner.learn_bulk(m_corpus.view, true);

    for (int iprofile = 0; iprofile < 2; ++iprofile) {
        const zeStat_storage::Profile& profile = m_storage.profile(iprofile);
        ASSERT_EQ(profile.m_weights.size(), 1U);
        ASSERT_EQ(profile.m_Ps.size(), 1U);
        EXPECT_FALSE(KnowsP(iprofile, "weak"));
        EXPECT_EQ(profile.m_selection_mark, 2);
    }
    EXPECT_EQ(info_of(m_storage, "weak").m_num_Ps, 0);
}

// Slices.

TEST_F(zeStatDietLearnerTest, SmallerBulkNeedsFewerSlices) {
    struct Row {
        const char* rule;
        int slices;
        std::vector<int> msgs;
        std::vector<double> weights;
        int needed;
    };

    AddProfiles(2);
    m_storage.m_use_train_likelihood = true;
    m_storage.m_use_omit_method = true;
    for (const Row& row : {
             Row{"one stays one", 1, {9, 9}, {0.0, 0.0}, 1},
             Row{"at least one", 5, {0, 0}, {0.0, 4.0}, 1},
             Row{"new category, all slices", 5, {8, 0}, {0.0, 4.0}, 5},
             Row{"new category, a slice a message", 5, {3, 0}, {0.0, 4.0}, 3},
             Row{"4 * 5 / 10", 5, {4, 0}, {10.0, 1.0}, 2},
             Row{"6 * 5 / 20 goes up", 5, {6, 0}, {20.0, 1.0}, 2},
             Row{"1 * 5 / 10 goes up", 5, {1, 0}, {10.0, 1.0}, 1},
             Row{"a slice a message at most", 5, {1, 0}, {2.0, 1.0}, 1},
             Row{"ceiling of 2.67, messages 2", 4, {2, 0}, {3.0, 1.0}, 2},
             Row{"more messages than weight", 4, {9, 0}, {3.0, 1.0}, 4},
             Row{"largest of all profiles", 5, {4, 3}, {10.0, 0.0}, 3},
             Row{"no slice asked for", 0, {4, 3}, {10.0, 0.0}, 1},
         }) {
        SCOPED_TRACE(row.rule);
        m_storage.m_num_slices = row.slices;
        SetBulk(row.msgs);
        for (int i = 0; i < 2; ++i) {
            m_storage.profile(i).m_weight = row.weights[static_cast<std::size_t>(i)];
        }

        EXPECT_EQ(m_learner.get_num_slices_for_bulk(), row.needed);
        EXPECT_EQ(m_storage.m_num_slices, row.slices);
    }
}

TEST_F(zeStatDietLearnerTest, NumberOfSlicesIsKeptIfNothingIsOmitted) {
    AddProfiles(1);
    SetBulk({1});
    m_storage.m_num_slices = 7;
    for (const auto& [likelihood, omit] : {std::pair(false, false), {true, false}, {false, true}}) {
        m_storage.m_use_train_likelihood = likelihood;
        m_storage.m_use_omit_method = omit;

        EXPECT_EQ(m_learner.get_num_slices_for_bulk(), 7);
    }
}

// With likelihood tables. In these tests each of the two categories has the weight 4.
class zeStatDietLearnerLikelihoodTest : public zeStatDietLearnerTest {
protected:
    zeStatDietLearnerLikelihoodTest() {
        SetCap(100);
        m_storage.set_use_train_likelihood(true);
        m_storage.m_use_omit_method = true;
        m_storage.m_num_slices = 10;
        AddProfile(4.0, 4.0).m_num_msgs = 4;
        AddProfile(4.0, 4.0).m_num_msgs = 4;
        SetTotals(8.0, 8.0, 8.0);
        m_storage.m_num_msgs = 8;
        Add(1.0, {Node(0)});
        m_corpus.add(MessageBuilder().bag({{"y", 1.0}}), {Node(1)});
    }

    std::vector<std::string> TracesOfLearning() {
        const Trace_capture trace;
        Learn();
        return trace.texts();
    }

    // x scores atan(100 pi) / pi + 0.5, which is above 29 / 30, for one category, and below 1 / 30
    // for the other. y scores a half.
    void ExpectScoredByX() {
        EXPECT_EQ(m_storage.profile(0).m_bins[29].m_relevant, 1.0);
        EXPECT_EQ(m_storage.profile(0).m_bins[29].m_total, 1.0);
        EXPECT_EQ(m_storage.profile(1).m_bins[0].m_relevant, 0.0);
        EXPECT_EQ(m_storage.profile(1).m_bins[0].m_total, 1.0);
        EXPECT_EQ(m_storage.profile(1).m_bins[15].m_relevant, 1.0);
    }

    void ExpectHistograms(double total) {
        for (const auto& profile : m_storage.m_profiles) {
            double sum = 0.0;
            for (const zeStat_storage::Result_bin& bin : profile->m_bins) {
                sum += bin.m_total;
            }
            EXPECT_EQ(sum, total);
        }
    }
};

// One message of weight 4 needs 3 slices, but there is at most one slice for each message.
TEST_F(zeStatDietLearnerLikelihoodTest, TrainsWithTheSlicesOfTheBulkAndRestoresTheSetting) {
    const std::vector<std::string> texts = TracesOfLearning();

    EXPECT_THAT(texts,
                testing::Contains("Performing matching while omitting (num slices: 1)").Times(1));
    EXPECT_EQ(m_storage.m_num_slices, 10);
    EXPECT_EQ(m_storage.m_num_msgs, 10);
    ExpectHistograms(2.0);
}

TEST_F(zeStatDietLearnerLikelihoodTest, SlicesAreLeftOutWithTheirOwnMatchers) {
    Add(1.0, {Node(0)});
    m_corpus.add(MessageBuilder().bag({{"y", 1.0}}), {Node(1)});

    const std::vector<std::string> texts = TracesOfLearning();

    EXPECT_THAT(texts, testing::Contains("Performing matching while omitting (num slices: 2)"));
    EXPECT_THAT(texts, testing::Contains("Calculated 2 slices"));
    EXPECT_EQ(m_storage.m_num_slices, 10);
    EXPECT_EQ(m_storage.m_num_msgs, 12);
    ExpectHistograms(4.0);
}

// With fewer than two slices the model is matched before the bulk is added, by a temporary matcher.
// That matcher takes the weights of the last selection if the storage still has them.
TEST_F(zeStatDietLearnerLikelihoodTest, TemporaryMatcherTakesTheWeightsOfTheLastSubBulk) {
    m_storage.m_num_slices = 1;
    m_storage.m_total_sml_weight = 800.0;  // so that the rate of a concept seen once is small
    m_storage.m_max_Ps_size = 0;
    m_storage.set_profile_size(1);
    m_corpus.view.msgs.clear();
    for (int i = 0; i < 2; ++i) {
        Add(2.0, {Node(0)});
        m_corpus.add(MessageBuilder().bag({{"y", 2.0}}), {Node(1)});
    }

    EXPECT_THAT(
        TracesOfLearning(),
        ElementsAre("Starting learning",
                    "Prime bulk size: 4 (estimated num concepts: 4), total sub bulks: 2",
                    "Starting secondary bulk 1", "Calculating likelihood",
                    "Performing matching while omitting (num slices: 1)",
                    "Performing feature selection (num profiles: 2)",
                    "Collecting data for matching table", "Matching table completed",
                    "Calculating likelihood table (bins: 30)", "Likelihood completed",
                    "Training completed", "Performing feature selection (num profiles: 2)",
                    "Secondary bulk 1 completed", "Starting secondary bulk 2",
                    "Calculating likelihood", "Performing matching while omitting (num slices: 1)",
                    "Collecting data for matching table", "Matching table completed",
                    "Calculating likelihood table (bins: 30)", "Likelihood completed",
                    "Training completed", "Performing feature selection (num profiles: 2)",
                    "Secondary bulk 2 completed", "Learning completed"));
}

// Only x identifies the messages of the first category.
TEST_F(zeStatDietLearnerLikelihoodTest, LearnersMatcherIsUsedUnchangedWithOneSlice) {
    m_storage.m_num_slices = 1;
    zeStat_matcher matcher(nullptr, nullptr, m_storage, false);
    m_learner.m_matcher = &matcher;
    set_row(matcher.m_table, term("x"), {{100.0F, 0}, {-100.0F, 1}});

    const std::vector<std::string> texts = TracesOfLearning();

    EXPECT_THAT(texts, testing::Not(testing::Contains("Collecting data for matching table")));
    ExpectScoredByX();
}

TEST_F(zeStatDietLearnerLikelihoodTest, MatcherThatLearnsScoresByItsOwnTable) {
    m_storage.m_num_slices = 1;
    zeStat_matcher matcher(nullptr, nullptr, m_storage, false);
    set_row(matcher.m_table, term("x"), {{100.0F, 0}, {-100.0F, 1}});

    matcher.learn(m_corpus.view, true);

    ExpectScoredByX();
}

// Interruption.

class zeStatDietLearnerInterruptionTest : public testing::Test {
protected:
    // Two categories, and a bulk that adds more messages of them.
    struct Model {
        explicit Model(const zeDefaults& given) : settings(given) {
            for (int i = 0; i < 4; ++i) {
                corpus.add(MessageBuilder().bag({{"x", 2.0}, {"both", 1.0}}), {&a});
                corpus.add(MessageBuilder().bag({{"y", 2.0}, {"both", 1.0}}), {&b});
            }
        }

        void Learn(bool by_matcher) {
            if (by_matcher) {
                matcher->learn(corpus.view, true);
            } else {
                zeStat_diet_learner learner(*storage);
                learner.learn(corpus.view, true);
            }
        }

        std::string Best(const char* word) {
            zeResult_set results(0.0, -1);
            matcher->classify(*MessageBuilder().bag({{word, 1.0}}).make(), results, 1.0, false);
            const auto best = std::max_element(results.results.begin(), results.results.end(),
                                               [](const zeResult& left, const zeResult& right) {
                                                   return left.score < right.score;
                                               });
            return best == results.results.end() ? "none"
                                                 : std::string(best->node->m_concept.view());
        }

        zeDefaults settings;
        zeNode a{term("a")};
        zeNode b{term("b")};
        zeManager manager;
        // The manager owns the objects registered with it.
        zeStat_storage* storage = new zeStat_storage(&manager, settings);
        zeStat_matcher* matcher = new zeStat_matcher(&manager, nullptr, *storage, false);
        Small_corpus corpus;
    };

    // Interrupts at each poll in turn, each time in a new model that has learned before, and then
    // learns again. Returns the number of polls.
    static int InterruptAtEachPoll(const zeDefaults& settings, bool by_matcher) {
        for (int poll = 1;; ++poll) {
            SCOPED_TRACE(testing::Message() << "poll " << poll << ", matcher " << by_matcher);
            Model model(settings);
            model.Learn(true);
            Interrupt_at progress(poll);
            model.manager.m_progress = &progress;
            if (poll > 10000) {
                ADD_FAILURE() << "too many polls";
                return poll;
            }
            const bool is_interrupted = !passes([&] { model.Learn(by_matcher); });
            model.manager.m_progress = nullptr;

            EXPECT_EQ(model.storage->m_num_slices, settings.num_slices);
            model.Learn(true);
            EXPECT_EQ(model.storage->m_num_slices, settings.num_slices);
            EXPECT_EQ(model.Best("x"), "a");
            EXPECT_EQ(model.Best("y"), "b");
            if (!is_interrupted) {
                return progress.polls;
            }
        }
    }

    template <class Statement>
    static bool passes(Statement&& statement) {
        try {
            statement();
        } catch (const qtX<zeWorkflow>& raised) {
            EXPECT_EQ(raised.number(), 2);
            EXPECT_STREQ(raised.what(), "Process interrupted");
            return false;
        }
        return true;
    }
};

// Polls: 1 after the count, 2 after the profiles, 1 before training, 8 after the messages, 1 after
// training, 2 after the selections, 2 before the diets.
TEST_F(zeStatDietLearnerInterruptionTest, ModelLearnsAgainAfterAnInterruptionAtAnyPoll) {
    EXPECT_EQ(InterruptAtEachPoll(learner_settings(), false), 17);
}

// The matcher takes the learner's selection, so it adds no poll.
TEST_F(zeStatDietLearnerInterruptionTest, MatcherLearnsAgainAfterAnInterruptionAtAnyPoll) {
    EXPECT_EQ(InterruptAtEachPoll(learner_settings(), true), 17);
}

TEST_F(zeStatDietLearnerInterruptionTest, NumberOfSlicesIsRestoredAfterAnInterruptionAtAnyPoll) {
    zeDefaults settings = learner_settings();
    settings.use_likelihood_in_train = true;
    settings.num_slices = 3;
    for (const bool by_matcher : {false, true}) {
        // There are more polls than without likelihood; the number depends on the slices.
        EXPECT_GT(InterruptAtEachPoll(settings, by_matcher), 17);
    }
}

TEST_F(zeStatDietLearnerInterruptionTest, SubBulksAreNotLearnedAfterAnInterruption) {
    zeDefaults settings = learner_settings();
    settings.profile_size = 1;
    settings.max_Ps_size = 1;
    settings.use_likelihood_in_train = true;
    settings.num_slices = 3;

    EXPECT_GT(InterruptAtEachPoll(settings, true), 2 * 17);
}

}  // namespace
