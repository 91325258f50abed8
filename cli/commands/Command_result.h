// Command_result: the exit status that a command sets.
#ifndef ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_
#define ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_

#include "cli/errors.h"

namespace cli {

// Made before the command line is read, and used when the command has ended.
struct Command_result {
    int status = kSuccess;  // of a command that has run to its end; all other errors are raised
};

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_
