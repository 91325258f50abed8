// Exit_status: the exit statuses of the program.
#ifndef ZANDREL_CLI_PROCESS_EXIT_STATUS_H_
#define ZANDREL_CLI_PROCESS_EXIT_STATUS_H_

namespace zandrel::cli {

// From 64 on the numbers are those of sysexits.h, so that scripts can distinguish wrong usage, bad
// data and failures.
enum Exit_status : int {
    kSuccess = 0,
    kRepairable = 1,         // check: a file with damage, but no item is known to be lost
    kChangedThenFailed = 3,  // something failed after a container had been changed
    kUsageError = 64,        // the command line is wrong
    kDataError = 65,         // the contents of a file are wrong
    kInputError = 66,        // a file cannot be read
    kInternalError = 70,     // the program failed
    kOutputError = 74,       // the output cannot be written
    kSignalStatus = 128,     // plus the number of the signal that ended the work, as shells do
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_EXIT_STATUS_H_
