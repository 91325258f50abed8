// rated_walk: a walk through a tree for some labels, and the two highest scores of the text.
#ifndef ZANDREL_TEXT_CONFIDENCE_RATED_WALK_H_
#define ZANDREL_TEXT_CONFIDENCE_RATED_WALK_H_

#include <algorithm>

#include "text/confidence/Top_scores.h"

namespace zandrel {

// The results of a walk, the best first, and the scores for the confidence of the best one.
template <class Results>
struct Rated_results {
    Results results;
    Top_scores scores;
};

// Walks for `wanted` labels. For one label a second one is needed too, for its score.
//
// The value of a rule can be above 1. Example: the first leaf that a walk finds has the score 0.5.
// A walk for two labels goes on to a node with the score 0.4, whose rule has the value 2, and finds
// a leaf with the score 0.8. So with rules, the walk for one label finds the label, and the walk
// for two labels only the second score.
//
// `walk(count)`: returns a vector of results with a member `score`, the best first. `label_of`:
// returns the label of a result.
// COST: one walk; two walks for one label of a tree with rules.
template <class Walk, class Label_of>
auto rated_walk(int wanted, bool has_rules, const Walk& walk, const Label_of& label_of) {
    const bool walks_twice = wanted == 1 && has_rules;
    Rated_results<decltype(walk(wanted))> rated;
    rated.results = walk(wanted == 1 && !walks_twice ? 2 : wanted);
    auto& results = rated.results;
    if (results.empty()) {
        return rated;
    }
    rated.scores.best = results.front().score;
    if (walks_twice) {
        for (const auto& other : walk(2)) {
            if (label_of(other) != label_of(results.front())) {
                rated.scores.second = std::max(rated.scores.second, other.score);
            }
        }
    } else if (results.size() > 1) {
        rated.scores.second = results[1].score;
    }
    if (wanted == 1) {
        results.erase(results.begin() + 1, results.end());
    }
    return rated;
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_CONFIDENCE_RATED_WALK_H_
