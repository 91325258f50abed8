// A library to be preloaded, with which the folder of a file cannot be flushed to the disk, while
// files can: what a disk does that fails between the two.
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
