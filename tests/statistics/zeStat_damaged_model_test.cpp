// Uses models that only a damaged record can contain.
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/support/match_rows.h"
#include "tests/support/small_model.h"

namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// One category a, and one message of it with the words x and y.
class zeStatDamagedModelTest : public testing::Test {
protected:
    zeStatDamagedModelTest() {
        bool added = false;
        m_storage.get_or_add_profile(&m_a, added);
        m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"y", 1.0}}), {&m_a});
    }

    zeStat_storage::Profile& Profile() { return m_storage.profile(0); }

    void Train(bool remove) { zeStat_trainer(m_storage).train(m_corpus.view, remove); }

    // Adds the message to the histogram of its category.
    void AddToHistogram() {
        m_storage.set_use_train_likelihood(true);
        m_storage.m_num_msgs = 4;
        Profile().m_num_msgs = 2;
        bool added = false;
        m_storage.get_or_add_profile(&m_b, added);
        zeStat_matcher matcher(nullptr, nullptr, m_storage, false);
        Profile().m_M = 0.0;
        matcher.m_avg_likelihood.fill(0.0);
        matcher.classify(*m_corpus.corpus.msgs.front(), m_corpus.view, m_corpus.view.msgs.cbegin());
    }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    Small_corpus m_corpus;
};

TEST_F(zeStatDamagedModelTest, CountsStopAtTheLargestNumber) {
    m_storage.m_num_msgs = kMost;
    Profile().m_num_msgs = kMost;
    m_storage.m_concept_infos[term("x")] = {1.0, 1.0, kMost};

    Train(false);

    EXPECT_EQ(m_storage.m_num_msgs, kMost);
    EXPECT_EQ(Profile().m_num_msgs, kMost);
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, kMost);
    EXPECT_EQ(info_of(m_storage, "y").m_num_Ps, 1);
}

TEST_F(zeStatDamagedModelTest, RemovingFromTheSmallestCountGivesZero) {
    Train(false);
    info_of(m_storage, "x").m_num_Ps = kLeast;
    info_of(m_storage, "x").m_rate = 5.0;
    info_of(m_storage, "x").m_weight = 5.0;

    Train(true);

    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 0);
}

TEST_F(zeStatDamagedModelTest, ForgettingFromTheSmallestCountGivesZero) {
    Train(false);
    info_of(m_storage, "x").m_num_Ps = kLeast;
    zeNode* cat = &m_a;

    zeStat_diet_learner(m_storage).clear_cat(cat, false);

    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 0);
    EXPECT_EQ(info_of(m_storage, "y").m_num_Ps, 0);
}

TEST_F(zeStatDamagedModelTest, DietAtTheSmallestCountGivesZero) {
    Train(false);
    info_of(m_storage, "x").m_num_Ps = kLeast;
    std::vector<zeStat_diet_learner::Concept_info> candidates = {
        {&m_storage, Profile().m_Ps.find(term("x"))}};
    int iprofile = 0;

    zeStat_diet_learner(m_storage).delete_Ps(iprofile, candidates, 0);

    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 0);
}

TEST_F(zeStatDamagedModelTest, AgesReturnToTheirRange) {
    const struct {
        int before;
        int after;
    } rows[] = {{kMost, 1000}, {1001, 1000}, {1000, 1000}, {999, 1000}, {kLeast, kLeast + 1}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        AddToHistogram();
        Profile().m_likelihood_age = row.before;

        AddToHistogram();

        EXPECT_EQ(Profile().m_likelihood_age, row.after);
    }
}

// A likelihood is at most 1, but in a damaged table it can have any value.
TEST_F(zeStatDamagedModelTest, ScoreAboveAllBinsIsInTheLast) {
    m_storage.set_use_train_likelihood(true);
    m_storage.m_use_likelihood_in_match = true;
    Profile().m_likelihood_age = 1000;
    Profile().m_likelihood.fill(1e300);

    AddToHistogram();

    ASSERT_EQ(Profile().m_bins.size(), 30U);
    EXPECT_EQ(Profile().m_bins[29].m_total, 1.0);
    EXPECT_EQ(Profile().m_bins[29].m_relevant, 1.0);
}

// A matcher of a and b; the tests use the score of a.
class zeStatDamagedScoreTest : public zeStatDamagedModelTest {
protected:
    zeStatDamagedScoreTest() {
        bool added = false;
        m_storage.get_or_add_profile(&m_b, added);
        m_storage.m_num_msgs = 4;
        Profile().m_num_msgs = 2;
        m_storage.m_use_train_likelihood = true;
        m_storage.m_use_likelihood_in_match = true;
    }

    double Score() {
        zeStat_matcher matcher(nullptr, nullptr, m_storage, false);
        Profile().m_M = m_M;
        matcher.m_avg_likelihood.fill(m_average);
        set_row(matcher.m_table, term("x"), {{m_weight, 0}});
        set_row(matcher.m_table, term("y"), {{-m_weight, 0}});
        const qtPtrLight<zeSml> bag = make_bag({{"x", m_x}, {"y", 1.0}});
        matcher.classify_sml(*bag);
        int iprofile = 0;
        return matcher.adjust_match_value(*bag, iprofile);
    }

    double m_M = 0.0;
    double m_average = 0.5;
    float m_weight = 1.0F;
    double m_x = 1.0;
};

TEST_F(zeStatDamagedScoreTest, LikelihoodsOutsideOfTheirRangeGiveScoresWithin0And1) {
    const double infinite = std::numeric_limits<double>::infinity();

    const struct {
        double likelihood;
        double score;
        // Between two infinite values of the table, interpolation gives NaN, so the score is 0.
    } rows[] = {{1e300, 1.0},  {1.7, 1.0},       {infinite, 0.0}, {-0.7, 0.0},
                {-1e300, 0.0}, {-infinite, 0.0}, {kNaN, 0.0}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.likelihood);
        Profile().m_likelihood_age = 1000;
        Profile().m_likelihood.fill(row.likelihood);
        m_average = 0.5;
        EXPECT_EQ(Score(), row.score);

        Profile().m_likelihood_age = 0;
        Profile().m_likelihood.fill(0.5);
        m_average = row.likelihood;
        EXPECT_EQ(Score(), row.score);
    }
}

// With two profiles and an age of -2, the weight of the average would have no limit.
TEST_F(zeStatDamagedScoreTest, NegativeAgesGiveScoresWithin0And1) {
    for (const int age : {-1, -2, -3, kLeast, kMost}) {
        SCOPED_TRACE(age);
        Profile().m_likelihood_age = age;
        Profile().m_likelihood.fill(1.0);

        const double score = Score();

        EXPECT_GE(score, 0.0);
        EXPECT_LE(score, 1.0);
    }
}

TEST_F(zeStatDamagedScoreTest, SumsBeyondTheRangeGiveScoresWithin0And1) {
    const float infinite = std::numeric_limits<float>::infinity();
    for (const bool uses_tables : {false, true}) {
        SCOPED_TRACE(uses_tables);
        m_storage.m_use_likelihood_in_match = uses_tables;
        m_weight = infinite;  // infinity minus infinity is NaN
        m_M = 0.0;
        EXPECT_EQ(Score(), 0.0);

        m_weight = 1.0F;
        m_M = kNaN;
        EXPECT_EQ(Score(), 0.0);
    }
    m_storage.m_use_likelihood_in_match = false;
    m_M = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Score(), 1.0);
    m_M = -m_M;
    EXPECT_EQ(Score(), 0.0);
    // The sum is infinite, and the total of the bag too, so their quotient is NaN.
    m_M = 0.0;
    m_weight = 2e38F;
    m_x = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Score(), 0.0);
}

TEST_F(zeStatDamagedModelTest, HistogramsOfAnotherSizeAreRestarted) {
    m_storage.set_use_train_likelihood(true);
    for (const std::size_t size : {0U, 1U, 29U, 31U, 3000U}) {
        SCOPED_TRACE(size);
        Profile().m_bins.assign(size, {5.0, 5.0});

        AddToHistogram();

        ASSERT_EQ(Profile().m_bins.size(), 30U);
        double total = 0.0;
        for (const zeStat_storage::Result_bin& bin : Profile().m_bins) {
            total += bin.m_total;
        }
        EXPECT_EQ(total, 1.0);
    }
}

// The model has many words that the profile of a does not have. The selection is repeated with
// the words in reverse order in the model's table of concepts.
class zeStatDamagedWeightsTest : public testing::TestWithParam<bool> {
protected:
    static constexpr int kWords = 400;

    zeStatDamagedWeightsTest() { m_settings.use_new_ZC = GetParam(); }

    static std::string Word(int number) { return "w" + std::to_string(number); }

    // Returns the words that the profile selects. Every second word has the weight and the rate
    // `*damage`; if `damage` is null, the model does not have these words. `is_reversed`: the words
    // are entered in the model's table of concepts in reverse order.
    std::vector<std::string> Selection(const double* damage, bool is_reversed) {
        zeStat_storage storage(nullptr, m_settings);
        bool added = false;
        zeStat_storage::Profile& profile = storage.profile(storage.get_or_add_profile(&m_a, added));
        profile.m_weight = 10.0;
        profile.m_msg_weight = 10.0;
        storage.m_total_weight = 1000.0;
        storage.m_total_msg_weight = 1000.0;
        storage.m_total_sml_weight = 20000.0;
        for (int n = 0; n < kWords; ++n) {
            const int i = is_reversed ? kWords - 1 - n : n;
            const double weight = 1.0 + (i * 37 % kWords) * 0.25;
            if (i % 2 == 0) {
                storage.m_concept_infos[term(Word(i))] = {weight, weight, 1};
            } else if (damage != nullptr) {
                storage.m_concept_infos[term(Word(i))] = {*damage, *damage, 1};
            }
        }
        zeStat_trainer(storage).calculate_feature_selection();
        std::vector<std::string> selected;
        for (const zeStat_storage::Weight& weight : profile.m_weights) {
            selected.push_back(weight.m_concept.text().str());
        }
        return selected;
    }

    zeNode m_a{term("a")};
    zeDefaults m_settings = plain_settings();
};

// Words whose weight is NaN are last in the order of candidates and have no score.
TEST_P(zeStatDamagedWeightsTest, WordWithANaNIsNotSelected) {
    const std::vector<std::string> sound = Selection(nullptr, false);
    EXPECT_GT(sound.size(), 100U);

    EXPECT_EQ(Selection(&kNaN, false), sound);
    EXPECT_EQ(Selection(&kNaN, true), sound);
}

TEST_P(zeStatDamagedWeightsTest, InfiniteWeightsDoNotDisturbTheOrder) {
    const double infinite = std::numeric_limits<double>::infinity();
    m_settings.suppress_M = true;

    EXPECT_EQ(Selection(&infinite, false), Selection(&infinite, true));
}

INSTANTIATE_TEST_SUITE_P(OldAndNewZC, zeStatDamagedWeightsTest, testing::Bool());

TEST(zeStatDamagedRatesTest, RareConceptsWithoutARateComeLast) {
    zeDefaults settings = plain_settings();
    zeStat_storage storage(nullptr, settings);
    storage.m_concept_infos[term("none")].m_rate = kNaN;
    storage.m_concept_infos[term("little")].m_rate = -1e300;
    const auto none = storage.m_concept_infos.find(term("none"));
    const auto little = storage.m_concept_infos.find(term("little"));

    EXPECT_TRUE(zeStat_trainer::compare_zc_concept_infos(little, none));
    EXPECT_FALSE(zeStat_trainer::compare_zc_concept_infos(none, little));
    EXPECT_FALSE(zeStat_trainer::compare_zc_concept_infos(none, none));
}

// The diet removes the lightest concepts first, but those whose weight is NaN even before them.
TEST_F(zeStatDamagedModelTest, DietBeginsWithConceptsWhoseWeightIsNaN) {
    for (const char* word : {"p", "q", "r", "s"}) {
        bool added = false;
        m_storage.get_or_add_P(0, term(word), added)->second.m_weight = -1e300;
    }
    P_of(m_storage, 0, "q").m_weight = kNaN;
    P_of(m_storage, 0, "r").m_weight = kNaN;
    std::vector<zeStat_diet_learner::Concept_info> candidates;
    for (auto P = Profile().m_Ps.begin(); P != Profile().m_Ps.end(); ++P) {
        candidates.emplace_back(&m_storage, P);
    }
    int iprofile = 0;

    zeStat_diet_learner(m_storage).delete_Ps(iprofile, candidates, 2);

    EXPECT_EQ(Profile().m_Ps.size(), 2U);
    EXPECT_EQ(Profile().m_Ps.count(term("p")), 1U);
    EXPECT_EQ(Profile().m_Ps.count(term("s")), 1U);
}

}  // namespace
