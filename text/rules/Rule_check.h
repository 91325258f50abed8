// Rule_check: finds the lines of a file that are not correct rules.
#ifndef ZANDREL_TEXT_RULES_RULE_CHECK_H_
#define ZANDREL_TEXT_RULES_RULE_CHECK_H_

#include <cstddef>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace zandrel {

struct Bad_rule {
    std::size_t line = 0;  // from 1
    std::string message;   // of the parser
};

struct Rule_check {
    std::string file;
    std::size_t rule_count = 0;  // correct and bad ones
    std::vector<Bad_rule> bad;
};

// Parses each line as a rule. Skips lines of white space, and lines that begin with "#" after white
// space: no rule begins with "#". `name`: of the file, for messages.
// RAISES: Input_error.
Rule_check check_rules(std::istream& input, const std::string& name);
// Checks a file, or `standard_input` if the path is "-".
// RAISES: Input_error.
Rule_check check_rule_file(const std::string& path, std::istream& standard_input);

// Prints the number of rules to `out`, and each bad rule to `messages` as "FILE:LINE: message".
void print_rule_check(const Rule_check& check, std::ostream& out, std::ostream& messages);
// The same as an object of `file`, `rules`, a number, and `bad`, a list of objects of `line` and
// `message`.
nlohmann::ordered_json rule_check_json(const Rule_check& check);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_RULES_RULE_CHECK_H_
