// Replacement_file: a new file that takes another's place when it is whole.
#ifndef ZANDREL_CLI_KC_REPLACEMENT_FILE_H_
#define ZANDREL_CLI_KC_REPLACEMENT_FILE_H_

#include <optional>
#include <string>

#include "cli/kc/Descriptor.h"
#include "cli/kc/File_attributes.h"
#include "cli/kc/Kc_lock.h"
#include "cli/kc/Target_file.h"
#include "cli/model/ending_signals.h"

namespace cli {

// A file beside the one to be replaced, in the same folder, so that a rename can put it there at
// once: whoever opens the file finds the old one or the new one, and a failure leaves the old one.
// It is removed with the object, and by a signal that ends the process, unless it has taken the
// place.
//
// A symbolic link is followed: what it points at is replaced. Other hard links keep the old file.
// The new file has the attributes of the old one (File_attributes::give_to), or those that the
// system gives to new files. Until then only its owner can open it.
//
// Its name is ".NAME.tmp-" and six letters. A process that is killed leaves it behind; the next
// replacement of the same file removes it. The writer has it locked, so that the file of a living
// process is never removed. Another user's file may not be opened, and so not be tested: it is
// removed if a Kc_lock excludes that its process lives.
class Replacement_file {
public:
    // Makes the new file, empty. `path` need not exist.
    // RAISES: Output_error; what Target_file::check_replaceable raises.
    explicit Replacement_file(const std::string& path);
    // The same for the container of a lock, which must live as long as this object.
    explicit Replacement_file(const Kc_lock& lock);
    Replacement_file(const Replacement_file&) = delete;
    Replacement_file& operator=(const Replacement_file&) = delete;
    ~Replacement_file();

    // Does all but writing and taking the place, so that what would fail then fails now.
    // RAISES: Output_error.
    static void try_out(const Kc_lock& lock);

    // Where to write.
    const std::string& path() const { return m_path; }

    // Brings what was written to the disk and puts the file into its place, which is noted as a
    // change (note_change).
    // RAISES: Output_error, also if somebody has changed the locked container meanwhile. After a
    // note of the change the file has taken its place, but a crash of the system may bring the old
    // one back.
    void take_place();

private:
    Replacement_file(Target_file target, const Kc_lock* lock);

    void begin();
    void make();
    // Returns whether a file with the name of `m_path` has been made and locked.
    bool try_to_make();
    void keep_attributes(bool is_new);
    void take_over_attributes();

    Target_file m_target;
    const Kc_lock* m_lock;  // BORROWS: null: none
    std::string m_path;     // of the new file; empty: it has taken its place
    std::optional<Unfinished_file> m_unfinished;
    File_attributes m_attributes;  // for the case that there is no old file at the end
    Descriptor m_file;             // the new one, locked
};

}  // namespace cli

#endif  // ZANDREL_CLI_KC_REPLACEMENT_FILE_H_
