// Texts of what the passes of the rule parser make, so that a test is a row of texts.
#ifndef ZANDREL_TESTS_SUPPORT_RULE_DUMP_H_
#define ZANDREL_TESTS_SUPPORT_RULE_DUMP_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_parser.h"

using Rule_tokens = std::vector<RuleParser::ExprToken>;

// The passes, each from the text of a rule. What a pass raises passes through.
Rule_tokens tokens_of(std::string_view rule, const char* result_signature = "nn");
Rule_tokens polish_of(std::string_view rule, const char* result_signature = "nn");
Rule_tokens typed_of(std::string_view rule, const char* result_signature = "nn");
std::unique_ptr<MatchExp> tree_of(std::string_view rule);

// Tokens with a blank between them, as they are written in a rule; a sign of one operand has "u" in
// front: `$start "word" + u- 5 < $key(n) $end`.
std::string dump_tokens(const Rule_tokens& tokens);
// The same, each with its signature: `1:n 2:n +:nnn $end:nn`.
std::string dump_types(const Rule_tokens& tokens);
// A tree in prefix form: `add(num(1),key_n(size))`.
std::string dump_tree(const MatchExp& tree);
// A rule that is parsed into this tree, with brackets around each operation. A conversion is
// written as a sign "+", which leaves no object itself but wants a number.
std::string unparse(const MatchExp& tree);

#endif  // ZANDREL_TESTS_SUPPORT_RULE_DUMP_H_
