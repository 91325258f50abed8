// Scored_label: a label with its score, and rankings of them.
#ifndef ZANDREL_TEXT_MODEL_SCORED_LABEL_H_
#define ZANDREL_TEXT_MODEL_SCORED_LABEL_H_

#include <string_view>
#include <vector>

struct zeNode;

namespace zandrel {

constexpr int kScoreDecimals = 6;  // of a score that we print

struct Scored_label {
    std::string_view label;  // BORROWS: of the model that made the ranking
    double score = 0.0;      // above 0; above 1 only by the rules of the tree
    zeNode* node = nullptr;  // the leaf with that score.  BORROWS: of the model
};

// Sorted by score, the highest first. Each label is in it at most once. A missing label has no
// result, and counts as score 0.
using Ranking = std::vector<Scored_label>;

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_SCORED_LABEL_H_
