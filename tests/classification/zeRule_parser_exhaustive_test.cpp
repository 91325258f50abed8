// Every short string of tokens: it is refused by the text, or has the value, that simpler ways of
// telling give it. What the strings come to is counted, so that no kind of them goes missing.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/classification/rule_exhaustive.h"

namespace {

// How many strings a text refuses.
struct Refusal_row {
    std::string_view text;
    std::size_t count;
};

// A token of each kind, and of each group that the passes treat alike: 10 operators that may have
// two operands, 7 of which take numbers; 4 operands that are numbers or booleans, and 2 strings.
const std::vector<std::string>& alphabet() {
    static const std::vector<std::string> all = {
        "(", ")", "?", ":",      "v", "^",     "&", "<",   "<=",    "==",    "+",
        "-", "/", "!", "substr", ",", "\"w\"", "2", "'3'", "$k(n)", "$k(s)", "true"};
    return all;
}

}  // namespace

TEST(RuleParserExhaustiveTest, AgreesOnTheEmptyString) {
    const Rule_tally tally = check_all_strings(alphabet(), 0);

    EXPECT_EQ(tally.rules, 0U);
    EXPECT_EQ(tally.refusals.at("Empty expression"), 1U);
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfOneToken) {
    const Refusal_row rows[] = {
        {"Invalid tokens: ", 2},                                    // ( )
        {"Empty expression", 2},                                    // : ,
        {"Invalid number of operations", 12},                       // operators and functions
        {"Type mismatch, cannot cast one type to the other: ", 2},  // strings
    };

    const Rule_tally tally = check_all_strings(alphabet(), 1);

    EXPECT_EQ(tally.rules, 4U);  // The operands that are numbers or booleans.
    EXPECT_EQ(tally.refusals.size(), std::size(rows));
    for (const Refusal_row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(tally.refusals.at(row.text), row.count);
    }
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfTwoTokens) {
    const Refusal_row rows[] = {
        // The function, and what is neither an operand with a mark in front nor "(".
        {"Missing bracket after function", 16},
        // Two operands; an operand and "("; ")" and any; "(" and any but ")"; any but brackets and
        // the function, and ")"; any but brackets and operands, and "(".
        {"Invalid tokens: ", 36 + 6 + 22 + 21 + 19 + 14},
        // Two separators; "()".
        {"Empty expression", 4 + 1},
        // A sign and a string; "!" before or behind what is no boolean; a string and a separator.
        {"Type mismatch, cannot cast one type to the other: ", 4 + 4 + 4 + 8},
        // The others of 22 * 22.
        {"Invalid number of operations", 297},
    };

    const Rule_tally tally = check_all_strings(alphabet(), 2);

    // A sign and an operand; "!" before or behind a boolean; an operand and a separator.
    EXPECT_EQ(tally.rules, 8U + 2U + 2U + 16U);
    EXPECT_EQ(tally.refusals.size(), std::size(rows));
    for (const Refusal_row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(tally.refusals.at(row.text), row.count);
    }
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfThreeTokens) {
    const Refusal_row least[] = {
        // As of two tokens, and any.
        {"Missing bracket after function", 16 * 22},
        // ")", and no function.
        {"Invalid tokens: ", 21 * 21},
        // Separators; "()" with one of them.
        {"Empty expression", 8 + 6},
        // Operators only, no signs.
        {"Invalid number of operations", 8 * 8 * 8},
        // An operator of numbers and a string at least; "&" and not two booleans.
        {"Type mismatch, cannot cast one type to the other: ", 7 * (36 - 16) + (36 - 4)},
        // An equality of a string and none.
        {"Operator with mismatched operands", 2 * 2 * 4},
    };

    const Rule_tally tally = check_all_strings(alphabet(), 3);

    // Operators of numbers; equalities of numbers and of strings; "&"; an operand in brackets.
    EXPECT_GE(tally.rules, 7U * 16U + 16U + 4U + 4U + 4U);
    EXPECT_EQ(tally.refusals.size(), std::size(least));
    for (const Refusal_row& row : least) {
        SCOPED_TRACE(row.text);
        EXPECT_GE(tally.refusals.at(row.text), row.count);
    }
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfFourTokens) {
    const Refusal_row least[] = {
        {"Missing bracket after function", 16 * 22 * 22},
        {"Invalid tokens: ", 21 * 21 * 21},
        {"Empty expression", 2 * 2 * 2 * 2},
        {"Invalid number of operations", 8 * 8 * 8 * 8},
        // An operator of numbers and a string at least, one of two signs at one of two operands.
        {"Type mismatch, cannot cast one type to the other: ", 7 * (36 - 16) * 2 * 2},
        // An equality of a string and a signed number, on either side.
        {"Operator with mismatched operands", 2 * 4 * 2 * 2},
    };

    const Rule_tally tally = check_all_strings(alphabet(), 4);

    // Operators of numbers and equalities, with a sign at one operand; "&", with "!" at one.
    EXPECT_GE(tally.rules, 7U * 16U * 2U * 2U + 16U * 2U * 2U + 4U * 2U);
    EXPECT_EQ(tally.refusals.size(), std::size(least));
    for (const Refusal_row& row : least) {
        SCOPED_TRACE(row.text);
        EXPECT_GE(tally.refusals.at(row.text), row.count);
    }
}

// Strings of what begins no token, in each place among what does.
TEST(RuleParserExhaustiveTest, AgreesOnAllStringsWithBadTokens) {
    const std::vector<std::string> bad_and_good = {"x",      "$k(q)", "$k(n", "''", "\"open",
                                                   "substr", "(",     "2",    "-",  "true"};
    const Refusal_row least[] = {
        // An "x", or an open quote and another one, and any.
        {"Invalid token at: ", 1000 + (1000 - 9 * 9 * 9)},
        {"Missing delimiter at: ", 9 * 9 * 9},
        {"Invalid datatype in $key(datatype)", 1000},
        {"Missing end bracket in $key(datatype)", 1000},
        {"Missing word at: ", 1000},
        {"Missing bracket after function", 3 * 10 * 10},
        // Two operands and good tokens, of which no function.
        {"Invalid tokens: ", 2 * 2 * 4 * 4},
        // Signs in front of an operand.
        {"Invalid number of operations", 2},
    };

    const Rule_tally tally = check_all_strings(bad_and_good, 4);

    for (const Refusal_row& row : least) {
        SCOPED_TRACE(row.text);
        EXPECT_GE(tally.refusals.at(row.text), row.count);
    }
}
