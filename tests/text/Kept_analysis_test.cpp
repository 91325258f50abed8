#include "text/kc/Kept_analysis.h"

#include <string>

#include <gtest/gtest.h>

#include "zandrel/persistence/zeConfig.h"

#include "text/errors.h"

namespace zandrel::cli {

namespace {

zeConfig config_of(const Analysis_settings& settings) {
    zeConfig config;
    keep_analysis(settings, config);
    return config;
}

template <class Error>
std::string error_of(const zeConfig& config, const Given_analysis& given) {
    try {
        agreed_analysis("a.kc", config, given);
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

TEST(KeptAnalysisTest, KeptAnalysisIsReadBack) {
    const Analysis_settings rows[] = {
        {Analysis_kind::kPhrases, ""},
        {Analysis_kind::kPhrases, "english"},
        {Analysis_kind::kWords, "german"},
        {Analysis_kind::kWhitespace, ""},
    };

    for (const Analysis_settings& row : rows) {
        SCOPED_TRACE(name_of(row.kind) + (" " + row.stem_language));
        const auto kept = kept_analysis("a.kc", config_of(row));
        ASSERT_TRUE(kept.has_value());
        EXPECT_EQ(kept->kind, row.kind);
        EXPECT_EQ(kept->stem_language, row.stem_language);
    }
}

TEST(KeptAnalysisTest, KeepingReplacesThePreviousAnalysis) {
    zeConfig config = config_of({Analysis_kind::kPhrases, "english"});
    keep_analysis({Analysis_kind::kWords, ""}, config);

    EXPECT_EQ(kept_analysis("a.kc", config)->kind, Analysis_kind::kWords);
    EXPECT_EQ(kept_analysis("a.kc", config)->stem_language, "");
}

TEST(KeptAnalysisTest, AnalysisIsKeptInTwoOptionalSettings) {
    const zeConfig config = config_of({Analysis_kind::kWords, "english"});

    EXPECT_EQ(config.get_optional("zandrel.analysis")->str(), "words");
    EXPECT_EQ(config.get_optional("zandrel.stem")->str(), "english");
    EXPECT_EQ(config_of({Analysis_kind::kWords, ""}).get_optional("zandrel.stem"), nullptr);
}

TEST(KeptAnalysisTest, UnknownAnalysisIsRefused) {
    zeConfig config;
    config.set_optional("zandrel.analysis", "letters");
    EXPECT_EQ(error_of<Data_error>(config, {}), "a.kc: unknown text analysis \"letters\"");
    config.set_optional("zandrel.analysis", "words");
    config.set_optional("zandrel.stem", "klingon");
    EXPECT_EQ(error_of<Data_error>(config, {}), "a.kc: unknown language to stem \"klingon\"");
}

TEST(KeptAnalysisTest, KeptAnalysisIsUsedIfNothingOrTheSameIsGiven) {
    const zeConfig config = config_of({Analysis_kind::kWords, "english"});
    const Given_analysis rows[] = {
        {},
        {Analysis_kind::kWords, ""},
        {std::nullopt, "english"},
        {Analysis_kind::kWords, "english"},
    };

    for (const Given_analysis& row : rows) {
        const Analysis_settings agreed = agreed_analysis("a.kc", config, row);
        EXPECT_EQ(agreed.kind, Analysis_kind::kWords);
        EXPECT_EQ(agreed.stem_language, "english");
    }
}

TEST(KeptAnalysisTest, AnotherAnalysisIsRefused) {
    const struct {
        Analysis_settings kept;
        Given_analysis given;
        std::string error;
    } rows[] = {
        {{Analysis_kind::kWords, ""},
         {Analysis_kind::kPhrases, ""},
         "--analysis phrases: a.kc was made with --analysis words"},
        {{Analysis_kind::kWords, "german"},
         {std::nullopt, "english"},
         "--stem english: a.kc was made with --stem german"},
        {{Analysis_kind::kWhitespace, ""},
         {std::nullopt, "english"},
         "--stem english: a.kc was made with no --stem"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.error);
        EXPECT_EQ(error_of<Usage_error>(config_of(row.kept), row.given), row.error);
    }
}

TEST(KeptAnalysisTest, GivenAnalysisIsUsedIfNothingIsKept) {
    const Analysis_settings agreed =
        agreed_analysis("a.kc", zeConfig(), {Analysis_kind::kWords, "english"});

    EXPECT_EQ(agreed.kind, Analysis_kind::kWords);
    EXPECT_EQ(agreed.stem_language, "english");
}

TEST(KeptAnalysisTest, AnalysisMustBeGivenIfNothingIsKept) {
    const std::string error =
        "a.kc: it does not say how its texts were analysed; --analysis tells it";

    EXPECT_EQ(error_of<Data_error>(zeConfig(), {}), error);
    EXPECT_EQ(error_of<Data_error>(zeConfig(), {std::nullopt, "english"}), error);
}

}  // namespace

}  // namespace zandrel::cli
