// File_attributes: owner, group, permissions, access list and extended attributes of a file.
#ifndef ZANDREL_TEXT_KC_FILE_ATTRIBUTES_H_
#define ZANDREL_TEXT_KC_FILE_ATTRIBUTES_H_

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "text/kc/Access_list.h"

namespace zandrel {

struct Extended_attribute {
    std::string name;
    std::string value;
};

class File_attributes {
public:
    uid_t owner = 0;
    gid_t group = 0;
    mode_t permissions = 0;  // the bits that chmod sets (07777)
    std::optional<Access_list> access_list;
    std::vector<Extended_attribute> extended;  // all other extended attributes

    // RAISES: std::system_error.
    static File_attributes of(const std::string& path);

    // Gives all these attributes to an open file of this process, except:
    // - The bits that run a file as its owner or group (04000 and 02000). "security.capability"
    //   does the same. The old file's owner did not grant them to the new contents.
    // - "security.ima" and "security.evm": they are checksums of the old file.
    // - An owner or group that the system does not let this process give. The file then belongs to
    //   this process's user or group, and an access list names the old owner or group with the old
    //   rights. This process's user may read and write. Its group gets no right that all others do
    //   not have. Without access lists, the old owner has only the rights of the group or of all
    //   others. If the group is not given, the new group and all others keep only the rights that
    //   the old group and all others both had.
    // - Other attributes that the system refuses, unless they are access lists ("system.") or the
    //   user's ("user.").
    // RAISES: std::system_error.
    void give_to(int descriptor) const;

    // Gives owner, group and the rights to read and write of those who may write, to a file that
    // serves as a lock. Where the owner or the group cannot be given, the lock gets an access list
    // that names them. A file system without access lists gives them no rights.
    // RAISES: std::system_error.
    void give_as_lock_to(int descriptor) const;

private:
    // The old group and the old owner, each true if the file gets it.
    struct Kept {
        bool group = false;
        bool owner = false;
    };

    void give_rights(const Kept& kept, int descriptor) const;
    void give_lock_rights(const Kept& kept, int descriptor) const;
    // The access list, or a list with the meaning of the permissions if there is none. It names the
    // old owner or group if the file will not have it.
    Access_list rights_with_names(const Kept& kept) const;
    // The rights without such names, for a file system that refuses the list above.
    Access_list reduced_rights(const Kept& kept) const;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_FILE_ATTRIBUTES_H_
