#include "cli/evaluate/Calibration.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <random>
#include <utility>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

double calibration_error_of(std::initializer_list<std::pair<double, bool>> predictions) {
    Calibration_bins bins;
    for (const auto& [score, is_right] : predictions) {
        bins.add(score, is_right);
    }
    return bins.error();
}

TEST(CalibrationBinsTest, WithoutPredictionsTheErrorIsZero) {
    EXPECT_EQ(Calibration_bins().error(), 0.0);
}

TEST(CalibrationBinsTest, MeanScoreIsComparedWithTheShareOfRightPredictionsInABin) {
    // 0.6875, 0.71875 and 0.703125 are all in the bin from 10/15 on. Their mean is 2.109375 / 3.
    EXPECT_DOUBLE_EQ(calibration_error_of({{0.6875, true}, {0.71875, false}, {0.703125, false}}),
                     (2.109375 - 1) / 3);
    EXPECT_EQ(calibration_error_of({{0.5, true}, {0.5, false}}), 0.0);
}

TEST(CalibrationBinsTest, BinsAreWeightedByTheirPredictions) {
    // The error is |0.25 - 0| in the bin of one prediction, and |0.75 - 1| in the bin of the three
    // others.
    EXPECT_DOUBLE_EQ(
        calibration_error_of({{0.25, false}, {0.75, true}, {0.75, true}, {0.75, true}}),
        0.25 * 0.25 + 0.75 * 0.25);
}

TEST(CalibrationBinsTest, ErrorsOfDifferentBinsDoNotCancel) {
    // In a single bin there would be no error: the mean score is 0.5, and half of the predictions
    // are right.
    EXPECT_DOUBLE_EQ(calibration_error_of({{0.25, true}, {0.75, false}}), 0.75);
}

TEST(CalibrationBinsTest, BinBeginsAtEachFifteenth) {
    for (int i = 1; i < 15; ++i) {
        SCOPED_TRACE(i);
        const double border = i / 15.0;
        const double below = std::nextafter(border, 0.0);
        // In different bins the errors are added. In a single bin the mean of the two scores would
        // be compared with the share of right predictions.
        EXPECT_DOUBLE_EQ(calibration_error_of({{border, true}, {below, false}}),
                         ((1 - border) + below) / 2);
    }
}

TEST(CalibrationBinsTest, ScoresBetweenBordersAreInOneBin) {
    for (int i = 0; i < 15; ++i) {
        SCOPED_TRACE(i);
        const double low = (i + 0.1) / 15;
        const double high = (i + 0.9) / 15;
        EXPECT_DOUBLE_EQ(calibration_error_of({{low, true}, {high, false}}),
                         std::abs(low + high - 1) / 2);
    }
}

TEST(CalibrationBinsTest, ScoreOneIsInTheLastBin) {
    EXPECT_DOUBLE_EQ(calibration_error_of({{1.0, false}, {0.9375, true}}), 0.9375 / 2);
}

TEST(CalibrationBinsTest, ScoreZeroIsInTheFirstBin) {
    EXPECT_DOUBLE_EQ(calibration_error_of({{0.0, true}, {0.0625, false}}), (1 - 0.0625) / 2);
}

TEST(CalibrationBinsTest, WrongZerosAddedTogetherCountLikeSingleOnes) {
    Calibration_bins bins;
    bins.add(0.03125, true);
    bins.add_wrong_zeros(3);

    EXPECT_EQ(bins.count(), 4U);
    EXPECT_DOUBLE_EQ(
        bins.error(),
        calibration_error_of({{0.03125, true}, {0.0, false}, {0.0, false}, {0.0, false}}));
    EXPECT_DOUBLE_EQ(bins.error(), 0.96875 / 4);
}

// A counter with two texts. In the ranking of the first text both labels have scores. In the
// ranking of the second text its own label is missing.
Calibration_counter two_texts() {
    Calibration_counter counter;
    counter.add({"a"}, {{"a", 0.75}, {"b", 0.25}});
    counter.add({"b"}, {{"a", 0.75}});
    return counter;
}

TEST(CalibrationTest, BestLabelsAreBinned) {
    // Both scores are 0.75, and one of the two labels is right.
    EXPECT_DOUBLE_EQ(two_texts().calibration(2).ece_top, 0.25);
}

TEST(CalibrationTest, AllPairsOfTextAndLabelAreBinned) {
    // The errors are |1.5 - 1| in the bin of 0.75, |0.25 - 0| in that of 0.25, and |0 - 1| in that
    // of 0. Their sum is divided by the number of pairs, four.
    EXPECT_DOUBLE_EQ(two_texts().calibration(2).ece_pairs, 1.75 / 4);
}

TEST(CalibrationTest, SquaresAreSummedOverLabelsAndAveragedOverTexts) {
    // The squared errors are 0.0625 and 0.0625 for the first text, and 0.5625 and 1 for the second.
    EXPECT_DOUBLE_EQ(two_texts().calibration(2).brier, 1.6875 / 2);
}

TEST(CalibrationTest, LabelWithoutResultHasScoreZero) {
    const Calibration calibration = two_texts().calibration(4);

    // Two more labels for each of two texts make four more pairs, all without an error.
    EXPECT_DOUBLE_EQ(calibration.ece_pairs, 1.75 / 8);
    EXPECT_DOUBLE_EQ(calibration.ece_top, 0.25);
    EXPECT_DOUBLE_EQ(calibration.brier, 1.6875 / 2);
}

TEST(CalibrationTest, EachLabelOfATextCounts) {
    Calibration_counter counter;
    counter.add({"b", "a", "x"}, {{"a", 0.75}, {"b", 0.75}, {"c", 0.5}});
    const Calibration calibration = counter.calibration(4);

    EXPECT_DOUBLE_EQ(calibration.ece_top, 0.25);
    // The errors are |1.5 - 2| in the bin of 0.75, |0.5 - 0| in that of 0.5, and |0 - 1| in that of
    // 0, for x. Their sum is divided by the number of pairs, four.
    EXPECT_DOUBLE_EQ(calibration.ece_pairs, 2.0 / 4);
    EXPECT_DOUBLE_EQ(calibration.brier, 0.0625 + 0.0625 + 0.25 + 1.0);
}

TEST(CalibrationTest, TextWithoutResultIsWrongWithScoreZero) {
    Calibration_counter counter;
    counter.add({"a"}, {});
    counter.add({"a"}, {{"a", 0.5}});
    const Calibration calibration = counter.calibration(1);

    // The best labels: one has the score 0 and is wrong, which is no error; one has 0.5 and is
    // right.
    EXPECT_DOUBLE_EQ(calibration.ece_top, 0.25);
    // The pairs: one has the score 0 and is right, one has 0.5 and is right.
    EXPECT_DOUBLE_EQ(calibration.ece_pairs, 0.75);
    EXPECT_DOUBLE_EQ(calibration.brier, 1.25 / 2);
}

TEST(CalibrationTest, CertainAndRightScoresHaveNoError) {
    Calibration_counter counter;
    counter.add({"a"}, {{"a", 1.0}});
    counter.add({"a", "b"}, {{"b", 1.0}, {"a", 1.0}});
    const Calibration calibration = counter.calibration(3);

    EXPECT_EQ(calibration.ece_top, 0.0);
    EXPECT_EQ(calibration.ece_pairs, 0.0);
    EXPECT_EQ(calibration.brier, 0.0);
}

// A share of 0 of 10 is 0.2775 at most.
TEST(CalibrationTest, IntervalOfCertainAndRightScoresIsThatOfAShareOfZero) {
    Calibration_counter counter(true);
    for (int text = 0; text < 10; ++text) {
        counter.add({"a"}, {{"a", 1.0}});
    }
    const Calibration calibration = counter.calibration(5);

    EXPECT_EQ(calibration.best.interval->low, 0.0);
    EXPECT_NEAR(calibration.best.interval->high, 0.2775, 0.00005);
    EXPECT_NEAR(calibration.intervals->ece_pairs.high, 0.2775 / 5, 0.00005);
}

// Answers whose chance to be right is `gap` below their score. The scores are the greatest of three
// random numbers, but from 0.1 on.
class Random_answers {
public:
    explicit Random_answers(double gap) : m_gap(gap) {}

    Best_calibration calibration(std::size_t count) {
        Best_calibration_counter counter(true);
        for (std::size_t i = 0; i < count; ++i) {
            const double score = 0.1 + 0.9 * std::max({next(), next(), next()});
            counter.add(score, next() < score - m_gap);
        }
        return counter.calibration();
    }

private:
    double next() { return static_cast<double>(m_generator() >> 11) * 0x1p-53; }

    std::mt19937_64 m_generator;
    double m_gap;
};

// The true error is the gap, as the gap is the same in all bins. If an interval contains it with 95
// %, fewer than 134 of 150 intervals do with a chance of 0.2 %.
TEST(BestCalibrationTest, IntervalContainsTheTrueErrorInNinetyFivePercent) {
    for (const double gap : {0.0, 0.01, 0.02, 0.05, 0.1}) {
        SCOPED_TRACE(gap);
        Random_answers answers(gap);
        int covered = 0;
        for (int set = 0; set < 150; ++set) {
            const Interval interval = *answers.calibration(200).interval;
            covered += interval.low <= gap && gap <= interval.high ? 1 : 0;
        }
        EXPECT_GE(covered, 134);
    }
}

// 2,000 texts prove that scores are 0.1 too high, and that they are not 0.2 too high.
TEST(BestCalibrationTest, IntervalOfManyTextsIsShort) {
    const Interval interval = *Random_answers(0.1).calibration(2000).interval;

    EXPECT_GT(interval.low, 0.04);
    EXPECT_LT(interval.high, 0.15);
}

TEST(CalibrationTest, WithoutTextsTheErrorIsZero) {
    for (const std::size_t label_count : {0U, 3U}) {
        SCOPED_TRACE(label_count);
        const Calibration calibration = Calibration_counter().calibration(label_count);
        EXPECT_EQ(calibration.ece_top, 0.0);
        EXPECT_EQ(calibration.ece_pairs, 0.0);
        EXPECT_EQ(calibration.brier, 0.0);
    }
}

}  // namespace

}  // namespace zandrel::cli
