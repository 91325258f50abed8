// The interval of Wilson, for the share p of n texts and z = 1.96:
//
//   (p + z^2/2n +- z sqrt(p (1 - p) / n + z^2/4n^2)) / (1 + z^2/n)
//
// 8 of 10: z^2 = 3.8415, (0.8 + 0.19207 +- 1.96 sqrt(0.016 + 0.0096)) / 1.38415 = 0.7167 +- 0.2266.
// Unlike p +- z sqrt(p (1 - p) / n), it stays in 0 to 1, and 10 of 10 have 0.722 to 1.
#include "cli/evaluate/Interval.h"

#include <algorithm>
#include <cmath>

namespace zandrel::cli {

namespace {

// 97.5 % of a normal distribution are below mean + kZ * deviation.
constexpr double kZ = 1.959963984540054;
// 95 % are below mean + kOneSidedZ * deviation.
constexpr double kOneSidedZ = 1.644853626951473;

// `count`: above 0, also a fraction.
Interval wilson_interval(double share, double count, double z = kZ) {
    const double square = z * z / count;
    const double middle = share + square / 2;
    const double distance = z * std::sqrt(share * (1 - share) / count + square / (4 * count));
    // Both ends are exact for a share of 0 or 1, where rounding could miss it.
    const double low = share <= 0.0 ? 0.0 : (middle - distance) / (1 + square);
    const double high = share >= 1.0 ? 1.0 : (middle + distance) / (1 + square);
    return {std::max(low, 0.0), std::min(high, 1.0)};
}

double f1_of(double hit_share) {
    return 2 * hit_share / (1 + hit_share);
}

}  // namespace

Interval share_interval(std::size_t hits, std::size_t count) {
    if (count == 0) {
        return {0.0, 1.0};
    }
    return wilson_interval(ratio(static_cast<double>(hits), count), static_cast<double>(count));
}

double least_share(std::size_t hits, std::size_t count) {
    if (count == 0) {
        return 0.0;
    }
    return wilson_interval(ratio(static_cast<double>(hits), count), static_cast<double>(count),
                           kOneSidedZ)
        .low;
}

Interval mean_share_interval(double figure, double variance, std::size_t text_count) {
    if (text_count == 0) {
        return {0.0, 1.0};
    }
    const double most = static_cast<double>(text_count);
    const double of_one = figure * (1 - figure);  // the variance of the share of one text
    const double count = of_one < variance * most ? of_one / variance : most;
    // A figure near 0 or 1 with a large variance: less than one text says nothing.
    return count < 1.0 ? wilson_interval(figure, 1.0) : wilson_interval(figure, count);
}

Interval f1_interval(const Tally& tally) {
    const Interval hits =
        share_interval(tally.hits, tally.hits + tally.misses + tally.false_alarms);
    return {f1_of(hits.low), f1_of(hits.high)};
}

Interval error_interval(double error, const Sampled_figure& sampled) {
    const double middle = error - (sampled.mean - error);
    const double distance = kZ * std::sqrt(sampled.variance);
    return {std::clamp(middle - distance, 0.0, error), std::max(middle + distance, error)};
}

}  // namespace zandrel::cli
