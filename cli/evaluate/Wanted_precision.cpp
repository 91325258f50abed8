// A threshold is chosen among those with four decimals, so that it can be typed. For each of them
// we count the answers with at least this trust and the right ones among them, from the highest
// threshold down.
//
// A test of one threshold is wrong in 5 % of all cases. The best of 10,001 tests would be wrong
// more often. But tests in a fixed order that end with the first failure are wrong in 5 % at most:
// a wrong threshold is only returned if the first wrong one of the order passes. So the order must
// not depend on which answers are right. It begins where few wrong answers do no harm, as a count
// says:
//
//   answers    59   93  124  153
//   wrong       0    1    2    3   so many still prove 0.95
//
// A model of which 1 % of the most certain answers are wrong has a wrong one among 59 in 45 % of
// all cases, but three among 124 only in 13 %.
#include "cli/evaluate/Wanted_precision.h"

#include <algorithm>

namespace zandrel::cli {

namespace {

constexpr int kThresholdSteps = 10000;

constexpr std::size_t kEnoughTimes = 3;      // as many answers as the first threshold has
constexpr std::size_t kFirstShare = 20;      // the first threshold has a twentieth of the answers
constexpr std::size_t kWrongAtTheFirst = 2;  // and so many of them may be wrong

// The smallest number of answers that prove the precision if `wrong` of them are wrong, but at most
// `limit` + 1.
std::size_t fewest_that_prove(double precision, std::size_t wrong, std::size_t limit) {
    std::size_t low = wrong + 1;
    std::size_t high = std::max(limit + 1, low);
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (proves_share(middle - wrong, middle, precision)) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return low;
}

// The number of answers of the first threshold that is tested. It depends only on their number.
std::size_t first_count(double precision, std::size_t answers) {
    const std::size_t fewest = fewest_that_prove(precision, kWrongAtTheFirst, answers);
    return fewest <= answers / kEnoughTimes ? std::max(fewest, answers / kFirstShare)
                                            : fewest_that_prove(precision, 0, answers);
}

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
    const std::size_t first = first_count(precision, answers.size());
    std::optional<double> chosen;
    std::size_t answered = 0;
    std::size_t right = 0;
    for (int step = kThresholdSteps; step >= 0; --step) {
        const double threshold = static_cast<double>(step) / kThresholdSteps;
        for (; answered < answers.size() && answers[answered].trust >= threshold; ++answered) {
            right += answers[answered].is_right ? 1U : 0U;
        }
        if (answered >= first) {
            if (!proves_share(right, answered, precision)) {
                break;
            }
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
