#include "text/rules/Rule_value.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/Typed_input.h"
#include "text/errors.h"

namespace zandrel::cli {

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

std::vector<double> ValuesOfMessages(const std::string& rule, const std::string& messages) {
    const Typed_input typed(messages);
    std::vector<double> values;
    for_each_rule_value(rule, "-", {}, [&values](double value) { values.push_back(value); });
    return values;
}

TEST(RuleValueTest, RulesReadTypedPairsOfMessages) {
    const std::string message =
        R"({"pairs": {"size": 7, "cost": -2.5, "urgent": true, "old": false, "from": "me", )"
        R"("tags": ["a", "b"], "one": ["a"], "sent": "2026-01-31T10:00:00Z"}})";

    const struct {
        std::string rule;
        double value;
    } rows[] = {
        {"$size(n) > 5", 1.0},
        {"$size(s) == '7'", 1.0},
        {"$cost(n)", -2.5},
        {"$urgent(n)", 1.0},
        {"$old(n)", 0.0},
        {"$old(?)", 1.0},
        {"$from(s) == 'me'", 1.0},
        {"substr($from(s), 'm')", 1.0},
        {"$sent(n)", 1769853600000000.0},
        {"$sent(n) > 1769853599999999", 1.0},
        {"$tags(?)", 1.0},  // a list has no single value
        {"$tags(s) == 'a'", 0.0},
        {"$tags(n)", 0.0},
        {"$one(s) == 'a'", 1.0},  // unless it has one element
        {"$absent(?)", 0.0},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(ValuesOfMessages(row.rule, message), std::vector{row.value});
    }
}

TEST(RuleValueTest, EachMessageHasAValue) {
    EXPECT_EQ(ValuesOfMessages("\"parcel\" + $n(n)",
                               "{\"text\": \"a Parcel\"}\n\n{\"pairs\": {\"n\": 3}}\n"),
              (std::vector<double>{1.0, 3.0}));
}

TEST(RuleValueTest, BadMessageIsRefused) {
    try {
        ValuesOfMessages("1", "{}\n{\"pairs\": {\"a\": null}}\n");
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "<stdin>:2: record 2: pair \"a\": a value cannot be null");
    }
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

}  // namespace zandrel::cli
