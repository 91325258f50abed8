#include "text/analysis/Phrase_analysis.h"

#include <string_view>

#include <gtest/gtest.h>

#include "tests/cli/analysed.h"

namespace zandrel::cli {

namespace {

TEST(PhraseAnalysisTest, TokensAndPairsOfNeighboursAreTaken) {
    const struct {
        std::string_view what;
        std::string_view text;
        std::string_view expected;  // as `analysed` shows it: in text order, with counts above 1
    } rows[] = {
        {"nothing", "", ""},
        {"separators alone", " \n", ""},
        {"no pair of one token", "Word", "word"},
        {"one sign", "!", "!"},
        {"two words", "new york", "new|new york|york"},
        {"order counts", "a b a", "a*2|a b|b|b a"},
        {"pairs are counted", "no no no", "no*3|no no*2"},
        {"words and signs", "Pay $1,299.99!!",
         "!*2|! !|$|$ 0|,|, 000|.|. 00|0|0 ,|00|00 !|000|000 .|pay|pay $"},
        {"whatever separates", "a\t \xFF\nb", "a|a b|b"},
        {"Han", "\u4E2D\u6587", "\u4E2D|\u4E2D \u6587|\u6587"},
        {"numbers of one length are alike", "7 \u0669", "0*2|0 0"},
    };

    Phrase_analysis analysis;

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(analysed(analysis, row.text, "|"), row.expected);
    }
}

TEST(PhraseAnalysisTest, PairsAreMadeOfStems) {
    Phrase_analysis analysis("english");

    EXPECT_EQ(analysed(analysis, "running runs", "|"), "run*2|run run");
}

TEST(PhraseAnalysisTest, FeederKeepsEarlierTextsWithoutPairsAcrossThem) {
    Phrase_analysis analysis;
    zeSml_feeder feeder;

    analysis.feed("one two", feeder);
    analysis.feed("two", feeder);

    EXPECT_EQ(shown(feeder, "|"), "one|one two|two*2");
}

}  // namespace

}  // namespace zandrel::cli
