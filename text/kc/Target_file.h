// Target_file: a file that is to be made or replaced, and what is beside it.
#ifndef ZANDREL_TEXT_KC_TARGET_FILE_H_
#define ZANDREL_TEXT_KC_TARGET_FILE_H_

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <tuple>

namespace zandrel {

// Device, file number, size, and time of the last change in seconds and nanoseconds. The state
// changes if another file takes the file's place, and if the file is written.
using File_state = std::tuple<dev_t, ino_t, off_t, std::time_t, long>;

// Symbolic links are followed once, by the constructor: the target is the file at their end.
// Messages name the file as the user did.
class Target_file {
public:
    // `name`: the file need not exist.
    // RAISES: Output_error for an empty name and for a circle of links.
    explicit Target_file(const std::string& name);

    const std::string& name() const { return m_name; }

    const std::string& path() const { return m_path; }

    std::string folder() const;

    // The path of a hidden file in the same folder: ".NAME" and the ending. A name of more than 240
    // bytes is cut. Two files whose names differ only after the cut share this path.
    // REQUIRES: an ending of at most 14 bytes.
    std::string beside(std::string_view ending) const;
    // Returns whether `beside` cuts the name.
    bool is_cut() const;

    // Returns nothing for a file that does not exist.
    // RAISES: Output_error if the system cannot examine the file.
    std::optional<struct stat> status() const;
    // Returns nothing for a file that does not exist. RAISES: what `status` raises.
    std::optional<File_state> state() const;

    // RAISES: Output_error if the links of the name lead to another path now.
    void check_link() const;

    // RAISES: Output_error for anything but a regular file, such as a folder or a device, and for a
    // file that may not be written; what `status` raises. A missing file is no error.
    void check_replaceable() const;

    // RAISES: Output_error with this reason, or with the reason of `errno`.
    [[noreturn]] void fail(const std::string& reason) const;
    [[noreturn]] void fail() const;

private:
    void check_no_pipe() const;

    std::string m_name;
    std::string m_path;
};

// Returns whether the path leads to the open file. It does not if another file has taken its place.
bool is_file_at(const std::string& path, int descriptor);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_TARGET_FILE_H_
