#include "text/model/Explanation.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "text/wording/Json.h"

namespace zandrel::cli {

namespace {

std::string printed(const Explanation& explanation) {
    std::ostringstream out;
    print_explanation(explanation, out);
    return out.str();
}

std::string json_of(const Explanation& explanation) {
    std::ostringstream out;
    print_json(explanation_json(explanation), Json_form::kOneLine, out);
    return out.str();
}

const Explanation kGoal = {
    "A goal",
    "sport",
    0.9625,
    {{"goal", 0.5, true, 2.25}, {"a", -0.03125, true, -0.125}, {"x", 0.0, false}}};

TEST(ExplanationTest, LabelScoreAndConceptsArePrintedWithSigns) {
    EXPECT_EQ(printed(kGoal),
              "A goal\n"
              "  0.963  sport\n"
              "    +0.5000  goal                      +2.2500\n"
              "    -0.0312  a                         -0.1250\n"
              "    +0.0000  x  (unknown)              +0.0000\n");
}

TEST(ExplanationTest, FirstConceptsAreKeptAndTheOthersCounted) {
    Explanation two = kGoal;
    keep_first(2, two);

    EXPECT_EQ(printed(two),
              "A goal\n"
              "  0.963  sport\n"
              "    +0.5000  goal                      +2.2500\n"
              "    -0.0312  a                         -0.1250\n"
              "    (1 more)\n");
}

TEST(ExplanationTest, KeepingAsManyConceptsAsThereAreLeavesOutNothing) {
    Explanation three = kGoal;
    keep_first(3, three);

    EXPECT_EQ(printed(three), printed(kGoal));
}

TEST(ExplanationTest, ControlCharactersAreEscapedInTextButNotInJson) {
    const Explanation hostile = {"a\tb\x1B[2J", "sp\u202Eort", 0.5, {{"go\xC2\x9B", 0.5}}};

    EXPECT_EQ(printed(hostile),
              "a\\x09b\\x1B[2J\n"
              "  0.500  sp\\xE2\\x80\\xAEort\n"
              "    +0.5000  go\\xC2\\x9B                +0.0000\n");
    EXPECT_EQ(explanation_json(hostile)["text"], hostile.text);
    EXPECT_EQ(explanation_json(hostile)["category"], hostile.label);
    EXPECT_EQ(explanation_json(hostile)["concepts"][0]["concept"], "go\xC2\x9B");
}

TEST(ExplanationTest, LongConceptsMoveTheLastColumn) {
    const Explanation wide = {"t", "l", 0.5, {{"twenty-five characters ...", 0.25, true, 1.0}}};

    EXPECT_EQ(printed(wide),
              "t\n"
              "  0.500  l\n"
              "    +0.2500  twenty-five characters ...  +1.0000\n");
}

TEST(ExplanationTest, MissingResultIsReported) {
    EXPECT_EQ(printed({"?", "", 0.0, {}}), "?\n  (no result)\n");
}

TEST(ExplanationTest, JsonHasTheSameContents) {
    EXPECT_EQ(json_of(kGoal),
              R"({"text":"A goal","category":"sport","score":0.9625,"concepts":[)"
              R"({"concept":"goal","adds":0.5,"known":true,"log_odds_adds":2.25},)"
              R"({"concept":"a","adds":-0.03125,"known":true,"log_odds_adds":-0.125},)"
              R"({"concept":"x","adds":0.0,"known":false,"log_odds_adds":0.0}]})"
              "\n");
}

TEST(ExplanationTest, JsonHasNullForNoResult) {
    EXPECT_EQ(json_of({"?", "", 0.0, {}}),
              R"({"text":"?","category":null,"score":0.0,"concepts":[]})"
              "\n");
}

}  // namespace

}  // namespace zandrel::cli
