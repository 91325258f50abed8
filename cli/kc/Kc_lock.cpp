#include "cli/kc/Kc_lock.h"

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

#include "cli/errors.h"
#include "cli/kc/File_attributes.h"

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kPause(0.05);
// Its maker is the only one who can open a new lock file, until its rights are given a moment
// later.
constexpr double kLongestMoment = 0.5;
// On a file system whose file numbers mean nothing each attempt finds the file replaced; there the
// last one counts.
constexpr int kMostReplaced = 100;
constexpr mode_t kOwnerOnly = 0600;
// Users who may write a new container may write its lock file. Nobody may open it only to read it.
constexpr mode_t kNewLock = 0622;

}  // namespace

Kc_lock::Kc_lock(const std::string& path, const Lock_wait& wait)
    : m_target(path), m_path(m_target.beside(".lock")) {
    m_target.check_replaceable();
    lock(wait);
    m_unfinished.emplace(m_path.c_str());
    m_target.check_link();  // not only after all the work
    m_state = m_target.state();
}

Kc_lock::~Kc_lock() {
    m_unfinished.reset();  // the next file of this name may be another's
    // We remove the file before the lock goes, so that a process that has opened it and waits for
    // the lock finds it removed then.
    if (is_file_at(m_path, m_file.number())) {
        ::unlink(m_path.c_str());
    }
}

void Kc_lock::check_unchanged() const {
    m_target.check_link();
    if (m_target.state() != m_state) {
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
    // Without O_CREAT, with which Linux may forbid opening another user's file in a shared folder.
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
    // The former holder of the lock may have removed the file since we opened it.
    if (!is_file_at(m_path, file.number()) && replaced < kMostReplaced) {
        return State::kReplaced;
    }
    // A dead process has left it, with the rights that the container had then. In some shared
    // folders another user's file cannot be removed; then it serves.
    if (!is_missing && replaced < kMostReplaced && ::unlink(m_path.c_str()) == 0) {
        return State::kReplaced;
    }
    m_file = std::move(file);
    return State::kLocked;
}

Descriptor Kc_lock::made() const {
    const bool is_new = !m_target.status();
    Descriptor file(::open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                           is_new ? kNewLock : kOwnerOnly));
    if (!file.is_open()) {
        if (errno == ENOENT) {
            m_target.fail();  // the folder does not exist, so the lock file is not the point
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
        // Another process may have locked it by now, or even removed it.
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
        m_target.fail("another process is still changing it after " + seconds.str() + " seconds");
    }
    m_target.fail("another process is changing it; --wait SECONDS waits for it");
}

void Kc_lock::fail_at_lock_file(const std::string& reason) const {
    m_target.fail("its lock file " + m_path + ": " + reason);
}

}  // namespace cli
