// Score_bound: an upper bound of a category's score, which costs less than the score.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_SCORE_BOUND_H_
#define ZANDREL_STATISTICS_SCORE_BOUND_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

// A range of raw scores, and the bins of a likelihood table whose centres are around the range.
struct Score_range {
    double greatest;
    std::array<std::uint8_t, 3> bins;  // in order; the last one may be repeated
};

// Finds a short range that contains the raw score atan(pi * x) / pi + 0.5 of a value x.
//
// A rational function replaces the arc tangent: with v = pi * x, v / (1 + |v|) rises from -1 to 1
// too, and costs one division. Its values are divided into 256 equal ranges, and a table has the
// scores at both ends of each. For example, x = 0.1 gives v = 0.314 and 0.239, which is in the
// range from 30/128 to 31/128. The scores there are 0.5946 to 0.5984, and the exact score is
// 0.5969.
class Score_ranges {
public:
    static const Score_ranges& instance() {
        static const Score_ranges ranges;
        return ranges;
    }

    // Returns null for an infinite value and for NaN.
    const Score_range* find(double x) const noexcept {
        const double v = kPi * x;
        const double place = v / (1.0 + std::abs(v)) * kHalf + kHalf;
        return place >= 0.0 ? &m_ranges[static_cast<std::size_t>(static_cast<int>(place))]
                            : nullptr;
    }

private:
    static constexpr double kPi = 3.141592653589793;
    static constexpr int kHalf = 128;

    Score_ranges() {
        constexpr double kRounding = 1e-6;  // more than all rounding on the way to a range
        for (std::size_t i = 0; i < m_ranges.size(); ++i) {
            const double least = score_at(static_cast<int>(i)) - kRounding;
            const double greatest = score_at(static_cast<int>(i) + 1) + kRounding;
            const int first = bin_below(least);
            const int last = std::min(bin_below(greatest) + 1, Zandrel::LIKELIHOOD_SIZE - 1);
            m_ranges[i] = {greatest,
                           {static_cast<std::uint8_t>(first),
                            static_cast<std::uint8_t>(std::min(first + 1, last)),
                            static_cast<std::uint8_t>(last)}};
        }
    }

    // The last bin whose centre is not above the score, or the first bin.
    static int bin_below(double score) {
        const double bin = std::floor(Zandrel::LIKELIHOOD_SIZE * score - 0.5);
        return std::clamp(static_cast<int>(bin), 0, Zandrel::LIKELIHOOD_SIZE - 1);
    }

    // The raw score where the range `i` begins.
    static double score_at(int i) {
        const double place = std::min(1.0, static_cast<double>(i - kHalf) / kHalf);
        return std::atan(place / (1.0 - std::abs(place))) / kPi + 0.5;
    }

    std::array<Score_range, 2 * kHalf + 1> m_ranges;  // the last one is for large arguments
};

// If only the best category is wanted, few exact scores are needed: those of the categories whose
// bound is not below the best score so far. With 150 categories, a score took 190 instructions, of
// which the arc tangent took 60, and the scores took half of the time of a classification. A bound
// takes 75.
//
// The bound replaces each step of a score by one that cannot be less:
//
// 1. A range replaces the arc tangent.
// 2. A likelihood table is linear between the centres of its bins, so its values in the range
//    cannot exceed the greatest of the entries around the range.
// 3. The blend of the profile's own table and of the average is never above the greater of both.
//
// For example, the range 0.5946 to 0.5984 is between the centres of the bins 17 and 18, 0.5833 and
// 0.6167. If the own table has 0.2 and 0.4 there, and the average 0.1 and 0.3, the bound is
// 0.99 * 0.4 + 0.01 * 0.5984 = 0.402.
class Score_bound {
public:
    // `uses_tables`: as for Match_scorer.
    // BORROWS: the average table.
    Score_bound(const zeStat_storage& storage, const Likelihood_table& average, double total_weight,
                bool uses_tables = true)
        : m_ranges(Score_ranges::instance()),
          m_average(average),
          m_total_weight(total_weight),
          m_msg_count(storage.m_num_msgs),
          m_corrects(uses_tables && storage.m_use_likelihood_in_match &&
                     storage.m_use_train_likelihood) {}

    // Returns the bound. The score of the profile with this sum is at least 1e-9 below the bound.
    // REQUIRES: the model has more than one profile.
    double of(const zeStat_storage::Profile& profile, double sum) const noexcept {
        // The value is computed as for the exact score, to the last bit. Another way would round
        // differently, and the difference is large where sum and additive term nearly cancel out.
        const Score_range* const range = m_ranges.find(sum / m_total_weight + profile.m_M);
        // Only a damaged model has an age below 0, for which the blend is not between both tables.
        if (range == nullptr || profile.m_num_msgs == m_msg_count || profile.m_likelihood_age < 0) {
            return kAny;
        }
        const double value =
            m_corrects ? greatest_value(profile.m_likelihood, *range) : range->greatest;
        return 0.99 * value + (0.01 * range->greatest + kMargin);
    }

private:
    static constexpr double kAny = 2.0;      // no score is above 1
    static constexpr double kMargin = 2e-9;  // 1e-9, and more than all rounding

    // By value: compilers make a branch of std::max, which takes and returns references.
    static double greater(double left, double right) noexcept {
        return left > right ? left : right;
    }

    // The greatest entry of both tables around the range, but at least 0, as every score is.
    double greatest_value(const Likelihood_table& own, const Score_range& range) const noexcept {
        double greatest = 0.0;
        for (const std::uint8_t bin : range.bins) {
            greatest = greater(greatest, greater(own[bin], m_average[bin]));
        }
        return greatest;
    }

    const Score_ranges& m_ranges;
    const Likelihood_table& m_average;
    double m_total_weight;
    int m_msg_count;
    bool m_corrects;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_SCORE_BOUND_H_
