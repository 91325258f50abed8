// Html_parts: small pieces of HTML that several sections of a report use.
#ifndef ZANDREL_CLI_REPORT_HTML_PARTS_H_
#define ZANDREL_CLI_REPORT_HTML_PARTS_H_

#include <optional>
#include <string>
#include <string_view>

#include "cli/evaluate/Interval.h"

namespace zandrel::cli {

// `name="value"` with a blank before it. `value` is escaped.
std::string html_attribute(std::string_view name, std::string_view value);

// The name of a category in a sentence. It cannot change the order of the words around it.
std::string html_name(std::string_view name);

// A cell of numbers, with the number by which a table is sorted. `html`: the content.
std::string number_cell(double value, const std::string& html);

// A cell with a share, its bar and its interval.
std::string share_cell(double share, const Interval& interval);

// A bar from 0 to 1 with the rest in the colour of wrong answers.
std::string quality_bar(double share);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_HTML_PARTS_H_
