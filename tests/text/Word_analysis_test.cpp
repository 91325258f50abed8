#include "text/analysis/Word_analysis.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/cli/analysed.h"

namespace zandrel::cli {

namespace {

struct Word_row {
    std::string_view what;
    std::string_view text;
    std::string_view expected;  // as `analysed` shows it: in text order, with counts above 1
};

template <std::size_t kCount>
void expect_rows(const Word_row (&rows)[kCount]) {
    Word_analysis analysis;
    for (const Word_row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(analysed(analysis, row.text), row.expected);
    }
}

TEST(WordAnalysisTest, RunsOfLettersMarksAndNumbersAreWords) {
    const Word_row rows[] = {
        {"nothing", "", ""},
        {"only separators", " \t.,:;!?-", ""},
        {"one letter", "a", "a"},
        {"everything else separates", "Don't pay $1,299.99!!", "1 299 99 don pay t"},
        {"letters and digits make one word", "B2B mp3", "b2b mp3"},
        {"underscore is punctuation", "snake_case", "case snake"},
        {"symbols separate", "a+b=c", "a b c"},
        {"zero byte", std::string_view("a\0b", 3), "a b"},
        {"Arabic-Indic digits are numbers", "x\u0661\u0662", "x\u0661\u0662"},
        {"emoji", "ok\U0001F44Dfine\U0001F600", "fine ok"},
        {"emoji with skin tone and joiner",
         "a\U0001F468\U0001F3FD\u200D\U0001F4BB"
         "b",
         "a b"},
        {"no-break space", "a\u00A0b", "a b"},
        {"separator at both ends", "(word)", "word"},
    };

    expect_rows(rows);
}

TEST(WordAnalysisTest, SpellingsOfOneWordAreFolded) {
    const Word_row rows[] = {
        {"case", "Hello HELLO hello", "hello*3"},
        {"sharp s", "Straße STRASSE", "strasse*2"},
        {"ligature", "\uFB01ne fine", "fine*2"},
        {"full width", "\uFF21\uFF22\uFF11\uFF12 ab12", "ab12*2"},
        {"composed and combining accent", "caf\u00E9 cafe\u0301", "caf\u00E9*2"},
        {"accents are kept", "cafe caf\u00E9", "cafe caf\u00E9"},
        {"mark that composes with nothing stays in its word", "x\u0301y", "x\u0301y"},
        {"final sigma", "\u03A3\u039F\u03A6\u039F\u03A3 \u03C3\u03BF\u03C6\u03BF\u03C2",
         "\u03C3\u03BF\u03C6\u03BF\u03C3*2"},
        {"soft hyphen is removed", "Haus\u00ADtür Haustür", "haustür*2"},
        {"Roman numeral", "\u2167 viii", "viii*2"},
        {"fraction: its slash separates", "\u00BD", "1 2"},
        {"superscript", "m\u00B2 m2", "m2*2"},
    };

    expect_rows(rows);
}

TEST(WordAnalysisTest, CharactersOfUnspacedScriptsAreSingleWords) {
    const Word_row rows[] = {
        {"Han", "\u4E2D\u6587\u4E2D", "\u4E2D*2 \u6587"},
        {"Han beyond the first plane", "\U00020000\U00020001", "\U00020000 \U00020001"},
        {"Hiragana", "\u3042\u3044", "\u3042 \u3044"},
        {"Katakana", "\u30A2\u30A4", "\u30A2 \u30A4"},
        {"half width Katakana folds", "\uFF71\u30A2", "\u30A2*2"},
        {"between other words", "go\u4E2Dto", "go to \u4E2D"},
        {"iteration mark of Han", "\u4EBA\u3005", "\u3005 \u4EBA"},
        {"length mark belongs to two scripts, so it is a letter", "\u30E9\u30FC\u30E1",
         "\u30E1 \u30E9 \u30FC"},
        {"Hangul writes spaces", "\uD55C\uAD6D\uC5B4", "\uD55C\uAD6D\uC5B4"},
        {"Chinese full stop", "\u4E2D\u3002\u6587", "\u4E2D \u6587"},
    };

    expect_rows(rows);
}

TEST(WordAnalysisTest, InvalidUtf8Separates) {
    const Word_row rows[] = {
        {"byte that starts nothing",
         "a\xFF"
         "b",
         "a b"},
        {"continuation byte alone",
         "a\x80"
         "b",
         "a b"},
        {"cut off at the end", "word\xE4\xB8", "word"},
        {"cut off before a letter",
         "\xC3"
         "A",
         "a"},
        {"overlong slash",
         "a\xC0\xAF"
         "b",
         "a b"},
        {"surrogate",
         "a\xED\xA0\x80"
         "b",
         "a b"},
        {"folding goes on behind it", "\xFF\xC3\x89T\xC3\x89", "\u00E9t\u00E9"},
        {"replacement character itself",
         "a\uFFFD"
         "b",
         "a b"},
    };

    expect_rows(rows);
}

TEST(WordAnalysisTest, StemsOfWordsAreTakenIfRequested) {
    Word_analysis analysis("english");

    EXPECT_EQ(analysed(analysis, "running, runs: they walked"), "run*2 they walk");
}

TEST(WordAnalysisTest, FeederKeepsEarlierConcepts) {
    Word_analysis analysis;
    zeSml_feeder feeder;

    analysis.feed("one two", feeder);
    analysis.feed("two three", feeder);

    EXPECT_EQ(shown(feeder), "one three two*2");
}

}  // namespace

}  // namespace zandrel::cli
