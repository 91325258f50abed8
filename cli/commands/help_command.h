// The command help: the help of each command, and pages on topics.
#ifndef ZANDREL_CLI_COMMANDS_HELP_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_HELP_COMMAND_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds the command, and adds the list of topics to the program's own help. Call it after all other
// commands have been added, since a command inherits the end of the program's help.
// BORROWS: `app`.
void add_help_command(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_HELP_COMMAND_H_
