// Options that several commands have, and the checks of their values.
#ifndef ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_
#define ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace zandrel::cli {

// The greatest number that options for the length of a list accept.
constexpr int kLongestList = 1000000;

// The functions below check the text of an option. They return the reason why it is refused, or an
// empty text.

// A number from 0 to 1. "nan" is refused.
std::string error_of_share(const std::string& text);

// A share of texts: 0.0001 to 0.9999.
std::string error_of_part(const std::string& text);

// A name that is not empty. An unset variable in a script gives an empty name. We would treat it as
// an option that was not given, so we refuse it.
std::string error_of_file_name(const std::string& text);

// A path that is not empty. An empty one would select the root or the best node.
std::string error_of_path(const std::string& text);

// A finite number of 0 or more.
std::string error_of_score(const std::string& text);

// Adds an argument for a file that must be given.
// BORROWS: `file`, which must outlive `command`.
void add_file_argument(CLI::App& command, const char* name, std::string& file,
                       const char* description);

// Adds --json.
// BORROWS: `writes_json`, which must outlive `command`.
void add_json_option(CLI::App& command, bool& writes_json, const char* description = "Print JSON");

// Adds --wait, for the commands that change a container.
// BORROWS: `seconds`, which must outlive `command`.
void add_wait_option(CLI::App& command, double& seconds);

// Adds --cached, for the commands that open a container.
// BORROWS: `bound`, which must outlive `command`.
CLI::Option* add_bound_option(CLI::App& command, std::optional<unsigned int>& bound);

// The bound of --cached, or of --bound of convert. Returns the reason why a text is refused, or an
// empty text.
std::string error_of_bound(const std::string& text);

// Adds -o, for the commands that write a text (write_text).
// BORROWS: `file`, which must outlive `command`.
void add_output_option(CLI::App& command, std::string& file);

// Adds --max-line, for the commands that read texts.
// BORROWS: `bytes`, which must outlive `command`.
void add_max_line_option(CLI::App& command, std::size_t& bytes);

// Adds --jobs, for the commands that can share work among processes.
// BORROWS: `jobs`, which must outlive `command`.
void add_jobs_option(CLI::App& command, std::size_t& jobs);

// Adds --seed, for the commands that divide data.
// BORROWS: `seed`, which must outlive `command`.
CLI::Option* add_seed_option(CLI::App& command, std::uint64_t& seed);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_
