// Compares the ranges that contain raw scores with the exact scores.
#include "zandrel/statistics/Score_bound.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace {

using zandrel::detail::Score_range;
using zandrel::detail::Score_ranges;

constexpr double kPi = 3.141592653589793;

// The score at the centre of a bin.
double centre(int bin) {
    return (bin + 0.5) / 30;
}

void expect_range_of(double x) {
    SCOPED_TRACE(x);
    const double raw = std::atan(kPi * x) / kPi + 0.5;
    const Score_range* const range = Score_ranges::instance().find(x);
    ASSERT_NE(range, nullptr);
    EXPECT_LE(raw, range->greatest);
    EXPECT_GE(raw, range->greatest - 0.006);
    const auto& [first, middle, last] = range->bins;
    EXPECT_TRUE(first == 0 || centre(first) <= raw);
    EXPECT_TRUE(last == 29 || centre(last) >= raw);
    EXPECT_TRUE(middle == last || middle == first + 1);
    EXPECT_LE(last, middle + 1);
}

TEST(ScoreRangesTest, RangeContainsTheRawScoreAndItsBinsAreAroundIt) {
    for (int i = -50000; i <= 50000; ++i) {
        expect_range_of(i / 10000.0);
    }
    for (const double x : {1e2, 1e5, 1e300, -1e2, -1e5, -1e300, 1e-300, -0.0}) {
        expect_range_of(x);
    }
}

TEST(ScoreRangesTest, EdgeOfARangeIsInOneOfItsNeighbours) {
    for (int i = -127; i <= 127; ++i) {
        const double place = i / 128.0;
        const double edge = place / (1.0 - std::abs(place)) / kPi;
        expect_range_of(edge);
        expect_range_of(std::nextafter(edge, 1e9));
        expect_range_of(std::nextafter(edge, -1e9));
    }
}

TEST(ScoreRangesTest, EndlessArgumentAndNoNumberHaveNoRange) {
    constexpr double kEndless = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Score_ranges::instance().find(kEndless), nullptr);
    EXPECT_EQ(Score_ranges::instance().find(-kEndless), nullptr);
    EXPECT_EQ(Score_ranges::instance().find(std::nan("")), nullptr);
}

}  // namespace
