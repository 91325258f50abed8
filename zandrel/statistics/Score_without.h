// score_without_each: the score of one category, and its score without each concept of a bag.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_SCORE_WITHOUT_H_
#define ZANDREL_STATISTICS_SCORE_WITHOUT_H_

#include <vector>

#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/statistics/Match_table.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace zandrel::detail {

// Returns the weight of a profile in a row, or null. `row`: null for no row.
inline const float* weight_in(const Match_table::Pairs* row, int iprofile) noexcept {
    if (row == nullptr) {
        return nullptr;
    }
    for (const Match_table::Concept_weight& pair : *row) {
        if (pair.m_iprofile == iprofile) {
            return &pair.m_weight;
        }
    }
    return nullptr;
}

// Returns the score, and replaces `scores` by a line for each concept, in the order of the bag.
// `sum`: the value at which the sum begins.
// `row_of`: returns the row of a concept, or null.
template <class Row_of>
double score_without_each(const Match_scorer& scorer, const Clipped_bag& bag, int iprofile,
                          double sum, Row_of row_of,
                          std::vector<zeStat_matcher::Concept_score>& scores) {
    std::vector<const float*> weights;  // of the profile, by entry; null where it has none
    weights.reserve(bag.concepts().size());
    for (const zeSml::Concept_info& entry : bag.concepts()) {
        weights.push_back(weight_in(row_of(entry.m_concept), iprofile));
        if (weights.back() != nullptr) {
            sum += static_cast<double>(*weights.back()) * bag.weight(entry);
        }
    }
    const double score = scorer.score(iprofile, sum);
    scores.clear();
    scores.reserve(weights.size());
    for (const zeSml::Concept_info& entry : bag.concepts()) {
        const float* const weight = weights[scores.size()];
        const double score_without =
            weight == nullptr
                ? score
                : scorer.score(iprofile, sum - bag.weight(entry) * static_cast<double>(*weight));
        scores.push_back({entry.m_concept, score_without});
    }
    return score;
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_SCORE_WITHOUT_H_
