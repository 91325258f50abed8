// Target_file: a file that is to be made or replaced, and what is beside it.
#ifndef ZANDREL_CLI_KC_TARGET_FILE_H_
#define ZANDREL_CLI_KC_TARGET_FILE_H_

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <tuple>

namespace cli {

// Tells a file from another one in its place, and from itself after it was written: device and
// number, size, time of the last change in seconds and nanoseconds.
using File_state = std::tuple<dev_t, ino_t, off_t, std::time_t, long>;

// Symbolic links are followed once, when the object is made: what they point at is the target.
// Messages name the file as the user did.
class Target_file {
public:
    // `name`: the file need not exist.
    // RAISES: Output_error for an empty name and for a circle of links.
    explicit Target_file(const std::string& name);

    const std::string& name() const { return m_name; }

    const std::string& path() const { return m_path; }

    std::string folder() const;

    // The path of a hidden file in the same folder: ".NAME" and the ending. A name that leaves too
    // little room is cut; then two files whose names differ only behind the cut share this path.
    // REQUIRES: an ending of at most 14 bytes.
    std::string beside(std::string_view ending) const;
    // Returns whether the name is cut there.
    bool is_cut() const;

    // Nothing for a file that does not exist.
    // RAISES: Output_error if the system cannot say.
    std::optional<struct stat> status() const;
    // Likewise.
    std::optional<File_state> state() const;

    // RAISES: Output_error if the name leads to another path by now.
    void check_link() const;

    // RAISES: Output_error for what is no regular file, such as a folder or a device, and for a
    // file that may not be written; what `status` raises.
    void check_replaceable() const;

    // RAISES: Output_error with this reason, or with what `errno` says.
    [[noreturn]] void fail(const std::string& reason) const;
    [[noreturn]] void fail() const;

private:
    std::string m_name;
    std::string m_path;
};

// Returns whether the path leads to the open file, and not to one that has taken its place since.
bool is_file_at(const std::string& path, int descriptor);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_TARGET_FILE_H_
