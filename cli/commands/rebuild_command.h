// The command rebuild-index.
#ifndef ZANDREL_CLI_COMMANDS_REBUILD_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_REBUILD_COMMAND_H_

#include "cli/commands/Command_result.h"

namespace CLI {
class App;
}

namespace zandrel::cli {

// BORROWS: `result` until the command has run.
void add_rebuild_command(CLI::App& app, Command_result& result);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_REBUILD_COMMAND_H_
