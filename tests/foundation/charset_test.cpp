#include "zandrel/foundation/charset.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"

namespace {

std::string converted(const char* to, std::string_view text, const char* from) {
    return ConvertCharset2Charset(to, text, from).str();
}

// In ISO-8859-1 each byte is the character with the same number.
TEST(CharsetTest, OneByteBecomesTwo) {
    EXPECT_EQ(to_hex(converted("UTF-8", "caf\xE9", "ISO-8859-1")), "63 61 66 c3 a9");
}

TEST(CharsetTest, TwoBytesBecomeOne) {
    EXPECT_EQ(to_hex(converted("ISO-8859-1", "caf\xC3\xA9", "UTF-8")), "63 61 66 e9");
}

TEST(CharsetTest, EmptyTextStaysEmpty) {
    EXPECT_EQ(converted("UTF-8", "", "ISO-8859-1"), "");
}

TEST(CharsetTest, ZeroBytesAreConverted) {
    const std::string_view text("a\0\xE9\0", 4);

    EXPECT_EQ(to_hex(converted("UTF-8", text, "ISO-8859-1")), "61 00 c3 a9 00");
}

TEST(CharsetTest, EachByteOfACharsetIsConvertedBack) {
    std::string text;
    for (unsigned int byte = 0; byte < 256; ++byte) {
        text += static_cast<char>(byte);
    }

    const std::string utf8 = converted("UTF-8", text, "ISO-8859-1");

    EXPECT_EQ(utf8.size(), 128U + 2 * 128U);
    EXPECT_EQ(to_hex(converted("ISO-8859-1", utf8, "UTF-8")), to_hex(text));
}

TEST(CharsetTest, LongTextGetsEnoughRoom) {
    std::string expected;
    for (unsigned int count = 0; count < 100000; ++count) {
        expected += "\xC3\xA9";
    }

    EXPECT_TRUE(converted("UTF-8", std::string(100000, '\xE9'), "ISO-8859-1") == expected);
}

// An escape sequence switches to a charset in which the character has two bytes, and another one
// switches back to ASCII.
TEST(CharsetTest, TextEndsInTheFirstStateOfItsCharset) {
    EXPECT_EQ(to_hex(converted("ISO-2022-JP", "\xE3\x81\x82", "UTF-8")), "1b 24 42 24 22 1b 28 42");
}

TEST(CharsetTest, NearestCharacterIsUsedIfRequested) {
    EXPECT_EQ(converted("ASCII//TRANSLIT",
                        "1\xE2\x80\x93"
                        "2",
                        "UTF-8"),
              "1-2");
}

TEST(CharsetTest, UnknownCharsetIsRefused) {
    EXPECT_TRUE(raises<qtXbase>([] { converted("UTF-8", "a", "no charset"); }, 0,
                                "Cannot convert from charset no charset to UTF-8",
                                std::vector<qtString>{"no charset", "UTF-8"}));
    EXPECT_QTXBASE(converted("no charset", "a", "UTF-8"),
                   "Cannot convert from charset UTF-8 to no charset");
}

TEST(CharsetTest, EmptyNameForTheLocalesCharsetIsRefused) {
    EXPECT_QTXBASE(converted("UTF-8", "a", ""), "Cannot convert from charset  to UTF-8");
    EXPECT_QTXBASE(converted("//TRANSLIT", "a", "UTF-8"),
                   "Cannot convert from charset UTF-8 to //TRANSLIT");
    EXPECT_QTXBASE(converted("UTF-8", "a", nullptr), "Cannot convert from charset  to UTF-8");
    EXPECT_QTXBASE(converted(nullptr, "a", "UTF-8"), "Cannot convert from charset UTF-8 to ");
}

TEST(CharsetTest, TextThatCannotBeConvertedIsRefused) {
    const struct {
        const char* what;
        const char* to;
        const char* text;
        const char* from;
    } rows[] = {
        {"a byte that begins no character", "ISO-8859-1", "a\xFFz", "UTF-8"},
        {"a character that is not complete", "ISO-8859-1", "a\xC3", "UTF-8"},
        {"a character that is cut by another", "ISO-8859-1", "a\xC3z", "UTF-8"},
        {"a character that the charset lacks", "ISO-8859-1", "\xE2\x82\xAC", "UTF-8"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_QTXBASE(converted(row.to, row.text, row.from),
                       "Cannot convert text: " + std::string(row.text));
    }
}

TEST(CharsetTest, ErrorNamesTextAndCharsets) {
    EXPECT_TRUE(raises<qtXbase>([] { converted("ASCII", "\xE9", "ISO-8859-1"); }, 0,
                                "Cannot convert text: \xE9",
                                std::vector<qtString>{"\xE9", "ISO-8859-1", "ASCII"}));
}

}  // namespace
