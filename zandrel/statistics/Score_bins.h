// find_bins_of_values: the bins of many scores at once.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_SCORE_BINS_H_
#define ZANDREL_STATISTICS_SCORE_BINS_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace zandrel::detail {

// The greatest error of `rough_atan`.
constexpr double kRoughAtanError = 2e-5;

// An approximation of the arc tangent. Between -1 and 1 it is a polynomial with an error
// below 1.2e-5. For x > 1 we use that atan(x) = pi / 2 - atan(1 / x). It has no branches, so that
// the compiler can make vector instructions of a loop.
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

// The number of values of one call, so that the compiler can use vector instructions.
constexpr std::size_t kValuesAtOnce = 16;

// Computes the score of each value, as `Match_scorer::score_of_value` does, and writes the bins of
// the scores to `bins`. There are `bin_count` equal bins from 0 to 1.
void find_bins_of_values(const std::array<double, kValuesAtOnce>& values, int bin_count,
                         int* bins) noexcept;

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_SCORE_BINS_H_
