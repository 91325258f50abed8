// Walk_report: prints the way of a text through the tree.
#ifndef ZANDREL_CLI_CLASSIFY_WALK_REPORT_H_
#define ZANDREL_CLI_CLASSIFY_WALK_REPORT_H_

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "text/model/Walk.h"

class zeLogicalTree;
struct zeNode;

namespace zandrel::cli {

struct Walk_report {
    const zeLogicalTree& tree;  // BORROWS: of the walk, for the names
    std::string text;
    Walk walk;
    zeNode* node = nullptr;               // says where the way to this node ended; null: none
    std::optional<std::size_t> top = {};  // number of children not taken, for each step; all
};

// Prints the text, the results, and each step with its children. After the first line, which is the
// whole text, no line is longer than 100 characters. Long names are shortened, and rules are
// wrapped.
void print_walk(const Walk_report& report, std::ostream& out);

// The same as an object of
//   text, has_words
//   results   a list of objects of category, path and score
//   ended     "enough results" or "nothing left"
//   steps     a list of objects of step (from 1), parent (the step that selected the node; null for
//             the root), id, name, classifier ("rule", "stat" or "leaf"), score, threshold, outcome
//             ("result", "not scored" or "same category"), rank (from 1, unless not scored), asked
//             (false: the classifier was not asked), children, and left_out if `top` is given
//   way       if a node is given: see below
// A child is an object of id, name, score, factor, outcome, step (if it was taken), better (the
// name of the child that is preferred to it) and rule. The outcomes are "taken", "waits", "below
// threshold", "score 0", "rule not positive", "default not reached", "same category" and "unknown".
// A rule is an object of text, value and tree (trace_json).
// The way is an object of path, step (the last step on the way), outcome (of the child of that step
// through which the way leads, "taken" if the node itself was taken, or "not asked") and score.
// Names are those of single nodes: the list of steps says where a node is. So an object stays small
// in a deep tree.
nlohmann::ordered_json walk_json(const Walk_report& report);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CLASSIFY_WALK_REPORT_H_
