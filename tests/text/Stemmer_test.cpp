#include "text/analysis/Stemmer.h"

#include <stdexcept>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

TEST(StemmerTest, EndingsAreRemovedByTheLanguagesRules) {
    const struct {
        std::string language;
        std::string_view word;
        std::string_view stem;
    } rows[] = {
        {"english", "running", "run"},    {"english", "runs", "run"},
        {"english", "run", "run"},        {"english", "0", "0"},
        {"german", "häuser", "haus"},     {"german", "haus", "haus"},
        {"german", "running", "running"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.language + " " + std::string(row.word));
        EXPECT_EQ(Stemmer(row.language).stem(row.word), row.stem);
    }
}

TEST(StemmerTest, WordIsKeptIfTheRulesWouldRemoveAllOfIt) {
    Stemmer stemmer("porter");

    EXPECT_EQ(stemmer.stem("s"), "s");
    EXPECT_EQ(stemmer.stem("as"), "a");
}

TEST(StemmerTest, RunsTooLongForWordsAreKept) {
    Stemmer stemmer("english");
    const std::string beginning(997, 'o');

    EXPECT_EQ(stemmer.stem(beginning + "ing"), beginning);
    EXPECT_EQ(stemmer.stem(beginning + "oing"), beginning + "oing");
}

TEST(StemmerTest, UnknownLanguageIsRefused) {
    EXPECT_THROW(Stemmer("klingon"), std::invalid_argument);
    EXPECT_THROW(Stemmer(""), std::invalid_argument);
}

TEST(StemmerTest, EachListedLanguageIsKnown) {
    EXPECT_THAT(stem_languages(), testing::IsSupersetOf({"english", "french", "german"}));
    for (const std::string& language : stem_languages()) {
        EXPECT_NO_THROW(Stemmer{language}) << language;
    }
}

}  // namespace

}  // namespace zandrel::cli
