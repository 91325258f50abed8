// The first pass of the parser: from text to tokens.
#include "zandrel/classification/zeRule_parser.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/rule_dump.h"

namespace {

struct Token_row {
    std::string_view rule;
    std::string_view tokens;
};

struct Error_row {
    std::string_view rule;
    std::string_view error;
};

struct Table_row {
    std::string_view text;
    std::string_view signature;
    int precedence;
    int kind;
    int flags;
    int arity;
    int func;
};

RuleParser::ExprToken first_token(std::string_view rule) {
    return tokens_of(rule).at(1);
}

}  // namespace

TEST(RuleParserTokensTest, SplitsTextIntoTokens) {
    const Token_row rows[] = {
        {"", "$start $end"},
        {" \t\n\v\f\r ", "$start $end"},
        {"1+2", "$start 1 + 2 $end"},
        {" 1 + 2 ", "$start 1 + 2 $end"},
        {"+1", "$start u+ 1 $end"},
        {"-1", "$start u- 1 $end"},
        {"2 - -3", "$start 2 - u- 3 $end"},
        {"(1)-2", "$start ( 1 ) - 2 $end"},
        {"(-2)", "$start ( u- 2 ) $end"},
        {"true-1", "$start true - 1 $end"},
        {"'a'+", "$start 'a' + $end"},
        {"\"a\"+", "$start \"a\" + $end"},
        {"$a(n)+", "$start $a(n) + $end"},
        {"!-1", "$start ! u- 1 $end"},
        {",-1", "$start , u- 1 $end"},
        {"<=<>=> ==!=!", "$start <= < >= > == != ! $end"},
        {"1v2^3", "$start 1 v 2 ^ 3 $end"},
        {"vv", "$start v v $end"},
        {"true?1:2", "$start true ? 1 : 2 $end"},
        {"true&false|true", "$start true & false | true $end"},
        {"substr('a','b')", "$start substr ( 'a' , 'b' ) $end"},
        {"Isubstr ( 'a' )", "$start Isubstr ( 'a' ) $end"},
        {"substr 'a'", "$start substr 'a' $end"},
        {"substr", "$start substr $end"},
        {"substr 1", "$start substr 1 $end"},
        {"substr1", "$start substr 1 $end"},
        {"substr \"w\"", "$start substr \"w\" $end"},
        {"substr $k(s)", "$start substr $k(s) $end"},
        {"Isubstr .5", "$start Isubstr .5 $end"},
        {"parent_scorestat_matching", "$start parent_score stat_matching $end"},
        {"concepts_in_sml", "$start concepts_in_sml $end"},
        {"empty_body_message", "$start empty_body_message $end"},
        {"truefalse", "$start true false $end"},
        {"true1", "$start true 1 $end"},
        {"12.50", "$start 12.50 $end"},
        {"5.", "$start 5. $end"},
        {".5", "$start .5 $end"},
        {"1.2.3", "$start 1.2 .3 $end"},
        {"1..2", "$start 1. .2 $end"},
        {"1 2", "$start 1 2 $end"},
        {"\"two words\"", "$start \"two words\" $end"},
        {"'\"'", "$start '\"' $end"},
        {"\"'\"", "$start \"'\" $end"},
        {R"('it\'s')", R"($start 'it\'s' $end)"},
        {R"("a\"b")", R"($start "a\"b" $end)"},
        {R"('\\')", R"($start '\\' $end)"},
        {R"('\n')", "$start 'n' $end"},
        {"'\xC3\xA4'", "$start '\xC3\xA4' $end"},
        {"$size(n)", "$start $size(n) $end"},
        {"$a b(s)", "$start $a b(s) $end"},
        {"$a(?)", "$start $a(?) $end"},
        {R"($a\(b(n))", "$start $a(b(n) $end"},
    };

    for (const Token_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(dump_tokens(tokens_of(row.rule)), row.tokens);
    }
}

TEST(RuleParserTokensTest, InvalidTextIsRefused) {
    const Error_row rows[] = {
        {"word", "Invalid token at: word"},
        {"1 + word", "Invalid token at: word"},
        {"truest", "Invalid token at: st"},
        {"value", "Invalid token at: alue"},
        {"TRUE", "Invalid token at: TRUE"},
        {"1 = 2", "Invalid token at: = 2"},
        {"1 >== 2", "Invalid token at: = 2"},
        {".", "Invalid token at: ."},
        {"..5", "Invalid token at: ..5"},
        {"1..", "Invalid token at: ."},
        {"0x10", "Invalid token at: x10"},
        {"1e5", "Invalid token at: e5"},
        {"1.5e-5", "Invalid token at: e-5"},
        {"1,5e", "Invalid token at: e"},
        {"inf", "Invalid token at: inf"},
        {"nan", "Invalid token at: nan"},
        {"\xC2\xA0"
         "1",
         "Invalid token at: \xC2\xA0"
         "1"},
        {"1 \xFF 2", "Invalid token at: \xFF 2"},
        {"\"open", "Missing delimiter at: \"open"},
        {"1 & 'open", "Missing delimiter at: 'open"},
        {"\"", "Missing delimiter at: \""},
        {R"('a\')", R"(Missing delimiter at: 'a\')"},
        {R"('a\)", R"(Missing delimiter at: 'a\)"},
        {"$x", "Missing delimiter at: $x"},
        {"$", "Missing delimiter at: $"},
        {"\"\"", "Missing word at: \"\""},
        {"''", "Missing word at: ''"},
        {"$a(s) == ''", "Missing word at: ''"},
        {"'' + 1", "Missing word at: '' + 1"},
        {"$(n)", "Missing word at: $(n)"},
        {"$x(", "Invalid datatype in $key(datatype)"},
        {"$x()", "Invalid datatype in $key(datatype)"},
        {"$x(q)", "Invalid datatype in $key(datatype)"},
        {"$x(q", "Invalid datatype in $key(datatype)"},
        {"$x(n", "Missing end bracket in $key(datatype)"},
        {"$x(nn)", "Missing end bracket in $key(datatype)"},
        {"$x(n )", "Missing end bracket in $key(datatype)"},
        {"substr true", "Missing bracket after function"},
        {"substr , 'a'", "Missing bracket after function"},
        {"substr value", "Missing bracket after function"},
        {"substr word", "Invalid token at: word"},
        {"Isubstr word", "Invalid token at: word"},
        {"substr .", "Invalid token at: ."},
        {"substr $k", "Missing delimiter at: $k"},
        {"substr)", "Missing bracket after function"},
        {"substr substr(", "Missing bracket after function"},
        {"Isubstr -", "Missing bracket after function"},
    };

    for (const Error_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_QTX_ARGS(tokens_of(row.rule), RuleParser, 0, std::string(row.error), {});
    }
}

TEST(RuleParserTokensTest, LongMessagesAreCut) {
    const std::string rule(2000, 'x');

    EXPECT_QTX(tokens_of(rule), RuleParser, 0, "Invalid token at: " + std::string(1023 - 18, 'x'));
}

TEST(RuleParserTokensTest, TextEndsAtAZeroByte) {
    const std::string rule("1\0+ word", 8);

    EXPECT_EQ(dump_tokens(tokens_of(rule)), "$start 1 $end");
}

// The arity follows from the signature; tokens without operands have -1. Signs are the exception:
// at the beginning of a rule they are unary.
TEST(RuleParserTokensTest, GivesTableTokensTheirProperties) {
    const Table_row rows[] = {
        {"(", "", 20, 2, 12, -1, 0},
        {")", "", 20, 3, 8, -1, 0},
        {"?", "=b==", 11, 1, 0, 3, 22},
        {":", "", 10, 1, 8, -1, 0},
        {"v", "nnn", 9, 1, 0, 2, 4},
        {"^", "nnn", 8, 1, 0, 2, 5},
        {"|", "bbb", 7, 1, 0, 2, 6},
        {"&", "bbb", 6, 1, 0, 2, 7},
        {"<=", "bnn", 5, 1, 0, 2, 8},
        {"<", "bnn", 5, 1, 0, 2, 9},
        {">=", "bnn", 5, 1, 0, 2, 10},
        {">", "bnn", 5, 1, 0, 2, 11},
        {"==", "b==", 5, 1, 0, 2, 13},
        {"!=", "b==", 5, 1, 0, 2, 13},
        {"+", "nnn", 2, 1, 0, 1, 15},
        {"-", "nnn", 2, 1, 0, 1, 16},
        {"*", "nnn", 3, 1, 0, 2, 17},
        {"/", "nnn", 3, 1, 0, 2, 18},
        {"!", "bb", 2, 1, 0, 1, 2},
        {"substr", "bss", 1, 1, 64, 2, 19},
        {"Isubstr", "bss", 1, 1, 64, 2, 20},
        {",", "", 12, 1, 8, -1, 0},
        {"parent_score", "n", 1, 0, 0, 0, 0},
        {"stat_matching", "n", 1, 0, 0, 0, 0},
        {"concepts_in_sml", "n", 1, 0, 0, 0, 0},
        {"empty_body_message", "b", 1, 0, 0, 0, 0},
        {"true", "b", 1, 0, 0, 0, 0},
        {"false", "b", 1, 0, 0, 0, 0},
        {"\"w\"", "b", 1, 0, 1, 0, 0},
        {"1", "n", 1, 0, 2, 0, 0},
        {"'s'", "s", 1, 0, 32, 0, 0},
        {"$k(n)", "n", 1, 0, 16, 0, 0},
        {"$k(s)", "s", 1, 0, 16, 0, 0},
        {"$k(?)", "b", 1, 0, 16, 0, 0},
    };

    for (const Table_row& row : rows) {
        SCOPED_TRACE(row.text);
        const RuleParser::ExprToken token = first_token(row.text);
        EXPECT_EQ(token.signature, row.signature);
        EXPECT_EQ(token.precedence, row.precedence);
        EXPECT_EQ(token.kind, row.kind);
        EXPECT_EQ(token.flags, row.flags);
        EXPECT_EQ(token.arity, row.arity);
        EXPECT_EQ(token.func, row.func);
    }
}

TEST(RuleParserTokensTest, StartAndEndHaveTheWeakestPrecedence) {
    const Rule_tokens tokens = tokens_of("1", "bb");

    EXPECT_EQ(tokens.front().text, "$start");
    EXPECT_EQ(tokens.front().signature, "nn");
    EXPECT_EQ(tokens.front().precedence, 99);
    EXPECT_EQ(tokens.front().kind, 4);
    EXPECT_EQ(tokens.front().flags, 0);
    EXPECT_EQ(tokens.front().arity, 1);
    EXPECT_EQ(tokens.front().func, 0);
    EXPECT_EQ(tokens.front().datatype, '\0');
    EXPECT_EQ(tokens.back().text, "$end");
    EXPECT_EQ(tokens.back().signature, "bb");
    EXPECT_EQ(tokens.back().precedence, 99);
    EXPECT_EQ(tokens.back().kind, 4);
    EXPECT_EQ(tokens.back().flags, 0);
    EXPECT_EQ(tokens.back().arity, 1);
    EXPECT_EQ(tokens.back().func, 0);
    EXPECT_EQ(tokens.back().datatype, '\0');
}

TEST(RuleParserTokensTest, BinarySignsHaveTheirOwnPrecedence) {
    const RuleParser::ExprToken sign = tokens_of("1 - 2").at(2);

    EXPECT_EQ(sign.precedence, 4);
    EXPECT_EQ(sign.arity, 2);
    EXPECT_EQ(sign.signature, "nnn");
}

TEST(RuleParserTokensTest, UnarySignsHaveOneOperandAndAnUnchangedSignature) {
    const RuleParser::ExprToken sign = first_token("-2");

    EXPECT_EQ(sign.precedence, 2);
    EXPECT_EQ(sign.arity, 1);
    EXPECT_EQ(sign.signature, "nnn");
}

TEST(RuleParserTokensTest, KeepsDatatypeAsWritten) {
    EXPECT_EQ(first_token("$k(n)").datatype, 'n');
    EXPECT_EQ(first_token("$k(s)").datatype, 's');
    EXPECT_EQ(first_token("$k(?)").datatype, '?');
    EXPECT_EQ(first_token("'k'").datatype, '\0');
}

TEST(RuleParserTokensTest, PropertiesOfTheTokenBeforeAreCleared) {
    const RuleParser::ExprToken word = tokens_of("$k(n) \"w\"").at(2);

    EXPECT_EQ(word.text, "w");
    EXPECT_EQ(word.flags, RuleParser::kWord);
    EXPECT_EQ(word.datatype, '\0');
}

TEST(RuleParserTokensTest, PositionMovesPastEachToken) {
    char text[] = " true<=1";
    char* position = text;
    RuleParser::ExprToken token;

    EXPECT_TRUE(RuleParser::get_next_token(&position, token));
    EXPECT_STREQ(position, "<=1");
    EXPECT_TRUE(RuleParser::get_next_token(&position, token));
    EXPECT_STREQ(position, "1");
    EXPECT_TRUE(RuleParser::get_next_token(&position, token));
    EXPECT_FALSE(RuleParser::get_next_token(&position, token));
    EXPECT_STREQ(position, "");
}

TEST(RuleParserTokensTest, ExtractEndsAtAnotherDelimiterThanTheOpeningOne) {
    char text[] = "[a\\]b]c";
    char* position = text;
    RuleParser::ExprToken token;
    token.text = "x";

    RuleParser::extract_to_end(&position, ']', token);

    EXPECT_EQ(token.text, "xa]b");
    EXPECT_STREQ(position, "c");
}
