// Scored_concept: the effect of a concept on a score, in both scales of an explanation.
#ifndef ZANDREL_TEXT_MODEL_SCORED_CONCEPT_H_
#define ZANDREL_TEXT_MODEL_SCORED_CONCEPT_H_

#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace zandrel {

struct Scored_concept {
    Concept word;
    double adds = 0.0;           // to the score
    double log_odds_adds = 0.0;  // to the log odds of the raw score
};

// Joins the lines of both explanations of a message. They remain in the order of their effects on
// the score. Lines with the same effect are in the order of their effects on the log odds, which
// still differ where a table makes the scores equal. Effects that are no number come last. A word
// that `log_odds` lacks has the effect 0 there.
// `scores`, `log_odds`: the results of classify_concepts and classify_concepts_in_log_odds.
std::vector<Scored_concept> in_both_scales(const std::vector<zeStat_matcher::Concept_score>& scores,
                                           std::vector<zeStat_matcher::Concept_score> log_odds);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_SCORED_CONCEPT_H_
