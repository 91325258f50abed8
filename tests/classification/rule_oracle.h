// What rules mean, told a second time in the plainest way, for tests to hold the parser against.
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

// A value that knows its type: 'n', 'b' or 's'.
struct Rule_value {
    char type = 'n';
    double number = 0.0;
    bool boolean = false;
    std::string text = {};

    double as_number() const { return type == 'b' ? (boolean ? 1.0 : 0.0) : number; }
};

// Operands of types that an operator does not take.
struct Oracle_type_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The message that the oracle knows, and the score that goes with it: the concepts "w" and "u" in
// the bag, and the pairs k = 3 and e of the empty text.
constexpr double kOracleScore = 0.5;
qtPtrLight<zeMsg> oracle_message();

// Whether this is an operand that the oracle knows: a number, a string, or one of that message's.
bool oracle_is_operand(std::string_view written);
// The value of an operand, as it is written, for that message.
Rule_value oracle_operand(std::string_view written);
// The value of an operator: as it is written, with "u" in front of a sign of one operand. The
// second search is case-blind for ASCII.
// RAISES: Oracle_type_error.
Rule_value oracle_apply(std::string_view written, std::vector<Rule_value> operands);

// The operator's types, its result's first; '=' is one type that the operands share.
std::string_view oracle_signature(std::string_view written);
// How many operands the operator takes.
std::size_t oracle_operand_count(std::string_view written);

// The value of a rule by its grammar, told by recursive descent; nothing if the grammar does not
// derive the symbols, which stand as they are written in a rule.
// RAISES: Oracle_type_error.
std::optional<double> oracle_by_grammar(const std::vector<std::string>& symbols);
// The value of symbols in reverse Polish notation, which ends with "$end".
// RAISES: Oracle_type_error.
double oracle_by_polish(const std::vector<std::string>& symbols);

// The two numbers are the same, or neither is one.
bool same_number(double left, double right);

std::vector<std::string> split_at_blanks(std::string_view text);

#endif  // ZANDREL_TESTS_CLASSIFICATION_RULE_ORACLE_H_
