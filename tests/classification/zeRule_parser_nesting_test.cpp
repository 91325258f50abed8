// The greatest allowed depth of nested rules.
#include "zandrel/classification/zeRule_parser.h"

#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_checker.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/rule_dump.h"

namespace {

// A kind of rule that can be nested any number of times, and the greatest allowed number.
struct Nesting_row {
    std::string_view name;
    std::string_view opening;
    std::string_view innermost;
    std::string_view closing;
    int deepest;   // greatest allowed number of `opening`
    double value;  // the rule's value at that depth
};

// At the greatest depth, 10,000 nodes are counted on the longest path from the root to an operand:
// usually one for each repetition, one for the innermost expression, and one for the conversion of
// a boolean rule to a number.
constexpr Nesting_row kRows[] = {
    {"sign", "-(", "1", ")", 9999, -1.0},
    {"sign that leaves no object", "+(", "1", ")", 9999, 1.0},
    {"negation", "!(", "true", ")", 9998, 1.0},
    {"left chain", "", "1", "+1", 9999, 10000.0},
    {"right chain", "1+(", "1", ")", 9999, 10000.0},
    {"condition", "(", "true", ") ? true : false", 9998, 1.0},
    {"branch", "false ? 2 : (", "1", ")", 9999, 1.0},
    // Each opening makes three nodes: the equality, its negation, and a conversion at the next
    // level or at the top. The innermost value is 0. Each opening inverts the value, and their
    // number is even, so the result is 0 too.
    {"inequality", "1 != (", "1 != 1", ")", 3332, 0.0},
    {"conversion", "-(", "true", ")", 9998, 1.0},
};

// The same kinds of rules, with wrong types.
struct Mistyped_row {
    Nesting_row shape;
    std::string_view error;
};

constexpr Mistyped_row kMistypedRows[] = {
    {{"innermost", "!(", "1", ")", 9998, 0.0},
     "Type mismatch, cannot cast one type to the other: !"},
    // Each opening makes three nodes: a sign, the conversion of its operand, and the equality.
    {{"each", "-('a' == ", "1", ")", 3333, 0.0}, "Operator with mismatched operands"},
    {{"left chain", "", "'a'", "+1", 9999, 0.0},
     "Type mismatch, cannot cast one type to the other: +"},
};

std::string repeated(std::string_view text, int count) {
    std::string result;
    for (int time = 0; time < count; ++time) {
        result += text;
    }
    return result;
}

std::string nested(const Nesting_row& row, int count) {
    return repeated(row.opening, count) + std::string(row.innermost) + repeated(row.closing, count);
}

double value_of_rule(const Rule_checker& rule) {
    zeMsg msg;
    DocInfo info{&msg, 0.0};
    return rule.Evaluate(info);
}

}  // namespace

TEST(RuleNestingTest, DeepestAllowedRulesAreEvaluated) {
    for (const Nesting_row& row : kRows) {
        SCOPED_TRACE(row.name);
        const Rule_checker rule{qtString(nested(row, row.deepest))};
        const Rule_checker copy(rule);
        EXPECT_EQ(value_of_rule(copy), row.value);
    }
}

TEST(RuleNestingTest, DeeperRulesAreRefused) {
    for (const Nesting_row& row : kRows) {
        for (const int count : {row.deepest + 1, 30000}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(count));
            EXPECT_QTX_ARGS(tree_of(nested(row, count)), RuleParser, 0, "Rule is nested too deeply",
                            {});
        }
    }
}

TEST(RuleNestingTest, AnyNumberOfBracketsIsAccepted) {
    const int count = 100000;

    const Rule_checker rule(repeated("(", count) + "5" + repeated(")", count));

    EXPECT_EQ(value_of_rule(rule), 5.0);
}

TEST(RuleNestingTest, UnclosedBracketsAreRefused) {
    EXPECT_QTX(tree_of(repeated("(", 100000)), RuleParser, 0, "Invalid tokens: ( , $end");
}

// 2^15 operands, but only 16 levels.
TEST(RuleNestingTest, AnyNumberOfOperandsIsAccepted) {
    std::string text = "1";
    for (int level = 0; level < 15; ++level) {
        text = "(" + text + "+" + text + ")";
    }

    EXPECT_EQ(value_of_rule(Rule_checker{qtString(text)}), 32768.0);
}

TEST(RuleNestingTest, DepthIsReportedBeforeWrongTypes) {
    for (const Mistyped_row& row : kMistypedRows) {
        for (const int count : {row.shape.deepest + 1, 30000}) {
            SCOPED_TRACE(std::string(row.shape.name) + " " + std::to_string(count));
            EXPECT_QTX(tree_of(nested(row.shape, count)), RuleParser, 0,
                       "Rule is nested too deeply");
        }
    }
}

TEST(RuleNestingTest, TypesOfDeepestRulesAreChecked) {
    for (const Mistyped_row& row : kMistypedRows) {
        SCOPED_TRACE(row.shape.name);
        EXPECT_QTX(tree_of(nested(row.shape, row.shape.deepest)), RuleParser, 0,
                   std::string(row.error));
    }
}

// The depth is checked twice: before the types are settled, without the conversions of operands of
// equalities, and afterwards with them. This rule is too deep only with these conversions, so a
// type error in the rule around it is reported first.
TEST(RuleNestingTest, WrongTypesAreReportedBeforeDepthThroughConversions) {
    const std::string deep = repeated("1 != (", 3333) + "1 != 1" + repeated(")", 3333);

    EXPECT_QTX(tree_of(deep), RuleParser, 0, "Rule is nested too deeply");
    EXPECT_QTX(tree_of("'a' < (" + deep + ")"), RuleParser, 0,
               "Type mismatch, cannot cast one type to the other: <");
}

TEST(RuleNestingTest, MissingOperandsAreReportedBeforeDepth) {
    EXPECT_QTX(tree_of(repeated("!", 20000)), RuleParser, 0, "Invalid number of operations");
}
