// All strings of five tokens, as in zeRule_parser_exhaustive_test.cpp. The shortest conditional has
// five tokens.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/classification/rule_exhaustive.h"

namespace {

struct Refusal_row {
    std::string_view text;
    std::size_t least;
};

}  // namespace

TEST(RuleParserExhaustiveSlowTest, AgreesOnAllStringsOfFiveTokens) {
    const std::vector<std::string> alphabet = {"(", ")",      "?",  ":",   "v",   "^",
                                               "&", "==",     "<=", "-",   "/",   "!",
                                               ",", "substr", "2",  "'3'", "true"};
    const Refusal_row rows[] = {
        // The function; then any symbol except "(" and operands with a mark in front; then any
        // symbols.
        {"Missing bracket after function", 14 * 17 * 17 * 17},
        // ")" first; then any symbols except the function.
        {"Invalid tokens: ", 16 * 16 * 16 * 16},
        // Only separators.
        {"Empty expression", 2 * 2 * 2 * 2 * 2},
        // Only operators, no signs.
        {"Invalid number of operations", 7 * 7 * 7 * 7 * 7},
        // Two operators of numbers with three operands, at least one of them a string.
        {"Type mismatch, cannot cast one type to the other: ", 5 * 5 * (27 - 8)},
        // Any condition, and two branches of which one is a string and the other is not.
        {"Operator with mismatched operands", 3 * 2 * 2},
    };

    const Rule_tally tally = check_all_strings(alphabet, 5);

    // Two operators of numbers; a conditional of numbers or booleans.
    EXPECT_GE(tally.rules, 5U * 5U * 8U + 4U);
    EXPECT_EQ(tally.refusals.size(), std::size(rows));
    for (const Refusal_row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_GE(tally.refusals.at(row.text), row.least);
    }
}
