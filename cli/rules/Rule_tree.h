// The tree of a rule as a listing.
#ifndef ZANDREL_CLI_RULES_RULE_TREE_H_
#define ZANDREL_CLI_RULES_RULE_TREE_H_

#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/MatchExp.h"

#include "cli/rules/Rule_explanation.h"

namespace cli {

// A text in quotes as a rule has it, with backslashes before quotes and backslashes.
std::string in_quotes(std::string_view text, char quote);
// "$name(n)", with backslashes before opening brackets and backslashes of the name.
std::string key_text(std::string_view name, char datatype);

// The lines of a rule's tree, whose value is a number.
// COST: linear in the tree; does not recurse.
std::vector<Tree_line> tree_lines(const MatchExp& tree);

}  // namespace cli

#endif  // ZANDREL_CLI_RULES_RULE_TREE_H_
