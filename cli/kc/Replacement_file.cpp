#include "cli/kc/Replacement_file.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "cli/errors.h"
#include "cli/text/Shown_text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kLetters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr std::string_view kBeforeLetters = ".tmp-";
constexpr std::size_t kLetterCount = 6;
// By then something else is wrong than a name that is taken.
constexpr int kMostAttempts = 1000;
constexpr mode_t kOwnerOnly = 0600;
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

// For writing if possible, since NFS locks no file that is open for reading only.
Descriptor opened(const std::string& path) {
    constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    Descriptor file(::open(path.c_str(), O_RDWR | kFlags));
    return file.is_open() ? std::move(file) : Descriptor(::open(path.c_str(), O_RDONLY | kFlags));
}

// Removes a regular file that no living process has locked. Whatever else it is stays.
// `is_of_dead`: what this process may not open is of a dead process, too.
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

void remove_files_left_behind(const Target_file& target, bool is_locked) {
    const fs::path begin = target.beside(kBeforeLetters);
    const std::string start = begin.filename().string();
    std::error_code ignored;  // of a folder that may be written but not be read
    for (fs::directory_iterator entry(target.folder(), ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        if (is_name_of_ours(entry->path().filename().string(), start)) {
            // Two long names may share the form.
            remove_if_left_behind(entry->path().string(), is_locked && !target.is_cut());
        }
    }
}

// The name of a file stays when a crash comes right after the rename.
// RAISES: Output_error.
void bring_to_disk(const Target_file& target) {
    const Descriptor folder(::open(target.folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.is_open()) {
        if (errno == EACCES) {
            return;  // a folder that may be written but not be read
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

// The destructor runs if one of these raises, since the constructor that it calls has made a whole
// object.
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
    // Without an old file there is nobody who must not read or write the new one before its
    // attributes are those that it will have.
    const bool is_new = !m_target.status();
    Descriptor file(::open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                           is_new ? kNewFile : kOwnerOnly));
    if (!file.is_open()) {
        if (errno == EEXIST) {
            return false;
        }
        m_target.fail();
    }
    // Between the two calls another process may have taken the file for one that was left behind.
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
    if (::fchmod(m_file.number(), kOwnerOnly) != 0) {
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

void Replacement_file::take_place() {
    take_over_attributes();
    if (::fsync(m_file.number()) != 0) {
        m_target.fail();
    }
    const std::string shown_target = shown_file(m_target.name());
    {
        // A signal must not find a change that is not noted.
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

}  // namespace cli
