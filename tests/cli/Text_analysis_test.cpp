#include "cli/text/Text_analysis.h"

#include <memory>
#include <stdexcept>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/cli/analysed.h"

namespace cli {

namespace {

TEST(TextAnalysisTest, IsMadeBySettings) {
    const struct {
        std::string_view what;
        Analysis_settings settings;
        std::string_view expected;
    } rows[] = {
        {"phrases unless told otherwise", {}, "!|0|0 !|runs|runs 0"},
        {"phrases", {Analysis_kind::kPhrases}, "!|0|0 !|runs|runs 0"},
        {"phrases of stems", {Analysis_kind::kPhrases, "english"}, "!|0|0 !|run|run 0"},
        {"words", {Analysis_kind::kWords}, "7|runs"},
        {"stems of words", {Analysis_kind::kWords, "english"}, "7|run"},
        {"white space", {Analysis_kind::kWhitespace}, "7!|Runs"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const std::unique_ptr<Text_analysis> analysis = make_text_analysis(row.settings);
        EXPECT_EQ(analysed(*analysis, "Runs 7!", "|"), row.expected);
    }
}

TEST(TextAnalysisTest, IsRefusedForUnknownLanguage) {
    EXPECT_THROW(make_text_analysis({Analysis_kind::kPhrases, "klingon"}), std::invalid_argument);
    EXPECT_THROW(make_text_analysis({Analysis_kind::kWords, "klingon"}), std::invalid_argument);
}

}  // namespace

}  // namespace cli
