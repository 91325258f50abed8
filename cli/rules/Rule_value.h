// Rule_value: what a rule gives for a message that is made up to try it.
#ifndef ZANDREL_CLI_RULES_RULE_VALUE_H_
#define ZANDREL_CLI_RULES_RULE_VALUE_H_

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "cli/text/Text_analysis.h"

namespace cli {

// What the message holds.
struct Rule_subject {
    std::vector<std::string> pairs = {};   // "key=value"; of equal keys the last counts
    std::optional<std::string> text = {};  // none: the message has no bag
    Analysis_settings analysis = {Analysis_kind::kWords};
    double score = 0.0;  // with which the classifier was entered
};

// RAISES: Data_error "rule: " and the parser's message; Usage_error for a pair without a key or
// without an equals sign; what make_text_analysis raises.
double rule_value(const std::string& rule, const Rule_subject& subject);

// The shortest text that is read back as the same number; "inf", "-inf" and "nan" for what is none.
std::string value_text(double value);
// An object of `rule` and `value`, a number, or a text for what JSON has no number for.
nlohmann::ordered_json rule_value_json(const std::string& rule, double value);

}  // namespace cli

#endif  // ZANDREL_CLI_RULES_RULE_VALUE_H_
