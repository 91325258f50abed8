// Computes both errors and the Brier score from sums, in one pass over the texts. Formulas, with s
// the score and r = 1 for a right label, otherwise 0:
//
//   ECE    sum over the bins of |sum of s - sum of r|, divided by the number of predictions
//   Brier  sum over all pairs of (s - r)^2, divided by the number of texts
//
// 1,000 texts and 90 labels make 90,000 pairs, but most have s = 0 and r = 0. They add nothing to
// either sum, so we only count them. Evaluation.cpp has an example.
#include "cli/evaluate/Calibration.h"

#include <algorithm>
#include <cmath>

#include "cli/evaluate/Tally.h"
#include "text/data/Label_set.h"

namespace zandrel::cli {

std::size_t Calibration_bins::bin_of(double score) {
    return std::min(static_cast<std::size_t>(score * kBinCount), kBinCount - 1);
}

void Calibration_bins::add(double score, bool is_right) {
    Bin& bin = m_bins[bin_of(score)];
    bin.score_sum += score;
    bin.right += is_right ? 1 : 0;
    ++bin.count;
    ++m_count;
}

double Calibration_bins::error() const {
    double sum = 0.0;
    for (const Bin& bin : m_bins) {
        sum += std::abs(bin.score_sum - static_cast<double>(bin.right));
    }
    return ratio(sum, m_count);
}

std::vector<Calibration_bin> Calibration_bins::bins() const {
    std::vector<Calibration_bin> list;
    for (std::size_t i = 0; i < kBinCount; ++i) {
        const Bin& bin = m_bins[i];
        list.push_back({static_cast<double>(i) / kBinCount, static_cast<double>(i + 1) / kBinCount,
                        bin.count, bin.right, ratio(bin.score_sum, bin.count)});
    }
    return list;
}

void Calibration_rounds::add(const Text& text, const Round_weights& weights) {
    ++m_texts;
    for (std::size_t i = 0; i < m_bins.size(); ++i) {
        Bin& bin = m_bins[i];
        const double difference = text.m_differences[i];
        bin.variance += text.m_variances[i];
        if (difference != 0.0) {
            bin.differences.add(weights, difference);
            bin.difference += difference;
            bin.square += difference * difference;
        }
    }
}

// Few texts with high scores may all be right, by chance. Their differences are small, and so are
// those of all samples, but true scores would differ more.
double Calibration_rounds::Bin::deviation_factor() const {
    return square > 0.0 && variance > square ? std::sqrt(variance / square) : 1.0;
}

// How far the difference of each bin is, in each sample, from its mean over all samples.
Calibration_rounds::Deviations Calibration_rounds::deviations(const Round_counts& counts,
                                                              std::size_t predictions) const {
    Deviations result;
    for (std::size_t i = 0; i < m_bins.size(); ++i) {
        double sum = 0.0;
        for (std::size_t round = 0; round < kRoundCount; ++round) {
            result[i][round] = ratio(m_bins[i].differences[round], counts[round] * predictions);
            sum += result[i][round];
        }
        const double factor = m_bins[i].deviation_factor();
        for (double& value : result[i]) {
            value = (value - sum / kRoundCount) * factor;
        }
    }
    return result;
}

// The sums of deviations are the errors of texts whose scores are true. With the differences of the
// bins, they are the errors of other texts of the same kind.
//
// An error of 0 is possible by chance, as is a share of 0 of n texts. So the interval reaches as
// far.
Interval Calibration_rounds::error_interval(double error, const Round_counts& counts,
                                            std::size_t predictions) const {
    const Deviations by_chance = deviations(counts, predictions);
    const auto sampled = [&](double share_of_differences) {
        return sampled_figure([&](std::size_t round) {
            double sum = 0.0;
            for (std::size_t i = 0; i < m_bins.size(); ++i) {
                const double difference = ratio(m_bins[i].difference, m_texts * predictions);
                sum += std::abs(share_of_differences * difference + by_chance[i][round]);
            }
            return sum;
        });
    };
    const double least_high = ratio(share_interval(0, m_texts).high, predictions);
    return calibration_interval(error, sampled(0.0), sampled(1.0).variance, least_high);
}

void Best_calibration_counter::add(double score, bool is_right) {
    m_bins.add(score, is_right);
    if (m_rounds) {
        const Round_weights& weights = m_rounds->resampling.next();
        m_rounds->texts.add(weights);
        Calibration_rounds::Text text;
        text.add(score, is_right);
        m_rounds->errors.add(text, weights);
    }
}

Best_calibration Best_calibration_counter::calibration() const {
    Best_calibration result = {m_bins.error(), m_bins.bins()};
    if (m_rounds) {
        result.interval = m_rounds->errors.error_interval(result.ece, m_rounds->texts, 1);
    }
    return result;
}

double probability(double score) {
    return std::min(score, 1.0);
}

double best_score(const Ranking& ranking) {
    return ranking.empty() ? 0.0 : probability(ranking.front().score);
}

void Calibration_counter::add(const std::vector<std::string>& labels, const Ranking& ranking) {
    const Label_set right(labels);
    m_top.add(best_score(ranking), !ranking.empty() && right.contains(ranking.front().label));
    Text_errors text;
    std::size_t found = 0;
    for (const Scored_label& entry : ranking) {
        const bool is_right = right.contains(entry.label);
        add_pair(probability(entry.score), is_right, text);
        found += is_right ? 1 : 0;
    }
    for (; found < labels.size(); ++found) {
        add_pair(0.0, true, text);
    }
    if (m_rounds) {
        add_to_rounds(text);
    }
}

// All other pairs have no score and are wrong. They have no error, so only their number matters.
Calibration Calibration_counter::calibration(std::size_t label_count) const {
    Calibration_bins pairs = m_pairs;
    pairs.add_wrong_zeros(m_top.count() * label_count - m_pairs.count());
    Calibration result;
    result.best = m_top.calibration();
    result.ece_top = result.best.ece;
    result.ece_pairs = pairs.error();
    result.brier = ratio(m_square_sum, m_top.count());
    if (m_rounds) {
        result.intervals = intervals(result, label_count);
    }
    return result;
}

void Calibration_counter::add_pair(double score, bool is_right, Text_errors& text) {
    m_pairs.add(score, is_right);
    const double error = score - (is_right ? 1.0 : 0.0);
    m_square_sum += error * error;
    if (m_rounds) {
        text.pairs.add(score, is_right);
        text.square_sum += error * error;
    }
}

void Calibration_counter::add_to_rounds(const Text_errors& text) {
    const Round_weights& weights = m_rounds->resampling.next();
    m_rounds->texts.add(weights);
    m_rounds->pairs.add(text.pairs, weights);
    m_rounds->squares.add(weights, text.square_sum);
}

Calibration_intervals Calibration_counter::intervals(const Calibration& calibration,
                                                     std::size_t label_count) const {
    const Sampled_figure brier = sampled_figure(
        [&](std::size_t round) { return ratio(m_rounds->squares[round], m_rounds->texts[round]); });
    return {m_rounds->pairs.error_interval(calibration.ece_pairs, m_rounds->texts, label_count),
            mean_interval(calibration.brier, brier.variance)};
}

}  // namespace zandrel::cli
