// The likelihood pass of zeStat_trainer: slices and matching.
#include "zandrel/statistics/zeStat_trainer.h"

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/trace.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

using zandrel::kTraceDebug;

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Pair;

using Texts = std::vector<std::string>;

// The traces of making a temporary matcher.
const Texts kMakesMatcher = {"Performing feature selection (num profiles: 2)",
                             "Collecting data for matching table", "Matching table completed"};

Texts joined(const std::vector<Texts>& parts) {
    Texts all;
    for (const Texts& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Texts starting_with(const std::string& start, const Trace_capture& trace) {
    Texts found;
    for (const std::string& text : trace.texts()) {
        if (text.compare(0, start.size(), start) == 0) {
            found.push_back(text);
        }
    }
    return found;
}

constexpr double kTotalOfEmptyBin = 0.0001;  // the initial total of every bin of a table

// Two categories. A model of as many messages {x 4} of a as {y 4} of b has the rates 1 and 0, and
// selects both concepts for both categories. After normalisation, a message of a has the match
// value +1 for a and -1 for b. So the scores are atan(pi) / pi + 0.5 = 0.9019, in bin 27, and
// 0.0981, in bin 2.
class zeStatTrainerLikelihoodTest : public testing::Test {
protected:
    using BinMap = std::map<std::size_t, std::pair<double, double>>;

    static zeDefaults Settings() {
        zeDefaults settings = plain_settings();
        settings.use_likelihood_in_train = true;
        settings.num_slices = 2;
        return settings;
    }

    // Adds messages of a and b in turn. Each has the concept at its position in the list.
    void AddInTurn(const std::vector<std::string>& concepts) {
        for (const std::string& text : concepts) {
            m_corpus.add(MessageBuilder().bag({{text, 4.0}}),
                         {m_corpus.view.msgs.size() % 2 == 0 ? &m_a : &m_b});
        }
    }

    void Train() { m_trainer.train(m_corpus.view, false); }

    void UseOmitMethod(int slice_count) {
        m_storage.m_use_omit_method = true;
        m_storage.m_num_slices = slice_count;
    }

    zeStat_storage::Profile& AddProfile(zeNode* node, double weight) {
        bool added = false;
        const int iprofile = m_storage.get_or_add_profile(node, added);
        m_storage.profile(iprofile).m_weight = weight;
        return m_storage.profile(iprofile);
    }

    // The slices of all messages of the view.
    std::vector<std::vector<unsigned int>> Slices(std::size_t slice_count) {
        m_trainer.m_view = &m_corpus.view;
        m_trainer.m_msg_indices.clear();
        for (unsigned int i = 0; i < m_corpus.view.msgs.size(); ++i) {
            m_trainer.m_msg_indices.push_back(i);
        }
        std::vector<std::vector<unsigned int>> slices(slice_count);
        m_trainer.build_slices(slices);
        return slices;
    }

    // The non-empty bins of a profile by position: relevant weight and total.
    BinMap Bins(int iprofile) {
        BinMap filled;
        const auto& bins = m_storage.profile(iprofile).m_bins;
        for (std::size_t i = 0; i < bins.size(); ++i) {
            if (bins[i].m_total != 0.0 || bins[i].m_relevant != 0.0) {
                filled[i] = {bins[i].m_relevant, bins[i].m_total};
            }
        }
        return filled;
    }

    // Checks that every message is once in each histogram, in the bin of a model that separates the
    // two categories.
    void ExpectSeparated(double each) {
        EXPECT_THAT(Bins(0), ElementsAre(Pair(2, Pair(0.0, each)), Pair(27, Pair(each, each))));
        EXPECT_THAT(Bins(1), ElementsAre(Pair(2, Pair(0.0, each)), Pair(27, Pair(each, each))));
    }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeNode m_c{term("c")};
    zeDefaults m_settings = Settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_trainer m_trainer{m_storage};
    Small_corpus m_corpus;
};

// Slices.

TEST_F(zeStatTrainerLikelihoodTest, MessagesAreDealtToSlicesByCategory) {
    AddProfile(&m_a, 5.0);
    AddProfile(&m_b, 5.0);
    for (const std::vector<zeNode*>& cats :
         {std::vector<zeNode*>{&m_a}, {&m_a}, {}, {&m_b}, {&m_a}, {&m_b}}) {
        m_corpus.add(MessageBuilder(), cats);
    }

    // In order: a 0, 1, 4; b 3, 5; no category 2.
    EXPECT_THAT(Slices(2), ElementsAre(ElementsAre(0, 4, 5), ElementsAre(1, 3, 2)));
}

TEST_F(zeStatTrainerLikelihoodTest, OnlyTheTrainingSetIsSliced) {
    AddProfile(&m_a, 5.0);
    for (int i = 0; i < 4; ++i) {
        m_corpus.add(MessageBuilder(), {&m_a});
    }
    m_trainer.m_view = &m_corpus.view;
    m_trainer.m_msg_indices = {3, 1};
    std::vector<std::vector<unsigned int>> slices(2);

    m_trainer.build_slices(slices);

    EXPECT_THAT(slices, ElementsAre(ElementsAre(3), ElementsAre(1)));
}

TEST_F(zeStatTrainerLikelihoodTest, MessageThatMayEmptyACategoryIsInNoSlice) {
    struct Row {
        const char* rule;
        double weight_of_a;
        std::vector<zeNode*> cats;
        bool is_sliced;
    };

    AddProfile(&m_b, 5.0);
    for (const Row& row : {
             Row{"exactly 1", 1.0, {&m_a}, false},
             Row{"below 1", 0.5, {&m_a}, false},
             Row{"above 1", 1.5, {&m_a}, true},
             Row{"one of two fails", 1.0, {&m_b, &m_a}, false},
             Row{"both pass", 1.5, {&m_b, &m_a}, true},
             Row{"no profile", 1.5, {&m_c}, false},
             Row{"one of two has no profile", 1.5, {&m_b, &m_c}, false},
             Row{"uncategorised", 1.0, {}, true},
         }) {
        SCOPED_TRACE(row.rule);
        AddProfile(&m_a, row.weight_of_a);
        m_corpus.view.msgs = {{0, row.cats}};

        EXPECT_EQ(Slices(1)[0].size(), row.is_sliced ? 1U : 0U);
    }
}

// If message 1 advanced the counter, the counter would be 2 at message 2. This message would then
// count for a and not for b.
TEST_F(zeStatTrainerLikelihoodTest, MessageLeftAsideDoesNotAdvanceTheTurn) {
    AddProfile(&m_a, 5.0);
    AddProfile(&m_b, 5.0);
    AddProfile(&m_c, 1.0);
    for (const std::vector<zeNode*>& cats :
         {std::vector<zeNode*>{&m_b}, {&m_c}, {&m_a, &m_b}, {&m_a}, {&m_b}}) {
        m_corpus.add(MessageBuilder(), cats);
    }

    EXPECT_THAT(Slices(1), ElementsAre(ElementsAre(0, 2, 4, 3)));
}

// Matching.

TEST_F(zeStatTrainerLikelihoodTest, EachThousandMessagesAreTraced) {
    AddInTurn({"x", "y"});
    Train();
    for (const std::size_t count : {999U, 1000U, 2999U}) {
        SCOPED_TRACE(count);
        const Trace_capture trace;

        m_trainer.match_msgs_for_likelihood(std::vector<unsigned int>(count, 0));

        const Texts expected = {"Matched 1000 messages", "Matched 2000 messages"};
        EXPECT_THAT(starting_with("Matched", trace),
                    ElementsAreArray(expected.data(), count / 1000));
    }
}

TEST_F(zeStatTrainerLikelihoodTest, GivenMatcherIsUsedOnlyIfItMatchesTheModel) {
    UseOmitMethod(1);
    AddInTurn({"x", "y"});
    Train();
    zeStat_matcher given(nullptr, nullptr, m_storage, false);
    given.m_table.clear();
    m_trainer.m_matcher = &given;

    m_trainer.m_model_is_matched = true;
    m_trainer.match_msgs_for_likelihood({0});
    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(1.0, 1.0))));

    m_trainer.m_model_is_matched = false;
    m_trainer.match_msgs_for_likelihood({0});
    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(1.0, 1.0)), Pair(27, Pair(1.0, 1.0))));
}

TEST_F(zeStatTrainerLikelihoodTest, MatcherIsMadeIfNoneIsGiven) {
    UseOmitMethod(1);
    AddInTurn({"x", "y"});
    Train();
    m_trainer.m_model_is_matched = true;
    const Trace_capture trace;

    m_trainer.match_msgs_for_likelihood({0, 1});

    EXPECT_THAT(trace.texts(), ElementsAreArray(kMakesMatcher));
    ExpectSeparated(1.0);
}

TEST_F(zeStatTrainerLikelihoodTest, TemporaryMatcherTakesTheWeightsOfTheModel) {
    UseOmitMethod(1);
    AddInTurn({"x", "y"});
    Train();
    m_storage.profile(0).m_weights = {{term("unknown"), 1.0F}};

    m_trainer.match_msgs_for_likelihood({0});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(1.0, 1.0))));
    EXPECT_THAT(m_storage.profile(0).m_weights, IsEmpty());
}

TEST_F(zeStatTrainerLikelihoodTest, TemporaryMatcherDoesNotChangeTheTree) {
    m_storage.m_use_omit_method = false;
    AddInTurn({"x", "y"});

    Train();

    EXPECT_EQ(m_a.m_parent, nullptr);
}

TEST_F(zeStatTrainerLikelihoodTest, MessagesAreFoundByTheNumbersOfTheView) {
    m_storage.m_use_omit_method = false;
    AddInTurn({"x", "y"});
    m_corpus.view.msgs = {{1, {&m_a}}, {0, {&m_b}}};

    Train();

    ExpectSeparated(1.0);
}

// The pass.

TEST_F(zeStatTrainerLikelihoodTest, WithoutOmittingMessagesAreCountedAndThenScored) {
    m_storage.m_use_omit_method = false;
    AddInTurn({"x", "y"});
    const Trace_capture trace;

    Train();

    EXPECT_THAT(trace.texts(),
                ElementsAreArray(joined({{"Calculating global concept data",
                                          "Calculating likelihood", "Performing matching"},
                                         kMakesMatcher,
                                         {"Calculating likelihood table (bins: 30)",
                                          "Likelihood completed", "Training completed"}})));
    ExpectSeparated(1.0);
    EXPECT_EQ(m_storage.m_num_msgs, 2);
    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 2);
    EXPECT_EQ(m_storage.profile(0).m_likelihood[26], 0.0);
    EXPECT_DOUBLE_EQ(m_storage.profile(0).m_likelihood[27], 1.0 / (1.0 + 3 * kTotalOfEmptyBin));
}

TEST_F(zeStatTrainerLikelihoodTest, OmittingMatchesSliceBySlice) {
    UseOmitMethod(2);
    AddInTurn({"x", "y", "x", "y"});
    const Trace_capture trace;

    Train();

    EXPECT_THAT(
        trace.texts(),
        ElementsAreArray(joined({{"Calculating global concept data", "Calculating likelihood",
                                  "Performing matching while omitting (num slices: 2)"},
                                 kMakesMatcher,
                                 {"Calculated 1 slices"},
                                 kMakesMatcher,
                                 {"Calculated 2 slices", "Calculating likelihood table (bins: 30)",
                                  "Likelihood completed", "Training completed"}})));
    EXPECT_TRUE(trace.has(kTraceDebug, "Performing matching while omitting (num slices: 2)"));
    ExpectSeparated(2.0);
    EXPECT_EQ(m_storage.profile(1).m_likelihood_age, 4);
}

// Each message has a concept of its own. So without the message the model knows none of its
// concepts.
TEST_F(zeStatTrainerLikelihoodTest, OmittingMatchesEachMessageByAModelWithoutIt) {
    UseOmitMethod(2);
    AddInTurn({"x", "y", "p", "q"});

    Train();

    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(2.0, 4.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(15, Pair(2.0, 4.0))));
}

TEST_F(zeStatTrainerLikelihoodTest, OmittingDoesNotChangeTheCountedModel) {
    UseOmitMethod(2);
    AddInTurn({"x", "y", "p", "y"});

    Train();

    EXPECT_EQ(m_storage.m_num_msgs, 4);
    EXPECT_EQ(m_storage.m_total_weight, 4.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 4.0);
    EXPECT_EQ(m_storage.m_total_sml_weight, 16.0);
    EXPECT_EQ(m_storage.m_concept_infos.size(), 3U);
    EXPECT_EQ(info_of(m_storage, "x").m_weight, 1.0);
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 1);
    EXPECT_EQ(info_of(m_storage, "y").m_rate, 2.0);
    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 2);
    EXPECT_EQ(m_storage.profile(1).m_weight, 2.0);
    EXPECT_EQ(P_of(m_storage, 1, "y").m_weight, 2.0);
}

TEST_F(zeStatTrainerLikelihoodTest, CategoriesOfOneMessageLeaveTheHistogramsEmpty) {
    UseOmitMethod(2);
    AddInTurn({"x", "y"});
    const Trace_capture trace;

    Train();

    EXPECT_THAT(starting_with("Calculated", trace), IsEmpty());
    EXPECT_THAT(starting_with("Performing", trace),
                ElementsAre("Performing matching while omitting (num slices: 2)"));
    EXPECT_THAT(Bins(0), IsEmpty());
    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 0);
    EXPECT_THAT(m_storage.profile(0).m_likelihood, Each(0.0));
    EXPECT_EQ(m_storage.m_num_msgs, 2);
}

TEST_F(zeStatTrainerLikelihoodTest, FirstEmptySliceEndsTheLoop) {
    for (const int slice_count : {10, std::numeric_limits<int>::max()}) {
        SCOPED_TRACE(slice_count);
        m_storage.create_skeleton();
        UseOmitMethod(slice_count);
        m_corpus.view.msgs.clear();
        AddInTurn({"x", "y", "x", "y"});
        const Trace_capture trace;

        Train();

        EXPECT_TRUE(trace.has(kTraceDebug, "Performing matching while omitting (num slices: " +
                                               std::to_string(slice_count) + ")"));
        EXPECT_THAT(starting_with("Calculated", trace),
                    ElementsAre("Calculated 1 slices", "Calculated 2 slices", "Calculated 3 slices",
                                "Calculated 4 slices"));
    }
}

TEST_F(zeStatTrainerLikelihoodTest, WithFewerThanTwoSlicesMatchingComesBeforeCounting) {
    for (const int slice_count : {1, 0, -1}) {
        SCOPED_TRACE(slice_count);
        m_storage.clear();
        UseOmitMethod(slice_count);
        m_corpus.view.msgs.clear();
        AddInTurn({"x", "y"});

        Train();
        EXPECT_THAT(Bins(0), IsEmpty());
        EXPECT_EQ(m_storage.m_num_msgs, 2);
        const Trace_capture trace;
        Train();

        EXPECT_THAT(trace.texts(),
                    ElementsAreArray(joined({{"Calculating likelihood",
                                              "Performing matching while omitting (num slices: " +
                                                  std::to_string(slice_count) + ")"},
                                             kMakesMatcher,
                                             {"Calculating likelihood table (bins: 30)",
                                              "Likelihood completed", "Training completed"}})));
        ExpectSeparated(1.0);
        EXPECT_EQ(m_storage.m_num_msgs, 4);
    }
}

TEST_F(zeStatTrainerLikelihoodTest, WithFewerThanTwoSlicesAGivenMatcherIsUsedUnchanged) {
    UseOmitMethod(1);
    AddInTurn({"x", "y"});
    Train();
    zeStat_matcher given(nullptr, nullptr, m_storage, false);
    given.m_table.clear();
    m_trainer.m_matcher = &given;
    const Trace_capture trace;

    Train();

    EXPECT_THAT(starting_with("Performing feature selection", trace), IsEmpty());
    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(1.0, 2.0))));
}

TEST_F(zeStatTrainerLikelihoodTest, GivenMatcherOfAnOlderModelIsNotUsed) {
    for (const bool use_omit_method : {false, true}) {
        SCOPED_TRACE(use_omit_method);
        m_storage.clear();
        m_storage.m_use_omit_method = use_omit_method;
        m_corpus.view.msgs.clear();
        zeStat_matcher given(nullptr, nullptr, m_storage, false);
        m_trainer.m_matcher = &given;
        AddInTurn({"x", "y", "x", "y"});

        Train();

        ExpectSeparated(2.0);
    }
}

TEST_F(zeStatTrainerLikelihoodTest, FurtherTrainingAddsToTheHistograms) {
    m_storage.m_use_omit_method = false;
    AddInTurn({"x", "y"});
    Train();

    Train();

    ExpectSeparated(2.0);
    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 4);
    EXPECT_DOUBLE_EQ(m_storage.profile(0).m_likelihood[27], 2.0 / (2.0 + 3 * kTotalOfEmptyBin));
}

TEST_F(zeStatTrainerLikelihoodTest, RemovingKeepsHistogramsAndTables) {
    m_storage.m_use_omit_method = false;
    AddInTurn({"x", "y"});
    Train();
    const auto table = m_storage.profile(0).m_likelihood;
    const Trace_capture trace;

    m_trainer.calculate_profiles(true);

    EXPECT_THAT(trace.texts(), ElementsAre("Calculating global concept data"));
    ExpectSeparated(1.0);
    EXPECT_EQ(m_storage.profile(0).m_likelihood, table);
    EXPECT_EQ(m_storage.m_num_msgs, 0);
}

TEST_F(zeStatTrainerLikelihoodTest, WithoutLikelihoodTrainingOnlyCounts) {
    m_storage.set_use_train_likelihood(false);
    m_storage.m_use_omit_method = true;
    m_storage.m_num_slices = 1;
    AddInTurn({"x", "y"});
    const Trace_capture trace;

    Train();

    EXPECT_THAT(trace.texts(),
                ElementsAre("Calculating global concept data", "Training completed"));
    EXPECT_EQ(m_storage.m_num_msgs, 2);
}

// Each category has fewer messages than any of the thresholds.
TEST_F(zeStatTrainerLikelihoodTest,
       EveryCategoryWithAMessageIsMeasuredAndTheThresholdsAreRestored) {
    m_storage.m_use_omit_method = false;
    m_storage.m_activation_inside = 5;
    m_storage.m_activation_outside = 6;
    m_storage.m_activation_total = 7;
    AddInTurn({"x", "y"});

    Train();

    ExpectSeparated(1.0);
    EXPECT_EQ(m_storage.m_activation_inside, 5);
    EXPECT_EQ(m_storage.m_activation_outside, 6);
    EXPECT_EQ(m_storage.m_activation_total, 7);
}

// The tables contain only zeros, so all corrected scores would be in the first bin.
TEST_F(zeStatTrainerLikelihoodTest, RawScoresAreMeasuredAndTheCorrectionIsRestored) {
    m_storage.m_use_omit_method = false;
    AddInTurn({"x", "y"});
    for (const bool use_likelihood_in_match : {false, true}) {
        SCOPED_TRACE(use_likelihood_in_match);
        m_storage.create_skeleton();
        m_storage.m_use_likelihood_in_match = use_likelihood_in_match;
        for (const auto& profile : m_storage.m_profiles) {
            profile->m_likelihood_age = 1000;
        }

        Train();

        ExpectSeparated(1.0);
        EXPECT_EQ(m_storage.m_use_likelihood_in_match, use_likelihood_in_match);
    }
}

TEST_F(zeStatTrainerLikelihoodTest, CorrectionIsTurnedOffIfNoTablesAreBuilt) {
    m_storage.set_use_train_likelihood(false);
    m_storage.m_use_omit_method = false;
    m_storage.m_use_likelihood_in_match = true;
    m_trainer.m_view = &m_corpus.view;

    m_trainer.calculate_likelihood();

    EXPECT_FALSE(m_storage.m_use_likelihood_in_match);
}

TEST_F(zeStatTrainerLikelihoodTest, EmptyViewGivesEmptyTables) {
    for (const int slice_count : {1, 2}) {
        SCOPED_TRACE(slice_count);
        UseOmitMethod(slice_count);
        AddProfile(&m_a, 5.0).m_likelihood.fill(0.5);

        Train();

        EXPECT_THAT(m_storage.profile(0).m_likelihood, Each(0.0));
        EXPECT_EQ(m_storage.m_num_msgs, 0);
    }
}

TEST_F(zeStatTrainerLikelihoodTest, MessagesThatTheCorpusDoesNotHaveAreSkipped) {
    m_storage.m_use_omit_method = false;
    AddInTurn({"x", "y"});
    m_corpus.add(qtPtrLight<zeMsg>(), {&m_a});

    Train();

    ExpectSeparated(1.0);
}

// A message without a bag is not counted; one with an empty bag scores 0.
TEST_F(zeStatTrainerLikelihoodTest, EmptyBagsEnterTheHistogramsAndMissingOnesDoNot) {
    UseOmitMethod(2);
    AddInTurn({"x", "y", "x", "y"});
    m_corpus.add(MessageBuilder().bag({}), {&m_a});
    m_corpus.add(MessageBuilder(), {&m_a});

    Train();

    EXPECT_EQ(Bins(0).at(0), std::make_pair(1.0, 1.0));
    EXPECT_EQ(Bins(1).at(0), std::make_pair(0.0, 1.0));
    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 5);
    EXPECT_EQ(m_storage.m_num_msgs, 4);
}

}  // namespace
