// Compares the bins that are found for many values at once with the bins of the exact scores.
#include "zandrel/statistics/Score_bins.h"

#include <array>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "zandrel/statistics/Match_scorer.h"

using zandrel::detail::kRoughAtanError;

namespace {

using zandrel::detail::kValuesAtOnce;
using zandrel::detail::rough_atan;

using Values = std::array<double, kValuesAtOnce>;

constexpr double kNoLimit = std::numeric_limits<double>::infinity();

// Checks that the bins found for the values are the bins of their exact scores.
void expect_exact_bins(const Values& values, int bin_count) {
    std::array<int, kValuesAtOnce> bins = {};
    zandrel::detail::find_bins_of_values(values, bin_count, bins.data());
    for (std::size_t i = 0; i < kValuesAtOnce; ++i) {
        const double score = zandrel::detail::Match_scorer::score_of_value(values[i]);
        ASSERT_EQ(bins[i], zandrel::detail::bin_of_score(score, bin_count)) << values[i];
    }
}

TEST(RoughAtanTest, AnyNumberIsWithinTheNamedError) {
    for (int i = -400000; i <= 400000; ++i) {
        const double x = i / 20000.0;
        ASSERT_NEAR(rough_atan(x), std::atan(x), kRoughAtanError) << x;
        ASSERT_NEAR(rough_atan(static_cast<float>(x)), std::atan(x), kRoughAtanError) << x;
    }
    for (const double x : {1e3, 1e9, 1e300, kNoLimit, 1e-300}) {
        EXPECT_NEAR(rough_atan(x), std::atan(x), kRoughAtanError);
        EXPECT_NEAR(rough_atan(-x), std::atan(-x), kRoughAtanError);
    }
    EXPECT_TRUE(std::isnan(rough_atan(std::nan(""))));
}

TEST(ScoreBinsTest, BinIsThatOfExactScore) {
    for (const int bin_count : {30, 900, 300000, 200000010}) {
        for (int begin = -20000; begin <= 20000; begin += static_cast<int>(kValuesAtOnce)) {
            Values values = {};
            for (std::size_t i = 0; i < kValuesAtOnce; ++i) {
                values[i] = (begin + static_cast<int>(i)) / 10000.0 + 0.25;
            }
            expect_exact_bins(values, bin_count);
        }
    }
}

// A score of k / 30 is the border of two bins; rounding decides on which side it is. Every second
// value is 0, whose score is exactly 0.5.
TEST(ScoreBinsTest, BinAtBordersIsThatOfExactScore) {
    const double pi = std::acos(-1.0);
    for (int border = 1; border < 30; ++border) {
        const double middle = std::tan(pi * (border / 30.0 - 0.5)) / pi;
        for (int step = -100; step <= 100; ++step) {
            Values values = {};
            for (std::size_t i = 0; i < kValuesAtOnce; i += 2) {
                values[i] = middle + (step + 0.125 * static_cast<double>(i)) * 1e-16;
            }
            expect_exact_bins(values, 30);
        }
    }
}

// The score of NaN is in the first bin.
TEST(ScoreBinsTest, BinOfValueWithoutLimitOrNumberIsThatOfExactScore) {
    const double none = std::nan("");
    const double greatest = std::numeric_limits<double>::max();
    const Values values = {0.0,      1.0,       -1.0,   kNoLimit, -kNoLimit, none,  -none, -0.0,
                           greatest, -greatest, 1e-300, -1e-300,  1e30,      -1e30, 1e39,  -1e39};
    for (const int bin_count : {30, 900, 300000}) {
        expect_exact_bins(values, bin_count);
    }
    std::array<int, kValuesAtOnce> bins = {};
    zandrel::detail::find_bins_of_values(values, 30, bins.data());
    EXPECT_EQ(bins[0], 15);
    EXPECT_EQ(bins[3], 29);
    EXPECT_EQ(bins[4], 0);
    EXPECT_EQ(bins[5], 0);
}

}  // namespace
