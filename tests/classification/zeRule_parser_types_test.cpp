// The third pass of the parser: the number of operands, types, and keys.
#include "zandrel/classification/zeRule_parser.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/rule_dump.h"

namespace {

struct Type_row {
    std::string_view rule;
    std::string_view types;
};

struct Operator_row {
    std::string_view rule;
    std::string_view culprit;
};

struct Shared_row {
    char shared;
    char type;
    char result;
};

// Returns the letter of the type that a rule has before its conversion to a number.
char type_of(std::string_view rule) {
    Rule_tokens output = polish_of(rule);
    int position = static_cast<int>(output.size()) - 2;
    return RuleParser::recursive_type_check(output, position);
}

std::vector<std::pair<std::string, char>> seen_keys;

bool see_key(const char* key, char datatype) {
    seen_keys.emplace_back(key, datatype);
    return std::string_view(key) != "secret";
}

// Removes itself as the verification function when it sees the first key.
bool see_key_once(const char* key, char datatype) {
    RuleParser::verification_func = nullptr;
    return see_key(key, datatype);
}

bool refuse_any(const char* /*key*/, char /*datatype*/) {
    return false;
}

// Sets refuse_any as the verification function, which is used for the next rule.
bool see_key_and_refuse_later(const char* key, char datatype) {
    RuleParser::verification_func = refuse_any;
    return see_key(key, datatype);
}

// Sets the function that sees keys, for one test.
class RuleParserKeysTest : public testing::Test {
protected:
    RuleParserKeysTest() {
        seen_keys.clear();
        RuleParser::verification_func = see_key;
    }

    ~RuleParserKeysTest() override { RuleParser::verification_func = nullptr; }
};

}  // namespace

TEST(RuleParserTypesTest, SettlesTypes) {
    const Type_row rows[] = {
        {"1", "1:n $end:nn"},
        {"true", "true:b $end:nn"},
        {"true + 1", "true:b 1:n +:nnn $end:nn"},
        {"-true", "true:b u-:nnn $end:nn"},
        {"1 == 2", "1:n 2:n ==:bnn $end:nn"},
        {"true == 1", "true:b 1:n ==:bnn $end:nn"},
        {"1 == true", "1:n true:b ==:bnn $end:nn"},
        {"true != false", "true:b false:b !=:bbb $end:nn"},
        {"'a' == 'b'", "'a':s 'b':s ==:bss $end:nn"},
        {"1 < 2 == true", "1:n 2:n <:bnn true:b ==:bbb $end:nn"},
        {"true ? 1 : 2", "true:b 1:n 2:n ?:nbnn $end:nn"},
        {"true ? 1 : false", "true:b 1:n false:b ?:nbnn $end:nn"},
        {"true ? false : true", "true:b false:b true:b ?:bbbb $end:nn"},
        {"(true ? 'a' : 'b') == 'c'", "true:b 'a':s 'b':s ?:sbss 'c':s ==:bss $end:nn"},
    };

    for (const Type_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(dump_types(typed_of(row.rule)), row.types);
    }
}

TEST(RuleParserTypesTest, ReturnsTypeLetter) {
    const Type_row rows[] = {
        {"1", "n"},
        {"'a'", "s"},
        {"$k(n)", "n"},
        {"$k(s)", "s"},
        {"$k(?)", "b"},
        {"\"w\"", "b"},
        {"1 + 2", "n"},
        {"1 < 2", "b"},
        {"1 v true", "n"},
        {"!true", "b"},
        {"'a' == 'b'", "b"},
        {"substr('a', 'b')", "b"},
        {"true ? 'a' : 'b'", "s"},
        {"true ? true : 1", "n"},
        {"true ? true : false", "b"},
        {"true ? (true ? 1 : true) : true", "n"},
    };

    for (const Type_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(std::string(1, type_of(row.rule)), row.types);
    }
}

TEST(RuleParserTypesTest, RefusesRules) {
    const Type_row rows[] = {
        {"", "Empty expression"},
        {" \t ", "Empty expression"},
        {"()", "Empty expression"},
        {",", "Empty expression"},
        {"1 , 2", "Invalid number of operations"},
        {"+", "Invalid number of operations"},
        {"1 +", "Invalid number of operations"},
        {"1 * * 2", "Invalid number of operations"},
        {"- - 5", "Invalid number of operations"},
        {"!!true", "Invalid number of operations"},
        {"!!\"a\"", "Invalid number of operations"},
        {"true ? 1", "Invalid number of operations"},
        {"true ? true ? 1 : 2 : 3", "Invalid number of operations"},
        {"substr('a')", "Invalid number of operations"},
        {"substr 'a'", "Invalid number of operations"},
        {"substr", "Invalid number of operations"},
        {"substr 1", "Invalid number of operations"},
        {"substr \"w\"", "Invalid number of operations"},
        {"substr $k(s)", "Invalid number of operations"},
        {"Isubstr 1", "Invalid number of operations"},
        {"substr('a', 'b', 'c')", "Invalid number of operations"},
        {"'a'", "Type mismatch, cannot cast one type to the other: $end"},
        {"'a' < 'b'", "Type mismatch, cannot cast one type to the other: <"},
        {"true ? 'a' : 'b'", "Type mismatch, cannot cast one type to the other: $end"},
        {"'a' == 1", "Operator with mismatched operands"},
        {"true != 'a'", "Operator with mismatched operands"},
        {"true ? 1 : 'x'", "Operator with mismatched operands"},
        {"\"a\" ? 1 : 'x'", "Operator with mismatched operands"},
        {"true ? 'x' : false", "Operator with mismatched operands"},
        {"1 ? 2 : 'x'", "Operator with mismatched operands"},
    };

    for (const Type_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_QTX_ARGS(typed_of(row.rule), RuleParser, 0, std::string(row.types), {});
    }
}

// Each operator with one operand of a type that it does not accept.
TEST(RuleParserTypesTest, RefusesOperandsOfWrongTypes) {
    const Operator_row rows[] = {
        {"'a' v 1", "v"},
        {"1 v 'a'", "v"},
        {"$a(s) v true", "v"},
        {"'a' ^ 1", "^"},
        {"1 ^ 'a'", "^"},
        {"$a(s) ^ true", "^"},
        {"'a' * 1", "*"},
        {"1 * 'a'", "*"},
        {"$a(s) * true", "*"},
        {"'a' / 1", "/"},
        {"1 / 'a'", "/"},
        {"$a(s) / true", "/"},
        {"'a' + 1", "+"},
        {"1 + 'a'", "+"},
        {"$a(s) + true", "+"},
        {"'a' - 1", "-"},
        {"1 - 'a'", "-"},
        {"$a(s) - true", "-"},
        {"'a' <= 1", "<="},
        {"1 <= 'a'", "<="},
        {"$a(s) <= true", "<="},
        {"'a' < 1", "<"},
        {"1 < 'a'", "<"},
        {"$a(s) < true", "<"},
        {"'a' >= 1", ">="},
        {"1 >= 'a'", ">="},
        {"$a(s) >= true", ">="},
        {"'a' > 1", ">"},
        {"1 > 'a'", ">"},
        {"$a(s) > true", ">"},
        {"1 | true", "|"},
        {"true | 1", "|"},
        {"'a' | true", "|"},
        {"true | 'a'", "|"},
        {"1 & true", "&"},
        {"true & 1", "&"},
        {"'a' & true", "&"},
        {"true & 'a'", "&"},
        {"+'a'", "+"},
        {"-'a'", "-"},
        {"!1", "!"},
        {"!'a'", "!"},
        {"1 ? 2 : 3", "?"},
        {"'a' ? 2 : 3", "?"},
        {"substr('a', 1)", "substr"},
        {"substr(1, 'a')", "substr"},
        {"substr('a', true)", "substr"},
        {"substr(true, 'a')", "substr"},
        {"Isubstr('a', 1)", "Isubstr"},
        {"Isubstr(1, 'a')", "Isubstr"},
        {"Isubstr('a', true)", "Isubstr"},
        {"Isubstr(true, 'a')", "Isubstr"},
    };

    for (const Operator_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_QTX_ARGS(
            typed_of(row.rule), RuleParser, 0,
            "Type mismatch, cannot cast one type to the other: " + std::string(row.culprit), {});
    }
}

// Operands are checked from the last to the first, each with its own operands.
TEST(RuleParserTypesTest, LastOfTwoErrorsIsReported) {
    const Type_row rows[] = {
        {"-'a' < !1", "Type mismatch, cannot cast one type to the other: !"},
        {"'a' * 1 + 'b'", "Type mismatch, cannot cast one type to the other: +"},
        {"'a' * 1 + 2", "Type mismatch, cannot cast one type to the other: *"},
        {"!1 == ('a' == 2)", "Operator with mismatched operands"},
        {"('a' == 2) == !1", "Type mismatch, cannot cast one type to the other: !"},
        {"!1 ? 2 : 'a'", "Operator with mismatched operands"},
    };

    for (const Type_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_QTX_ARGS(typed_of(row.rule), RuleParser, 0, std::string(row.types), {});
    }
}

TEST(RuleParserTypesTest, RuleMustHaveTheWantedType) {
    EXPECT_EQ(dump_types(typed_of("'a'", "ss")), "'a':s $end:ss");
    EXPECT_QTX(typed_of("1", "bb"), RuleParser, 0,
               "Type mismatch, cannot cast one type to the other: $end");
}

TEST(RuleParserTypesTest, NumbersAndBooleansShareATypeWithEachOther) {
    const Shared_row rows[] = {
        {0, 'n', 'n'},   {0, 'b', 'b'},   {0, 's', 's'},   {'n', 'n', 'n'},
        {'b', 'b', 'b'}, {'s', 's', 's'}, {'n', 'b', 'n'}, {'b', 'n', 'n'},
    };

    for (const Shared_row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.shared << row.type);
        char shared = row.shared;
        RuleParser::check_shared_type(shared, row.type);
        EXPECT_EQ(shared, row.result);
    }
}

TEST(RuleParserTypesTest, StringsShareATypeOnlyWithStrings) {
    const std::pair<char, char> rows[] = {{'s', 'n'}, {'n', 's'}, {'s', 'b'}, {'b', 's'}};

    for (const std::pair<char, char>& row : rows) {
        SCOPED_TRACE(testing::Message() << row.first << row.second);
        char shared = row.first;
        EXPECT_QTX(RuleParser::check_shared_type(shared, row.second), RuleParser, 0,
                   "Operator with mismatched operands");
    }
}

TEST_F(RuleParserKeysTest, ShowsKeysInOrder) {
    typed_of("$b(n) + 1 < $a(n) & $c(?) & $b(s) == 'x'");

    const std::vector<std::pair<std::string, char>> expected = {
        {"b", 'n'}, {"a", 'n'}, {"c", '?'}, {"b", 's'}};
    EXPECT_EQ(seen_keys, expected);
}

TEST_F(RuleParserKeysTest, KeyIsRefused) {
    EXPECT_QTX_ARGS(typed_of("$a(?) & $secret(?) & $b(?)"), RuleParser, 0,
                    "Invalid NVP key: secret", {});
    EXPECT_EQ(seen_keys.size(), 2U);
}

TEST_F(RuleParserKeysTest, AllKeysOfARuleAreShownToAFunctionThatRemovesItself) {
    RuleParser::verification_func = see_key_once;

    typed_of("$a(n) + $b(n) + $c(n)");
    typed_of("$d(n)");

    const std::vector<std::pair<std::string, char>> expected = {{"a", 'n'}, {"b", 'n'}, {"c", 'n'}};
    EXPECT_EQ(seen_keys, expected);
}

TEST_F(RuleParserKeysTest, FunctionThatRemovesItselfCanRefuseAKey) {
    RuleParser::verification_func = see_key_once;

    EXPECT_QTX(typed_of("$a(n) + $secret(n)"), RuleParser, 0, "Invalid NVP key: secret");
    EXPECT_EQ(RuleParser::verification_func, nullptr);
}

TEST_F(RuleParserKeysTest, AllKeysOfARuleAreShownToAFunctionThatReplacesItself) {
    RuleParser::verification_func = see_key_and_refuse_later;

    typed_of("$a(n) + $b(n)");

    EXPECT_EQ(seen_keys.size(), 2U);
    EXPECT_QTX(typed_of("$c(n)"), RuleParser, 0, "Invalid NVP key: c");
}

TEST_F(RuleParserKeysTest, NoKeyOfARuleWithWrongTypesIsShown) {
    EXPECT_QTX(typed_of("$a(s)"), RuleParser, 0,
               "Type mismatch, cannot cast one type to the other: $end");
    EXPECT_TRUE(seen_keys.empty());
}

TEST_F(RuleParserKeysTest, EachKeyIsAcceptedWithoutAFunction) {
    RuleParser::verification_func = nullptr;

    EXPECT_EQ(dump_types(typed_of("$secret(n)")), "$secret(n):n $end:nn");
}
