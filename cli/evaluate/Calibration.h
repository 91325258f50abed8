// Calibration: how much scores differ from probabilities.
#ifndef ZANDREL_CLI_EVALUATE_CALIBRATION_H_
#define ZANDREL_CLI_EVALUATE_CALIBRATION_H_

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "text/model/Scored_label.h"

namespace zandrel::cli {

// The expected calibration error of predictions. Bin i contains the scores from i/15 to (i+1)/15;
// the score 1 is in the last bin. The error of a bin is the distance between its mean score and its
// share of right predictions. The result is the mean of these errors, weighted by the number of
// predictions in each bin.
class Calibration_bins {
public:
    static constexpr std::size_t kBinCount = 15;

    // `score`: 0..1.
    void add(double score, bool is_right);

    // Adds so many wrong predictions with score 0.
    void add_wrong_zeros(std::size_t count) { m_count += count; }

    // The number of predictions.
    std::size_t count() const { return m_count; }

    // 0..1; 0 without predictions.
    double error() const;

private:
    // The weighted error of a bin is |sum of scores - number of right ones| / number of all
    // predictions. So a wrong prediction with score 0 changes only the number of all predictions.
    struct Bin {
        double score_sum = 0.0;
        std::size_t right = 0;
    };

    std::array<Bin, kBinCount> m_bins = {};
    std::size_t m_count = 0;
};

struct Calibration {
    double ece_top = 0.0;    // expected calibration error of the best labels
    double ece_pairs = 0.0;  // expected calibration error of all pairs of text and label
    double brier = 0.0;  // squared error, summed over the labels, mean over the texts; 0 or more
};

// Compares rankings with the labels of the texts. A score above 1 counts as 1. A pair of text and
// label that is not in the ranking has the score 0. If a ranking is empty, the text has a wrong
// best label with the score 0.
class Calibration_counter {
public:
    void add(const std::vector<std::string>& labels, const Ranking& ranking);
    // `label_count`: number of different labels of the model and of all texts together.
    Calibration calibration(std::size_t label_count) const;

private:
    void add_pair(double score, bool is_right);

    Calibration_bins m_top;    // one prediction for each text
    Calibration_bins m_pairs;  // the pairs that have a score or are right
    double m_square_sum = 0.0;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_CALIBRATION_H_
