// The values of rules for a message.
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/bags.h"
#include "tests/support/rule_dump.h"

namespace {

struct Rule_value_row {
    std::string_view rule;
    double value;
};

constexpr double kScore = 0.25;

qtPtrLight<zeMsg> make_message() {
    qtPtrLight<zeMsg> msg =
        MessageBuilder().bag({{"goal", 2.0}, {"match", 1.0}, {"two words", 1.0}}).make();
    const std::pair<std::string_view, std::string_view> pairs[] = {
        {"blank", ""},       {"five", "5"},           {"word", "abc"},  {"zero", "0"},
        {"size", " 12.5kB"}, {"hex", "0x10"},         {"minus", "-4"},  {"big", "1e400"},
        {"exp", "2e3"},      {"Subject", "An Offer"}, {"comma", "1,5"}, {"nan", "nan"},
    };
    for (const auto& [name, value] : pairs) {
        msg->add_value(name, mlMessageConverter::kString, value);
    }
    return msg;
}

double value_of(std::string_view rule, zeMsg& msg) {
    DocInfo info{&msg, kScore};
    return tree_of(rule)->eval(info).number;
}

}  // namespace

TEST(RuleValueTest, EvaluatesNumbers) {
    const Rule_value_row rows[] = {
        {"1 + 2 * 3", 7.0},   {"-2 * 3", -6.0},
        {"2 - -3", 5.0},      {"(1 + 2) * 3", 9.0},
        {"8 / 4 / 2", 1.0},   {"1 - 2 - 3", -4.0},
        {"5.", 5.0},          {".5", 0.5},
        {"100", 100.0},       {"-3", -3.0},
        {"1 v 2", 2.0},       {"2 v 1", 2.0},
        {"1 ^ 2", 1.0},       {"2 ^ 1", 1.0},
        {"1 v 5 ^ 3", 3.0},   {"true + 1", 2.0},
        {"true + true", 2.0}, {"+true", 1.0},
        {"1/0", 1.0 / 1e-09}, {"-1/0", -1.0 / 1e-09},
        {"0/0", 0.0},         {"1 / -0", 1.0 / 1e-09},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

TEST(RuleValueTest, EvaluatesBooleansToOneOrZero) {
    const Rule_value_row rows[] = {
        {"true", 1.0},        {"false", 0.0},        {"!true", 0.0},        {"!false", 1.0},
        {"true & true", 1.0}, {"true & false", 0.0}, {"false | true", 1.0}, {"false | false", 0.0},
        {"1 < 2 < 3", 1.0},   {"3 < 2 < 1", 1.0},    {"-0.0 == 0", 1.0},    {".1 + .2 == .3", 0.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

// Each comparison of a smaller with a greater number, of equal numbers, and of a greater with a
// smaller one. No two comparisons give the same three results.
TEST(RuleValueTest, ComparesNumbers) {
    const Rule_value_row rows[] = {
        {"1 <= 2", 1.0}, {"2 <= 2", 1.0}, {"3 <= 2", 0.0},  //
        {"1 < 2", 1.0},  {"2 < 2", 0.0},  {"3 < 2", 0.0},   //
        {"1 >= 2", 0.0}, {"2 >= 2", 1.0}, {"3 >= 2", 1.0},  //
        {"1 > 2", 0.0},  {"2 > 2", 0.0},  {"3 > 2", 1.0},   //
        {"1 == 2", 0.0}, {"2 == 2", 1.0}, {"3 == 2", 0.0},  //
        {"1 != 2", 1.0}, {"2 != 2", 0.0}, {"3 != 2", 1.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

TEST(RuleValueTest, ComparesBooleans) {
    const Rule_value_row rows[] = {
        {"false <= true", 1.0}, {"true <= true", 1.0},   {"true <= false", 0.0},
        {"false < true", 1.0},  {"true < true", 0.0},    {"true < false", 0.0},
        {"false >= true", 0.0}, {"true >= true", 1.0},   {"true >= false", 1.0},
        {"false > true", 0.0},  {"true > true", 0.0},    {"true > false", 1.0},
        {"true == true", 1.0},  {"false == false", 1.0}, {"true == false", 0.0},
        {"false == true", 0.0}, {"true != true", 0.0},   {"false != false", 0.0},
        {"true != false", 1.0}, {"false != true", 1.0},  {"true == 1", 1.0},
        {"true == 2", 0.0},     {"2 == true", 0.0},      {"true != 1", 0.0},
        {"true != 2", 1.0},     {"false == 0", 1.0},     {"false != 0", 0.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

// NaN is neither less than nor equal to nor greater than any number, itself included.
TEST(RuleValueTest, ComparesNaN) {
    const Rule_value_row rows[] = {
        {"$nan(n) <= 1", 0.0},    {"1 <= $nan(n)", 0.0},   {"$nan(n) <= $nan(n)", 0.0},
        {"$nan(n) < 1", 0.0},     {"1 < $nan(n)", 0.0},    {"$nan(n) < $nan(n)", 0.0},
        {"$nan(n) >= 1", 0.0},    {"1 >= $nan(n)", 0.0},   {"$nan(n) >= $nan(n)", 0.0},
        {"$nan(n) > 1", 0.0},     {"1 > $nan(n)", 0.0},    {"$nan(n) > $nan(n)", 0.0},
        {"$nan(n) == 1", 0.0},    {"1 == $nan(n)", 0.0},   {"$nan(n) == $nan(n)", 0.0},
        {"$nan(n) != 1", 1.0},    {"1 != $nan(n)", 1.0},   {"$nan(n) != $nan(n)", 1.0},
        {"!($nan(n) <= 1)", 1.0}, {"!($nan(n) < 1)", 1.0}, {"!(1 >= $nan(n))", 1.0},
        {"!(1 > $nan(n))", 1.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

TEST(RuleValueTest, EvaluatesStrings) {
    const Rule_value_row rows[] = {
        {"'a' == 'a'", 1.0},
        {"'a' == 'A'", 0.0},
        {"'a' == 'ab'", 0.0},
        {"'a' == 'b'", 0.0},
        {"'b' == 'a'", 0.0},
        {"'a' != 'a'", 0.0},
        {"'a' != 'b'", 1.0},
        {"'b' != 'a'", 1.0},
        {"'a' != 'ab'", 1.0},
        {"'a' != 'A'", 1.0},
        {"substr('abc', 'bc')", 1.0},
        {"substr('abc', 'BC')", 0.0},
        {"substr('bc', 'abc')", 0.0},
        {"Isubstr('abc', 'BC')", 1.0},
        {"Isubstr('abc', 'bd')", 0.0},
        {"substr($Subject(s), 'offer')", 0.0},
        {"Isubstr($Subject(s), 'offer')", 1.0},
        {"substr($none(s), 'b')", 0.0},
        {"substr('b', $none(s))", 0.0},
        {"Isubstr('b', $none(s))", 1.0},
        {"Isubstr($none(s), $none(s))", 1.0},
        {"substr('b', $blank(s))", 0.0},
        {"Isubstr('b', $blank(s))", 1.0},
        {"$none(s) == $blank(s)", 1.0},
        {R"('it\'s' == 'it\'s')", 1.0},
        {R"(substr('it\'s', '\''))", 1.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

TEST(RuleValueTest, EvaluatesConditionals) {
    const Rule_value_row rows[] = {
        {"true ? 1 : 2", 1.0},
        {"false ? 1 : 2", 2.0},
        {"true ? true : 5", 1.0},
        {"false ? true : false", 0.0},
        {"(false ? 'a' : 'b') == 'b'", 1.0},
        // The left conditional is evaluated first: (true ? false : true) ? 1 : 2.
        {"true ? false : true ? 1 : 2", 2.0},
        {"true ? false : (true ? 1 : 2)", 0.0},
        {"1 < 2 ? 3 + 4 : 5 * 6", 7.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

TEST(RuleValueTest, ReadsPairs) {
    const Rule_value_row rows[] = {
        {"$five(n)", 5.0},       {"$five(?)", 1.0},      {"$five(s) == '5'", 1.0},
        {"$none(n) == 0", 1.0},  {"$zero(n) == 0", 1.0}, {"$word(n) == 0", 1.0},
        {"$none(?)", 0.0},       {"$zero(?)", 1.0},      {"$word(?)", 1.0},
        {"$blank(?)", 1.0},      {"$blank(n)", 0.0},     {"$size(n)", 12.5},
        {"$hex(n)", 16.0},       {"$minus(n)", -4.0},    {"$exp(n)", 2000.0},
        {"$big(n) > 1000", 1.0}, {"$comma(n)", 1.0},     {"$five(n) - $none(n)", 5.0},
        {"$Five(?)", 0.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

TEST(RuleValueTest, ReadsBagAndScore) {
    const Rule_value_row rows[] = {
        {"\"goal\"", 1.0},
        {"\"Goal\"", 0.0},
        {"\"two words\"", 1.0},
        {"\"goal\" & \"match\"", 1.0},
        {"\"goal\" + \"match\" + \"referee\"", 2.0},
        {"concepts_in_sml", 3.0},
        {"empty_body_message", 0.0},
        {"parent_score", kScore},
        {"stat_matching", kScore},
        {"parent_score == stat_matching", 1.0},
        {"parent_score * 4", 1.0},
    };
    const qtPtrLight<zeMsg> msg = make_message();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}

TEST(RuleValueTest, ReadsMessageWithoutCurrentBag) {
    const Rule_value_row rows[] = {
        {"\"goal\"", 0.0},
        {"concepts_in_sml", 0.0},
        {"empty_body_message", 0.0},
    };
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).active(1).make();

    for (const Rule_value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(value_of(row.rule, *msg), row.value);
    }
}
