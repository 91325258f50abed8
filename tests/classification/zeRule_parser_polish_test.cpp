// The second pass of the parser: from tokens to reverse Polish notation.
#include "zandrel/classification/zeRule_parser.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/rule_dump.h"

namespace {

struct Polish_row {
    std::string_view rule;
    std::string_view polish;
};

}  // namespace

TEST(RuleParserPolishTest, OrdersByPrecedence) {
    const Polish_row rows[] = {
        {"1", "1 $end"},
        {"1 + 2 * 3", "1 2 3 * + $end"},
        {"1 * 2 + 3", "1 2 * 3 + $end"},
        {"(1 + 2) * 3", "1 2 + 3 * $end"},
        {"1 - 2 - 3", "1 2 - 3 - $end"},
        {"8 / 4 * 2", "8 4 / 2 * $end"},
        {"-2 * 3", "2 u- 3 * $end"},
        {"2 - -3", "2 3 u- - $end"},
        {"2 * -3", "2 3 u- * $end"},
        {"1 + 2 < 3", "1 2 + 3 < $end"},
        {"1 < 2 < 3", "1 2 < 3 < $end"},
        {"1 == 2 != 3", "1 2 == 3 != $end"},
        {"1 < 2 & 3 > 4", "1 2 < 3 4 > & $end"},
        {"true & false | true", "true false & true | $end"},
        {"true | false & true", "true false true & | $end"},
        {"1 ^ 2 v 3", "1 2 ^ 3 v $end"},
        {"1 v 2 ^ 3", "1 2 3 ^ v $end"},
        {"1 v 2 v 3", "1 2 v 3 v $end"},
        {"1 ^ true | false", "1 true false | ^ $end"},
        {"!true & false", "true ! false & $end"},
        {"!1 == 2", "1 ! 2 == $end"},
        {"!substr('a', 'b')", "'a' 'b' substr ! $end"},
        {"substr('a', 'b') & true", "'a' 'b' substr true & $end"},
        {"true ? 1 : 2", "true 1 2 ? $end"},
        {"true ? 1 v 2 : 3 v 4", "true 1 2 v 3 4 v ? $end"},
        {"true ? false : true ? 1 : 2", "true false true ? 1 2 ? $end"},
        {"true ? false : (true ? 1 : 2)", "true false true 1 2 ? ? $end"},
        {"((1))", "1 $end"},
    };

    for (const Polish_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(dump_tokens(polish_of(row.rule)), row.polish);
    }
}

// This pass does not check a grammar. It also orders tokens that a later pass refuses, and tokens
// that look wrong but are accepted.
TEST(RuleParserPolishTest, OrdersTokensThatNoGrammarDerives) {
    const Polish_row rows[] = {
        {"", "$end"},
        {"()", "$end"},
        {",", "$end"},
        {"1 , 2", "1 2 $end"},
        {"1 : 2", "1 2 $end"},
        {"- - 5", "u- 5 u- $end"},
        {"!!true", "! true ! $end"},
        {"!-1", "! 1 u- $end"},
        {"substr 'a'", "substr 'a' $end"},
        {"(1)(2)*", "1 2 * $end"},
        {"*(1)(2)", "1 2 * $end"},
        {"true ? true ? 1 : 2 : 3", "true true ? 1 2 3 ? $end"},
    };

    for (const Polish_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(dump_tokens(polish_of(row.rule)), row.polish);
    }
}

TEST(RuleParserPolishTest, RefusesTokensThatMayNotFollow) {
    const Polish_row rows[] = {
        {"(1", "Invalid tokens: ( , $end"},       {"(", "Invalid tokens: ( , $end"},
        {"1)", "Invalid tokens: $start , )"},     {")", "Invalid tokens: $start , )"},
        {"1 + 2)", "Invalid tokens: $start , )"}, {"\"a\" \"b\"", "Invalid tokens: a , b"},
        {"1 2", "Invalid tokens: 1 , 2"},         {"1.2.3", "Invalid tokens: 1.2 , .3"},
        {"'a' $k(n)", "Invalid tokens: a , k"},   {"true (1)", "Invalid tokens: true , ("},
        {"1 + 2 (", "Invalid tokens: 2 , ("},
    };

    for (const Polish_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_QTX_ARGS(polish_of(row.rule), RuleParser, 0, std::string(row.polish), {});
    }
}

TEST(RuleParserPolishTest, AppendsToOutput) {
    Rule_tokens tokens = tokens_of("2");
    Rule_tokens output = polish_of("1");

    RuleParser::reverse_polish_notation(tokens, output);

    EXPECT_EQ(dump_tokens(output), "1 $end 2 $end");
}
