#include "cli/classify/Record_echo.h"

#include <gtest/gtest.h>

namespace zandrel::cli {

TEST(RecordEchoTest, MemberIsAddedAtTheEnd) {
    EXPECT_EQ(with_member("{}", "c", "[]"), R"({"c":[]})");
    EXPECT_EQ(with_member(" { } ", "c", "1"), R"({"c":1})");
    EXPECT_EQ(with_member(R"({"a": 1.50, "b" : "x"})", "c", "[]"),
              R"({"a": 1.50,"b" : "x","c":[]})");
}

TEST(RecordEchoTest, InnerCommasAndBracketsAreNoEnds) {
    EXPECT_EQ(with_member(R"({"a":[1,{"x":"]}"}],"b":"\\\",}"})", "c", "0"),
              R"({"a":[1,{"x":"]}"}],"b":"\\\",}","c":0})");
}

TEST(RecordEchoTest, MemberOfTheSameNameIsReplaced) {
    EXPECT_EQ(with_member(R"({"c":[1,2],"a":{"c":3}})", "c", "0"), R"({"a":{"c":3},"c":0})");
    EXPECT_EQ(with_member(R"({"a":1,"\u0063":2})", "c", "0"), R"({"a":1,"c":0})");
}

TEST(RecordEchoTest, MembersOfANameAreLeftOut) {
    EXPECT_EQ(without_member("{}", "c"), "{}");
    EXPECT_EQ(without_member(R"({"c":1})", "c"), "{}");
    EXPECT_EQ(without_member(R"({"c":[1,2],"a": {"c":3},"\u0063":0})", "c"), R"({"a": {"c":3}})");
    EXPECT_EQ(without_member(R"({"a":1, "b":"c"})", "c"), R"({"a":1,"b":"c"})");
}

TEST(RecordEchoTest, CsvColumnIsQuotedIfNeeded) {
    EXPECT_EQ(csv_row({"a", "", " b"}), "a,, b");
    EXPECT_EQ(csv_row({"a,b", "c\"d", "e\nf", "g\rh"}), "\"a,b\",\"c\"\"d\",\"e\nf\",\"g\rh\"");
    EXPECT_EQ(csv_row({""}), "\"\"");
}

}  // namespace zandrel::cli
