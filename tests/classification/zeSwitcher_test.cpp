#include "zandrel/classification/zeSwitcher.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/storage/Hio.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/rule_node.h"

namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class zeSwitcherTest : public testing::Test {
protected:
    bool IsBlocked(zeNode* child) { return rules.switcher.is_cat_blocked(child, msg); }

    Rule_node rules;
    zeSwitcher& switcher = rules.switcher;
    zeMsg msg;
};

TEST_F(zeSwitcherTest, IsOfTheRuleType) {
    EXPECT_EQ(switcher.GetType(), 1U);
}

TEST_F(zeSwitcherTest, StartsWithoutRulesAndWithoutADefault) {
    EXPECT_THAT(switcher.m_rules, IsEmpty());
    EXPECT_EQ(switcher.m_default, nullptr);
    EXPECT_GE(switcher.m_rules.bucket_count(), 100U);
}

TEST_F(zeSwitcherTest, DestructionDoesNotChangeTheNodes) {
    zeNode* const child = rules.leaf("a", "1");

    rules.manager.Release(&switcher);

    EXPECT_THAT(rules.node->m_children, ElementsAre(child));
    EXPECT_EQ(child->m_parent, rules.node);
}

// add_rule.

TEST_F(zeSwitcherTest, AddRuleKeepsTheRuleAndLinksTheChild) {
    zeNode* const child = rules.leaf("a", "1 + 1");

    EXPECT_EQ(switcher.m_rules.size(), 1U);
    EXPECT_EQ(switcher.m_rules.at(child).text(), qtString("1 + 1"));
    EXPECT_EQ(switcher.m_default, nullptr);
    EXPECT_THAT(rules.node->m_children, ElementsAre(child));
    EXPECT_EQ(child->m_parent, rules.node);
    EXPECT_TRUE(switcher.m_dirty);
}

TEST_F(zeSwitcherTest, AddRuleOfTheMarkerMakesTheDefault) {
    zeNode* const child = rules.leaf("a", "default");

    EXPECT_EQ(switcher.m_default, child);
    EXPECT_THAT(switcher.m_rules, IsEmpty());
    EXPECT_THAT(rules.node->m_children, ElementsAre(child));
    EXPECT_TRUE(switcher.m_dirty);
}

TEST_F(zeSwitcherTest, AddRuleTakesOnlyTheExactMarkerAsTheDefault) {
    for (const std::string_view text :
         {"Default"sv, "default "sv, " default"sv, "defaults"sv, "\"default"sv, "default\0"sv}) {
        SCOPED_TRACE(text);
        zeNode* const child = rules.leaf("a");

        EXPECT_THROW(rules.add(child, text), qtX<RuleParser>);

        EXPECT_EQ(switcher.m_default, nullptr);
    }
}

TEST_F(zeSwitcherTest, AddRuleAppendsTheChildren) {
    zeNode* const first = rules.leaf("a", "1");
    zeNode* const second = rules.leaf("b", "default");
    zeNode* const third = rules.leaf("c", "0");

    EXPECT_THAT(rules.node->m_children, ElementsAre(first, second, third));
}

TEST_F(zeSwitcherTest, AddRuleAcceptsAChildThatIsAlreadyLinked) {
    zeNode* const child = rules.leaf("a");
    rules.node->add_child(child);

    rules.add(child, "1");

    EXPECT_THAT(rules.node->m_children, ElementsAre(child));
    EXPECT_EQ(switcher.get_rule(child), qtString("1"));
}

TEST_F(zeSwitcherTest, AddRuleWithoutANodeLinksNothing) {
    zeSwitcher unbound(&rules.manager, nullptr);
    zeNode* child = rules.leaf("a");

    unbound.add_rule(child, "1");

    EXPECT_EQ(unbound.get_rule(child), qtString("1"));
    EXPECT_EQ(child->m_parent, nullptr);
    rules.manager.UnregisterObject(&unbound);
}

TEST_F(zeSwitcherTest, AddRuleRefusesAChildThatHasARule) {
    zeNode* const ruled = rules.leaf("ruled", "1");
    zeNode* const fallback = rules.leaf("fallback", "default");
    switcher.m_dirty = false;
    for (const char* text : {"2", "default", "not a rule"}) {
        SCOPED_TRACE(text);

        EXPECT_QTX_ARGS(rules.add(ruled, text), zeSwitcher, 0,
                        "Category already exists in classifier", {"root", "ruled"});
        EXPECT_QTX_ARGS(rules.add(fallback, text), zeSwitcher, 0,
                        "Category already exists in classifier", {"root", "fallback"});
    }
    EXPECT_EQ(switcher.get_rule(ruled), qtString("1"));
    EXPECT_EQ(switcher.m_default, fallback);
    EXPECT_FALSE(switcher.m_dirty);
}

TEST_F(zeSwitcherTest, AddRuleRefusesASecondDefault) {
    zeNode* const first = rules.leaf("first", "default");
    zeNode* const second = rules.leaf("second");
    switcher.m_dirty = false;

    EXPECT_QTX_ARGS(rules.add(second, "default"), zeSwitcher, 1,
                    "Default already exists in classifier", {"root", "second"});

    EXPECT_EQ(switcher.m_default, first);
    EXPECT_THAT(rules.node->m_children, ElementsAre(first));
    EXPECT_EQ(second->m_parent, nullptr);
    EXPECT_FALSE(switcher.m_dirty);
}

TEST_F(zeSwitcherTest, AddRuleOfABadTextChangesNothing) {
    zeNode* const child = rules.leaf("a");

    EXPECT_QTX(rules.add(child, ""), RuleParser, 0, "Empty expression");

    EXPECT_THAT(switcher.m_rules, IsEmpty());
    EXPECT_THAT(rules.node->m_children, IsEmpty());
    EXPECT_EQ(child->m_parent, nullptr);
    EXPECT_FALSE(switcher.m_dirty);
}

// change_rule.

TEST_F(zeSwitcherTest, ChangeRuleReplacesTheTextAndMovesTheChildToTheEnd) {
    zeNode* const first = rules.leaf("a", "1");
    zeNode* const second = rules.leaf("b", "2");
    switcher.m_dirty = false;

    rules.change(first, "3");

    EXPECT_EQ(switcher.get_rule(first), qtString("3"));
    EXPECT_EQ(switcher.get_rule(second), qtString("2"));
    EXPECT_THAT(rules.node->m_children, ElementsAre(second, first));
    EXPECT_EQ(first->m_parent, rules.node);
    EXPECT_TRUE(switcher.m_dirty);
}

TEST_F(zeSwitcherTest, ChangeRuleTurnsARuleIntoTheDefaultAndBack) {
    zeNode* const child = rules.leaf("a", "1");
    zeNode* const other = rules.leaf("b", "1");

    rules.change(child, "default");

    EXPECT_EQ(switcher.m_default, child);
    EXPECT_EQ(switcher.m_rules.count(child), 0U);
    EXPECT_THAT(rules.node->m_children, ElementsAre(other, child));

    rules.change(child, "2");

    EXPECT_EQ(switcher.m_default, nullptr);
    EXPECT_EQ(switcher.get_rule(child), qtString("2"));
    EXPECT_THAT(rules.node->m_children, ElementsAre(other, child));
}

TEST_F(zeSwitcherTest, ChangeRuleKeepsTheDefaultADefault) {
    zeNode* const child = rules.leaf("a", "default");

    rules.change(child, "default");

    EXPECT_EQ(switcher.m_default, child);
    EXPECT_THAT(rules.node->m_children, ElementsAre(child));
}

// The caller may pass a reference to the very pointer that the change clears or moves.
TEST_F(zeSwitcherTest, ChangeRuleAcceptsAReferenceToTheDefaultField) {
    zeNode* const child = rules.leaf("a", "default");

    switcher.change_rule(switcher.m_default, "2");

    EXPECT_EQ(switcher.m_default, nullptr);
    EXPECT_EQ(switcher.get_rule(child), qtString("2"));
}

TEST_F(zeSwitcherTest, ChangeRuleAcceptsAReferenceIntoTheListOfChildren) {
    zeNode* const first = rules.leaf("a", "1");
    zeNode* const second = rules.leaf("b", "2");

    switcher.change_rule(rules.node->m_children[0], "3");

    EXPECT_EQ(switcher.get_rule(first), qtString("3"));
    EXPECT_EQ(switcher.get_rule(second), qtString("2"));
    EXPECT_THAT(rules.node->m_children, ElementsAre(second, first));
}

// The caller may pass a reference to the text of the rule that is replaced. The text is so long
// that it is stored outside the string object.
TEST_F(zeSwitcherTest, ChangeRuleAcceptsTheTextOfTheRuleItself) {
    const qtString text = "\"a concept of more letters than a short text has\"";
    zeNode* child = rules.leaf("a", text);

    switcher.change_rule(child, switcher.m_rules.at(child).text());

    EXPECT_EQ(switcher.get_rule(child), text);
}

TEST_F(zeSwitcherTest, ChangeRuleRefusesAnUnknownChild) {
    zeNode* const known = rules.leaf("known", "1");
    zeNode* const unknown = rules.leaf("unknown");
    rules.node->add_child(unknown);
    switcher.m_dirty = false;

    EXPECT_QTX_ARGS(rules.change(unknown, "1"), zeSwitcher, 2, "Category not found in classifier",
                    {"root", "unknown"});

    EXPECT_THAT(rules.node->m_children, ElementsAre(known, unknown));
    EXPECT_FALSE(switcher.m_dirty);
}

TEST_F(zeSwitcherTest, ChangeRuleToABadTextLosesTheRuleAndTheLink) {
    for (const char* before : {"1", "default"}) {
        SCOPED_TRACE(before);
        zeNode* const child = rules.leaf("a", before);
        switcher.m_dirty = false;

        EXPECT_QTX(rules.change(child, ""), RuleParser, 0, "Empty expression");

        EXPECT_EQ(switcher.get_rule(child), qtString());
        EXPECT_EQ(switcher.m_default, nullptr);
        EXPECT_THAT(rules.node->m_children, IsEmpty());
        EXPECT_EQ(child->m_parent, nullptr);
        EXPECT_TRUE(switcher.m_dirty);
    }
}

TEST_F(zeSwitcherTest, ChangeRuleToASecondDefaultLosesTheRuleAndTheLink) {
    zeNode* const fallback = rules.leaf("fallback", "default");
    zeNode* const child = rules.leaf("a", "1");

    EXPECT_QTX_ARGS(rules.change(child, "default"), zeSwitcher, 1,
                    "Default already exists in classifier", {"root", "a"});

    EXPECT_EQ(switcher.m_default, fallback);
    EXPECT_EQ(switcher.get_rule(child), qtString());
    EXPECT_THAT(rules.node->m_children, ElementsAre(fallback));
}

TEST_F(zeSwitcherTest, ChangeRuleWithoutANodeLinksNothing) {
    zeSwitcher unbound(&rules.manager, nullptr);
    zeNode* child = rules.leaf("a");
    unbound.add_rule(child, "1");

    unbound.change_rule(child, "2");

    EXPECT_EQ(unbound.get_rule(child), qtString("2"));
    EXPECT_EQ(child->m_parent, nullptr);
    rules.manager.UnregisterObject(&unbound);
}

// get_rule.

TEST_F(zeSwitcherTest, GetRuleReturnsTheTextAsWritten) {
    zeNode* const ruled = rules.leaf("a", " 1 +  2 ");
    zeNode* const fallback = rules.leaf("b", "default");
    zeNode* const unknown = rules.leaf("c");

    EXPECT_EQ(switcher.get_rule(ruled), qtString(" 1 +  2 "));
    EXPECT_EQ(switcher.get_rule(fallback), qtString("default"));
    EXPECT_EQ(switcher.get_rule(unknown), qtString());
}

TEST_F(zeSwitcherTest, GetRuleOfNoNodeIsEmpty) {
    EXPECT_EQ(switcher.get_rule(nullptr), qtString());
}

// get_all_categories.

TEST_F(zeSwitcherTest, AllCategoriesEndWithTheDefault) {
    zeNode* const fallback = rules.leaf("a", "default");
    zeNode* const first = rules.leaf("b", "0");
    zeNode* const second = rules.leaf("c", "1");

    std::vector<zeNode*> cats = rules.all_categories();

    ASSERT_EQ(cats.size(), 3U);
    EXPECT_EQ(cats.back(), fallback);
    cats.pop_back();
    EXPECT_THAT(cats, UnorderedElementsAre(first, second));
}

TEST_F(zeSwitcherTest, AllCategoriesAreAppended) {
    zeNode* const child = rules.leaf("a", "0");
    std::vector<zeNode*> cats = {rules.node};

    switcher.get_all_categories(cats);

    EXPECT_THAT(cats, ElementsAre(rules.node, child));
}

TEST_F(zeSwitcherTest, AllCategoriesOfAnEmptySwitcherIsEmpty) {
    EXPECT_THAT(rules.all_categories(), IsEmpty());
}

// global_replace.

TEST_F(zeSwitcherTest, GlobalReplaceRewritesEveryNode) {
    zeNode* const ruled = rules.leaf("a", "0.5");
    zeNode* const fallback = rules.leaf("b", "default");
    zeNode* const new_node = rules.leaf("copy of root");
    zeNode* const new_ruled = rules.leaf("copy of a");
    zeNode* const new_fallback = rules.leaf("copy of b");
    std::map<zeNode*, zeNode*> mapping = {
        {rules.node, new_node}, {ruled, new_ruled}, {fallback, new_fallback}};

    switcher.global_replace(mapping);

    EXPECT_EQ(switcher.m_node, new_node);
    EXPECT_EQ(switcher.m_default, new_fallback);
    EXPECT_EQ(switcher.m_rules.size(), 1U);
    EXPECT_EQ(switcher.get_rule(new_ruled), qtString("0.5"));
    EXPECT_EQ(mapping.size(), 3U);
}

TEST_F(zeSwitcherTest, GlobalReplaceDropsTheSecondFormsOfConcepts) {
    zeNode* const child = rules.leaf("a", "\"goals\"");
    std::vector<zeConceptInDoc*> concepts;
    switcher.m_rules.at(child).root().CollectConcepts(concepts);
    ASSERT_EQ(concepts.size(), 1U);
    concepts[0]->m_processed = term("goal");
    msg = *MessageBuilder().bag({{"goal", 1.0}}).make();
    ASSERT_FALSE(IsBlocked(child));
    std::map<zeNode*, zeNode*> mapping = {{rules.node, rules.node}, {child, child}};

    switcher.global_replace(mapping);

    EXPECT_TRUE(IsBlocked(child));
}

TEST_F(zeSwitcherTest, GlobalReplaceDoesNotChangeTheDirtyMark) {
    zeNode* const child = rules.leaf("a", "1");
    std::map<zeNode*, zeNode*> mapping = {{rules.node, rules.node}, {child, child}};
    for (const bool is_dirty : {false, true}) {
        SCOPED_TRACE(is_dirty);
        switcher.m_dirty = is_dirty;

        switcher.global_replace(mapping);

        EXPECT_EQ(switcher.m_dirty, is_dirty);
    }
}

TEST_F(zeSwitcherTest, GlobalReplaceMapsMissingNodesToNull) {
    zeNode* const ruled = rules.leaf("a", "0.5");
    zeNode* const fallback = rules.leaf("b", "default");
    std::map<zeNode*, zeNode*> mapping;

    switcher.global_replace(mapping);

    EXPECT_EQ(switcher.m_node, nullptr);
    EXPECT_EQ(switcher.m_default, nullptr);
    ASSERT_EQ(switcher.m_rules.size(), 1U);
    EXPECT_EQ(switcher.m_rules.at(nullptr).text(), qtString("0.5"));
    EXPECT_THAT(mapping, UnorderedElementsAre(Pair(rules.node, nullptr), Pair(ruled, nullptr),
                                              Pair(fallback, nullptr)));
}

TEST_F(zeSwitcherTest, RuleThatLostItsChildGivesNoResult) {
    zeNode* const kept = rules.leaf("a", "0");
    zeNode* const fallback = rules.leaf("b", "default");
    rules.leaf("c", "0.5");
    std::map<zeNode*, zeNode*> mapping = {
        {rules.node, rules.node}, {kept, kept}, {fallback, fallback}};
    switcher.global_replace(mapping);
    zeResult_set results(0.0, -1);

    switcher.classify(msg, results, 1.0, false);

    // The lost rule fires, so the default is not a result either.
    EXPECT_TRUE(results.results.empty());
    SegBuf buffer;
    Hio<HSegment> io(new HSegment(buffer, 'w'));
    EXPECT_NO_THROW(switcher.Dump(io));
}

TEST_F(zeSwitcherTest, OfSeveralRulesThatLostTheirChildrenTheNewestRemains) {
    for (int count = 0; count < 6; ++count) {
        rules.leaf("child " + std::to_string(count), std::to_string(count));
    }
    std::map<zeNode*, zeNode*> mapping = {{rules.node, rules.node}};

    switcher.global_replace(mapping);

    ASSERT_EQ(switcher.m_rules.size(), 1U);
    EXPECT_EQ(switcher.m_rules.at(nullptr).text(), qtString("5"));
}

TEST_F(zeSwitcherTest, GlobalReplaceKeepsNullPointers) {
    zeSwitcher unbound(&rules.manager, nullptr);
    std::map<zeNode*, zeNode*> mapping = {{nullptr, rules.node}};

    unbound.global_replace(mapping);

    EXPECT_EQ(unbound.m_node, nullptr);
    EXPECT_EQ(unbound.m_default, nullptr);
    EXPECT_EQ(mapping.size(), 1U);
    rules.manager.UnregisterObject(&unbound);
}

// The operations that an edit of the tree calls.

TEST_F(zeSwitcherTest, CategoriesHaveRules) {
    EXPECT_TRUE(switcher.has_rules());
}

TEST_F(zeSwitcherTest, KnowsChildrenWithARuleAndTheDefault) {
    zeNode* const ruled = rules.leaf("a", "1");
    zeNode* const fallback = rules.leaf("b", "default");
    zeNode* const child = rules.leaf("c");
    rules.node->add_child(child);

    EXPECT_TRUE(switcher.knows(ruled));
    EXPECT_TRUE(switcher.knows(fallback));
    EXPECT_FALSE(switcher.knows(child));
}

TEST_F(zeSwitcherTest, AddedCategoryHasItsRuleAndIsAChild) {
    zeNode* const child = rules.leaf("a");

    switcher.add_category(child, "1");
    switcher.change_category_rule(child, "2");

    EXPECT_EQ(switcher.get_rule(child), qtString("2"));
    EXPECT_THAT(rules.node->m_children, ElementsAre(child));
    EXPECT_TRUE(switcher.m_dirty);
}

TEST_F(zeSwitcherTest, RemovedCategoryHasNoRuleAndIsNoChild) {
    zeNode* const ruled = rules.leaf("a", "1");
    zeNode* const fallback = rules.leaf("b", "default");
    switcher.m_dirty = false;

    switcher.remove_category(ruled, true);
    switcher.drop_category(fallback);

    EXPECT_THAT(switcher.m_rules, IsEmpty());
    EXPECT_EQ(switcher.m_default, nullptr);
    EXPECT_THAT(rules.node->m_children, IsEmpty());
    EXPECT_TRUE(switcher.m_dirty);
}

}  // namespace
