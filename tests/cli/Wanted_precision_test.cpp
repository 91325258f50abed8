#include "cli/evaluate/Wanted_precision.h"

#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using Known_answers = std::vector<Trusted_answer>;

// So many answers of one trust, of which `wrong` are wrong.
void add_answers(Known_answers& answers, double trust, std::size_t count, std::size_t wrong) {
    for (std::size_t i = 0; i < count; ++i) {
        answers.push_back({trust, i >= wrong});
    }
}

// The walk begins with 59 answers. 1 of 100 is enough (0.0371). 2 wrong ones of 201 prove 0.95: the
// chance is 0.95^201 + 201 * 0.05 * 0.95^200 + 20,100 * 0.0025 * 0.95^199 = 0.0023. 11 of 211 do
// not prove it, as 5 % of 211 are 10.6.
TEST(WantedPrecisionTest, SmallestThresholdThatProvesThePrecisionIsChosen) {
    Known_answers answers;
    add_answers(answers, 0.3, 10, 9);
    add_answers(answers, 0.9, 100, 1);
    add_answers(answers, 0.61234, 101, 1);

    EXPECT_EQ(threshold_for(0.95, answers), 0.3001);
    EXPECT_EQ(threshold_for(0.9, answers), 0.0);
}

// 98 of 100 are more than 0.95, but could be chance.
TEST(WantedPrecisionTest, ShareThatCouldBeChanceProvesNothing) {
    Known_answers answers;
    add_answers(answers, 0.9, 100, 2);
    EXPECT_FALSE(threshold_for(0.95, answers).has_value());
    add_answers(answers, 0.9, 900, 18);
    EXPECT_EQ(threshold_for(0.95, answers), 0.0);
}

TEST(WantedPrecisionTest, FewRightAnswersProveNothing) {
    Known_answers answers;
    EXPECT_FALSE(threshold_for(0.5, answers).has_value());
    add_answers(answers, 0.9, 4, 0);
    EXPECT_FALSE(threshold_for(0.5, answers).has_value());
    add_answers(answers, 0.9, 1, 0);  // 0.5^5 = 0.03
    EXPECT_EQ(threshold_for(0.5, answers), 0.0);
}

// 0.99 needs 299 answers, and the first threshold with so many is 0.5.
TEST(WantedPrecisionTest, WrongAnswersOfHighestTrustMayBeFollowedByRightOnes) {
    Known_answers answers;
    add_answers(answers, 0.8, 3, 3);
    add_answers(answers, 0.5, 1000, 0);
    add_answers(answers, 0.25, 100, 100);

    EXPECT_EQ(threshold_for(0.99, answers), 0.2501);
}

// 371 answers are fewer than three times 124, so the walk begins with 59.
TEST(WantedPrecisionTest, FewAnswersBeginWithTheFewestThatCanProve) {
    Known_answers answers;
    add_answers(answers, 0.8, 59, 0);
    add_answers(answers, 0.5, 64, 30);
    add_answers(answers, 0.25, 248, 248);
    EXPECT_EQ(threshold_for(0.95, answers), 0.5001);

    add_answers(answers, 0.25, 1, 1);  // now the walk begins with 124, of which 30 are wrong
    EXPECT_FALSE(threshold_for(0.95, answers).has_value());
}

// The most certain 150 answers have 10 wrong ones, so they do not prove 0.95. All 2,000 would prove
// it.
TEST(WantedPrecisionTest, NoThresholdIsTestedBelowOneThatProvesNothing) {
    Known_answers answers;
    add_answers(answers, 0.8, 150, 10);
    add_answers(answers, 0.5, 1850, 20);

    EXPECT_FALSE(threshold_for(0.95, answers).has_value());
}

// A twentieth of 4,000 answers is 200: the most certain 150 are not tested without 50 others.
TEST(WantedPrecisionTest, FirstThresholdHasATwentiethOfTheAnswers) {
    Known_answers answers;
    add_answers(answers, 0.8, 150, 4);
    add_answers(answers, 0.5, 50, 0);
    add_answers(answers, 0.25, 3800, 2000);
    EXPECT_EQ(threshold_for(0.95, answers), 0.2501);  // 4 of 200; 4 of 150 prove nothing

    Known_answers fewer = answers;
    fewer.resize(3000);
    EXPECT_FALSE(threshold_for(0.95, fewer).has_value());
}

// Every answer is right with 0.949, so no threshold is right. Each of 400 data sets has 300
// answers. If the chance of a wrong threshold is 0.05, 35 or more wrong ones have a chance of 0.1
// %.
TEST(WantedPrecisionTest, WrongThresholdIsFoundInFivePercentAtMost) {
    std::mt19937_64 generator;  // the same numbers in every run
    std::size_t found = 0;
    for (int set = 0; set < 400; ++set) {
        Known_answers answers;
        for (int i = 0; i < 300; ++i) {
            answers.push_back({i / 300.0, generator() % 1000 < 949});
        }
        found += threshold_for(0.95, answers).has_value() ? 1U : 0U;
    }
    EXPECT_LT(found, 35U);
    EXPECT_GT(found, 5U);
}

TEST(WantedPrecisionTest, ThresholdOfTrainingTextsIsAppliedToTestTexts) {
    Known_answers training;
    add_answers(training, 0.75, 150, 0);
    add_answers(training, 0.5, 50, 50);
    const Known_answers test = {{0.75, true}, {0.6, false}, {0.5, true}, {0.25, true}};

    const Wanted_precision result = precision_by_training(0.95, training, test);

    EXPECT_EQ(result.wanted, 0.95);
    EXPECT_EQ(result.threshold, 0.5001);
    EXPECT_EQ(result.chosen_from, 200U);
    EXPECT_EQ(result.fold_count, 0U);
    EXPECT_EQ(result.texts, 4U);
    EXPECT_EQ(result.answered, 2U);
    EXPECT_EQ(result.right, 1U);
    EXPECT_EQ(result.precision(), 0.5);
    EXPECT_EQ(result.share(), 0.5);
}

// The first fold has wrong answers at 0.75, the second one at 0.5. So the second fold is answered
// with the threshold 0.7501 of the first one: 100 of 100 are right at 0.875. The first fold is
// answered with 0.5001, and its 20 wrong answers at 0.75 count.
TEST(WantedPrecisionTest, EachFoldIsAnsweredWithTheThresholdOfTheOthers) {
    Known_answers test;
    add_answers(test, 0.875, 100, 0);
    add_answers(test, 0.75, 20, 20);
    std::vector<std::size_t> folds(test.size(), 0);
    add_answers(test, 0.875, 100, 0);
    add_answers(test, 0.5, 20, 20);
    folds.resize(test.size(), 1);

    const Wanted_precision result = precision_by_folds(0.95, test, folds, 2);

    EXPECT_EQ(result.fold_count, 2U);
    EXPECT_EQ(result.chosen_from, 240U);
    EXPECT_EQ(result.texts, 240U);
    EXPECT_EQ(result.answered, 220U);
    EXPECT_EQ(result.right, 200U);
    EXPECT_EQ(result.threshold, 0.7501);
}

TEST(WantedPrecisionTest, NothingIsAnsweredWithoutAThreshold) {
    const Wanted_precision result = precision_by_training(0.95, {}, {{0.75, true}});

    EXPECT_FALSE(result.threshold.has_value());
    EXPECT_EQ(result.texts, 1U);
    EXPECT_EQ(result.answered, 0U);
    EXPECT_EQ(result.precision(), 0.0);
}

}  // namespace

}  // namespace zandrel::cli
