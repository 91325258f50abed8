// A threshold is chosen among those with four decimals, so that it can be typed. For each of them
// we count the answers with at least this trust and the right ones among them, from the highest
// threshold down, and remember the last one that proves the precision.
//
// The proof is the lower end of the interval of Wilson, for one side: with 95 %, the share is above
// it. Of 100 answers, 99 must be right for a precision of 0.95: 0.955; 98 right have 0.939.
#include "cli/evaluate/Wanted_precision.h"

#include <algorithm>

namespace zandrel::cli {

namespace {

constexpr int kThresholdSteps = 10000;

// The answers of a fold, or with `others`, of all other folds.
std::vector<Trusted_answer> answers_of(const std::vector<Trusted_answer>& answers,
                                       const std::vector<std::size_t>& folds, std::size_t fold,
                                       bool others) {
    std::vector<Trusted_answer> chosen;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        if ((folds[i] == fold) != others) {
            chosen.push_back(answers[i]);
        }
    }
    return chosen;
}

void add_answered(std::optional<double> threshold, const std::vector<Trusted_answer>& answers,
                  Wanted_precision& result) {
    result.texts += answers.size();
    if (threshold) {
        const Answered_point point = answered_at(*threshold, answers);
        result.answered += point.answered;
        result.right += point.right;
    }
}

}  // namespace

std::optional<double> threshold_for(double precision, std::vector<Trusted_answer> answers) {
    std::sort(answers.begin(), answers.end(),
              [](const Trusted_answer& left, const Trusted_answer& right) {
                  return left.trust > right.trust;
              });
    std::optional<double> chosen;
    std::size_t answered = 0;
    std::size_t right = 0;
    for (int step = kThresholdSteps; step >= 0; --step) {
        const double threshold = static_cast<double>(step) / kThresholdSteps;
        for (; answered < answers.size() && answers[answered].trust >= threshold; ++answered) {
            right += answers[answered].is_right ? 1U : 0U;
        }
        if (answered > 0 && least_share(right, answered) >= precision) {
            chosen = threshold;
        }
    }
    return chosen;
}

Wanted_precision precision_by_training(double wanted, const std::vector<Trusted_answer>& chosen_by,
                                       const std::vector<Trusted_answer>& test_answers) {
    Wanted_precision result;
    result.wanted = wanted;
    result.threshold = threshold_for(wanted, chosen_by);
    result.chosen_from = chosen_by.size();
    add_answered(result.threshold, test_answers, result);
    return result;
}

Wanted_precision precision_by_folds(double wanted, const std::vector<Trusted_answer>& test_answers,
                                    const std::vector<std::size_t>& folds, std::size_t fold_count) {
    Wanted_precision result;
    result.wanted = wanted;
    result.threshold = threshold_for(wanted, test_answers);
    result.chosen_from = test_answers.size();
    result.fold_count = fold_count;
    for (std::size_t fold = 0; fold < fold_count; ++fold) {
        add_answered(threshold_for(wanted, answers_of(test_answers, folds, fold, true)),
                     answers_of(test_answers, folds, fold, false), result);
    }
    return result;
}

}  // namespace zandrel::cli
