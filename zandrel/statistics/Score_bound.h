// Score_bound: a number that a category's score cannot exceed, at a part of the price of the score.
// Not installed: the library's own.
//
// A message that is wanted for its best category only needs few exact scores: those of categories
// whose bound reaches the best score so far. With 150 categories, a score took 190 instructions, of
// which the arc tangent took 60, and the scores were half of the time of a classification; a bound
// takes a quarter of it.
//
// The bound replaces each step of a score by one that cannot be less:
//
// 1. The arc tangent is replaced by a rough one, whose greatest error is known. So the raw score is
//    in a short range around the rough one.
// 2. A likelihood table is linear between the centres of its bins, so its values in that range
//    cannot exceed the greatest of the entries around the range.
// 3. The blend of the profile's own table and of the average is never above the greater of both.
//
// For example, with the rough score 0.51 the range lies between the centres of the bins 14 and 15,
// 0.4833 and 0.5167. If the own table has 0.2 and 0.4 there, and the average 0.1 and 0.3, the bound
// is 0.99 * 0.4 + 0.01 * 0.51 = 0.4011.
#ifndef ZANDREL_STATISTICS_SCORE_BOUND_H_
#define ZANDREL_STATISTICS_SCORE_BOUND_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace Zandrel {

// It is made for each message.
class Score_bound {
public:
    // The least difference between a bound and the score: more than all rounding of both.
    static constexpr double kMargin = 1e-9;

    // BORROWS: the average table.
    Score_bound(const zeStat_storage& storage, const Likelihood_table& average, double total_weight)
        : m_average(average),
          m_total_weight(total_weight),
          m_msg_count(storage.profile_count() == 1 ? kUnknown : storage.m_num_msgs),
          m_corrects(storage.m_use_likelihood_in_match && storage.m_use_train_likelihood) {}

    // The score of the profile with this sum is at least `kMargin` below the bound.
    double of(const zeStat_storage::Profile& profile, double sum) const noexcept {
        if (m_msg_count == kUnknown || profile.m_num_msgs == m_msg_count) {
            return kAny;
        }
        // The same argument as for the exact score, to the last bit: sum and additive term may
        // cancel each other out.
        const double argument = kPi * (sum / m_total_weight + profile.m_M);
        const double raw = rough_atan(argument) * (1.0 / kPi) + (0.5 + kRoughAtanError);
        if (!m_corrects) {
            return raw >= 0.0 ? raw + kMargin : kAny;
        }
        // Only a damaged model has an age for which the blend is not between both tables.
        if (!(raw >= 0.0) || profile.m_likelihood_age < 0) {
            return kAny;
        }
        return 0.99 * greatest_value(profile.m_likelihood, raw) + (0.01 * raw + kMargin);
    }

private:
    static constexpr double kPi = 3.141592653589793;
    static constexpr double kAny = 2.0;  // no score is above 1
    static constexpr int kUnknown = -1;
    static constexpr std::size_t kLastBin = LIKELIHOOD_SIZE - 1;

    // By value, since a compiler makes branches of the references of std::max.
    static double greater(double left, double right) noexcept {
        return left > right ? left : right;
    }

    // Of two bins and both tables.
    double greatest_of(const Likelihood_table& own, std::size_t first,
                       std::size_t second) const noexcept {
        return greater(greater(own[first], own[second]),
                       greater(m_average[first], m_average[second]));
    }

    // The greatest value of both tables where the raw score can be. `raw`: its greatest value,
    // which is twice the error above its least value.
    //
    // `end` is the first bin whose centre is above the range, and `begin` is the same for the least
    // value. They differ only if a centre is in the range.
    double greatest_value(const Likelihood_table& own, double raw) const noexcept {
        constexpr double kWidth = 2 * LIKELIHOOD_SIZE * kRoughAtanError;
        const double position = LIKELIHOOD_SIZE * raw + 0.5;
        const auto end = static_cast<std::size_t>(static_cast<int>(position));
        const auto begin = static_cast<std::size_t>(static_cast<int>(position - kWidth));
        if (begin == end && end - 1 < kLastBin) {
            return greater(0.0, greatest_of(own, end - 1, end));
        }
        double greatest = 0.0;
        for (std::size_t bin = begin == 0 ? 0 : begin - 1; bin <= end; ++bin) {
            const std::size_t known = std::min(bin, kLastBin);
            greatest = greater(greatest, greatest_of(own, known, known));
        }
        return greatest;
    }

    const Likelihood_table& m_average;
    double m_total_weight;
    int m_msg_count;
    bool m_corrects;
};

}  // namespace Zandrel

#endif  // ZANDREL_STATISTICS_SCORE_BOUND_H_
