// How a container is saved completely or not at all. The idea: rename() replaces a name in one
// step, so we write a second file, and rename it when nothing else can fail.
//
// Example: a user of the group "staff" learns into "a.kc", which has this group and the permissions
// 664. Kc_lock has made ".a.kc.lock" before.
//
//   1. check_replaceable   "a.kc" is a regular file, and the user may write it.
//   2. remove_files_left_behind   A process was killed yesterday and has left ".a.kc.tmp-q7XbR2".
//                          We can lock that file, so its writer is dead, and we remove it.
//   3. make                Makes ".a.kc.tmp-Zk09fe" with the permissions 600, and locks it. If that
//                          name is taken, it tries six other letters.
//   4. (the caller)        Writes the new container to that path. This is the step that takes long,
//                          and that fails if the disk is full. Then the destructor removes the
//                          file, and "a.kc" is untouched.
//   5. take_over_attributes   Reads group, permissions and extended attributes of "a.kc" now, since
//                          they may have changed, and gives them to the new file: 664, "staff".
//   6. fsync of the file   All bytes are on the disk before the name leads to them. Otherwise a
//                          crash could leave an empty "a.kc".
//   7. check_unchanged     Device, file number, size and time of "a.kc" are those of the time when
//                          we got the lock. A file that "mv" has put there meanwhile is not
//                          replaced.
//   8. rename              "a.kc" is the new file. Processes that read the old file finish reading
//                          the old file.
//   9. note_change         From here on a failure ends with the status "changed, then failed".
//                          Signals are held back during steps 7 to 9, so that none comes between
//                          the rename and its note.
//  10. fsync of the folder   The rename is on the disk, too.
//
// Two processes could test each other's new files. In step 3 a file is not locked for a moment
// after open(). Another process that is at its step 2 may lock the file then, and remove it. So
// both compare the locked file with its name (is_file_at): we then make another file.
#include "text/kc/Replacement_file.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <random>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kLetters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr std::string_view kBeforeLetters = ".tmp-";
constexpr std::size_t kLetterCount = 6;
// After so many attempts the reason cannot be that a name is taken.
constexpr int kMostAttempts = 1000;
constexpr mode_t kReplacementMode = 0600;
constexpr mode_t kNewFile = 0666;

std::string ending_of_name() {
    std::random_device random;
    std::uniform_int_distribution<std::size_t> any(0, kLetters.size() - 1);
    std::string ending(kBeforeLetters);
    for (std::size_t i = 0; i < kLetterCount; ++i) {
        ending += kLetters[any(random)];
    }
    return ending;
}

bool is_name_of_ours(const std::string& name, const std::string& start) {
    return name.size() == start.size() + kLetterCount && name.starts_with(start) &&
           name.find_first_not_of(kLetters, start.size()) == std::string::npos;
}

bool is_regular_file(const std::string& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Opens the file for writing if possible, since NFS cannot lock a file that is open only for
// reading.
Descriptor opened(const std::string& path) {
    constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    Descriptor file(::open(path.c_str(), O_RDWR | kFlags));
    return file.is_open() ? std::move(file) : Descriptor(::open(path.c_str(), O_RDONLY | kFlags));
}

// Removes a regular file that no living process has locked. Anything else stays.
// `is_of_dead`: if we may not open the file, its process must be dead, so the file is removed too.
void remove_if_left_behind(const std::string& path, bool is_of_dead) {
    const Descriptor file = opened(path);
    if (!file.is_open() && errno == EACCES && is_of_dead && is_regular_file(path)) {
        ::unlink(path.c_str());
    }
    struct stat status = {};
    if (file.is_open() && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
        ::flock(file.number(), LOCK_EX | LOCK_NB) == 0 && is_file_at(path, file.number())) {
        ::unlink(path.c_str());
    }
}

// Returns the next name in a folder, or null.
const char* next_name(DIR* folder) {
    const dirent* const entry = ::readdir(folder);
    return entry == nullptr ? nullptr : entry->d_name;
}

// Does not use fs::directory_iterator: in libstdc++ that ends the process if memory is lacking,
// since functions that cannot raise allocate.
void remove_files_left_behind(const Target_file& target, bool is_locked) {
    const fs::path begin = target.beside(kBeforeLetters);
    const std::string start = begin.filename().string();
    const fs::path folder = target.folder();
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), &::closedir);
    if (entries == nullptr) {
        return;  // the folder may be writable but not readable
    }
    while (const char* const name = next_name(entries.get())) {
        if (is_name_of_ours(name, start)) {
            // Another target with a long name may have the same start after the cut, and its writer
            // may be alive.
            remove_if_left_behind((folder / name).string(), is_locked && !target.is_cut());
        }
    }
}

// While an object lives, only their owner can open new files.
class Owner_only_files {
public:
    Owner_only_files() : m_before(::umask(S_IRWXG | S_IRWXO)) {}

    Owner_only_files(const Owner_only_files&) = delete;
    Owner_only_files& operator=(const Owner_only_files&) = delete;

    ~Owner_only_files() { ::umask(m_before); }

private:
    mode_t m_before;
};

// Makes the rename survive a crash of the system.
// RAISES: Output_error.
void bring_to_disk(const Target_file& target) {
    const Descriptor folder(::open(target.folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.is_open()) {
        if (errno == EACCES) {
            return;  // the folder may be writable but not readable
        }
        target.fail();
    }
    // Some file systems cannot do this with a folder.
    if (::fsync(folder.number()) != 0 && errno != EINVAL && errno != ENOTSUP) {
        target.fail();
    }
}

}  // namespace

Replacement_file::Replacement_file(Target_file target, const Kc_lock* lock)
    : m_target(std::move(target)), m_lock(lock) {}

// If `begin` raises, the destructor runs all the same, since the next two constructors call another
// one: when that one has returned, the object counts as complete.
Replacement_file::Replacement_file(const std::string& path)
    : Replacement_file(Target_file(path), nullptr) {
    begin();
}

Replacement_file::Replacement_file(const Kc_lock& lock) : Replacement_file(lock.target(), &lock) {
    begin();
}

void Replacement_file::begin() {
    m_target.check_replaceable();
    remove_files_left_behind(m_target, m_lock != nullptr && m_lock->is_exclusive());
    make();
}

Replacement_file::~Replacement_file() {
    if (m_file.is_open() && !m_path.empty()) {
        ::unlink(m_path.c_str());
    }
}

void Replacement_file::try_out(const Kc_lock& lock) {
    Replacement_file tried(lock);
    tried.take_over_attributes();
}

void Replacement_file::try_out(const std::string& path) {
    Replacement_file tried(path);
    tried.take_over_attributes();
}

void Replacement_file::fill(const std::function<void(std::ostream& out)>& write) const {
    errno = 0;
    std::ofstream out(m_path, std::ios::binary);
    write(out);
    out.close();
    if (!out) {
        m_target.fail();
    }
}

void Replacement_file::copy_from(const std::string& name, const std::string& path) const {
    constexpr std::size_t kPieceSize = 65536;
    errno = 0;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw Input_error(name, reason_of_failure());
    }
    fill([&in, &name](std::ostream& out) {
        std::vector<char> piece(kPieceSize);
        do {
            errno = 0;
            in.read(piece.data(), static_cast<std::streamsize>(piece.size()));
            if (in.bad()) {
                throw Input_error(name, reason_of_failure());
            }
            out.write(piece.data(), in.gcount());
        } while (in && out);
    });
}

void Replacement_file::remake(const std::function<void()>& write) {
    const Owner_only_files owner_only;
    write();
    if (is_file_at(m_path, m_file.number())) {
        return;
    }
    Descriptor file(::open(m_path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (!file.is_open()) {
        m_target.fail();
    }
    // On a file system without locks there is no lock. The lock of the container keeps others away.
    ::flock(file.number(), LOCK_EX | LOCK_NB);
    m_file = std::move(file);
}

void Replacement_file::make() {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        m_unfinished.reset();
        m_path = m_target.beside(ending_of_name());
        m_unfinished.emplace(m_path.c_str());
        if (try_to_make()) {
            return;
        }
    }
    m_target.fail(std::generic_category().message(EEXIST));
}

bool Replacement_file::try_to_make() {
    // Without an old file, we let the system choose the permissions, and keep_attributes reads
    // them. With an old file, nobody else may open the new one before it has the attributes of the
    // old one.
    const bool is_new = !m_target.status();
    Descriptor file(::open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                           is_new ? kNewFile : kReplacementMode));
    if (!file.is_open()) {
        if (errno == EEXIST) {
            return false;
        }
        m_target.fail();
    }
    // Between open() and flock() another process may have locked or removed the file, as one that
    // was left behind.
    const bool is_taken = ::flock(file.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (is_taken || !is_file_at(m_path, file.number())) {
        return false;
    }
    m_file = std::move(file);
    keep_attributes(is_new);
    return true;
}

// RAISES: Output_error.
void Replacement_file::keep_attributes(bool is_new) {
    try {
        m_attributes = File_attributes::of(is_new ? m_path : m_target.path());
    } catch (const std::system_error& error) {
        m_target.fail(error.code().message());
    }
    if (::fchmod(m_file.number(), kReplacementMode) != 0) {
        m_target.fail();
    }
}

// RAISES: Output_error.
void Replacement_file::take_over_attributes() {
    try {
        const File_attributes attributes =
            m_target.status() ? File_attributes::of(m_target.path()) : m_attributes;
        attributes.give_to(m_file.number());
    } catch (const std::system_error& error) {
        m_target.fail(error.code().message());
    }
}

void Replacement_file::prepare() {
    take_over_attributes();
    if (::fsync(m_file.number()) != 0) {
        m_target.fail();
    }
    m_is_prepared = true;
}

void Replacement_file::take_place() {
    if (!m_is_prepared) {
        prepare();
    }
    const std::string shown_target = shown_file(m_target.name());
    {
        // No signal may end the process between the rename and its note.
        const Held_back_signals held_back;
        if (m_lock != nullptr) {
            m_lock->check_unchanged();
        }
        if (::rename(m_path.c_str(), m_target.path().c_str()) != 0) {
            m_target.fail();
        }
        note_change(shown_target);
        m_unfinished.reset();
        m_path.clear();
    }
    bring_to_disk(m_target);
}

}  // namespace zandrel
