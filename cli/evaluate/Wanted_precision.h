// Wanted_precision: the least trust at which so many answers are right as the user wants.
#ifndef ZANDREL_CLI_EVALUATE_WANTED_PRECISION_H_
#define ZANDREL_CLI_EVALUATE_WANTED_PRECISION_H_

#include <cstddef>
#include <optional>
#include <vector>

#include "cli/evaluate/Answered_share.h"
#include "cli/evaluate/Interval.h"

namespace zandrel::cli {

// Returns the smallest threshold from 0 to 1, with four decimals, down to which the answers prove
// the precision (proves_share). Missing if no threshold does. If the share of right ones among
// infinitely many answers is below `precision` for every threshold, one is returned with a chance
// of 5 % at most.
//
// We test one threshold after another, from a high one down, and stop at the first one that does
// not prove the precision. The first one has a twentieth of the answers or more, and so many that
// two wrong ones still prove it: 124 for 0.95. If there are fewer than three times as many answers,
// the first one has the fewest answers that can prove it: 59.
//
// `precision`: above 0, below 1.
// COST: sorts the answers, and makes at most 10,001 tests.
std::optional<double> threshold_for(double precision, std::vector<Trusted_answer> answers);

// The precision that was wanted, and the precision that the threshold has reached for texts that
// were not used to choose it. Precision is the share of right answers among the answered texts.
struct Wanted_precision {
    double wanted = 0.0;
    bool is_confidence = false;       // `threshold` is for confidences, otherwise for scores
    std::optional<double> threshold;  // for use; missing if the precision cannot be reached
    std::size_t chosen_from = 0;      // texts used to choose `threshold`
    // Above 0: it was chosen from the test texts. Then each of so many folds was answered with a
    // threshold chosen from the other folds. 0: it was chosen from training texts.
    std::size_t fold_count = 0;
    // Of the test texts.
    std::size_t texts = 0;
    std::size_t answered = 0;
    std::size_t right = 0;  // of the answered texts

    double share() const { return ratio(static_cast<double>(answered), texts); }

    double precision() const { return ratio(static_cast<double>(right), answered); }

    Interval share_interval() const { return cli::share_interval(answered, texts); }

    Interval precision_interval() const { return cli::share_interval(right, answered); }
};

// `chosen_by`: answers of training texts, by models that have not learned them.
Wanted_precision precision_by_training(double wanted, const std::vector<Trusted_answer>& chosen_by,
                                       const std::vector<Trusted_answer>& test_answers);

// `folds`: the fold of each test text.
Wanted_precision precision_by_folds(double wanted, const std::vector<Trusted_answer>& test_answers,
                                    const std::vector<std::size_t>& folds, std::size_t fold_count);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_WANTED_PRECISION_H_
