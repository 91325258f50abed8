// All short strings of tokens. A simpler second implementation says which error text or value each
// must have. We also count the strings of each kind, so that no kind can disappear unnoticed.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/classification/rule_exhaustive.h"

namespace {

// The number of strings that an error text refuses.
struct Refusal_row {
    std::string_view text;
    std::size_t count;
};

// One token of each kind that the passes treat differently: 9 operators between two operands (7 of
// them take numbers, and 2 of these may also be signs), 4 operands that are numbers or booleans,
// and 2 strings.
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
        // The function, followed by anything except "(" and operands with a mark in front.
        {"Missing bracket after function", 16},
        // Two operands; an operand and "("; ")" and any symbol; "(" and any symbol except ")";
        // anything except brackets and the function, followed by ")"; anything except brackets and
        // operands, followed by "(".
        {"Invalid tokens: ", 36 + 6 + 22 + 21 + 19 + 14},
        // Two separators; "()".
        {"Empty expression", 4 + 1},
        // A sign and a string; "!" before or after an operand that is not boolean; a string and a
        // separator.
        {"Type mismatch, cannot cast one type to the other: ", 4 + 4 + 4 + 8},
        // All other strings of the 22 * 22.
        {"Invalid number of operations", 297},
    };

    const Rule_tally tally = check_all_strings(alphabet(), 2);

    // A sign and an operand; "!" before or after a boolean; an operand and a separator.
    EXPECT_EQ(tally.rules, 8U + 2U + 2U + 16U);
    EXPECT_EQ(tally.refusals.size(), std::size(rows));
    for (const Refusal_row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(tally.refusals.at(row.text), row.count);
    }
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfThreeTokens) {
    const Refusal_row least[] = {
        // As for two tokens, followed by any symbol.
        {"Missing bracket after function", 16 * 22},
        // ")" first, and no function.
        {"Invalid tokens: ", 21 * 21},
        // Separators; "()" with one of them.
        {"Empty expression", 8 + 6},
        // Operators only, no signs.
        {"Invalid number of operations", 8 * 8 * 8},
        // An operator of numbers with at least one string; "&" with operands that are not both
        // boolean.
        {"Type mismatch, cannot cast one type to the other: ", 7 * (36 - 16) + (36 - 4)},
        // An equality between a string and an operand that is no string.
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
        // An operator of numbers with at least one string, and one of the two signs before one of
        // the two operands.
        {"Type mismatch, cannot cast one type to the other: ", 7 * (36 - 16) * 2 * 2},
        // An equality between a string and a number with a sign, on either side.
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

// Strings with one symbol that begins no token, at each position among the others.
TEST(RuleParserExhaustiveTest, AgreesOnAllStringsWithBadTokens) {
    const std::vector<std::string> bad_and_good = {"x",      "$k(q)", "$k(n", "''", "\"open",
                                                   "substr", "(",     "2",    "-",  "true"};
    const Refusal_row least[] = {
        // An "x" with any symbols after it; or an open quote, a second one, and any symbol.
        {"Invalid token at: ", 1000 + (1000 - 9 * 9 * 9)},
        {"Missing delimiter at: ", 9 * 9 * 9},
        {"Invalid datatype in $key(datatype)", 1000},
        {"Missing end bracket in $key(datatype)", 1000},
        {"Missing word at: ", 1000},
        {"Missing bracket after function", 3 * 10 * 10},
        // Two operands, and then good tokens without the function.
        {"Invalid tokens: ", 2 * 2 * 4 * 4},
        // Two signs before an operand.
        {"Invalid number of operations", 2},
    };

    const Rule_tally tally = check_all_strings(bad_and_good, 4);

    for (const Refusal_row& row : least) {
        SCOPED_TRACE(row.text);
        EXPECT_GE(tally.refusals.at(row.text), row.count);
    }
}
