// Rule_explanation: how the engine reads a rule.
#ifndef ZANDREL_CLI_RULES_RULE_EXPLANATION_H_
#define ZANDREL_CLI_RULES_RULE_EXPLANATION_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace cli {

struct Typed_token {
    std::string text;
    std::string types;  // letters: the result's, then the operands'
};

// A node of the tree, in the order of a listing: a node's operands follow it, one level deeper.
struct Tree_line {
    std::size_t level = 0;
    char type = 'n';  // of the node's value
    std::string text;
};

// What the passes of the parser make of a rule.
struct Rule_explanation {
    std::string rule;
    std::vector<std::string> tokens;  // as a rule has them, between "$start" and "$end"
    std::vector<Typed_token> reverse_polish;
    std::vector<Tree_line> tree;
};

// RAISES: Data_error "rule: " and the parser's message.
Rule_explanation explain_rule(const std::string& rule);

void print_rule_explanation(const Rule_explanation& explanation, std::ostream& out);
// The same as an object of `rule`, `tokens`, `reverse_polish`, a list of objects of `token` and
// `types`, and `tree`, a list of objects of `level`, `type` and `node`. The tree is a list, as
// readers of JSON refuse what is nested deeply, and rules may be.
nlohmann::ordered_json rule_explanation_json(const Rule_explanation& explanation);

}  // namespace cli

#endif  // ZANDREL_CLI_RULES_RULE_EXPLANATION_H_
