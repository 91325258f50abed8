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

    // Leaves the owning group no right that all others do not have.
    void reduce_group();

    // Gives the rights to read and write to all who may write, and takes all other rights away.
    void keep_writers();
    // Takes from the owning group what it may, and gives it to this group.
    void move_group_rights(gid_t group);
    // Gives what the owner may to this user, who is not the owner any more. The new owner may read
    // and write.
    void move_owner_rights(uid_t owner);

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
    // Adds the rights of a named user or group, and the mask that such a list needs.
    void add(const Entry& added);

    std::vector<Entry> m_entries;  // as Linux demands: by kind
};

}  // namespace cli

#endif  // ZANDREL_CLI_KC_ACCESS_LIST_H_
