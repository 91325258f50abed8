// The commands that make a model's file and use it: train, learn, classify and explain.
#ifndef ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_

#include "cli/commands/Command_result.h"

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds the commands to the program. classify and explain set `result` if they find a line that is
// too long.
// BORROWS: `result`, which must outlive `app`.
void add_model_commands(CLI::App& app, Command_result& result);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_
