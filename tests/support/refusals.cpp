// A preloaded library. It makes calls of the system fail, as the environment says:
// - REFUSE_FOLDER_FLUSH: a folder cannot be flushed to the disk, but files can. This is like a disk
//   that fails between the two flushes.
// - REFUSE_FILE_FLUSH: no regular file can be flushed to the disk.
// - REFUSE_ACCESS_LISTS: no file gets an access list, as on a file system without such lists.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" int fsync(int descriptor) {
    struct stat status = {};
    const bool is_known = fstat(descriptor, &status) == 0;
    if (is_known && ((std::getenv("REFUSE_FOLDER_FLUSH") != nullptr && S_ISDIR(status.st_mode)) ||
                     (std::getenv("REFUSE_FILE_FLUSH") != nullptr && S_ISREG(status.st_mode)))) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int fsetxattr(int descriptor, const char* name, const void* value, std::size_t size,
                         int flags) {
    if (std::getenv("REFUSE_ACCESS_LISTS") != nullptr &&
        std::strcmp(name, "system.posix_acl_access") == 0) {
        errno = ENOTSUP;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsetxattr, descriptor, name, value, size, flags));
}
