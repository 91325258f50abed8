// Shows the results of the rule parser's passes as text, so that a test case is one row of texts.
#ifndef ZANDREL_TESTS_SUPPORT_RULE_DUMP_H_
#define ZANDREL_TESTS_SUPPORT_RULE_DUMP_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_parser.h"

using Rule_tokens = std::vector<RuleParser::ExprToken>;

// Each function runs the passes up to its own on the text of a rule. An error of a pass is passed
// on.
Rule_tokens tokens_of(std::string_view rule, const char* result_signature = "nn");
Rule_tokens polish_of(std::string_view rule, const char* result_signature = "nn");
Rule_tokens typed_of(std::string_view rule, const char* result_signature = "nn");
std::unique_ptr<MatchExp> tree_of(std::string_view rule);

// Tokens as they are written in a rule, with a blank between them. A unary sign has "u" in front:
// `$start "word" + u- 5 < $key(n) $end`.
std::string dump_tokens(const Rule_tokens& tokens);
// Tokens, each with its type signature: `1:n 2:n +:nnn $end:nn`.
std::string dump_types(const Rule_tokens& tokens);
// A tree in prefix form: `add(num(1),key_n(size))`.
std::string dump_tree(const MatchExp& tree);
// Writes a rule that parses into this tree, with brackets around each operation. A conversion is
// written as the sign "+": the sign makes no node of its own but needs a number, so the parser adds
// the conversion.
std::string unparse(const MatchExp& tree);

#endif  // ZANDREL_TESTS_SUPPORT_RULE_DUMP_H_
