// Kc_lock: keeps two processes from changing one container at once.
#ifndef ZANDREL_TEXT_KC_KC_LOCK_H_
#define ZANDREL_TEXT_KC_KC_LOCK_H_

#include <optional>
#include <string>

#include "zandrel/foundation/CTProgress.h"

#include "text/kc/Descriptor.h"
#include "text/kc/Target_file.h"
#include "text/kc/unfinished_files.h"

namespace zandrel {

// How long to wait for another process.
struct Lock_wait {
    double seconds = 0.0;            // 0: not at all
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
};

// A command that changes a container takes the lock before it reads the container, and keeps it
// until the new file is in place. Without a lock, two processes could read the same file, and the
// second one to write would overwrite what the first one has learned. Commands that only read a
// plain container take no lock, since its file is replaced whole. For a container in cached form,
// which is changed in place, see Kc_use.
//
// The lock is a lock of the system (flock) on an empty file beside the container, named
// ".NAME.lock". Only users who may write the container can open the lock file, so a reader cannot
// stop others from learning. The process that has the lock removes the file before it releases the
// lock. A process that is killed leaves the file behind, but not the lock. The next process
// replaces the file, since its permissions may be out of date. A file that is not empty belongs to
// the user, and is refused.
class Kc_lock {
public:
    // The container need not exist.
    // RAISES: Output_error if another process still has the lock at the end of the wait, or if the
    // lock file cannot be made; what Target_file::check_replaceable and check_link raise;
    // qtX<zeWorkflow> 2 for an interruption. A file system without locks is no error: then the
    // object has no lock.
    explicit Kc_lock(const std::string& path, const Lock_wait& wait = {});
    Kc_lock(const Kc_lock&) = delete;
    Kc_lock& operator=(const Kc_lock&) = delete;
    ~Kc_lock();

    // The container. Its symbolic links were followed once, before the lock, and all work uses the
    // path at their end. If a link has been changed since, check_unchanged raises.
    const Target_file& target() const { return m_target; }

    // How long this object was to wait. Kc_use waits as long for readers.
    const Lock_wait& wait() const { return m_wait; }

    // Returns whether the system gave us a lock. Then no other process of this program writes this
    // file.
    bool is_exclusive() const { return m_is_exclusive; }

    // Call this right before the container is replaced, since other programs do not ask for our
    // lock.
    // RAISES: Output_error if the container is not the file that it was when this object got the
    // lock, or if it has been written since; what Target_file::check_link raises.
    void check_unchanged() const;

    // Returns whether the container has been written or replaced since this object got the lock.
    bool has_changed() const { return m_target.state() != m_state; }

private:
    enum class State { kLocked, kReplaced, kTaken, kForbidden };

    // RAISES: Output_error; qtX<zeWorkflow> 2.
    void lock(const Lock_wait& wait);
    // `replaced`: how many attempts in a row have ended with kReplaced.
    // RAISES: Output_error.
    State try_to_lock(int replaced);
    // Makes a new lock file. Returns no file if there is one already.
    // RAISES: Output_error.
    Descriptor made() const;
    // Gives a new file its rights, or removes it if that fails. Returns false if it fails and
    // another process has locked or removed the file meanwhile.
    // RAISES: Output_error.
    bool give_rights(int descriptor, bool is_new) const;
    // RAISES: Output_error if the file is not a lock file.
    void check_lock_file(int descriptor) const;
    // Returns whether we have the lock, or the file system has no locks.
    bool try_flock(int descriptor);
    // RAISES: Output_error if it is time to give up.
    void check_waited(State state, double waited, double longest) const;
    [[noreturn]] void fail_at_lock_file(const std::string& reason) const;

    Target_file m_target;
    Lock_wait m_wait;
    std::optional<File_state> m_state;  // of the container, when we got the lock
    std::string m_path;                 // of the lock file
    Descriptor m_file;
    bool m_is_exclusive = false;
    std::optional<Unfinished_file> m_unfinished;  // the lock file, while we have the lock
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_LOCK_H_
