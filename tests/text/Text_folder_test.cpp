#include "text/analysis/Text_folder.h"

#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

// The marks have the classes 230 and 220. The folded form has the second mark first.
constexpr std::string_view kAbove = "\u0301";
constexpr std::string_view kBelow = "\u0316";

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::string folded(const std::string& text) {
    Text_folder folder;
    return std::string(folder.fold(text));
}

TEST(TextFolderTest, AsciiIsFoldedAsInsideOtherTexts) {
    Text_folder folder;

    for (int byte = 0; byte < 128; ++byte) {
        SCOPED_TRACE(byte);
        const std::string ascii = {'a', static_cast<char>(byte), 'Z'};
        const std::string alone(folder.fold(ascii));
        const std::string before_other(folder.fold(ascii + "\u03B1"));
        EXPECT_EQ(alone + "\u03B1", before_other);
    }
}

TEST(TextFolderTest, TextsAreFoldedToNfkcCasefold) {
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

TEST(TextFolderTest, ThirtyMarksInARowAreSorted) {
    EXPECT_EQ(folded("x" + repeated(kAbove, 29) + std::string(kBelow)),
              "x" + std::string(kBelow) + repeated(kAbove, 29));
}

TEST(TextFolderTest, ThirtyFirstMarkIsNotSorted) {
    const std::string marks = repeated(kAbove, 30) + std::string(kBelow);

    EXPECT_EQ(folded("x" + marks), "x" + marks);
    EXPECT_EQ(folded(marks + "x"), marks + "x");
}

TEST(TextFolderTest, ThirtyFirstMarkIsNotComposedWithTheLetter) {
    // U+0302 composes with e across marks of another class, but only among the first thirty marks.
    EXPECT_EQ(folded("e" + repeated(kBelow, 29) + "\u0302"), "\u00EA" + repeated(kBelow, 29));
    EXPECT_EQ(folded("e" + repeated(kBelow, 30) + "\u0302"), "e" + repeated(kBelow, 30) + "\u0302");
}

// Folding removes soft hyphens, and the marks around them would then be sorted in one row. So soft
// hyphens count in a row of thirty: the last mark here is the 31st character, and is not sorted.
TEST(TextFolderTest, RemovedCharactersDoNotEndARowOfMarks) {
    EXPECT_EQ(folded("x" + repeated(std::string(kAbove) + "\u00AD", 15) + std::string(kBelow)),
              "x" + repeated(kAbove, 15) + std::string(kBelow));
}

TEST(TextFolderTest, LetterEndsARowOfMarks) {
    EXPECT_EQ(folded("x" + repeated(kAbove, 30) + "E\u0301"),
              "x" + repeated(kAbove, 30) + "\u00E9");
}

// Sorting all of them in one row would take minutes.
TEST(TextFolderTest, TwoMegabytesOfMarksAreSortedInRowsOfThirty) {
    constexpr std::size_t kPairs = 500000;
    constexpr std::size_t kRows = kPairs / 15;
    constexpr std::size_t kRest = kPairs % 15;

    const std::string all =
        folded("x" + repeated(std::string(kAbove) + std::string(kBelow), kPairs));

    const std::string row = repeated(kBelow, 15) + repeated(kAbove, 15);
    // We do not use EXPECT_EQ, since a failure would print megabytes.
    EXPECT_TRUE(all ==
                "x" + repeated(row, kRows) + repeated(kBelow, kRest) + repeated(kAbove, kRest));
}

}  // namespace

}  // namespace zandrel::cli
