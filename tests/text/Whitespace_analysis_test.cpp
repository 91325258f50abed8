#include "text/analysis/Whitespace_analysis.h"

#include <string_view>

#include <gtest/gtest.h>

#include "tests/cli/analysed.h"

namespace zandrel::cli {

namespace {

TEST(WhitespaceAnalysisTest, OnlyAsciiWhiteSpaceSeparates) {
    const struct {
        std::string_view what;
        std::string_view text;
        std::string_view expected;
    } rows[] = {
        {"nothing", "", ""},
        {"white space alone", " \t\n\v\f\r", ""},
        {"each kind", "a b\tc\nd\ve\ff\rg", "a b c d e f g"},
        {"runs and ends", "  a \t b  ", "a b"},
        {"counts", "a b a", "a*2 b"},
        {"bytes stay", "Don't STOP don't", "Don't STOP don't"},
        {"no-break space does not split", "a\u00A0b", "a\u00A0b"},
        {"invalid UTF-8 stays", "\xFF\x80 \xFF", "\xFF \xFF\x80"},
    };

    Whitespace_analysis analysis;

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(analysed(analysis, row.text), row.expected);
    }
}

}  // namespace

}  // namespace zandrel::cli
