#include "text/analysis/Text_analysis.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/cli/analysed.h"

namespace zandrel::cli {

namespace {

TEST(TextAnalysisTest, SettingsChooseTheAnalysis) {
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

TEST(TextAnalysisTest, KindsHaveNames) {
    const struct {
        Analysis_kind kind;
        std::string_view name;
    } rows[] = {
        {Analysis_kind::kPhrases, "phrases"},
        {Analysis_kind::kWords, "words"},
        {Analysis_kind::kWhitespace, "whitespace"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(name_of(row.kind), row.name);
        EXPECT_EQ(analysis_kind(row.name), row.kind);
    }
    EXPECT_EQ(analysis_kind("Words"), std::nullopt);
    EXPECT_EQ(analysis_kind(""), std::nullopt);
}

TEST(TextAnalysisTest, UnknownLanguageIsRefused) {
    EXPECT_THROW(make_text_analysis({Analysis_kind::kPhrases, "klingon"}), std::invalid_argument);
    EXPECT_THROW(make_text_analysis({Analysis_kind::kWords, "klingon"}), std::invalid_argument);
}

}  // namespace

}  // namespace zandrel::cli
