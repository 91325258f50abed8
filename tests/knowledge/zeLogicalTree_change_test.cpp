// Changes of nodes of zeLogicalTree, and of the type of its root.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// root (rules)
//   topics (statistics)
//     news (leaf)
//       sport (leaf)
//     food (leaf)
//   money (rules)
//     refund (leaf)
//   rest (leaf), the default
class zeLogicalTreeChangeTest : public testing::Test {
protected:
    using Change = std::function<void(zeLogicalNode&)>;

    zeLogicalTreeChangeTest() { kc.manager.m_modified = false; }

    void Do(unsigned int id, const Change& change) {
        zeLogicalNode changed = kc.Copy(id);
        change(changed);
        tree.ChangeLogicalNode(changed);
    }

    int Verify(unsigned int id, const Change& change) const {
        zeLogicalNode changed = kc.Copy(id);
        change(changed);
        return tree.VerifyChange(changed);
    }

    void SetType(unsigned int id, unsigned int type) {
        Do(id, [type](zeLogicalNode& node) { node.type = static_cast<unsigned char>(type); });
    }

    static void SetCategoryToFood(zeLogicalNode& node) { node.category = term("food"); }

    Edited_container kc;
    zeLogicalTree& tree = kc.tree;
    unsigned int root = kc.Root(ZE_RULE);
    unsigned int topics = kc.Add(root, "topics", kAboveOne, ZE_STAT);
    unsigned int money = kc.Add(root, "money", kAboveTwo, ZE_RULE);
    unsigned int rest = kc.Add(root, "rest", "default");
    unsigned int news = kc.Add(topics, "news");
    unsigned int sport = kc.Add(news, "sport");
    unsigned int food = kc.Add(topics, "food");
    unsigned int refund = kc.Add(money, "refund", kAboveOne);
};

TEST_F(zeLogicalTreeChangeTest, FixtureTreeIsSound) {
    ExpectSound(kc.manager);
}

// Fields.

TEST_F(zeLogicalTreeChangeTest, ChangeWithoutDifferenceDoesNothing) {
    for (const unsigned int id : {root, topics, money, rest, news, sport, food, refund}) {
        SCOPED_TRACE(id);
        const Unchanged unchanged(kc.manager);

        EXPECT_EQ(tree.VerifyChange(kc.Node(id)), 0);
        tree.ChangeLogicalNode(kc.Copy(id));
    }
}

TEST_F(zeLogicalTreeChangeTest, EachKindOfChangeSetsItsBits) {
    const struct {
        const char* what;
        unsigned int id;
        Change change;
        int bits;
    } changes[] = {
        {"an empty name", food, [](auto& node) { node.name = Concept(); }, 1},
        {"category", food, [](auto& node) { node.category = term("meals"); }, 2},
        {"category with name", food, [](auto& node) { node.category = node.name = term("m"); }, 3},
        {"attributes", food, [](auto& node) { node.attributes = 1; }, 2},
        {"threshold", food, [](auto& node) { node.threshold = 0.5; }, 2},
        {"note1", food, [](auto& node) { node.note1 = "n"; }, 2},
        {"note2", food, [](auto& node) { node.note2 = "n"; }, 2},
        {"rule", refund, [](auto& node) { node.rule = kAboveTwo; }, 1},
        {"leaf to rule", food, [](auto& node) { node.type = ZE_RULE; }, 1},
        {"leaf to stat", food, [](auto& node) { node.type = ZE_STAT; }, 1},
        {"type and note", food, [](auto& node) { node.type = ZE_STAT, node.note1 = "n"; }, 3},
        {"rule and note", refund, [](auto& node) { node.rule = "default", node.note1 = "n"; }, 3},
        {"what is not looked at", food,
         [](auto& node) {
             node.children = {1, 2};
         },
         0},
    };

    for (const auto& change : changes) {
        SCOPED_TRACE(change.what);
        const Unchanged unchanged(kc.manager);

        EXPECT_EQ(Verify(change.id, change.change), change.bits);
    }
}

TEST_F(zeLogicalTreeChangeTest, ChangeModifiesTheContainer) {
    Do(food, [](auto& node) { node.note1 = "n"; });

    EXPECT_TRUE(kc.manager.m_modified);
}

TEST_F(zeLogicalTreeChangeTest, NewCategoryBecomesTheNameOnBothSides) {
    Do(food, [](auto& node) { node.category = term("meals"); });

    EXPECT_EQ(kc.Node(food).category, term("meals"));
    EXPECT_EQ(kc.Node(food).name, term("meals"));
    EXPECT_EQ(kc.Physical(food)->m_concept, term("meals"));
    EXPECT_THAT(kc.manager.m_physical_tree->GetLeafNodes(term("meals")),
                ElementsAre(kc.Physical(food)));
    EXPECT_THAT(kc.manager.m_physical_tree->GetLeafNodes(term("food")), IsEmpty());
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, TheRootCanBeRenamed) {
    Do(root, [](auto& node) { node.category = term("food"); });

    EXPECT_EQ(kc.manager.m_root->m_concept, term("food"));
    EXPECT_EQ(kc.Node(root).name, term("food"));
}

TEST_F(zeLogicalTreeChangeTest, EmptyNameLeavesTheNameUnchanged) {
    Do(food, [](auto& node) { node.name = Concept(); });

    EXPECT_EQ(kc.Node(food).name, term("food"));
}

TEST_F(zeLogicalTreeChangeTest, NameAndCategoryChangeSeparatelyInCompatibilityMode) {
    kc.manager.m_compat55 = true;

    Do(food, [](auto& node) { node.name = term("meals"); });
    Do(sport, [](auto& node) { node.category = term("games"); });

    EXPECT_EQ(kc.Node(food).name, term("meals"));
    EXPECT_EQ(kc.Node(food).category, term("food"));
    EXPECT_EQ(kc.Physical(food)->m_concept, term("food"));
    EXPECT_EQ(kc.Node(sport).name, term("sport"));
    EXPECT_EQ(kc.Node(sport).category, term("games"));
    EXPECT_EQ(kc.Physical(sport)->m_concept, term("games"));
}

TEST_F(zeLogicalTreeChangeTest, AttributesAndThresholdAreWrittenToBothSides) {
    Do(food, [](auto& node) { node.attributes = zeNode::Junk, node.threshold = 0.25; });

    EXPECT_EQ(kc.Node(food).attributes, zeNode::Junk);
    EXPECT_EQ(kc.Physical(food)->m_flags, zeNode::Junk);
    EXPECT_EQ(kc.Node(food).threshold, 0.25);
    EXPECT_EQ(kc.Physical(food)->m_threshold, 0.25);
}

// The physical side may have other values, for example after an edit of that side only.
TEST_F(zeLogicalTreeChangeTest, EveryChangeWritesAttributesAndThreshold) {
    kc.Physical(food)->m_flags = zeNode::Junk;
    kc.Physical(food)->m_threshold = 0.5;

    Do(food, [](auto& node) { node.note1 = "n"; });

    EXPECT_EQ(kc.Physical(food)->m_flags, 0);
    EXPECT_EQ(kc.Physical(food)->m_threshold, 0.0);
}

TEST_F(zeLogicalTreeChangeTest, NotesAreStored) {
    Do(food, [](auto& node) { node.note1 = "one", node.note2 = "two"; });

    EXPECT_EQ(kc.Node(food).note1, "one");
    EXPECT_EQ(kc.Node(food).note2, "two");
}

TEST_F(zeLogicalTreeChangeTest, ChildrenInTheGivenNodeAreIgnored) {
    Do(news, [this](auto& node) { node.children = {food}, node.note1 = "n"; });

    EXPECT_THAT(kc.Node(news).children, ElementsAre(sport));
}

TEST_F(zeLogicalTreeChangeTest, NewRuleIsSetInTheSwitcher) {
    Do(refund, [](auto& node) { node.rule = kAboveThree; });

    EXPECT_EQ(kc.Node(refund).rule, kAboveThree);
    EXPECT_EQ(kc.Switcher(money).get_rule(kc.Physical(refund)), kAboveThree);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, RuleBecomesTheDefaultAndBack) {
    Do(refund, [](auto& node) { node.rule = "default"; });
    EXPECT_EQ(kc.Switcher(money).m_default, kc.Physical(refund));
    ExpectSound(kc.manager);

    Do(refund, [](auto& node) { node.rule = kAboveOne; });
    EXPECT_EQ(kc.Switcher(money).m_default, nullptr);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, RuleOutsideARuleClassifierAsserts) {
    tree.KCE_ChangeRule(kc.Physical(food), kAboveOne);

    EXPECT_ASSERTS(Do(food, [](auto& node) { node.rule = kAboveTwo; }), "sw");

    ExpectNoDanglingPointers(kc.manager);
}

// Types.

TEST_F(zeLogicalTreeChangeTest, LeafBecomesARuleNode) {
    Do(food, [](auto& node) { node.type = ZE_RULE, node.attributes = zeNode::NoScore; });

    EXPECT_EQ(kc.Node(food).type, ZE_RULE);
    EXPECT_THAT(kc.Switcher(food).m_rules, IsEmpty());
    EXPECT_THAT(kc.manager.m_physical_tree->GetLeafNodes(term("food")), IsEmpty());
    EXPECT_THAT(kc.Categories(topics), ElementsAre(news, sport, food));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, LeafBecomesAStatisticalNodeAndDecidesItsSons) {
    const unsigned int ball = kc.Add(sport, "ball");

    SetType(news, ZE_STAT);

    EXPECT_EQ(kc.Node(news).type, ZE_STAT);
    EXPECT_THAT(kc.Categories(news), ElementsAre(sport, ball));
    EXPECT_THAT(kc.Categories(topics), ElementsAre(news, food));
    EXPECT_THAT(kc.Node(news).children, ElementsAre(sport));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, MovedSonsLoseTheirTrainingAndLeaveTheOldTable) {
    zeMemoryCorpus corpus;
    for (const char* const category : {"news", "sport", "food"}) {
        MessageBuilder().bag({{category, 1.0}}).labels({category}).add_to(corpus);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&kc.manager);
    kc.Matcher(topics).train(view);
    ASSERT_EQ(kc.Matcher(topics).m_table.count(term("sport")), 1U);

    SetType(news, ZE_STAT);

    const auto& taken = *kc.Matcher(news).m_storage;
    EXPECT_EQ(taken.profile(taken.get_profile(kc.Physical(sport))).m_num_msgs, 0);
    EXPECT_TRUE(taken.m_concept_infos.empty());
    const auto& left = *kc.Matcher(topics).m_storage;
    EXPECT_EQ(left.profile(left.get_profile(kc.Physical(food))).m_num_msgs, 1);
    EXPECT_EQ(left.m_concept_infos.at(term("sport")).m_weight, 0.0);
    EXPECT_GT(left.m_concept_infos.at(term("food")).m_weight, 0.0);
    for (const auto& [feature, pairs] : kc.Matcher(topics).m_table) {
        for (const zeStat_matcher::Concept_weight& pair : pairs) {
            EXPECT_LT(pair.m_iprofile, left.profile_count()) << feature.view();
        }
    }
}

// Building a matching table takes time for the whole model, so it must be built once for all sons.
TEST_F(zeLogicalTreeChangeTest, MovingManySonsRebuildsTheOldTableOnce) {
    kc.Add(news, "games");
    constexpr std::ptrdiff_t kNewClassifier = 1;
    const Trace_capture traced;

    SetType(news, ZE_STAT);

    const std::vector<std::string> texts = traced.texts();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Matching table completed"),
              kNewClassifier + 1);
}

TEST_F(zeLogicalTreeChangeTest, StatisticalNodeThatBecomesALeafGivesItsSonsToTheClassifierAbove) {
    SetType(news, ZE_STAT);
    const unsigned int ball = kc.Add(sport, "ball");

    SetType(news, ZE_LEAF);

    EXPECT_EQ(kc.Node(news).type, ZE_LEAF);
    EXPECT_THAT(kc.Categories(topics), ElementsAre(news, sport, food, ball));
    EXPECT_EQ(kc.Physical(news)->m_classifier, nullptr);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, StatisticalNodeWithoutChildrenBecomesALeafBelowAnyParent) {
    const unsigned int empty = kc.Add(root, "empty", kAboveThree, ZE_STAT);

    SetType(empty, ZE_LEAF);

    EXPECT_EQ(kc.Node(empty).type, ZE_LEAF);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, RuleNodeWithoutChildrenBecomesALeaf) {
    SetType(food, ZE_RULE);

    SetType(food, ZE_LEAF);

    EXPECT_EQ(kc.Physical(food)->m_classifier, nullptr);
    ExpectSound(kc.manager);
}

// A change of type sets or clears NoScore on the physical node. In the end both sides must have the
// attributes that the caller gave.
TEST_F(zeLogicalTreeChangeTest, ChangeOfTypeWritesTheGivenAttributesToBothSides) {
    SetType(food, ZE_RULE);
    EXPECT_EQ(kc.Physical(food)->m_flags, 0);

    Do(food, [](auto& node) { node.type = ZE_LEAF, node.attributes = zeNode::NoScore; });
    EXPECT_EQ(kc.Physical(food)->m_flags, zeNode::NoScore);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, UnknownTypeIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX(SetType(food, 3), zeLogicalTree, 15, "Cannot switch node type");
}

TEST_F(zeLogicalTreeChangeTest, ChangeNodeToLeafIgnoresLeafRootAndNodeWithChildren) {
    const Unchanged unchanged(kc.manager);

    tree.ChangeNodeToLeaf(kc.Node(topics));
    tree.ChangeNodeToLeaf(kc.Node(food));
    tree.ChangeNodeToLeaf(kc.Node(root));
}

TEST_F(zeLogicalTreeChangeTest, ChangeNodeToLeafIgnoresRootWithoutChildren) {
    Edited_container other;
    const unsigned int top = other.Root(ZE_STAT);
    const Unchanged unchanged(other.manager);

    other.tree.ChangeNodeToLeaf(other.Node(top));
}

TEST_F(zeLogicalTreeChangeTest, ChangeParentToClassifierNeedsARule) {
    zeLogicalNode child;
    const Unchanged unchanged(kc.manager);

    tree.ChangeParentToClassifier(kc.Node(food), child);
}

TEST_F(zeLogicalTreeChangeTest, MoveSonsWithoutSonsNeedsNoClassifier) {
    const Unchanged unchanged(kc.manager);

    tree.MoveSons(nullptr, nullptr, {});
}

TEST_F(zeLogicalTreeChangeTest, MoveSonsNeedsTwoStatisticalClassifiers) {
    const std::vector<zeLogicalNode*> sons = {tree.GetNodePtr(food)};
    const Unchanged unchanged(kc.manager);

    EXPECT_ASSERTS(tree.MoveSons(&kc.Matcher(topics), nullptr, sons), "from && to");
    EXPECT_ASSERTS(tree.MoveSons(nullptr, &kc.Matcher(topics), sons), "from && to");
}

// Refusals.

TEST_F(zeLogicalTreeChangeTest, UnknownIdIsRefused) {
    for (const unsigned int id : {0U, 99U}) {
        SCOPED_TRACE(id);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(Do(food, [id](auto& node) { node.id = id; }), zeLogicalTree, 14,
                        "Cannot change node: invalid node id", {});
    }
}

TEST_F(zeLogicalTreeChangeTest, ChangedParentIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(food, [this](auto& node) { node.parent = news; }), zeLogicalTree, 13,
                    "Cannot change parent", {});
}

TEST_F(zeLogicalTreeChangeTest, ChangedPhysicalNodeIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(food, [](auto& node) { node.physical_node = nullptr; }), zeLogicalTree, 14,
                    "Cannot change category pointer", {});
}

TEST_F(zeLogicalTreeChangeTest, NameOtherThanTheCategoryIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(food, [](auto& node) { node.name = term("meals"); }), zeLogicalTree, 8,
                    "Avoid node names except in 55 compatibility mode", {"meals"});
}

TEST_F(zeLogicalTreeChangeTest, EmptyNameAndSiblingsNameAreRefusedInCompatibilityMode) {
    kc.manager.m_compat55 = true;
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(food, [](auto& node) { node.name = Concept(); }), zeLogicalTree, 0,
                    "Missing node name", {});
    EXPECT_QTX_ARGS(Do(food, [](auto& node) { node.name = term("news"); }), zeLogicalTree, 10,
                    "news : Node name already in use by a sibling node", {"news"});
}

TEST_F(zeLogicalTreeChangeTest, EmptyCategoryIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(food, [](auto& node) { node.category = Concept(); }), zeLogicalTree, 11,
                    "Missing category name", {});
}

TEST_F(zeLogicalTreeChangeTest, CategoryOfTheSameClassifierIsRefusedAtAnyDepth) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(sport, SetCategoryToFood), zeLogicalTree, 2,
                    "food : Category name already in use under the current Principal node",
                    {"food"});
}

TEST_F(zeLogicalTreeChangeTest, CategoryOfAnotherClassifierIsAccepted) {
    Do(refund, SetCategoryToFood);

    EXPECT_EQ(kc.manager.m_physical_tree->GetLeafNodes(term("food")).size(), 2U);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeChangeTest, AddingOrRemovingARuleIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(refund, [](auto& node) { node.rule = ""; }), zeLogicalTree, 15,
                    "Cannot switch node type", {});
    EXPECT_QTX_ARGS(Do(food, [](auto& node) { node.rule = kAboveOne; }), zeLogicalTree, 15,
                    "Cannot switch node type", {});
}

TEST_F(zeLogicalTreeChangeTest, RuleThatDoesNotParseIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(refund, [](auto& node) { node.rule = "1 +"; }), zeLogicalTree, 18,
                    "Syntax error in rule: 1 +", {"1 +"});
}

TEST_F(zeLogicalTreeChangeTest, SecondDefaultIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Do(money, [](auto& node) { node.rule = "default"; }), zeLogicalTree, 17,
                    "OTHERWISE rule already exists in a sibling of the given node", {});
}

TEST_F(zeLogicalTreeChangeTest, RuleNodeAndStatisticalNodeAreNotExchanged) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(SetType(topics, ZE_RULE), zeLogicalTree, 15, "Cannot switch node type", {});
    EXPECT_QTX_ARGS(SetType(money, ZE_STAT), zeLogicalTree, 15, "Cannot switch node type", {});
    EXPECT_QTX_ARGS(SetType(root, ZE_STAT), zeLogicalTree, 15, "Cannot switch node type", {});
}

// No switcher can take the children of `news`, since they have no rules.
TEST_F(zeLogicalTreeChangeTest, LeafWithChildrenDoesNotBecomeRuleNode) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(SetType(news, ZE_RULE), zeLogicalTree, 15, "Cannot switch node type", {});
}

// A damaged tree may have children on the physical side only.
TEST_F(zeLogicalTreeChangeTest, LeafWithPhysicalChildrenDoesNotBecomeRuleNode) {
    kc.Physical(refund)->m_children.push_back(kc.Physical(food));
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(SetType(refund, ZE_RULE), zeLogicalTree, 15, "Cannot switch node type", {});
    zeLogicalNode child = node_to_add(refund, "child", kAboveOne);
    EXPECT_QTX_ARGS(tree.AddLogicalNode(child), zeLogicalTree, 15, "Cannot switch node type", {});
}

TEST_F(zeLogicalTreeChangeTest, RootCannotBecomeALeaf) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(SetType(root, ZE_LEAF), zeLogicalTree, 16, "Cannot change root node type", {});
}

TEST_F(zeLogicalTreeChangeTest, StatisticalNodeInARuleClassifierDoesNotBecomeALeaf) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(SetType(topics, ZE_LEAF), zeLogicalTree, 15, "Cannot switch node type", {});
}

TEST_F(zeLogicalTreeChangeTest, NodeDoesNotBecomeALeafIfTheClassifierAboveHasACategoryOfItsSons) {
    SetType(news, ZE_STAT);
    kc.Add(sport, "food");
    kc.manager.m_modified = false;
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(SetType(news, ZE_LEAF), zeLogicalTree, 2,
                    "Cannot merge classifiers: duplicate category: food", {"food"});
}

TEST_F(zeLogicalTreeChangeTest, RuleNodeWithChildrenDoesNotBecomeALeaf) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(SetType(money, ZE_LEAF), zeLogicalTree, 15,
                    "Cannot change the type of a rule node with children", {});
}

// All requirements are violated at first. After each repair the next one is reported.
TEST_F(zeLogicalTreeChangeTest, FirstOfSeveralViolationsIsReported) {
    zeLogicalNode node = kc.Copy(money);
    node.id = 99;
    node.parent = topics;
    node.physical_node = nullptr;
    node.name = term("cash");
    node.category = term("rest");
    node.rule = "";
    node.type = ZE_STAT;
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 14,
               "Cannot change node: invalid node id");
    node.id = money;
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 13, "Cannot change parent");
    node.parent = root;
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 14, "Cannot change category pointer");
    node.physical_node = kc.Physical(money);
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 8,
               "Avoid node names except in 55 compatibility mode");
    node.name = term("rest");
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 2,
               "rest : Category name already in use under the current Principal node");
    node.name = node.category = term("cash");
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 15, "Cannot switch node type");
    node.rule = "1 +";
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 18, "Syntax error in rule: 1 +");
    node.rule = "default";
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 17,
               "OTHERWISE rule already exists in a sibling of the given node");
    node.rule = kAboveThree;
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 15, "Cannot switch node type");
    node.type = ZE_LEAF;
    EXPECT_QTX(tree.ChangeLogicalNode(node), zeLogicalTree, 15,
               "Cannot change the type of a rule node with children");
    node.type = ZE_RULE;
    EXPECT_EQ(tree.VerifyChange(node), 3);
}

TEST_F(zeLogicalTreeChangeTest, ThresholdThatIsNotANumberAlwaysCountsAsAChange) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    Do(food, [none](auto& node) { node.threshold = none; });

    EXPECT_EQ(tree.VerifyChange(kc.Node(food)), 2);
}

// The type of the root.

class zeLogicalTreeRootTypeTest : public testing::Test {
protected:
    Edited_container kc;
};

TEST_F(zeLogicalTreeRootTypeTest, EmptyRootChangesBetweenBothTypes) {
    const unsigned int root = kc.Root(ZE_STAT);
    kc.manager.m_modified = false;

    kc.tree.ChangeRootType(ZE_RULE);
    EXPECT_EQ(kc.Node(root).type, ZE_RULE);
    EXPECT_THAT(kc.Switcher(root).m_rules, IsEmpty());
    EXPECT_EQ(kc.manager.m_objects.size(), 1U);
    EXPECT_TRUE(kc.manager.m_modified);
    ExpectSound(kc.manager);

    kc.tree.ChangeRootType(ZE_STAT);
    EXPECT_EQ(kc.Node(root).type, ZE_STAT);
    EXPECT_EQ(kc.manager.m_objects.size(), 2U);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeRootTypeTest, ChangeOfTypeKeepsTheRootsAttributes) {
    zeLogicalNode node;
    node.category = term("root");
    node.type = ZE_STAT;
    kc.tree.AddLogicalNode(node);

    kc.tree.ChangeRootType(ZE_RULE);

    EXPECT_EQ(kc.Node(1).attributes, 0);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeRootTypeTest, NothingHappensWithoutARoot) {
    const Unchanged unchanged(kc.manager);

    kc.tree.ChangeRootType(ZE_RULE);
    kc.tree.ChangeRootType(7);
}

TEST_F(zeLogicalTreeRootTypeTest, SameTypeIsNoChangeEvenWithChildren) {
    kc.Add(kc.Root(ZE_STAT), "news");
    kc.manager.m_modified = false;
    const Unchanged unchanged(kc.manager);

    kc.tree.ChangeRootType(ZE_STAT);
}

TEST_F(zeLogicalTreeRootTypeTest, OtherTypesAreRefusedBeforeChildrenAreChecked) {
    kc.Add(kc.Root(ZE_STAT), "news");
    for (const int type : {0, 3, -1, 256, 257, 258}) {
        SCOPED_TRACE(type);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(kc.tree.ChangeRootType(type), zeLogicalTree, 16, "Invalid new root type",
                        {});
    }
}

TEST_F(zeLogicalTreeRootTypeTest, RootWithChildrenIsRefused) {
    kc.Add(kc.Root(ZE_STAT), "news");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(kc.tree.ChangeRootType(ZE_RULE), zeLogicalTree, 16, "Cannot change root type",
                    {});
}

}  // namespace
