#include "text/wording/Quoted_words.h"

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/errors.h"

namespace zandrel::cli {

namespace {

TEST(QuotedWordsTest, BlanksOutsideOfQuotesSeparateWords) {
    const struct {
        std::string_view line;
        std::vector<std::string> words;
    } rows[] = {
        {"", {}},
        {" \t ", {}},
        {"add root/x", {"add", "root/x"}},
        {"\tadd  root/x ", {"add", "root/x"}},
        {"'money back' \"a b\"", {"money back", "a b"}},
        {"root/'money back'/x", {"root/money back/x"}},
        {R"('say "a"' "it's")", {R"(say "a")", "it's"}},
        {R"('it'"'"'s')", {"it's"}},
        {"'' \"\"", {"", ""}},
        {R"(a\/b '\' "\\")", {R"(a\/b)", R"(\)", R"(\\)"}},
        {"#1 a#b", {"#1", "a#b"}},
        {std::string_view("a\0b\xFF", 4), {std::string("a\0b\xFF", 4)}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(quoted_words(row.line), row.words);
    }
}

TEST(QuotedWordsTest, OpenQuoteIsRefused) {
    for (const std::string_view line : {"'", "add 'a", R"(a"b c)", R"('a'"')",
                                        R"("a\")"
                                        "\""}) {
        SCOPED_TRACE(line);
        EXPECT_THROW(quoted_words(line), Usage_error);
    }
}

}  // namespace

}  // namespace zandrel::cli
