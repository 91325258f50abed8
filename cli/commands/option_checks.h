// Options that several commands have, and the checks of their values.
#ifndef ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_
#define ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_

#include <cstddef>
#include <string>

namespace CLI {
class App;
}

namespace cli {

// More labels or pairs of labels than anyone reads.
constexpr int kLongestList = 1000000;

// Refuses what is no number from 0 to 1, not-a-number too: says why, or nothing.
std::string error_of_share(const std::string& text);

// Refuses an empty name, which a script's unset variable makes: taken for no file at all it would
// leave out what was asked for.
std::string error_of_file_name(const std::string& text);

// Likewise of a path, which would select the root or the best node.
std::string error_of_path(const std::string& text);

// Refuses what is no number of 0 or more, or not finite: says why, or nothing.
std::string error_of_score(const std::string& text);

// Adds --wait, for the commands that change a container.
// BORROWS: `seconds`, which must outlive `command`.
void add_wait_option(CLI::App& command, double& seconds);

// Adds --max-line, for the commands that read texts.
// BORROWS: `bytes`, which must outlive `command`.
void add_max_line_option(CLI::App& command, std::size_t& bytes);

// Adds --jobs, for the commands that can share work among processes.
// BORROWS: `jobs`, which must outlive `command`.
void add_jobs_option(CLI::App& command, std::size_t& jobs);

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_
