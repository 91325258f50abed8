#include "zandrel/foundation/qtString.h"

#include <algorithm>
#include <climits>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"

namespace {

qtString text_of_byte(int value) {
    const char byte = static_cast<char>(static_cast<unsigned char>(value));
    return {&byte, 1};
}

int sign_of(int value) {
    return (value > 0) - (value < 0);
}

TEST(qtStringTest, IsEmptyByDefault) {
    const qtString text;

    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.size(), 0U);
    EXPECT_STREQ(text.c_str(), "");
}

TEST(qtStringTest, AllPairsOfBytesAreOrderedAsUnsigned) {
    for (int left = 0; left <= UCHAR_MAX; ++left) {
        for (int right = 0; right <= UCHAR_MAX; ++right) {
            SCOPED_TRACE(std::to_string(left) + " and " + std::to_string(right));
            const qtString left_text = text_of_byte(left);
            const qtString right_text = text_of_byte(right);

            ASSERT_EQ(sign_of(zandrel::compare_text(left_text.view(), right_text.view())),
                      sign_of(left - right));
            ASSERT_EQ(left_text < right_text, left < right);
            ASSERT_EQ(left_text > right_text, left > right);
            ASSERT_EQ(left_text <= right_text, left <= right);
            ASSERT_EQ(left_text >= right_text, left >= right);
            ASSERT_EQ(left_text == right_text, left == right);
            ASSERT_EQ(left_text != right_text, left != right);
        }
    }
}

TEST(qtStringTest, LongTextsAreOrderedAsUnsignedBytes) {
    // In a text of this length, an implementation may compare whole machine words, whose order can
    // differ from the order of the bytes.
    const std::string same(100, 'm');

    EXPECT_LT(qtString(same + "\x7f" + "\xff"), qtString(same + "\x80" + "\x01"));
    EXPECT_LT(qtString(same + "z"), qtString(same + "\xc3\xa4"));
}

TEST(qtStringTest, SortedTextsAreInTheExpectedOrder) {
    const std::vector<qtString> sorted = {"",
                                          qtString("\0", 1),
                                          qtString("\0\0", 2),
                                          qtString("\0a", 2),
                                          "\x01",
                                          " ",
                                          "A",
                                          "AA",
                                          "B",
                                          "a",
                                          qtString("a\0", 2),
                                          "a\x01",
                                          "aa",
                                          "ab",
                                          "b",
                                          "\x7f",
                                          "\x80",
                                          "\xff",
                                          "\xff\xff"};
    std::vector<qtString> shuffled(sorted.rbegin(), sorted.rend());

    std::sort(shuffled.begin(), shuffled.end());

    EXPECT_EQ(shuffled, sorted);
}

TEST(qtStringTest, FirstDifferenceDecidesBeforeLength) {
    EXPECT_LT(qtString("aaaaaa"), qtString("b"));
    EXPECT_GT(qtString("b"), qtString("aaaaaa"));
}

TEST(qtStringTest, ShorterOfTwoTextsWithOneBeginningIsLess) {
    EXPECT_LT(qtString("conc"), qtString("concept"));
    EXPECT_GT(qtString("concept"), qtString("conc"));
    EXPECT_LT(qtString(""), qtString("a"));
}

TEST(qtStringTest, BytesAfterZeroBytesAreCompared) {
    EXPECT_NE(qtString("a\0b", 3), qtString("a\0c", 3));
    EXPECT_LT(qtString("a\0b", 3), qtString("a\0c", 3));
    EXPECT_LT(qtString("a"), qtString("a\0", 2));
}

TEST(qtStringTest, ZeroBytesAreKept) {
    const qtString text("\0x\0", 3);

    EXPECT_EQ(text.size(), 3U);
    EXPECT_EQ(text[0], '\0');
    EXPECT_EQ(text[1], 'x');
    EXPECT_EQ(text[2], '\0');
}

TEST(qtStringTest, LiteralEndsAtItsZeroByte) {
    EXPECT_EQ(qtString("a\0b").size(), 1U);
}

TEST(qtStringTest, ViewsAndStringsAreTakenCompletely) {
    const std::string_view view("a\0b", 3);

    EXPECT_EQ(qtString(view), qtString("a\0b", 3));
    EXPECT_EQ(qtString(std::string(view)), qtString("a\0b", 3));
}

TEST(qtStringTest, DataEndWithAZeroByte) {
    const qtString text(std::string_view("abc", 2));

    EXPECT_EQ(text.data()[2], '\0');
    EXPECT_EQ(text.c_str()[2], '\0');
}

TEST(qtStringTest, BytesAreAppended) {
    qtString text("ab");

    text.append(std::string_view("c\0", 2)) += 'd';
    text += qtString("ef");

    EXPECT_EQ(text, qtString("abc\0def", 7));
}

TEST(qtStringTest, TextCanBeAppendedToItself) {
    qtString text("abc");

    text += text;

    EXPECT_EQ(text, "abcabc");
}

TEST(qtStringTest, AdditionDoesNotChangeItsTerms) {
    const qtString left("le");
    const qtString right("ft");

    EXPECT_EQ(left + right, "left");
    EXPECT_EQ(left, "le");
    EXPECT_EQ(right, "ft");
}

TEST(qtStringTest, NewBytesAreZero) {
    qtString text("ab");

    text.resize(4);

    EXPECT_EQ(text, qtString("ab\0\0", 4));
}

TEST(qtStringTest, ClearedTextIsEmpty) {
    qtString text("ab");

    text.clear();

    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text, "");
}

TEST(qtStringTest, BytesCanBeWrittenByPositionAndThroughData) {
    qtString text("abc");

    text[1] = 'X';
    text.data()[2] = 'Y';

    EXPECT_EQ(text, "aXY");
}

struct Substr_row {
    std::size_t position;
    std::size_t byte_count;
    const char* expected;
};

TEST(qtStringTest, PartsAreReturned) {
    const Substr_row rows[] = {
        {0, 3, "con"},
        {3, 2, "ce"},
        {0, qtString::npos, "concept"},
        {6, 1, "t"},
        {6, 100, "t"},
        {2, qtString::npos, "ncept"},
        {3, 0, ""},
        {7, 1, ""},
        {8, 1, ""},
        {1000, 5, ""},
        {7, qtString::npos, ""},
        {qtString::npos, 1, ""},
    };
    const qtString text("concept");

    for (const Substr_row& row : rows) {
        SCOPED_TRACE(std::to_string(row.position) + ", " + std::to_string(row.byte_count));
        EXPECT_EQ(text.substr(row.position, row.byte_count), row.expected);
    }
}

TEST(qtStringTest, PartOfAnEmptyTextIsEmpty) {
    EXPECT_EQ(qtString().substr(0), "");
}

TEST(qtStringTest, EqualTextsHaveTheSameHash) {
    const std::hash<qtString> hash;

    EXPECT_EQ(hash(qtString("concept")), hash(qtString("con") + "cept"));
    EXPECT_EQ(hash(qtString("a\0b", 3)), hash(qtString("a") + qtString("\0b", 2)));
}

TEST(qtStringTest, BytesAfterAZeroByteAreHashedToo) {
    const std::hash<qtString> hash;

    EXPECT_NE(hash(qtString("a\0b", 3)), hash(qtString("a\0c", 3)));
}

TEST(qtStringTest, TextCanBeAKeyOfAHashSet) {
    std::unordered_set<qtString> set;
    for (int byte = 0; byte <= UCHAR_MAX; ++byte) {
        set.insert(text_of_byte(byte));
    }

    EXPECT_EQ(set.size(), 256U);
    EXPECT_EQ(set.count(qtString("\0", 1)), 1U);
    EXPECT_EQ(set.count(""), 0U);
}

}  // namespace
