// The errors of files and arguments. The program ends with a status for each, and the public
// classes raise Error with a code for each.
#ifndef ZANDREL_TEXT_ERRORS_H_
#define ZANDREL_TEXT_ERRORS_H_

#include <cerrno>
#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "text/wording/Shown_text.h"

namespace zandrel {

// An argument that is wrong, for example the path of a missing node.
class Usage_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The base of the errors below. It keeps the error of the engine that it replaces.
class File_error : public std::runtime_error {
public:
    File_error(std::string named_file, std::size_t line_number, const std::string& message)
        : std::runtime_error(message), m_file(std::move(named_file)), m_line(line_number) {}

    // As the user named it.
    const std::string& named_file() const { return m_file; }

    // From 1; 0: none.
    std::size_t line_number() const { return m_line; }

    // The error in whose handler this one was made; null: none.
    const std::exception_ptr& cause() const { return m_cause; }

private:
    std::string m_file;
    std::size_t m_line;
    std::exception_ptr m_cause = std::current_exception();
};

// The contents of a file are wrong: "FILE:LINE: message", lines counted from 1, or "FILE: message".
class Data_error : public File_error {
public:
    Data_error(const std::string& file, std::size_t line, const std::string& message)
        : File_error(file, line, shown_file(file) + ":" + std::to_string(line) + ": " + message) {}

    Data_error(const std::string& file, const std::string& message)
        : File_error(file, 0, shown_file(file) + ": " + message) {}
};

// The file is no container, but something else.
class Other_file : public Data_error {
public:
    using Data_error::Data_error;
};

// A file that cannot be opened or read.
class Input_error : public File_error {
public:
    Input_error(const std::string& file, const std::string& reason)
        : File_error(file, 0, "cannot read " + shown_file(file) + ": " + reason) {}
};

// A file that another process is changing.
class Busy_input : public Input_error {
public:
    using Input_error::Input_error;
};

// A file that cannot be written. The old file is unchanged, unless a change has been noted before
// (note_change).
class Output_error : public File_error {
public:
    Output_error(const std::string& file, const std::string& reason)
        : File_error(file, 0, "cannot write " + shown_file(file) + ": " + reason) {}
};

// A file that another process is using.
class Busy_output : public Output_error {
public:
    using Output_error::Output_error;
};

// The text for `errno`, which a failed call may have left at 0.
inline std::string reason_of_failure() {
    return errno == 0 ? "unknown reason" : std::generic_category().message(errno);
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ERRORS_H_
