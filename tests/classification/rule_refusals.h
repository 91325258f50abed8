// Which strings of symbols are no rules, and by what text each is refused, told a second time and
// without the passes of the parser.
#ifndef ZANDREL_TESTS_CLASSIFICATION_RULE_REFUSALS_H_
#define ZANDREL_TESTS_CLASSIFICATION_RULE_REFUSALS_H_

#include <string>
#include <vector>

// The symbols with a blank between them.
std::string joined(const std::vector<std::string>& symbols);

// The text that refuses the symbols, which stand as they are written in a rule, with a blank
// between them; empty for a rule. Besides whole tokens, and operands that the oracle knows, it
// takes as symbols that begin no token: x, $k(q), $k(n, '', "open.
std::string oracle_refusal(const std::vector<std::string>& symbols);

// The symbols in the order in which they are evaluated, with "u" in front of a sign of one operand
// and "$end" last.
// REQUIRES: whole tokens that may follow one another.
std::vector<std::string> oracle_polish(const std::vector<std::string>& symbols);

#endif  // ZANDREL_TESTS_CLASSIFICATION_RULE_REFUSALS_H_
