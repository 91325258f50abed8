// Every short string of tokens: it is refused by a known text, or has the value that two simpler
// ways of evaluating it give.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/classification/rule_oracle.h"

namespace {

// A token of each kind, and of each group that the passes treat alike.
const std::vector<std::string>& alphabet() {
    static const std::vector<std::string> all = {"(",     ")", "?",   ":",     "v",      "<",
                                                 "==",    "+", "-",   "!",     "substr", ",",
                                                 "\"w\"", "2", "'3'", "$k(n)", "$k(s)",  "true"};
    return all;
}

}  // namespace

TEST(RuleParserExhaustiveTest, AgreesOnTheEmptyString) {
    EXPECT_EQ(check_all_strings(alphabet(), 0), 0U);
}

// The rules are the operands that are numbers or booleans.
TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfOneToken) {
    EXPECT_EQ(check_all_strings(alphabet(), 1), 4U);
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfTwoTokens) {
    EXPECT_GT(check_all_strings(alphabet(), 2), 0U);
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfThreeTokens) {
    EXPECT_GT(check_all_strings(alphabet(), 3), 0U);
}

TEST(RuleParserExhaustiveTest, AgreesOnAllStringsOfFourTokens) {
    EXPECT_GT(check_all_strings(alphabet(), 4), 0U);
}
