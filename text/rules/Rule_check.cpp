// Passes each line to the engine's parser and collects its errors.
#include "text/rules/Rule_check.h"

#include <cerrno>
#include <fstream>
#include <string_view>

#include <nlohmann/json.hpp>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"

#include "text/data/Data_lines.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

void check_line(std::string_view line, std::size_t line_number, Rule_check& check) {
    const qtString rule = TrimWhiteSpace(line);
    if (rule.empty() || rule[0] == '#') {
        return;
    }
    ++check.rule_count;
    try {
        const Rule_checker parsed(rule);
    } catch (const qtX<RuleParser>& error) {
        check.bad.push_back({line_number, error.what()});
    }
}

}  // namespace

Rule_check check_rules(std::istream& input, const std::string& name) {
    Rule_check check{name, 0, {}};
    std::string line;
    errno = 0;
    for (std::size_t line_number = 1; std::getline(input, line); ++line_number) {
        check_line(line_number == 1 ? without_byte_order_mark(line) : line, line_number, check);
    }
    if (input.bad()) {
        throw Input_error(name, reason_of_failure());
    }
    return check;
}

Rule_check check_rule_file(const std::string& path, std::istream& standard_input) {
    if (path == "-") {
        return check_rules(standard_input, "<stdin>");
    }
    std::ifstream input = open_data_file(path);
    return check_rules(input, path);
}

void print_rule_check(const Rule_check& check, std::ostream& out, std::ostream& messages) {
    for (const Bad_rule& rule : check.bad) {
        messages << Data_error(check.file, rule.line, shown_complaint(rule.message)).what() << '\n';
    }
    out << check.rule_count << (check.rule_count == 1 ? " rule, " : " rules, ") << check.bad.size()
        << " bad\n";
}

nlohmann::ordered_json rule_check_json(const Rule_check& check) {
    nlohmann::ordered_json json = {{"file", check.file}, {"rules", check.rule_count}};
    json["bad"] = nlohmann::ordered_json::array();
    for (const Bad_rule& rule : check.bad) {
        json["bad"].push_back({{"line", rule.line}, {"message", rule.message}});
    }
    return json;
}

}  // namespace zandrel
