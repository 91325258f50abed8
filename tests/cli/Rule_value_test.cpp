#include "cli/rules/Rule_value.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/errors.h"

namespace cli {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

TEST(RuleValueTest, PairsAreRead) {
    const Rule_subject subject{.pairs = {"size=7.5", "from=a=b", "empty=", "size=8"}};

    const struct {
        std::string rule;
        double value;
    } rows[] = {
        {"$size(n)", 8.0},        {"$from(s) == 'a=b'", 1.0}, {"$empty(?)", 1.0},
        {"$empty(n)", 0.0},       {"$absent(?)", 0.0},        {"$Size(?)", 0.0},
        {"$size(s) == '8'", 1.0},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(rule_value(row.rule, subject), row.value);
    }
}

TEST(RuleValueTest, WordsThatAreNoPairsAreRefused) {
    for (const char* const pair : {"", "size", "=7", "="}) {
        SCOPED_TRACE(pair);
        EXPECT_THROW(rule_value("1", {.pairs = {pair}}), Usage_error);
    }
}

TEST(RuleValueTest, BagIsMadeByTheAnalysis) {
    const struct {
        std::string rule;
        Analysis_settings analysis;
        double value;
    } rows[] = {
        {"\"parcels\"", {Analysis_kind::kWords}, 1.0},
        {"\"Parcels\"", {Analysis_kind::kWords}, 1.0},
        {"\"PARCELS!\"", {Analysis_kind::kWords}, 1.0},
        {"\"parcel\"", {Analysis_kind::kWords}, 0.0},
        {"\"my parcels\"", {Analysis_kind::kWords}, 0.0},
        {"concepts_in_sml", {Analysis_kind::kWords}, 2.0},
        {"\"parcel\"", {Analysis_kind::kWords, "english"}, 1.0},
        {"\"Parcels\"", {Analysis_kind::kWords, "english"}, 1.0},
        {"\"My Parcels\"", {Analysis_kind::kPhrases}, 1.0},
        {"\"my parcels!\"", {Analysis_kind::kPhrases}, 0.0},
        {"\"parcels!\"", {Analysis_kind::kWhitespace}, 0.0},
        {"\"my parcels\"", {Analysis_kind::kPhrases}, 1.0},
        {"\"Parcels!\"", {Analysis_kind::kWhitespace}, 1.0},
        {"empty_body_message", {Analysis_kind::kWords}, 0.0},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(rule_value(row.rule, {.text = "My Parcels!", .analysis = row.analysis}),
                  row.value);
    }
}

TEST(RuleValueTest, DefaultAnalysisIsWords) {
    EXPECT_EQ(rule_value("concepts_in_sml", {.text = "My Parcels!"}), 2.0);
}

TEST(RuleValueTest, WithoutATextThereIsNoBag) {
    EXPECT_EQ(rule_value("concepts_in_sml", {}), 0.0);
    EXPECT_EQ(rule_value("empty_body_message", {}), 1.0);
    EXPECT_EQ(rule_value("empty_body_message", {.text = ""}), 1.0);
}

TEST(RuleValueTest, ScoreIsPassedToTheRule) {
    EXPECT_EQ(rule_value("parent_score * 2", {.score = 0.25}), 0.5);
    EXPECT_EQ(rule_value("stat_matching", {}), 0.0);
}

TEST(RuleValueTest, ErrorOfABadRuleIsGiven) {
    try {
        rule_value("(1", {});
        FAIL() << "was taken";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "rule: Invalid tokens: ( , $end");
    }
}

TEST(RuleValueTest, ShortestTextOfTheValueIsShown) {
    const struct {
        double value;
        std::string text;
    } rows[] = {
        {3.0, "3"},         {-0.25, "-0.25"},     {0.1, "0.1"},         {-0.0, "-0"},
        {kInfinity, "inf"}, {-kInfinity, "-inf"}, {kNotANumber, "nan"}, {-kNotANumber, "nan"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(value_text(row.value), row.text);
    }
}

TEST(RuleValueTest, JsonHasATextForNaNAndInfinity) {
    EXPECT_EQ(rule_value_json("1 / 4", 0.25).dump(), R"({"rule":"1 / 4","value":0.25})");
    EXPECT_EQ(rule_value_json("\"a\"", 1.0).dump(), R"({"rule":"\"a\"","value":1.0})");
    EXPECT_EQ(rule_value_json("$a", kInfinity).dump(), R"({"rule":"$a","value":"inf"})");
    EXPECT_EQ(rule_value_json("$a", kNotANumber).dump(), R"({"rule":"$a","value":"nan"})");
}

}  // namespace

}  // namespace cli
