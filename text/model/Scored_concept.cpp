// Finds the line of each concept in the other list, which is sorted by concept for this.
#include "text/model/Scored_concept.h"

#include <algorithm>
#include <cmath>

namespace zandrel {

namespace {

bool is_before_on_tie(const Scored_concept& left, const Scored_concept& right) {
    const double left_size = std::abs(left.adds);
    const double right_size = std::abs(right.adds);
    return left_size > right_size || (left_size == right_size &&
                                      std::abs(left.log_odds_adds) > std::abs(right.log_odds_adds));
}

}  // namespace

std::vector<Scored_concept> in_both_scales(const std::vector<zeStat_matcher::Concept_score>& scores,
                                           std::vector<zeStat_matcher::Concept_score> log_odds) {
    const auto by_word = [](const zeStat_matcher::Concept_score& left,
                            const zeStat_matcher::Concept_score& right) {
        return left.m_concept < right.m_concept;
    };
    std::sort(log_odds.begin(), log_odds.end(), by_word);
    std::vector<Scored_concept> concepts;
    concepts.reserve(scores.size());
    for (const zeStat_matcher::Concept_score& line : scores) {
        const auto same = std::lower_bound(log_odds.begin(), log_odds.end(), line, by_word);
        concepts.push_back({line.m_concept, line.m_score, same->m_score});
    }
    std::stable_sort(concepts.begin(), concepts.end(), is_before_on_tie);
    return concepts;
}

}  // namespace zandrel
