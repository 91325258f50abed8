// Feature selection, step by step. The expected values are computed by hand next to each case.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/statistics/selection_fixture.h"
#include "tests/support/bags.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Concept_profile = zeStat_trainer::Concept_profile;
using Candidates = std::vector<zeStat_trainer::Concept_infos::iterator>;

std::vector<std::string> texts_of(const Candidates& candidates) {
    std::vector<std::string> texts;
    for (const auto& each : candidates) {
        texts.emplace_back(each->first.view());
    }
    return texts;
}

TEST_F(zeStatTrainerSelectionTest, ConfidenceRisesFromAboutZeroToAboutOne) {
    EXPECT_EQ(zeStat_trainer::F_C[0], 0.0067);
    EXPECT_EQ(zeStat_trainer::F_C[399], 0.4969);
    EXPECT_EQ(zeStat_trainer::F_C[400], 0.5);
    EXPECT_EQ(zeStat_trainer::F_C[401], 0.5031);
    EXPECT_EQ(zeStat_trainer::F_C[1000], 0.9994);
    EXPECT_TRUE(std::is_sorted(zeStat_trainer::F_C.begin(), zeStat_trainer::F_C.end()));
}

TEST_F(zeStatTrainerSelectionTest, TableOfConfidencesIsFilled) {
    std::array<double, 1001> table = {};

    initialize_F_C(table.data());

    EXPECT_EQ(table, zeStat_trainer::F_C);
}

TEST_F(zeStatTrainerSelectionTest, ConceptsOfFewMessagesAreSuppressed) {
    struct Row {
        const char* rule;
        bool suppress;
        std::optional<double> rate;
        int threshold;
        int num_msgs;
        double factor;
    };

    for (const Row& row : {
             Row{"no suppression", false, 0.0, 0, 0, 1.0},
             Row{"no suppression of a missing concept", false, std::nullopt, 0, 0, 1.0},
             Row{"missing", true, std::nullopt, 0, 50, 0.0},
             Row{"rate 0", true, 0.0, 0, 50, 0.0},
             Row{"rate 0 in a young model", true, 0.0, 100, 25, 0.0},
             Row{"rate below 0", true, -1.0, 0, 50, 0.0},
             Row{"rate 4", true, 4.0, 0, 50, 0.5},
             Row{"hundredths are cut", true, 3.9999, 0, 50, 0.4969},
             Row{"rate 10", true, 10.0, 0, 50, 0.9994},
             Row{"rate above 10", true, 10.0001, 0, 50, 1.0},
             Row{"young: 0.5 * 0.25 + 1 - 0.25", true, 4.0, 100, 25, 0.875},
             Row{"newborn", true, 4.0, 100, 0, 1.0},
             Row{"as old as the threshold", true, 4.0, 100, 100, 0.5},
             Row{"older", true, 4.0, 100, 101, 0.5},
         }) {
        SCOPED_TRACE(row.rule);
        m_storage.m_concept_infos.clear();
        m_storage.m_suppress_M = row.suppress;
        m_storage.m_suppress_M_threshold = row.threshold;
        m_storage.m_num_msgs = row.num_msgs;
        if (row.rate) {
            AddInfo("x", 1.0, *row.rate);
        }

        EXPECT_EQ(zandrel::suppression_factor(m_storage, m_storage.m_concept_infos.find(term("x"))),
                  row.factor);
    }
}

// q is the rate of a concept seen once, E the weight of the messages outside, and F the rate
// outside of a concept seen once, outside. With the fixture's totals q = 1 / T = 1/64, E = D - Mp =
// 8 and F = D / (T * E) = 1/32. For a concept p_all = info / 16, p_in = P / 8, p_out = 2 p_all -
// p_in.
TEST_F(zeStatTrainerSelectionTest, ConceptIsJudgedByItsRates) {
    constexpr std::optional<double> kNone;
    const Totals usual = {64.0, 16.0, 16.0, 8.0, 8.0};
    // E = -8 and F = -1/64; p_out = 2 p_in - p_all.
    const Totals contradictory = {64.0, 16.0, 8.0, 8.0, 16.0};
    // E = 0 and F = 0; p_out = 0.
    const Totals all_inside = {64.0, 16.0, 8.0, 8.0, 8.0};

    struct Row {
        const char* rule;
        Totals totals;
        std::optional<double> info;
        std::optional<double> P;
        double weight;
        double p_in;  // before floors are applied
        double p_out;
        double a;  // p_in and p_out after that
        double b;
    };

    for (const Row& row : {
             Row{"more inside: m / b = 1/4 / 1/8", usual, 4.0, 3.0, std::log(2.0), 3.0 / 8, 1.0 / 8,
                 3.0 / 8, 1.0 / 8},
             Row{"less inside: m / b = 1/4 / 3/8", usual, 4.0, 1.0, std::log(2.0 / 3.0), 1.0 / 8,
                 3.0 / 8, 1.0 / 8, 3.0 / 8},
             Row{"not inside: m / b = 1/4 / 1/2", usual, 4.0, kNone, std::log(0.5), 0.0, 0.5, 0.0,
                 0.5},
             Row{"missing global entry: raised to q, F above it", usual, kNone, 1.0, 0.0, 1.0 / 8,
                 -1.0 / 8, 1.0 / 8, 1.0 / 64},
             Row{"rare and not inside: b becomes F", usual, 1.0 / 16, kNone, std::log(0.5), 0.0,
                 1.0 / 128, 1.0 / 64, 1.0 / 32},
             Row{"rate at the floor: nothing is raised", usual, 1.0 / 4, kNone, std::log(0.5), 0.0,
                 1.0 / 32, 0.0, 1.0 / 32},
             Row{"only inside: b becomes F", usual, 4.0, 4.0, std::log(8.0), 0.5, 0.0, 0.5,
                 1.0 / 32},
             Row{"b below F, a at m: b becomes F", usual, 1.0 / 4, 1.0 / 8, std::log(0.5), 1.0 / 64,
                 1.0 / 64, 1.0 / 64, 1.0 / 32},
             Row{"b below F, a above m, m below F: b becomes m", usual, 1.0 / 4, 1.0 / 4, 0.0,
                 1.0 / 32, 0.0, 1.0 / 32, 1.0 / 64},
             Row{"both above m", contradictory, 4.0, 4.0, 0.0, 0.5, 0.75, 0.5, 0.25},
             Row{"both below m", contradictory, 4.0, 1.5, 0.0, 3.0 / 16, 1.0 / 8, 3.0 / 16, 0.25},
             Row{"all inside, a above m: b is 0", all_inside, 4.0, 4.0, 0.0, 0.5, 0.0, 0.5, 0.0},
             Row{"all inside, a below m", all_inside, 4.0, 1.0, 0.0, 1.0 / 8, 0.0, 1.0 / 8, 0.25},
             Row{"all inside, rare", all_inside, 1.0 / 16, kNone, 0.0, 0.0, 0.0, 1.0 / 64,
                 1.0 / 64},
             Row{"no bags: q and F are 0",
                 {0.0, 16.0, 16.0, 8.0, 8.0},
                 4.0,
                 3.0,
                 std::log(2.0),
                 3.0 / 8,
                 1.0 / 8,
                 3.0 / 8,
                 1.0 / 8},
             Row{"no weight: p_all is 0",
                 {64.0, 0.0, 16.0, 8.0, 8.0},
                 4.0,
                 3.0,
                 0.0,
                 3.0 / 8,
                 -3.0 / 8,
                 3.0 / 8,
                 1.0 / 64},
             Row{"no weight inside: p_in is 0",
                 {64.0, 16.0, 16.0, 0.0, 8.0},
                 4.0,
                 3.0,
                 std::log(0.5),
                 0.0,
                 0.5,
                 0.0,
                 0.5},
             Row{"an empty model", {0.0, 0.0, 0.0, 0.0, 0.0}, 4.0, 3.0, 0.0, 0.0, 0.0, 0.0, 0.0},
         }) {
        SCOPED_TRACE(row.rule);
        m_storage.m_concept_infos.clear();
        m_storage.profile(0).m_Ps.clear();
        SetTotals(row.totals);
        if (row.info) {
            AddInfo("x", *row.info);
        }
        if (row.P) {
            AddP(0, "x", *row.P);
        }

        m_storage.m_use_new_ZC = true;
        const Concept_profile estimated = Judge("x");
        m_storage.m_use_new_ZC = false;
        const Concept_profile held = Judge("x");

        EXPECT_EQ(estimated.m_concept, term("x"));
        EXPECT_EQ(estimated.m_weight, row.weight);
        EXPECT_EQ(estimated.m_p_in, row.p_in);
        EXPECT_EQ(estimated.m_p_out, row.p_out);
        EXPECT_EQ(estimated.m_score, row.weight * (row.p_in - row.p_out));
        EXPECT_EQ(held.m_weight, row.weight);
        EXPECT_EQ(held.m_p_in, row.a);
        EXPECT_EQ(held.m_p_out, row.b);
        EXPECT_EQ(held.m_score, row.weight * (row.a - row.b));
    }
}

TEST_F(zeStatTrainerSelectionTest, WeightIsMultipliedByItsSuppression) {
    m_storage.m_suppress_M = true;
    AddInfo("x", 4.0, 4.0);
    AddP(0, "x", 3.0);

    const Concept_profile judged = Judge("x");

    EXPECT_EQ(judged.m_weight, 0.5 * std::log(2.0));
    EXPECT_EQ(judged.m_score, 0.5 * std::log(2.0) * 0.25);
}

TEST_F(zeStatTrainerSelectionTest, ConceptOfNoMessageScoresZero) {
    m_storage.m_suppress_M = true;
    AddInfo("x", 4.0, 0.0);
    AddP(0, "x", 3.0);

    Concept_profile judged = Judge("x");

    EXPECT_EQ(judged.m_weight, 0.0);
    EXPECT_EQ(judged.m_score, 0.0);
    std::vector<Concept_profile> selected;
    EXPECT_FALSE(m_trainer.add2feature_selector(selected, judged, 10));
}

// The positive method multiplies each rate by W / (1 + W) = 16/17 and adds G = A / ((1 + A) (1 +
// W)), where A = 10 W / T = 2.5. So G = 2.5 / (3.5 * 17) = (5/7) / 17. With p_in = 3/8 and p_out =
// 1/8 the rates become (6 + 5/7) / 17 and (2 + 5/7) / 17, so their ratio is 47 / 19.
TEST_F(zeStatTrainerSelectionTest, PositiveMethodComparesSmoothedRates) {
    const Positive_method positive;
    AddInfo("x", 4.0);
    AddP(0, "x", 3.0);
    for (const bool use_new_ZC : {false, true}) {
        m_storage.m_use_new_ZC = use_new_ZC;

        const Concept_profile judged = Judge("x");

        // The sums are rounded in another order than in the computation by hand.
        EXPECT_NEAR(judged.m_weight, std::log(47.0 / 19.0), 1e-15);
        EXPECT_EQ(judged.m_p_in, 3.0 / 8);
        EXPECT_EQ(judged.m_p_out, 1.0 / 8);
        EXPECT_EQ(judged.m_score, judged.m_weight * 0.25);
    }
}

// All four weights differ: E = 12 - 4 = 8, p_in = 3/8 and p_out = (12/4 - 4 * 3/8) / 8 = 3/16. G is
// 5/7 / 17 as above, so the rates become (6 + 5/7) / 17 and (3 + 5/7) / 17.
TEST_F(zeStatTrainerSelectionTest, PositiveMethodSmoothsByTheWeightOfAllConcepts) {
    const Positive_method positive;
    SetTotals({64.0, 16.0, 12.0, 8.0, 4.0});
    AddInfo("x", 4.0);
    AddP(0, "x", 3.0);

    const Concept_profile judged = Judge("x");

    EXPECT_NEAR(judged.m_weight, std::log(47.0 / 26.0), 1e-15);
    EXPECT_EQ(judged.m_p_in, 3.0 / 8);
    EXPECT_EQ(judged.m_p_out, 3.0 / 16);
}

TEST_F(zeStatTrainerSelectionTest, PositiveMethodIsSuppressedToo) {
    const Positive_method positive;
    m_storage.m_suppress_M = true;
    AddInfo("x", 4.0, 4.0);
    AddP(0, "x", 3.0);

    EXPECT_NEAR(Judge("x").m_weight, 0.5 * std::log(47.0 / 19.0), 1e-15);
}

TEST_F(zeStatTrainerSelectionTest, PositiveMethodGivesNoWeightIfNothingIsOutside) {
    const Positive_method positive;
    SetTotals({64.0, 0.0, 0.0, 8.0, 0.0});
    AddInfo("x", 4.0);
    AddP(0, "x", 3.0);

    EXPECT_EQ(Judge("x").m_weight, 0.0);
}

TEST_F(zeStatTrainerSelectionTest, PositiveMethodMayGiveNaNWhichIsNotSelected) {
    const Positive_method positive;
    // p_all = 1/1024 and p_in = 1/2, so p_out is negative, and so is the smoothed rate outside.
    AddInfo("x", 1.0 / 64);
    AddP(0, "x", 4.0);

    EXPECT_TRUE(std::isnan(Judge("x").m_score));
    EXPECT_THAT(Select(), IsEmpty());
}

// The selector.

Concept_profile scored(std::string_view text, double score) {
    return {term(text), 1.0, 0.0, 0.0, score};
}

class Selector {
public:
    Selector(zeStat_trainer& trainer, int capacity) : m_trainer(trainer), m_capacity(capacity) {}

    bool Offer(std::string_view text, double score) {
        Concept_profile offered = scored(text, score);
        return m_trainer.add2feature_selector(selected, offered, m_capacity);
    }

    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const Concept_profile& each : selected) {
            texts.emplace_back(each.m_concept.view());
        }
        std::sort(texts.begin(), texts.end());
        return texts;
    }

    std::vector<Concept_profile> selected;

private:
    zeStat_trainer& m_trainer;
    int m_capacity;
};

TEST_F(zeStatTrainerSelectionTest, ConceptsAreOrderedByScoreAndThenByText) {
    EXPECT_TRUE(scored("a", 2.0) > scored("b", 1.0));
    EXPECT_FALSE(scored("b", 1.0) > scored("a", 2.0));
    EXPECT_TRUE(scored("b", 1.0) > scored("a", 1.0));
    EXPECT_FALSE(scored("a", 1.0) > scored("b", 1.0));
    EXPECT_FALSE(scored("a", 1.0) > scored("a", 1.0));
    EXPECT_TRUE(scored("\xC3\xA4", 1.0) > scored("z", 1.0));
}

TEST_F(zeStatTrainerSelectionTest, SelectorRefusesUselessScores) {
    Selector selector(m_trainer, 10);

    EXPECT_FALSE(selector.Offer("zero", 0.0));
    EXPECT_FALSE(selector.Offer("minus zero", -0.0));
    EXPECT_FALSE(selector.Offer("no number", std::numeric_limits<double>::quiet_NaN()));
    EXPECT_THAT(selector.selected, IsEmpty());
}

TEST_F(zeStatTrainerSelectionTest, SelectorTakesNegativeScoresWhileThereIsRoom) {
    Selector selector(m_trainer, 2);

    EXPECT_TRUE(selector.Offer("a", -2.0));
    EXPECT_TRUE(selector.Offer("b", -1.0));
    EXPECT_FALSE(selector.Offer("c", -3.0));
}

TEST_F(zeStatTrainerSelectionTest, SelectorOfSizeZeroTakesNothing) {
    for (const int capacity : {0, -1}) {
        Selector selector(m_trainer, capacity);

        EXPECT_FALSE(selector.Offer("a", 1.0));
        EXPECT_THAT(selector.selected, IsEmpty());
    }
}

TEST_F(zeStatTrainerSelectionTest, SelectorOfOneKeepsTheBest) {
    Selector selector(m_trainer, 1);

    EXPECT_TRUE(selector.Offer("b", 1.0));
    EXPECT_FALSE(selector.Offer("c", 0.5));
    EXPECT_FALSE(selector.Offer("a", 1.0));
    EXPECT_TRUE(selector.Offer("c", 1.0));
    EXPECT_TRUE(selector.Offer("a", 2.0));
    EXPECT_THAT(selector.Texts(), ElementsAre("a"));
}

TEST_F(zeStatTrainerSelectionTest, FullSelectorHasTheLeastOnTop) {
    Selector selector(m_trainer, 3);

    for (const auto& [text, score] : {std::pair("a", 5.0), {"b", 1.0}, {"c", 3.0}}) {
        EXPECT_TRUE(selector.Offer(text, score));
    }
    EXPECT_EQ(selector.selected.front().m_concept, term("b"));
    EXPECT_FALSE(selector.Offer("d", 0.5));
    EXPECT_TRUE(selector.Offer("e", 4.0));

    EXPECT_EQ(selector.selected.front().m_concept, term("c"));
    EXPECT_THAT(selector.Texts(), ElementsAre("a", "c", "e"));
}

TEST_F(zeStatTrainerSelectionTest, GreaterTextsWinForEqualScoresInAnyOrderOfOffering) {
    std::vector<std::string> offered = {"a", "b", "c", "d", "e"};
    do {
        Selector selector(m_trainer, 2);
        for (const std::string& text : offered) {
            selector.Offer(text, 1.0);
        }
        EXPECT_THAT(selector.Texts(), ElementsAre("d", "e"));
    } while (std::next_permutation(offered.begin(), offered.end()));
}

// Candidates from outside.

TEST_F(zeStatTrainerSelectionTest, CandidatesAreOrderedByWeightAndThenByText) {
    AddInfo("a", 1.0);
    AddInfo("b", 2.0);
    AddInfo("c", 1.0);
    const auto a = m_storage.m_concept_infos.find(term("a"));
    const auto b = m_storage.m_concept_infos.find(term("b"));
    const auto c = m_storage.m_concept_infos.find(term("c"));
    zeStat_trainer::s_storage = &m_storage;

    for (const auto goes_before :
         {zeStat_trainer::compare_concept_infos, zeStat_trainer::compare_regular_concept_infos}) {
        EXPECT_TRUE(goes_before(b, a));
        EXPECT_FALSE(goes_before(a, b));
        EXPECT_TRUE(goes_before(c, a));
        EXPECT_FALSE(goes_before(a, c));
        EXPECT_FALSE(goes_before(a, a));
    }
}

TEST_F(zeStatTrainerSelectionTest, CandidatesAreOrderedBySuppressedWeight) {
    m_storage.m_suppress_M = true;
    AddInfo("few", 3.0, 4.0);    // 3 * 0.5
    AddInfo("many", 2.0, 20.0);  // 2 * 1
    const auto few = m_storage.m_concept_infos.find(term("few"));
    const auto many = m_storage.m_concept_infos.find(term("many"));
    zeStat_trainer::s_storage = &m_storage;

    for (const auto goes_before :
         {zeStat_trainer::compare_concept_infos, zeStat_trainer::compare_regular_concept_infos}) {
        EXPECT_TRUE(goes_before(many, few));
        EXPECT_FALSE(goes_before(few, many));
    }
}

TEST_F(zeStatTrainerSelectionTest, RareCandidatesAreOrderedByRateAndThenByText) {
    AddInfo("a", 9.0, 1.0);
    AddInfo("b", 1.0, 2.0);
    AddInfo("c", 1.0, 1.0);
    const auto a = m_storage.m_concept_infos.find(term("a"));
    const auto b = m_storage.m_concept_infos.find(term("b"));
    const auto c = m_storage.m_concept_infos.find(term("c"));

    EXPECT_TRUE(zeStat_trainer::compare_zc_concept_infos(b, a));
    EXPECT_FALSE(zeStat_trainer::compare_zc_concept_infos(a, b));
    EXPECT_TRUE(zeStat_trainer::compare_zc_concept_infos(c, a));
    EXPECT_FALSE(zeStat_trainer::compare_zc_concept_infos(a, c));
    EXPECT_FALSE(zeStat_trainer::compare_zc_concept_infos(a, a));
}

TEST_F(zeStatTrainerSelectionTest, NewTreatmentHasOneListOfCandidates) {
    m_storage.m_use_new_ZC = true;
    AddInfo("a", 1.0);
    AddInfo("b", 2.0);
    AddInfo("c", 0.001);

    m_trainer.calculate_high_rate_concepts();

    EXPECT_THAT(texts_of(m_trainer.m_all_concepts), ElementsAre("b", "a", "c"));
    EXPECT_THAT(m_trainer.m_concept_lists[0], IsEmpty());
    EXPECT_THAT(m_trainer.m_concept_lists[1], IsEmpty());
    EXPECT_EQ(zeStat_trainer::s_storage, &m_storage);
}

TEST_F(zeStatTrainerSelectionTest, PositiveMethodHasOneListOfCandidates) {
    const Positive_method positive;
    m_storage.m_use_new_ZC = false;
    AddInfo("a", 1.0);

    m_trainer.calculate_high_rate_concepts();

    EXPECT_THAT(texts_of(m_trainer.m_all_concepts), ElementsAre("a"));
    EXPECT_THAT(m_trainer.m_concept_lists[0], IsEmpty());
}

// The floor is 1/64, so a concept is rare if it weighs less than 16 / 64.
TEST_F(zeStatTrainerSelectionTest, OldTreatmentHasTwoListsOfCandidates) {
    m_storage.m_use_new_ZC = false;
    AddInfo("at the floor", 0.25);
    AddInfo("above", 1.0);
    AddInfo("often and rare", 0.125, 9.0);
    AddInfo("rare", 0.2, 1.0);

    m_trainer.calculate_high_rate_concepts();

    EXPECT_THAT(m_trainer.m_all_concepts, IsEmpty());
    EXPECT_THAT(texts_of(m_trainer.m_concept_lists[0]), ElementsAre("above", "at the floor"));
    EXPECT_THAT(texts_of(m_trainer.m_concept_lists[1]), ElementsAre("often and rare", "rare"));
}

// A rate is relative to the weight of all concepts, not of all messages: 0.2 / 16 is below 1/64,
// and 0.2 / 8 is above it.
TEST_F(zeStatTrainerSelectionTest, RarityIsJudgedByTheWeightOfAllConcepts) {
    m_storage.m_use_new_ZC = false;
    AddInfo("x", 0.2);
    for (const auto& [weight, msg_weight, list] : {std::tuple(16.0, 8.0, 1U), {8.0, 16.0, 0U}}) {
        SCOPED_TRACE(weight);
        SetTotals({64.0, weight, msg_weight, 8.0, 4.0});

        m_trainer.calculate_high_rate_concepts();

        EXPECT_THAT(texts_of(m_trainer.m_concept_lists[list]), ElementsAre("x"));
        EXPECT_THAT(m_trainer.m_concept_lists[1 - list], IsEmpty());
    }
}

TEST_F(zeStatTrainerSelectionTest, NoCandidateIsRareInAModelWithoutTotals) {
    m_storage.m_use_new_ZC = false;
    SetTotals({0.0, 0.0, 0.0, 0.0, 0.0});
    AddInfo("a", 1.0);

    m_trainer.calculate_high_rate_concepts();

    EXPECT_EQ(m_trainer.m_concept_lists[0].size(), 1U);
    EXPECT_THAT(m_trainer.m_concept_lists[1], IsEmpty());
}

TEST_F(zeStatTrainerSelectionTest, OnlyCandidatesThatMayBeNeededAreSorted) {
    m_storage.m_use_new_ZC = true;
    m_storage.m_profile_size = 2;
    AddP(1, "03", 1.0);
    for (int i = 10; i < 40; ++i) {
        AddInfo(std::to_string(i), static_cast<double>(i));
    }

    m_trainer.calculate_high_rate_concepts();

    // Three candidates are sorted: as many as a profile keeps, which is 2, and one more since a
    // profile has one concept.
    std::vector<std::string> texts = texts_of(m_trainer.m_all_concepts);
    ASSERT_EQ(texts.size(), 30U);
    texts.resize(3);
    EXPECT_THAT(texts, ElementsAre("39", "38", "37"));
}

// The sorted front is long enough for the profile with the most concepts, at any position.
TEST_F(zeStatTrainerSelectionTest, AsManyCandidatesAsTheLargestProfileMayNeedAreSorted) {
    m_storage.m_use_new_ZC = true;
    m_storage.m_profile_size = 1;
    std::vector<std::string> expected;
    for (int i = 10; i < 99; ++i) {
        AddInfo(std::to_string(i), static_cast<double>(i));
        expected.insert(expected.begin(), std::to_string(i));
    }
    expected.resize(13);
    for (const int largest : {0, 1}) {
        SCOPED_TRACE(largest);
        m_storage.profile(0).m_Ps.clear();
        m_storage.profile(1).m_Ps.clear();
        AddP(1 - largest, "p", 1.0);
        for (int i = 0; i < 12; ++i) {
            AddP(largest, "p" + std::to_string(i), 1.0);
        }

        m_trainer.calculate_high_rate_concepts();

        std::vector<std::string> texts = texts_of(m_trainer.m_all_concepts);
        ASSERT_EQ(texts.size(), 89U);
        texts.resize(13);
        EXPECT_EQ(texts, expected);
    }
}

TEST_F(zeStatTrainerSelectionTest, WalkPastTheSortedFrontMeetsTheRestInOrder) {
    m_storage.m_use_new_ZC = true;
    m_storage.m_suppress_M = true;
    m_storage.m_profile_size = 0;
    m_storage.profile(0).m_size = 1000;
    std::vector<std::string> expected;
    for (int i = 10; i < 50; ++i) {
        const std::string text = std::to_string(i);
        const bool is_refused = i % 2 == 1;  // no message has it, so its score is 0
        AddInfo(text, static_cast<double>(i) / 64, is_refused ? 0.0 : 20.0);
        if (!is_refused) {
            expected.insert(expected.begin(), text);
        }
    }

    // The selection ends at the first candidate that no message has. If one came too early in the
    // order, candidates after it would be missing.
    EXPECT_THAT(Select(), ElementsAreArray(expected));
}

TEST_F(zeStatTrainerSelectionTest, ProfileMayLackMoreConceptsThanAreSorted) {
    m_storage.m_use_new_ZC = true;
    m_storage.m_profile_size = 1;
    AddP(0, "50", 1.0);
    for (int i = 10; i < 51; ++i) {
        AddInfo(std::to_string(i), static_cast<double>(i) / 64);
    }
    m_storage.profile(0).m_size = 3;

    // For "50": p_all is 50/1024 and p_in is 1/8. So p_out is negative and b becomes F, 1/32. The
    // score log(25/16) * (1/8 + 1/8 - 25/256) is above those of the missing concepts.
    EXPECT_THAT(Select(), ElementsAre("50", "49", "48"));
}

// Select() runs single steps, which take candidates from lists of all concepts. A selection for all
// profiles lists only the concepts that a does not have, since there are few of them.
TEST_F(zeStatTrainerSelectionTest, ProfileWithNearlyAllConceptsSelectsTheOthersInOrder) {
    m_storage.m_use_new_ZC = true;
    m_storage.profile(0).m_size = 1000;
    for (int i = 10; i < 60; ++i) {
        AddInfo(std::to_string(i), static_cast<double>(i) / 64);
        AddP(0, std::to_string(i), 1.0 / 64);
    }
    for (const char* const text : {"x", "y", "z"}) {
        AddInfo(text, text[0] == 'y' ? 0.75 : 0.5);
    }
    std::vector<std::string> expected = Select();
    std::vector<std::string> others = expected;
    std::erase_if(others, [](const std::string& text) { return text.size() > 1; });
    ASSERT_THAT(others, ElementsAre("y", "z", "x"));
    m_storage.profile(0).m_weights.clear();

    zeStat_trainer(m_storage).calculate_feature_selection();

    EXPECT_EQ(texts_of(m_storage.profile(0)), expected);
}

}  // namespace
