// Most scores need no exact arc tangent to find their bin. We add the greatest error to a rough
// score, and subtract it. If both results are in the same bin, so is the exact score, which is
// between them. For example, with 30 bins a rough score of 0.51 is in bin 15, which ends at 0.533,
// and so is the exact score. If two bins are possible, we compute the exact score.
//
// Rough scores are of type float, since twice as many of them fit in a vector. Their rounding is
// below a millionth. With very many bins, two bins are possible for every score.
//
// This source is compiled with -fno-trapping-math. No result depends on this option. Without it,
// g++ makes no vector instructions of std::min and std::max, and the loop takes four times as long.
#include "zandrel/statistics/Score_bins.h"

#include "zandrel/statistics/Match_scorer.h"

namespace zandrel::detail {

void find_bins_of_values(const std::array<double, kValuesAtOnce>& values, int bin_count,
                         int* bins) noexcept {
    constexpr double kPi = 3.141592653589793;
    const auto width = static_cast<float>(bin_count);
    const auto scale = static_cast<float>(bin_count / kPi);
    const auto error = static_cast<float>(bin_count * kRoughAtanError);
    // NOLINTBEGIN(cppcoreguidelines-pro-type-member-init): the loop writes all elements
    std::array<int, kValuesAtOnce> first;
    std::array<int, kValuesAtOnce> last;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    int difference = 0;
    for (std::size_t i = 0; i < kValuesAtOnce; ++i) {
        const float position =
            rough_atan(static_cast<float>(kPi * values[i])) * scale + 0.5F * width;
        // In this order of arguments, std::max turns NaN into 0.
        first[i] = static_cast<int>(std::min(width - 1.0F, std::max(0.0F, position - error)));
        last[i] = static_cast<int>(std::min(width - 1.0F, std::max(0.0F, position + error)));
        difference |= first[i] ^ last[i];
    }
    for (std::size_t i = 0; difference != 0 && i < kValuesAtOnce; ++i) {
        if (first[i] != last[i]) {
            first[i] = bin_of_score(Match_scorer::score_of_value(values[i]), bin_count);
        }
    }
    std::copy(first.begin(), first.end(), bins);
}

}  // namespace zandrel::detail
