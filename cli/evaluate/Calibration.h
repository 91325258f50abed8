// Calibration: how much scores differ from probabilities.
#ifndef ZANDREL_CLI_EVALUATE_CALIBRATION_H_
#define ZANDREL_CLI_EVALUATE_CALIBRATION_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/evaluate/Interval.h"
#include "cli/evaluate/Resampling.h"
#include "text/model/Scored_label.h"

namespace zandrel::cli {

// The predictions with scores from `low` to `high`.
struct Calibration_bin {
    double low = 0.0;
    double high = 0.0;
    std::size_t count = 0;
    std::size_t right = 0;
    double mean_score = 0.0;  // 0 without predictions

    double share_right() const { return ratio(static_cast<double>(right), count); }

    Interval share_interval() const { return cli::share_interval(right, count); }
};

// The expected calibration error of predictions. Bin i contains the scores from i/15 to (i+1)/15;
// the score 1 is in the last bin. The error of a bin is the distance between its mean score and its
// share of right predictions. The result is the mean of these errors, weighted by the number of
// predictions in each bin.
class Calibration_bins {
public:
    static constexpr std::size_t kBinCount = 15;

    // The bin of a score from 0 to 1.
    static std::size_t bin_of(double score);

    // `score`: 0..1.
    void add(double score, bool is_right);

    // Adds so many wrong predictions with score 0.
    void add_wrong_zeros(std::size_t count) {
        m_count += count;
        m_bins[0].count += count;
    }

    // The number of predictions.
    std::size_t count() const { return m_count; }

    // 0..1; 0 without predictions.
    double error() const;

    // All bins, the lowest scores first.
    std::vector<Calibration_bin> bins() const;

private:
    // The weighted error of a bin is |sum of scores - number of right ones| / number of all
    // predictions. So a wrong prediction with score 0 changes only the number of all predictions.
    struct Bin {
        double score_sum = 0.0;
        std::size_t right = 0;
        std::size_t count = 0;
    };

    std::array<Bin, kBinCount> m_bins = {};
    std::size_t m_count = 0;
};

// The same error in random samples of the texts, for its interval.
class Calibration_rounds {
public:
    // The predictions of one text.
    class Text {
    public:
        void add(double score, bool is_right) {
            const std::size_t bin = Calibration_bins::bin_of(score);
            m_differences[bin] += score - (is_right ? 1.0 : 0.0);
            m_variances[bin] += score * (1 - score);
        }

    private:
        friend class Calibration_rounds;
        std::array<double, Calibration_bins::kBinCount> m_differences = {};
        std::array<double, Calibration_bins::kBinCount> m_variances = {};  // if scores are true
    };

    // `weights`: of the text.
    void add(const Text& text, const Round_weights& weights);

    // `error`: of the texts that were added. `counts`: of the texts of each sample. `predictions`:
    // for each text.
    Interval error_interval(double error, const Round_counts& counts,
                            std::size_t predictions) const;

private:
    // The sums of all texts in one bin.
    struct Bin {
        Round_sums differences;
        double difference = 0.0;
        double square = 0.0;    // of the differences of the texts
        double variance = 0.0;  // that the difference has if scores are true

        double deviation_factor() const;
    };

    using Deviations = std::array<std::array<double, kRoundCount>, Calibration_bins::kBinCount>;

    Deviations deviations(const Round_counts& counts, std::size_t predictions) const;

    std::array<Bin, Calibration_bins::kBinCount> m_bins;
    std::size_t m_texts = 0;
};

// The calibration of best labels.
struct Best_calibration {
    double ece = 0.0;  // expected calibration error
    std::vector<Calibration_bin> bins = {};
    std::optional<Interval> interval = {};  // of `ece`; missing if the counter makes none
};

// Counts best labels, each with its score or its confidence.
class Best_calibration_counter {
public:
    explicit Best_calibration_counter(bool makes_intervals = false) {
        if (makes_intervals) {
            m_rounds.emplace();
        }
    }

    // `score`: of the best label of the next text, 0 to 1. 0 if the text has no result, which
    // counts as wrong.
    void add(double score, bool is_right);

    // The number of texts.
    std::size_t count() const { return m_bins.count(); }

    Best_calibration calibration() const;

private:
    struct Rounds {
        Resampling resampling;
        Round_counts texts;
        Calibration_rounds errors;
    };

    Calibration_bins m_bins;
    std::optional<Rounds> m_rounds;
};

struct Calibration_intervals {
    Interval ece_pairs;
    Interval brier;
};

struct Calibration {
    double ece_top = 0.0;    // expected calibration error of the best labels
    double ece_pairs = 0.0;  // expected calibration error of all pairs of text and label
    double brier = 0.0;  // squared error, summed over the labels, mean over the texts; 0 or more
    Best_calibration best = {};                           // best.ece is ece_top
    std::optional<Calibration_intervals> intervals = {};  // missing if the counter makes none
};

// Compares rankings with the labels of the texts. A score above 1 counts as 1. A pair of text and
// label that is not in the ranking has the score 0. If a ranking is empty, the text has a wrong
// best label with the score 0.
class Calibration_counter {
public:
    // `makes_intervals`: needs about 50 KB, and 2 microseconds for each text.
    explicit Calibration_counter(bool makes_intervals = false) : m_top(makes_intervals) {
        if (makes_intervals) {
            m_rounds.emplace();
        }
    }

    void add(const std::vector<std::string>& labels, const Ranking& ranking);
    // `label_count`: number of different labels of the model and of all texts together.
    Calibration calibration(std::size_t label_count) const;

private:
    // One text of m_rounds.
    struct Text_errors {
        Calibration_rounds::Text pairs;
        double square_sum = 0.0;
    };

    struct Rounds {
        Resampling resampling;
        Round_counts texts;
        Calibration_rounds pairs;
        Round_sums squares;
    };

    void add_pair(double score, bool is_right, Text_errors& text);
    void add_to_rounds(const Text_errors& text);
    Calibration_intervals intervals(const Calibration& calibration, std::size_t label_count) const;

    Best_calibration_counter m_top;
    Calibration_bins m_pairs;  // the pairs that have a score or are right
    double m_square_sum = 0.0;
    std::optional<Rounds> m_rounds;
};

// A score as a probability: rules can give scores above 1, also infinite, which count as 1.
double probability(double score);

// The score of the best label as a probability; 0 for an empty ranking.
double best_score(const Ranking& ranking);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_CALIBRATION_H_
