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

constexpr double kMostChance = 0.05;  // of a proof that is wrong

// `count`: above 0, also a fraction.
Interval wilson_interval(double share, double count) {
    const double square = kZ * kZ / count;
    const double middle = share + square / 2;
    const double distance = kZ * std::sqrt(share * (1 - share) / count + square / (4 * count));
    // Both ends are exact for a share of 0 or 1, where rounding could miss it.
    const double low = share <= 0.0 ? 0.0 : (middle - distance) / (1 + square);
    const double high = share >= 1.0 ? 1.0 : (middle + distance) / (1 + square);
    return {std::max(low, 0.0), std::min(high, 1.0)};
}

// Terms that are so much smaller than the greatest one do not change a sum.
constexpr double kSmallTerm = 1e-18;

// The chance that at most `most` of `count` texts are misses if the share of misses is `share`: the
// sum of the terms 0 to `most` of a binomial distribution, divided by the sum of all. We begin at
// the greatest term, which gets the value 1, and go to both sides: a term is the one before it
// times (count - i) / (i + 1) * share / (1 - share). So no factorial or power is too large or too
// small, and multiplications and divisions give the same result on every machine.
double chance_of_misses(std::size_t most, std::size_t count, double share) {
    const double odds = share / (1 - share);
    const std::size_t greatest =
        std::min(static_cast<std::size_t>(static_cast<double>(count) * share), count);
    double all = 0.0;
    double part = 0.0;
    const auto add = [&](std::size_t misses, double term) {
        all += term;
        part += misses <= most ? term : 0.0;
    };
    double term = 1.0;
    add(greatest, term);
    for (std::size_t i = greatest; i < count && term > kSmallTerm; ++i) {
        term *= odds * static_cast<double>(count - i) / static_cast<double>(i + 1);
        add(i + 1, term);
    }
    term = 1.0;
    for (std::size_t i = greatest; i > 0 && term > kSmallTerm; --i) {
        term *= static_cast<double>(i) / static_cast<double>(count - i + 1) / odds;
        add(i - 1, term);
    }
    return part / all;
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

bool proves_share(std::size_t hits, std::size_t count, double share) {
    return chance_of_misses(count - hits, count, 1 - share) <= kMostChance;
}

Interval mean_share_interval(double figure, double variance, std::size_t text_count) {
    if (text_count == 0) {
        return {0.0, 1.0};
    }
    const double most = static_cast<double>(text_count);
    const double of_one = figure * (1 - figure);  // the variance of the share of one text
    // A figure of 0 or 1 is the same in all samples, except in samples without texts.
    const bool is_limited = of_one <= 0.0 || of_one >= variance * most;
    const double count = is_limited ? most : of_one / variance;
    return wilson_interval(figure, std::max(count, 1.0));
}

Interval precision_interval(const Tally& tally) {
    return share_interval(tally.hits, tally.given());
}

Interval recall_interval(const Tally& tally) {
    return share_interval(tally.hits, tally.texts());
}

Interval f1_interval(const Tally& tally) {
    const Interval hits =
        share_interval(tally.hits, tally.hits + tally.misses + tally.false_alarms);
    return {f1_of(hits.low), f1_of(hits.high)};
}

Interval mean_interval(double mean, double variance) {
    const double distance = kZ * std::sqrt(variance);
    return {std::max(mean - distance, 0.0), mean + distance};
}

Interval calibration_interval(double error, const Sampled_figure& by_chance, double variance,
                              double least_high) {
    const double most_by_chance = by_chance.mean + kZ * std::sqrt(by_chance.variance);
    const double high = error + kZ * std::sqrt(variance);
    return {std::max(error - most_by_chance, 0.0), std::min(std::max(high, least_high), 1.0)};
}

}  // namespace zandrel::cli
