// Replacement_file: a new file that takes another's place when it is whole.
#ifndef ZANDREL_CLI_KC_REPLACEMENT_FILE_H_
#define ZANDREL_CLI_KC_REPLACEMENT_FILE_H_

#include <string>

namespace cli {

// A file beside the one to be replaced, in the same folder, so that a rename can put it there at
// once: whoever opens the file finds the old one or the new one, and a failure leaves the old one.
// It is gone with the object, unless it has taken the place.
//
// A symbolic link is followed: what it points at is replaced. The new file has the permissions of
// the old one, or those that new files have, and belongs to the user who writes it.
//
// A process that is killed leaves its file behind, named ".NAME.XXXXXX".
class Replacement_file {
public:
    // Makes the new file, empty. `path` need not exist.
    // RAISES: Output_error, also for what is no regular file, such as a folder or a device, and for
    // a file that may not be written.
    explicit Replacement_file(const std::string& path);
    Replacement_file(const Replacement_file&) = delete;
    Replacement_file& operator=(const Replacement_file&) = delete;
    ~Replacement_file();

    // Where to write.
    const std::string& path() const { return m_path; }

    // Brings what was written to the disk and puts the file into its place.
    // RAISES: Output_error.
    void take_place();

private:
    [[noreturn]] void fail() const;

    std::string m_name;    // as the caller gave it, for messages
    std::string m_target;  // the same with links followed
    std::string m_path;    // of the new file; empty: it has taken its place
    int m_descriptor = -1;
};

}  // namespace cli

#endif  // ZANDREL_CLI_KC_REPLACEMENT_FILE_H_
