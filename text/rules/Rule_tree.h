// The tree of a rule as a list of lines, and rule texts with their escapes.
#ifndef ZANDREL_TEXT_RULES_RULE_TREE_H_
#define ZANDREL_TEXT_RULES_RULE_TREE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/MatchExp.h"

#include "text/rules/Rule_explanation.h"

namespace zandrel {

// A text between quotes, as written in a rule. Each such quote and each backslash in the text gets
// a backslash before it.
std::string in_quotes(std::string_view text, char quote);
// A key as written in a rule: "$name(n)". Each opening bracket and each backslash in the name gets
// a backslash before it.
std::string key_text(std::string_view name, char datatype);

// A node of the tree of a rule. A constant does not store its type, so `type` is the one that its
// place demands: n, b or s.
struct Rule_place {
    const MatchExp* expression = nullptr;  // BORROWS
    std::size_t level = 0;
    char type = 'n';
    std::size_t parent = 0;   // index of the place above; of the first place: 0
    std::size_t operand = 0;  // which operand of the place above it is, from 0
};

// All nodes of the tree, each one before its operands.
// REQUIRES: as tree_lines.
// COST: as tree_lines.
std::vector<Rule_place> tree_places(const MatchExp& tree);
Tree_line line_of(const Rule_place& place);

// The lines of the tree of a rule. REQUIRES: the tree's value is a number, as that of each rule.
// COST: linear in the tree; does not recurse.
std::vector<Tree_line> tree_lines(const MatchExp& tree);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_RULES_RULE_TREE_H_
