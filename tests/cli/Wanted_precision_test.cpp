#include "cli/evaluate/Wanted_precision.h"

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

// 99 right ones of 100 prove 0.95 (0.9564), and 199 of 201 do too (0.9708), but 200 of 211 do not:
// 0.9166.
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
    add_answers(answers, 0.9, 2, 0);
    EXPECT_FALSE(threshold_for(0.5, answers).has_value());
    add_answers(answers, 0.9, 1, 0);  // 3 / (3 + 1.645^2) = 0.526
    EXPECT_EQ(threshold_for(0.5, answers), 0.0);
}

// Below the wrong answers at 0.8 are enough right ones.
TEST(WantedPrecisionTest, WrongAnswersOfHighTrustMayBeFollowedByRightOnes) {
    Known_answers answers;
    add_answers(answers, 0.8, 3, 3);
    add_answers(answers, 0.5, 1000, 0);
    add_answers(answers, 0.25, 100, 100);

    EXPECT_EQ(threshold_for(0.99, answers), 0.2501);
}

TEST(WantedPrecisionTest, ThresholdOfTrainingTextsIsAppliedToTestTexts) {
    Known_answers training;
    add_answers(training, 0.75, 100, 0);
    add_answers(training, 0.5, 100, 100);
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
