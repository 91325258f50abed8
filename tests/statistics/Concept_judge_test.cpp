// The bound that avoids computing a logarithm. The judgements themselves are tested as steps of the
// trainer.
#include "zandrel/statistics/Concept_judge.h"

#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

using zandrel::detail::Concept_judge;

namespace {

Concept_judge::Rated rated(double quotient, double factor, double difference) {
    return {difference, 0.0, factor, quotient, true};
}

TEST(ConceptJudgeTest, BoundNeverExcludesAScoreThatIsReached) {
    std::mt19937 random(1);
    // exp(-36) is about the distance of two doubles beside 1.
    std::uniform_real_distribution<double> exponent(-36.0, 10.0);
    for (int i = 0; i < 200000; ++i) {
        // Half of the quotients are above 1 and half below it, some near 1 and some far from it.
        const double step = std::exp(exponent(random));
        const double quotient = i % 2 == 0 ? 1.0 + step : 1.0 / (1.0 + step);
        const Concept_judge::Rated judged =
            rated(quotient, i % 3 == 0 ? 1.0 : std::exp(exponent(random)),
                  (i % 5 == 0 ? -1.0 : 1.0) * std::exp(exponent(random)));
        const double score = judged.weigh().score;
        if (score != 0.0) {
            ASSERT_TRUE(judged.may_reach(std::abs(score))) << quotient;
        }
    }
}

// For the quotient 1.1 the bound is (1.1 - 1) * 0.002 = 0.0002. For 1 / 1.1 it is the same, since
// (1 - 1 / 1.1) * 1.1 = 0.1.
TEST(ConceptJudgeTest, BoundExcludesScoresFarBelow) {
    for (const double quotient : {1.1, 1.0 / 1.1}) {
        EXPECT_FALSE(rated(quotient, 1.0, 0.002).may_reach(0.0003));
        EXPECT_FALSE(rated(quotient, 1.0, -0.002).may_reach(0.0003));
        EXPECT_TRUE(rated(quotient, 1.0, 0.002).may_reach(0.00015));
        EXPECT_FALSE(rated(quotient, 0.5, 0.002).may_reach(0.00015));
    }
}

TEST(ConceptJudgeTest, UselessConceptsAreExcludedEvenIfThereIsRoom) {
    const double none = -std::numeric_limits<double>::infinity();
    EXPECT_FALSE(rated(1.0, 1.0, 0.002).may_reach(none));
    EXPECT_FALSE(Concept_judge::Rated({0.002, 0.0, 1.0, 2.0, false}).may_reach(none));
    EXPECT_TRUE(rated(2.0, 1.0, 0.002).may_reach(none));
}

TEST(ConceptJudgeTest, BoundThatIsNaNExcludesNothing) {
    const double infinite = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(rated(std::nan(""), 1.0, 0.002).may_reach(1.0));
    EXPECT_TRUE(rated(infinite, 0.0, 0.002).may_reach(1.0));
    EXPECT_TRUE(rated(2.0, 1.0, std::nan("")).may_reach(1.0));
    // log(-0) is -infinity.
    EXPECT_TRUE(rated(-0.0, 1.0, -0.002).may_reach(1.0));
}

}  // namespace
