// Reads the status, permissions and attributes of files, and sets attributes.
#ifndef ZANDREL_TESTS_CLI_FILE_FACTS_H_
#define ZANDREL_TESTS_CLI_FILE_FACTS_H_

#include <cerrno>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/xattr.h>

#include <gtest/gtest.h>

namespace zandrel::cli {

inline struct stat status_of(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status;
}

inline mode_t permissions_of(const std::string& path) {
    return status_of(path).st_mode & 07777U;
}

// Returns "none" if the file does not have the attribute.
inline std::string attribute_of(const std::string& path, const std::string& name) {
    std::string value(1000, '\0');
    const ssize_t size = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
    return size < 0 ? "none" : value.substr(0, static_cast<std::size_t>(size));
}

// If the file system does not support such attributes, nothing is set. Then there is nothing to
// keep, which is no failure.
inline void set_attribute(const std::string& path, const std::string& name,
                          const std::string& value) {
    EXPECT_TRUE(::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0) == 0 ||
                errno == ENOTSUP)
        << name;
}

// The bytes of an access list for a file with the permissions 0640, which also lets user 7 read and
// write. The entries have kind, rights and id, in the order owner, user, owning group, mask,
// others.
inline std::string access_list_with_user_7() {
    using namespace std::string_literals;
    return "\2\0\0\0"
           "\1\0\6\0\xFF\xFF\xFF\xFF"
           "\2\0\6\0\7\0\0\0"
           "\4\0\4\0\xFF\xFF\xFF\xFF"
           "\x10\0\6\0\xFF\xFF\xFF\xFF"
           "\x20\0\0\0\xFF\xFF\xFF\xFF"s;
}

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_FILE_FACTS_H_
