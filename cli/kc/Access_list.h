// Access_list: who may do what with a file, beyond its owner, its group and all others.
#ifndef ZANDREL_CLI_KC_ACCESS_LIST_H_
#define ZANDREL_CLI_KC_ACCESS_LIST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace cli {

// The extended attribute in which Linux keeps the list of a file.
inline constexpr const char* kAccessListAttribute = "system.posix_acl_access";

// A POSIX access list. Rights are the numbers of chmod: 4 reads, 2 writes.
class Access_list {
public:
    // The three entries that the permissions of a file without a list amount to.
    static Access_list of_permissions(mode_t permissions);

    // Reads the bytes of the attribute; nothing for another form than the one that Linux has.
    static std::optional<Access_list> parsed(const std::string& bytes);
    std::string bytes() const;

    // For a file whose owning group will be another: leaves the group and all others only what both
    // of them have, so that no member of the former or of the new group gains a right.
    void reduce_group_and_others();
    // For a file whose owner will be another, who gets at least the rights to read and write.
    void let_owner_write();

    // Gives the rights to read and write to all who may write, and takes all other rights away.
    void keep_writers();
    // Gives what the owning group may to this group, which is not the owning group any more. The
    // new one keeps what all others have as well.
    void move_group_rights(gid_t group);
    // Gives what the owner may to this user, who is not the owner any more. The new owner gets at
    // least the rights to read and write.
    void move_owner_rights(uid_t owner);

    // Returns whether the owning group has the rights of all others, so that it needs no entry.
    bool has_group_like_others() const;
    // Returns whether everybody has the rights of the owner, so that he needs no entry.
    bool lets_everybody_do_as_owner() const;
    // Returns whether the list says more than permissions can.
    bool is_extended() const;
    // The permissions that come closest to it, for a file system without lists.
    mode_t plain_permissions() const;

private:
    struct Entry {
        std::uint16_t kind;
        std::uint16_t rights;
        std::uint32_t id;
    };

    std::uint16_t rights_of(std::uint16_t kind) const;
    void set_rights(std::uint16_t kind, std::uint16_t rights);
    // Takes from named users and groups, and the owning group, what the mask forbids them.
    void apply_mask();
    // Adds the rights of a named user or group, and the mask that such a list needs.
    void add(const Entry& added);

    std::vector<Entry> m_entries;  // as Linux demands: by kind
};

}  // namespace cli

#endif  // ZANDREL_CLI_KC_ACCESS_LIST_H_
