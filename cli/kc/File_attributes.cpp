#include "cli/kc/File_attributes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <system_error>
#include <unistd.h>

namespace cli {

namespace {

constexpr mode_t kAllPermissions = 07777;
// The last of these is the bit that only matters for folders; it may stay.
constexpr mode_t kKeptPermissions = 01777;
constexpr unsigned int kGroupShift = 3;
constexpr mode_t kGroupRights = 070;

constexpr std::array<std::string_view, 3> kAttributesLeftOut = {"security.capability",
                                                                "security.evm", "security.ima"};

[[noreturn]] void fail() {
    throw std::system_error(errno, std::generic_category());
}

// That a call is not allowed, or makes no sense here, as for an owner that a container of the
// system does not know, or on a file system without such attributes.
bool is_refusal() {
    return errno == EPERM || errno == EACCES || errno == EINVAL || errno == ENOTSUP ||
           errno == ENOSYS;
}

// The names of all extended attributes, each with a zero behind it.
std::string names_of_attributes(const std::string& path) {
    std::string names;
    for (;;) {
        const ssize_t size = ::listxattr(path.c_str(), nullptr, 0);
        if (size == 0 || (size < 0 && errno == ENOTSUP)) {
            return "";
        }
        if (size < 0) {
            fail();
        }
        names.resize(static_cast<std::size_t>(size));
        const ssize_t read = ::listxattr(path.c_str(), names.data(), names.size());
        if (read >= 0) {
            names.resize(static_cast<std::size_t>(read));
            return names;
        }
        if (errno != ERANGE) {  // otherwise there is a new one
            fail();
        }
    }
}

// Nothing for an attribute that is not there.
std::optional<std::string> attribute(const std::string& path, const char* name) {
    std::string value;
    for (;;) {
        const ssize_t size = ::getxattr(path.c_str(), name, nullptr, 0);
        if (size >= 0) {
            value.resize(static_cast<std::size_t>(size));
            const ssize_t read = ::getxattr(path.c_str(), name, value.data(), value.size());
            if (read >= 0) {
                value.resize(static_cast<std::size_t>(read));
                return value;
            }
        }
        if (errno == ENODATA || errno == ENOTSUP) {
            return std::nullopt;
        }
        if (errno != ERANGE) {
            fail();
        }
    }
}

bool is_left_out(std::string_view name) {
    return std::find(kAttributesLeftOut.begin(), kAttributesLeftOut.end(), name) !=
           kAttributesLeftOut.end();
}

// Access lists of other kinds than Access_list knows.
bool is_access_list(const Extended_attribute& attribute) {
    return attribute.name.starts_with("system.");
}

bool may_be_refused(const Extended_attribute& attribute) {
    return !attribute.name.starts_with("user.") && !is_access_list(attribute);
}

void give_extended(const Extended_attribute& given, int descriptor) {
    if (::fsetxattr(descriptor, given.name.c_str(), given.value.data(), given.value.size(), 0) ==
        0) {
        return;
    }
    if (!is_refusal() || !may_be_refused(given)) {
        fail();
    }
}

// Which of the two the system let us give.
struct Given_owners {
    bool owner = false;
    bool group = false;
};

// The owner is given last: who gives a file away may change it no more.
Given_owners give_owners(uid_t owner, gid_t group, int descriptor) {
    constexpr auto kAsIs = static_cast<uid_t>(-1);
    struct stat own = {};
    if (::fstat(descriptor, &own) != 0) {
        fail();
    }
    Given_owners given = {own.st_uid == owner, own.st_gid == group};
    if (!given.group) {
        given.group = ::fchown(descriptor, kAsIs, group) == 0;
        if (!given.group && !is_refusal()) {
            fail();
        }
    }
    if (!given.owner) {
        given.owner = ::fchown(descriptor, owner, static_cast<gid_t>(-1)) == 0;
        if (!given.owner && !is_refusal()) {
            fail();
        }
    }
    return given;
}

Access_list parsed_access_list(const std::string& value) {
    const std::optional<Access_list> list = Access_list::parsed(value);
    if (!list) {
        errno = ENOTSUP;
        fail();
    }
    return *list;
}

void give_access_list(const Access_list& list, int descriptor) {
    const std::string bytes = list.bytes();
    if (::fsetxattr(descriptor, kAccessListAttribute, bytes.data(), bytes.size(), 0) != 0) {
        fail();
    }
}

// A folder may give one to each new file in it.
void remove_access_list(int descriptor) {
    if (::fremovexattr(descriptor, kAccessListAttribute) != 0 && errno != ENODATA &&
        errno != ENOTSUP) {
        fail();
    }
}

void give_permissions(mode_t permissions, int descriptor) {
    if (::fchmod(descriptor, permissions) != 0) {
        fail();
    }
}

// Leaves the group no right that all others do not have.
mode_t without_group(mode_t permissions) {
    const mode_t as_others = (permissions << kGroupShift) & kGroupRights;
    return (permissions & ~kGroupRights) | (permissions & as_others);
}

}  // namespace

File_attributes File_attributes::of(const std::string& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        fail();
    }
    File_attributes attributes = {
        status.st_uid, status.st_gid, status.st_mode & kAllPermissions, {}, {}};
    const std::string names = names_of_attributes(path);
    for (std::size_t at = 0; at < names.size(); at += std::string_view(&names[at]).size() + 1) {
        const std::string name = &names[at];
        const std::optional<std::string> value = attribute(path, name.c_str());
        if (!value) {
            continue;
        }
        if (name == kAccessListAttribute) {
            attributes.access_list = parsed_access_list(*value);
        } else {
            attributes.extended.push_back({name, *value});
        }
    }
    return attributes;
}

void File_attributes::give_to(int descriptor) const {
    const bool keeps_group = give_owners(owner, group, descriptor).group;
    for (const Extended_attribute& each : extended) {
        if (!is_left_out(each.name) && !is_access_list(each)) {
            give_extended(each, descriptor);
        }
    }
    give_rights(keeps_group, descriptor);
    // A change of the permissions would change these lists.
    for (const Extended_attribute& each : extended) {
        if (is_access_list(each)) {
            give_extended(each, descriptor);
        }
    }
}

void File_attributes::give_rights(bool keeps_group, int descriptor) const {
    const mode_t kept = permissions & kKeptPermissions;
    if (!access_list) {
        remove_access_list(descriptor);
        give_permissions(keeps_group ? kept : without_group(kept), descriptor);
        return;
    }
    Access_list list = *access_list;
    if (!keeps_group) {
        list.reduce_group();
    }
    give_access_list(list, descriptor);
    // These have the mask of the list in place of the group's rights, so the list stays as it is.
    give_permissions(kept, descriptor);
}

void File_attributes::give_as_lock_to(int descriptor) const {
    const Given_owners given = give_owners(owner, group, descriptor);
    Access_list list = access_list.value_or(Access_list::of_permissions(permissions));
    list.keep_writers();
    if (!given.group) {
        list.move_group_rights(group);
    }
    if (!given.owner) {
        list.move_owner_rights(owner);
    }
    if (list.is_extended()) {
        const std::string bytes = list.bytes();
        if (::fsetxattr(descriptor, kAccessListAttribute, bytes.data(), bytes.size(), 0) == 0) {
            return;
        }
        if (!is_refusal()) {
            fail();
        }
    }
    remove_access_list(descriptor);
    give_permissions(list.plain_permissions(), descriptor);
}

}  // namespace cli
