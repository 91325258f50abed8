// Replacement_file: a new file that takes the place of an old one when it is complete.
#ifndef ZANDREL_TEXT_KC_REPLACEMENT_FILE_H_
#define ZANDREL_TEXT_KC_REPLACEMENT_FILE_H_

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "text/kc/Descriptor.h"
#include "text/kc/File_attributes.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Target_file.h"
#include "text/kc/unfinished_files.h"

namespace zandrel {

// The new file is in the folder of the old one, so that one rename can put it into place. A process
// that opens the file finds either the old contents or the new ones, and after a failure the old
// file is still there. Unless the new file has taken the place, the destructor removes it, and so
// does a signal that ends the process.
//
// A symbolic link is followed, and the file at its end is replaced. Other hard links keep the old
// file. While the new file is written, only its owner can open it. Before the rename it gets the
// attributes of the old file (File_attributes::give_to), or, without an old file, those that the
// system gives to new files.
//
// Its name is ".NAME.tmp-" and six letters or digits. A process that is killed leaves the file
// behind, and the next replacement of the same file removes it. The writer locks the file, so we
// never remove the file of a living process. If we may not open another user's file, we cannot test
// its lock. We remove it only if we have the Kc_lock, since then no other process writes a file of
// this name.
class Replacement_file {
public:
    // Makes the new file, empty. `path` need not exist.
    // RAISES: Output_error; what Target_file::check_replaceable raises.
    explicit Replacement_file(const std::string& path);
    // The same for the container of a lock. The lock must outlive this object.
    explicit Replacement_file(const Kc_lock& lock);
    Replacement_file(const Replacement_file&) = delete;
    Replacement_file& operator=(const Replacement_file&) = delete;
    ~Replacement_file();

    // Does all steps except writing and taking the place. For instance, a folder in which we may
    // not make files is reported before the training, not after it.
    // RAISES: Output_error.
    static void try_out(const Kc_lock& lock);
    static void try_out(const std::string& path);

    // The path of the new file, to which the caller writes.
    const std::string& path() const { return m_path; }

    // Writes what `write` prints to the new file.
    // RAISES: Output_error that names the old file; what `write` raises.
    void fill(const std::function<void(std::ostream& out)>& write) const;

    // Copies another file to the new file. `name`: the other file in messages.
    // RAISES: Output_error that names the old file; Input_error.
    void copy_from(const std::string& name, const std::string& path) const;

    // Calls `write`, which may remove the new file and make another one of the same name, as the
    // library does for a container in cached form. Only its owner can open that one, too.
    // RAISES: Output_error that names the old file; what `write` raises.
    void remake(const std::function<void()>& write);

    // Gives the complete new file the attributes of the old one and brings it to the disk, so that
    // only the rename is left. `take_place` does this too, unless this was called.
    // RAISES: Output_error.
    void prepare();

    // Flushes the new file to the disk, renames it to the name of the old one, and notes the change
    // (note_change).
    // RAISES: Output_error, also if another program has changed the locked container meanwhile. If
    // the change has been noted, the new file is in place, but a crash of the system may still
    // bring the old one back.
    void take_place();

    // Returns whether the new file has the name of the old one. `take_place` can raise after that.
    bool has_taken_place() const { return m_path.empty(); }

private:
    Replacement_file(Target_file target, const Kc_lock* lock);

    void begin();
    void make();
    // Returns whether a file with the name of `m_path` has been made and locked.
    bool try_to_make();
    void keep_attributes(bool is_new);
    void take_over_attributes();

    Target_file m_target;
    const Kc_lock* m_lock;  // BORROWS: the lock of the container; null: none
    std::string m_path;     // of the new file; empty after it has taken the place
    std::optional<Unfinished_file> m_unfinished;
    File_attributes m_attributes;  // used if there is no old file at the end
    Descriptor m_file;             // the new file, locked
    bool m_is_prepared = false;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_REPLACEMENT_FILE_H_
