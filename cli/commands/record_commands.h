// The commands dump and check, which read a record file or a container's file.
#ifndef ZANDREL_CLI_COMMANDS_RECORD_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_RECORD_COMMANDS_H_

#include "cli/commands/Command_result.h"

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds the commands to the program. check sets `result`.
// BORROWS: `result`, which must outlive `app`.
void add_record_commands(CLI::App& app, Command_result& result);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_RECORD_COMMANDS_H_
