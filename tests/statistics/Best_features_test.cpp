// Tests which concepts Best_features keeps and refuses, and compares its result with a full sort of
// all offered concepts.
#include "zandrel/statistics/Best_features.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <list>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bags.h"

using zandrel::detail::Best_features;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BestFeaturesTest : public testing::Test {
protected:
    using Scored = std::pair<std::string, double>;

    const Best_features::Feature& Make(std::string_view text, double score) {
        m_concepts.push_back(term(text));
        m_made.push_back({{1.0, 0.0, 0.0, score}, &m_concepts.back(), nullptr, 0});
        return m_made.back();
    }

    bool OfferOutside(std::string_view text, double score) {
        return m_best.offer_outside(Make(text, score));
    }

    std::vector<Scored> Result() {
        m_best.end_outside();
        std::vector<Scored> result;
        for (std::size_t i = 0; i < m_best.size(); ++i) {
            result.emplace_back(m_best[i].known->view(), m_best[i].judged.score);
        }
        return result;
    }

    Best_features m_best;
    std::list<Concept> m_concepts;
    std::list<Best_features::Feature> m_made;
};

TEST_F(BestFeaturesTest, LaterOutsideConceptsReplaceTheLowestOfAll) {
    m_best.start(4, 2);
    m_best.offer_own(Make("five", 5.0));
    m_best.offer_own(Make("one", 1.0));
    m_best.end_own();

    EXPECT_TRUE(OfferOutside("four", 4.0));
    EXPECT_TRUE(OfferOutside("three", 3.0));
    EXPECT_TRUE(OfferOutside("two", 2.0));
    EXPECT_FALSE(OfferOutside("half", 0.5));

    EXPECT_THAT(Result(), ElementsAre(Scored("five", 5.0), Scored("four", 4.0),
                                      Scored("three", 3.0), Scored("two", 2.0)));
}

TEST_F(BestFeaturesTest, UselessScoresAreRefused) {
    m_best.start(4, 4);
    for (const double score : {0.0, -0.0, std::numeric_limits<double>::quiet_NaN()}) {
        m_best.offer_own(Make("own", score));
        EXPECT_FALSE(OfferOutside("outside", score));
    }
    m_best.end_own();

    EXPECT_THAT(Result(), IsEmpty());
}

TEST_F(BestFeaturesTest, CapacityOfZeroTakesNothing) {
    for (const int capacity : {0, -1}) {
        m_best.start(capacity, 1);
        m_best.offer_own(Make("own", 1.0));
        m_best.end_own();
        EXPECT_FALSE(OfferOutside("outside", 1.0));
        EXPECT_THAT(Result(), IsEmpty());
    }
}

TEST_F(BestFeaturesTest, LeastOwnScoreIsKnownWhenOwnConceptsFillTheirPart) {
    m_best.start(2, 3);
    m_best.offer_own(Make("a", 3.0));
    EXPECT_EQ(m_best.least_own_score(), -std::numeric_limits<double>::infinity());
    m_best.offer_own(Make("b", 2.0));
    EXPECT_EQ(m_best.least_own_score(), 2.0);
    m_best.offer_own(Make("c", 4.0));
    EXPECT_EQ(m_best.least_own_score(), 3.0);
}

// The scores of the profile's own concepts are from 1 to 9, so many of them are equal and the texts
// often decide. Depending on the round, the scores of concepts from outside fall from 60, rise to
// 60, or are random numbers from 1 to 9.
TEST_F(BestFeaturesTest, ResultEqualsTheFrontOfAFullSort) {
    std::mt19937 random(1);
    for (int round = 0; round < 600; ++round) {
        const int capacity = static_cast<int>(random() % 40);
        const int own_count = static_cast<int>(random() % 60);
        std::vector<Scored> offered;
        m_best.start(capacity, static_cast<std::size_t>(own_count));
        for (int i = 0; i < own_count; ++i) {
            offered.emplace_back("own" + std::to_string(i), static_cast<double>(random() % 9) + 1);
            m_best.offer_own(Make(offered.back().first, offered.back().second));
        }
        m_best.end_own();
        for (int i = 0; i < 60; ++i) {
            const int falling = 60 - i;
            const double score = round % 3 == 0   ? falling
                                 : round % 3 == 1 ? i + 1
                                                  : static_cast<double>(random() % 9) + 1;
            offered.emplace_back("out" + std::to_string(i), score);
            OfferOutside(offered.back().first, score);
        }

        std::sort(offered.begin(), offered.end(), [](const Scored& left, const Scored& right) {
            return left.second != right.second ? left.second > right.second
                                               : left.first > right.first;
        });
        offered.resize(std::min(offered.size(), static_cast<std::size_t>(capacity)));
        ASSERT_EQ(Result(), offered) << round;
    }
}

}  // namespace
