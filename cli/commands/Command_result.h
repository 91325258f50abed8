// Command_result: the exit status that a command sets.
#ifndef ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_
#define ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_

#include "cli/process/Exit_status.h"
#include "text/errors.h"

namespace zandrel::cli {

// Made before the command line is read, and used when the command has ended.
struct Command_result {
    int status = kSuccess;  // of a command that has run to its end; all other errors are raised
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_COMMAND_RESULT_H_
