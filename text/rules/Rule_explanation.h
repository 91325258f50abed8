// Rule_explanation: shows how the engine parses a rule: tokens, reverse Polish notation, tree.
#ifndef ZANDREL_TEXT_RULES_RULE_EXPLANATION_H_
#define ZANDREL_TEXT_RULES_RULE_EXPLANATION_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace zandrel {

struct Typed_token {
    std::string text;
    std::string types;  // a letter for the result, then one for each operand: "bnn" for `<`
};

// A line of the listing of the tree. The operands of a node follow it, one level deeper.
struct Tree_line {
    std::size_t level = 0;
    char type = 'n';  // of the node's value: n, b or s
    std::string text;
};

// The results of the parser's passes for a rule.
struct Rule_explanation {
    std::string rule;
    std::vector<std::string> tokens;  // as written in a rule, between "$start" and "$end"
    std::vector<Typed_token> reverse_polish;
    std::vector<Tree_line> tree;
};

// RAISES: Data_error "rule: " and the parser's message.
Rule_explanation explain_rule(const std::string& rule);

void print_rule_explanation(const Rule_explanation& explanation, std::ostream& out);
// The same as an object of `rule`, `tokens`, `reverse_polish`, a list of objects of `token` and
// `types`, and `tree`, a list of objects of `level`, `type` and `node`. The tree is a list: rules
// can be nested deeply, and many readers of JSON refuse deep nesting.
nlohmann::ordered_json rule_explanation_json(const Rule_explanation& explanation);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_RULES_RULE_EXPLANATION_H_
