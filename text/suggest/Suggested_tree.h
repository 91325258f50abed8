// Suggested_tree: a suggestion as a tree, and as a report.
#ifndef ZANDREL_TEXT_SUGGEST_SUGGESTED_TREE_H_
#define ZANDREL_TEXT_SUGGEST_SUGGESTED_TREE_H_

#include <ostream>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "text/data/Labelled_text.h"
#include "text/suggest/Tree_suggestion.h"

namespace zandrel {

// Returns the tree in its text form: the root, below it each group with its labels, and the labels
// without a group.
// REQUIRES: labels without white space other than blanks, since the text form writes it as blanks.
std::string tree_text_of(const Tree_suggestion& suggestion);

// Prints the accuracy with each number of groups that was tried, the comparison if there was one,
// and the result. `file`: where the tree is written; empty if it is written to standard output.
void print_suggestion(const Tree_suggestion& suggestion, const std::string& file,
                      std::ostream& out);
// The same as an object.
nlohmann::ordered_json suggestion_json(const Tree_suggestion& suggestion, const std::string& file,
                                       const Skipped_lines& skipped);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_SUGGEST_SUGGESTED_TREE_H_
