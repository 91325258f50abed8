// A library to be preloaded. With it, flushing a file to the disk succeeds and flushing a folder
// fails, like on a disk that fails between the two.
#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" int fsync(int descriptor) {
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}
