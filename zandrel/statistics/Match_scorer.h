// Match_scorer: turns the sum of a category's weights into a score. The comment above
// `adjust_match_value` in zeStat_matcher.cpp explains the formula, with an example.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_MATCH_SCORER_H_
#define ZANDREL_STATISTICS_MATCH_SCORER_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

using Likelihood_table = std::array<double, Zandrel::LIKELIHOOD_SIZE>;

// The place of a score in a likelihood table. A table is linear between the centres of its bins,
// which are at (i + 0.5) / 30. It is also linear from the origin to the first centre, and flat
// behind the last one. The place is computed once, for the table of a profile and for the average.
//
// For example, 0.51 is at 30 * 0.51 - 0.5 = 14.8, so its value is a fifth of the value of bin 14
// plus four fifths of the value of bin 15.
class Table_place {
public:
    explicit Table_place(double score) : m_score(score) {
        const double position = score * Zandrel::LIKELIHOOD_SIZE - 0.5;
        m_is_below = !(position >= 0.0);  // NaN is below too, and `value` returns NaN for it
        m_is_behind = position >= Zandrel::LIKELIHOOD_SIZE - 1;
        if (!m_is_below && !m_is_behind) {
            m_bin = static_cast<std::size_t>(position);
            m_part = Zandrel::LIKELIHOOD_SIZE * score - static_cast<double>(m_bin) - 0.5;
        }
    }

    double value(const Likelihood_table& table) const noexcept {
        if (m_is_below) {
            return 2 * table[0] * m_score * Zandrel::LIKELIHOOD_SIZE;
        }
        if (m_is_behind) {
            return table[Zandrel::LIKELIHOOD_SIZE - 1];
        }
        return table[m_bin] + (table[m_bin + 1] - table[m_bin]) * m_part;
    }

private:
    double m_score;
    double m_part = 0.0;    // part of the way from the centre of `m_bin` to the next centre
    std::size_t m_bin = 0;  // the last bin whose centre is not above the score
    bool m_is_below;        // below the first centre
    bool m_is_behind;       // at or behind the last centre
};

// Returns the bin of a score, of `count` equal bins from 0 to 1. NaN is in the first bin, and a
// score above 1 in the last.
inline int bin_of_score(double score, int count) noexcept {
    const double position = score > 0.0 ? count * score : 0.0;
    return static_cast<int>(std::min(count - 1.0, position));
}

// The raw score of a profile for a message that has none of its features. It depends only on the
// additive term.
struct Rest_score {
    double additive_term;
    double raw;
};

// Turns sums into scores. It is made for each message, and reads the numbers that are the same for
// all profiles only once.
class Match_scorer {
public:
    // `rest_scores`: by profile. Scores that are missing or out of date are computed.
    // `uses_tables`: false: without the correction by likelihood tables, whatever the settings.
    // BORROWS: all but the total of the bag's weights.
    Match_scorer(const zeStat_storage& storage, const Likelihood_table& average,
                 const std::vector<Rest_score>& rest_scores, double total_weight,
                 bool uses_tables = true)
        : m_storage(storage),
          m_average(average),
          m_rest_scores(rest_scores),
          m_total_weight(total_weight),
          m_profile_count(storage.profile_count()),
          m_most_msgs(std::int64_t{storage.m_num_msgs} - storage.m_activation_outside),
          m_scores_nothing(total_weight == 0.0 || storage.m_num_msgs < storage.m_activation_total),
          m_corrects(uses_tables && storage.m_use_likelihood_in_match &&
                     storage.m_use_train_likelihood) {}

    static Rest_score rest_score(const zeStat_storage::Profile& profile) {
        return {profile.m_M, squashed(profile.m_M)};
    }

    // The order of the tests matters: the rules for a score of 0 come first. So an empty bag scores
    // 0 even in a model of one profile, which otherwise scores 1 without a look at the sum.
    double score(int iprofile, double sum) const {
        const zeStat_storage::Profile& profile = m_storage.profile(iprofile);
        if (m_scores_nothing || is_inactive(profile)) {
            return 0.0;
        }
        if (m_profile_count == 1.0 || m_storage.m_num_msgs == profile.m_num_msgs) {
            return 1.0;
        }
        const double raw = has_rest_score(iprofile, profile, sum)
                               ? m_rest_scores[static_cast<std::size_t>(iprofile)].raw
                               : squashed(sum / m_total_weight + profile.m_M);
        return within_0_and_1(corrected(raw, profile));
    }

    // The raw score of a profile that none of the first rules of `score` decides. The value is the
    // sum divided by the total of the bag, plus the additive term.
    static double score_of_value(double value) { return within_0_and_1(squashed(value)); }

    // Returns whether scores are corrected by the likelihood tables.
    bool corrects() const noexcept { return m_corrects; }

    // Returns false if the profile scores 0 or 1 whatever is in the bag.
    bool depends_on_sum(const zeStat_storage::Profile& profile) const {
        return !m_scores_nothing && !is_inactive(profile) && m_profile_count != 1.0 &&
               m_storage.m_num_msgs != profile.m_num_msgs;
    }

    // The score after the correction by the tables, if they are in use.
    double corrected(double score, const zeStat_storage::Profile& profile) const {
        if (!m_corrects) {
            return score;
        }
        // The part of the average: 1 if the profile's histogram has no message yet, 0 from 1000 on.
        const int age = profile.m_likelihood_age;
        const double w =
            age < Zandrel::MAX_LIKELIHOOD_AGE ? m_profile_count / (age + m_profile_count) : 0.0;
        const Table_place place(score);
        const double own = place.value(profile.m_likelihood);
        const double average = place.value(m_average);
        return 0.99 * (w * average + (1 - w) * own) + 0.01 * score;
    }

private:
    static constexpr double kPi = 3.141592653589793;

    static double squashed(double value) { return std::atan(kPi * value) / kPi + 0.5; }

    // Rounding can make a corrected score greater than 1 by the last bit, and a table of a damaged
    // record can make it greater still. NaN becomes 0.
    static double within_0_and_1(double score) { return score > 0.0 ? std::min(score, 1.0) : 0.0; }

    // Returns true if the category has too few messages, or if too few messages are outside it.
    bool is_inactive(const zeStat_storage::Profile& profile) const {
        const int num_msgs = profile.m_num_msgs;
        return num_msgs == 0 || num_msgs < m_storage.m_activation_inside || num_msgs > m_most_msgs;
    }

    // With a sum of 0, the value is the additive term, whatever the total. Only a total of NaN
    // makes the value NaN.
    bool has_rest_score(int iprofile, const zeStat_storage::Profile& profile, double sum) const {
        const auto index = static_cast<std::size_t>(iprofile);
        return sum == 0.0 && !std::isnan(m_total_weight) && index < m_rest_scores.size() &&
               m_rest_scores[index].additive_term == profile.m_M;
    }

    const zeStat_storage& m_storage;
    const Likelihood_table& m_average;
    const std::vector<Rest_score>& m_rest_scores;
    double m_total_weight;
    double m_profile_count;
    std::int64_t m_most_msgs;  // a profile with more has too few messages outside it
    bool m_scores_nothing;     // the bag is empty, or the model too small
    bool m_corrects;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_MATCH_SCORER_H_
