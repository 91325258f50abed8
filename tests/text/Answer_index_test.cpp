#include "text/confidence/Answer_index.h"

#include <vector>

#include <gtest/gtest.h>

namespace zandrel {

namespace {

TEST(AnswerIndexTest, NoAnswersGiveTheScoreItselfAsChance) {
    const Answer_index index = Answer_index::fit({});

    EXPECT_EQ(index, Answer_index());
    EXPECT_NEAR(chance_of_index(index.of({0.8, 0.1})), 0.8, 1e-12);
    EXPECT_NEAR(chance_of_index(index.of({0.3, 0.29})), 0.3, 1e-12);
}

TEST(AnswerIndexTest, IndexIsTheWeightedSumOfItsParts) {
    const Answer_index index = {-5000, 20000, 30000};

    // ln(0.5 / 0.5) = 0, and sqrt(0.5 - 0.25) = 0.5.
    EXPECT_DOUBLE_EQ(index.of({0.5, 0.25}), -0.5 + 3.0 * 0.5);
    // ln(0.8 / 0.2) = 1.3862943611, and sqrt(0.8 - 0.16) = 0.8.
    EXPECT_NEAR(index.of({0.8, 0.16}), -0.5 + 2.0 * 1.3862943611 + 3.0 * 0.8, 1e-9);
}

TEST(AnswerIndexTest, ScoreAboveOneCountsAsOne) {
    const Answer_index index = {0, 10000, 10000};

    EXPECT_DOUBLE_EQ(index.of({7.0, 0.4}), index.of({1.0, 0.4}));
    EXPECT_DOUBLE_EQ(index.of({7.0, 3.0}), index.of({1.0, 1.0}));
}

// At the minimum of the loss, its derivatives are 0:
//   sum of (chance - right) * x[i] + 1.0 * (weight[i] - default[i]) = 0
// We check this with chances that we compute here from the weights.
TEST(AnswerIndexTest, DerivativesAreZeroAtTheFittedWeights) {
    const std::vector<Judged_answer> answers = {{{0.9, 0.05}, true},  {{0.7, 0.2}, true},
                                                {{0.6, 0.35}, false}, {{0.5, 0.45}, false},
                                                {{0.8, 0.1}, true},   {{0.4, 0.3}, true}};
    const Answer_index index = Answer_index::fit(answers);
    double of_base = static_cast<double>(index.base) / 10000.0;
    double of_best = static_cast<double>(index.of_best) / 10000.0 - 1.0;
    double of_lead = static_cast<double>(index.of_lead) / 10000.0;
    const Answer_index best_part = {0, 10000, 0};
    const Answer_index lead_part = {0, 0, 10000};
    for (const Judged_answer& answer : answers) {
        const double error = chance_of_index(index.of(answer.scores)) - (answer.is_right ? 1 : 0);
        of_base += error;
        of_best += error * best_part.of(answer.scores);
        of_lead += error * lead_part.of(answer.scores);
    }

    EXPECT_NEAR(of_base, 0.0, 0.001);
    EXPECT_NEAR(of_best, 0.0, 0.001);
    EXPECT_NEAR(of_lead, 0.0, 0.001);
    EXPECT_GT(index.of_best, 0);
    EXPECT_GT(index.of_lead, 0);
}

TEST(AnswerIndexTest, WeightThatWouldBeNegativeIsZero) {
    std::vector<Judged_answer> answers;
    for (int i = 0; i < 100; ++i) {
        // The better the score, the worse the answer, and with a lead the answers are right.
        answers.push_back({{0.9, 0.9}, false});
        answers.push_back({{0.1, 0.0}, true});
    }
    const Answer_index index = Answer_index::fit(answers);

    EXPECT_EQ(index.of_best, 0);
    EXPECT_GT(index.of_lead, 0);
}

TEST(AnswerIndexTest, ManyRightAnswersGiveFiniteWeights) {
    const std::vector<Judged_answer> answers(1000, {{1.0, 0.0}, true});
    const Answer_index index = Answer_index::fit(answers);

    EXPECT_GT(chance_of_index(index.of({1.0, 0.0})), 0.999);
    EXPECT_LT(index.of_lead, 100 * Answer_index::kUnit);
}

TEST(AnswerIndexTest, IndexOfAChanceIsTheReverseOfItsChance) {
    for (const double chance : {0.001, 0.25, 0.5, 0.9, 0.9999}) {
        EXPECT_NEAR(chance_of_index(index_of_chance(chance)), chance, 1e-12) << chance;
    }
    EXPECT_DOUBLE_EQ(index_of_chance(0.0), index_of_chance(0.000001));
    EXPECT_DOUBLE_EQ(index_of_chance(1.0), index_of_chance(0.999999));
}

}  // namespace

}  // namespace zandrel
