#include "text/wording/Shown_text.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using namespace std::string_view_literals;

TEST(ShownTextTest, SpecialCharactersAreShownOnOneLine) {
    const struct {
        std::string_view text;
        std::string_view shown;
    } rows[] = {
        {"", ""},
        {"goal \"x\" / \\", "goal \"x\" / \\"},
        {"Grüße, 東京 \U0001F600", "Grüße, 東京 \U0001F600"},
        {"a\nb\r\tc", "a\\x0Ab\\x0D\\x09c"},
        {"\0\x1B[31m\x7F"sv, "\\x00\\x1B[31m\\x7F"},
        {"\xC2\x85", "\\xC2\\x85"},             // U+0085, next line
        {"\xE2\x80\xA8.", "\\xE2\\x80\\xA8."},  // U+2028, line separator
        {"\xC2\x9B", "\\xC2\\x9B"},             // U+009B begins escape sequences, as ESC [ does
        {"\xE2\x80\xA9", "\\xE2\\x80\\xA9"},    // U+2029, paragraph separator
        {"a\xFF\xC3", "a\\xFF\\xC3"},           // not UTF-8
        {"\u200D", "\u200D"},                   // joins letters, and is kept
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.shown);
        EXPECT_EQ(shown_text(row.text), row.shown);
    }
}

TEST(ShownTextTest, BidirectionalControlsAreEscaped) {
    const struct {
        std::string_view text;
        std::string_view shown;
    } rows[] = {
        {"\u061C", "\\xD8\\x9C"},         {"\u200E", "\\xE2\\x80\\x8E"},
        {"\u200F", "\\xE2\\x80\\x8F"},    {"\u202A", "\\xE2\\x80\\xAA"},
        {"\u202E", "\\xE2\\x80\\xAE"},    {"\u2066", "\\xE2\\x81\\xA6"},
        {"\u2069", "\\xE2\\x81\\xA9"},    {"\u061B\u200D\u202F", "\u061B\u200D\u202F"},
        {"\u2065\u206A", "\u2065\u206A"}, {"\u05D0\u0628", "\u05D0\u0628"},  // letters are kept
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.shown);
        EXPECT_EQ(shown_text(row.text), row.shown);
    }
}

TEST(ShownTextTest, EscapedTextIsNotEscapedAgain) {
    EXPECT_EQ(shown_text(shown_text("a\n\xFF\u202E")), shown_text("a\n\xFF\u202E"));
}

TEST(ShownTextTest, LongTextIsCutInTheMiddle) {
    EXPECT_EQ(shortened("", 5), "");
    EXPECT_EQ(shortened("12345", 5), "12345");
    EXPECT_EQ(shortened("123456", 5), "12\u202656");
    EXPECT_EQ(shortened("1234567", 6), "123\u202667");
}

TEST(ShownTextTest, LongTextIsCutBetweenCharacters) {
    EXPECT_EQ(shortened("\u00E4\u00F6\u00FC\u00DF", 4), "\u00E4\u00F6\u00FC\u00DF");
    EXPECT_EQ(shortened("\u00E4\u00F6\u00FC\U0001F600\u00DF", 4), "\u00E4\u00F6\u2026\u00DF");
    EXPECT_EQ(shortened("\u00E4\u00F6\u00FC\u00DF\U0001F600", 3), "\u00E4\u2026\U0001F600");
}

TEST(ShownTextTest, ValuesAreCutSoonerThanFileNames) {
    const std::string value(kLongestValue, 'v');
    const std::string name(kLongestFileName, 'f');

    EXPECT_EQ(shown_value(value), value);
    EXPECT_EQ(shown_value(value + "v"), value.substr(0, 100) + "\u2026" + value.substr(0, 99));
    EXPECT_EQ(shown_file(name), name);
    EXPECT_EQ(shown_file(name + "f"), name.substr(0, 2048) + "\u2026" + name.substr(0, 2047));
}

TEST(ShownTextTest, ErrorsAndMessagesHaveALimit) {
    EXPECT_EQ(shown_complaint("bad\n'" + std::string(500, 'v') + "'"),
              "bad\\x0A'" + std::string(192, 'v') + "\u2026" + std::string(198, 'v') + "'");
    EXPECT_EQ(shown_message(std::string(kLongestMessage, 'v') + "w"),
              std::string(3000, 'v') + "\u2026" + std::string(2998, 'v') + "w");
}

TEST(ShownTextTest, BackslashPrecedesEachEscapedCharacter) {
    EXPECT_EQ(shown_text("a/b\\c\n/", "/\\"), "a\\/b\\\\c\\x0A\\/");
}

}  // namespace

}  // namespace zandrel::cli
