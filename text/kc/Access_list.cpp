// Reads, changes and writes a POSIX access list in the form of Linux.
//
// The list is an extended attribute: four bytes of version, 2, then eight bytes for each entry:
// kind, rights and id, all with the lowest byte first. Rights are 4 (read), 2 (write) and 1 (run).
// The mask bounds the rights of all named users and groups and of the owning group: their entry &
// mask.
//
// Example: the permissions 664 (of_permissions), and the same after move_group_rights(4242):
//
//   kind               rights              rights  bytes of the entry
//   owner       01     6                   6       01 00 06 00 FF FF FF FF
//   group       04     6                   4       04 00 04 00 FF FF FF FF
//   group 4242  08                         6       08 00 06 00 92 10 00 00
//   mask        10                         6       10 00 06 00 FF FF FF FF
//   others      20     4                   4       20 00 04 00 FF FF FF FF
//
// The new owning group has 6 & 4 = 4. The mask begins as the old group's 6, so that it forbids
// nothing, and gets the added 6. 4242 is 0x1092. The whole attribute has 4 + 5 * 8 = 44 bytes.
//
// A mask that forbids something is applied before it becomes wider: with "user 7 6, mask 4", user 7
// may only read. If an entry with 6 is added, the mask becomes 4 | 6 = 6, and "user 7 6" would gain
// the right to write. So add() first reduces that entry to 6 & 4 = 4.
#include "text/kc/Access_list.h"

#include <algorithm>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <string_view>

namespace zandrel {

namespace {

constexpr std::size_t kVersionSize = 4;
constexpr std::size_t kEntrySize = 8;
constexpr std::uint32_t kNobody = 0xFFFFFFFF;  // the id in entries without a name
constexpr std::uint16_t kRead = ACL_READ;
constexpr std::uint16_t kWrite = ACL_WRITE;
constexpr unsigned int kOwnerShift = 6;
constexpr unsigned int kGroupShift = 3;
constexpr unsigned int kAllRights = 07;
constexpr unsigned int kByteBits = 8;

// The lowest byte comes first.
std::uint32_t number_in(std::string_view bytes) {
    std::uint32_t number = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        number = (number << kByteBits) | static_cast<unsigned char>(bytes[i]);
    }
    return number;
}

void append(std::uint32_t number, std::size_t size, std::string& bytes) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<char>(number >> (kByteBits * i)));
    }
}

bool names_somebody(std::uint16_t kind) {
    return kind == ACL_USER || kind == ACL_GROUP;
}

}  // namespace

Access_list Access_list::of_permissions(mode_t permissions) {
    const auto rights = [permissions](unsigned int shift) {
        return static_cast<std::uint16_t>((permissions >> shift) & kAllRights);
    };
    Access_list list;
    list.m_entries = {{ACL_USER_OBJ, rights(kOwnerShift), kNobody},
                      {ACL_GROUP_OBJ, rights(kGroupShift), kNobody},
                      {ACL_OTHER, rights(0), kNobody}};
    return list;
}

std::optional<Access_list> Access_list::parsed(const std::string& bytes) {
    const std::string_view all = bytes;
    if (all.size() < kVersionSize || (all.size() - kVersionSize) % kEntrySize != 0 ||
        number_in(all.substr(0, kVersionSize)) != POSIX_ACL_XATTR_VERSION) {
        return std::nullopt;
    }
    Access_list list;
    for (std::size_t at = kVersionSize; at < all.size(); at += kEntrySize) {
        list.m_entries.push_back({static_cast<std::uint16_t>(number_in(all.substr(at, 2))),
                                  static_cast<std::uint16_t>(number_in(all.substr(at + 2, 2))),
                                  number_in(all.substr(at + 4, 4))});
    }
    return list;
}

std::string Access_list::bytes() const {
    std::string bytes;
    append(POSIX_ACL_XATTR_VERSION, kVersionSize, bytes);
    for (const Entry& entry : m_entries) {
        append(entry.kind, 2, bytes);
        append(entry.rights, 2, bytes);
        append(entry.id, 4, bytes);
    }
    return bytes;
}

void Access_list::reduce_group_and_others() {
    const std::uint16_t both = rights_of(ACL_GROUP_OBJ) & rights_of(ACL_OTHER);
    set_rights(ACL_GROUP_OBJ, both);
    set_rights(ACL_OTHER, both);
}

void Access_list::let_owner_write() {
    set_rights(ACL_USER_OBJ, rights_of(ACL_USER_OBJ) | kRead | kWrite);
}

void Access_list::keep_writers() {
    apply_mask();
    for (Entry& entry : m_entries) {
        entry.rights = (entry.rights & kWrite) != 0 ? kRead | kWrite : 0;
    }
    set_rights(ACL_MASK, kRead | kWrite);
}

void Access_list::move_group_rights(gid_t group) {
    add({ACL_GROUP, rights_of(ACL_GROUP_OBJ), group});
    set_rights(ACL_GROUP_OBJ, rights_of(ACL_GROUP_OBJ) & rights_of(ACL_OTHER));
}

void Access_list::move_owner_rights(uid_t owner) {
    add({ACL_USER, rights_of(ACL_USER_OBJ), owner});
    let_owner_write();
}

bool Access_list::has_group_like_others() const {
    return !is_extended() && rights_of(ACL_GROUP_OBJ) == rights_of(ACL_OTHER);
}

bool Access_list::lets_everybody_do_as_owner() const {
    return !is_extended() &&
           (rights_of(ACL_USER_OBJ) & ~(rights_of(ACL_GROUP_OBJ) & rights_of(ACL_OTHER))) == 0;
}

bool Access_list::is_extended() const {
    return std::any_of(m_entries.begin(), m_entries.end(), [](const Entry& entry) {
        return names_somebody(entry.kind) || entry.kind == ACL_MASK;
    });
}

mode_t Access_list::plain_permissions() const {
    return static_cast<mode_t>(rights_of(ACL_USER_OBJ)) << kOwnerShift |
           static_cast<mode_t>(rights_of(ACL_GROUP_OBJ)) << kGroupShift | rights_of(ACL_OTHER);
}

std::uint16_t Access_list::rights_of(std::uint16_t kind) const {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [kind](const Entry& entry) { return entry.kind == kind; });
    return found == m_entries.end() ? 0 : found->rights;
}

void Access_list::set_rights(std::uint16_t kind, std::uint16_t rights) {
    for (Entry& entry : m_entries) {
        if (entry.kind == kind) {
            entry.rights = rights;
        }
    }
}

void Access_list::apply_mask() {
    const std::uint16_t mask = is_extended() ? rights_of(ACL_MASK) : kAllRights;
    for (Entry& entry : m_entries) {
        if (names_somebody(entry.kind) || entry.kind == ACL_GROUP_OBJ) {
            entry.rights &= mask;
        }
    }
}

void Access_list::add(const Entry& added) {
    if (!is_extended()) {
        // A list without named entries has no mask. The mask bounds the owning group too, so it
        // begins with the rights of the group.
        m_entries.push_back({ACL_MASK, rights_of(ACL_GROUP_OBJ), kNobody});
    }
    apply_mask();  // a wider mask must not give back what the old one denied
    set_rights(ACL_MASK, rights_of(ACL_MASK) | added.rights);
    const auto same = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.kind == added.kind && entry.id == added.id;
    });
    if (same != m_entries.end()) {
        same->rights |= added.rights;
        return;
    }
    m_entries.push_back(added);
    std::stable_sort(m_entries.begin(), m_entries.end(),
                     [](const Entry& left, const Entry& right) { return left.kind < right.kind; });
}

}  // namespace zandrel
