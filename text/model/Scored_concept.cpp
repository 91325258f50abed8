// Finds the line of each concept in the other list, which is sorted by concept for this.
#include "text/model/Scored_concept.h"

#include <algorithm>
#include <cmath>

namespace zandrel {

namespace {

using Lines = std::vector<zeStat_matcher::Concept_score>;

bool is_word_before(const zeStat_matcher::Concept_score& left,
                    const zeStat_matcher::Concept_score& right) {
    return left.m_concept < right.m_concept;
}

// Effects that are no number come last, as in each list.
double size_of(double effect) {
    return std::isnan(effect) ? -1.0 : std::abs(effect);
}

bool is_greater(const Scored_concept& left, const Scored_concept& right) {
    const double left_size = size_of(left.adds);
    const double right_size = size_of(right.adds);
    return left_size > right_size ||
           (left_size == right_size && size_of(left.log_odds_adds) > size_of(right.log_odds_adds));
}

// `sorted`: by word. A list lacks the word if a classifier has removed the bag between the two
// explanations.
double effect_of(const zeStat_matcher::Concept_score& line, const Lines& sorted) {
    const auto same = std::lower_bound(sorted.begin(), sorted.end(), line, is_word_before);
    return same == sorted.end() || is_word_before(line, *same) ? 0.0 : same->m_score;
}

}  // namespace

std::vector<Scored_concept> in_both_scales(const std::vector<zeStat_matcher::Concept_score>& scores,
                                           std::vector<zeStat_matcher::Concept_score> log_odds) {
    std::sort(log_odds.begin(), log_odds.end(), is_word_before);
    std::vector<Scored_concept> concepts;
    concepts.reserve(scores.size());
    for (const zeStat_matcher::Concept_score& line : scores) {
        concepts.push_back({line.m_concept, line.m_score, effect_of(line, log_odds)});
    }
    std::stable_sort(concepts.begin(), concepts.end(), is_greater);
    return concepts;
}

}  // namespace zandrel
