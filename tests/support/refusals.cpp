// A library to be preloaded, with which the system refuses or delays what the environment says:
// - REFUSE_FOLDER_FLUSH: a folder cannot be flushed to the disk, while files can: what a disk does
//   that fails between the two.
// - REFUSE_ACCESS_LISTS: no file gets an access list, as on a file system without such lists.
// - WAIT_AT_FLUSH: a pipe with a name; flushing a file waits until somebody opens it for writing.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" int fsync(int descriptor) {
    struct stat status = {};
    const bool is_folder = fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
    if (is_folder && std::getenv("REFUSE_FOLDER_FLUSH") != nullptr) {
        errno = EIO;
        return -1;
    }
    const char* const pipe = std::getenv("WAIT_AT_FLUSH");
    if (!is_folder && pipe != nullptr) {
        close(open(pipe, O_RDONLY | O_CLOEXEC));
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
