// Scored_label: one label of a ranking.
#ifndef ZANDREL_CLI_MODEL_SCORED_LABEL_H_
#define ZANDREL_CLI_MODEL_SCORED_LABEL_H_

#include <string_view>
#include <vector>

struct zeNode;

namespace cli {

struct Scored_label {
    std::string_view label;  // BORROWS: of the model that made the ranking
    double score = 0.0;      // above 0, at most 1
    zeNode* node = nullptr;  // the leaf with that score.  BORROWS: likewise
};

// Best first, each label once. A label that is missing has no result, which counts as score 0.
using Ranking = std::vector<Scored_label>;

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_SCORED_LABEL_H_
