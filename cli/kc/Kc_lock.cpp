#include "cli/kc/Kc_lock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/errors.h"

namespace cli {

namespace {

// Where numbers of files mean nothing, the last of these attempts stands.
constexpr int kMostAttempts = 100;

// Whether the name still leads to the open file, and not to one that has taken its place since.
bool is_file_at(const std::string& path, int descriptor) {
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace

Kc_lock::Kc_lock(const std::string& path) {
    // A pipe without a writer would block; reading refuses it later.
    for (int attempt = 1;; ++attempt) {
        m_descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (m_descriptor < 0) {
            throw Input_error(path, reason_of_failure());
        }
        if (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            ::close(m_descriptor);
            throw Output_error(path, "another process is changing it");
        }
        if (is_file_at(path, m_descriptor) || attempt == kMostAttempts) {
            return;
        }
        ::close(m_descriptor);
    }
}

Kc_lock::~Kc_lock() {
    ::close(m_descriptor);
}

}  // namespace cli
