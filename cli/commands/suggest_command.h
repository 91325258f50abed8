// The command tree suggest.
#ifndef ZANDREL_CLI_COMMANDS_SUGGEST_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_SUGGEST_COMMAND_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds `suggest` below the command tree.
void add_suggest(CLI::App& tree);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_SUGGEST_COMMAND_H_
