#include "text/kc/File_attributes.h"

#include <fcntl.h>
#include <string>
#include <system_error>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/cli/file_facts.h"
#include "tests/cli/scratch_folder.h"
#include "text/kc/Descriptor.h"

namespace zandrel::cli {

namespace {

class FileAttributesTest : public testing::Test {
protected:
    void GiveToNew(const File_attributes& attributes) {
        const Descriptor file(::open(m_new.c_str(), O_RDWR | O_CLOEXEC));
        attributes.give_to(file.number());
    }

    void GiveAsLockToNew(const File_attributes& attributes) {
        const Descriptor file(::open(m_new.c_str(), O_RDWR | O_CLOEXEC));
        attributes.give_as_lock_to(file.number());
    }

    // A group that this user can set for a file: any group for root, otherwise one of the user's
    // groups.
    static gid_t AnotherGroup() {
        constexpr int kMost = 100;
        gid_t groups[kMost] = {};
        const int count = ::getgroups(kMost, groups);
        return ::geteuid() == 0 ? 4242 : count > 0 ? groups[count - 1] : ::getegid();
    }

    Scratch_folder m_folder;
    std::string m_old = m_folder.write("old", "");
    std::string m_new = m_folder.write("new", "");
};

TEST_F(FileAttributesTest, OwnerAndGroupAreKept) {
    const uid_t owner = ::geteuid() == 0 ? 4141 : ::geteuid();
    ASSERT_EQ(::chown(m_old.c_str(), owner, AnotherGroup()), 0);
    ASSERT_EQ(::chmod(m_old.c_str(), 0640), 0);

    GiveToNew(File_attributes::of(m_old));

    EXPECT_EQ(status_of(m_new).st_uid, owner);
    EXPECT_EQ(status_of(m_new).st_gid, AnotherGroup());
    EXPECT_EQ(permissions_of(m_new), 0640U);
}

TEST_F(FileAttributesTest, PermissionsAreKeptExceptThoseToRunAsTheOwner) {
    const struct {
        mode_t old;
        mode_t kept;
    } rows[] = {{0600, 0600},  {0666, 0666},   {0750, 0750},
                {06755, 0755}, {01644, 01644}, {07777, 01777}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.old);
        ASSERT_EQ(::chmod(m_old.c_str(), row.old), 0);
        GiveToNew(File_attributes::of(m_old));
        EXPECT_EQ(permissions_of(m_new), row.kept);
    }
}

TEST_F(FileAttributesTest, ExtendedAttributesAreKept) {
    set_attribute(m_old, "user.note", "from the sales team");
    set_attribute(m_old, "user.empty", "");
    set_attribute(m_old, "user.bytes", std::string("a\0b", 3));

    GiveToNew(File_attributes::of(m_old));

    for (const std::string name : {"user.note", "user.empty", "user.bytes"}) {
        EXPECT_EQ(attribute_of(m_new, name), attribute_of(m_old, name)) << name;
    }
}

TEST_F(FileAttributesTest, CapabilitiesAreNotKept) {
    File_attributes attributes = File_attributes::of(m_old);
    // The bytes mean version 2, effective, and the capabilities 0 to 31. Only root could set this
    // attribute.
    attributes.extended.push_back(
        {"security.capability",
         std::string("\1\0\0\2\xFF\xFF\xFF\xFF\0\0\0\0\0\0\0\0\0\0\0\0", 20)});
    GiveToNew(attributes);
    EXPECT_EQ(attribute_of(m_new, "security.capability"), "none");
}

// No system knows attributes with these names.
TEST_F(FileAttributesTest, RefusedAttributeIsLostUnlessItIsAnAccessList) {
    File_attributes attributes = File_attributes::of(m_old);
    attributes.extended = {{"unknown.name", "value"}};
    EXPECT_NO_THROW(GiveToNew(attributes));

    attributes.extended = {{"system.unknown_access_list", "value"}};
    EXPECT_THROW(GiveToNew(attributes), std::system_error);
}

TEST_F(FileAttributesTest, AccessListIsKept) {
    ASSERT_EQ(::chmod(m_old.c_str(), 0640), 0);
    set_attribute(m_old, kAccessListAttribute, access_list_with_user_7());

    GiveToNew(File_attributes::of(m_old));

    EXPECT_EQ(attribute_of(m_new, kAccessListAttribute), attribute_of(m_old, kAccessListAttribute));
    EXPECT_EQ(permissions_of(m_new), permissions_of(m_old));
}

// A folder may give new files an access list that the old file does not have.
TEST_F(FileAttributesTest, AccessListThatTheOldFileLacksIsRemoved) {
    set_attribute(m_new, kAccessListAttribute, access_list_with_user_7());
    ASSERT_EQ(::chmod(m_old.c_str(), 0640), 0);

    GiveToNew(File_attributes::of(m_old));

    EXPECT_EQ(attribute_of(m_new, kAccessListAttribute), "none");
    EXPECT_EQ(permissions_of(m_new), 0640U);
}

TEST_F(FileAttributesTest, LockOfAFileWithAnAccessListHasItsWriters) {
    using namespace std::string_literals;
    ASSERT_EQ(::chmod(m_old.c_str(), 0640), 0);
    set_attribute(m_old, kAccessListAttribute, access_list_with_user_7());
    ASSERT_EQ(::chmod(m_new.c_str(), 0600), 0);

    GiveAsLockToNew(File_attributes::of(m_old));

    const bool has_lists = attribute_of(m_old, kAccessListAttribute) != "none";
    EXPECT_EQ(attribute_of(m_new, kAccessListAttribute), has_lists ? "\2\0\0\0"
                                                                     "\1\0\6\0\xFF\xFF\xFF\xFF"
                                                                     "\2\0\6\0\7\0\0\0"
                                                                     "\4\0\0\0\xFF\xFF\xFF\xFF"
                                                                     "\x10\0\6\0\xFF\xFF\xFF\xFF"
                                                                     "\x20\0\0\0\xFF\xFF\xFF\xFF"s
                                                                   : "none");
}

TEST_F(FileAttributesTest, MissingFileIsAnError) {
    EXPECT_THROW(File_attributes::of(m_folder.file("missing")), std::system_error);
}

}  // namespace

}  // namespace zandrel::cli
