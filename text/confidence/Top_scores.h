// Top_scores: the two highest scores of an answer.
#ifndef ZANDREL_TEXT_CONFIDENCE_TOP_SCORES_H_
#define ZANDREL_TEXT_CONFIDENCE_TOP_SCORES_H_

#include "text/model/Scored_label.h"

namespace zandrel {

// The two highest scores of an answer. 0: there is no such label.
struct Top_scores {
    double best = 0.0;
    double second = 0.0;
};

// REQUIRES: the ranking was made for at least two labels, since with one label the second score is
// unknown.
inline Top_scores top_scores(const Ranking& ranking) {
    return {ranking.empty() ? 0.0 : ranking[0].score, ranking.size() < 2 ? 0.0 : ranking[1].score};
}

// A ranking, and the scores for its confidence. The ranking can have been made for one label only.
struct Rated_ranking {
    Ranking ranking;
    Top_scores scores;
};

// An answer whose truth is known.
struct Judged_answer {
    Top_scores scores;
    bool is_right = false;  // the best label is a label of the text
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_CONFIDENCE_TOP_SCORES_H_
