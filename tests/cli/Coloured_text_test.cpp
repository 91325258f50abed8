#include "cli/classify/Coloured_text.h"

#include <cstddef>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "text/analysis/Text_analysis.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

Word_effect word_at(std::size_t begin, std::size_t end, double log_odds_adds) {
    return {{begin, end}, 0.0, log_odds_adds, true};
}

TEST(ColouredTextTest, StepsDependOnTheStrongestWord) {
    // The limits for 1.5 are 1, 0.5 and 0.125.
    const std::vector<Word_effect> words = {
        word_at(0, 1, 1.5),   word_at(2, 3, 1.0),     word_at(4, 5, 0.875),   word_at(6, 7, 0.5),
        word_at(8, 9, 0.375), word_at(10, 11, 0.125), word_at(12, 13, 0.0625)};

    EXPECT_EQ(coloured_text("a b c d e f g!", words, Palette::k16),
              "\x1B[1;36ma\x1B[0m \x1B[1;36mb\x1B[0m \x1B[36mc\x1B[0m \x1B[36md\x1B[0m "
              "\x1B[32me\x1B[0m \x1B[32mf\x1B[0m g!");
}

TEST(ColouredTextTest, WordsAgainstTheLabelHaveOtherColours) {
    const std::vector<Word_effect> words = {word_at(0, 1, -1.5), word_at(2, 3, 0.5),
                                            word_at(4, 5, -0.5), word_at(6, 7, -0.125)};

    EXPECT_EQ(coloured_text("a b c d", words, Palette::k256),
              "\x1B[1;38;5;196ma\x1B[0m \x1B[38;5;37mb\x1B[0m \x1B[38;5;208mc\x1B[0m "
              "\x1B[38;5;173md\x1B[0m");
    EXPECT_EQ(coloured_text("a b c d", words, Palette::k16),
              "\x1B[1;31ma\x1B[0m \x1B[36mb\x1B[0m \x1B[31mc\x1B[0m \x1B[33md\x1B[0m");
}

TEST(ColouredTextTest, UnknownWordsAreDim) {
    EXPECT_EQ(coloured_text("a b", {word_at(0, 1, 0.0), {{2, 3}, 0.0, 0.0, false}}, Palette::k256),
              "a \x1B[2mb\x1B[0m");
}

TEST(ColouredTextTest, TinyEffectsHaveNoColour) {
    EXPECT_EQ(coloured_text("a b", {word_at(0, 1, 0.0099), word_at(2, 3, -0.001)}, Palette::k16),
              "a b");
    EXPECT_EQ(coloured_text("a b", {word_at(0, 1, 0.01), word_at(2, 3, 0.0)}, Palette::k16),
              "\x1B[1;36ma\x1B[0m b");
}

TEST(ColouredTextTest, NoPaletteGivesTheShownText) {
    EXPECT_EQ(coloured_text("a\tb", {word_at(0, 1, 1.0)}, Palette::kNone), "a\\x09b");
}

TEST(ColouredTextTest, ControlCharactersOfTheTextAreEscaped) {
    EXPECT_EQ(coloured_text("\x1B[2Ja\u202E\xFF", {word_at(3, 4, 1.0)}, Palette::k16),
              "\\x1B[2\x1B[1;36mJ\x1B[0ma\\xE2\\x80\\xAE\\xFF");
}

TEST(ColouredTextTest, AnyBytesWithoutTheColoursAreTheShownText) {
    const std::vector<std::string> pieces = {
        "a",  "goal",   " ",        "\x1B[31m", "\x9B", "\u009B1m", "½",      "é", "e\u0301",
        "東", "\u202E", "\xE2\x80", "\xFF",     "\n",   "\u2028",   "\u00AD", "!"};
    const std::regex colours("\x1B\\[[0-9;]*m");
    std::mt19937 generator(3);
    for (const Analysis_kind kind : kAnalysisKinds) {
        const std::unique_ptr<Text_analysis> analysis = make_text_analysis({kind});
        for (int i = 0; i < 1000; ++i) {
            std::string text;
            for (std::size_t left = generator() % 10; left > 0; --left) {
                text += pieces[generator() % pieces.size()];
            }
            SCOPED_TRACE(testing::PrintToString(text));
            std::vector<Concept_effect> effects;
            const Text_places places = analysis->places(text);
            for (const Placed_concept& placed : places.concepts) {
                effects.push_back({placed.concept_text, 0.0, generator() % 4 != 0,
                                   static_cast<double>(generator() % 7) - 3.0});
            }

            const std::string line =
                coloured_text(text, word_effects(places, effects), Palette::k256);

            ASSERT_EQ(std::regex_replace(line, colours, ""), shown_text(text));
        }
    }
}

}  // namespace

}  // namespace zandrel::cli
