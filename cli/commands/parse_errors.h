// Messages for command lines that the parser refuses.
#ifndef ZANDREL_CLI_COMMANDS_PARSE_ERRORS_H_
#define ZANDREL_CLI_COMMANDS_PARSE_ERRORS_H_

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace cli {

// The commands directly below a command, or below the program, in the order of the help.
std::vector<std::string> names_of_commands(const CLI::App& command);

// For example `unknown command "tree mvoe"; did you mean "tree move"?`. `above` is the command
// where the word is, with the program's name, such as "zandrel tree"; `kind` says what was
// expected.
std::string unknown_word_text(std::string_view above, std::string_view kind, std::string_view word,
                              const std::vector<std::string>& known);

// Prints help or version where the command line asks for it, and otherwise the error, with the
// nearest command or option for a misspelt one. Returns the exit status.
int report_parse_error(const CLI::App& app, const CLI::ParseError& error);

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_PARSE_ERRORS_H_
