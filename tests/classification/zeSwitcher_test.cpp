#include "zandrel/classification/zeSwitcher.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/allocation_meter.h"
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
    // The results for a message without content, as pairs of node and score.
    std::vector<std::pair<zeNode*, double>> Classify(double threshold, bool use_thresholds = false,
                                                     double node_score = 1.0) {
        zeResult_set results(threshold, -1);
        rules.switcher.classify(msg, results, node_score, use_thresholds);
        std::vector<std::pair<zeNode*, double>> found;
        for (const zeResult& result : results.results) {
            found.emplace_back(result.node, result.score);
        }
        return found;
    }

    bool IsBlocked(zeNode* child) { return rules.switcher.is_cat_blocked(child, msg); }

    // Sets the pair that `$v(n)` reads.
    void SetNumber(const char* number) { msg.add_value("v", mlMessageConverter::kString, number); }

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

// classify. The child "ruled" has the rule, and another child is the default.

TEST_F(zeSwitcherTest, ClassifyDecidesByTheThresholdsOfNodeAndResults) {
    struct Row {
        const char* rule;
        bool use_thresholds;
        double node_threshold;
        double results_threshold;
        bool yields_ruled;
        bool yields_default;
    };

    zeNode* const ruled = rules.leaf("ruled", "1");
    zeNode* const fallback = rules.leaf("fallback", "default");
    for (const Row& row : {
             // Without thresholds a value above 0 fires.
             Row{"0.3", false, 0.0, 0.0, true, false},
             Row{"0.3", false, 0.9, 0.0, true, false},
             Row{"0", false, 0.0, 0.0, false, true},
             Row{"0", false, -1.0, 0.0, false, true},
             Row{"-0.5", false, 0.0, 0.0, false, true},
             Row{"-0.5", false, -1.0, -1.0, false, true},
             // With thresholds a value at or above the node's threshold fires.
             Row{"0.4", true, 0.5, 0.0, false, true},
             Row{"0.5", true, 0.5, 0.0, true, false},
             Row{"0.6", true, 0.5, 0.0, true, false},
             Row{"0", true, 0.0, 0.0, false, false},
             Row{"-0.5", true, -0.5, 0.0, false, false},
             Row{"-0.5", true, -0.5, -1.0, true, false},
             // A value equal to the threshold of the results is accepted only if it is above 0.
             Row{"-0.5", true, -0.5, -0.5, false, false},
             Row{"0", true, 0.0, -1.0, true, false},
             // A rule has fired even if the results refuse its value, so the default is not a
             // result.
             Row{"0.3", false, 0.0, 0.5, false, false},
             Row{"0.5", false, 0.0, 0.5, true, false},
             Row{"0.3", true, 0.2, 0.5, false, false},
             // The default needs a threshold of at most 1.
             Row{"0", false, 0.0, 1.0, false, true},
             Row{"0", false, 0.0, 1.001, false, false},
             // Values above 1 are not limited.
             Row{"2.5", false, 0.0, 2.0, true, false},
         }) {
        SCOPED_TRACE(testing::Message() << row.rule << ' ' << row.use_thresholds << ' '
                                        << row.node_threshold << ' ' << row.results_threshold);
        rules.change(ruled, row.rule);
        rules.node->m_threshold = row.node_threshold;
        std::vector<std::pair<zeNode*, double>> expected;
        if (row.yields_ruled) {
            expected.emplace_back(ruled, std::stod(row.rule));
        }
        if (row.yields_default) {
            expected.emplace_back(fallback, 1.0);
        }

        EXPECT_EQ(Classify(row.results_threshold, row.use_thresholds), expected);
    }
}

TEST_F(zeSwitcherTest, ClassifyIgnoresTheScoreAndTheChildsThreshold) {
    zeNode* const child = rules.leaf("a", "0.5");
    child->m_threshold = 0.9;
    rules.node->m_threshold = 0.5;

    EXPECT_THAT(Classify(0.0, true, 0.1), ElementsAre(Pair(child, 0.5)));
}

TEST_F(zeSwitcherTest, ClassifyPassesTheScoreToTheRules) {
    zeNode* const child = rules.leaf("a", "parent_score");

    EXPECT_THAT(Classify(0.0, false, 0.25), ElementsAre(Pair(child, 0.25)));
}

TEST_F(zeSwitcherTest, ClassifySelectsEveryChildWhoseRuleFires) {
    zeNode* const first = rules.leaf("a", "0.5");
    rules.leaf("b", "0");
    zeNode* const third = rules.leaf("c", "true");
    rules.leaf("d", "0.1");
    rules.leaf("e", "default");

    EXPECT_THAT(Classify(0.2), UnorderedElementsAre(Pair(first, 0.5), Pair(third, 1.0)));
}

TEST_F(zeSwitcherTest, ClassifyReturnsTheDefaultWithoutAnyRule) {
    zeNode* const fallback = rules.leaf("a", "default");

    EXPECT_THAT(Classify(1.0), ElementsAre(Pair(fallback, 1.0)));
    EXPECT_THAT(Classify(1.5), IsEmpty());
}

// The workflow multiplies the score of the default by that of the node, so the switcher must not do
// it too.
TEST_F(zeSwitcherTest, ClassifyReturnsTheDefaultWithScoreOneForAnyScore) {
    zeNode* const fallback = rules.leaf("a", "default");

    EXPECT_THAT(Classify(0.0, false, 0.25), ElementsAre(Pair(fallback, 1.0)));
    EXPECT_THAT(Classify(0.5, true, 0.25), ElementsAre(Pair(fallback, 1.0)));
}

TEST_F(zeSwitcherTest, ClassifyReturnsNothingWithoutRulesAndDefault) {
    EXPECT_THAT(Classify(0.0), IsEmpty());
    EXPECT_THAT(Classify(0.0, true), IsEmpty());
}

TEST_F(zeSwitcherTest, RuleWithTheValueNaNDoesNotFire) {
    rules.leaf("a", "$v(n)");
    zeNode* const fallback = rules.leaf("b", "default");
    SetNumber("nan");
    for (const bool use_thresholds : {false, true}) {
        SCOPED_TRACE(use_thresholds);

        EXPECT_THAT(Classify(0.0, use_thresholds), ElementsAre(Pair(fallback, 1.0)));
    }
}

TEST_F(zeSwitcherTest, ClassifyMarksTheResultsAsUnsortedIfItAdds) {
    struct Row {
        const char* first_rule;
        const char* second_rule;
        bool adds;
    };

    zeNode* const first = rules.leaf("a", "1");
    zeNode* const second = rules.leaf("b", "1");
    for (const Row& row : {Row{"1", "0", true}, Row{"0", "default", true}, Row{"0", "0", false}}) {
        SCOPED_TRACE(row.second_rule);
        rules.change(first, row.first_rule);
        rules.change(second, row.second_rule);
        zeResult_set results(0.0, -1);
        results.sorted = true;
        results.deduplicated = true;

        switcher.classify(msg, results, 1.0, false);

        EXPECT_EQ(results.sorted, !row.adds);
        EXPECT_EQ(results.deduplicated, !row.adds);
    }
}

TEST_F(zeSwitcherTest, ClassifyKeepsEarlierResults) {
    zeNode* const child = rules.leaf("a", "1");
    zeNode* const earlier = rules.leaf("b");
    zeResult_set results(0.0, -1);
    results.add(earlier, 0.5);

    switcher.classify(msg, results, 1.0, false);

    ASSERT_EQ(results.results.size(), 2U);
    EXPECT_EQ(results.results[0].node, earlier);
    EXPECT_EQ(results.results[1].node, child);
}

TEST_F(zeSwitcherTest, ClassifyLeavesTheSwitcherClean) {
    rules.leaf("a", "1");
    switcher.m_dirty = false;

    Classify(0.0);

    EXPECT_FALSE(switcher.m_dirty);
}

// Eight of ten rules fire, with and without thresholds.
TEST_F(zeSwitcherTest, ClassifyAllocatesOnlyForTheResults) {
    rules.leaf("fallback", "default");
    for (int i = 0; i < 10; ++i) {
        rules.leaf("child" + std::to_string(i),
                   i < 8 ? "$v(n) > 0.5 ? parent_score : 0" : "\"an absent concept\"");
    }
    SetNumber("0.75");
    rules.node->m_threshold = 0.5;
    for (const bool use_thresholds : {false, true}) {
        SCOPED_TRACE(use_thresholds);
        zeResult_set results(0.0, -1);
        results.results.reserve(8);

        const Allocation_meter meter;
        switcher.classify(msg, results, 0.75, use_thresholds);

        EXPECT_EQ(meter.bytes(), 0U);
        EXPECT_EQ(results.results.size(), 8U);
    }
}

// is_cat_blocked.

TEST_F(zeSwitcherTest, ChildIsBlockedUnlessItsValueIsAboveZero) {
    struct Row {
        const char* number;
        bool is_blocked;
    };

    zeNode* const child = rules.leaf("a", "$v(n)");
    zeNode* const fallback = rules.leaf("b", "default");
    for (const Row& row : {Row{"0.001", false}, Row{"7", false}, Row{"0", true}, Row{"-0", true},
                           Row{"-3", true}, Row{"nan", true}, Row{"inf", false}}) {
        SCOPED_TRACE(row.number);
        SetNumber(row.number);

        EXPECT_EQ(IsBlocked(child), row.is_blocked);
        EXPECT_EQ(IsBlocked(fallback), !row.is_blocked);
    }
}

TEST_F(zeSwitcherTest, ThresholdsDoNotInfluenceBlocking) {
    zeNode* const child = rules.leaf("a", "0.1");
    zeNode* const other = rules.leaf("b", "0");
    zeNode* const fallback = rules.leaf("c", "default");
    rules.node->m_threshold = 0.5;
    child->m_threshold = 0.5;
    other->m_threshold = -1.0;

    EXPECT_FALSE(IsBlocked(child));
    EXPECT_TRUE(IsBlocked(other));
    EXPECT_TRUE(IsBlocked(fallback));
}

TEST_F(zeSwitcherTest, BlockingEvaluatesRulesWithScoreOne) {
    zeNode* const exact = rules.leaf("a", "parent_score == 1");
    zeNode* const other = rules.leaf("b", "parent_score < 1");

    EXPECT_FALSE(IsBlocked(exact));
    EXPECT_TRUE(IsBlocked(other));
}

TEST_F(zeSwitcherTest, DefaultIsBlockedIfAnyRuleFires) {
    zeNode* const fallback = rules.leaf("a", "default");
    rules.leaf("b", "0");
    rules.leaf("c", "-1");
    EXPECT_FALSE(IsBlocked(fallback));

    rules.leaf("d", "0.1");

    EXPECT_TRUE(IsBlocked(fallback));
}

TEST_F(zeSwitcherTest, DefaultIsNeverBlockedWithoutRules) {
    EXPECT_FALSE(IsBlocked(rules.leaf("a", "default")));
}

TEST_F(zeSwitcherTest, ChildWithoutARuleIsBlocked) {
    zeNode* const linked = rules.leaf("a");
    rules.node->add_child(linked);
    zeNode* const nobody = nullptr;

    EXPECT_TRUE(IsBlocked(linked));
    EXPECT_TRUE(IsBlocked(nobody));
}

TEST_F(zeSwitcherTest, BlockingAllocatesNothing) {
    zeNode* const child = rules.leaf("a", "\"an absent concept\" | $v(n) > 0.5");
    zeNode* const fallback = rules.leaf("b", "default");
    SetNumber("0.25");

    const Allocation_meter meter;
    const bool child_is_blocked = IsBlocked(child);
    const bool fallback_is_blocked = IsBlocked(fallback);

    EXPECT_EQ(meter.bytes(), 0U);
    EXPECT_TRUE(child_is_blocked);
    EXPECT_FALSE(fallback_is_blocked);
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
