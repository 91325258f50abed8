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
// The bit that only matters for folders; it may stay. The two beside it run a file as its owner or
// group.
constexpr mode_t kKeptBit = 01000;
constexpr mode_t kOwnerOnly = 0600;

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

struct stat status_of(int descriptor) {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0) {
        fail();
    }
    return status;
}

// Returns whether the file has the owner and the group then. -1 leaves one of them as it is.
bool gives(uid_t owner, gid_t group, int descriptor) {
    if (::fchown(descriptor, owner, group) == 0) {
        return true;
    }
    if (!is_refusal()) {
        fail();
    }
    return false;
}

bool gives_group(gid_t group, int descriptor) {
    return status_of(descriptor).st_gid == group ||
           gives(static_cast<uid_t>(-1), group, descriptor);
}

// To be done last: who gives a file away may change it no more.
bool gives_owner(uid_t owner, int descriptor) {
    return status_of(descriptor).st_uid == owner ||
           gives(owner, static_cast<gid_t>(-1), descriptor);
}

Access_list parsed_access_list(const std::string& value) {
    const std::optional<Access_list> list = Access_list::parsed(value);
    if (!list) {
        errno = ENOTSUP;
        fail();
    }
    return *list;
}

// Returns whether the system let us.
bool gives_access_list(const Access_list& list, int descriptor) {
    const std::string bytes = list.bytes();
    if (::fsetxattr(descriptor, kAccessListAttribute, bytes.data(), bytes.size(), 0) == 0) {
        return true;
    }
    if (!is_refusal()) {
        fail();
    }
    return false;
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

// Returns whether the system let us.
bool gives_rights(const Access_list& list, mode_t bit, int descriptor) {
    if (list.is_extended()) {
        give_permissions(kOwnerOnly | bit, descriptor);  // the list sets the others
        return gives_access_list(list, descriptor);
    }
    remove_access_list(descriptor);
    give_permissions(list.plain_permissions() | bit, descriptor);
    return true;
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
    Kept kept = {gives_group(group, descriptor), true};
    for (const Extended_attribute& each : extended) {
        if (!is_left_out(each.name) && !is_access_list(each)) {
            give_extended(each, descriptor);
        }
    }
    give_rights(kept, descriptor);
    if (!gives_owner(owner, descriptor)) {
        kept.owner = false;
        give_rights(kept, descriptor);
    }
}

void File_attributes::give_rights(const Kept& kept, int descriptor) const {
    const mode_t bit = permissions & kKeptBit;
    // Not every file system has access lists, or knows the names.
    if (!gives_rights(rights_with_names(kept), bit, descriptor) &&
        !gives_rights(reduced_rights(kept), bit, descriptor)) {
        fail();
    }
    // A change of the permissions would change these lists.
    for (const Extended_attribute& each : extended) {
        if (is_access_list(each)) {
            give_extended(each, descriptor);
        }
    }
}

Access_list File_attributes::rights_with_names(const Kept& kept) const {
    Access_list list = access_list.value_or(Access_list::of_permissions(permissions));
    const bool names_owner = !kept.owner && !list.lets_everybody_do_as_owner();
    if (!kept.group && !list.has_group_like_others()) {
        list.move_group_rights(group);
    }
    if (names_owner) {
        list.move_owner_rights(owner);
    } else if (!kept.owner) {
        list.let_owner_write();
    }
    return list;
}

Access_list File_attributes::reduced_rights(const Kept& kept) const {
    Access_list list = access_list.value_or(Access_list::of_permissions(permissions));
    if (!kept.group) {
        list.reduce_group_and_others();
    }
    if (!kept.owner) {
        list.let_owner_write();
    }
    return list;
}

void File_attributes::give_as_lock_to(int descriptor) const {
    Kept kept = {gives_group(group, descriptor), true};
    give_lock_rights(kept, descriptor);
    if (!gives_owner(owner, descriptor)) {
        kept.owner = false;
        give_lock_rights(kept, descriptor);
    }
}

void File_attributes::give_lock_rights(const Kept& kept, int descriptor) const {
    Access_list list = access_list.value_or(Access_list::of_permissions(permissions));
    list.keep_writers();
    if (!kept.group) {
        list.move_group_rights(group);
    }
    if (!kept.owner) {
        list.move_owner_rights(owner);
    }
    if (list.is_extended() && gives_access_list(list, descriptor)) {
        return;
    }
    remove_access_list(descriptor);
    give_permissions(list.plain_permissions(), descriptor);
}

}  // namespace cli
