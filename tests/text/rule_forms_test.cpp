// The forms that rules' words get from each text analysis.
#include "text/rules/rule_forms.h"

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "tests/support/logical_tree.h"
#include "text/analysis/Text_analysis.h"

namespace zandrel::cli {

namespace {

const Analysis_settings kWords = {Analysis_kind::kWords};
const Analysis_settings kStems = {Analysis_kind::kWords, "english"};
const Analysis_settings kPhrases = {Analysis_kind::kPhrases};
const Analysis_settings kStemmedPhrases = {Analysis_kind::kPhrases, "english"};
const Analysis_settings kWhitespace = {Analysis_kind::kWhitespace};

struct Whole_row {
    Analysis_settings analysis;
    std::string text;
    std::string concept_text;  // empty: the text is not one concept
};

const std::vector<Whole_row>& whole_rows() {
    static const std::vector<Whole_row> rows = {
        {kWords, "Refund", "refund"},
        {kWords, " Refund!\n", "refund"},
        {kWords, "C++", "c"},
        {kWords, "STRASSE", "strasse"},
        {kWords, "2024", "2024"},
        {kWords, "New York", ""},
        {kWords, "e-mail", ""},
        {kWords, "", ""},
        {kWords, "!!!", ""},
        {kWords, "\xFF", ""},
        {kStems, "running", "run"},
        {kPhrases, "Refund", "refund"},
        {kPhrases, "New York", "new york"},
        {kPhrases, "new   york", "new york"},
        {kPhrases, "refund!", "refund !"},
        {kPhrases, "!", "!"},
        {kPhrases, "2024", "0000"},
        {kPhrases, "pay it now", ""},
        {kPhrases, "e-mail", ""},
        {kPhrases, "", ""},
        {kStemmedPhrases, "running shoes", "run shoe"},
        {kWhitespace, "Refund!", "Refund!"},
        {kWhitespace, "\t Refund \n", "Refund"},
        {kWhitespace, "New York", ""},
        {kWhitespace, "New\tYork", ""},
        {kWhitespace, "", ""},
        {kWhitespace, " \n", ""},
    };
    return rows;
}

TEST(RuleFormsTest, AnalysisFindsTheConceptOfAWholeText) {
    for (const Whole_row& row : whole_rows()) {
        SCOPED_TRACE(std::string(name_of(row.analysis.kind)) + " of \"" + row.text + "\"");
        EXPECT_EQ(make_text_analysis(row.analysis)->whole_concept(row.text), row.concept_text);
    }
}

// The second way: a text that is one concept gives a bag with that concept.
TEST(RuleFormsTest, ConceptOfAWholeTextIsInTheBagOfTheText) {
    for (const Whole_row& row : whole_rows()) {
        if (!row.concept_text.empty()) {
            SCOPED_TRACE(std::string(name_of(row.analysis.kind)) + " of \"" + row.text + "\"");
            zeSml_feeder feeder;
            make_text_analysis(row.analysis)->feed(row.text, feeder);
            EXPECT_TRUE(zeSml(feeder, 0.0).concept_exists(Concept::insert(row.concept_text)));
        }
    }
}

std::vector<std::string> forms_of(Rule_checker& rule) {
    std::vector<zeConceptInDoc*> words;
    rule.root().CollectConcepts(words);
    std::vector<std::string> forms;
    for (const zeConceptInDoc* const word : words) {
        forms.emplace_back(word->m_processed.view());
    }
    return forms;
}

using Forms = std::vector<std::string>;

TEST(RuleFormsTest, WordsOfARuleGetTheirForms) {
    Rule_checker rule("\"Running\" & (\"shoes\" | \"new shoes\") & !\"REFUND\"");
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis(kStems);
    give_forms(rule, *analysis);

    EXPECT_EQ(forms_of(rule), (Forms{"run", "shoe", "", "refund"}));
}

// The library calls an equal form no other form, so a rule and a tree must agree.
TEST(RuleFormsTest, WordThatIsItsOwnFormGetsNone) {
    Rule_checker rule("\"refund\" | \"Refund\"");
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis(kWords);
    give_forms(rule, *analysis);

    EXPECT_EQ(forms_of(rule), (Forms{"", "refund"}));
}

using Warnings = std::vector<std::string>;

TEST(RuleFormsTest, TextsThatAreNotOneConceptAreReportedOnce) {
    Rule_checker rule("\"pay it\" & (\"Refund\" | \"pay it\" | \"pay it now\") & \"\n!\"");
    const std::unique_ptr<Text_analysis> words = make_text_analysis(kWords);
    const std::unique_ptr<Text_analysis> phrases = make_text_analysis(kPhrases);

    EXPECT_EQ(
        rule_word_warnings(rule, *words),
        Warnings{"no text can have these texts of rules, since each is not one concept of the text "
                 "analysis: \"pay it\", \"pay it now\", \"\\x0A!\"; combine the parts by &"});
    EXPECT_EQ(
        rule_word_warnings(rule, *phrases),
        Warnings{"no text can have this text of a rule, since it is not one concept of the text "
                 "analysis: \"pay it now\"; combine the parts by &"});
}

TEST(RuleFormsTest, RuleWithConceptsOnlyCausesNoWarning) {
    Rule_checker rule("\"Refund\" & $a(n) > 1 & substr($b(s), 'pay it now')");
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis(kWords);

    EXPECT_EQ(rule_word_warnings(rule, *analysis), Warnings{});
}

TEST(RuleFormsTest, TextsOfAllRulesOfATreeAreReported) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int mail = kc.Add(root, "mail", "\"a b\"", ZE_RULE);
    kc.Add(mail, "1", "\"a b\" | \"c d\" | \"e f\"");
    kc.Add(mail, "2", "\"g h\" | \"i j\" | \"k l\" | \"m n\"");
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis(kWords);

    EXPECT_EQ(
        rule_word_warnings(kc.tree, *analysis),
        Warnings{
            "no text can have these texts of rules, since each is not one concept of the text "
            "analysis: \"a b\", \"c d\", \"e f\", \"g h\", \"i j\" and 2 more; combine the parts "
            "by &"});
}

Warnings warnings_of(const std::string& rule, const Analysis_settings& analysis) {
    Rule_checker checker{qtString(rule)};
    return rule_word_warnings(checker, *make_text_analysis(analysis));
}

TEST(RuleFormsTest, WordWhoseDigitsBecomeZeroIsReported) {
    const std::string begin = "the text analysis makes each digit 0, so ";
    const std::string end = "; --analysis words keeps digits";

    EXPECT_EQ(warnings_of("\"E404\"", kPhrases),
              Warnings{begin +
                       "this text of a rule also finds other digits: \"E404\" (read as "
                       "\"e000\")" +
                       end});
    EXPECT_EQ(warnings_of("\"room 7\" & (\"E404\" | \"room 7\") & \"refund\"", kStemmedPhrases),
              Warnings{begin +
                       "these texts of rules also find other digits: \"room 7\" "
                       "(read as \"room 0\"), \"E404\" (read as \"e000\")" +
                       end});
    // Arabic-Indic digits
    EXPECT_EQ(warnings_of("\"x\u0661\"", kPhrases),
              Warnings{begin +
                       "this text of a rule also finds other digits: \"x\u0661\" "
                       "(read as \"x0\")" +
                       end});
}

TEST(RuleFormsTest, WordThatKeepsItsDigitsIsNotReported) {
    EXPECT_EQ(warnings_of("\"E404\"", kWords), Warnings{});
    EXPECT_EQ(warnings_of("\"E404\"", kStems), Warnings{});
    EXPECT_EQ(warnings_of("\"E404\"", kWhitespace), Warnings{});
    EXPECT_EQ(warnings_of("\"\xFF"
                          "E404\"",
                          kWords),
              Warnings{});
    EXPECT_EQ(warnings_of("\"E000\" | \"E0\" | $a(n) == 404 | $b(s) == '404'", kPhrases),
              Warnings{});
}

TEST(RuleFormsTest, BothKindsOfWordsAreReported) {
    EXPECT_EQ(warnings_of("\"E404\" | \"pay 7 now\"", kPhrases).size(), 2U);
}

TEST(RuleFormsTest, SomeRulesOfATreeAreReported) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);
    kc.Add(root, "1", "\"a b\"");
    kc.Add(root, "2", "\"c d\"");
    kc.Add(root, "3", "default");
    std::set<std::string> rules = rules_of(kc.tree);
    EXPECT_EQ(rules, (std::set<std::string>{"\"a b\"", "\"c d\""}));
    rules.erase("\"a b\"");

    EXPECT_EQ(
        rule_word_warnings(rules, *make_text_analysis(kWords)),
        Warnings{"no text can have this text of a rule, since it is not one concept of the text "
                 "analysis: \"c d\"; combine the parts by &"});
}

TEST(RuleFormsTest, WordsOfAllRulesOfATreeGetTheirForms) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int mail = kc.Add(root, "mail", "\"Mail\"", ZE_RULE);
    const unsigned int bills = kc.Add(mail, "bills", "\"BILLS\" | \"bill\"");
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis(kWords);
    give_forms(kc.tree, *analysis);

    EXPECT_EQ(forms_of(kc.Switcher(root).m_rules.at(kc.Physical(mail))), Forms{"mail"});
    EXPECT_EQ(forms_of(kc.Switcher(mail).m_rules.at(kc.Physical(bills))), (Forms{"bills", ""}));
}

}  // namespace

}  // namespace zandrel::cli
