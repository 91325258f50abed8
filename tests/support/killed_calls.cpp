// A preloaded library that kills the process before one of its changes of files: a write, a flush
// to the disk, or a rename. The environment says when:
// - KILL_BEFORE_CALL: the number of the call, from 1 on; a process with fewer calls is not killed
// - COUNT_CALLS_IN: a file that gets the number of calls at the end of the process
// Calls that the C library makes itself, for example for a stream with a buffer, are not counted.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

long s_calls = 0;

long number_of(const char* variable) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

void count() {
    if (++s_calls == number_of("KILL_BEFORE_CALL")) {
        kill(getpid(), SIGKILL);
    }
}

// The standard streams are no files that a crash can damage.
void count_write(int descriptor) {
    if (descriptor > STDERR_FILENO) {
        count();
    }
}

__attribute__((destructor)) void report() {
    const char* const name = std::getenv("COUNT_CALLS_IN");
    if (name != nullptr) {
        const long calls = s_calls;
        std::FILE* const file = std::fopen(name, "w");
        if (file != nullptr) {
            std::fprintf(file, "%ld\n", calls);
            std::fclose(file);
        }
    }
}

}  // namespace

extern "C" ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t position) {
    count_write(descriptor);
    return syscall(SYS_pwrite64, descriptor, bytes, size, position);
}

extern "C" ssize_t write(int descriptor, const void* bytes, size_t size) {
    count_write(descriptor);
    return syscall(SYS_write, descriptor, bytes, size);
}

extern "C" ssize_t writev(int descriptor, const iovec* pieces, int count_of_pieces) {
    count_write(descriptor);
    return syscall(SYS_writev, descriptor, pieces, count_of_pieces);
}

extern "C" int fsync(int descriptor) {
    count();
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
    count();
    return static_cast<int>(syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}
