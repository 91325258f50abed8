// The commands below rules: check, explain and eval for rules on the command line or in a file;
// list, keys and concepts for those of a container.
#ifndef ZANDREL_CLI_COMMANDS_RULE_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_RULE_COMMANDS_H_

#include "cli/commands/Command_result.h"

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds the commands to the program. rules check sets `result` if it finds a bad rule.
// BORROWS: `result`, which must outlive `app`.
void add_rule_commands(CLI::App& app, Command_result& result);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_RULE_COMMANDS_H_
