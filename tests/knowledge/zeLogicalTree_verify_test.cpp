// The requirements for a new node of zeLogicalTree, and the single checks.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

constexpr const char* kMixed = "Mixing rules and statistics on the same level";

// root (rules)
//   topics (statistics)
//     news (leaf)
//       sport (leaf)
//     food (leaf)
//   refund (leaf)
//   rest (leaf), the default
class zeLogicalTreeVerifyTest : public testing::Test {
protected:
    zeLogicalTreeVerifyTest() { kc.manager.m_modified = false; }

    // Adds a copy, so that the caller's node is unchanged.
    void Add(zeLogicalNode node) { tree.AddLogicalNode(node); }

    Edited_container kc;
    zeLogicalTree& tree = kc.tree;
    unsigned int root = kc.Root(ZE_RULE);
    unsigned int topics = kc.Add(root, "topics", kAboveOne, ZE_STAT);
    unsigned int news = kc.Add(topics, "news");
    unsigned int sport = kc.Add(news, "sport");
    unsigned int food = kc.Add(topics, "food");
    unsigned int refund = kc.Add(root, "refund", kAboveTwo);
    unsigned int rest = kc.Add(root, "rest", "default");
};

// Below the virtual root.

TEST_F(zeLogicalTreeVerifyTest, SecondRootIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Add(node_to_add(0, "second", "", ZE_STAT)), zeLogicalTree, 4,
                    "More than one node under root", {});
}

TEST_F(zeLogicalTreeVerifyTest, SecondRootIsReportedBeforeTypeAndRule) {
    EXPECT_QTX(Add(node_to_add(0, "second", kAboveOne, ZE_LEAF)), zeLogicalTree, 4,
               "More than one node under root");
    EXPECT_QTX(Add(node_to_add(0, "second", "", 9)), zeLogicalTree, 4,
               "More than one node under root");
}

TEST(zeLogicalTreeFirstNodeTest, LeafIsRefused) {
    for (const unsigned int type : {0U, 3U, 255U}) {
        SCOPED_TRACE(type);
        zeManager manager;
        zeLogicalNode node = node_to_add(0, "root", "", type);
        const Unchanged unchanged(manager);

        EXPECT_QTX_ARGS(manager.m_logical_tree->AddLogicalNode(node), zeLogicalTree, 5,
                        "Non-Principal node under root", {});
    }
}

TEST(zeLogicalTreeFirstNodeTest, RuleIsRefused) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        zeManager manager;
        zeLogicalNode node = node_to_add(0, "root", kAboveOne, type);
        const Unchanged unchanged(manager);

        EXPECT_QTX_ARGS(manager.m_logical_tree->AddLogicalNode(node), zeLogicalTree, 6,
                        "No rule allowed in root node", {});
    }
}

TEST(zeLogicalTreeFirstNodeTest, TypeIsReportedBeforeRule) {
    zeManager manager;
    zeLogicalNode node = node_to_add(0, "root", kAboveOne, ZE_LEAF);

    EXPECT_QTX(manager.m_logical_tree->AddLogicalNode(node), zeLogicalTree, 5,
               "Non-Principal node under root");
}

TEST(zeLogicalTreeFirstNodeTest, ParentAsserts) {
    zeManager manager;
    zeLogicalNode node = node_to_add(7, "root", "", ZE_STAT);
    const Unchanged unchanged(manager);

    EXPECT_ASSERTS(manager.m_logical_tree->AddLogicalNode(node), "clafer");
}

TEST_F(zeLogicalTreeVerifyTest, UnknownParentAsserts) {
    const Unchanged unchanged(kc.manager);

    EXPECT_ASSERTS(Add(node_to_add(99, "news")), "clafer");
}

// Below another node.

TEST_F(zeLogicalTreeVerifyTest, ParentsTypeAndRuleDecideWhatIsAccepted) {
    const struct {
        const char* what;
        unsigned int parent;
        const char* rule;
    } additions[] = {
        {"plain under a plain leaf", food, ""},
        {"plain under a plain leaf with children", news, ""},
        {"plain under a leaf with a rule", refund, ""},
        {"a rule under a leaf without children", food, kAboveOne},
        {"a rule under a leaf with a rule", refund, kAboveOne},
        {"a default under a leaf", food, "default"},
        {"a rule under a rule node", root, kAboveOne},
        {"plain under a statistical node", topics, ""},
    };

    for (const auto& addition : additions) {
        SCOPED_TRACE(addition.what);
        const Unchanged unchanged(kc.manager);

        EXPECT_NO_THROW(tree.VerifyAdd(node_to_add(addition.parent, "new", addition.rule)));
    }
}

TEST_F(zeLogicalTreeVerifyTest, RuleBelowALeafWithChildrenIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Add(node_to_add(news, "new", kAboveOne)), zeLogicalTree, 7,
                    "Mixing rules and statistics on the same level", {});
}

TEST_F(zeLogicalTreeVerifyTest, MissingRuleBelowARuleNodeIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Add(node_to_add(root, "new")), zeLogicalTree, 7, kMixed, {});
}

TEST_F(zeLogicalTreeVerifyTest, RuleBelowAStatisticalNodeIsRefusedWithoutParsing) {
    for (const char* const rule : {kAboveOne, "default", "1 +"}) {
        SCOPED_TRACE(rule);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(Add(node_to_add(topics, "new", rule)), zeLogicalTree, 7, kMixed, {});
    }
}

TEST_F(zeLogicalTreeVerifyTest, RuleThatDoesNotParseIsRefused) {
    for (const unsigned int parent : {root, food, refund}) {
        SCOPED_TRACE(parent);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(Add(node_to_add(parent, "new", "1 +")), zeLogicalTree, 18,
                        "Syntax error in rule: 1 +", {"1 +"});
    }
}

TEST_F(zeLogicalTreeVerifyTest, SecondDefaultIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Add(node_to_add(root, "new", "default")), zeLogicalTree, 17,
                    "OTHERWISE rule already exists in a sibling of the given node", {});
}

TEST_F(zeLogicalTreeVerifyTest, CategoryOfTheSameClassifierIsRefusedAtAnyDepth) {
    const struct {
        unsigned int parent;
        const char* category;
        const char* rule;
    } additions[] = {{topics, "food", ""},
                     {sport, "food", ""},
                     {topics, "sport", ""},
                     {root, "rest", kAboveOne}};

    for (const auto& addition : additions) {
        SCOPED_TRACE(addition.category);
        const qtString category = addition.category;
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(
            Add(node_to_add(addition.parent, category.view(), addition.rule)), zeLogicalTree, 2,
            category.str() + " : Category name already in use under the current Principal node",
            {category});
    }
}

TEST_F(zeLogicalTreeVerifyTest, CategoryOfAnotherClassifierIsAccepted) {
    Add(node_to_add(topics, "rest"));
    Add(node_to_add(root, "food", "$a(n) > 4"));

    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeVerifyTest, MissingCategoryIsRefusedBelowAnyParent) {
    for (const unsigned int parent : {0U, topics, root, refund}) {
        SCOPED_TRACE(parent);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(Add(node_to_add(parent, "")), zeLogicalTree, 11, "Missing category name",
                        {});
    }
}

TEST_F(zeLogicalTreeVerifyTest, NameOtherThanTheCategoryIsRefused) {
    zeLogicalNode node = node_to_add(topics, "new");
    node.name = term("other");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Add(node), zeLogicalTree, 8, "Avoid node names except in 55 compatibility mode",
                    {"other"});
}

TEST_F(zeLogicalTreeVerifyTest, CategoryAsTheNameAndNoNameAreAccepted) {
    zeLogicalNode node = node_to_add(topics, "new");
    EXPECT_NO_THROW(tree.VerifyNodeName(node));

    node.name = node.category;
    EXPECT_NO_THROW(tree.VerifyNodeName(node));
}

// Names other than the category.

TEST_F(zeLogicalTreeVerifyTest, MissingNameIsRefusedInCompatibilityMode) {
    kc.manager.m_compat55 = true;
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Add(node_to_add(topics, "new")), zeLogicalTree, 0, "Missing node name", {});
}

TEST_F(zeLogicalTreeVerifyTest, SiblingsNameIsRefusedInCompatibilityMode) {
    kc.manager.m_compat55 = true;
    zeLogicalNode node = node_to_add(topics, "new");
    node.name = term("food");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(Add(node), zeLogicalTree, 10,
                    "food : Node name already in use by a sibling node", {"food"});
}

TEST_F(zeLogicalTreeVerifyTest, AnyOtherNameIsAcceptedInCompatibilityMode) {
    kc.manager.m_compat55 = true;
    zeLogicalNode node = node_to_add(topics, "new");
    node.name = term("sport");  // no sibling has this name

    const unsigned int id = tree.AddLogicalNode(node);

    EXPECT_EQ(kc.Node(id).name, term("sport"));
    EXPECT_EQ(kc.Node(id).category, term("new"));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeVerifyTest, RootNeedsOnlyANameInCompatibilityMode) {
    zeManager manager;
    manager.m_compat55 = true;
    zeLogicalNode node = node_to_add(0, "root", "", ZE_STAT);
    EXPECT_QTX(manager.m_logical_tree->AddLogicalNode(node), zeLogicalTree, 0, "Missing node name");

    node.name = term("top");
    manager.m_logical_tree->AddLogicalNode(node);

    EXPECT_EQ(manager.m_logical_tree->GetNode(1).name, term("top"));
    EXPECT_EQ(manager.m_root->m_concept, term("root"));
}

TEST_F(zeLogicalTreeVerifyTest, UnknownTypeIsRefusedBelowEachKindOfParent) {
    const struct {
        unsigned int parent;
        const char* rule;
    } additions[] = {{root, kAboveOne}, {topics, ""}, {news, ""},         {food, ""},
                     {food, kAboveOne}, {refund, ""}, {refund, kAboveOne}};

    for (const auto& addition : additions) {
        for (const unsigned int type : {3U, 7U, 255U}) {
            SCOPED_TRACE(testing::Message() << addition.parent << " " << addition.rule << type);
            const Unchanged unchanged(kc.manager);

            EXPECT_QTX_ARGS(Add(node_to_add(addition.parent, "new", addition.rule, type)),
                            zeLogicalTree, 15, "Cannot switch node type", {});
        }
    }
}

// All requirements are violated at first. After each repair the next one is reported.
TEST_F(zeLogicalTreeVerifyTest, FirstOfSeveralViolationsIsReported) {
    zeLogicalNode node = node_to_add(topics, "", "1 +", 3);
    node.name = term("other");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX(Add(node), zeLogicalTree, 8, "Avoid node names except in 55 compatibility mode");
    node.name = Concept();
    EXPECT_QTX(Add(node), zeLogicalTree, 11, "Missing category name");
    node.category = term("food");
    EXPECT_QTX(Add(node), zeLogicalTree, 2,
               "food : Category name already in use under the current Principal node");
    node.category = term("new");
    EXPECT_QTX(Add(node), zeLogicalTree, 7, kMixed);
    node.parent = root;
    EXPECT_QTX(Add(node), zeLogicalTree, 18, "Syntax error in rule: 1 +");
    node.rule = "default";
    EXPECT_QTX(Add(node), zeLogicalTree, 17,
               "OTHERWISE rule already exists in a sibling of the given node");
    node.rule = kAboveOne;
    EXPECT_QTX(Add(node), zeLogicalTree, 15, "Cannot switch node type");
    node.type = ZE_STAT;
    EXPECT_NO_THROW(tree.VerifyAdd(node));
}

TEST_F(zeLogicalTreeVerifyTest, FirstOfSeveralViolationsOfARootIsReported) {
    zeLogicalNode node = node_to_add(0, "", kAboveOne, ZE_LEAF);
    node.name = term("other");

    EXPECT_QTX(Add(node), zeLogicalTree, 8, "Avoid node names except in 55 compatibility mode");
    node.name = Concept();
    EXPECT_QTX(Add(node), zeLogicalTree, 11, "Missing category name");
    node.category = term("new");
    EXPECT_QTX(Add(node), zeLogicalTree, 4, "More than one node under root");
}

// The single checks.

TEST_F(zeLogicalTreeVerifyTest, VerifyRuleRefusesASecondDefaultOnlyBelowRuleNodes) {
    EXPECT_QTX(tree.VerifyRule(kc.Node(root), "default"), zeLogicalTree, 17,
               "OTHERWISE rule already exists in a sibling of the given node");
    for (const unsigned int parent : {0U, 99U, topics, news, rest}) {
        SCOPED_TRACE(parent);
        EXPECT_NO_THROW(tree.VerifyRule(kc.Node(parent), "default"));
    }
}

TEST_F(zeLogicalTreeVerifyTest, VerifyRuleAcceptsADefaultBelowAnUnknownNode) {
    zeLogicalNode outside;
    outside.type = ZE_RULE;

    EXPECT_NO_THROW(tree.VerifyRule(outside, "default"));
}

TEST_F(zeLogicalTreeVerifyTest, VerifyRuleTakesOnlyTheExactWordAsTheDefault) {
    for (const char* const rule : {"Default", " default", "default ", "\"default\" +", ""}) {
        SCOPED_TRACE(rule);
        EXPECT_QTX_ARGS(tree.VerifyRule(kc.Node(root), rule), zeLogicalTree, 18,
                        std::string("Syntax error in rule: ") + rule, {rule});
    }
}

TEST_F(zeLogicalTreeVerifyTest, VerifyRuleNeedsTheSwitcherOfARuleNode) {
    tree.GetNodePtr(topics)->type = ZE_RULE;

    EXPECT_ASSERTS(tree.VerifyRule(kc.Node(topics), "default"), "sw");
}

TEST_F(zeLogicalTreeVerifyTest, VerifyCategoryNameSearchesForOthersOnlyIfRequested) {
    EXPECT_NO_THROW(tree.VerifyCategoryName(node_to_add(topics, "food"), false));
    EXPECT_NO_THROW(tree.VerifyCategoryName(node_to_add(0, "root"), true));
    EXPECT_QTX(tree.VerifyCategoryName(node_to_add(topics, "food"), true), zeLogicalTree, 2,
               "food : Category name already in use under the current Principal node");
    EXPECT_QTX(tree.VerifyCategoryName(node_to_add(topics, ""), false), zeLogicalTree, 11,
               "Missing category name");
}

TEST_F(zeLogicalTreeVerifyTest, VerifyMoveSonsComparesSonsOnlyWithTheTarget) {
    const unsigned int people = kc.Add(root, "people", "$a(n) > 5", ZE_STAT);
    const unsigned int staff = kc.Add(people, "staff");
    std::vector<zeLogicalNode*> none;
    EXPECT_NO_THROW(tree.VerifyMoveSons(nullptr, none));

    std::vector<zeLogicalNode*> twice = {tree.GetNodePtr(food), tree.GetNodePtr(food)};
    EXPECT_NO_THROW(tree.VerifyMoveSons(&kc.Matcher(people), twice));

    std::vector<zeLogicalNode*> present = {tree.GetNodePtr(food), tree.GetNodePtr(staff)};
    EXPECT_QTX_ARGS(tree.VerifyMoveSons(&kc.Matcher(people), present), zeLogicalTree, 2,
                    "Cannot merge classifiers: duplicate category: staff", {"staff"});
}

TEST_F(zeLogicalTreeVerifyTest, VerifyCacheSizePassesWithAllClassifiersInMemory) {
    EXPECT_NO_THROW(tree.VerifyCacheSize());
}

TEST_F(zeLogicalTreeVerifyTest, LeafCategoryIsUnusedWithNoLeafAndUniqueWithAtMostOne) {
    EXPECT_TRUE(tree.VerifyUniqueLeafCategory(term("none")));
    EXPECT_TRUE(tree.VerifyUnusedLeafCategory(term("none")));
    EXPECT_TRUE(tree.VerifyUniqueLeafCategory(term("food")));
    EXPECT_FALSE(tree.VerifyUnusedLeafCategory(term("food")));
    kc.Add(root, "food", "$a(n) > 4");
    EXPECT_FALSE(tree.VerifyUniqueLeafCategory(term("food")));
    EXPECT_FALSE(tree.VerifyUnusedLeafCategory(term("food")));
}

TEST_F(zeLogicalTreeVerifyTest, CategoryOfAClassifierNodeIsNoLeafCategory) {
    EXPECT_TRUE(tree.VerifyUnusedLeafCategory(term("topics")));
}

}  // namespace
