// Every string of five tokens, as in zeRule_parser_exhaustive_test.cpp; the smallest conditional is
// that long.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/classification/rule_oracle.h"

TEST(RuleParserExhaustiveSlowTest, AgreesOnAllStringsOfFiveTokens) {
    const std::vector<std::string> alphabet = {"(", ")", "?",      ":", "v",   "==",  "-",
                                               "!", ",", "substr", "2", "'3'", "true"};

    EXPECT_GT(check_all_strings(alphabet, 5), 0U);
}
