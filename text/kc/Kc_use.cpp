// Locks the open file and then compares it with its name, since another process may have replaced
// the file between the two steps. A file system without locks is no error: then there is no lock.
#include "text/kc/Kc_use.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

#include "zandrel/knowledge/Progress.h"

#include "text/errors.h"
#include "text/kc/Target_file.h"

namespace zandrel {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kUsePause(0.05);
// On a file system whose file numbers change, each attempt finds the file replaced. After so many
// attempts we accept the file.
constexpr int kMostReplacedUses = 100;

// The path may be a link, so we follow it, unlike is_file_at.
bool leads_to(const std::string& path, int descriptor) {
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Opens the file and locks it. Returns no file if another process has the lock.
// RAISES: Input_error.
Descriptor locked(const std::string& name, const std::string& path, int operation) {
    for (int replaced = 0;; ++replaced) {
        Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file.is_open()) {
            throw Input_error(name, reason_of_failure());
        }
        if (::flock(file.number(), operation | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            return Descriptor();
        }
        if (replaced == kMostReplacedUses || leads_to(path, file.number())) {
            return file;
        }
    }
}

std::string still_reading(double seconds) {
    if (seconds <= 0.0) {
        return "another process is reading it; --wait SECONDS waits for it";
    }
    std::ostringstream text;
    text << "another process is still reading it after " << seconds << " seconds";
    return text.str();
}

}  // namespace

Kc_use::Kc_use(const std::string& name, const std::string& path)
    : m_file(locked(name, path, LOCK_SH)) {
    if (!m_file.is_open()) {
        throw Busy_input(name, "another process is changing it");
    }
}

Kc_use::Kc_use(const Kc_lock& lock) {
    const Target_file& target = lock.target();
    const zandrel::detail::Progress progress(lock.wait().progress);
    const Clock::time_point begin = Clock::now();
    m_file = locked(target.name(), target.path(), LOCK_EX);
    while (!m_file.is_open()) {
        if (Seconds(Clock::now() - begin).count() >= lock.wait().seconds) {
            throw Busy_output(target.name(), still_reading(lock.wait().seconds));
        }
        progress.set_status("Waiting for another process");
        progress.check_interrupt();
        std::this_thread::sleep_for(kUsePause);
        m_file = locked(target.name(), target.path(), LOCK_EX);
    }
}

}  // namespace zandrel
