#include "text/kc/Access_list.h"

#include <string>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using namespace std::string_literals;

// Each entry has two bytes for the kind, two for the rights and four for the id, lowest byte first.
// The kinds are 1 (the owner), 2 (a user), 4 (the owning group), 8 (a group), 16 (the mask) and 32
// (all others).
std::string entry(char kind, char rights, char id) {
    return kind + "\0"s + rights + "\0"s + id + "\0\0\0"s;
}

std::string entry(char kind, char rights) {
    return kind + "\0"s + rights + "\0\xFF\xFF\xFF\xFF"s;
}

const std::string kVersion = "\2\0\0\0"s;

// A list with each kind of entry. The rights are: owner rw, user 7 rw, user 8 r, group rw, group 9
// r, mask rw, others r.
const std::string kLong = kVersion + entry(1, 6) + entry(2, 6, 7) + entry(2, 4, 8) + entry(4, 6) +
                          entry(8, 4, 9) + entry(16, 6) + entry(32, 4);

TEST(AccessListTest, PermissionsMakeThreeEntries) {
    const Access_list list = Access_list::of_permissions(0751);
    EXPECT_EQ(list.bytes(), kVersion + entry(1, 7) + entry(4, 5) + entry(32, 1));
    EXPECT_FALSE(list.is_extended());
    EXPECT_EQ(list.plain_permissions(), 0751U);
}

TEST(AccessListTest, ParsedListHasTheSameBytes) {
    const auto list = Access_list::parsed(kLong);
    ASSERT_TRUE(list.has_value());
    EXPECT_EQ(list->bytes(), kLong);
    EXPECT_TRUE(list->is_extended());
    EXPECT_EQ(list->plain_permissions(), 0664U);
}

TEST(AccessListTest, OtherFormsAreNotRead) {
    EXPECT_FALSE(Access_list::parsed("").has_value());
    EXPECT_FALSE(Access_list::parsed("\1\0\0\0"s + entry(1, 6)).has_value());
    EXPECT_FALSE(Access_list::parsed(kLong.substr(0, kLong.size() - 1)).has_value());
}

TEST(AccessListTest, ReducedGroupAndOthersHaveTheRightsOfBoth) {
    auto list = Access_list::parsed(kLong);
    list->reduce_group_and_others();
    EXPECT_EQ(list->bytes(), kVersion + entry(1, 6) + entry(2, 6, 7) + entry(2, 4, 8) +
                                 entry(4, 4) + entry(8, 4, 9) + entry(16, 6) + entry(32, 4));

    // The group and all others keep only the rights that both have, also if the group has fewer
    // rights than all others (0646) or has different ones (0624).
    const struct {
        mode_t before;
        mode_t after;
    } rows[] = {{0664, 0644}, {0606, 0600}, {0646, 0644}, {0624, 0600}, {0666, 0666}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        Access_list permissions = Access_list::of_permissions(row.before);
        permissions.reduce_group_and_others();
        EXPECT_EQ(permissions.plain_permissions(), row.after);
    }
}

TEST(AccessListTest, NewOwnerMayReadAndWrite) {
    const struct {
        mode_t before;
        mode_t after;
    } rows[] = {{0464, 0664}, {0066, 0666}, {0564, 0764}, {0640, 0640}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        Access_list list = Access_list::of_permissions(row.before);
        list.let_owner_write();
        EXPECT_EQ(list.plain_permissions(), row.after);
    }
}

TEST(AccessListTest, GroupOrOwnerNeedNotBeKeptIfAllHaveTheSameRights) {
    const struct {
        mode_t permissions;
        bool group;
        bool owner;
    } rows[] = {{0666, true, true},   {0664, false, false}, {0644, true, false},
                {0606, false, false}, {0464, false, true},  {0466, true, true}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.permissions);
        const Access_list list = Access_list::of_permissions(row.permissions);
        EXPECT_EQ(list.has_group_like_others(), row.group);
        EXPECT_EQ(list.lets_everybody_do_as_owner(), row.owner);
    }
    // A named user may have fewer rights than the group and all others.
    const auto named = Access_list::parsed(kVersion + entry(1, 6) + entry(2, 0, 7) + entry(4, 6) +
                                           entry(16, 6) + entry(32, 6));
    EXPECT_FALSE(named->has_group_like_others());
    EXPECT_FALSE(named->lets_everybody_do_as_owner());
}

TEST(AccessListTest, WritersGetBothRightsAndOthersGetNoRights) {
    auto list = Access_list::parsed(kLong);
    list->keep_writers();
    EXPECT_EQ(list->bytes(), kVersion + entry(1, 6) + entry(2, 6, 7) + entry(2, 0, 8) +
                                 entry(4, 6) + entry(8, 0, 9) + entry(16, 6) + entry(32, 0));

    Access_list permissions = Access_list::of_permissions(0724);
    permissions.keep_writers();
    EXPECT_EQ(permissions.plain_permissions(), 0660U);
}

// The mask limits the rights of named users and groups.
TEST(AccessListTest, EntryThatTheMaskDoesNotLetWriteIsNoWriter) {
    auto list = Access_list::parsed(kVersion + entry(1, 6) + entry(2, 6, 7) + entry(4, 6) +
                                    entry(16, 4) + entry(32, 2));
    list->keep_writers();
    EXPECT_EQ(list->bytes(),
              kVersion + entry(1, 6) + entry(2, 0, 7) + entry(4, 0) + entry(16, 6) + entry(32, 6));
}

TEST(AccessListTest, MovedRightsOfTheGroupGoToANamedGroup) {
    Access_list list = Access_list::of_permissions(0660);
    list.move_group_rights(9);
    EXPECT_EQ(list.bytes(),
              kVersion + entry(1, 6) + entry(4, 0) + entry(8, 6, 9) + entry(16, 6) + entry(32, 0));
}

TEST(AccessListTest, MovedRightsOfTheOwnerGoToANamedUser) {
    Access_list list = Access_list::of_permissions(0660);
    list.move_owner_rights(7);
    EXPECT_EQ(list.bytes(),
              kVersion + entry(1, 6) + entry(2, 6, 7) + entry(4, 6) + entry(16, 6) + entry(32, 0));
}

TEST(AccessListTest, NewGroupKeepsTheRightsOfAllOthers) {
    Access_list list = Access_list::of_permissions(0664);
    list.move_group_rights(9);
    EXPECT_EQ(list.bytes(),
              kVersion + entry(1, 6) + entry(4, 4) + entry(8, 6, 9) + entry(16, 6) + entry(32, 4));
}

TEST(AccessListTest, MovedRightsAreAddedToExistingEntries) {
    auto list = Access_list::parsed(kLong);
    list->move_owner_rights(8);
    list->move_group_rights(9);
    EXPECT_EQ(list->bytes(), kVersion + entry(1, 6) + entry(2, 6, 7) + entry(2, 6, 8) +
                                 entry(4, 4) + entry(8, 6, 9) + entry(16, 6) + entry(32, 4));
}

// The mask must become wide enough for the rights of the former owner. The wider mask must not give
// the other entries more rights.
TEST(AccessListTest, MovedRightsDoNotGiveOtherEntriesMoreRights) {
    auto list = Access_list::parsed(kVersion + entry(1, 6) + entry(2, 6, 7) + entry(4, 6) +
                                    entry(16, 4) + entry(32, 0));
    list->move_owner_rights(8);
    EXPECT_EQ(list->bytes(), kVersion + entry(1, 6) + entry(2, 4, 7) + entry(2, 6, 8) +
                                 entry(4, 4) + entry(16, 6) + entry(32, 0));
}

}  // namespace

}  // namespace zandrel::cli
