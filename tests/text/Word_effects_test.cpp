#include "text/model/Word_effects.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/analysis/Text_analysis.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

Text_places places_in(const std::string& text) {
    return make_text_analysis({})->places(text);
}

TEST(WordEffectsTest, EffectsAreDividedAmongAllWordsOfAConcept) {
    const std::vector<Word_effect> words =
        word_effects(places_in("no no way"), {{"no", 0.5, true, 5.0},
                                              {"no no", 0.25, true, 1.0},
                                              {"no way", 0.5, true, -1.0},
                                              {"way", 0.0, true, 0.5}});

    EXPECT_THAT(words, ElementsAre(Word_effect{{0, 2}, 0.375, 3.0, true},
                                   Word_effect{{3, 5}, 0.625, 2.5, true},
                                   Word_effect{{6, 9}, 0.25, 0.0, true}));
}

TEST(WordEffectsTest, WordIsKnownIfAConceptWithItIsKnown) {
    const std::vector<Word_effect> words =
        word_effects(places_in("a b c"),
                     {{"a", 0.0, false}, {"b", 0.0, false}, {"a b", 0.0, true}, {"c", 0.0, false}});

    EXPECT_THAT(
        words, ElementsAre(Word_effect{{0, 1}, 0.0, 0.0, true}, Word_effect{{2, 3}, 0.0, 0.0, true},
                           Word_effect{{4, 5}, 0.0, 0.0, false}));
}

TEST(WordEffectsTest, ConceptsWithoutAnEffectAreUnknown) {
    EXPECT_THAT(
        word_effects(places_in("a b"), {{"b", 0.5, true, 1.0}}),
        ElementsAre(Word_effect{{0, 1}, 0.0, 0.0, false}, Word_effect{{2, 3}, 0.5, 1.0, true}));
}

// "½" is the words 0, ⁄ and 0. The concept 0 has its effect once, on both of its words.
TEST(WordEffectsTest, WordsOfOneCharacterBecomeOne) {
    EXPECT_THAT(
        word_effects(places_in("½ x"), {{"0", 0.5, true, 2.0}, {"\u2044", 0.25, false, 1.0}}),
        ElementsAre(Word_effect{{0, 2}, 0.75, 3.0, true}, Word_effect{{3, 4}, 0.0, 0.0, false}));
}

TEST(WordEffectsTest, TextWithoutWordsHasNoEffects) {
    EXPECT_THAT(word_effects(places_in(" \t"), {}), ElementsAre());
}

TEST(WordEffectsTest, AnswerOnlyOfRulesMarksNoWordAsUnknown) {
    Model_options options;
    options.tree.text =
        "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[urgent]\t[\"urgent\"]\n"
        "++\t[Stat]\t[NoScore]\t[]\t[words]\t[default]\n"
        "+++\t[Leaf]\t[Score]\t[]\t[sport]\t[]\n"
        "+++\t[Leaf]\t[Score]\t[]\t[trade]\t[]\n";
    options.tree.name = "tree";
    Text_model model(options);
    model.train({{{"sport"}, "goal match"}, {{"trade"}, "price goods"}});

    const Explanation by_rule = model.explain("urgent goal");
    const Explanation by_words = model.explain("goal");

    EXPECT_EQ(by_rule.label, "urgent");
    EXPECT_THAT(model.words_of(by_rule), ElementsAre());
    EXPECT_EQ(by_words.label, "sport");
    EXPECT_EQ(model.words_of(by_words).size(), 1U);
}

TEST(WordEffectsTest, EffectsOfWordsAddUpToTheEffectsOfConcepts) {
    Text_model model(Model_options{});
    model.train({{{"sport"}, "the goal of the match"},
                 {{"trade"}, "the price of the Straße goods"},
                 {{"trade"}, "goods and the price"},
                 {{"sport"}, "a match and a goal!"}});

    const Explanation explanation =
        model.explain("The GOAL — the price of unseen Straße ½ goods, goods!");
    const std::vector<Word_effect> words = model.words_of(explanation);

    double adds = 0.0;
    double log_odds_adds = 0.0;
    for (const Concept_effect& effect : explanation.concepts) {
        adds += effect.adds;
        log_odds_adds += effect.log_odds_adds;
    }
    double adds_of_words = 0.0;
    double log_odds_adds_of_words = 0.0;
    for (const Word_effect& word : words) {
        adds_of_words += word.adds;
        log_odds_adds_of_words += word.log_odds_adds;
    }
    EXPECT_NE(adds, 0.0);
    EXPECT_NEAR(adds_of_words, adds, 1e-12);
    EXPECT_NEAR(log_odds_adds_of_words, log_odds_adds, 1e-12);
}

}  // namespace

}  // namespace zandrel::cli
