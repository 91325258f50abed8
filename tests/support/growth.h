// ExpectNoSquareGrowth: checks that the time of some work does not grow as the square of its input.
#ifndef ZANDREL_TESTS_SUPPORT_GROWTH_H_
#define ZANDREL_TESTS_SUPPORT_GROWTH_H_

#include <algorithm>
#include <ctime>
#include <limits>

#include <gtest/gtest.h>

// Runs `work(n)` and `work(4 * n)` and compares the CPU time of this process. Linear work takes 4
// times as long, quadratic work 16 times. The bound is between the two and far from both, since a
// table that no longer fits into a cache costs more for each entry. Other programs can only add
// time, so the best of several tries counts. REQUIRES: `work(n)` takes at least some milliseconds.
template <class Work>
void ExpectNoSquareGrowth(int n, Work&& work) {
    constexpr double kBound = 9.0;
    constexpr int kTries = 5;
    const auto cpu_time = [&work](int size) {
        const std::clock_t start = std::clock();
        work(size);
        return static_cast<double>(std::max<std::clock_t>(std::clock() - start, 1));
    };
    double least_small = std::numeric_limits<double>::max();
    double least_large = std::numeric_limits<double>::max();
    for (int i = 0; i < kTries && (i == 0 || least_large >= kBound * least_small); ++i) {
        least_small = std::min(least_small, cpu_time(n));
        least_large = std::min(least_large, cpu_time(4 * n));
    }
    EXPECT_LT(least_large, kBound * least_small) << "square growth from " << n << " to " << 4 * n;
}

#endif  // ZANDREL_TESTS_SUPPORT_GROWTH_H_
