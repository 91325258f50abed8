// Tests of the rules of Match_scorer, and of the bin of a score.
#include "zandrel/statistics/Match_scorer.h"

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace {

using zandrel::detail::bin_of_score;
using zandrel::detail::Match_scorer;

constexpr double kEndlessSum = std::numeric_limits<double>::infinity();

// A model of 2 messages and 2 profiles, each with one message. The first profile has the additive
// term 0.25.
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
    zandrel::detail::Likelihood_table m_average = {};
    std::vector<zandrel::detail::Rest_score> m_rest_scores;
};

TEST(BinOfScoreTest, ScoresAtTheEndsAndNaNAreInTheEndBins) {
    EXPECT_EQ(bin_of_score(0.0, 30), 0);
    EXPECT_EQ(bin_of_score(-1.0, 30), 0);
    EXPECT_EQ(bin_of_score(std::nan(""), 30), 0);
    EXPECT_EQ(bin_of_score(0.5, 30), 15);
    EXPECT_EQ(bin_of_score(1.0, 30), 29);
    EXPECT_EQ(bin_of_score(kEndlessSum, 30), 29);
}

// The score is 99 % of the table's 0.9 and 1 % of the raw score 0.71: 0.898, which is bin 26. The
// raw score is in bin 21.
TEST_F(MatchScorerTest, CorrectedScoreFollowsTheTables) {
    m_storage.m_use_likelihood_in_match = true;
    m_storage.m_use_train_likelihood = true;
    m_storage.profile(0).m_likelihood.fill(0.9);
    m_average.fill(0.9);
    EXPECT_TRUE(scorer(1.0).corrects());
    EXPECT_EQ(bin_of_score(scorer(1.0).score(0, 0.0), 30), 26);
}

TEST_F(MatchScorerTest, ProfileWithAllMessagesScoresOneAndOneWithNoneScoresZero) {
    m_storage.profile(0).m_num_msgs = 2;
    m_storage.profile(1).m_num_msgs = 0;
    m_storage.m_activation_outside = 0;
    for (const int iprofile : {0, 1}) {
        EXPECT_FALSE(scorer(1.0).depends_on_sum(m_storage.profile(iprofile)));
    }
    EXPECT_EQ(scorer(1.0).score(0, -1.0), 1.0);
    EXPECT_EQ(scorer(1.0).score(1, 1.0), 0.0);
}

TEST_F(MatchScorerTest, ScoreOfProfileWithoutRulesIsThatOfItsValue) {
    for (const double sum : {-3.0, -0.5, 0.0, 0.125, 7.0}) {
        EXPECT_TRUE(scorer(2.0).depends_on_sum(m_storage.profile(0)));
        EXPECT_EQ(scorer(2.0).score(0, sum), Match_scorer::score_of_value(sum / 2.0 + 0.25));
    }
}

}  // namespace
