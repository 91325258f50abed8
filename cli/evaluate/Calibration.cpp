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

void Calibration_bins::add(double score, bool is_right) {
    const auto fifteenth = static_cast<std::size_t>(score * kBinCount);
    Bin& bin = m_bins[std::min(fifteenth, kBinCount - 1)];
    bin.score_sum += score;
    bin.right += is_right ? 1 : 0;
    ++m_count;
}

double Calibration_bins::error() const {
    double sum = 0.0;
    for (const Bin& bin : m_bins) {
        sum += std::abs(bin.score_sum - static_cast<double>(bin.right));
    }
    return ratio(sum, m_count);
}

namespace {

// The value of a rule can be above 1, also infinite, and so can the scores below its node.
double probability(double score) {
    return std::min(score, 1.0);
}

}  // namespace

void Calibration_counter::add(const std::vector<std::string>& labels, const Ranking& ranking) {
    const Label_set right(labels);
    m_top.add(ranking.empty() ? 0.0 : probability(ranking.front().score),
              !ranking.empty() && right.contains(ranking.front().label));
    std::size_t found = 0;
    for (const Scored_label& entry : ranking) {
        const bool is_right = right.contains(entry.label);
        add_pair(probability(entry.score), is_right);
        found += is_right ? 1 : 0;
    }
    for (; found < labels.size(); ++found) {
        add_pair(0.0, true);
    }
}

// All other pairs have no score and are wrong. They have no error, so only their number matters.
Calibration Calibration_counter::calibration(std::size_t label_count) const {
    Calibration_bins pairs = m_pairs;
    pairs.add_wrong_zeros(m_top.count() * label_count - m_pairs.count());
    return {m_top.error(), pairs.error(), ratio(m_square_sum, m_top.count())};
}

void Calibration_counter::add_pair(double score, bool is_right) {
    m_pairs.add(score, is_right);
    const double error = score - (is_right ? 1.0 : 0.0);
    m_square_sum += error * error;
}

}  // namespace zandrel::cli
