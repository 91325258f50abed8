// Moves of nodes of zeLogicalTree.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"
#include "tests/support/small_model.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// root (rules)
//   topics (statistics)
//     news (leaf)
//       sport (leaf)
//     food (leaf)
//   people (statistics)
//     staff (leaf)
//   money (rules)
//     refund (leaf)
//     invoice (leaf)
//   rest (leaf), the default
class zeLogicalTreeMoveTest : public testing::Test {
protected:
    zeLogicalTreeMoveTest() { kc.manager.m_modified = false; }

    // Adds links in one direction only, which no edit does.

    void List(unsigned int above, unsigned int below) {
        tree.GetNodePtr(above)->children.push_back(below);
    }

    void Name(unsigned int above, unsigned int below) { tree.GetNodePtr(below)->parent = above; }

    void ListPhysical(unsigned int above, unsigned int below) {
        kc.Physical(above)->m_children.push_back(kc.Physical(below));
    }

    void NamePhysical(unsigned int above, unsigned int below) {
        kc.Physical(below)->m_parent = kc.Physical(above);
    }

    // Restores all links of both trees at the end of its scope.
    class Saved_links {
    public:
        explicit Saved_links(zeLogicalTreeMoveTest& test)
            : m_test(test),
              m_logical(test.tree.nodes),
              m_physical(test.kc.manager.m_physical_tree->m_nodes) {}

        Saved_links(const Saved_links&) = delete;
        Saved_links& operator=(const Saved_links&) = delete;

        ~Saved_links() {
            for (const auto& [id, node] : m_logical) {
                m_test.tree.nodes.at(id) = node;
            }
            for (const auto& [id, node] : m_physical) {
                m_test.kc.manager.m_physical_tree->m_nodes.at(id) = node;
            }
        }

    private:
        zeLogicalTreeMoveTest& m_test;
        hash_map<unsigned int, zeLogicalNode> m_logical;
        hash_map<unsigned int, zeNode> m_physical;
    };

    Edited_container kc;
    zeLogicalTree& tree = kc.tree;
    unsigned int root = kc.Root(ZE_RULE);
    unsigned int topics = kc.Add(root, "topics", kAboveOne, ZE_STAT);
    unsigned int people = kc.Add(root, "people", kAboveTwo, ZE_STAT);
    unsigned int money = kc.Add(root, "money", kAboveThree, ZE_RULE);
    unsigned int rest = kc.Add(root, "rest", "default");
    unsigned int news = kc.Add(topics, "news");
    unsigned int sport = kc.Add(news, "sport");
    unsigned int food = kc.Add(topics, "food");
    unsigned int staff = kc.Add(people, "staff");
    unsigned int refund = kc.Add(money, "refund", kAboveOne);
    unsigned int invoice = kc.Add(money, "invoice", kAboveTwo);
};

TEST_F(zeLogicalTreeMoveTest, FixtureTreeIsSound) {
    ExpectSound(kc.manager);
}

// Moves within one statistical classifier.

TEST_F(zeLogicalTreeMoveTest, MoveWithinOneStatisticalClassifierChangesOnlyLinks) {
    const zeClassifier* const matcher = kc.Physical(topics)->m_classifier;
    const auto categories = kc.Categories(topics);
    kc.Matcher(topics).m_dirty = false;

    tree.MoveLogicalNode(food, sport);

    EXPECT_THAT(kc.Node(sport).children, ElementsAre(food));
    EXPECT_THAT(kc.Node(topics).children, ElementsAre(news));
    EXPECT_EQ(kc.Node(food).parent, sport);
    EXPECT_EQ(kc.Node(sport).type, ZE_LEAF);
    EXPECT_EQ(kc.Physical(topics)->m_classifier, matcher);
    EXPECT_EQ(kc.Categories(topics), categories);
    EXPECT_FALSE(kc.Matcher(topics).m_dirty);
    EXPECT_TRUE(kc.manager.m_modified);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, MoveOfLinksKeepsTheTraining) {
    zeMemoryCorpus corpus;
    for (const char* const category : {"news", "sport", "food"}) {
        MessageBuilder().bag({{category, 1.0}}).labels({category}).add_to(corpus);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&kc.manager);
    kc.Matcher(topics).train(view);

    tree.MoveLogicalNode(sport, food);

    const auto& storage = *kc.Matcher(topics).m_storage;
    EXPECT_EQ(storage.profile(storage.get_profile(kc.Physical(sport))).m_num_msgs, 1);
    EXPECT_EQ(storage.m_num_msgs, 3);
}

TEST_F(zeLogicalTreeMoveTest, MoveOfAClassifierNodeCanChangeOnlyLinks) {
    const unsigned int desk = kc.Add(news, "desk", "", ZE_RULE);
    const unsigned int complaint = kc.Add(desk, "complaint", kAboveOne);

    tree.MoveLogicalNode(desk, food);

    EXPECT_EQ(kc.Node(desk).parent, food);
    EXPECT_THAT(kc.Categories(desk), ElementsAre(complaint));
    ExpectSound(kc.manager);
}

// Moves between classifiers.

TEST_F(zeLogicalTreeMoveTest, MoveBetweenStatisticalClassifiersMovesTheProfile) {
    tree.MoveLogicalNode(food, people);

    EXPECT_EQ(kc.Node(food).parent, people);
    EXPECT_THAT(kc.Categories(topics), ElementsAre(news, sport));
    EXPECT_THAT(kc.Categories(people), ElementsAre(food, staff));
    EXPECT_THAT(kc.Node(people).children, ElementsAre(staff, food));
    EXPECT_TRUE(kc.manager.m_modified);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, NodesBelowAMovedLeafMoveToo) {
    const unsigned int desk = kc.Add(sport, "desk", "", ZE_RULE);
    const unsigned int complaint = kc.Add(desk, "complaint", kAboveOne);

    tree.MoveLogicalNode(news, staff);

    EXPECT_EQ(kc.Node(news).parent, staff);
    EXPECT_EQ(kc.Node(sport).parent, news);
    EXPECT_THAT(kc.Categories(people), ElementsAre(news, sport, staff, desk));
    EXPECT_THAT(kc.Categories(topics), ElementsAre(food));
    EXPECT_THAT(kc.Categories(desk), ElementsAre(complaint));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, ClassifierNodeMovesWithItsClassifier) {
    const zeClassifier* const matcher = kc.Physical(topics)->m_classifier;

    tree.MoveLogicalNode(topics, money);

    EXPECT_EQ(kc.Node(topics).parent, money);
    EXPECT_EQ(kc.Physical(topics)->m_classifier, matcher);
    EXPECT_THAT(kc.Categories(topics), ElementsAre(news, sport, food));
    EXPECT_EQ(kc.Switcher(money).get_rule(kc.Physical(topics)), kAboveOne);
    EXPECT_EQ(kc.Switcher(root).get_rule(kc.Physical(topics)), "");
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, RuleMovesFromSwitcherToSwitcher) {
    tree.MoveLogicalNode(refund, root);

    EXPECT_EQ(kc.Switcher(root).get_rule(kc.Physical(refund)), kAboveOne);
    EXPECT_THAT(kc.Categories(money), ElementsAre(invoice));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, DefaultStaysTheDefaultInTheNewSwitcher) {
    tree.MoveLogicalNode(rest, money);

    EXPECT_EQ(kc.Switcher(root).m_default, nullptr);
    EXPECT_EQ(kc.Switcher(money).m_default, kc.Physical(rest));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, MovedCategoryLosesItsTraining) {
    zeMemoryCorpus corpus;
    for (const char* const category : {"news", "food"}) {
        MessageBuilder().bag({{category, 1.0}}).labels({category}).add_to(corpus);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&kc.manager);
    kc.Matcher(topics).train(view);
    auto& left = *kc.Matcher(topics).m_storage;
    ASSERT_EQ(info_of(left, "food").m_weight, 1.0);

    tree.MoveLogicalNode(food, people);

    EXPECT_EQ(info_of(left, "food").m_weight, 0.0);
    EXPECT_GT(info_of(left, "news").m_weight, 0.0);
    const auto& storage = *kc.Matcher(people).m_storage;
    EXPECT_EQ(storage.profile(storage.get_profile(kc.Physical(food))).m_num_msgs, 0);
}

// The effects of a move on the target and the old parent.

TEST_F(zeLogicalTreeMoveTest, LeafBecomesARuleNodeIfAMovedNodeHasARule) {
    tree.MoveLogicalNode(refund, food);

    EXPECT_EQ(kc.Node(food).type, ZE_RULE);
    EXPECT_EQ(kc.Node(food).attributes, zeNode::NoScore);
    EXPECT_THAT(kc.Categories(food), ElementsAre(refund));
    EXPECT_THAT(kc.Categories(topics), ElementsAre(news, sport, food));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, LeafWithARuleBecomesAStatisticalNodeIfAMovedNodeHasNone) {
    tree.MoveLogicalNode(food, refund);

    EXPECT_EQ(kc.Node(refund).type, ZE_STAT);
    EXPECT_EQ(kc.Node(refund).attributes, zeNode::NoScore);
    EXPECT_THAT(kc.Categories(refund), ElementsAre(food));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, PlainLeafBelowAPlainLeafIsACategoryOfTheTargetsClassifier) {
    tree.MoveLogicalNode(food, staff);

    EXPECT_EQ(kc.Node(staff).type, ZE_LEAF);
    EXPECT_THAT(kc.Categories(people), ElementsAre(food, staff));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, OldParentWithoutItsLastChildBecomesALeaf) {
    tree.MoveLogicalNode(staff, topics);

    EXPECT_EQ(kc.Node(people).type, ZE_LEAF);
    EXPECT_EQ(kc.Node(people).attributes, 0);
    EXPECT_EQ(kc.Physical(people)->m_classifier, nullptr);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, LastChildMovesIntoThePlaceOfTheMovedOne) {
    tree.MoveLogicalNode(topics, money);

    EXPECT_THAT(kc.Node(root).children, ElementsAre(rest, people, money));
    EXPECT_THAT(kc.Node(money).children, ElementsAre(refund, invoice, topics));
}

TEST_F(zeLogicalTreeMoveTest, NodeMovesUpToAnAncestor) {
    tree.MoveLogicalNode(sport, topics);

    EXPECT_THAT(kc.Node(news).children, IsEmpty());
    EXPECT_THAT(kc.Node(topics).children, ElementsAre(news, food, sport));
    ExpectSound(kc.manager);
}

// Verification.

TEST_F(zeLogicalTreeMoveTest, VerifyMoveWithinOneStatisticalClassifierReturnsFour) {
    EXPECT_EQ(tree.VerifyMove(food, news), 4);
    EXPECT_EQ(tree.VerifyMove(sport, topics), 4);
}

TEST_F(zeLogicalTreeMoveTest, VerifyMoveReturnsZeroForAnyOtherAllowedMove) {
    EXPECT_EQ(tree.VerifyMove(food, people), 0);
    EXPECT_EQ(tree.VerifyMove(refund, food), 0);
    EXPECT_EQ(tree.VerifyMove(refund, invoice), 0);
}

TEST_F(zeLogicalTreeMoveTest, VerifyMoveChangesNothing) {
    const Unchanged unchanged(kc.manager);

    tree.VerifyMove(food, news);
    tree.VerifyMove(news, people);
    tree.VerifyMove(refund, food);
}

TEST_F(zeLogicalTreeMoveTest, InvalidMovesAreRefused) {
    const struct {
        unsigned int id;
        unsigned int new_parent;
        const char* why;
    } moves[] = {
        {food, food, "onto itself"},
        {root, root, "the root onto itself"},
        {99, topics, "an unknown node"},
        {0, topics, "no node"},
        {food, 99, "to an unknown parent"},
        {food, 0, "to no parent"},
        {99, 99, "both unknown"},
        {root, topics, "the root"},
        {food, topics, "to its own parent"},
    };

    for (const auto& move : moves) {
        SCOPED_TRACE(move.why);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(tree.MoveLogicalNode(move.id, move.new_parent), zeLogicalTree, 19,
                        "Invalid move", {});
    }
}

TEST_F(zeLogicalTreeMoveTest, MoveBelowItselfIsRefused) {
    const struct {
        unsigned int id;
        unsigned int new_parent;
    } moves[] = {{news, sport}, {topics, news}, {topics, sport}};

    for (const auto& move : moves) {
        SCOPED_TRACE(move.new_parent);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(tree.MoveLogicalNode(move.id, move.new_parent), zeLogicalTree, 19,
                        "Cannot move the node down", {});
    }
}

// A mirrored deletion leaves the children of the deleted node in the list of its parent, but they
// still name the deleted node.
TEST_F(zeLogicalTreeMoveTest, MoveBelowFormerGrandchildIsRefused) {
    const unsigned int desk = kc.Add(sport, "desk", "", ZE_STAT);
    const unsigned int ball = kc.Add(sport, "ball");
    zeNode* deleted = kc.Physical(sport);
    kc.Matcher(topics).delete_cat(deleted, false, true);
    tree.KCE_Delete(deleted);
    ASSERT_THAT(kc.Node(news).children, ElementsAre(ball, desk));
    ASSERT_EQ(kc.Node(desk).parent, sport);

    for (const unsigned int target : {desk, ball}) {
        SCOPED_TRACE(target);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(tree.MoveLogicalNode(news, target), zeLogicalTree, 19,
                        "Cannot move the node down", {});
    }
}

// Training only one classifier can link it to leaves of others.
TEST_F(zeLogicalTreeMoveTest, MoveBelowPhysicalChildOnlyIsRefused) {
    zeNode* shared = kc.Physical(food);
    kc.Matcher(people).add_cat(shared);
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(people, food), zeLogicalTree, 19,
                    "Cannot move the node down", {});
}

// Each row adds links in one direction, from `news` to `invoice` or `staff`, which are not below
// it.
TEST_F(zeLogicalTreeMoveTest, MoveDownIsRefusedForLinksOfEachKindAndAnyMix) {
    const struct {
        const char* links;
        unsigned int target;
        std::function<void()> add;
    } rows[] = {
        {"a logical child", invoice, [this] { List(sport, invoice); }},
        {"a logical parent", invoice, [this] { Name(sport, invoice); }},
        {"a physical child", invoice, [this] { ListPhysical(sport, invoice); }},
        {"a physical parent", invoice, [this] { NamePhysical(sport, invoice); }},
        {"a child and a parent", staff, [this] { List(news, invoice), Name(invoice, staff); }},
        {"a parent and a child", staff, [this] { Name(news, invoice), List(invoice, staff); }},
        {"two parents", staff, [this] { Name(news, invoice), Name(invoice, staff); }},
        {"a physical and a logical child", staff,
         [this] { ListPhysical(news, invoice), List(invoice, staff); }},
        {"a logical and a physical parent", staff,
         [this] { Name(news, invoice), NamePhysical(invoice, staff); }},
        {"a physical parent and a logical child", staff,
         [this] { NamePhysical(news, invoice), List(invoice, staff); }},
        {"a logical parent and a physical child", staff,
         [this] { Name(news, invoice), ListPhysical(invoice, staff); }},
    };

    const std::string before = DumpState(kc.manager);

    for (const auto& row : rows) {
        SCOPED_TRACE(row.links);
        const Saved_links saved(*this);
        row.add();
        ASSERT_NE(DumpState(kc.manager), before);

        EXPECT_QTX_ARGS(tree.MoveLogicalNode(news, row.target), zeLogicalTree, 19,
                        "Cannot move the node down", {});
    }
    ASSERT_EQ(DumpState(kc.manager), before);
    EXPECT_EQ(tree.VerifyMove(news, staff), 0);
}

TEST_F(zeLogicalTreeMoveTest, SearchBelowANodeEndsDespiteCircularLinks) {
    const unsigned int ball = kc.Add(sport, "ball");
    List(ball, sport);
    ListPhysical(sport, ball);
    ListPhysical(ball, sport);

    EXPECT_EQ(tree.VerifyMove(news, food), 4);
    EXPECT_QTX_ARGS(tree.VerifyMove(news, ball), zeLogicalTree, 19, "Cannot move the node down",
                    {});
    EXPECT_EQ(tree.VerifyMove(news, staff), 0);
    EXPECT_NO_THROW(tree.VerifyMove(news, people));
}

TEST_F(zeLogicalTreeMoveTest, SearchAboveATargetEndsDespiteCircularLinks) {
    const unsigned int ball = kc.Add(sport, "ball");
    Name(ball, news);
    NamePhysical(sport, ball);
    NamePhysical(ball, sport);

    EXPECT_ASSERTS(tree.VerifyMove(food, sport), "clafer");
    EXPECT_QTX_ARGS(tree.VerifyMove(news, sport), zeLogicalTree, 19, "Cannot move the node down",
                    {});
}

TEST_F(zeLogicalTreeMoveTest, SecondDefaultIsRefused) {
    const unsigned int other = kc.Add(money, "other", "default");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(other, root), zeLogicalTree, 17,
                    "OTHERWISE rule already exists in a sibling of the given node", {});
    EXPECT_QTX_ARGS(tree.MoveLogicalNode(rest, money), zeLogicalTree, 17,
                    "OTHERWISE rule already exists in a sibling of the given node", {});
}

TEST_F(zeLogicalTreeMoveTest, DefaultIsAcceptedIfTheNewClassifierHasNone) {
    kc.Add(money, "other", "default");

    EXPECT_EQ(tree.VerifyMove(rest, refund), 0) << "a leaf that becomes a rule node";
    EXPECT_EQ(tree.VerifyMove(invoice, root), 0) << "another rule";
}

TEST_F(zeLogicalTreeMoveTest, NameOtherThanTheCategoryIsRefusedOutsideCompatibilityMode) {
    tree.GetNodePtr(food)->name = term("meals");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(food, news), zeLogicalTree, 8,
                    "Avoid node names except in 55 compatibility mode", {"meals"});
}

TEST_F(zeLogicalTreeMoveTest, NameOfAFutureSiblingIsRefusedInCompatibilityMode) {
    kc.manager.m_compat55 = true;
    tree.GetNodePtr(food)->name = term("sport");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(food, news), zeLogicalTree, 10,
                    "sport : Node name already in use by a sibling node", {"sport"});
}

TEST_F(zeLogicalTreeMoveTest, MoveOfLinksNeedsNoCategory) {
    kc.manager.m_compat55 = true;
    tree.GetNodePtr(food)->category = Concept();

    EXPECT_EQ(tree.VerifyMove(food, news), 4);
}

TEST_F(zeLogicalTreeMoveTest, MissingCategoryIsRefusedForAnyOtherMove) {
    kc.manager.m_compat55 = true;
    tree.GetNodePtr(food)->category = Concept();
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(food, people), zeLogicalTree, 11, "Missing category name",
                    {});
}

TEST_F(zeLogicalTreeMoveTest, CategoryInUseInTheTargetsClassifierIsRefused) {
    kc.Add(staff, "food");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(food, people), zeLogicalTree, 2,
                    "food : Category name already in use under the current Principal node",
                    {"food"});
}

TEST_F(zeLogicalTreeMoveTest, AnyCategoryIsAcceptedBelowALeafThatBecomesAClassifier) {
    kc.Add(people, "refund");

    tree.MoveLogicalNode(refund, staff);

    EXPECT_EQ(kc.Node(refund).parent, staff);
    ExpectSound(kc.manager);
}

// If the target stayed a leaf, its rule classifier would already have the moved category. But the
// target becomes a classifier itself, so the move is allowed.
TEST_F(zeLogicalTreeMoveTest, LeafTakesANodeWithARuleFromTheSameRuleClassifier) {
    tree.MoveLogicalNode(refund, invoice);

    EXPECT_EQ(kc.Node(invoice).type, ZE_RULE);
    EXPECT_THAT(kc.Categories(invoice), ElementsAre(refund));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMoveTest, SonsCategoryInUseInTheTargetsClassifierIsRefused) {
    kc.Add(people, "sport");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(news, people), zeLogicalTree, 2,
                    "Cannot merge classifiers: duplicate category: sport", {"sport"});
}

// If the target is a leaf without children, verification ends before it checks the sons.
TEST_F(zeLogicalTreeMoveTest, SonsAreNotCheckedBelowALeafWithoutChildren) {
    kc.Add(people, "sport");

    EXPECT_EQ(tree.VerifyMove(news, staff), 0);
}

TEST_F(zeLogicalTreeMoveTest, SonsOfAClassifierNodeAreNotChecked) {
    const unsigned int desk = kc.Add(topics, "desk", "", ZE_RULE);
    kc.Add(desk, "staff", kAboveOne);

    EXPECT_EQ(tree.VerifyMove(desk, people), 0);
}

TEST_F(zeLogicalTreeMoveTest, RuleBelowAStatisticalClassifierIsRefused) {
    kc.Add(staff, "boss");
    for (const unsigned int target : {people, staff}) {
        SCOPED_TRACE(target);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(tree.MoveLogicalNode(rest, target), zeLogicalTree, 7,
                        "Mixing rules and statistics on the same level", {});
    }
}

// A son's category is in use too, but the rule is checked first.
TEST_F(zeLogicalTreeMoveTest, RuleBelowAStatisticalClassifierIsReportedBeforeASonsCategory) {
    kc.Add(people, "sport");
    tree.KCE_ChangeRule(kc.Physical(news), kAboveOne);

    EXPECT_QTX(tree.VerifyMove(news, people), zeLogicalTree, 7,
               "Mixing rules and statistics on the same level");
}

TEST_F(zeLogicalTreeMoveTest, MissingRuleBelowARuleClassifierIsRefused) {
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(tree.MoveLogicalNode(food, money), zeLogicalTree, 7,
                    "Mixing rules and statistics on the same level", {});
}

TEST_F(zeLogicalTreeMoveTest, RuleIsNotParsedAgain) {
    tree.KCE_ChangeRule(kc.Physical(refund), "&&");

    EXPECT_EQ(tree.VerifyMove(refund, root), 0);
}

// If a move violates several requirements, the first one is reported.

TEST_F(zeLogicalTreeMoveTest, InvalidMoveIsReportedBeforeMoveDown) {
    EXPECT_QTX(tree.VerifyMove(root, topics), zeLogicalTree, 19, "Invalid move");
}

TEST_F(zeLogicalTreeMoveTest, MoveDownIsReportedBeforeName) {
    tree.GetNodePtr(news)->name = term("other");

    EXPECT_QTX(tree.VerifyMove(news, sport), zeLogicalTree, 19, "Cannot move the node down");
}

TEST_F(zeLogicalTreeMoveTest, NameIsReportedBeforeCategory) {
    kc.Add(people, "food");
    tree.GetNodePtr(food)->name = term("meals");

    EXPECT_QTX(tree.VerifyMove(food, people), zeLogicalTree, 8,
               "Avoid node names except in 55 compatibility mode");
}

TEST_F(zeLogicalTreeMoveTest, CategoryIsReportedBeforeASonsCategory) {
    kc.Add(people, "news");
    kc.Add(people, "sport");

    EXPECT_QTX(tree.VerifyMove(news, people), zeLogicalTree, 2,
               "news : Category name already in use under the current Principal node");
}

TEST_F(zeLogicalTreeMoveTest, CategoryIsReportedBeforeAMixOfRulesAndStatistics) {
    kc.Add(people, "rest");

    EXPECT_QTX(tree.VerifyMove(rest, people), zeLogicalTree, 2,
               "rest : Category name already in use under the current Principal node");
}

TEST_F(zeLogicalTreeMoveTest, MixOfRulesAndStatisticsIsRefusedBeforeSecondDefault) {
    EXPECT_QTX(tree.VerifyMove(rest, people), zeLogicalTree, 7,
               "Mixing rules and statistics on the same level");
}

TEST_F(zeLogicalTreeMoveTest, DuplicateCategoryIsRefusedBeforeSecondDefault) {
    kc.Add(money, "rest", "default");

    EXPECT_QTX(tree.VerifyMove(rest, money), zeLogicalTree, 2,
               "rest : Category name already in use under the current Principal node");
}

TEST_F(zeLogicalTreeMoveTest, TargetNeedsARealParent) {
    zeNode* const deleted = kc.Physical(news);
    tree.KCE_Delete(deleted);
    const Unchanged unchanged(kc.manager);

    EXPECT_ASSERTS(tree.MoveLogicalNode(food, sport), "clafer");
}

}  // namespace
