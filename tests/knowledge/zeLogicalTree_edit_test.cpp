// Adding nodes to zeLogicalTree and deleting them.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::UnorderedElementsAre;

// Adding.

TEST(zeLogicalTreeAddTest, FirstNodeIsTheRoot) {
    Edited_container kc;
    kc.tree.next_id = 7;
    zeLogicalNode node;
    node.category = term("root");
    node.type = ZE_RULE;

    EXPECT_EQ(kc.tree.AddLogicalNode(node), 1U);

    EXPECT_EQ(node.id, 1U);
    EXPECT_EQ(kc.tree.next_id, 1U);
    EXPECT_EQ(node.physical_node, kc.manager.m_root);
    EXPECT_EQ(kc.Node(1).type, ZE_RULE);
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, NodeIsStoredWithAllItsFields) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);
    zeLogicalNode node;
    node.parent = root;
    node.type = ZE_STAT;
    node.attributes = zeNode::Junk;
    node.threshold = 0.25;
    node.category = term("topics");
    node.rule = kAboveOne;
    node.note1 = "first note";
    node.note2 = "second note";

    const unsigned int id = kc.tree.AddLogicalNode(node);

    const zeLogicalNode& stored = kc.Node(id);
    EXPECT_EQ(stored.id, id);
    EXPECT_EQ(stored.type, ZE_STAT);
    EXPECT_EQ(stored.attributes, zeNode::Junk);
    EXPECT_EQ(stored.threshold, 0.25);
    EXPECT_EQ(stored.category, term("topics"));
    EXPECT_EQ(stored.name, term("topics"));
    EXPECT_EQ(stored.rule, kAboveOne);
    EXPECT_EQ(stored.note1, "first note");
    EXPECT_EQ(stored.note2, "second note");
    EXPECT_EQ(stored.parent, root);
    EXPECT_EQ(stored.physical_node, node.physical_node);
    EXPECT_THAT(kc.Node(root).children, ElementsAre(id));
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, PhysicalNodeGetsTypeFlagsThresholdAndName) {
    Edited_container kc;
    zeLogicalNode node;
    node.parent = kc.Root(ZE_STAT);
    node.type = ZE_RULE;
    node.attributes = zeNode::Junk;
    node.threshold = 0.25;
    node.category = term("desk");

    kc.tree.AddLogicalNode(node);

    EXPECT_EQ(node.physical_node->m_classifier_type, ZE_RULE);
    EXPECT_EQ(node.physical_node->m_flags, zeNode::Junk);
    EXPECT_EQ(node.physical_node->m_threshold, 0.25);
    EXPECT_EQ(node.physical_node->m_concept, term("desk"));
    EXPECT_NE(dynamic_cast<zeSwitcher*>(node.physical_node->m_classifier), nullptr);
}

TEST(zeLogicalTreeAddTest, ChildrenInTheGivenNodeAreIgnored) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    kc.Add(news, "sport");
    zeLogicalNode copy = kc.Copy(news);
    copy.category = copy.name = term("more news");

    const unsigned int id = kc.tree.AddLogicalNode(copy);

    EXPECT_THAT(kc.Node(id).children, IsEmpty());
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, IdOfADeletedNodeIsNotReused) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int first = kc.Add(root, "first");
    kc.tree.DelLogicalNode(first, true);

    EXPECT_EQ(kc.Add(root, "second"), first + 1);
}

TEST(zeLogicalTreeAddTest, AddingModifiesTheContainer) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    kc.manager.m_modified = false;

    kc.Add(root, "news");

    EXPECT_TRUE(kc.manager.m_modified);
}

TEST(zeLogicalTreeAddTest, RuleOfANodeBelowARuleNodeIsAddedToTheSwitcher) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);

    const unsigned int refund = kc.Add(root, "refund", kAboveOne);

    EXPECT_EQ(kc.Switcher(root).get_rule(kc.Physical(refund)), kAboveOne);
    EXPECT_THAT(kc.Categories(root), ElementsAre(refund));
}

TEST(zeLogicalTreeAddTest, NodeWithTheRuleDefaultBecomesTheDefaultChild) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);

    const unsigned int rest = kc.Add(root, "rest", "default");

    EXPECT_EQ(kc.Switcher(root).m_default, kc.Physical(rest));
    EXPECT_EQ(kc.Node(rest).rule, "default");
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, NodeBelowAStatisticalNodeGetsAProfile) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);

    const unsigned int news = kc.Add(root, "news");

    EXPECT_EQ(kc.Matcher(root).m_storage->get_profile(kc.Physical(news)), 0);
    EXPECT_THAT(kc.Physical(root)->m_children, ElementsAre(kc.Physical(news)));
}

TEST(zeLogicalTreeAddTest, PlainLeafBelowAPlainLeafIsACategoryOfTheRealParent) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");

    const unsigned int sport = kc.Add(news, "sport");

    EXPECT_EQ(kc.Node(news).type, ZE_LEAF);
    EXPECT_EQ(kc.Node(news).attributes, 0);
    EXPECT_THAT(kc.Node(news).children, ElementsAre(sport));
    EXPECT_THAT(kc.Categories(root), ElementsAre(news, sport));
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, LeafBecomesARuleNodeIfAChildHasARule) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int desk = kc.Add(root, "desk");

    const unsigned int refund = kc.Add(desk, "refund", kAboveOne);

    EXPECT_EQ(kc.Node(desk).type, ZE_RULE);
    EXPECT_EQ(kc.Node(desk).attributes, zeNode::NoScore);
    EXPECT_TRUE(kc.Physical(desk)->is_no_score());
    EXPECT_THAT(kc.Categories(desk), ElementsAre(refund));
    EXPECT_THAT(kc.Categories(root), ElementsAre(desk));
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, LeafWithARuleBecomesAStatisticalNodeIfAChildHasNone) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int topics = kc.Add(root, "topics", kAboveOne);

    const unsigned int food = kc.Add(topics, "food");

    EXPECT_EQ(kc.Node(topics).type, ZE_STAT);
    EXPECT_EQ(kc.Node(topics).attributes, zeNode::NoScore);
    EXPECT_TRUE(kc.Physical(topics)->is_no_score());
    EXPECT_THAT(kc.Categories(topics), ElementsAre(food));
    EXPECT_EQ(kc.Switcher(root).get_rule(kc.Physical(topics)), kAboveOne);
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, LeafWithARuleBecomesARuleNodeIfAChildHasARule) {
    Edited_container kc;
    const unsigned int desk = kc.Add(kc.Root(ZE_RULE), "desk", kAboveOne);

    kc.Add(desk, "refund", kAboveTwo);

    EXPECT_EQ(kc.Node(desk).type, ZE_RULE);
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, LeafThatBecomesAClassifierKeepsItsOtherAttributes) {
    Edited_container kc;
    zeLogicalNode node;
    node.parent = kc.Root(ZE_STAT);
    node.category = term("desk");
    node.attributes = zeNode::Junk;
    const unsigned int desk = kc.tree.AddLogicalNode(node);

    kc.Add(desk, "refund", kAboveOne);

    EXPECT_EQ(kc.Node(desk).attributes, zeNode::Junk | zeNode::NoScore);
    ExpectSound(kc.manager);
}

TEST(zeLogicalTreeAddTest, FirstCategoryOfANewClassifierMayHaveANameFromAbove) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    kc.Add(root, "sport");
    const unsigned int desk = kc.Add(root, "desk");

    kc.Add(desk, "sport", kAboveOne);

    ExpectSound(kc.manager);
}

// The tree passes verification, but the test has changed a rule without its classifier, and the
// classifier refuses the edit. Earlier effects of the edit remain.
TEST(zeLogicalTreeAddTest, EditRefusedByAClassifierEndsHalfWay) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int desk = kc.Add(root, "desk", "", ZE_RULE);
    const unsigned int topics = kc.Add(desk, "topics", kAboveOne);
    kc.tree.KCE_ChangeRule(kc.Physical(topics), "");
    const std::string before = DumpLogicalTree(kc.tree);

    EXPECT_QTX_ARGS(kc.Add(topics, "food"), RuleParser, 0, "Empty expression", {});

    EXPECT_EQ(DumpLogicalTree(kc.tree), before);
    EXPECT_EQ(kc.manager.m_physical_tree->GetLeafNodes(term("food")).size(), 1U);
    ExpectNoDanglingPointers(kc.manager);
}

// Deleting.

class zeLogicalTreeDeleteTest : public testing::Test {
protected:
    // Trains each category with two messages, whose bag has only the category's name.
    void Train(unsigned int id, std::initializer_list<const char*> categories) {
        zeMemoryCorpus corpus;
        for (const char* const category : categories) {
            for (int i = 0; i < 2; ++i) {
                MessageBuilder().bag({{category, 1.0}}).labels({category}).add_to(corpus);
            }
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&kc.manager);
        kc.Matcher(id).train(view);
    }

    double ConceptWeight(unsigned int id, const char* text) const {
        return info_of(*kc.Matcher(id).m_storage, text).m_weight;
    }

    Edited_container kc;
};

TEST_F(zeLogicalTreeDeleteTest, DeletedLeafIsRemovedFromAllSides) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    const unsigned int sport = kc.Add(root, "sport");
    zeNode* const deleted = kc.Physical(news);

    kc.tree.DelLogicalNode(news, true);

    EXPECT_EQ(kc.Node(news).id, 0U);
    EXPECT_EQ(kc.tree.FindCategory(deleted).id, 0U);
    EXPECT_THAT(kc.Node(root).children, ElementsAre(sport));
    EXPECT_THAT(kc.Categories(root), ElementsAre(sport));
    EXPECT_THAT(kc.manager.m_physical_tree->GetLeafNodes(term("news")), IsEmpty());
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, LastChildMovesIntoThePlaceOfADeletedOne) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int a = kc.Add(root, "a");
    const unsigned int b = kc.Add(root, "b");
    const unsigned int c = kc.Add(root, "c");
    const unsigned int d = kc.Add(root, "d");

    kc.tree.DelLogicalNode(b, true);
    EXPECT_THAT(kc.Node(root).children, ElementsAre(a, d, c));

    kc.tree.DelLogicalNode(c, true);
    EXPECT_THAT(kc.Node(root).children, ElementsAre(a, d));
}

TEST_F(zeLogicalTreeDeleteTest, DeletingModifiesTheContainer) {
    const unsigned int news = kc.Add(kc.Root(ZE_STAT), "news");
    kc.manager.m_modified = false;

    kc.tree.DelLogicalNode(news, true);

    EXPECT_TRUE(kc.manager.m_modified);
}

TEST_F(zeLogicalTreeDeleteTest, NodesBelowADeletedLeafAreDeleted) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    const unsigned int sport = kc.Add(news, "sport");
    kc.Add(sport, "ball");
    const unsigned int other = kc.Add(root, "other");

    kc.tree.DelLogicalNode(news, true);

    EXPECT_THAT(kc.tree.nodes, UnorderedElementsAre(Key(root), Key(other)));
    EXPECT_THAT(kc.Categories(root), ElementsAre(other));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, AllObjectsBelowADeletedClassifierNodeAreDeleted) {
    const unsigned int root = kc.Root(ZE_STAT);
    const std::size_t object_count = kc.manager.m_objects.size();
    const unsigned int desk = kc.Add(root, "desk", "", ZE_RULE);
    const unsigned int topics = kc.Add(desk, "topics", kAboveOne, ZE_STAT);
    const unsigned int food = kc.Add(topics, "food");
    kc.Add(food, "more", "", ZE_STAT);

    kc.tree.DelLogicalNode(desk, true);

    EXPECT_EQ(kc.manager.m_objects.size(), object_count);
    EXPECT_THAT(kc.tree.nodes, UnorderedElementsAre(Key(root)));
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, ClassifiersLogicallyBelowADeletedLeafAreDeleted) {
    const unsigned int root = kc.Root(ZE_STAT);
    const std::size_t object_count = kc.manager.m_objects.size();
    const unsigned int news = kc.Add(root, "news");
    const unsigned int desk = kc.Add(news, "desk", "", ZE_RULE);
    const unsigned int topics = kc.Add(desk, "topics", kAboveOne, ZE_STAT);
    kc.Add(topics, "food");

    kc.tree.DelLogicalNode(news, true);

    EXPECT_EQ(kc.manager.m_objects.size(), object_count);
    EXPECT_THAT(kc.Categories(root), IsEmpty());
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, RuleIsDeletedWithItsNode) {
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int refund = kc.Add(root, "refund", kAboveOne);
    const unsigned int invoice = kc.Add(root, "invoice", kAboveTwo);
    kc.Switcher(root).m_dirty = false;

    kc.tree.DelLogicalNode(refund, true);

    EXPECT_THAT(kc.Switcher(root).m_rules, UnorderedElementsAre(Key(kc.Physical(invoice))));
    EXPECT_THAT(kc.Physical(root)->m_children, ElementsAre(kc.Physical(invoice)));
    EXPECT_TRUE(kc.Switcher(root).m_dirty);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, AnotherDefaultIsAcceptedAfterTheDefaultIsDeleted) {
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int refund = kc.Add(root, "refund", kAboveOne);
    const unsigned int rest = kc.Add(root, "rest", "default");

    kc.tree.DelLogicalNode(rest, true);

    EXPECT_EQ(kc.Switcher(root).m_default, nullptr);
    EXPECT_THAT(kc.Categories(root), ElementsAre(refund));
    const unsigned int another = kc.Add(root, "another", "default");
    EXPECT_EQ(kc.Switcher(root).m_default, kc.Physical(another));
}

TEST_F(zeLogicalTreeDeleteTest, RuleNodeWithoutItsLastChildBecomesAScoredLeaf) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int desk = kc.Add(root, "desk");
    const unsigned int refund = kc.Add(desk, "refund", kAboveOne);
    const std::size_t object_count = kc.manager.m_objects.size();

    kc.tree.DelLogicalNode(refund, true);

    EXPECT_EQ(kc.Node(desk).type, ZE_LEAF);
    EXPECT_EQ(kc.Node(desk).attributes, 0);
    EXPECT_FALSE(kc.Physical(desk)->is_no_score());
    EXPECT_EQ(kc.manager.m_objects.size(), object_count - 1);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, StatisticalNodeWithoutItsLastChildBecomesAScoredLeaf) {
    const unsigned int topics = kc.Add(kc.Root(ZE_RULE), "topics", kAboveOne);
    const unsigned int food = kc.Add(topics, "food");

    kc.tree.DelLogicalNode(food, true);

    EXPECT_EQ(kc.Node(topics).type, ZE_LEAF);
    EXPECT_EQ(kc.Node(topics).attributes, 0);
    EXPECT_EQ(kc.Node(topics).rule, kAboveOne);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, NodeThatBecomesALeafKeepsItsOtherAttributes) {
    zeLogicalNode node;
    node.parent = kc.Root(ZE_STAT);
    node.category = term("desk");
    node.type = ZE_RULE;
    node.attributes = zeNode::Junk | zeNode::NoScore;
    const unsigned int desk = kc.tree.AddLogicalNode(node);
    const unsigned int refund = kc.Add(desk, "refund", kAboveOne);

    kc.tree.DelLogicalNode(refund, true);

    EXPECT_EQ(kc.Node(desk).attributes, zeNode::Junk);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, ParentWithAChildLeftStaysAClassifier) {
    const unsigned int desk = kc.Add(kc.Root(ZE_STAT), "desk");
    const unsigned int refund = kc.Add(desk, "refund", kAboveOne);
    kc.Add(desk, "invoice", kAboveTwo);

    kc.tree.DelLogicalNode(refund, true);

    EXPECT_EQ(kc.Node(desk).type, ZE_RULE);
    EXPECT_EQ(kc.Node(desk).attributes, zeNode::NoScore);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, RootWithoutItsLastChildStaysAClassifier) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        Edited_container other;
        const unsigned int root = other.Root(type);
        const unsigned int child = other.Add(root, "child", type == ZE_RULE ? kAboveOne : "");

        other.tree.DelLogicalNode(child, true);

        EXPECT_EQ(other.Node(root).type, type);
        EXPECT_EQ(other.Node(root).attributes, zeNode::NoScore);
        ExpectSound(other.manager);
    }
}

// Only the direct parent could become a leaf, and `news` is one already. So no type changes.
TEST_F(zeLogicalTreeDeleteTest, LeafWithoutItsLastChildStaysALeaf) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    const unsigned int sport = kc.Add(news, "sport");

    kc.tree.DelLogicalNode(sport, true);

    EXPECT_EQ(kc.Node(news).type, ZE_LEAF);
    EXPECT_THAT(kc.Categories(root), ElementsAre(news));
    ExpectSound(kc.manager);
}

// With removal, the category's share of the concept's weight becomes 0. Without it, the share is
// only scaled to the messages that remain.
TEST_F(zeLogicalTreeDeleteTest, ConceptsOfADeletedCategoryLoseItsShareOnlyIfRequested) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int a = kc.Add(root, "a");
    const unsigned int b = kc.Add(root, "b");
    kc.Add(root, "c");
    Train(root, {"a", "b", "c"});
    ASSERT_EQ(ConceptWeight(root, "a"), 2.0);
    ASSERT_EQ(ConceptWeight(root, "b"), 2.0);

    kc.tree.DelLogicalNode(a, false);
    EXPECT_NEAR(ConceptWeight(root, "a"), 2.0 * 4 / 6, 1e-12);

    kc.tree.DelLogicalNode(b, true);
    EXPECT_EQ(ConceptWeight(root, "b"), 0.0);
    EXPECT_GT(ConceptWeight(root, "a"), 0.0);
    EXPECT_GT(ConceptWeight(root, "c"), 0.0);
}

TEST_F(zeLogicalTreeDeleteTest, MatchingTableHasOnlyTheRemainingCategories) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int a = kc.Add(root, "a");
    const unsigned int b = kc.Add(root, "b");
    const unsigned int c = kc.Add(root, "c");
    Train(root, {"a", "b", "c"});

    kc.tree.DelLogicalNode(a, true);

    EXPECT_THAT(kc.Categories(root), ElementsAre(b, c));
    EXPECT_EQ(kc.Matcher(root).m_table.count(term("a")), 0U);
    const auto& table = kc.Matcher(root).m_table;
    ASSERT_THAT(table, Not(IsEmpty()));
    for (const auto& [feature, pairs] : table) {
        for (const zeStat_matcher::Concept_weight& pair : pairs) {
            EXPECT_LT(pair.m_iprofile, 2) << feature.view();
        }
    }
}

TEST_F(zeLogicalTreeDeleteTest, DeletingManyCategoriesRebuildsTheMatchingTableOnce) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int a = kc.Add(root, "a");
    kc.Add(a, "b");
    kc.Add(a, "c");
    const Trace_capture traced;

    kc.tree.DelLogicalNode(a, true);

    const std::vector<std::string> texts = traced.texts();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Matching table completed"), 1);
}

TEST_F(zeLogicalTreeDeleteTest, DeletingTheRootOrAnUnknownNodeIsRefused) {
    const unsigned int root = kc.Root(ZE_STAT);
    kc.Add(root, "news");
    kc.manager.m_modified = false;
    for (const unsigned int id : {root, 0U, 99U}) {
        SCOPED_TRACE(id);
        const Unchanged unchanged(kc.manager);

        EXPECT_QTX_ARGS(kc.tree.DelLogicalNode(id, true), zeLogicalTree, 12,
                        "Cannot delete top node", {});
    }
}

TEST_F(zeLogicalTreeDeleteTest, PhysicalDeleteRefusesTheRoot) {
    const unsigned int root = kc.Root(ZE_STAT);
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(kc.tree.PhysicalDelete(kc.Node(root), true), zeLogicalTree, 12,
                    "Cannot delete top node", {});
}

TEST_F(zeLogicalTreeDeleteTest, PhysicalDeleteLeavesTheLogicalTreeUnchanged) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    const unsigned int sport = kc.Add(news, "sport");
    const std::string before = DumpLogicalTree(kc.tree);

    kc.tree.PhysicalDelete(kc.Node(news), true);

    EXPECT_EQ(DumpLogicalTree(kc.tree), before);
    EXPECT_THAT(kc.Categories(root), IsEmpty());
    EXPECT_EQ(kc.Physical(news)->m_parent, nullptr);
    EXPECT_EQ(kc.Physical(sport)->m_parent, nullptr);
}

TEST_F(zeLogicalTreeDeleteTest, PhysicalDeleteRemovesTheRuleFromASwitcherWithoutANode) {
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int refund = kc.Add(root, "refund", kAboveOne);
    kc.Switcher(root).m_node = nullptr;

    kc.tree.PhysicalDelete(kc.Node(refund), true);

    EXPECT_THAT(kc.Switcher(root).m_rules, IsEmpty());
    EXPECT_EQ(kc.Physical(refund)->m_parent, kc.Physical(root));
}

// Nodes below a leaf with a rule can be categories of the same switcher only if mirroring changed
// their rules.
TEST_F(zeLogicalTreeDeleteTest, SwitcherLosesTheNodesBelowADeletedLeaf) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int desk = kc.Add(root, "desk", "", ZE_RULE);
    kc.Add(desk, "invoice", kAboveTwo);
    const unsigned int news = kc.Add(root, "news");
    const unsigned int sport = kc.Add(news, "sport");
    kc.tree.KCE_ChangeRule(kc.Physical(news), kAboveOne);
    kc.tree.KCE_ChangeRule(kc.Physical(sport), kAboveTwo);
    kc.tree.MoveLogicalNode(news, desk);
    ASSERT_EQ(kc.Categories(desk).size(), 3U);

    kc.tree.DelLogicalNode(news, true);

    EXPECT_EQ(kc.Categories(desk).size(), 1U);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, RemoveFromParentKeepsTheNode) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");

    kc.tree.RemoveFromParent(kc.Node(news));

    EXPECT_THAT(kc.Node(root).children, IsEmpty());
    EXPECT_EQ(kc.Node(news).parent, root);
}

TEST_F(zeLogicalTreeDeleteTest, RemoveFromParentOfTheRootDoesNothing) {
    const unsigned int root = kc.Root(ZE_STAT);
    const Unchanged unchanged(kc.manager);

    kc.tree.RemoveFromParent(kc.Node(root));
}

TEST_F(zeLogicalTreeDeleteTest, RemoveFromParentRequiresTheNodeAmongTheChildren) {
    const unsigned int news = kc.Add(kc.Root(ZE_STAT), "news");
    kc.tree.RemoveFromParent(kc.Node(news));
    const Unchanged unchanged(kc.manager);

    EXPECT_ASSERTS(kc.tree.RemoveFromParent(kc.Node(news)), "loc >= 0");
}

TEST_F(zeLogicalTreeDeleteTest, RecursiveNodeDeleteKeepsTheParentsListIfRequested) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int news = kc.Add(root, "news");
    kc.tree.PhysicalDelete(kc.Node(news), true);

    kc.tree.RecursiveNodeDelete(*kc.tree.GetNodePtr(news), false);

    EXPECT_EQ(kc.Node(news).id, 0U);
    EXPECT_THAT(kc.Node(root).children, ElementsAre(news));
    EXPECT_EQ(kc.manager.m_physical_tree->m_nodes.size(), 1U);
}

// An edit that failed half-way can leave a category in a classifier that is not the one above it in
// the tree.
TEST_F(zeLogicalTreeDeleteTest, DeletedNodeIsRemovedFromEveryClassifierThatKnowsIt) {
    const unsigned int root = kc.Root(ZE_RULE);
    const unsigned int desk = kc.Add(root, "desk", kAboveOne, ZE_RULE);
    const unsigned int refund = kc.Add(desk, "refund", kAboveOne);
    const unsigned int topics = kc.Add(root, "topics", kAboveTwo, ZE_STAT);
    const unsigned int food = kc.Add(topics, "food");
    zeNode* refund_node = kc.Physical(refund);
    kc.tree.PhysicalDelete(kc.Node(refund), true);
    kc.Matcher(topics).add_cat(refund_node);
    zeNode* food_node = kc.Physical(food);
    kc.tree.PhysicalDelete(kc.Node(food), true);
    kc.Switcher(root).add_rule(food_node, kAboveOne);

    kc.tree.DelLogicalNode(desk, true);
    EXPECT_THAT(kc.Categories(topics), IsEmpty());
    kc.tree.DelLogicalNode(topics, true);

    EXPECT_THAT(kc.Categories(root), IsEmpty());
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeDeleteTest, DeepTreeIsDeletedAsAWhole) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int top = kc.Add(root, "top");
    unsigned int deepest = top;
    for (int i = 0; i < 300; ++i) {
        deepest = kc.Add(deepest, "n" + std::to_string(i));
    }

    kc.tree.DelLogicalNode(top, true);

    EXPECT_THAT(kc.tree.nodes, UnorderedElementsAre(Key(root)));
    ExpectSound(kc.manager);
}

}  // namespace
