// Calibration: how far scores are from being probabilities.
#ifndef ZANDREL_CLI_EVALUATE_CALIBRATION_H_
#define ZANDREL_CLI_EVALUATE_CALIBRATION_H_

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "cli/model/Scored_label.h"

namespace cli {

// The expected calibration error of predictions: the mean, over all of them, of the distance
// between mean score and share of right ones in their bin. Scores of one bin are those that begin
// with the same fifteenth of [0, 1]; exactly 1 falls in the last bin.
class Calibration_bins {
public:
    static constexpr std::size_t kBinCount = 15;

    // `score`: 0..1.
    void add(double score, bool is_right);

    // Adds predictions of score 0 that are wrong, as many at once.
    void add_wrong_zeros(std::size_t count) { m_count += count; }

    // Predictions added.
    std::size_t count() const { return m_count; }

    // 0..1; 0 without predictions.
    double error() const;

private:
    // A bin's share of the error is |sum of scores - right ones| / all predictions, so that wrong
    // ones of score 0 matter for the number of all alone.
    struct Bin {
        double score_sum = 0.0;
        std::size_t right = 0;
    };

    std::array<Bin, kBinCount> m_bins = {};
    std::size_t m_count = 0;
};

struct Calibration {
    double ece_top = 0.0;    // expected calibration error of the best labels
    double ece_pairs = 0.0;  // and of all pairs of text and label
    double brier = 0.0;  // sum over the labels of the squared error, mean over the texts: 0 and up
};

// Measures rankings against the texts' labels. A pair of text and label without a result has the
// score 0; so has the best label of a text without any result, and it is wrong.
class Calibration_counter {
public:
    void add(const std::vector<std::string>& labels, const Ranking& ranking);
    // `label_count`: different labels of the model and of all texts added.
    Calibration calibration(std::size_t label_count) const;

private:
    void add_pair(double score, bool is_right);

    Calibration_bins m_top;    // a prediction a text
    Calibration_bins m_pairs;  // those that have a score or are right
    double m_square_sum = 0.0;
};

}  // namespace cli

#endif  // ZANDREL_CLI_EVALUATE_CALIBRATION_H_
