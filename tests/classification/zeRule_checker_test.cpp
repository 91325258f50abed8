#include "zandrel/classification/zeRule_checker.h"

#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

double value_of(const Rule_checker& rule, zeMsg& msg) {
    DocInfo info{&msg, 0.5};
    return rule.Evaluate(info);
}

double value_of(const Rule_checker& rule) {
    zeMsg msg;
    return value_of(rule, msg);
}

zeConceptInDoc& only_concept(Rule_checker& rule) {
    std::vector<zeConceptInDoc*> words;
    rule.root().CollectConcepts(words);
    return *words.at(0);
}

}  // namespace

TEST(RuleCheckerTest, NewRuleAlwaysMatches) {
    const Rule_checker rule;

    EXPECT_EQ(rule.text(), "1");
    EXPECT_EQ(value_of(rule), 1.0);
}

TEST(RuleCheckerTest, KeepsTextAsWritten) {
    const Rule_checker rule(" 1  + 1 ");

    EXPECT_EQ(rule.text(), " 1  + 1 ");
    EXPECT_EQ(value_of(rule), 2.0);
}

TEST(RuleCheckerTest, KeepsTextAfterAZeroByteButDoesNotParseIt) {
    const std::string text("7\0word", 6);
    const Rule_checker rule{qtString(text)};

    EXPECT_EQ(rule.text().str(), text);
    EXPECT_EQ(value_of(rule), 7.0);
}

TEST(RuleCheckerTest, RefusesTextThatDoesNotParse) {
    EXPECT_QTX_ARGS(Rule_checker("1 +"), RuleParser, 0, "Invalid number of operations", {});
}

TEST(RuleCheckerTest, ValueOfANumericRuleIsUnchanged) {
    EXPECT_EQ(value_of(Rule_checker("250")), 250.0);
    EXPECT_EQ(value_of(Rule_checker("-3.5")), -3.5);
}

TEST(RuleCheckerTest, TrueIsOne) {
    EXPECT_EQ(value_of(Rule_checker("true")), 1.0);
    EXPECT_EQ(value_of(Rule_checker("false")), 0.0);
}

TEST(RuleCheckerTest, ValueMayBeNaN) {
    zeMsg msg;
    msg.add_value("k", mlMessageConverter::kString, "inf");

    EXPECT_TRUE(std::isnan(value_of(Rule_checker("$k(n) - $k(n)"), msg)));
}

TEST(RuleCheckerTest, ReadsScore) {
    EXPECT_EQ(value_of(Rule_checker("parent_score")), 0.5);
}

TEST(RuleCheckerTest, ReplacesRule) {
    Rule_checker rule("2");

    rule.SetString("3");

    EXPECT_EQ(rule.text(), "3");
    EXPECT_EQ(value_of(rule), 3.0);
}

TEST(RuleCheckerTest, KeepsRuleIfTheNewTextDoesNotParse) {
    Rule_checker rule("2");

    EXPECT_QTX(rule.SetString("3 +"), RuleParser, 0, "Invalid number of operations");

    EXPECT_EQ(rule.text(), "2");
    EXPECT_EQ(value_of(rule), 2.0);
}

TEST(RuleCheckerTest, KeepsSecondFormsIfTheNewTextDoesNotParse) {
    Rule_checker rule("\"goals\"");
    zeConceptInDoc& word = only_concept(rule);
    word.m_processed = term("goal");
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).make();

    EXPECT_QTX(rule.SetString("\"goals\" +"), RuleParser, 0, "Invalid number of operations");

    EXPECT_EQ(&only_concept(rule), &word);
    EXPECT_EQ(word.m_processed, term("goal"));
    EXPECT_EQ(value_of(rule, *msg), 1.0);
}

TEST(RuleCheckerTest, ReplacingTheRuleDropsSecondForms) {
    Rule_checker rule("\"goals\"");
    only_concept(rule).m_processed = term("goal");

    rule.SetString("\"goals\"");

    EXPECT_TRUE(only_concept(rule).m_processed.empty());
}

TEST(RuleCheckerTest, CanBeSetToItsOwnText) {
    Rule_checker rule("2 + 3");

    rule.SetString(rule.text());

    EXPECT_EQ(value_of(rule), 5.0);
}

TEST(RuleCheckerTest, CopyIsIndependentOfTheOriginal) {
    Rule_checker original("'a' == 'a'");
    const Rule_checker copy(original);

    original.SetString("0");

    EXPECT_EQ(copy.text(), "'a' == 'a'");
    EXPECT_EQ(value_of(copy), 1.0);
}

TEST(RuleCheckerTest, AssignedRuleIsIndependentOfTheOriginal) {
    Rule_checker assigned("0");
    {
        const Rule_checker original("substr('ab', 'b')");
        assigned = original;
    }

    EXPECT_EQ(assigned.text(), "substr('ab', 'b')");
    EXPECT_EQ(value_of(assigned), 1.0);
}

TEST(RuleCheckerTest, CopyDropsSecondForms) {
    Rule_checker original("\"goals\"");
    only_concept(original).m_processed = term("goal");
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).make();

    Rule_checker assigned;
    assigned = original;

    EXPECT_EQ(value_of(original, *msg), 1.0);
    EXPECT_EQ(value_of(Rule_checker(original), *msg), 0.0);
    EXPECT_EQ(value_of(assigned, *msg), 0.0);
}

TEST(RuleCheckerTest, AssignmentToItselfKeepsSecondForms) {
    Rule_checker rule("\"goals\"");
    only_concept(rule).m_processed = term("goal");
    Rule_checker& same = rule;

    rule = same;

    EXPECT_EQ(only_concept(rule).m_processed, term("goal"));
}

TEST(RuleCheckerTest, ComparesTexts) {
    EXPECT_TRUE(Rule_checker("1 + 1") == Rule_checker("1 + 1"));
    EXPECT_FALSE(Rule_checker("1 + 1") == Rule_checker("1+1"));
}

TEST(RuleCheckerTest, ComparesTextsAfterZeroBytes) {
    EXPECT_FALSE(Rule_checker(qtString("1\0a", 3)) == Rule_checker(qtString("1\0b", 3)));
}

TEST(RuleCheckerTest, SecondFormsDoNotMatterForEquality) {
    Rule_checker first("\"goals\"");
    const Rule_checker second("\"goals\"");

    only_concept(first).m_processed = term("goal");

    EXPECT_TRUE(first == second);
}

TEST(RuleCheckerTest, ValueThatChangesBetweenEvaluationsIsReadAgain) {
    const Rule_checker rule("$a(n) * 10 + $b(n) + $a(n)");
    zeMsg msg;
    msg.add_value("a", mlMessageConverter::kString, "1");
    msg.add_value("b", mlMessageConverter::kString, "2");
    DocInfo info{&msg, 0.5};
    EXPECT_EQ(rule.Evaluate(info), 13.0);

    msg.nvps[0].value = "3";
    EXPECT_EQ(rule.Evaluate(info), 35.0);

    zeMsg other;
    other.add_value("b", mlMessageConverter::kString, "4");
    info.msg = &other;
    EXPECT_EQ(rule.Evaluate(info), 4.0);
}

TEST(RuleCheckerTest, CopyReadsItsKeysLikeTheOriginal) {
    zeMsg msg;
    msg.add_value("a", mlMessageConverter::kString, "2");
    msg.add_value("b", mlMessageConverter::kString, "5");
    const Rule_checker rule("$a(n) - $b(n) * $a(n)");
    const Rule_checker copy = rule;

    EXPECT_EQ(value_of(copy, msg), -8.0);
}

// A rule has 64 slots for key values. The keys k64 to k69 have no slot and are read directly. The
// sum of 0 to 69 is 2415.
TEST(RuleCheckerTest, MoreKeysThanSlotsAreAllRead) {
    zeMsg msg;
    std::string rule = "0";
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 70; ++i) {
            msg.add_value("k" + std::to_string(i), mlMessageConverter::kString, std::to_string(i));
            rule += " + $k" + std::to_string(i) + "(n)";
        }
    }

    EXPECT_EQ(value_of(Rule_checker(qtString(rule)), msg), 2 * 2415.0);
}
