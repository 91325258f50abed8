// Rule_value: the value of a rule for a message that the user describes.
#ifndef ZANDREL_TEXT_RULES_RULE_VALUE_H_
#define ZANDREL_TEXT_RULES_RULE_VALUE_H_

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "text/analysis/Text_analysis.h"

namespace zandrel {

// The message.
struct Rule_subject {
    std::vector<std::string> pairs = {};   // "key=value"; of equal keys the last one is used
    std::optional<std::string> text = {};  // none: the message has no bag
    Analysis_settings analysis = {Analysis_kind::kWords};
    double score = 0.0;  // `parent_score` in a rule
};

// RAISES: Data_error "rule: " and the parser's message; Usage_error for a pair without a key or
// without an equals sign; what make_text_analysis raises.
double rule_value(const std::string& rule, const Rule_subject& subject);
// See rule_word_warnings.
// RAISES: as rule_value.
std::vector<std::string> rule_warnings(const std::string& rule, const Analysis_settings& analysis);

// Calls `take` with the value of the rule for each record of a file of JSON lines: its pairs, and
// the words of its text, which may be missing. `file`: "-" is standard input. `subject`: its
// analysis and score. RAISES: as rule_value; Data_error for the first bad record; Input_error.
void for_each_rule_value(const std::string& rule, const std::string& file,
                         const Rule_subject& subject,
                         const std::function<void(double value)>& take);

// The shortest text that is read as the same number; "inf", "-inf" or "nan" for other values.
std::string value_text(double value);
// The number, or value_text as a string for a value that JSON does not have.
nlohmann::ordered_json number_json(double value);
// An object of `rule` and `value`, the number_json.
nlohmann::ordered_json rule_value_json(const std::string& rule, double value);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_RULES_RULE_VALUE_H_
