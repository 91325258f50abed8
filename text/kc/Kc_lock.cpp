// Takes and releases the lock of a container. Kc_lock.h says which commands take it.
//
// The idea: flock() locks an open file, but the processes meet by a name, ".NAME.lock". A name can
// lead to another file later. So a process that has got the lock compares its open file with the
// file that the name leads to now, and starts again if they differ.
//
// Example: A and B both learn into "a.kc". A has made ".a.kc.lock", file number 70, and locked it.
// B was started with --wait 10.
//
//   A                                       B
//   has the lock of file 70                 opens ".a.kc.lock": file 70
//                                           flock fails: kTaken, pauses for 0.05 s
//   renames the new container into place
//   removes the name ".a.kc.lock"           opens ".a.kc.lock": there is none, so B makes
//   closes file 70, which ends the lock     file 71 and locks it: kLocked
//                                           reads the container that A has written
//
// If B opens file 70 before A removes the name, but calls flock after A has closed the file, then B
// gets the lock of a file without a name. A third process C could make ".a.kc.lock" again, as file
// 71, and lock it too. Both would have "the lock". The comparison finds that the name does not lead
// to file 70: kReplaced, and B tries again at once. For the same reason A removes the name before
// it closes the file: otherwise B could lock file 70 and find its name, and then A would remove
// that name.
//
// The attempts of try_to_lock end with one of four states:
//
//   kLocked      we have the lock, or the file system has no locks.
//   kReplaced    the file was made or removed by another process meanwhile, or we have removed one
//                that a killed process left: try again at once. After 100 such attempts in a row we
//                use the file as it is, since some file systems have no constant file numbers.
//   kTaken       another process has the lock: try again after a pause, until the wait is over.
//   kForbidden   we may not open the file. Its maker opens it to others a moment later, so we fail
//                only after half a second.
//
// The lock file's own rights follow those of the container, restricted to those who may write it: a
// container with 664 has a lock file with 660, and one with 644 has a lock file with 600
// (File_attributes::give_as_lock_to).
#include "text/kc/Kc_lock.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "zandrel/knowledge/Progress.h"

#include "text/errors.h"
#include "text/kc/File_attributes.h"

namespace zandrel {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kPause(0.05);
// How many seconds we try to open a lock file that we may not open. A new lock file gets the rights
// of other users only a moment after it was made.
constexpr double kLongestMoment = 0.5;
// On a file system whose file numbers change, each attempt finds the file replaced. After so many
// attempts we accept the file.
constexpr int kMostReplaced = 100;
constexpr mode_t kLockMode = 0600;
// Users who may write a new container may write its lock file. Nobody else may read it.
constexpr mode_t kNewLock = 0622;

}  // namespace

Kc_lock::Kc_lock(const std::string& path, const Lock_wait& wait)
    : m_target(path), m_wait(wait), m_path(m_target.beside(".lock")) {
    m_target.check_replaceable();
    lock(wait);
    m_unfinished.emplace(m_path.c_str());
    m_target.check_link();  // also now, so that an error comes before the work
    m_state = m_target.state();
}

Kc_lock::~Kc_lock() {
    m_unfinished.reset();  // another process may make the next file of this name
    // We remove the name before the lock is released, so that a process that has opened the file
    // and then gets the lock finds it removed.
    if (is_file_at(m_path, m_file.number())) {
        ::unlink(m_path.c_str());
    }
}

void Kc_lock::check_unchanged() const {
    m_target.check_link();
    if (has_changed()) {
        m_target.fail("the file has been changed by something else meanwhile");
    }
}

void Kc_lock::lock(const Lock_wait& wait) {
    const zandrel::detail::Progress progress(wait.progress);
    const Clock::time_point begin = Clock::now();
    int replaced = 0;
    bool has_paused = false;
    for (State state = try_to_lock(replaced); state != State::kLocked;
         state = try_to_lock(replaced)) {
        if (state == State::kReplaced) {
            ++replaced;
            continue;
        }
        check_waited(state, Seconds(Clock::now() - begin).count(), wait.seconds);
        if (!has_paused) {
            progress.set_status("Waiting for another process");
        }
        has_paused = true;
        replaced = 0;
        progress.check_interrupt();
        std::this_thread::sleep_for(kPause);
    }
}

Kc_lock::State Kc_lock::try_to_lock(int replaced) {
    // Without O_CREAT, since with it Linux may forbid opening another user's file in a shared
    // folder.
    Descriptor file(::open(m_path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.is_open() && errno == EACCES) {
        return State::kForbidden;
    }
    const bool is_missing = !file.is_open() && errno == ENOENT;
    if (is_missing) {
        file = made();
        if (!file.is_open()) {
            return State::kReplaced;
        }
    }
    check_lock_file(file.number());
    if (!try_flock(file.number())) {
        return State::kTaken;
    }
    // The process that had the lock before may have removed the file since we opened it.
    if (!is_file_at(m_path, file.number()) && replaced < kMostReplaced) {
        return State::kReplaced;
    }
    // A killed process has left the file, with rights that may be out of date. We remove it and
    // make a new one. In some shared folders we cannot remove another user's file; then we use it.
    if (!is_missing && replaced < kMostReplaced && ::unlink(m_path.c_str()) == 0) {
        return State::kReplaced;
    }
    m_file = std::move(file);
    return State::kLocked;
}

Descriptor Kc_lock::made() const {
    const bool is_new = !m_target.status();
    Descriptor file(::open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                           is_new ? kNewLock : kLockMode));
    if (!file.is_open()) {
        if (errno == ENOENT) {
            m_target.fail();  // the folder does not exist, so the message names the container
        }
        if (errno != EEXIST) {
            fail_at_lock_file(reason_of_failure());
        }
        return file;
    }
    return give_rights(file.number(), is_new) ? std::move(file) : Descriptor();
}

bool Kc_lock::give_rights(int descriptor, bool is_new) const {
    try {
        File_attributes::of(is_new ? m_path : m_target.path()).give_as_lock_to(descriptor);
        return true;
    } catch (const std::system_error& error) {
        // Another process may have locked or removed the file meanwhile.
        const bool is_taken = ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        if (is_taken || !is_file_at(m_path, descriptor)) {
            return false;
        }
        ::unlink(m_path.c_str());
        fail_at_lock_file(error.code().message());
    }
}

void Kc_lock::check_lock_file(int descriptor) const {
    struct stat status = {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0) {
        fail_at_lock_file(reason_of_failure());
    }
    if (!S_ISREG(status.st_mode)) {
        fail_at_lock_file("not a regular file");
    }
    if (status.st_size != 0) {
        fail_at_lock_file("not empty, so not a lock file");
    }
}

bool Kc_lock::try_flock(int descriptor) {
    m_is_exclusive = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    return m_is_exclusive || errno != EWOULDBLOCK;
}

void Kc_lock::check_waited(State state, double waited, double longest) const {
    if (state == State::kForbidden) {
        if (waited >= kLongestMoment) {
            fail_at_lock_file(std::generic_category().message(EACCES) +
                              "; remove it if no zandrel runs");
        }
        return;
    }
    if (waited < longest) {
        return;
    }
    if (longest > 0.0) {
        std::ostringstream seconds;
        seconds << longest;
        throw Busy_output(m_target.name(), "another process is still changing it after " +
                                               seconds.str() + " seconds");
    }
    throw Busy_output(m_target.name(),
                      "another process is changing it; --wait SECONDS waits for it");
}

void Kc_lock::fail_at_lock_file(const std::string& reason) const {
    m_target.fail("its lock file " + m_path + ": " + reason);
}

}  // namespace zandrel
