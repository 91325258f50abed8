#include "cli/text/Text_folder.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace cli {

namespace {

TEST(TextFolderTest, FoldsAsciiAsItDoesInsideOtherTexts) {
    Text_folder folder;

    for (int byte = 0; byte < 128; ++byte) {
        SCOPED_TRACE(byte);
        const std::string ascii = {'a', static_cast<char>(byte), 'Z'};
        const std::string alone(folder.fold(ascii));
        const std::string before_other(folder.fold(ascii + "\u03B1"));
        EXPECT_EQ(alone + "\u03B1", before_other);
    }
}

TEST(TextFolderTest, FoldsToNfkcCasefold) {
    const struct {
        std::string_view text;
        std::string_view folded;
    } rows[] = {
        {"", ""},
        {"@AZ[`az{ 09\n", "@az[`az{ 09\n"},
        {"STRASSE Straße", "strasse strasse"},
        {"\uFF21\u00AD\u00C9", "a\u00E9"},
        {"E\u0301", "\u00E9"},
    };

    Text_folder folder;

    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(folder.fold(row.text), row.folded);
    }
}

}  // namespace

}  // namespace cli
