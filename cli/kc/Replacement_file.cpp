#include "cli/kc/Replacement_file.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "cli/errors.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

// More links than any sound path has; Linux stops there too.
constexpr int kMostLinks = 40;
// Leaves room in a name of 255 bytes for what is put around it.
constexpr std::size_t kLongestStem = 240;
constexpr mode_t kAllPermissions = 07777;

// Where the path leads. The end of it may be missing, so the library's resolvers do not serve: they
// take a link to nothing for a name.
// RAISES: Output_error for a circle.
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

std::string folder_of(const std::string& path) {
    const std::string folder = fs::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

mode_t permissions_of_new_files() {
    const mode_t masked = ::umask(0);
    ::umask(masked);
    return static_cast<mode_t>(0666U & ~masked);
}

// RAISES: Output_error for what is no regular file, or one that may not be written.
mode_t permissions_for(const std::string& name, const std::string& target) {
    struct stat status = {};
    if (::stat(target.c_str(), &status) != 0) {
        return permissions_of_new_files();
    }
    if (!S_ISREG(status.st_mode)) {
        throw Output_error(name, S_ISDIR(status.st_mode) ? std::generic_category().message(EISDIR)
                                                         : "not a regular file");
    }
    // A rename asks the folder alone; whoever took the right to write away meant the file.
    if (::access(target.c_str(), W_OK) != 0) {
        throw Output_error(name, reason_of_failure());
    }
    return status.st_mode & kAllPermissions;
}

// The name of a file stays when a crash comes right after the rename.
void bring_to_disk(const std::string& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        // Some file systems know no such thing; the file itself is whole on all of them.
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

}  // namespace

Replacement_file::Replacement_file(const std::string& path)
    : m_name(path), m_target(without_links(path)) {
    if (m_target.empty()) {
        throw Output_error(m_name, std::generic_category().message(ENOENT));
    }
    const mode_t permissions = permissions_for(m_name, m_target);
    const std::string stem = fs::path(m_target).filename().string().substr(0, kLongestStem);
    std::string made = folder_of(m_target) + "/." + stem + ".XXXXXX";
    m_descriptor = ::mkostemp(made.data(), O_CLOEXEC);
    if (m_descriptor < 0) {
        fail();
    }
    m_path = made;
    if (::fchmod(m_descriptor, permissions) != 0) {
        const std::string reason = reason_of_failure();
        ::unlink(m_path.c_str());
        ::close(m_descriptor);
        throw Output_error(m_name, reason);
    }
}

Replacement_file::~Replacement_file() {
    if (!m_path.empty()) {
        ::unlink(m_path.c_str());
    }
    ::close(m_descriptor);
}

void Replacement_file::take_place() {
    if (::fsync(m_descriptor) != 0 || ::rename(m_path.c_str(), m_target.c_str()) != 0) {
        fail();
    }
    m_path.clear();
    bring_to_disk(folder_of(m_target));
}

void Replacement_file::fail() const {
    throw Output_error(m_name, reason_of_failure());
}

}  // namespace cli
