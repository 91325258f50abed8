// The tree of a rule as a list of lines, and rule texts with their escapes.
#ifndef ZANDREL_CLI_RULES_RULE_TREE_H_
#define ZANDREL_CLI_RULES_RULE_TREE_H_

#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/MatchExp.h"

#include "cli/rules/Rule_explanation.h"

namespace cli {

// A text between quotes, as written in a rule. Each such quote and each backslash in the text gets
// a backslash before it.
std::string in_quotes(std::string_view text, char quote);
// A key as written in a rule: "$name(n)". Each opening bracket and each backslash in the name gets
// a backslash before it.
std::string key_text(std::string_view name, char datatype);

// The lines of the tree of a rule. REQUIRES: the tree's value is a number, as that of each rule.
// COST: linear in the tree; does not recurse.
std::vector<Tree_line> tree_lines(const MatchExp& tree);

}  // namespace cli

#endif  // ZANDREL_CLI_RULES_RULE_TREE_H_
