#include "text/data/Label_groups.h"

#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/growth.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

Label_groups read(const std::string& data) {
    std::istringstream input(data);
    return read_label_groups(input, "groups.tsv");
}

TEST(LabelGroupsTest, LabelsOfEachGroupAreGatheredInTheOrderOfTheFile) {
    const Label_groups read_groups =
        read("\xEF\xBB\xBFhome\tlamp\r\n\nwork\tdesk\nhome\tbed\nwork\tlamp\nhome\ta\tb");

    EXPECT_EQ(read_groups.file, "groups.tsv");
    ASSERT_EQ(read_groups.groups.size(), 2U);
    EXPECT_EQ(read_groups.groups[0].name, "home");
    EXPECT_EQ(read_groups.groups[0].line, 1U);
    EXPECT_THAT(read_groups.groups[0].labels, ElementsAre("lamp", "bed", "a\tb"));
    EXPECT_EQ(read_groups.groups[1].name, "work");
    EXPECT_EQ(read_groups.groups[1].line, 3U);
    EXPECT_THAT(read_groups.groups[1].labels, ElementsAre("desk", "lamp"));
}

TEST(LabelGroupsTest, ReadingManyLabelsAndGroupsTakesNoSquareTime) {
    ExpectNoSquareGrowth(3000, [](int n) {
        std::string data;
        for (int i = 0; i < n; ++i) {
            data += "home\tlamp" + std::to_string(i) + "\nroom" + std::to_string(i) + "\tlamp\n";
        }
        const Label_groups read_groups = read(data);
        EXPECT_EQ(read_groups.groups.size(), static_cast<std::size_t>(n) + 1);
        EXPECT_EQ(read_groups.groups[0].labels.size(), static_cast<std::size_t>(n));
    });
}

TEST(LabelGroupsTest, ErrorNamesFileLineAndMistake) {
    const struct {
        std::string data;
        std::string expected;
    } rows[] = {
        {"home\n", "groups.tsv:1: no tab between group and label"},
        {"home\tlamp\n\n\tbed\n", "groups.tsv:3: empty group"},
        {"home\t\r\n", "groups.tsv:1: empty label"},
        {"home\tlamp\nwork\tlamp\nhome\tlamp\n",
         "groups.tsv:3: label stands in this group already"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.data);
        try {
            read(row.data);
            ADD_FAILURE() << "no error";
        } catch (const Data_error& error) {
            EXPECT_EQ(error.what(), row.expected);
        }
    }
}

TEST(LabelGroupsTest, FileWithoutLineIsRefused) {
    try {
        read_label_groups_file("/dev/null");
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "/dev/null: no line");
    }
}

TEST(LabelGroupsTest, FileThatCannotBeReadIsNamed) {
    for (const char* const path : {"no/such/file", "/"}) {
        SCOPED_TRACE(path);
        EXPECT_THROW(read_label_groups_file(path), Input_error);
    }
}

}  // namespace

}  // namespace zandrel::cli
