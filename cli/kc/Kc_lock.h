// Kc_lock: keeps two processes from changing one container at once.
#ifndef ZANDREL_CLI_KC_KC_LOCK_H_
#define ZANDREL_CLI_KC_KC_LOCK_H_

#include <optional>
#include <string>

#include "zandrel/foundation/CTProgress.h"

#include "cli/kc/Descriptor.h"
#include "cli/kc/Target_file.h"
#include "cli/model/ending_signals.h"

namespace cli {

// How long to wait for another process.
struct Lock_wait {
    double seconds = 0.0;            // 0: not at all
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
};

// It lives from before a container is read until after its replacement. Otherwise, of two processes
// that read, change and write the same file at once, the first to write would lose what it has
// learned. Only those who change containers need a lock. Reading needs none, since a file is
// replaced whole.
//
// The lock is a lock of the system (flock) on an empty file beside the container, named
// ".NAME.lock". Only those who may write the container can open that file, so a reader cannot stop
// others from learning. The holder removes it before it lets go. A process that is killed leaves
// the file behind, but not the lock: the next one replaces the file, whose rights may be of an
// earlier time. A file that is not empty is the user's, and is refused.
class Kc_lock {
public:
    // The container need not exist.
    // RAISES: Output_error if another process has the lock all the time, if the lock file cannot be
    // made, and what Target_file::check_replaceable and check_link raise; qtX<zeWorkflow> 2 for an
    // interruption.
    // A file system without locks gives none, and that is no error.
    explicit Kc_lock(const std::string& path, const Lock_wait& wait = {});
    Kc_lock(const Kc_lock&) = delete;
    Kc_lock& operator=(const Kc_lock&) = delete;
    ~Kc_lock();

    // The container. Links are not followed again: it is read and replaced where the lock is.
    const Target_file& target() const { return m_target; }

    // Returns whether the system gave a lock. Then no other process of the program writes a file of
    // this name.
    bool is_exclusive() const { return m_is_exclusive; }

    // To be called right before the container is replaced, since not everybody asks for a lock.
    // RAISES: Output_error if the container is not the file that it was when this object got the
    // lock, or was written since; what Target_file::check_link raises.
    void check_unchanged() const;

private:
    enum class State { kLocked, kReplaced, kTaken, kForbidden };

    // RAISES: Output_error; qtX<zeWorkflow> 2.
    void lock(const Lock_wait& wait);
    // `replaced`: how many attempts in a row have ended so.
    // RAISES: Output_error.
    State try_to_lock(int replaced);
    // A new lock file; no file if there is one already.
    // RAISES: Output_error.
    Descriptor made() const;
    // Gives a new file its rights, or removes it. Returns false if it is another process's by now.
    // RAISES: Output_error.
    bool give_rights(int descriptor, bool is_new) const;
    // RAISES: Output_error for what is no lock file.
    void check_lock_file(int descriptor) const;
    // Returns whether the file has the lock, or no file can have one.
    bool try_flock(int descriptor);
    // RAISES: Output_error if it is time to give up.
    void check_waited(State state, double waited, double longest) const;
    [[noreturn]] void fail_at_lock_file(const std::string& reason) const;

    Target_file m_target;
    std::optional<File_state> m_state;  // of the container, once it is locked
    std::string m_path;                 // of the lock file
    Descriptor m_file;
    bool m_is_exclusive = false;
    std::optional<Unfinished_file> m_unfinished;  // once it is locked
};

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_LOCK_H_
