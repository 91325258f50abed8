// A second, simple implementation of rules. Tests compare the parser with it.
#ifndef ZANDREL_TESTS_CLASSIFICATION_RULE_ORACLE_H_
#define ZANDREL_TESTS_CLASSIFICATION_RULE_ORACLE_H_

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeMsg.h"

// A value with its type: 'n', 'b' or 's'.
struct Rule_value {
    char type = 'n';
    double number = 0.0;
    bool boolean = false;
    std::string text = {};

    double as_number() const { return type == 'b' ? (boolean ? 1.0 : 0.0) : number; }
};

// Raised for operands whose types an operator does not accept.
struct Oracle_type_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The oracle evaluates all rules for one fixed message and score. Its bag has the concepts "w" and
// "u", and its pairs are k = 3 and e = "".
constexpr double kOracleScore = 0.5;
qtPtrLight<zeMsg> oracle_message();

// True for the operands that the oracle knows: a number, a string, or a part of that message.
bool oracle_is_operand(std::string_view written);
// The value of an operand for that message. The operand is given as written in a rule.
Rule_value oracle_operand(std::string_view written);
// The result of an operator. The operator is given as written in a rule, but a unary sign has a "u"
// in front. Isubstr ignores the case of ASCII letters. RAISES: Oracle_type_error.
Rule_value oracle_apply(std::string_view written, std::vector<Rule_value> operands);

// The operator's types, with the result's type first; '=' means one type that all operands share.
std::string_view oracle_signature(std::string_view written);
// The number of operands of the operator.
std::size_t oracle_operand_count(std::string_view written);

// The value of a rule by recursive descent, or nothing if the grammar does not derive the symbols.
// The symbols are as written in a rule. RAISES: Oracle_type_error.
std::optional<double> oracle_by_grammar(const std::vector<std::string>& symbols);
// The value of symbols in reverse Polish notation. The last symbol is "$end". RAISES:
// Oracle_type_error.
double oracle_by_polish(const std::vector<std::string>& symbols);

// True if the numbers are equal, or both are NaN.
bool same_number(double left, double right);

std::vector<std::string> split_at_blanks(std::string_view text);

#endif  // ZANDREL_TESTS_CLASSIFICATION_RULE_ORACLE_H_
