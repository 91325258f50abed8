// Cross_validation: measures how good a model of some data will be, with these data only.
#ifndef ZANDREL_CLI_EVALUATE_CROSS_VALIDATION_H_
#define ZANDREL_CLI_EVALUATE_CROSS_VALIDATION_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Figures.h"

namespace zandrel::cli {

struct Cross_validation {
    std::uint64_t seed = 0;
    // For each fold, the figures of a model that has learned all other folds. Lists of categories
    // and confusions are empty.
    std::vector<Evaluation> folds;
    // The figures of all texts together, each classified by the model of its fold. `training` and
    // `classifying` have the cost of all folds.
    Evaluation all;
};

// Divides the texts of `data_files` into `fold_count` folds. For each fold it trains a model on the
// others, classifies the fold, and frees the model. There is only one model at a time.
// RAISES, before any training: Usage_error if there are fewer texts than folds, or if standard
// input is named twice; Input_error; Data_error for a bad line, unless bad lines are skipped. At
// any time: qtX<zeWorkflow> 2 "Process interrupted". REQUIRES: options.fold_count >= 2.
Cross_validation cross_validate(const Evaluation_options& options);

struct Spread {
    double mean = 0.0;
    // The sample standard deviation: sqrt(sum of (value - mean)^2 / (number of values - 1)).
    double deviation = 0.0;
};

// REQUIRES: at least two values.
Spread spread_of(const std::vector<double>& values);
// Returns whether the figures of a group are known in two folds or more (is_known).
bool has_spread(Figure_group group, const std::vector<Evaluation>& folds);
// The spread of a figure over the folds in which it is known. Zeros without has_spread.
Spread spread_of(const Figure& figure, const std::vector<Evaluation>& folds);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_CROSS_VALIDATION_H_
