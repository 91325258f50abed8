#include "cli/evaluate/Interval.h"

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

void expect_interval(const Interval& interval, double low, double high) {
    EXPECT_NEAR(interval.low, low, 0.00005);
    EXPECT_NEAR(interval.high, high, 0.00005);
}

// Worked out with a pocket calculator, from the formula in Interval.cpp.
TEST(IntervalTest, ShareHasTheIntervalOfWilson) {
    expect_interval(share_interval(8, 10), 0.4902, 0.9433);
    expect_interval(share_interval(50, 100), 0.4038, 0.5962);
    expect_interval(share_interval(1, 2), 0.0945, 0.9055);
}

// The low end p of 2,117 of 2,189 fulfils (share - p)^2 = z^2 p (1 - p) / n, and so does the high
// end.
TEST(IntervalTest, EndsOfAShareSolveTheEquationOfWilson) {
    const double share = 2117.0 / 2189;
    const Interval interval = share_interval(2117, 2189);

    for (const double end : {interval.low, interval.high}) {
        EXPECT_NEAR((share - end) * (share - end), 3.841459 * end * (1 - end) / 2189, 1e-10);
    }
    EXPECT_LT(interval.low, share);
    EXPECT_GT(interval.high, share);
}

// The other end is 1 / (1 + z^2 / 10).
TEST(IntervalTest, IntervalOfNoHitAndOfAllHitsIsNotEmpty) {
    expect_interval(share_interval(0, 10), 0.0, 0.2775);
    expect_interval(share_interval(10, 10), 0.7225, 1.0);
    EXPECT_EQ(share_interval(0, 7).low, 0.0);
    EXPECT_EQ(share_interval(7, 7).high, 1.0);
}

TEST(IntervalTest, NothingIsKnownWithoutTexts) {
    expect_interval(share_interval(0, 0), 0.0, 1.0);
    expect_interval(mean_share_interval(0.5, 0.0, 0), 0.0, 1.0);
    expect_interval(f1_interval({}), 0.0, 1.0);
    EXPECT_EQ(least_share(0, 0), 0.0);
}

// For one side z is 1.645. 99 of 100: (0.99 + 0.013528 - 1.645 sqrt(0.000099 + 0.0000676)) /
// 1.027055 = 0.9564.
TEST(IntervalTest, LeastShareIsTheLowEndForOneSide) {
    EXPECT_NEAR(least_share(99, 100), 0.9564, 0.00005);
    EXPECT_NEAR(least_share(98, 100), 0.9414, 0.00005);
    EXPECT_EQ(least_share(0, 100), 0.0);
    EXPECT_GT(least_share(8, 10), share_interval(8, 10).low);
}

// 0.8 * 0.2 / 10 = 0.016: the variance of the share of 10 texts.
TEST(IntervalTest, MeanOfSharesHasTheIntervalOfAShareWithItsVariance) {
    const Interval interval = mean_share_interval(0.8, 0.016, 1000);

    expect_interval(interval, 0.4902, 0.9433);
}

TEST(IntervalTest, NumberOfTextsLimitsTheCertaintyOfAMean) {
    expect_interval(mean_share_interval(1.0, 0.0, 10), 0.7225, 1.0);
    expect_interval(mean_share_interval(0.0, 0.0, 10), 0.0, 0.2775);
    expect_interval(mean_share_interval(0.8, 0.0001, 10), 0.4902, 0.9433);
}

// A variance above that of one text: as uncertain as one text.
TEST(IntervalTest, LargeVarianceIsThatOfOneText) {
    const Interval interval = mean_share_interval(0.5, 10.0, 100);

    EXPECT_NEAR(interval.low, 0.0546, 0.00005);
    EXPECT_NEAR(interval.high, 0.9454, 0.00005);
}

// Some random samples of few texts are empty, and have the figure 0.
TEST(IntervalTest, VarianceOfAFigureOfOneDoesNotMatter) {
    expect_interval(mean_share_interval(1.0, 0.05, 10), 0.7225, 1.0);
}

// 8 hits among 10 texts with the label or given it: 0.4902 to 0.9433. F1 of both ends: 0.9804 /
// 1.4902 = 0.6579 and 1.8866 / 1.9433 = 0.9708. F1 itself is 16 / 18.
TEST(IntervalTest, F1OfALabelIsBetweenTheF1sOfTheEndsOfItsHits) {
    const Tally tally = {8, 1, 1};

    expect_interval(f1_interval(tally), 0.6579, 0.9708);
    EXPECT_LT(f1_interval(tally).low, tally.f1());
}

TEST(IntervalTest, PrecisionIsOfGivenTextsAndRecallOfTextsWithTheLabel) {
    const Tally tally = {8, 92, 2};

    expect_interval(precision_interval(tally), 0.4902, 0.9433);
    EXPECT_EQ(recall_interval(tally).low, share_interval(8, 100).low);
    EXPECT_EQ(recall_interval(tally).high, share_interval(8, 100).high);
}

// The samples are 0.01 too high, so the middle is 0.04; the distance is 1.96 * 0.01.
TEST(IntervalTest, MiddleOfAnErrorIsMovedByTheExcessOfTheSamples) {
    expect_interval(error_interval(0.05, {0.06, 0.0001}), 0.0204, 0.0596);
}

TEST(IntervalTest, IntervalOfAnErrorContainsItAndIsNotNegative) {
    expect_interval(error_interval(0.05, {0.09, 0.000001}), 0.0080, 0.05);
    expect_interval(error_interval(0.05, {0.02, 0.000001}), 0.05, 0.0820);
    EXPECT_EQ(error_interval(0.01, {0.02, 0.0001}).low, 0.0);
    expect_interval(error_interval(0.0, {0.0, 0.0}), 0.0, 0.0);
}

}  // namespace

}  // namespace zandrel::cli
