// Tuning_metric: how good the answers of a model are, and how clearly one model is better than
// another one.
#ifndef ZANDREL_CLI_TUNE_TUNING_METRIC_H_
#define ZANDREL_CLI_TUNE_TUNING_METRIC_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "cli/evaluate/Interval.h"

namespace zandrel::cli {

// kAccuracy: the share of texts whose best label is one of theirs. kMacroF1: the F1 of the best
// labels, as the mean over the labels of the texts. kBrier: the squared error of the scores, summed
// over the labels, as the mean over the texts; lower is better.
enum class Tuning_metric { kAccuracy, kMacroF1, kBrier };

// "accuracy", "macro F1" or "Brier score".
const char* name_of(Tuning_metric metric);

// Labels are numbers from 0.
using Label_numbers = std::vector<std::int32_t>;

// The answer of a model for one text.
struct Text_answer {
    std::int32_t label = -1;    // the best one; -1: none
    double square_error = 0.0;  // of the scores of all labels; only for kBrier
};

// An answer whose truth is known. BORROWS: the labels of the text.
struct Known_answer {
    const Label_numbers* labels = nullptr;
    Text_answer answer = {};
};

// REQUIRES: at least one answer.
double value_of(Tuning_metric metric, const std::vector<Known_answer>& answers);

// The 95 % interval of the value. That of a Brier score is the value with 1.96 standard errors on
// both sides, and not below 0.
// REQUIRES: at least one answer, for kBrier at least two.
Interval interval_of(Tuning_metric metric, const std::vector<Known_answer>& answers);

// By how much one model is better than another one for the same texts, in units of the metric.
struct Tuning_gain {
    double gain = 0.0;   // above 0: better, also for kBrier
    double error = 0.0;  // the standard error of the gain

    // Returns whether the gain is above so many standard errors.
    bool is_above(double errors) const;
};

// The standard error for n texts:
//   kAccuracy: sqrt(w + l) / n, with w texts that only this model gets right, and l that only the
//     other one gets right. This is the error if both models are equally good. The error of the
//     mean difference would be too small for few such texts: 0 if all n texts were won.
//   kBrier: that of the mean difference of a text.
//   kMacroF1: that of the jackknife. With D(i) the gain without text i, and M the mean of all D(i),
//     it is sqrt((n - 1) / n * sum of (D(i) - M)^2).
// REQUIRES: answers for the same texts in the same order, at least one.
// COST: one pass over the texts, for kMacroF1 two.
Tuning_gain gain_over(Tuning_metric metric, const std::vector<Known_answer>& defaults,
                      const std::vector<Known_answer>& answers);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_TUNE_TUNING_METRIC_H_
