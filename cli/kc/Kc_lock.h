// Kc_lock: keeps two processes from changing one container at once.
#ifndef ZANDREL_CLI_KC_KC_LOCK_H_
#define ZANDREL_CLI_KC_KC_LOCK_H_

#include <string>

namespace cli {

// Held from before a container is read to behind its replacement: of two processes that read,
// change and write the same file at once, the first to write would lose what it has learned. It is
// asked for by those who change containers alone; reading one needs none, since a file is replaced
// whole.
//
// The lock is one of the system's on the open file, so it goes with the process, whatever its end.
class Kc_lock {
public:
    // RAISES: Input_error for a file that cannot be opened, Output_error if another process has the
    // lock. A file system without locks gives none, and that is no error.
    explicit Kc_lock(const std::string& path);
    Kc_lock(const Kc_lock&) = delete;
    Kc_lock& operator=(const Kc_lock&) = delete;
    ~Kc_lock();

private:
    int m_descriptor = -1;
};

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_LOCK_H_
