// Error: the exception of the text library.
#ifndef ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_ERROR_H_
#define ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_ERROR_H_

#include <cstddef>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "zandrel/text/export.h"

namespace zandrel {

// The kinds of failure. The numbers are the same in C, in Python and in every later version.
enum class Error_code : int {
    invalid_argument = 1,  // an option or a value that no container could accept
    not_found = 2,         // there is no such file, or no such node
    cannot_read = 3,       // a file exists but cannot be read
    cannot_write = 4,      // a file cannot be written; the old one is as it was
    not_a_container = 5,   // the file is something else
    damaged = 6,           // a container whose bytes have changed or are missing
    other_analysis = 7,    // the container was made with another text analysis than the given one
    unknown_label = 8,     // learning a label that the container does not have
    wrong_data = 9,        // a record, an example or a tree is wrong; see file and line
    busy = 10,             // another process is changing the container
    interrupted = 11,      // the progress callback has asked for the end
    unsupported = 12,      // for example learning with a compact container
    out_of_memory = 13,
    closed = 14,  // the classifier has been closed
    failed = 15   // anything else; `cause` has the exception
};

// Returns the name of a code, for example "not_found", and "failed" for an unknown number.
ZANDREL_TEXT_EXPORT const char* name_of(Error_code code) noexcept;

// Each function of the text library raises this class and no other.
class ZANDREL_TEXT_EXPORT Error : public std::runtime_error {
public:
    Error(Error_code code, const std::string& message, std::string file = {}, std::size_t line = 0,
          std::exception_ptr cause = nullptr);
    Error(const Error&) noexcept;
    Error& operator=(const Error&) noexcept;
    ~Error() override;

    Error_code code() const noexcept { return m_code; }

    // The file that the message is about, as the caller named it; "tree": Train_options::tree;
    // empty: none.
    const std::string& file() const noexcept { return *m_file; }

    // Its line, or the number of an example if there is no file, counted from 1; 0: none.
    std::size_t line() const noexcept { return m_line; }

    // The exception that caused this one: of the engine, such as qtX<zeManager>, or of the progress
    // function; null: none. std::rethrow_exception raises it.
    const std::exception_ptr& cause() const noexcept { return m_cause; }

private:
    Error_code m_code;
    std::shared_ptr<const std::string> m_file;  // shared, so that copying raises nothing
    std::size_t m_line;
    std::exception_ptr m_cause;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_ERROR_H_
