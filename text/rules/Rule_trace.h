// Rule_trace: the value of each part of a rule for a message.
#ifndef ZANDREL_TEXT_RULES_RULE_TRACE_H_
#define ZANDREL_TEXT_RULES_RULE_TRACE_H_

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "zandrel/classification/MatchExp.h"

#include "text/rules/Rule_explanation.h"

namespace zandrel {

// A longer text is cut after at most so many bytes, and ends with an ellipsis.
inline constexpr std::size_t kLongestTracedText = 1000;

// A line of the tree of a rule with its value.
struct Traced_line {
    enum class Kind {
        kOperation,
        kConstant,  // written in the rule
        kOperand    // a word, a key, or a number of the message such as `concepts_in_sml`
    };

    Tree_line line;
    Kind kind = Kind::kOperation;
    // False if the rule skips this part: the second operand of `|` if the first one is true, that
    // of `&` if the first one is false, the branch of `?` that is not chosen, and everything below
    // them. The value is then the one that the part would have.
    bool is_evaluated = true;
    std::variant<double, bool, std::string> value = 0.0;  // a text: see kLongestTracedText
    // For people: why the value is as it is. "no pair", "the pair is a list", "the pair is '7 kg'",
    // `found as "run"`; usually empty.
    std::string note = {};
};

// All parts of a rule, each operation before its operands. The first line has the value of the
// rule.
// REQUIRES: the tree's value is a number; `info.msg` as for Rule_checker::Evaluate.
// COST: linear in the tree; does not recurse.
std::vector<Traced_line> trace_rule(const MatchExp& tree, DocInfo& info);

// The value for people: "found" or "not found" for a word, "true", "7", "'text'", or "not
// evaluated". The note follows in brackets: "0 (no pair)".
std::string shown_value_of(const Traced_line& line);
// The lines of kind kOperand, each text once. If the rule evaluates one of several places with the
// same text, that place is in the list.
std::vector<Traced_line> operands_of(const std::vector<Traced_line>& lines);

// A list of objects with the keys `level`, `type`, `node` and `value`. The value is a number, a
// truth value or a string, or null if the part is not evaluated. A number that JSON cannot
// represent is a string, such as "inf".
nlohmann::ordered_json trace_json(const std::vector<Traced_line>& lines);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_RULES_RULE_TRACE_H_
