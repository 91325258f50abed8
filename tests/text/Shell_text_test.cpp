#include "text/wording/Shell_text.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

TEST(ShellTextTest, TextIsQuotedOnOneLine) {
    const struct {
        std::string_view text;
        std::string_view word;
    } rows[] = {
        {"", "''"},
        {"a.kc", "'a.kc'"},
        {"my $HOME \\ \"x\".kc", "'my $HOME \\ \"x\".kc'"},
        {"it's", R"('it'\''s')"},
        {"Grüße", "'Grüße'"},
        {"a\n1's\\", R"($'a\0121\047s\134')"},
        {"\x1B[1m\xFF", R"($'\033[1m\377')"},
        {"ü\t", R"($'\303\274\011')"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.word);
        EXPECT_EQ(shell_text(row.text), row.word);
    }
}

}  // namespace

}  // namespace zandrel::cli
