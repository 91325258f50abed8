// Concept_judge: how much a concept says about one category.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_CONCEPT_JUDGE_H_
#define ZANDREL_STATISTICS_CONCEPT_JUDGE_H_

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/statistics/zeStat_trainer.h"

namespace zandrel::detail {

// Judges concepts for one profile. It computes once what is the same for all concepts. With T, W, D
// the storage's totals of bags, weights and messages, and Wp, Mp the profile's weights:
//
//     q = 1 / T    E = D - Mp    F = D / (T * E)
//     p_all = weight / W    p_in = P.weight / Wp    p_out = (D * p_all - Mp * p_in) / E
//
// A rate with a zero denominator is 0, and the rate of a missing entry is 0. The score is
// `factor * log(quotient) * (p_in - p_out)`, where the quotient compares two of the rates. The top
// of Feature_selector.cpp explains the floors q and F, with an example.
//
// Most concepts score less than those already selected, and the logarithm takes a third of the time
// of a judgement. So a judgement has two steps: `judge` finds the rates, and the caller takes the
// logarithm, `weigh`, only if `may_reach` does not exclude the concept. For example, with quotient
// 1.1, factor 1 and rates 0.003 and 0.001 the score is below (1.1 - 1) * 0.002 = 0.0002, so the
// concept cannot enter a full selection whose least score is 0.0003.
class Concept_judge {
public:
    struct Judged {
        double weight;
        double p_in;
        double p_out;
        double score;  // weight * (p_in - p_out)
    };

    // A judgement without its logarithm. The weight is 0 if there is nothing to compare.
    struct Rated {
        double p_in;
        double p_out;
        double factor;
        double quotient;
        bool has_weight;

        Judged weigh() const noexcept {
            Judged judged = {has_weight ? factor * std::log(quotient) : 0.0, p_in, p_out, 0.0};
            judged.score = judged.weight * (p_in - p_out);
            return judged;
        }

        // Returns false only if the score is below `least`, is 0, or is not a number.
        //
        // We use that log(x) <= x - 1, and with 1/x for x that -log(x) <= (1 - x) / x. The factor
        // of 1 + 1e-9 covers the rounding of the logarithm and of the bound. The bound multiplies
        // in the same order as the score, and rounding keeps order, so the products need no margin.
        bool may_reach(double least) const noexcept {
            if (!has_weight || quotient == 1.0) {
                return false;
            }
            const double greatest_log =
                (quotient < 1.0 ? (1.0 - quotient) / quotient : quotient - 1.0) * (1.0 + 1e-9);
            // The comparison is written so that a NaN is not excluded here.
            return !(std::abs(factor * greatest_log * (p_in - p_out)) < least);
        }
    };

    Concept_judge(const zeStat_storage& storage, const zeStat_storage::Profile& profile) noexcept
        : m_storage(storage),
          m_W(storage.m_total_weight),
          m_D(storage.m_total_msg_weight),
          m_Wp(profile.m_weight),
          m_Mp(profile.m_msg_weight),
          m_E(m_D - m_Mp),
          m_floor(ratio(1.0, storage.m_total_sml_weight)),
          m_floor_outside(ratio(m_D, storage.m_total_sml_weight * m_E)),
          m_smoothing(smoothing(m_W, m_floor)) {}

    // `info`: null if missing. `P_weight`: 0 if the profile has no P.
    Rated judge(const zeStat_storage::Concept_info* info, double P_weight) const noexcept {
        Rates rates = {};
        rates.all = ratio(info == nullptr ? 0.0 : info->m_weight, m_W);
        rates.in = ratio(P_weight, m_Wp);
        rates.out = ratio(m_D * rates.all - m_Mp * rates.in, m_E);
        const double factor = suppression(m_storage, info == nullptr ? 0.0 : info->m_rate);
        return g_use_positive_method ? compare_smoothed(rates, factor) : compare(rates, factor);
    }

    // The judgement of a concept without P depends on the profile only through these numbers. They
    // are compared by their bits.
    using Outside_key = std::array<std::uint64_t, 2>;

    Outside_key outside_key() const noexcept {
        return {std::bit_cast<std::uint64_t>(m_Mp), std::bit_cast<std::uint64_t>(ratio(0.0, m_Wp))};
    }

    // Returns the quotient, or 0 if the denominator is 0.
    static double ratio(double numerator, double denominator) noexcept {
        return denominator == 0.0 ? 0.0 : numerator / denominator;
    }

    // The suppression factor, 0 to 1, of a concept that is in `rate` messages. For example, 4
    // messages give 0.5. If the model has half as many messages as the threshold, only half of the
    // suppression applies: 0.5 * 0.5 + 0.5 = 0.75.
    static double suppression(const zeStat_storage& storage, double rate) noexcept {
        if (!storage.m_suppress_M) {
            return 1.0;
        }
        if (!(rate > 0.0)) {
            return 0.0;
        }
        const double confidence =
            rate <= 10.0 ? zeStat_trainer::F_C[static_cast<std::size_t>(rate * 100)] : 1.0;
        const int threshold = storage.m_suppress_M_threshold;
        if (threshold == 0 || storage.m_num_msgs >= threshold) {
            return confidence;
        }
        const double f = static_cast<double>(storage.m_num_msgs) / threshold;
        return confidence * f + 1 - f;
    }

private:
    struct Rates {
        double all;  // p_all: rate in the whole model
        double in;   // p_in: rate inside the category
        double out;  // p_out: rate outside
    };

    // Returns what the positive method adds to both rates.
    static double smoothing(double W, double floor) noexcept {
        const double A = W * 10.0 * floor;
        return W == 0.0 ? 0.0 : A / ((1.0 + A) * (1.0 + W));
    }

    // The positive method compares the smoothed rate inside with the smoothed rate outside.
    Rated compare_smoothed(const Rates& rates, double factor) const noexcept {
        const double x = m_W * rates.out / (1.0 + m_W) + m_smoothing;
        const double inside = rates.in * m_W / (1.0 + m_W) + m_smoothing;
        return {rates.in, rates.out, factor, inside / x, x != 0.0};
    }

    // The usual method compares the rate `m`, at which the concept would say nothing, with the rate
    // outside. Rates of which too little is known are raised to floors first.
    Rated compare(const Rates& rates, double factor) const noexcept {
        const double m = std::max(m_floor, rates.all);
        double in = rates.in;
        double out = rates.out;
        if (rates.all < m_floor) {
            in = std::max(in, m);
            out = std::max(out, m);
        }
        if (out < m_floor_outside) {
            out = in <= m ? m_floor_outside : std::min(m_floor_outside, m);
        }
        const bool both_above = in > m && out > m;
        const bool both_below = in < m && out < m;
        if (both_above || both_below) {
            out = m;  // The logarithm is then 0: the concept says nothing.
        }
        if (m_storage.m_use_new_ZC) {
            return {rates.in, rates.out, factor, m / out, out != 0.0};
        }
        return {in, out, factor, m / out, out != 0.0};
    }

    const zeStat_storage& m_storage;  // BORROWS
    double m_W;
    double m_D;
    double m_Wp;
    double m_Mp;
    double m_E;
    double m_floor;          // q: the rate of a concept that was seen once
    double m_floor_outside;  // F: the rate outside of a concept that was seen once, outside
    double m_smoothing;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_CONCEPT_JUDGE_H_
