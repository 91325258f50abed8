// find_bins_of_values: the bins of many scores at once.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_SCORE_BINS_H_
#define ZANDREL_STATISTICS_SCORE_BINS_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace zandrel::detail {

// How far `rough_atan` is from the real one at most.
constexpr double kRoughAtanError = 2e-5;

// The arc tangent at a part of its price: a polynomial whose error is below 1.2e-5 between -1 and
// 1; outside we use that atan(x) = pi / 2 - atan(1 / x). It has no branches, so that the compiler
// can make vector instructions of a loop.
template <class Number>
[[gnu::always_inline]] inline Number rough_atan(Number x) noexcept {
    const auto number = [](double value) { return static_cast<Number>(value); };
    const Number one = number(1.0);
    const Number size = std::abs(x);
    const Number t = std::min(size, one) / std::max(size, one);
    const Number t2 = t * t;
    const Number within_1 =
        t * (number(0.9998660) +
             t2 * (number(-0.3302995) +
                   t2 * (number(0.1801410) + t2 * (number(-0.0851330) + t2 * number(0.0208351)))));
    const bool is_outside = size > one;
    const Number start = is_outside ? number(1.5707963267948966) : number(0.0);
    const Number sign = is_outside ? -one : one;
    return std::copysign(start + sign * within_1, x);
}

// Values that are looked at together, so that the compiler can use vector instructions.
constexpr std::size_t kValuesAtOnce = 16;

// Finds the bin, of `bin_count`, of `Match_scorer::score_of_value` of each value, and writes them
// to `bins`.
void find_bins_of_values(const std::array<double, kValuesAtOnce>& values, int bin_count,
                         int* bins) noexcept;

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_SCORE_BINS_H_
