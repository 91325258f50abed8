// A second implementation, without the parser's passes, of the errors of a rule: which strings of
// symbols are no rules, and which text refuses each.
#ifndef ZANDREL_TESTS_CLASSIFICATION_RULE_REFUSALS_H_
#define ZANDREL_TESTS_CLASSIFICATION_RULE_REFUSALS_H_

#include <string>
#include <vector>

// The symbols with a blank between each two.
std::string joined(const std::vector<std::string>& symbols);

// The error text for the symbols, joined by blanks, or an empty text if they are a rule. Each
// symbol is a whole token, an operand that the oracle knows, or one of these, which begin no token:
// x, $k(q), $k(n, '', "open.
std::string oracle_refusal(const std::vector<std::string>& symbols);

// The symbols in the order of evaluation. A unary sign has a "u" in front, and "$end" comes last.
// REQUIRES: whole tokens that may follow one another.
std::vector<std::string> oracle_polish(const std::vector<std::string>& symbols);

#endif  // ZANDREL_TESTS_CLASSIFICATION_RULE_REFUSALS_H_
