// Answer_index: one number for the two highest scores of an answer, which orders answers by how
// probably they are right.
#ifndef ZANDREL_TEXT_CONFIDENCE_ANSWER_INDEX_H_
#define ZANDREL_TEXT_CONFIDENCE_ANSWER_INDEX_H_

#include <cstdint>
#include <span>

#include "text/confidence/Top_scores.h"

namespace zandrel {

// The index of an answer is a rough estimate of ln(p / (1 - p)), with p the chance that the answer
// is right:
//
//   index = base + of_best * ln(best / (1 - best)) + of_lead * sqrt(best - second)
//
// It is non-decreasing in the best score and in its lead over the second, since `of_best` and
// `of_lead` are 0 or more. A score above 1, which rules can make, counts as 1.
struct Answer_index {
    // Each weight in units of 0.0001, so that a text can contain it exactly. The index of the
    // default weights is ln(best / (1 - best)): the best score is the chance.
    std::int64_t base = 0;
    std::int64_t of_best = kUnit;
    std::int64_t of_lead = 0;

    static constexpr std::int64_t kUnit = 10000;
    static constexpr std::int64_t kGreatest = 1000 * kUnit;  // of a weight, without its sign

    // The weights with which the answers are most probable (logistic regression). A penalty draws
    // them to the default weights: they are the result for no answers, and 20 answers change them
    // only a little. Each answer needs a best score above 0. COST: about 10 passes over the
    // answers.
    static Answer_index fit(std::span<const Judged_answer> answers);

    double of(const Top_scores& scores) const;

    bool operator==(const Answer_index& other) const = default;
};

// 1 / (1 + e^-index): the chance that an index means.
double chance_of_index(double index);
// The reverse: ln(chance / (1 - chance)). A chance is at least 0.000001 and at most 0.999999 here,
// since the index of 0 and 1 is not finite.
double index_of_chance(double chance);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_CONFIDENCE_ANSWER_INDEX_H_
