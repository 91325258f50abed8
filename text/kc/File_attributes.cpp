// Reads the attributes of a file, and gives them to another file as far as the system allows it.
//
// The idea: a container keeps its owner, its group and everybody's rights when another user
// replaces it. Only root may give a file to another user; others may give their files only to
// groups of which they are members. Where the system refuses, the access list of the new file names
// the old owner or the old group.
//
// Example: "a.kc" belongs to user 1000 and group 4242 and has the permissions 664. User 1001, who
// is in this group, learns into it. The steps of give_to for the new file, which has 600 at first:
//
//   gives_group   fchown to group 4242: allowed
//   give_rights   kept = {group, owner}:    664
//   gives_owner   fchown to user 1000: refused (EPERM)
//   give_rights   kept = {group, no owner}: owner 6, user 1000 6, group 6, mask 6, others 4
//
// The rights are given before the owner, since only root may change the rights of another user's
// file. They are given once more if the owner could not be given.
//
// If 1001 is not in group 4242, but "a.kc" has an access list with "user 1001 6", fchown to the
// group is refused too. Then the result is: owner 6, user 1001 6, user 1000 6, group 4, group 4242
// 6, mask 6, others 4. The group of 1001 gets only 6 & 4 = 4, the rights that both the old group
// and all others had.
//
// If the file system refuses the access list, reduced_rights gives plain permissions. If neither
// group nor owner could be given, 664 becomes 644, since 6 & 4 = 4, and 606 becomes 600: a member
// of the old group had no rights, and would otherwise get 6 as one of all others.
//
// A lock file gets only the rights of those who may write, who may then read it too. So 664 becomes
// 660, and 644 becomes 600. If group 4242 cannot be given, 664 becomes the list: owner 6, group 0,
// group 4242 6, mask 6, others 0.
#include "text/kc/File_attributes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <system_error>
#include <unistd.h>

namespace zandrel {

namespace {

constexpr mode_t kAllPermissions = 07777;
// This bit has an effect only on folders, so we keep it. The two bits above it run a file as its
// owner or group, so we do not keep them.
constexpr mode_t kKeptBit = 01000;
constexpr mode_t kOwnerOnly = 0600;

constexpr std::array<std::string_view, 3> kAttributesLeftOut = {"security.capability",
                                                                "security.evm", "security.ima"};

[[noreturn]] void fail() {
    throw std::system_error(errno, std::generic_category());
}

// Returns whether the last call was refused: not allowed, or not possible here. For example, the
// file system has no such attributes, or the process runs in a namespace that does not map the
// owner.
bool is_refusal() {
    return errno == EPERM || errno == EACCES || errno == EINVAL || errno == ENOTSUP ||
           errno == ENOSYS;
}

// The names of all extended attributes, each followed by a zero byte.
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
        if (errno != ERANGE) {  // else an attribute was added between the two calls
            fail();
        }
    }
}

// Returns nothing if the file does not have the attribute.
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

// Access lists of other kinds. Those that Access_list knows are not among the extended attributes.
bool is_access_list(const Extended_attribute& attribute) {
    return attribute.name.starts_with("system.");
}

void give_extended(const Extended_attribute& given, int descriptor) {
    if (::fsetxattr(descriptor, given.name.c_str(), given.value.data(), given.value.size(), 0) ==
        0) {
        return;
    }
    // A refusal is an error only for the user's attributes and for access lists.
    if (!is_refusal() || given.name.starts_with("user.") || is_access_list(given)) {
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

// Gives the file to an owner and a group, and returns whether the system has allowed it. -1 leaves
// the owner or the group as it is.
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

// Call this function last: after giving a file to another user, we may not change it any more.
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

// Returns whether the system has accepted the list.
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

// A folder can give a list to each new file in it.
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

// Returns whether the system has accepted the list, if permissions cannot express it.
bool gives_rights(const Access_list& list, mode_t bit, int descriptor) {
    if (list.is_extended()) {
        give_permissions(kOwnerOnly | bit, descriptor);  // the list sets the other rights
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
    // The first call fails on a file system that has no access lists or does not know the users.
    if (!gives_rights(rights_with_names(kept), bit, descriptor) &&
        !gives_rights(reduced_rights(kept), bit, descriptor)) {
        fail();
    }
    // Access lists of other kinds are given last, since a change of the permissions changes them.
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

}  // namespace zandrel
