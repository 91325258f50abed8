// Calls the parser's passes one after the other and keeps the result of each as text.
//
// Example: the rule `1 < 2 + 3`.
//
//   tokens           $start 1 < 2 + 3 $end
//   reverse Polish   1:n 2:n 3:n +:nnn <:bnn $end:nn
//   tree             n to number            since the value of a rule is a number
//                    b   less
//                    n     1
//                    n     sum
//                    n       2
//                    n       3
#include "text/rules/Rule_explanation.h"

#include <memory>
#include <string_view>

#include <nlohmann/json.hpp>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtX.h"

#include "text/errors.h"
#include "text/rules/Rule_tree.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Token = RuleParser::ExprToken;

std::string token_text(const Token& token) {
    if ((token.flags & RuleParser::kWord) != 0) {
        return in_quotes(token.text.view(), '"');
    }
    if ((token.flags & RuleParser::kString) != 0) {
        return in_quotes(token.text.view(), '\'');
    }
    if ((token.flags & RuleParser::kKey) != 0) {
        return key_text(token.text.view(), token.datatype);
    }
    return token.text.str();
}

// The letters of the signature that are used. The signature of `-` has two operands also where `-`
// has only one, as in `-3`.
std::string token_types(const Token& token) {
    const std::size_t operand_count =
        token.kind == RuleParser::kOperand ? 0 : static_cast<std::size_t>(token.arity);
    return std::string(token.signature.view().substr(0, operand_count + 1));
}

// RAISES: qtX<RuleParser>.
Rule_explanation explain_passes(const std::string& rule) {
    Rule_explanation explanation;
    explanation.rule = rule;
    std::vector<Token> tokens;
    RuleParser::tokenize_expression(rule, "nn", tokens);
    for (const Token& token : tokens) {
        explanation.tokens.push_back(token_text(token));
    }
    std::vector<Token> output;
    RuleParser::reverse_polish_notation(tokens, output);
    RuleParser::validate_polish_notation(output);
    for (const Token& token : output) {
        explanation.reverse_polish.push_back({token_text(token), token_types(token)});
    }
    const std::unique_ptr<MatchExp> tree(RuleParser::construct_expression_classes(output));
    explanation.tree = tree_lines(*tree);
    return explanation;
}

constexpr std::size_t kTokenWidth = 16;

void print_tree(const std::vector<Tree_line>& tree, std::ostream& out) {
    std::string_view name = "tree";
    for (const Tree_line& line : tree) {
        out << left_aligned(name, kTokenWidth) << line.type << ' '
            << std::string(2 * line.level, ' ') << shown_text(line.text) << '\n';
        name = "";
    }
}

}  // namespace

Rule_explanation explain_rule(const std::string& rule) {
    try {
        return explain_passes(rule);
    } catch (const qtX<RuleParser>& error) {
        throw Data_error("rule", shown_complaint(error.what()));
    }
}

void print_rule_explanation(const Rule_explanation& explanation, std::ostream& out) {
    out << left_aligned("tokens", kTokenWidth - 1);
    for (const std::string& token : explanation.tokens) {
        out << ' ' << shown_text(token);
    }
    out << '\n' << left_aligned("reverse Polish", kTokenWidth - 1);
    for (const Typed_token& token : explanation.reverse_polish) {
        out << ' ' << shown_text(token.text) << ':' << token.types;
    }
    out << '\n';
    print_tree(explanation.tree, out);
}

nlohmann::ordered_json rule_explanation_json(const Rule_explanation& explanation) {
    nlohmann::ordered_json json = {{"rule", explanation.rule}, {"tokens", explanation.tokens}};
    json["reverse_polish"] = nlohmann::ordered_json::array();
    for (const Typed_token& token : explanation.reverse_polish) {
        json["reverse_polish"].push_back({{"token", token.text}, {"types", token.types}});
    }
    json["tree"] = nlohmann::ordered_json::array();
    for (const Tree_line& line : explanation.tree) {
        json["tree"].push_back(
            {{"level", line.level}, {"type", std::string(1, line.type)}, {"node", line.text}});
    }
    return json;
}

}  // namespace zandrel
