// What the command line parser checks the words of several commands with.
#ifndef ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_
#define ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_

#include <string>

namespace cli {

// More labels or pairs of labels than anyone reads.
constexpr int kLongestList = 1000000;

// Refuses what is no number from 0 to 1, not-a-number too: says why, or nothing.
std::string error_of_share(const std::string& text);

// Refuses an empty name, which a script's unset variable makes: taken for no file at all it would
// leave out what was asked for.
std::string error_of_file_name(const std::string& text);

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_OPTION_CHECKS_H_
