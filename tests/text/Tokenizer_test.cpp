#include "text/analysis/Tokenizer.h"

#include <cstddef>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

using Tokens = std::vector<std::string>;

struct Row {
    std::string_view what;
    std::string_view text;
    Tokens tokens;
};

Tokens tokens_of(Tokenizer& tokenizer, std::string_view text) {
    Tokens tokens;
    tokenizer.cut(text);
    for (std::size_t i = 0; i < tokenizer.token_count(); ++i) {
        tokens.emplace_back(tokenizer.token(i));
    }
    return tokens;
}

void expect_rows(const std::vector<Row>& rows, const std::string& stem_language = {}) {
    Tokenizer tokenizer(Token_style::kWordsAndSigns, stem_language);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_THAT(tokens_of(tokenizer, row.text), ElementsAreArray(row.tokens));
    }
}

TEST(TokenizerTest, EachSignIsAToken) {
    expect_rows({
        {"nothing", "", {}},
        {"only separators", " \t\r\n\x7F\x01\u00A0\u3000", {}},
        {"apostrophe", "Don't", {"don", "'", "t"}},
        {"signs in a row", "?!...", {"?", "!", ".", ".", "."}},
        {"underscore is punctuation", "snake_case", {"snake", "_", "case"}},
        {"ASCII symbols", "$+<=>^`|~", {"$", "+", "<", "=", ">", "^", "`", "|", "~"}},
        {"ASCII punctuation before the digits",
         "!\"#%&'()*,-./",
         {"!", "\"", "#", "%", "&", "'", "(", ")", "*", ",", "-", ".", "/"}},
        {"ASCII punctuation behind the digits",
         ":;?@[\\]_{}",
         {":", ";", "?", "@", "[", "\\", "]", "_", "{", "}"}},
        {"other punctuation and symbols",
         "\u00ABa\u00BB \u20AC\u2014",
         {"\u00AB", "a", "\u00BB", "\u20AC", "\u2014"}},
        {"emoji", "ok\U0001F44Dfine\U0001F600", {"ok", "\U0001F44D", "fine", "\U0001F600"}},
        {"the joiner in an emoji is removed",
         "\U0001F468\U0001F3FD\u200D\U0001F4BB",
         {"\U0001F468", "\U0001F3FD", "\U0001F4BB"}},
        {"Chinese full stop", "\u4E2D\u3002", {"\u4E2D", "\u3002"}},
    });
}

TEST(TokenizerTest, EachDecimalDigitBecomesZero) {
    expect_rows({
        {"all of ASCII", "0123456789", {"0000000000"}},
        {"in a word", "B2B mp3", {"b0b", "mp0"}},
        {"Arabic-Indic", "x\u0661\u0669", {"x00"}},
        {"Devanagari", "\u0967\u0968", {"00"}},
        {"digits beyond the first plane", "\U0001E951", {"0"}},
        {"full width", "\uFF11\uFF12", {"00"}},
        {"superscript folds to a digit", "m\u00B2", {"m0"}},
        {"fraction folds to digits and a slash", "\u00BD", {"0", "\u2044", "0"}},
        {"number that is no digit stays", "\u0BF0", {"\u0BF0"}},
    });
}

TEST(TokenizerTest, MarksInWordsAreKept) {
    expect_rows({
        {"composes", "cafe\u0301", {"caf\u00E9"}},
        {"composes with nothing", "x\u0301y", {"x\u0301y"}},
        {"a sign does not take it", "!\u0301a", {"!", "\u0301a"}},
        {"on a digit", "1\u20E3", {"0\u20E3"}},
    });
}

TEST(TokenizerTest, CharactersOfUnspacedScriptsAreSingleTokens) {
    expect_rows({
        {"Han", "\u4E2D\u6587", {"\u4E2D", "\u6587"}},
        {"Han between words", "go\u4E2Dto", {"go", "\u4E2D", "to"}},
        {"Hiragana and Katakana", "\u3042\u30A2", {"\u3042", "\u30A2"}},
        {"Hangul writes spaces", "\uD55C\uAD6D \uC5B4", {"\uD55C\uAD6D", "\uC5B4"}},
    });
}

TEST(TokenizerTest, InvalidUtf8SeparatesAndIsNoToken) {
    expect_rows({
        {"byte that starts nothing",
         "a\xFF"
         "b",
         {"a", "b"}},
        {"beside signs", "\x80!\xFF?", {"!", "?"}},
        {"cut off at the end", "word\xE4\xB8", {"word"}},
        {"overlong slash",
         "a\xC0\xAF"
         "b",
         {"a", "b"}},
        {"surrogate",
         "a\xED\xA0\x80"
         "b",
         {"a", "b"}},
        {"nothing else", "\xFF\xFE", {}},
        {"replacement character itself",
         "a\uFFFD"
         "b",
         {"a", "b"}},
    });
}

TEST(TokenizerTest, WordsLeaveOutSignsAndKeepDigits) {
    Tokenizer tokenizer(Token_style::kWords, "");

    EXPECT_THAT(tokens_of(tokenizer, "Pay $1,299 \u20AC\u0661\u4E2D"),
                ElementsAre("pay", "1", "299", "\u0661", "\u4E2D"));
}

TEST(TokenizerTest, NeighboursAreJoinedByOneBlank) {
    Tokenizer tokenizer(Token_style::kWordsAndSigns, "");

    tokenizer.cut("(a,\n \xFF b");

    ASSERT_EQ(tokenizer.token_count(), 4U);
    EXPECT_EQ(tokenizer.pair(0), "( a");
    EXPECT_EQ(tokenizer.pair(1), "a ,");
    EXPECT_EQ(tokenizer.pair(2), ", b");
}

TEST(TokenizerTest, OnlyWordsAreStemmed) {
    expect_rows(
        {
            {"words", "Running, runs!", {"run", ",", "run", "!"}},
            {"last word", "runs", {"run"}},
            {"word before an unspaced character", "runs\u4E2D", {"run", "\u4E2D"}},
            {"digits are zero before", "7ings", {"0ing"}},
        },
        "english");
}

TEST(TokenizerTest, StemsMayBeLongerThanTheirWords) {
    // In Latin script the Serbian letter dzhe, two bytes, becomes d and z with caron, three bytes.
    expect_rows({{"Serbian", "aa\u045F bb", {"aad\u017E", "bb"}}}, "serbian");
}

// ASCII text has a fast path of its own. A character at the end that is not ASCII makes the
// tokenizer use the general path. Both must give the same tokens before that character.
TEST(TokenizerTest, AsciiTextGivesTheSameTokensAsInOtherTexts) {
    for (const Token_style style : {Token_style::kWords, Token_style::kWordsAndSigns}) {
        Tokenizer tokenizer(style, "");
        std::mt19937 random(5);
        for (int i = 0; i < 3000; ++i) {
            std::string text;
            for (std::size_t length = random() % 30; length > 0; --length) {
                const bool is_common = random() % 2 == 0;
                text += is_common ? "aZ 9."[random() % 5] : static_cast<char>(random() % 128);
            }
            Tokens expected = tokens_of(tokenizer, text + " \u00E9");
            ASSERT_FALSE(expected.empty());
            ASSERT_EQ(expected.back(), "\u00E9");
            expected.pop_back();
            ASSERT_EQ(tokens_of(tokenizer, text), expected) << text;
        }
    }
}

TEST(TokenizerTest, UnknownLanguageIsRefused) {
    EXPECT_THROW(Tokenizer(Token_style::kWords, "klingon"), std::invalid_argument);
}

}  // namespace

}  // namespace zandrel::cli
