// A preloaded library that changes one system call. The environment variable TAMPER names it:
// - fsync, flock: the first call waits until another process has opened and closed the FIFO named
// by
//   TAMPER_FIFO
// - fchmod: the same, and then the call fails
// - open: no folder can be opened
// - nfs: a file that is open only for reading cannot be locked for writing
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

bool is_tampered(const char* call) {
    const char* const tampered = std::getenv("TAMPER");
    return tampered != nullptr && std::strcmp(tampered, call) == 0;
}

// A signal whose handler only notes it does not end the wait.
void wait_for_fifo() {
    static bool s_has_waited = false;
    if (std::exchange(s_has_waited, true)) {
        return;
    }
    long fifo = -1;
    do {
        fifo = syscall(SYS_openat, AT_FDCWD, std::getenv("TAMPER_FIFO"), O_RDONLY);
    } while (fifo < 0 && errno == EINTR);
    char byte = 0;
    while (read(static_cast<int>(fifo), &byte, 1) < 0 && errno == EINTR) {
    }
    close(static_cast<int>(fifo));
}

int opened(const char* path, int flags, mode_t mode) {
    if ((flags & O_DIRECTORY) != 0 && is_tampered("open")) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

}  // namespace

extern "C" int fsync(int descriptor) {
    if (is_tampered("fsync")) {
        wait_for_fifo();
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int fchmod(int descriptor, mode_t mode) {
    if (is_tampered("fchmod")) {
        wait_for_fifo();
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
}

extern "C" int flock(int descriptor, int operation) {
    if (is_tampered("flock")) {
        wait_for_fifo();
    }
    if (is_tampered("nfs") && (operation & LOCK_EX) != 0 &&
        (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDONLY) {
        errno = EBADF;
        return -1;
    }
    return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

extern "C" int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0);
    va_end(arguments);
    return opened(path, flags, mode);
}
