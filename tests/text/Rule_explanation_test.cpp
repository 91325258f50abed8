#include "text/rules/Rule_explanation.h"

#include <cstddef>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/classification/zeRule_parser.h"

#include "text/errors.h"

namespace zandrel::cli {

namespace {

std::string shown_tokens(const Rule_explanation& explanation) {
    std::string text;
    for (const std::string& token : explanation.tokens) {
        text += (text.empty() ? "" : " ") + token;
    }
    return text;
}

std::string shown_polish(const Rule_explanation& explanation) {
    std::string text;
    for (const Typed_token& token : explanation.reverse_polish) {
        text += (text.empty() ? "" : " ") + token.text + ":" + token.types;
    }
    return text;
}

// The nodes of the tree, each as "LEVEL TYPE text", with bars between them.
std::string shown_tree(const Rule_explanation& explanation) {
    std::string text;
    for (const Tree_line& line : explanation.tree) {
        text += text.empty() ? "" : "|";
        text += std::to_string(line.level) + " " + line.type + " " + line.text;
    }
    return text;
}

TEST(RuleExplanationTest, TokensAreListedAsWritten) {
    const struct {
        std::string rule;
        std::string tokens;
    } rows[] = {
        {"1+2", "$start 1 + 2 $end"},
        {"( \"a\" )?5.:.5", "$start ( \"a\" ) ? 5. : .5 $end"},
        {R"("a\"b\\c" & $k\(x(s) == 'it\'s "q"')",
         R"($start "a\"b\\c" & $k\(x(s) == 'it\'s "q"' $end)"},
        {"substr($a(s),'x') | $b(?)", "$start substr ( $a(s) , 'x' ) | $b(?) $end"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(shown_tokens(explain_rule(row.rule)), row.tokens);
    }
}

TEST(RuleExplanationTest, ReversePolishFormIsListedWithSettledTypes) {
    const struct {
        std::string rule;
        std::string polish;
    } rows[] = {
        {"1 + 2 * 3", "1:n 2:n 3:n *:nnn +:nnn $end:nn"},
        {"2 - -3", "2:n 3:n -:nn -:nnn $end:nn"},
        {"true == 1", "true:b 1:n ==:bnn $end:nn"},
        {"'a' != 'b'", "'a':s 'b':s !=:bss $end:nn"},
        {"\"w\" ? true : false", "\"w\":b true:b false:b ?:bbbb $end:nn"},
        {"(1)", "1:n $end:nn"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(shown_polish(explain_rule(row.rule)), row.polish);
    }
}

TEST(RuleExplanationTest, TreeIsListed) {
    const struct {
        std::string rule;
        std::string tree;
    } rows[] = {
        {"5.", "0 n 5"},
        {"true", "0 n to number|1 b true"},
        {"+1", "0 n 1"},
        {"-1", "0 n negation|1 n 1"},
        {"1 + 2 - 3", "0 n difference|1 n sum|2 n 1|2 n 2|1 n 3"},
        {"2 * 3 / 4", "0 n quotient|1 n product|2 n 2|2 n 3|1 n 4"},
        {"1 v 2 ^ 3", "0 n greater of|1 n 1|1 n lesser of|2 n 2|2 n 3"},
        {"!true | false & \"a\\\"b\"",
         "0 n to number|1 b or|2 b not|3 b true|2 b and|3 b false|3 b \"a\\\"b\""},
        {"1 < 2 <= 3", "0 n to number|1 b less or equal|2 n to number|3 b less|4 n 1|4 n 2|2 n 3"},
        {"1 > 2 >= 3",
         "0 n to number|1 b greater or equal|2 n to number|3 b greater|4 n 1|4 n 2|2 n 3"},
        {"1 == true", "0 n to number|1 b numbers equal|2 n 1|2 n to number|3 b true"},
        {"$a(?) != true", "0 n to number|1 b not|2 b booleans equal|3 b $a(?)|3 b true"},
        {"$a(s) == 'x'", "0 n to number|1 b strings equal|2 s $a(s)|2 s 'x'"},
        {"substr('a', 'b')", "0 n to number|1 b contains|2 s 'a'|2 s 'b'"},
        {"Isubstr('a', 'b')", "0 n to number|1 b contains, ignoring case|2 s 'a'|2 s 'b'"},
        {"true ? false : true", "0 n to number|1 b conditional|2 b true|2 b false|2 b true"},
        {"true ? $x(n) : 2", "0 n conditional|1 b true|1 n $x(n)|1 n 2"},
        {"(true ? 'a' : 'b') == 'a'",
         "0 n to number|1 b strings equal|2 s conditional|3 b true|3 s 'a'|3 s 'b'|2 s 'a'"},
        {"parent_score + stat_matching", "0 n sum|1 n parent_score|1 n parent_score"},
        {"concepts_in_sml * empty_body_message",
         "0 n product|1 n concepts_in_sml|1 n to number|2 b empty_body_message"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(shown_tree(explain_rule(row.rule)), row.tree);
    }
}

TEST(RuleExplanationTest, DeepestTreeIsListed) {
    std::string rule = "1";
    for (int level = 1; level < RuleParser::kDeepestTree; ++level) {
        rule += "+1";
    }

    const Rule_explanation explanation = explain_rule(rule);

    ASSERT_EQ(explanation.tree.size(), 2U * RuleParser::kDeepestTree - 1);
    EXPECT_EQ(explanation.tree[RuleParser::kDeepestTree - 1].level,
              static_cast<std::size_t>(RuleParser::kDeepestTree - 1));
}

TEST(RuleExplanationTest, ErrorOfABadRuleIsGiven) {
    try {
        explain_rule("'a' == 1");
        FAIL() << "was taken";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "rule: Operator with mismatched operands");
    }
}

TEST(RuleExplanationTest, TreeIsPrintedIndented) {
    std::ostringstream out;
    print_rule_explanation(explain_rule("1 < -$a(n)"), out);

    EXPECT_EQ(out.str(),
              "tokens          $start 1 < - $a(n) $end\n"
              "reverse Polish  1:n $a(n):n -:nn <:bnn $end:nn\n"
              "tree            n to number\n"
              "                b   less\n"
              "                n     1\n"
              "                n     negation\n"
              "                n       $a(n)\n");
}

TEST(RuleExplanationTest, JsonHasTheSameContents) {
    EXPECT_EQ(rule_explanation_json(explain_rule("-\"a\"")).dump(),
              R"({"rule":"-\"a\"","tokens":["$start","-","\"a\"","$end"],"reverse_polish":[)"
              R"({"token":"\"a\"","types":"b"},{"token":"-","types":"nn"},)"
              R"({"token":"$end","types":"nn"}],"tree":[)"
              R"({"level":0,"type":"n","node":"negation"},)"
              R"({"level":1,"type":"n","node":"to number"},)"
              R"({"level":2,"type":"b","node":"\"a\""}]})");
}

}  // namespace

}  // namespace zandrel::cli
