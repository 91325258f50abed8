// How a matcher corrects its scores by likelihood tables.
#include "zandrel/statistics/zeStat_matcher.h"

#include <cmath>
#include <cstddef>
#include <utility>

#include <gtest/gtest.h>

#include "zandrel/statistics/zeStat_storage.h"

#include "tests/statistics/matcher_fixture.h"
#include "tests/support/bags.h"

namespace {

TEST_F(zeStatMatcherTest, ScoresAreNotCorrectedUnlessTablesAreBuiltAndUsed) {
    UseLikelihood();
    for (const auto& [in_train, in_match] :
         {std::pair(false, false), {true, false}, {false, true}}) {
        m_storage.m_use_train_likelihood = in_train;
        m_storage.m_use_likelihood_in_match = in_match;

        EXPECT_EQ(m_matcher.adjust_likelihood(0.3, 0), 0.3);
        EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 0.5);
    }
}

// The own table is L[i] = (i + 1) / 32, the average A[i] = (i + 1)^2 / 1024. There are two
// profiles, so at an age of 2 each counts half.
TEST_F(zeStatMatcherTest, OwnTableIsBlendedWithTheAverage) {
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

        // The implementation rounds the position in the table before it interpolates.
        EXPECT_NEAR(m_matcher.adjust_likelihood(row.score, 0), 0.99 * row.table + 0.01 * row.score,
                    1e-14);
    }
}

TEST_F(zeStatMatcherTest, ScoreOfZeroStaysExactlyZero) {
    UseLikelihood();

    EXPECT_EQ(m_matcher.adjust_likelihood(0.0, 0), 0.0);
}

TEST_F(zeStatMatcherTest, ScoreThatIsNaNStaysNaN) {
    UseLikelihood();
    for (const int age : {0, 2, 1000}) {
        SCOPED_TRACE(age);
        m_storage.profile(0).m_likelihood_age = age;

        EXPECT_TRUE(std::isnan(m_matcher.adjust_likelihood(std::nan(""), 0)));
    }
}

TEST_F(zeStatMatcherTest, SquashedScoreIsCorrected) {
    UseLikelihood();
    m_storage.profile(0).m_likelihood_age = 1000;

    EXPECT_NEAR(Score(*make_bag({{"u", 1.0}}), 0), 0.99 * 15.5 / 32 + 0.01 * 0.5, 1e-14);
}

TEST_F(zeStatMatcherTest, ScoresThatNeedNoMatchingAreNotCorrected) {
    UseLikelihood();
    m_storage.profile(0).m_num_msgs = 4;

    EXPECT_EQ(Score(*make_bag({{"u", 1.0}}), 0), 1.0);
}

// With ages 10 and 20 and tables of 1/2 and 1/4, an entry is ((2i + 1) / 2 + 5 + 5) / 60.
TEST_F(zeStatMatcherTest, TablesAreAveragedByAgeWithAPriorOfThirtyMessages) {
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

TEST_F(zeStatMatcherTest, AverageOfNoTablesIsTheCentresOfTheBins) {
    zeStat_storage empty(nullptr, m_settings);
    empty.m_use_train_likelihood = true;

    m_matcher.feed(empty, false);

    for (std::size_t i = 0; i < 30; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(m_matcher.m_avg_likelihood[i], (static_cast<double>(i) + 0.5) / 30);
    }
}

TEST_F(zeStatMatcherTest, AverageIsKeptIfNoTablesAreBuilt) {
    m_storage.m_use_train_likelihood = false;
    m_matcher.m_avg_likelihood.fill(7.0);

    m_matcher.build_avg_likelihood();

    EXPECT_EQ(m_matcher.m_avg_likelihood[29], 7.0);
}

}  // namespace
