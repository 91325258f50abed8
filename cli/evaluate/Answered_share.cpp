// Sorts the answers by falling trust, so that the answers above each threshold are at the
// beginning.
//
// Example: the answers 0.9 right, 0.8 wrong, 0.8 right, 0.4 wrong. A share of 25 % needs one
// answer: threshold 0.9, 1 of 1 right. A share of 50 % needs two: threshold 0.8, which three
// answers have; 2 of 3 are right. 100 %: threshold 0.4, 2 of 4 are right.
#include "cli/evaluate/Answered_share.h"

#include <algorithm>

namespace zandrel::cli {

namespace {

std::vector<Trusted_answer> best_first(std::vector<Trusted_answer> answers) {
    std::sort(answers.begin(), answers.end(),
              [](const Trusted_answer& left, const Trusted_answer& right) {
                  return left.trust > right.trust;
              });
    return answers;
}

}  // namespace

std::vector<Answered_point> Answered_share_counter::points() const {
    const std::vector<Trusted_answer> answers = best_first(m_answers);
    std::vector<Answered_point> points;
    std::size_t answered = 0;
    std::size_t right = 0;
    for (std::size_t percent = 1; percent <= 100 && !answers.empty(); ++percent) {
        // Rounded up: 1 % of 30 texts is one text.
        const std::size_t wanted = (answers.size() * percent + 99) / 100;
        const double threshold = answers[wanted - 1].trust;
        for (; answered < answers.size() && answers[answered].trust >= threshold; ++answered) {
            right += answers[answered].is_right ? 1U : 0U;
        }
        points.push_back(
            {static_cast<double>(percent) / 100, threshold, answered, right, answers.size()});
    }
    std::reverse(points.begin(), points.end());
    return points;
}

Answered_point answered_at(double threshold, const std::vector<Trusted_answer>& answers) {
    Answered_point point;
    point.threshold = threshold;
    point.texts = answers.size();
    for (const Trusted_answer& answer : answers) {
        if (answer.trust >= threshold) {
            ++point.answered;
            point.right += answer.is_right ? 1 : 0;
        }
    }
    point.wanted_share = point.share();
    return point;
}

}  // namespace zandrel::cli
