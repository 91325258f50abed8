// The selection of a profile, and the scaling of its weights.
#include "zandrel/statistics/zeStat_trainer.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/statistics/selection_fixture.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// The concept x is only in the profile, y only outside it. x has the weight log 8 and the rates 1/2
// and 0; y has log 1/2, and the rates 0 and 1/2.
class zeStatTrainerScaleTest : public zeStatTrainerSelectionTest {
protected:
    zeStatTrainerScaleTest() {
        m_storage.m_use_new_ZC = true;
        AddInfo("x", 4.0);
        AddInfo("y", 4.0);
        AddP(0, "x", 4.0);
    }

    float Value(std::size_t rank) { return m_storage.profile(0).m_weights.at(rank).m_value; }
};

// A is the sum of weight times rate inside, and B the sum of weight times rate outside. With L =
// log 2, A = 3 L / 2 and B = -L / 2. So M = (A + B) / (B - A) = L / -2 L, and the values 2 * weight
// / (A - B) are 6 L / 2 L and -2 L / 2 L.
TEST_F(zeStatTrainerScaleTest, WeightsAreScaledSoThatInsideIsOneAndOutsideMinusOne) {
    ASSERT_THAT(Select(), ElementsAre("x", "y"));

    const double M = m_storage.profile(0).m_M;
    EXPECT_DOUBLE_EQ(M, -0.5);
    EXPECT_FLOAT_EQ(Value(0), 3.0F);
    EXPECT_FLOAT_EQ(Value(1), -1.0F);
    EXPECT_NEAR(static_cast<double>(Value(0)) * 0.5 + M, 1.0, 1e-6);
    EXPECT_NEAR(static_cast<double>(Value(1)) * 0.5 + M, -1.0, 1e-6);
}

// A = log 8 / 2 and B = 0, so M = A / -A and the value is 2 log 8 / A.
TEST_F(zeStatTrainerScaleTest, SingleFeatureIsScaledExactly) {
    m_storage.profile(0).m_size = 1;

    ASSERT_THAT(Select(), ElementsAre("x"));

    EXPECT_EQ(m_storage.profile(0).m_M, -1.0);
    EXPECT_EQ(Value(0), 4.0F);
}

TEST_F(zeStatTrainerScaleTest, WeightsAreUnchangedWithoutNormalization) {
    m_storage.m_use_normalization = false;
    m_storage.profile(0).m_M = 7.0;

    ASSERT_THAT(Select(), ElementsAre("x", "y"));

    EXPECT_EQ(m_storage.profile(0).m_M, 0.0);
    EXPECT_EQ(Value(0), static_cast<float>(std::log(8.0)));
    EXPECT_EQ(Value(1), static_cast<float>(std::log(0.5)));
}

TEST_F(zeStatTrainerScaleTest, WeightsOfTheLastSelectionAreReplaced) {
    m_storage.profile(0).m_weights.push_back({term("old"), 1.0F});

    EXPECT_THAT(Select(), ElementsAre("x", "y"));
}

TEST_F(zeStatTrainerScaleTest, OldTermIsKeptIfNothingIsSelected) {
    for (const int size : {0, -1}) {
        m_storage.profile(0).m_size = size;
        m_storage.profile(0).m_M = 7.0;
        m_storage.profile(0).m_weights.push_back({term("old"), 1.0F});

        EXPECT_THAT(Select(), IsEmpty());
        EXPECT_EQ(m_storage.profile(0).m_M, 7.0);
    }
}

TEST_F(zeStatTrainerScaleTest, TermIsZeroWithoutNormalizationEvenIfNothingIsSelected) {
    m_storage.m_use_normalization = false;
    m_storage.profile(0).m_size = 0;
    m_storage.profile(0).m_M = 7.0;

    EXPECT_THAT(Select(), IsEmpty());
    EXPECT_EQ(m_storage.profile(0).m_M, 0.0);
}

// In multiples of the least double d: p_all = 4 d, p_in = 5 d, p_out = 3 d, and the weight is
// log(4/3) = 0.288. Then A = 1.44 d and B = 0.86 d. Both are rounded to d, and so is the score 0.58
// d.
TEST_F(zeStatTrainerScaleTest, OldTermIsKeptIfTheOnlyFeatureHasNoScale) {
    constexpr double d = std::numeric_limits<double>::denorm_min();
    m_storage.m_concept_infos.clear();
    m_storage.profile(0).m_Ps.clear();
    SetTotals({0.0, 1.0, 2.0, 1.0, 1.0});
    AddInfo("x", 4 * d);
    AddP(0, "x", 5 * d);
    ASSERT_EQ(Judge("x").m_score, d);
    m_storage.profile(0).m_M = 7.0;

    EXPECT_THAT(Select(), IsEmpty());

    EXPECT_EQ(m_storage.profile(0).m_M, 7.0);
    EXPECT_EQ(P_of(m_storage, 0, "x").m_selected, 0);
}

// The rate of x inside is 1e308 / 1e-10, which is infinite, and so are the sums of the scale.
TEST_F(zeStatTrainerScaleTest, OldTermIsKeptIfTheScaleIsInfinite) {
    SetTotals({64.0, 16.0, 16.0, 1e-10, 8.0});
    P_of(m_storage, 0, "x").m_weight = 1e308;
    for (const bool use_new_ZC : {false, true}) {
        SCOPED_TRACE(use_new_ZC);
        m_storage.m_use_new_ZC = use_new_ZC;
        ASSERT_TRUE(std::isinf(Judge("x").m_score));
        m_storage.profile(0).m_M = 7.0;

        EXPECT_THAT(Select(), IsEmpty());

        EXPECT_EQ(m_storage.profile(0).m_M, 7.0);
        EXPECT_EQ(P_of(m_storage, 0, "x").m_selected, 0);
    }
}

// The rates of x are `in` and 0, so its weight becomes 2 / `in`. The largest float is 2^128 -
// 2^104, and a double below 2^128 - 2^103 is still rounded to it.
TEST_F(zeStatTrainerScaleTest, OldTermIsKeptIfAWeightIsNotFiniteAsAFloat) {
    constexpr auto kMostFloat = static_cast<double>(std::numeric_limits<float>::max());
    const double step = std::ldexp(1.0, 102);
    m_storage.m_concept_infos.clear();
    AddInfo("x", 0.0);
    for (const auto& [weight, is_kept] : {std::pair(kMostFloat - step, true),
                                          {kMostFloat + step, true},
                                          {kMostFloat + 3 * step, false},
                                          {1e45, false}}) {
        SCOPED_TRACE(weight);
        P_of(m_storage, 0, "x").m_weight = 8 * 2 / weight;
        info_of(m_storage, "x").m_weight = 8 * 2 / weight;
        ASSERT_EQ(Judge("x").m_p_out, 0.0);
        m_storage.profile(0).m_M = 7.0;

        EXPECT_EQ(Select().size(), is_kept ? 1U : 0U);

        EXPECT_EQ(m_storage.profile(0).m_M, is_kept ? -1.0 : 7.0);
        if (is_kept) {
            EXPECT_EQ(Value(0), std::numeric_limits<float>::max());
        }
    }
}

// Inside its category x has the rate 1e-45, and outside 0.
TEST_F(zeStatTrainerScaleTest, BagOfVeryDifferentWeightsGivesOnlyFiniteWeights) {
    for (const bool use_new_ZC : {false, true}) {
        SCOPED_TRACE(use_new_ZC);
        zeDefaults settings = plain_settings();
        settings.use_new_ZC = use_new_ZC;
        zeStat_storage storage(nullptr, settings);
        zeStat_matcher matcher(nullptr, nullptr, storage, false);
        zeNode a(term("a"));
        zeNode b(term("b"));
        Small_corpus corpus;
        corpus.add(MessageBuilder().bag({{"x", 1e-45}, {"y", 1.0}}), {&a});
        corpus.add(MessageBuilder().bag({{"y", 1.0}}), {&b});

        matcher.train(corpus.view);

        for (const auto& profile : storage.m_profiles) {
            EXPECT_TRUE(std::isfinite(profile->m_M));
        }
        for (const auto& [word, pairs] : matcher.m_table) {
            for (const zeStat_matcher::Concept_weight& pair : pairs) {
                EXPECT_TRUE(std::isfinite(pair.m_weight)) << word.view();
            }
        }
        EXPECT_EQ(matcher.m_table.count(term("x")), use_new_ZC ? 0U : 1U);
    }
}

TEST_F(zeStatTrainerScaleTest, SelectedConceptsOfTheProfileAreMarked) {
    AddInfo("z", 4.0);
    AddP(0, "z", 2.5);
    m_storage.profile(0).m_selection_mark = 5;
    m_storage.profile(0).m_size = 1;

    ASSERT_THAT(Select(), ElementsAre("x"));

    EXPECT_EQ(P_of(m_storage, 0, "x").m_selected, 5);
    EXPECT_EQ(P_of(m_storage, 0, "z").m_selected, 0);
    EXPECT_EQ(m_storage.profile(0).m_Ps.count(term("y")), 0U);
}

TEST_F(zeStatTrainerScaleTest, PositiveMethodWithTheOldTreatmentOffersNoOutsideConcept) {
    const Positive_method positive;
    m_storage.m_use_new_ZC = false;

    EXPECT_THAT(Select(), ElementsAre("x"));
}

TEST_F(zeStatTrainerScaleTest, PositiveMethodWithTheNewTreatmentOffersThem) {
    const Positive_method positive;

    // The two rates are exchanged between the concepts, so their scores differ only by rounding.
    EXPECT_THAT(Select(), UnorderedElementsAre("x", "y"));
}

// The whole selection.

TEST_F(zeStatTrainerScaleTest, SelectionForEveryProfileForgetsTheCandidates) {
    m_storage.profile(1).m_weight = 8.0;
    m_storage.profile(1).m_msg_weight = 8.0;
    AddP(1, "y", 4.0);
    const Trace_capture trace;

    m_trainer.calculate_feature_selection();

    EXPECT_THAT(trace.texts(), ElementsAre("Performing feature selection (num profiles: 2)"));
    EXPECT_THAT(texts_of(m_storage.profile(0)), ElementsAre("x", "y"));
    EXPECT_THAT(texts_of(m_storage.profile(1)), ElementsAre("y", "x"));
    EXPECT_THAT(m_trainer.m_all_concepts, IsEmpty());
}

TEST_F(zeStatTrainerScaleTest, BothListsOfCandidatesAreForgotten) {
    m_storage.m_use_new_ZC = false;
    AddInfo("rare", 0.01);

    m_trainer.calculate_feature_selection();

    EXPECT_THAT(m_trainer.m_concept_lists[0], IsEmpty());
    EXPECT_THAT(m_trainer.m_concept_lists[1], IsEmpty());
}

TEST_F(zeStatTrainerScaleTest, MarkIsIncreasedAndNeverZero) {
    for (const auto& [before, after] : {std::pair(1, 2), {2, 3}, {254, 255}, {255, 1}}) {
        SCOPED_TRACE(before);
        m_storage.profile(0).m_selection_mark = static_cast<unsigned char>(before);

        m_trainer.calculate_feature_selection();

        EXPECT_EQ(m_storage.profile(0).m_selection_mark, after);
        EXPECT_EQ(P_of(m_storage, 0, "x").m_selected, after);
    }
}

TEST_F(zeStatTrainerScaleTest, MarkIsReusedAfterAllOthers) {
    for (int round = 0; round < 255; ++round) {
        m_trainer.calculate_feature_selection();
        ASSERT_NE(m_storage.profile(0).m_selection_mark, 0);
    }

    EXPECT_EQ(m_storage.profile(0).m_selection_mark, 1);
}

// Selecting marks only what it selects, here x. The old mark of y looks like a new one when the
// marks begin again, and so y is not deleted. w, without a mark, is.
TEST_F(zeStatTrainerScaleTest, ConceptLooksSelectedWhenItsOldMarkIsUsedAgain) {
    m_storage.profile(0).m_size = 1;
    AddP(0, "y", 0.0);
    P_of(m_storage, 0, "y").m_selected = 1;
    AddP(0, "w", 0.0);
    P_of(m_storage, 0, "w").m_selected = 0;
    m_storage.m_min_Ps_size = 0;
    m_storage.m_max_Ps_size = 0;

    for (int round = 0; round < 255; ++round) {
        m_trainer.calculate_feature_selection();
        ASSERT_THAT(texts_of(m_storage.profile(0)), ElementsAre("x"));
    }

    EXPECT_EQ(m_storage.profile(0).m_selection_mark, 1);
    EXPECT_EQ(P_of(m_storage, 0, "y").m_selected, 1);
    zeStat_diet_learner(m_storage).eliminate_features(false);
    EXPECT_EQ(m_storage.profile(0).m_Ps.size(), 2U);
    EXPECT_EQ(m_storage.profile(0).m_Ps.count(term("x")), 1U);
    EXPECT_EQ(m_storage.profile(0).m_Ps.count(term("y")), 1U);
}

TEST_F(zeStatTrainerScaleTest, SelectionInterruptedAfterAnyProfileCanBeRepeated) {
    for (int poll = 1; poll <= 2; ++poll) {
        SCOPED_TRACE(poll);
        zeManager manager;
        Interrupt_at progress(poll);
        manager.m_progress = &progress;
        m_trainer.m_manager = &manager;

        EXPECT_QTX(m_trainer.calculate_feature_selection(), zeWorkflow, 2, "Process interrupted");

        EXPECT_THAT(m_storage.profile(0).m_weights, IsEmpty());
        EXPECT_THAT(m_storage.profile(1).m_weights, IsEmpty());
        EXPECT_THAT(m_trainer.m_all_concepts, IsEmpty());
        m_trainer.calculate_feature_selection();
        EXPECT_THAT(texts_of(m_storage.profile(0)), ElementsAre("x", "y"));
        EXPECT_EQ(progress.polls, poll + 2);
    }
}

}  // namespace
