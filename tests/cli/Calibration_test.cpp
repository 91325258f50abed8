#include "cli/evaluate/Calibration.h"

#include <cmath>
#include <initializer_list>
#include <utility>

#include <gtest/gtest.h>

namespace cli {

namespace {

double calibration_error_of(std::initializer_list<std::pair<double, bool>> predictions) {
    Calibration_bins bins;
    for (const auto& [score, is_right] : predictions) {
        bins.add(score, is_right);
    }
    return bins.error();
}

TEST(CalibrationBinsTest, IsZeroWithoutPredictions) {
    EXPECT_EQ(Calibration_bins().error(), 0.0);
}

TEST(CalibrationBinsTest, ComparesMeanScoreWithShareOfRightOnesInABin) {
    // 0.6875, 0.71875 and 0.703125 begin with 10 fifteenths: the mean is 2.109375 / 3.
    EXPECT_DOUBLE_EQ(calibration_error_of({{0.6875, true}, {0.71875, false}, {0.703125, false}}),
                     (2.109375 - 1) / 3);
    EXPECT_EQ(calibration_error_of({{0.5, true}, {0.5, false}}), 0.0);
}

TEST(CalibrationBinsTest, WeighsBinsByTheirPredictions) {
    // |0.25 - 0| for one of four, |0.75 - 1| for three of four.
    EXPECT_DOUBLE_EQ(
        calibration_error_of({{0.25, false}, {0.75, true}, {0.75, true}, {0.75, true}}),
        0.25 * 0.25 + 0.75 * 0.25);
}

TEST(CalibrationBinsTest, DoesNotLetBinsMakeUpForEachOther) {
    // In one bin these would agree: the mean of the scores is 0.5, and half of them are right.
    EXPECT_DOUBLE_EQ(calibration_error_of({{0.25, true}, {0.75, false}}), 0.75);
}

TEST(CalibrationBinsTest, BeginsBinAtEachFifteenth) {
    for (int i = 1; i < 15; ++i) {
        SCOPED_TRACE(i);
        const double border = i / 15.0;
        const double below = std::nextafter(border, 0.0);
        // In different bins the errors add up; in one bin the two scores would be weighed against
        // the one that is right.
        EXPECT_DOUBLE_EQ(calibration_error_of({{border, true}, {below, false}}),
                         ((1 - border) + below) / 2);
    }
}

TEST(CalibrationBinsTest, KeepsScoresBetweenBordersTogether) {
    for (int i = 0; i < 15; ++i) {
        SCOPED_TRACE(i);
        const double low = (i + 0.1) / 15;
        const double high = (i + 0.9) / 15;
        EXPECT_DOUBLE_EQ(calibration_error_of({{low, true}, {high, false}}),
                         std::abs(low + high - 1) / 2);
    }
}

TEST(CalibrationBinsTest, PutsScoreOneInTheLastBin) {
    EXPECT_DOUBLE_EQ(calibration_error_of({{1.0, false}, {0.9375, true}}), 0.9375 / 2);
}

TEST(CalibrationBinsTest, PutsScoreZeroInTheFirstBin) {
    EXPECT_DOUBLE_EQ(calibration_error_of({{0.0, true}, {0.0625, false}}), (1 - 0.0625) / 2);
}

TEST(CalibrationBinsTest, TakesWrongZerosAtOnceAsOneByOne) {
    Calibration_bins bins;
    bins.add(0.03125, true);
    bins.add_wrong_zeros(3);

    EXPECT_EQ(bins.count(), 4U);
    EXPECT_DOUBLE_EQ(
        bins.error(),
        calibration_error_of({{0.03125, true}, {0.0, false}, {0.0, false}, {0.0, false}}));
    EXPECT_DOUBLE_EQ(bins.error(), 0.96875 / 4);
}

// Two texts. Of the first both labels have a score; of the second its own has none.
Calibration_counter two_texts() {
    Calibration_counter counter;
    counter.add({"a"}, {{"a", 0.75}, {"b", 0.25}});
    counter.add({"b"}, {{"a", 0.75}});
    return counter;
}

TEST(CalibrationTest, BinsBestLabels) {
    // Both scores are 0.75, and one is right.
    EXPECT_DOUBLE_EQ(two_texts().calibration(2).ece_top, 0.25);
}

TEST(CalibrationTest, BinsAllPairsOfTextAndLabel) {
    // |1.5 - 1| at 0.75, |0.25 - 0| at 0.25, |0 - 1| at 0: over four pairs.
    EXPECT_DOUBLE_EQ(two_texts().calibration(2).ece_pairs, 1.75 / 4);
}

TEST(CalibrationTest, SumsSquaresOverLabelsAndAveragesThemOverTexts) {
    // 0.0625 + 0.0625 and 0.5625 + 1.
    EXPECT_DOUBLE_EQ(two_texts().calibration(2).brier, 1.6875 / 2);
}

TEST(CalibrationTest, CountsLabelsWithoutResultAsScoreZero) {
    const Calibration calibration = two_texts().calibration(4);

    // Two labels more for two texts: four pairs without an error.
    EXPECT_DOUBLE_EQ(calibration.ece_pairs, 1.75 / 8);
    EXPECT_DOUBLE_EQ(calibration.ece_top, 0.25);
    EXPECT_DOUBLE_EQ(calibration.brier, 1.6875 / 2);
}

TEST(CalibrationTest, CountsEachLabelOfText) {
    Calibration_counter counter;
    counter.add({"b", "a", "x"}, {{"a", 0.75}, {"b", 0.75}, {"c", 0.5}});
    const Calibration calibration = counter.calibration(4);

    // |1.5 - 2| at 0.75, 0.5 at 0.5, 1 at 0 for x: over four pairs.
    EXPECT_DOUBLE_EQ(calibration.ece_top, 0.25);
    EXPECT_DOUBLE_EQ(calibration.ece_pairs, 2.0 / 4);
    EXPECT_DOUBLE_EQ(calibration.brier, 0.0625 + 0.0625 + 0.25 + 1.0);
}

TEST(CalibrationTest, CountsTextWithoutResultAsWrongAtScoreZero) {
    Calibration_counter counter;
    counter.add({"a"}, {});
    counter.add({"a"}, {{"a", 0.5}});
    const Calibration calibration = counter.calibration(1);

    // The best label: 0 and wrong, which is no error, and 0.5 and right.
    EXPECT_DOUBLE_EQ(calibration.ece_top, 0.25);
    // The pairs: 0 and right, 0.5 and right.
    EXPECT_DOUBLE_EQ(calibration.ece_pairs, 0.75);
    EXPECT_DOUBLE_EQ(calibration.brier, 1.25 / 2);
}

TEST(CalibrationTest, IsZeroIfScoresAreCertainAndRight) {
    Calibration_counter counter;
    counter.add({"a"}, {{"a", 1.0}});
    counter.add({"a", "b"}, {{"b", 1.0}, {"a", 1.0}});
    const Calibration calibration = counter.calibration(3);

    EXPECT_EQ(calibration.ece_top, 0.0);
    EXPECT_EQ(calibration.ece_pairs, 0.0);
    EXPECT_EQ(calibration.brier, 0.0);
}

TEST(CalibrationTest, IsZeroWithoutTexts) {
    for (const std::size_t label_count : {0U, 3U}) {
        SCOPED_TRACE(label_count);
        const Calibration calibration = Calibration_counter().calibration(label_count);
        EXPECT_EQ(calibration.ece_top, 0.0);
        EXPECT_EQ(calibration.ece_pairs, 0.0);
        EXPECT_EQ(calibration.brier, 0.0);
    }
}

}  // namespace

}  // namespace cli
