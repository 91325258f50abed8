// The rules of a tree: which rules are listed, with which top category, and the second forms that a
// program gives to their concepts.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <cstddef>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/foundation/BaseLPWrapper.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

// "rule text/top category" of each rule, in the order of the list.
std::vector<std::string> Shown(const std::vector<RuleInfo>& rules) {
    std::vector<std::string> shown;
    for (const RuleInfo& rule : rules) {
        shown.push_back(rule.checker->text().str() + "/" + std::string(rule.top_category.view()));
    }
    return shown;
}

std::vector<std::string> AllRules(const Edited_container& kc) {
    std::vector<RuleInfo> rules;
    kc.tree.GetAllRules(rules);
    return Shown(rules);
}

// The concept operands of the rule of a child of a rule node.
std::vector<zeConceptInDoc*> Operands(const Edited_container& kc, unsigned int parent,
                                      unsigned int child) {
    std::vector<zeConceptInDoc*> operands;
    kc.Switcher(parent).m_rules.at(kc.Physical(child)).root().CollectConcepts(operands);
    return operands;
}

std::string FormOf(const zeConceptInDoc& operand) {
    return std::string(operand.m_processed.view());
}

// The argument of the functions below: the forms to set, and the calls.
struct Dictionary : BaseLPWrapper {
    std::vector<std::pair<std::string, std::string>> forms;
    std::vector<std::pair<std::string, std::string>> calls;  // word and top category
    bool is_form_empty_before = true;

    std::string FormOf(const std::string& word) const {
        for (const auto& [from, to] : forms) {
            if (from == word) {
                return to;
            }
        }
        return {};
    }
};

void LookUp(BaseLPWrapper* wrapper, const Concept& word, Concept& form, const Concept& top) {
    auto& dictionary = static_cast<Dictionary&>(*wrapper);
    dictionary.calls.emplace_back(word.view(), top.view());
    dictionary.is_form_empty_before = dictionary.is_form_empty_before && form.empty();
    form = term(dictionary.FormOf(std::string(word.view())));
}

struct Failing_dictionary : Dictionary {
    std::size_t calls_before_failure = 0;
};

void LookUpOrFail(BaseLPWrapper* wrapper, const Concept& word, Concept& form, const Concept& top) {
    const auto& dictionary = static_cast<const Failing_dictionary&>(*wrapper);
    if (dictionary.calls.size() == dictionary.calls_before_failure) {
        throw std::runtime_error("no form");
    }
    LookUp(wrapper, word, form, top);
}

void SameWord(BaseLPWrapper* /*wrapper*/, const Concept& word, Concept& form,
              const Concept& /*top*/) {
    form = word;
}

std::string FileOf(zeManager& manager) {
    qtPtr<qtBuffer> buffer;
    manager.Write(buffer, nullptr, nullptr);
    return {buffer->bytes.begin(), buffer->bytes.end()};
}

// root (rules)
//   mail (rules)        $from(?)
//     work (rules)      "Office"
//       bills           "Bill" | "pays"
//     home              "family"
//   urgent              "Now"
//   rest                default
class zeLogicalTreeRulesTest : public testing::Test {
protected:
    Edited_container kc;
    unsigned int root = kc.Root(ZE_RULE);
    unsigned int mail = kc.Add(root, "mail", "$from(?)", ZE_RULE);
    unsigned int urgent = kc.Add(root, "urgent", "\"Now\"");
    unsigned int rest = kc.Add(root, "rest", "default");
    unsigned int work = kc.Add(mail, "work", "\"Office\"", ZE_RULE);
    unsigned int home = kc.Add(mail, "home", "\"family\"");
    unsigned int bills = kc.Add(work, "bills", "\"Bill\" | \"pays\"");
};

// The rules of a node come in the order of its children, before the rules below. The rule of the
// first level has no top category, and the default has no rule.
TEST_F(zeLogicalTreeRulesTest, RuleHasTheNameOfTheFirstLevelNodeAboveIt) {
    EXPECT_THAT(AllRules(kc), ElementsAre("$from(?)/", "\"Now\"/", "\"Office\"/mail",
                                          "\"family\"/mail", "\"Bill\" | \"pays\"/mail"));
}

TEST_F(zeLogicalTreeRulesTest, RuleHasTheIdOfItsNodeAndTheRuleOfTheClassifier) {
    std::vector<RuleInfo> rules;
    kc.tree.GetAllRules(rules);

    ASSERT_EQ(rules.size(), 5U);
    EXPECT_EQ(rules[2].id, work);
    EXPECT_EQ(rules[2].checker, &kc.Switcher(mail).m_rules.at(kc.Physical(work)));
    EXPECT_EQ(rules[4].id, bills);
    EXPECT_EQ(rules[4].checker, &kc.Switcher(work).m_rules.at(kc.Physical(bills)));
}

TEST_F(zeLogicalTreeRulesTest, ListIsNotClearedFirst) {
    std::vector<RuleInfo> rules = {RuleInfo{77, nullptr, Concept()}};
    kc.tree.GetAllRules(rules);

    ASSERT_EQ(rules.size(), 6U);
    EXPECT_EQ(rules.front().id, 77U);
}

TEST_F(zeLogicalTreeRulesTest, RulesBelowANodeHaveTheGivenTopCategory) {
    std::vector<RuleInfo> rules;
    kc.tree.RecursiveGetAllRules(kc.Node(mail), term("given"), rules);

    EXPECT_THAT(Shown(rules),
                ElementsAre("\"Office\"/given", "\"family\"/given", "\"Bill\" | \"pays\"/given"));
}

// An empty top category is replaced one level below the node at which the walk begins.
TEST_F(zeLogicalTreeRulesTest, EmptyTopCategoryIsReplacedByTheNameOfTheChild) {
    std::vector<RuleInfo> rules;
    kc.tree.RecursiveGetAllRules(kc.Node(mail), Concept(), rules);

    EXPECT_THAT(Shown(rules),
                ElementsAre("\"Office\"/", "\"family\"/", "\"Bill\" | \"pays\"/work"));
}

// In a container whose names and categories differ, the name counts.
TEST_F(zeLogicalTreeRulesTest, TopCategoryIsTheNameAndNotTheCategory) {
    kc.tree.GetNodePtr(mail)->name = term("post");

    EXPECT_THAT(AllRules(kc), testing::Contains("\"Office\"/post"));
}

TEST_F(zeLogicalTreeRulesTest, ChildWithoutARuleInTheClassifierIsNotListed) {
    kc.Switcher(mail).m_rules.erase(kc.Physical(work));

    EXPECT_THAT(AllRules(kc), ElementsAre("$from(?)/", "\"Now\"/", "\"family\"/mail",
                                          "\"Bill\" | \"pays\"/mail"));
}

// The default counts as the default even if a damaged classifier has a rule for it, too.
TEST_F(zeLogicalTreeRulesTest, DefaultIsNotListedEvenIfItHasARule) {
    kc.Switcher(root).m_default = kc.Physical(urgent);

    EXPECT_THAT(AllRules(kc), testing::Not(testing::Contains("\"Now\"/")));
}

TEST_F(zeLogicalTreeRulesTest, RuleNodeWithoutItsClassifierBreaksAnInvariant) {
    std::vector<RuleInfo> rules;
    kc.tree.GetNodePtr(home)->type = ZE_RULE;
    EXPECT_ASSERTS(kc.tree.GetAllRules(rules), "sw");

    kc.tree.GetNodePtr(home)->physical_node = nullptr;
    EXPECT_ASSERTS(kc.tree.GetAllRules(rules), "sw");
    EXPECT_ASSERTS(kc.tree.ProcessConceptRules(SameWord, nullptr), "sw");
}

// A program has linked the last rule node back to the root.
TEST_F(zeLogicalTreeRulesTest, NodeThatIsReachedTwiceIsListedOnce) {
    kc.tree.GetNodePtr(bills)->children = {root, 999};

    EXPECT_EQ(AllRules(kc).size(), 5U);
}

TEST_F(zeLogicalTreeRulesTest, EachConceptGetsTheFormThatTheFunctionSets) {
    Dictionary dictionary;
    dictionary.forms = {{"Office", "office"}, {"Bill", "bill"}, {"pays", "pay"}};

    EXPECT_TRUE(kc.tree.ProcessConceptRules(LookUp, &dictionary));

    EXPECT_EQ(FormOf(*Operands(kc, mail, work).at(0)), "office");
    EXPECT_EQ(FormOf(*Operands(kc, work, bills).at(0)), "bill");
    EXPECT_EQ(FormOf(*Operands(kc, work, bills).at(1)), "pay");
    EXPECT_EQ(FormOf(*Operands(kc, mail, home).at(0)), "");
}

TEST_F(zeLogicalTreeRulesTest, FunctionGetsArgumentWordEmptyFormAndTopCategory) {
    Dictionary dictionary;
    dictionary.forms = {{"Office", "office"}};
    kc.tree.ProcessConceptRules(LookUp, &dictionary);
    kc.tree.ProcessConceptRules(LookUp, &dictionary);  // "Office" has a form now

    EXPECT_TRUE(dictionary.is_form_empty_before);
    dictionary.calls.resize(5);
    EXPECT_THAT(dictionary.calls,
                ElementsAre(Pair("Now", ""), Pair("Office", "mail"), Pair("family", "mail"),
                            Pair("Bill", "mail"), Pair("pays", "mail")));
}

TEST_F(zeLogicalTreeRulesTest, SameFormsAgainAreNoChange) {
    Dictionary dictionary;
    dictionary.forms = {{"Office", "office"}};

    EXPECT_TRUE(kc.tree.ProcessConceptRules(LookUp, &dictionary));
    EXPECT_FALSE(kc.tree.ProcessConceptRules(LookUp, &dictionary));
    EXPECT_EQ(FormOf(*Operands(kc, mail, work).at(0)), "office");
}

TEST_F(zeLogicalTreeRulesTest, FunctionWithoutAnyFormChangesNothing) {
    Dictionary dictionary;

    EXPECT_FALSE(kc.tree.ProcessConceptRules(LookUp, &dictionary));
}

TEST_F(zeLogicalTreeRulesTest, SameWordAsFormRemovesTheForm) {
    Dictionary dictionary;
    dictionary.forms = {{"Office", "office"}};
    kc.tree.ProcessConceptRules(LookUp, &dictionary);

    EXPECT_TRUE(kc.tree.ProcessConceptRules(SameWord, nullptr));
    EXPECT_EQ(FormOf(*Operands(kc, mail, work).at(0)), "");
    EXPECT_FALSE(kc.tree.ProcessConceptRules(SameWord, nullptr));
}

// The words come in the order "Now", "Office", "family", "Bill", "pays".
TEST_F(zeLogicalTreeRulesTest, WordsBeforeAFailureOfTheFunctionKeepTheirForms) {
    Failing_dictionary dictionary;
    dictionary.forms = {{"Now", "now"}, {"Office", "office"}, {"Bill", "bill"}};
    dictionary.calls_before_failure = 1;

    EXPECT_THROW(kc.tree.ProcessConceptRules(LookUpOrFail, &dictionary), std::runtime_error);

    EXPECT_EQ(FormOf(*Operands(kc, root, urgent).at(0)), "now");
    EXPECT_EQ(FormOf(*Operands(kc, mail, work).at(0)), "");
    EXPECT_EQ(FormOf(*Operands(kc, work, bills).at(0)), "");
    EXPECT_EQ(dictionary.calls.size(), 1U);
}

TEST_F(zeLogicalTreeRulesTest, FormIsFoundByTheNextClassification) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"now", 1.0}}).make();
    EXPECT_TRUE(kc.Switcher(root).is_cat_blocked(kc.Physical(urgent), *msg));

    Dictionary dictionary;
    dictionary.forms = {{"Now", "now"}};
    kc.tree.ProcessConceptRules(LookUp, &dictionary);

    EXPECT_FALSE(kc.Switcher(root).is_cat_blocked(kc.Physical(urgent), *msg));
}

TEST_F(zeLogicalTreeRulesTest, FormsNeitherModifyTheContainerNorChangeItsFile) {
    const std::string before = FileOf(kc.manager);
    kc.manager.m_modified = false;
    kc.Switcher(mail).m_dirty = false;
    Dictionary dictionary;
    dictionary.forms = {{"Office", "office"}, {"Bill", "bill"}};

    EXPECT_TRUE(kc.tree.ProcessConceptRules(LookUp, &dictionary));

    EXPECT_FALSE(kc.manager.m_modified);
    EXPECT_FALSE(kc.Switcher(mail).m_dirty);
    EXPECT_TRUE(FileOf(kc.manager) == before);
}

TEST_F(zeLogicalTreeRulesTest, ChangedRuleHasNoForm) {
    Dictionary dictionary;
    dictionary.forms = {{"Office", "office"}};
    kc.tree.ProcessConceptRules(LookUp, &dictionary);
    zeLogicalNode changed = kc.Copy(work);
    changed.rule = "\"Office\" & true";
    kc.tree.ChangeLogicalNode(changed);

    EXPECT_EQ(FormOf(*Operands(kc, mail, work).at(0)), "");
}

TEST(zeLogicalTreeAllRulesTest, RulesBelowAStatisticalRootHaveTheTopCategoryNone) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    kc.Add(root, "sport");
    const unsigned int mail = kc.Add(root, "mail", "", ZE_RULE);
    const unsigned int work = kc.Add(mail, "work", kAboveOne, ZE_RULE);
    kc.Add(work, "bills", kAboveTwo);

    EXPECT_THAT(AllRules(kc),
                ElementsAre(std::string(kAboveOne) + "/None", std::string(kAboveTwo) + "/None"));
}

TEST(zeLogicalTreeAllRulesTest, TreeWithoutNodesLeavesTheListAsItIs) {
    Edited_container kc;
    std::vector<RuleInfo> rules(1);
    kc.tree.GetAllRules(rules);

    EXPECT_EQ(rules.size(), 1U);
    EXPECT_FALSE(kc.tree.ProcessConceptRules(SameWord, nullptr));
}

TEST(zeLogicalTreeAllRulesTest, RulesOfAVeryDeepTreeAreListed) {
    constexpr std::size_t kDepth = 100000;
    Edited_container kc;
    unsigned int parent = kc.Root(ZE_STAT);
    for (std::size_t i = 0; i < kDepth; ++i) {
        zeNode* const node =
            kc.manager.m_physical_tree->MakeNode(term(std::to_string(i)), ZE_LEAF, 0, 0.0);
        kc.tree.KCE_Add(node, nullptr);
        kc.tree.GetNodePtr(kc.tree.next_id)->parent = parent;
        kc.tree.GetNodePtr(parent)->children.push_back(kc.tree.next_id);
        parent = kc.tree.next_id;
    }
    kc.manager.AddClassifier(kc.Physical(parent), ZE_RULE);
    kc.tree.GetNodePtr(parent)->type = ZE_RULE;
    kc.Add(parent, "bottom", "\"Bottom\"");

    EXPECT_THAT(AllRules(kc), ElementsAre("\"Bottom\"/None"));
    Dictionary dictionary;
    dictionary.forms = {{"Bottom", "bottom"}};
    EXPECT_TRUE(kc.tree.ProcessConceptRules(LookUp, &dictionary));
    std::set<Concept> words;
    kc.tree.CollectWordRules(words, false);
    EXPECT_THAT(words, ElementsAre(term("Bottom")));
    std::ostringstream printed;
    kc.tree.PrintConceptRules(printed);
    EXPECT_TRUE(printed.str().starts_with("Path: root/0/1/2/"));
    EXPECT_TRUE(
        printed.str().ends_with("/99999/bottom\nRule: \"Bottom\"\n"
                                "  Original: [Bottom]   Processed: [bottom]\n\n\n"));
}

}  // namespace
