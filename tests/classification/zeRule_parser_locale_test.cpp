// Rules in a process whose locale has a decimal comma. A container must give the same results in
// every country.
#include <cstdlib>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/comma_locale.h"
#include "tests/support/rule_dump.h"

namespace {

struct Value_row {
    std::string_view rule;
    double value;
};

}  // namespace

TEST(RuleLocaleTest, ReadsNumbersWithPoint) {
    const Value_row rows[] = {
        {"2.5", 2.5},       {".5 + .25", 0.75}, {"1000.5 / 2", 500.25},    {"$point(n)", 1.5},
        {"$comma(n)", 1.0}, {"$kilo(n)", 1.0},  {"$point(n) == 1.5", 1.0},
    };
    zeMsg msg;
    msg.add_value("comma", mlMessageConverter::kString, "1,5");
    msg.add_value("kilo", mlMessageConverter::kString, "1.000,5");
    msg.add_value("point", mlMessageConverter::kString, "1.5");
    DocInfo info{&msg, 0.0};
    const Comma_locale locale;
    ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);

    for (const Value_row& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(tree_of(row.rule)->eval(info).number, row.value);
    }
}
