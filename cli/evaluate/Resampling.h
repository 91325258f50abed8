// Resampling: how much figures change from one random sample of the texts to another.
#ifndef ZANDREL_CLI_EVALUATE_RESAMPLING_H_
#define ZANDREL_CLI_EVALUATE_RESAMPLING_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cli/evaluate/Interval.h"

namespace zandrel::cli {

// The number of random samples. The deviation of a figure over so many samples is known to 5 %.
inline constexpr std::size_t kRoundCount = 200;

// How often one text is in each random sample.
using Round_weights = std::array<std::uint32_t, kRoundCount>;

// Makes random samples of texts that arrive one after another, so no text has to be kept. In each
// sample a text occurs 0, 1, 2, ... times, with the mean 1. The same number of texts has the same
// samples on every machine: the generator is our own and begins with a fixed value.
class Resampling {
public:
    // The weights of the next text. VALID UNTIL: the next call.
    const Round_weights& next();

private:
    std::uint64_t random();

    std::uint64_t m_state = 0;
    Round_weights m_weights = {};
};

// A sum for each random sample.
class Round_sums {
public:
    // Adds the value of a text as often as the text is in each sample.
    void add(const Round_weights& weights, double value) {
        for (std::size_t round = 0; round < kRoundCount; ++round) {
            m_sums[round] += weights[round] * value;
        }
    }

    double operator[](std::size_t round) const { return m_sums[round]; }

private:
    std::array<double, kRoundCount> m_sums = {};
};

// A number of texts for each random sample.
class Round_counts {
public:
    void add(const Round_weights& weights) {
        for (std::size_t round = 0; round < kRoundCount; ++round) {
            m_counts[round] += weights[round];
        }
    }

    std::size_t operator[](std::size_t round) const { return m_counts[round]; }

private:
    std::array<std::uint32_t, kRoundCount> m_counts = {};
};

// `figure`: returns the figure of a sample, with the index of the sample.
template <class Figure>
Sampled_figure sampled_figure(const Figure& figure) {
    Sampled_figure result;
    std::array<double, kRoundCount> values;
    for (std::size_t round = 0; round < kRoundCount; ++round) {
        values[round] = figure(round);
        result.mean += values[round] / kRoundCount;
    }
    for (const double value : values) {
        const double distance = value - result.mean;
        result.variance += distance * distance / (kRoundCount - 1);
    }
    return result;
}

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_RESAMPLING_H_
