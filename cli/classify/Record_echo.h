// Record_echo: repeats a record of the input with its answer.
#ifndef ZANDREL_CLI_CLASSIFY_RECORD_ECHO_H_
#define ZANDREL_CLI_CLASSIFY_RECORD_ECHO_H_

#include <string>
#include <string_view>
#include <vector>

namespace zandrel::cli {

// Returns the members of a JSON object as they are written, except for those of this name.
// REQUIRES: `object` is an object in JSON.
std::string without_member(std::string_view object, std::string_view name);

// Returns the members of a JSON object as they are written, and a further member at the end. A
// member of the same name is left out. `value`: JSON. REQUIRES: `object` is an object in JSON.
std::string with_member(std::string_view object, std::string_view name, std::string_view value);

// Returns a row of a CSV file, without its line end. A column is in quotes if it needs them: if it
// contains a comma, a quote, CR or LF, or if it is empty and the only one.
std::string csv_row(const std::vector<std::string>& columns);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CLASSIFY_RECORD_ECHO_H_
