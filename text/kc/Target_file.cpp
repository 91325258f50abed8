// Links, names and checks of a file that will be made or replaced. All questions to the system are
// about the path with its links followed; all messages have the name that the user gave.
#include "text/kc/Target_file.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

#include "text/errors.h"

namespace zandrel {

namespace {

namespace fs = std::filesystem;

// Linux follows the same number of links.
constexpr int kMostLinks = 40;
// Linux allows names of 255 bytes. This leaves one byte for the dot and 14 for the ending.
constexpr std::size_t kLongestStem = 240;

// Follows the links at the end of a path. We cannot use std::filesystem::weakly_canonical: if a
// link leads to a missing file, it returns the path of the link.
// RAISES: Output_error for a circle of links.
std::string without_links(const std::string& name) {
    fs::path path = name;
    for (int i = 0; i < kMostLinks; ++i) {
        std::error_code error;
        const fs::path target = fs::read_symlink(path, error);
        if (error) {
            return path.string();
        }
        path = path.parent_path() / target;
    }
    throw Output_error(name, std::generic_category().message(ELOOP));
}

// Returns the first 240 bytes of a name, or a few less so that no character of UTF-8 is divided:
// some file systems refuse half a character.
std::string cut(const std::string& name) {
    constexpr unsigned char kContinuationMask = 0xC0;
    constexpr unsigned char kContinuation = 0x80;
    std::size_t size = kLongestStem;
    if (name.size() <= size) {
        return name;
    }
    while (size > 0 &&
           (static_cast<unsigned char>(name[size]) & kContinuationMask) == kContinuation) {
        --size;
    }
    return name.substr(0, size == 0 ? kLongestStem : size);
}

// Returns whether the folder is one such as /tmp, in which only root and the owners of a file and
// of the folder may replace the file.
bool is_kept_by_folder(const struct stat& file, const struct stat& folder) {
    const uid_t user = ::geteuid();
    return (folder.st_mode & S_ISVTX) != 0 && user != 0 && user != file.st_uid &&
           user != folder.st_uid;
}

}  // namespace

Target_file::Target_file(const std::string& name) : m_name(name), m_path(without_links(name)) {
    if (m_path.empty()) {
        fail(std::generic_category().message(ENOENT));
    }
}

std::string Target_file::folder() const {
    const std::string folder = fs::path(m_path).parent_path().string();
    return folder.empty() ? "." : folder;
}

std::string Target_file::beside(std::string_view ending) const {
    return (fs::path(folder()) / ("." + cut(fs::path(m_path).filename().string())))
        .string()
        .append(ending);
}

bool Target_file::is_cut() const {
    return fs::path(m_path).filename().string().size() > kLongestStem;
}

std::optional<struct stat> Target_file::status() const {
    struct stat status = {};
    if (::stat(m_path.c_str(), &status) == 0) {
        return status;
    }
    if (errno != ENOENT) {
        fail();
    }
    return std::nullopt;
}

std::optional<File_state> Target_file::state() const {
    const std::optional<struct stat> found = status();
    if (!found) {
        return std::nullopt;
    }
    return File_state(found->st_dev, found->st_ino, found->st_size, found->st_mtim.tv_sec,
                      found->st_mtim.tv_nsec);
}

void Target_file::check_link() const {
    if (without_links(m_name) != m_path) {
        fail("the link leads to another file by now");
    }
}

void Target_file::check_replaceable() const {
    const std::optional<struct stat> found = status();
    if (!found) {
        check_no_pipe();
        return;
    }
    if (!S_ISREG(found->st_mode)) {
        fail(S_ISDIR(found->st_mode) ? std::generic_category().message(EISDIR)
                                     : "not a regular file");
    }
    // rename() checks only the permissions of the folder, so we check those of the file here.
    struct stat folder_status = {};
    if (::faccessat(AT_FDCWD, m_path.c_str(), W_OK, AT_EACCESS) != 0 ||
        ::stat(folder().c_str(), &folder_status) != 0) {
        fail();
    }
    if (is_kept_by_folder(*found, folder_status)) {
        fail(std::generic_category().message(EPERM));
    }
}

// If standard output is a pipe, /dev/stdout is a link to a name such as pipe:[5018], which is no
// file of the folder. But the system follows the link to the pipe.
void Target_file::check_no_pipe() const {
    struct stat followed = {};
    if (::stat(m_name.c_str(), &followed) == 0 && !S_ISREG(followed.st_mode)) {
        fail("not a regular file");
    }
}

void Target_file::fail(const std::string& reason) const {
    throw Output_error(m_name, reason);
}

void Target_file::fail() const {
    fail(reason_of_failure());
}

bool is_file_at(const std::string& path, int descriptor) {
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(descriptor, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace zandrel
