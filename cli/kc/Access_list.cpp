#include "cli/kc/Access_list.h"

#include <algorithm>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <string_view>

namespace cli {

namespace {

constexpr std::size_t kVersionSize = 4;
constexpr std::size_t kEntrySize = 8;
constexpr std::uint32_t kNobody = 0xFFFFFFFF;  // the id of entries that name nobody
constexpr std::uint16_t kRead = ACL_READ;
constexpr std::uint16_t kWrite = ACL_WRITE;
constexpr unsigned int kOwnerShift = 6;
constexpr unsigned int kGroupShift = 3;
constexpr unsigned int kAllRights = 07;
constexpr unsigned int kByteBits = 8;

// Numbers have their lowest byte first.
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

bool is_bound_by_mask(std::uint16_t kind) {
    return names_somebody(kind) || kind == ACL_GROUP_OBJ;
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
        if (is_bound_by_mask(entry.kind)) {
            entry.rights &= mask;
        }
    }
}

void Access_list::add(const Entry& added) {
    if (!is_extended()) {
        // The mask bounds the owning group and all named entries, so it begins with the group's.
        m_entries.push_back({ACL_MASK, rights_of(ACL_GROUP_OBJ), kNobody});
    }
    apply_mask();  // a wider mask must not give others what it has forbidden them
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

}  // namespace cli
