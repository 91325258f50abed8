// Command_result: how a command of the program ended.
#ifndef ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_
#define ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_

#include "cli/errors.h"

namespace cli {

// Lives from before the command line is read until the program ends.
struct Command_result {
    int status = kSuccess;  // of a command that ran to its end; others raise
};

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_
