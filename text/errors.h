// The exit statuses of the program, and the errors that lead to them.
#ifndef ZANDREL_TEXT_ERRORS_H_
#define ZANDREL_TEXT_ERRORS_H_

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <system_error>

#include "text/wording/Shown_text.h"

namespace zandrel {

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

// A wrong word of the command line that the parser accepts, for example the path of a missing node.
class Usage_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The contents of a file are wrong: "FILE:LINE: message", lines counted from 1, or "FILE: message".
class Data_error : public std::runtime_error {
public:
    Data_error(const std::string& file, std::size_t line, const std::string& message)
        : std::runtime_error(shown_file(file) + ":" + std::to_string(line) + ": " + message) {}

    Data_error(const std::string& file, const std::string& message)
        : std::runtime_error(shown_file(file) + ": " + message) {}
};

// A file that cannot be opened or read.
class Input_error : public std::runtime_error {
public:
    Input_error(const std::string& file, const std::string& reason)
        : std::runtime_error("cannot read " + shown_file(file) + ": " + reason) {}
};

// A file that cannot be written. The old file is unchanged, unless a change has been noted before
// (note_change).
class Output_error : public std::runtime_error {
public:
    Output_error(const std::string& file, const std::string& reason)
        : std::runtime_error("cannot write " + shown_file(file) + ": " + reason) {}
};

// The text for `errno`, which a failed call may have left at 0.
inline std::string reason_of_failure() {
    return errno == 0 ? "unknown reason" : std::generic_category().message(errno);
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ERRORS_H_
