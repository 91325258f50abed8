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

namespace zandrel::cli {

// The commands directly below a command, or below the program, in the order of the help.
std::vector<std::string> names_of_commands(const CLI::App& command);

// For example `unknown command "tree mvoe"; did you mean "tree move"?`. `above` is the command
// before the word, with the program's name: "zandrel tree". `kind` is what we expected there:
// "command".
std::string unknown_word_text(std::string_view above, std::string_view kind, std::string_view word,
                              const std::vector<std::string>& known);

// Prints help or version if the command line asks for it. Otherwise prints the error, and for an
// unknown word the command or option with the nearest name. Returns the exit status.
int report_parse_error(const CLI::App& app, const CLI::ParseError& error);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_PARSE_ERRORS_H_
