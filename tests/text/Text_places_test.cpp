#include "text/analysis/Text_places.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/analysis/Text_analysis.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAreArray;

using Parts = std::vector<std::string>;

// Notes the texts of the concepts that an analysis adds, in their order.
class Noted_words : public Word_look_up {
public:
    void look_up(std::span<const std::string_view> texts, Concept*) override {
        noted.insert(noted.end(), texts.begin(), texts.end());
    }

    Parts noted;
};

Parts concepts_fed(Text_analysis& analysis, std::string_view text) {
    Noted_words words;
    zeSml_feeder feeder;
    analysis.feed_words(text, words, feeder);
    return words.noted;
}

Parts concepts_of(const Text_places& places) {
    Parts concepts;
    for (const Placed_concept& placed : places.concepts) {
        concepts.push_back(placed.concept_text);
    }
    return concepts;
}

Parts words_of(const Text_places& places, std::string_view text) {
    Parts words;
    for (const Text_range& word : places.words) {
        words.emplace_back(text.substr(word.begin, word.end - word.begin));
    }
    return words;
}

const Analysis_settings kAllSettings[] = {
    {Analysis_kind::kPhrases},           {Analysis_kind::kPhrases, "english"},
    {Analysis_kind::kPhrases, "arabic"}, {Analysis_kind::kWords},
    {Analysis_kind::kWords, "russian"},  {Analysis_kind::kWhitespace},
};

TEST(TextPlacesTest, WordsHaveTheirPlacesInTheText) {
    const struct {
        std::string_view what;
        Analysis_settings settings;
        std::string_view text;
        Parts words;
    } rows[] = {
        {"nothing", {}, "", {}},
        {"only separators", {}, " \t\n\x01 ", {}},
        {"ASCII with signs", {}, " Pay $1,299! ", {"Pay", "$", "1", ",", "299", "!"}},
        {"words leave signs out", {Analysis_kind::kWords}, "Pay $1,299!", {"Pay", "1", "299"}},
        {"white space", {Analysis_kind::kWhitespace}, "\tCaf\xE9 A!\n", {"Caf\xE9", "A!"}},
        {"one character becomes two", {}, "Die STRAßE!", {"Die", "STRAßE", "!"}},
        {"a ligature becomes two characters", {}, "a \uFB01ne b", {"a", "\uFB01ne", "b"}},
        {"a final ligature", {}, "o\uFB03 x", {"o\uFB03", "x"}},
        {"two characters become one", {}, "cafe\u0301s E\u0301", {"cafe\u0301s", "E\u0301"}},
        {"removed characters inside a word", {}, "co\u00ADop x", {"co\u00ADop", "x"}},
        {"a removed character before a word is not a part of it", {}, "\u00ADop", {"op"}},
        {"full width", {}, "\uFF21\uFF22 \uFF01", {"\uFF21\uFF22", "\uFF01"}},
        {"scripts without spaces", {}, "東京へ go", {"東", "京", "へ", "go"}},
        {"Greek, Cyrillic, Arabic", {}, "ΣΊΣΥΦΟΣ Мир سلام", {"ΣΊΣΥΦΟΣ", "Мир", "سلام"}},
        {"four bytes", {}, "a😀𝐁c", {"a", "😀", "𝐁c"}},
        {"stems cover the whole word",
         {Analysis_kind::kWords, "english"},
         "Running, runs",
         {"Running", "runs"}},
        {"bytes that are not UTF-8 separate",
         {},
         "a\xFF"
         "b\xC3 \xE2\x82z\x80",
         {"a", "b", "z"}},
        {"a zero byte separates", {}, {"a\0b", 3}, {"a", "b"}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const Text_places places = make_text_analysis(row.settings)->places(row.text);
        EXPECT_THAT(words_of(places, row.text), ElementsAreArray(row.words));
    }
}

TEST(TextPlacesTest, PairsCoverTwoWords) {
    const Text_places places = make_text_analysis({})->places("Un-do it");

    EXPECT_THAT(places.words, ElementsAreArray<Text_range>({{0, 2}, {2, 3}, {3, 5}, {6, 8}}));
    EXPECT_THAT(places.concepts, ElementsAreArray<Placed_concept>({{"un", 0, 1},
                                                                   {"-", 1, 1},
                                                                   {"do", 2, 1},
                                                                   {"it", 3, 1},
                                                                   {"un -", 0, 2},
                                                                   {"- do", 1, 2},
                                                                   {"do it", 2, 2}}));
}

TEST(TextPlacesTest, WordsOfOneCharacterHaveItsPlace) {
    const Text_places places = make_text_analysis({})->places("a ½");

    EXPECT_THAT(places.words, ElementsAreArray<Text_range>({{0, 1}, {2, 4}, {2, 4}, {2, 4}}));
    EXPECT_THAT(concepts_of(places), ElementsAreArray<std::string>(
                                         {"a", "0", "\u2044", "0", "a 0", "0 \u2044", "\u2044 0"}));
}

void expect_ordered(const std::vector<Text_range>& words, std::size_t text_size) {
    Text_range before;
    for (const Text_range& word : words) {
        ASSERT_LT(word.begin, word.end);
        ASSERT_LE(before.begin, word.begin);
        ASSERT_LE(before.end, word.end);
        before = word;
    }
    ASSERT_LE(before.end, text_size);
}

TEST(TextPlacesTest, LongRunsOfMarksKeepTheOrder) {
    std::string text = "x a";
    for (int i = 0; i < 100; ++i) {
        text += i % 2 == 0 ? "\u0301" : "\u0316";
    }
    text += " b";

    const Text_places places = make_text_analysis({})->places(text);

    EXPECT_THAT(places.words, ElementsAreArray<Text_range>({{0, 1}, {2, 203}, {204, 205}}));
}

// The pieces of which random texts are made: characters that folding changes, removes, joins or
// divides, characters of many scripts, separators, and bytes that are not UTF-8.
const std::vector<std::string> kPieces = {"a",        "Z",           "7",
                                          " ",        "  ",          "\n",
                                          "-",        "$",           "'",
                                          "ß",        "İ",           "ı",
                                          "ﬁ",        "ﬃ",           "½",
                                          "…",        "™",           "\u00AD",
                                          "\u200B",   "\u200D",      "é",
                                          "e\u0301",  "\u0301",      "\u0316",
                                          "\u0345",   "Σ",           "ς",
                                          "Ж",        "ё",           "ش",
                                          "ﷺ",        "\u0651",      "ก",
                                          "ำ",        "क",           "\u093F",
                                          "한",       "ᄒ",          "ᅡ",
                                          "ᆫ",       "東",          "か",
                                          "\u3099",   "ｶ",           "ﾞ",
                                          "㌀",       "①",           "😀",
                                          "👩\u200D🔬", "𝐁",           "\U0001D15E",
                                          "\uFFFD",   "\xFF",        "\xC3",
                                          "\xE2\x82", "\x80",        std::string(1, '\0'),
                                          "\u2028",   "\uFEFF",      "\u00A0",
                                          "running",  "беспокойства"};

std::string random_text(std::mt19937& generator) {
    std::string text;
    const std::size_t count = generator() % 12;
    for (std::size_t i = 0; i < count; ++i) {
        text += kPieces[generator() % kPieces.size()];
    }
    return text;
}

TEST(TextPlacesTest, ConceptsAreThoseOfTheAnalysisInTheSameOrder) {
    for (const Analysis_settings& settings : kAllSettings) {
        SCOPED_TRACE(std::string(name_of(settings.kind)) + " " + settings.stem_language);
        const std::unique_ptr<Text_analysis> analysis = make_text_analysis(settings);
        std::mt19937 generator(1);
        for (int i = 0; i < 3000; ++i) {
            const std::string text = random_text(generator);
            SCOPED_TRACE(testing::PrintToString(text));

            const Text_places places = analysis->places(text);

            ASSERT_EQ(concepts_of(places), concepts_fed(*analysis, text));
            expect_ordered(places.words, text.size());
        }
    }
}

// Returns whether no other word has a part of the place of a word.
bool is_separate(const std::vector<Text_range>& words, std::size_t index) {
    return (index == 0 || words[index - 1].end <= words[index].begin) &&
           (index + 1 == words.size() || words[index].end <= words[index + 1].begin);
}

// The second way to the place of a word: its bytes, as a text, are this word.
TEST(TextPlacesTest, PlaceOfAWordIsATextOfThisWord) {
    std::size_t checked = 0;
    for (const Analysis_settings& settings : kAllSettings) {
        SCOPED_TRACE(std::string(name_of(settings.kind)) + " " + settings.stem_language);
        const std::unique_ptr<Text_analysis> analysis = make_text_analysis(settings);
        std::mt19937 generator(2);
        for (int i = 0; i < 2000; ++i) {
            const std::string text = random_text(generator);
            SCOPED_TRACE(testing::PrintToString(text));
            const Text_places places = analysis->places(text);
            const Parts words = words_of(places, text);
            for (std::size_t k = 0; k < words.size(); ++k) {
                if (is_separate(places.words, k)) {
                    ASSERT_EQ(analysis->whole_concept(words[k]), places.concepts[k].concept_text);
                    ++checked;
                }
            }
        }
    }
    EXPECT_GT(checked, 20000U);
}

}  // namespace

}  // namespace zandrel::cli
