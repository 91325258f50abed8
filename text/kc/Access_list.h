// Access_list: the rights of a file's owner, its group, further named users and groups, and others.
#ifndef ZANDREL_TEXT_KC_ACCESS_LIST_H_
#define ZANDREL_TEXT_KC_ACCESS_LIST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zandrel {

// The extended attribute in which Linux keeps the list of a file.
inline constexpr const char* kAccessListAttribute = "system.posix_acl_access";

// A POSIX access list. Rights are the numbers of chmod: 4 reads, 2 writes, 1 runs.
class Access_list {
public:
    // The list with three entries that has the same meaning as these permissions.
    static Access_list of_permissions(mode_t permissions);

    // Reads the bytes of the attribute. Returns nothing if they do not have the form that Linux
    // uses.
    static std::optional<Access_list> parsed(const std::string& bytes);
    std::string bytes() const;

    // For a file that gets another owning group: the group and all others keep only the rights that
    // both have, so that no member of the old or of the new group gains a right. 664 becomes 644.
    void reduce_group_and_others();
    // For a file that gets another owner: the owner gets at least the rights to read and write.
    void let_owner_write();

    // Gives the rights to read and write to all who may write, and takes all other rights away.
    void keep_writers();
    // For a file whose owning group was `group` and is another one now: names `group` with the
    // rights of the owning group. The new owning group keeps only the rights that all others have,
    // too.
    void move_group_rights(gid_t group);
    // For a file whose owner was `owner` and is another user now: names `owner` with the rights of
    // the owner. The new owner gets at least the rights to read and write.
    void move_owner_rights(uid_t owner);

    // Returns true if permissions can express the list, and the owning group has the same rights as
    // all others. The group then need not be named.
    bool has_group_like_others() const;
    // Returns true if permissions can express the list, and everybody has the rights of the owner.
    // The owner then need not be named.
    bool lets_everybody_do_as_owner() const;
    // Returns whether permissions cannot express the list.
    bool is_extended() const;
    // The rights of owner, group and others without the named entries.
    mode_t plain_permissions() const;

private:
    struct Entry {
        std::uint16_t kind;
        std::uint16_t rights;
        std::uint32_t id;
    };

    std::uint16_t rights_of(std::uint16_t kind) const;
    void set_rights(std::uint16_t kind, std::uint16_t rights);
    // Removes the rights that the mask forbids from named users and groups and from the owning
    // group.
    void apply_mask();
    // Adds a named user or group, or adds rights to an entry that exists. Adds a mask if the list
    // has none, since Linux demands one.
    void add(const Entry& added);

    std::vector<Entry> m_entries;  // sorted by kind, as Linux demands
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_ACCESS_LIST_H_
