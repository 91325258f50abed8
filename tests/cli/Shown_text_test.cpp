#include "cli/text/Shown_text.h"

#include <string_view>

#include <gtest/gtest.h>

namespace cli {

namespace {

using namespace std::string_view_literals;

TEST(ShownTextTest, KeepsATextOnItsLine) {
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
        {"a\xFF\xC3", "a\\xFF\\xC3"},           // no UTF-8
        {"\u200D", "\u200D"},                   // joins letters, and stays
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.shown);
        EXPECT_EQ(shown_text(row.text), row.shown);
    }
}

TEST(ShownTextTest, PutsABackslashBeforeWhatIsToBeEscaped) {
    EXPECT_EQ(shown_text("a/b\\c\n/", "/\\"), "a\\/b\\\\c\\x0A\\/");
}

}  // namespace

}  // namespace cli
