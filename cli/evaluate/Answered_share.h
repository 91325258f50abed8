// Answered_share: accuracy against the share of texts that get an answer, if the least certain
// texts get none.
#ifndef ZANDREL_CLI_EVALUATE_ANSWERED_SHARE_H_
#define ZANDREL_CLI_EVALUATE_ANSWERED_SHARE_H_

#include <cstddef>
#include <vector>

#include "cli/evaluate/Interval.h"

namespace zandrel::cli {

// The figures of the texts whose trust is at least `threshold`.
struct Answered_point {
    double wanted_share = 0.0;  // of the texts, for which the threshold was chosen
    double threshold = 0.0;
    std::size_t answered = 0;  // texts; more than wanted if several have the trust `threshold`
    std::size_t right = 0;     // of them
    std::size_t texts = 0;     // with and without answer

    double share() const { return ratio(static_cast<double>(answered), texts); }

    double accuracy() const { return ratio(static_cast<double>(right), answered); }

    Interval accuracy_interval() const { return share_interval(right, answered); }
};

// The trust in an answer is its confidence if the model has a confidence map, otherwise the score
// of its best label.
struct Answered_share {
    bool is_confidence = false;
    // For the wanted shares 100 %, 99 %, ... 1 %. Empty without texts.
    std::vector<Answered_point> points = {};
};

// An answer with its trust.
struct Trusted_answer {
    double trust = 0.0;  // 0 to 1; 0 without a result, which counts as wrong
    bool is_right = false;
};

// Collects answers, 16 bytes for each.
class Answered_share_counter {
public:
    void add(const Trusted_answer& answer) { m_answers.push_back(answer); }

    // In the order in which they were added.
    const std::vector<Trusted_answer>& answers() const { return m_answers; }

    // COST: sorts the answers.
    std::vector<Answered_point> points() const;

private:
    std::vector<Trusted_answer> m_answers;
};

// The figures for one threshold. `wanted_share` is the share of answered texts.
Answered_point answered_at(double threshold, const std::vector<Trusted_answer>& answers);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_ANSWERED_SHARE_H_
