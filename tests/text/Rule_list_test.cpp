// The lists of a container's rules, and of the keys and words that they read.
#include "text/rules/Rule_list.h"

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"

#include "tests/cli/kc_forms.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "text/errors.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file.h"

namespace zandrel::cli {

namespace {

// root (rules)
//   mail (rules)   "Office" | $from(?)
//     a/b          "now" & $lang(s) == 'de' & $size(n) > 5
//   rest           default
class RuleListTest : public testing::Test {
protected:
    std::string Rules(bool writes_json = false) const {
        std::ostringstream out;
        print_rules(list_rules(kc.tree), writes_json, out);
        return out.str();
    }

    std::string KeyLines(bool writes_json = false) const {
        std::ostringstream out;
        print_rule_keys(rule_keys("a.kc", kc.tree), writes_json, out);
        return out.str();
    }

    std::string Concepts(bool writes_json = false) const {
        std::set<Concept> concepts;
        kc.tree.CollectWordRules(concepts, false);
        std::ostringstream out;
        print_rule_concepts(concepts, writes_json, out);
        return out.str();
    }

    Edited_container kc;
    unsigned int root = kc.Root(ZE_RULE);
    unsigned int mail = kc.Add(root, "mail", "\"Office\" | $from(?)", ZE_RULE);
    unsigned int slash = kc.Add(mail, "a/b", "\"now\" & $lang(s) == 'de' & $size(n) > 5");
    unsigned int rest = kc.Add(root, "rest", "default");
};

TEST_F(RuleListTest, RulesHavePathTextAndTopCategory) {
    EXPECT_EQ(Rules(),
              "root/mail\t\"Office\" | $from(?)\t\n"
              "root/mail/a\\/b\t\"now\" & $lang(s) == 'de' & $size(n) > 5\tmail\n");
}

TEST_F(RuleListTest, KeysHaveTheirDatatypesInWords) {
    EXPECT_EQ(KeyLines(), "from\texistence\nlang\tstring\nsize\tnumber\n");
}

TEST_F(RuleListTest, ConceptsAreInTheOrderOfBytes) {
    EXPECT_EQ(Concepts(), "Office\nnow\n");
}

TEST_F(RuleListTest, JsonHasAnObjectOnEachLine) {
    EXPECT_EQ(Rules(true),
              R"j({"path":"root/mail","rule":"\"Office\" | $from(?)","top_category":""})j"
              "\n"
              R"j({"path":"root/mail/a\\/b","rule":"\"now\" & $lang(s) == 'de' & $size(n) > 5",)j"
              R"j("top_category":"mail"})j"
              "\n");
    EXPECT_EQ(KeyLines(true), R"j({"key":"from","datatype":"existence"})j"
                              "\n"
                              R"j({"key":"lang","datatype":"string"})j"
                              "\n"
                              R"j({"key":"size","datatype":"number"})j"
                              "\n");
    EXPECT_EQ(Concepts(true), "{\"concept\":\"Office\"}\n{\"concept\":\"now\"}\n");
}

// So a line remains a line, and has as many tabs as columns need. JSON has the texts themselves.
TEST_F(RuleListTest, ControlCharactersAreShownInLinesOnly) {
    kc.tree.DelLogicalNode(mail, false);
    kc.Add(root, "t\tn", "\"c\tn\" +\n$k\te(n)");

    EXPECT_EQ(Rules(), "root/t\\x09n\t\"c\\x09n\" +\\x0A$k\\x09e(n)\t\n");
    EXPECT_EQ(KeyLines(), "k\\x09e\tnumber\n");
    EXPECT_EQ(Concepts(), "c\\x09n\n");
    EXPECT_EQ(Rules(true),
              R"j({"path":"root/t\tn","rule":"\"c\tn\" +\n$k\te(n)","top_category":""})j"
              "\n");
    EXPECT_EQ(KeyLines(true), "{\"key\":\"k\\te\",\"datatype\":\"number\"}\n");
    EXPECT_EQ(Concepts(true), "{\"concept\":\"c\\tn\"}\n");
}

TEST_F(RuleListTest, KeyOfTwoDatatypesHasThatOfTheNewerNode) {
    kc.Add(root, "newer", "$from(s) == 'me'");

    EXPECT_EQ(KeyLines(), "from\tstring\nlang\tstring\nsize\tnumber\n");
}

TEST_F(RuleListTest, TreeWithoutRulesHasEmptyLists) {
    kc.tree.DelLogicalNode(mail, false);

    EXPECT_EQ(Rules() + KeyLines() + Concepts() + Rules(true), "");
}

// A program can store any text by zeLogicalTree::KCE_ChangeRule, and a file keeps it.
TEST_F(RuleListTest, WrongRuleIsNamedWithItsFileAndNode) {
    const Scratch_folder folder;
    const std::string file = folder.file("a.kc");
    kc.tree.KCE_ChangeRule(kc.Physical(slash), "$a(n) & (");
    write_kc(file, kc.manager, false, nullptr);
    std::string message;
    try {
        view_kc(file, nullptr, [&file](qtPtrLight<zeManager>& manager) {
            rule_keys(file, *manager->m_logical_tree);
        });
    } catch (const Data_error& error) {
        message = error.what();
    }

    EXPECT_EQ(message, file + ": the rule of root/mail/a\\/b is wrong: Invalid tokens: ( , $end");
    EXPECT_EQ(RuleParser::verification_func, nullptr);
    EXPECT_THAT(Rules(), testing::HasSubstr("\"now\" & $lang(s)")) << "the compiled rule";
}

// The rule of the classifier is in its record. Without it the container cannot be read.
TEST_F(RuleListTest, WrongRuleOfAClassifierIsDamageInEachForm) {
    const Scratch_folder folder;
    Kc_items items{saved(kc.manager)};
    for (auto& [key, bytes] : items.records) {
        const std::size_t place = bytes.find("\"now\" &");
        if (place != std::string::npos && key != kManagerRecord) {
            bytes.replace(place, 7, "\"now\" (");
        }
    }
    for (const Written_form form : {Written_form::kPlain, Written_form::kCached}) {
        SCOPED_TRACE(name_of_form(form));
        const std::string file = folder.file(name_of_form(form));
        write_kc_items(items, form, file);
        std::string message;
        try {
            view_kc(file, nullptr, [](qtPtrLight<zeManager>&) { FAIL() << "was read"; });
        } catch (const Data_error& error) {
            message = error.what();
        }

        EXPECT_EQ(message, file +
                               ": the container is damaged: a rule cannot be understood "
                               "(Invalid tokens: now , ()");
    }
}

}  // namespace

}  // namespace zandrel::cli
