// Compares the histogram bins of Match_scorer with those of the exact scores.
#include "zandrel/statistics/Match_scorer.h"

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace {

using Zandrel::bin_of_score;
using Zandrel::Match_scorer;
using Zandrel::rough_atan;

constexpr double kEndlessSum = std::numeric_limits<double>::infinity();

// A model of 2 profiles with 1 of the 2 messages each. The first has the additive term 0.25.
class MatchScorerTest : public testing::Test {
protected:
    MatchScorerTest() {
        for (int i = 0; i < 2; ++i) {
            m_storage.m_profiles.push_back(std::make_unique<zeStat_storage::Profile>());
            m_storage.m_profiles.back()->m_num_msgs = 1;
        }
        m_storage.profile(0).m_M = 0.25;
        m_storage.m_num_msgs = 2;
        m_storage.m_activation_inside = 1;
        m_storage.m_activation_outside = 1;
        m_storage.m_activation_total = 1;
        m_storage.m_use_likelihood_in_match = false;
    }

    Match_scorer scorer(double total_weight) const {
        return {m_storage, m_average, m_rest_scores, total_weight};
    }

    zeDefaults m_defaults;
    zeStat_storage m_storage{nullptr, m_defaults};
    Zandrel::Likelihood_table m_average = {};
    std::vector<Zandrel::Rest_score> m_rest_scores;
};

TEST(RoughAtanTest, ErrorIsWithinTheDocumentedBoundForAnyNumber) {
    for (int i = -400000; i <= 400000; ++i) {
        const double x = i / 20000.0;
        ASSERT_NEAR(rough_atan(x), std::atan(x), Zandrel::kRoughAtanError) << x;
    }
    for (const double x : {1e3, 1e9, 1e300, kEndlessSum, 1e-300}) {
        EXPECT_NEAR(rough_atan(x), std::atan(x), Zandrel::kRoughAtanError);
        EXPECT_NEAR(rough_atan(-x), std::atan(-x), Zandrel::kRoughAtanError);
    }
    EXPECT_TRUE(std::isnan(rough_atan(std::nan(""))));
}

TEST(BinOfScoreTest, ScoresAtTheEndsAndNaNAreInTheEndBins) {
    EXPECT_EQ(bin_of_score(0.0, 30), 0);
    EXPECT_EQ(bin_of_score(-1.0, 30), 0);
    EXPECT_EQ(bin_of_score(std::nan(""), 30), 0);
    EXPECT_EQ(bin_of_score(0.5, 30), 15);
    EXPECT_EQ(bin_of_score(1.0, 30), 29);
    EXPECT_EQ(bin_of_score(kEndlessSum, 30), 29);
}

TEST_F(MatchScorerTest, BinEqualsThatOfTheExactScore) {
    const Match_scorer tested = scorer(2.0);
    for (const int bin_count : {30, 900, 300000}) {
        for (int i = -20000; i <= 20000; ++i) {
            const double sum = i / 5000.0;
            ASSERT_EQ(tested.bin(0, sum, bin_count), bin_of_score(tested.score(0, sum), bin_count))
                << sum;
        }
    }
}

// A score of k / 30 is on the border of two bins, so rounding decides which bin it is in.
TEST_F(MatchScorerTest, BinAtABorderEqualsThatOfTheExactScore) {
    const Match_scorer tested = scorer(1.0);
    const double pi = std::acos(-1.0);
    for (int border = 1; border < 30; ++border) {
        const double middle = std::tan(pi * (border / 30.0 - 0.5)) / pi - 0.25;
        for (int step = -100; step <= 100; ++step) {
            const double sum = middle + step * 1e-16;
            ASSERT_EQ(tested.bin(0, sum, 30), bin_of_score(tested.score(0, sum), 30));
        }
    }
}

TEST_F(MatchScorerTest, BinOfAnInfiniteOrNaNSumEqualsThatOfTheExactScore) {
    for (const double total : {1.0, 0.0, kEndlessSum, std::nan("")}) {
        const Match_scorer tested = scorer(total);
        for (const double sum : {0.0, 1.0, -1.0, kEndlessSum, -kEndlessSum, std::nan("")}) {
            EXPECT_EQ(tested.bin(0, sum, 30), bin_of_score(tested.score(0, sum), 30));
        }
    }
}

// The score is 99 % of the table's 0.9 and 1 % of the raw score 0.71: 0.898, which is bin 26. The
// raw score is in bin 21.
TEST_F(MatchScorerTest, BinOfACorrectedScoreFollowsTheTables) {
    m_storage.m_use_likelihood_in_match = true;
    m_storage.m_use_train_likelihood = true;
    m_storage.profile(0).m_likelihood.fill(0.9);
    m_average.fill(0.9);
    EXPECT_EQ(scorer(1.0).bin(0, 0.0, 30), 26);
}

TEST_F(MatchScorerTest, ProfileWithAllMessagesIsInTheLastBinAndOneWithNoneInTheFirst) {
    m_storage.profile(0).m_num_msgs = 2;
    m_storage.profile(1).m_num_msgs = 0;
    m_storage.m_activation_outside = 0;
    EXPECT_EQ(scorer(1.0).bin(0, -1.0, 30), 29);
    EXPECT_EQ(scorer(1.0).bin(1, 1.0, 30), 0);
}

}  // namespace
