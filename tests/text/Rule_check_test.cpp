#include "text/rules/Rule_check.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "text/errors.h"

namespace zandrel::cli {

namespace {

Rule_check checked(const std::string& text) {
    std::istringstream input(text);
    return check_rules(input, "a.rules");
}

// The bad rules, each as "LINE: message" followed by a bar.
std::string bad_rules(const Rule_check& check) {
    std::string text;
    for (const Bad_rule& rule : check.bad) {
        text += std::to_string(rule.line) + ": " + rule.message + "|";
    }
    return text;
}

TEST(RuleCheckTest, LineOfEachBadRuleIsNamed) {
    const struct {
        std::string text;
        std::size_t rule_count;
        std::string bad;
    } rows[] = {
        {"", 0, ""},
        {"1\n\"a\" & true\n", 2, ""},
        {"1\nbad\n2\n(3\n", 4, "2: Invalid token at: bad|4: Invalid tokens: ( , $end|"},
        {"bad", 1, "1: Invalid token at: bad|"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Rule_check check = checked(row.text);
        EXPECT_EQ(check.rule_count, row.rule_count);
        EXPECT_EQ(bad_rules(check), row.bad);
    }
}

TEST(RuleCheckTest, EmptyLinesAndCommentsAreSkipped) {
    const Rule_check check = checked("\n \t\n# bad\n  # bad\nbad\n");

    EXPECT_EQ(check.rule_count, 1U);
    EXPECT_EQ(bad_rules(check), "5: Invalid token at: bad|");
}

TEST(RuleCheckTest, MessagesShowRulesWithoutWhiteSpaceAtTheEnds) {
    EXPECT_EQ(bad_rules(checked("  bad rule \r\n\r\n")), "1: Invalid token at: bad rule|");
}

TEST(RuleCheckTest, ByteOrderMarkIsSkippedOnlyInTheFirstLine) {
    EXPECT_EQ(bad_rules(checked("\xEF\xBB\xBF"
                                "1\n")),
              "");
    EXPECT_EQ(bad_rules(checked("1\n\xEF\xBB\xBF"
                                "1\n")),
              "2: Invalid token at: \xEF\xBB\xBF"
              "1|");
}

TEST(RuleCheckTest, MessagesHaveTheFormThatEditorsFind) {
    std::ostringstream out;
    std::ostringstream messages;
    print_rule_check({"a.rules", 12, {{3, "Empty expression"}, {10, "x"}}}, out, messages);

    EXPECT_EQ(out.str(), "12 rules, 2 bad\n");
    EXPECT_EQ(messages.str(), "a.rules:3: Empty expression\na.rules:10: x\n");
}

TEST(RuleCheckTest, SingleRuleIsPrintedInTheSingular) {
    std::ostringstream out;
    std::ostringstream messages;
    print_rule_check({"a.rules", 1, {}}, out, messages);

    EXPECT_EQ(out.str(), "1 rule, 0 bad\n");
    EXPECT_EQ(messages.str(), "");
}

TEST(RuleCheckTest, JsonHasTheSameContents) {
    EXPECT_EQ(rule_check_json({"a.rules", 12, {{3, "Empty expression"}}}).dump(),
              R"({"file":"a.rules","rules":12,"bad":[{"line":3,"message":"Empty expression"}]})");
    EXPECT_EQ(rule_check_json({"-", 0, {}}).dump(), R"({"file":"-","rules":0,"bad":[]})");
}

TEST(RuleCheckTest, DashMeansStandardInput) {
    std::istringstream input("1\nbad\n");
    const Rule_check check = check_rule_file("-", input);

    EXPECT_EQ(check.file, "<stdin>");
    EXPECT_EQ(bad_rules(check), "2: Invalid token at: bad|");
}

TEST(RuleCheckTest, FileThatCannotBeReadIsRefused) {
    std::istringstream input;
    EXPECT_THROW(check_rule_file("/nowhere/a.rules", input), Input_error);
    EXPECT_THROW(check_rule_file("/", input), Input_error);
}

}  // namespace

}  // namespace zandrel::cli
