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
}

// 0.95^58 = 0.0510 and 0.95^59 = 0.0485. 0.99^298 = 0.0500 (0.05003) and 0.99^299 = 0.0495. 0.5^4 =
// 0.0625 and 0.5^5 = 0.03125.
TEST(IntervalTest, OnlyRightAnswersProveAShareIfTheirChanceIsSmall) {
    EXPECT_FALSE(proves_share(58, 58, 0.95));
    EXPECT_TRUE(proves_share(59, 59, 0.95));
    EXPECT_FALSE(proves_share(298, 298, 0.99));
    EXPECT_TRUE(proves_share(299, 299, 0.99));
    EXPECT_FALSE(proves_share(4, 4, 0.5));
    EXPECT_TRUE(proves_share(5, 5, 0.5));
}

// At most 1 wrong of 100, if 5 % are wrong: 0.95^100 + 100 * 0.05 * 0.95^99 = 0.0059 + 0.0312 =
// 0.0371. At most 2: 4950 * 0.05^2 * 0.95^98 = 0.0812 more.
TEST(IntervalTest, ShareIsProvedByTheExactChanceOfItsMisses) {
    EXPECT_TRUE(proves_share(99, 100, 0.95));
    EXPECT_FALSE(proves_share(98, 100, 0.95));
    // At most 1 of 3, if half are wrong: (1 + 3) / 8. At most 2 of 10: (1 + 10 + 45) / 1024 =
    // 0.0547, and at most 1: 0.0107.
    EXPECT_FALSE(proves_share(2, 3, 0.5));
    EXPECT_FALSE(proves_share(8, 10, 0.5));
    EXPECT_TRUE(proves_share(9, 10, 0.5));
}

// Of 1,000,000 texts, 5 % have the deviation sqrt(0.05 * 0.95 * 1,000,000) = 218, and 1.645
// deviations are 358. 0.95^1,000,000 is too small for a number.
TEST(IntervalTest, ShareOfManyTextsIsProvedAsByANormalDistribution) {
    EXPECT_TRUE(proves_share(950365, 1000000, 0.95));
    EXPECT_FALSE(proves_share(950350, 1000000, 0.95));
    EXPECT_TRUE(proves_share(1000000, 1000000, 0.95));
    EXPECT_FALSE(proves_share(0, 1000000, 0.95));
}

TEST(IntervalTest, NothingIsProvedWithoutTexts) {
    EXPECT_FALSE(proves_share(0, 0, 0.5));
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
TEST(IntervalTest, VarianceAboveThatOfOneTextIsLimited) {
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

TEST(IntervalTest, PrecisionDividesByGivenTextsAndRecallByTextsWithTheLabel) {
    const Tally tally = {8, 92, 2};

    expect_interval(precision_interval(tally), 0.4902, 0.9433);
    EXPECT_EQ(recall_interval(tally).low, share_interval(8, 100).low);
    EXPECT_EQ(recall_interval(tally).high, share_interval(8, 100).high);
}

TEST(IntervalTest, MeanReachesTwoDeviationsToBothSidesButNotBelowZero) {
    expect_interval(mean_interval(0.05, 0.0001), 0.0304, 0.0696);
    expect_interval(mean_interval(0.01, 0.0001), 0.0, 0.0296);
}

// Chance makes errors of 0.02 + 1.96 * 0.01 = 0.0396. So at least 0.05 - 0.0396 is no chance. The
// high end is 0.05 + 1.96 * 0.02.
TEST(IntervalTest, CalibrationErrorIsReducedByTheMostThatChanceMakes) {
    expect_interval(calibration_interval(0.05, {0.02, 0.0001}, 0.0004, 0.0), 0.0104, 0.0892);
}

TEST(IntervalTest, CalibrationErrorThatChanceExplainsMayBeZero) {
    EXPECT_EQ(calibration_interval(0.0395, {0.02, 0.0001}, 0.0, 0.0).low, 0.0);
    EXPECT_GT(calibration_interval(0.0397, {0.02, 0.0001}, 0.0, 0.0).low, 0.0);
}

TEST(IntervalTest, CalibrationErrorHasALeastHighEnd) {
    expect_interval(calibration_interval(0.0, {0.0, 0.0}, 0.0, 0.03), 0.0, 0.03);
    expect_interval(calibration_interval(0.05, {0.0, 0.0}, 0.0, 0.03), 0.05, 0.05);
}

// 0.9 + 1.96 * 0.1 is above 1.
TEST(IntervalTest, CalibrationErrorIsAtMostOne) {
    EXPECT_EQ(calibration_interval(0.9, {0.02, 0.0001}, 0.01, 0.0).high, 1.0);
}

}  // namespace

}  // namespace zandrel::cli
