#include "zandrel/statistics/Outside_candidates.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/statistics/Feature_selector.h"

#include "tests/statistics/selection_fixture.h"
#include "tests/support/bags.h"

namespace {

// Candidates with the values 0, 1, 2, 3, 0, 1, ..., so that many values are equal.
class OutsideCandidatesTest : public testing::Test {
protected:
    OutsideCandidatesTest() {
        for (int number = 0; number < 100; ++number) {
            const std::string text = "outside " + std::to_string(number);
            m_infos[term(text)];
            m_expected.emplace_back(number % 4, text);
        }
    }

    void Collect(std::size_t limit, unsigned int seed) {
        std::vector<std::pair<double, std::string>> added = m_expected;
        std::shuffle(added.begin(), added.end(), std::mt19937(seed));
        m_candidates.start(limit);
        for (const auto& [value, text] : added) {
            m_candidates.add(value, m_infos.find(term(text)));
        }
    }

    std::string TextAt(std::size_t rank) {
        const auto known = m_infos.at_position(m_candidates.at(rank).position);
        return std::string(known->first.view());
    }

    zeStat_storage::Concept_infos m_infos;
    zandrel::detail::Outside_candidates m_candidates{m_infos};
    std::vector<std::pair<double, std::string>> m_expected;
};

TEST_F(OutsideCandidatesTest, FirstCandidatesAreKeptWhateverTheOrderOfAdding) {
    std::sort(m_expected.rbegin(), m_expected.rend());
    const auto expected = m_expected;
    for (const std::size_t limit : {1U, 2U, 7U, 49U}) {
        for (unsigned int seed = 1; seed <= 10; ++seed) {
            Collect(limit, seed);

            EXPECT_TRUE(m_candidates.has_left_out());
            ASSERT_GE(m_candidates.size(), limit);
            ASSERT_LT(m_candidates.size(), 2 * limit);
            for (std::size_t rank = 0; rank < m_candidates.size(); ++rank) {
                EXPECT_EQ(m_candidates.at(rank).value, expected[rank].first);
                EXPECT_EQ(TextAt(rank), expected[rank].second);
            }
        }
    }
}

TEST_F(OutsideCandidatesTest, NoCandidateIsLeftOutBelowTwiceTheLimit) {
    Collect(51, 1);

    EXPECT_FALSE(m_candidates.has_left_out());
    EXPECT_EQ(m_candidates.size(), 100U);
}

TEST_F(OutsideCandidatesTest, StartingAgainForgetsWhatWasLeftOut) {
    Collect(7, 1);

    Collect(1000, 1);

    EXPECT_FALSE(m_candidates.has_left_out());
    EXPECT_EQ(m_candidates.size(), 100U);
    EXPECT_EQ(TextAt(0), "outside 99");
}

// The order of the texts is decided by their first four bytes, or behind them. Bytes are numbers
// from 0 to 255, and a text comes behind the texts that it begins with, also if it continues with a
// zero byte.
TEST_F(OutsideCandidatesTest, CandidatesOfEqualValueAreInDescendingOrderOfTheirBytes) {
    const std::vector<std::string> descending = {"\xff",
                                                 "\xc3\xa4",
                                                 "b",
                                                 "abcde",
                                                 "abcd",
                                                 "abc",
                                                 std::string("ab\0c", 4),
                                                 std::string("ab\0\0", 4),
                                                 std::string("ab\0", 3),
                                                 "ab",
                                                 "a",
                                                 "Z"};
    for (unsigned int seed = 1; seed <= 10; ++seed) {
        std::vector<std::string> added = descending;
        std::shuffle(added.begin(), added.end(), std::mt19937(seed));
        m_candidates.start(4);
        for (const std::string& text : added) {
            m_candidates.add(1.0, m_infos.try_emplace(term(text)).first);
        }

        ASSERT_GE(m_candidates.size(), 4U);
        for (std::size_t rank = 0; rank < m_candidates.size(); ++rank) {
            EXPECT_EQ(TextAt(rank), descending[rank]);
        }
    }
}

// A profile that has no concept of its own, so it can only select candidates from outside.
class FeatureSelectorLimitTest : public zeStatTrainerSelectionTest {
protected:
    FeatureSelectorLimitTest() {
        for (int number = 0; number < 200; ++number) {
            AddInfo("limit " + std::to_string(number), 0.25 + 0.25 * (number % 5), number % 7);
        }
        m_storage.m_suppress_M = false;
        m_storage.profile(0).m_size = 150;
    }

    std::vector<std::string> SelectWithLimit(std::size_t limit) {
        zandrel::detail::Feature_selector selector(m_storage);
        selector.collect_candidates(limit);
        selector.select(0);
        return texts_of(m_storage.profile(0));
    }
};

TEST_F(FeatureSelectorLimitTest, ListThatIsReadToItsEndIsCollectedAgain) {
    for (const bool uses_new_ZC : {false, true}) {
        m_storage.m_use_new_ZC = uses_new_ZC;
        const std::vector<std::string> expected =
            SelectWithLimit(zandrel::detail::Feature_selector::kAllCandidates);
        ASSERT_EQ(expected.size(), 150U);

        for (const std::size_t limit : {1U, 2U, 40U, 99U}) {
            EXPECT_EQ(SelectWithLimit(limit), expected) << limit;
        }
    }
}

}  // namespace
