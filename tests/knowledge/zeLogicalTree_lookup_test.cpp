// Look-ups of zeLogicalTree.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// root (statistics)
//   news (leaf)
//     sport (leaf)
//       ball (leaf)
//     desk (rules)
//       refund (leaf)
//   other (leaf)
class zeLogicalTreeLookupTest : public testing::Test {
protected:
    std::vector<unsigned int> Sons(unsigned int id) const {
        std::vector<zeLogicalNode*> sons;
        kc.tree.GatherSons(&kc.Node(id), sons);
        return Ids(sons);
    }

    std::vector<unsigned int> FatherAndSons(unsigned int id) const {
        std::vector<zeLogicalNode*> gathered;
        kc.tree.GatherFatherAndSons(&kc.Node(id), gathered);
        return Ids(gathered);
    }

    static std::vector<unsigned int> Ids(const std::vector<zeLogicalNode*>& gathered) {
        std::vector<unsigned int> ids;
        for (const zeLogicalNode* node : gathered) {
            ids.push_back(node->id);
        }
        return ids;
    }

    bool WillChange(unsigned int parent, const char* rule) const {
        zeLogicalNode node;
        node.parent = parent;
        node.rule = rule;
        return kc.tree.WillChangeParentToClassifier(node);
    }

    Edited_container kc;
    unsigned int root = kc.Root(ZE_STAT);
    unsigned int news = kc.Add(root, "news");
    unsigned int sport = kc.Add(news, "sport");
    unsigned int ball = kc.Add(sport, "ball");
    unsigned int desk = kc.Add(news, "desk", "", ZE_RULE);
    unsigned int refund = kc.Add(desk, "refund", "$a(n) > 1");
    unsigned int other = kc.Add(root, "other");
};

TEST(zeLogicalNodeTest, NewNodeIsEmpty) {
    const zeLogicalNode node;

    EXPECT_EQ(node.id, 0U);
    EXPECT_EQ(node.type, ZE_LEAF);
    EXPECT_EQ(node.attributes, 0);
    EXPECT_EQ(node.threshold, 0.0);
    EXPECT_TRUE(node.category.empty());
    EXPECT_TRUE(node.name.empty());
    EXPECT_TRUE(node.rule.empty());
    EXPECT_TRUE(node.note1.empty());
    EXPECT_TRUE(node.note2.empty());
    EXPECT_EQ(node.parent, 0U);
    EXPECT_THAT(node.children, IsEmpty());
    EXPECT_EQ(node.physical_node, nullptr);
}

TEST_F(zeLogicalTreeLookupTest, FixtureTreeIsSound) {
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeLookupTest, GetNodeReturnsTheNodeOfAnId) {
    EXPECT_EQ(kc.tree.GetNode(sport).category, term("sport"));
    EXPECT_EQ(kc.tree.GetNode(sport).id, sport);
}

TEST_F(zeLogicalTreeLookupTest, GetNodeOfAnUnknownIdReturnsTheEmptyNode) {
    for (const unsigned int id : {0U, 8U, 4294967295U}) {
        SCOPED_TRACE(id);

        EXPECT_EQ(&kc.tree.GetNode(id), &kc.tree.not_found_node);
        EXPECT_EQ(kc.tree.GetNode(id).id, 0U);
    }
}

TEST_F(zeLogicalTreeLookupTest, GetNodePtrReturnsTheSameNodeOrNull) {
    EXPECT_EQ(kc.tree.GetNodePtr(sport), &kc.tree.GetNode(sport));
    EXPECT_EQ(kc.tree.GetNodePtr(0), nullptr);
    EXPECT_EQ(kc.tree.GetNodePtr(8), nullptr);
}

TEST_F(zeLogicalTreeLookupTest, FindCategoryReturnsTheNodeThatMirrorsAPhysicalNode) {
    EXPECT_EQ(&kc.tree.FindCategory(kc.Physical(ball)), &kc.tree.GetNode(ball));
}

TEST_F(zeLogicalTreeLookupTest, FindCategoryOfAnUnknownNodeReturnsTheEmptyNode) {
    zeNode* const unknown = kc.manager.m_physical_tree->MakeNode(term("sport"), ZE_LEAF, 0, 0.0);

    EXPECT_EQ(&kc.tree.FindCategory(unknown), &kc.tree.not_found_node);
    EXPECT_EQ(&kc.tree.FindCategory(nullptr), &kc.tree.not_found_node);
}

TEST_F(zeLogicalTreeLookupTest, FindChildReturnsThePositionAmongTheChildren) {
    EXPECT_EQ(kc.tree.FindChild(kc.Node(root), kc.Physical(news)), 0);
    EXPECT_EQ(kc.tree.FindChild(kc.Node(root), kc.Physical(other)), 1);
}

TEST_F(zeLogicalTreeLookupTest, FindChildReturnsMinusOneIfTheNodeIsNoChild) {
    EXPECT_EQ(kc.tree.FindChild(kc.Node(root), kc.Physical(sport)), -1);
    EXPECT_EQ(kc.tree.FindChild(kc.Node(root), kc.Physical(root)), -1);
    EXPECT_EQ(kc.tree.FindChild(kc.tree.not_found_node, kc.Physical(sport)), -1);
}

TEST_F(zeLogicalTreeLookupTest, RealParentIsTheParentOfTheNearestClassifierNode) {
    EXPECT_EQ(kc.tree.GetRealParent(ball), kc.Physical(root)->m_classifier);
    EXPECT_EQ(kc.tree.GetRealParent(news), kc.Physical(root)->m_classifier);
    EXPECT_EQ(kc.tree.GetRealParent(refund), kc.Physical(desk)->m_classifier);
}

TEST_F(zeLogicalTreeLookupTest, RealParentOfAClassifierNodeIsItsOwnClassifier) {
    EXPECT_EQ(kc.tree.GetRealParent(desk), kc.Physical(desk)->m_classifier);
    EXPECT_EQ(kc.tree.GetRealParent(root), kc.Physical(root)->m_classifier);
}

TEST_F(zeLogicalTreeLookupTest, RealParentOfAnUnknownNodeAsserts) {
    EXPECT_ASSERTS(kc.tree.GetRealParent(0), "clafer");
    EXPECT_ASSERTS(kc.tree.GetRealParent(8), "clafer");
}

TEST_F(zeLogicalTreeLookupTest, RealParentAssertsIfAClassifierNodeHasNoClassifier) {
    kc.manager.DelClassifier(kc.Physical(desk));

    EXPECT_ASSERTS(kc.tree.GetRealParent(refund), "clafer");
}

TEST_F(zeLogicalTreeLookupTest, GatherSonsContinuesBelowLeavesAndStopsAtClassifiers) {
    EXPECT_THAT(Sons(root), ElementsAre(news, sport, ball, desk, other));
    EXPECT_THAT(Sons(news), ElementsAre(sport, ball, desk));
    EXPECT_THAT(Sons(ball), IsEmpty());
}

TEST_F(zeLogicalTreeLookupTest, GatherSonsEntersTheClassifierThatItStartsFrom) {
    EXPECT_THAT(Sons(desk), ElementsAre(refund));
}

TEST_F(zeLogicalTreeLookupTest, GatherSonsAppends) {
    std::vector<zeLogicalNode*> gathered = {kc.tree.GetNodePtr(other)};

    kc.tree.GatherSons(&kc.Node(desk), gathered);

    EXPECT_THAT(Ids(gathered), ElementsAre(other, refund));
}

TEST_F(zeLogicalTreeLookupTest, GatherFatherAndSonsStartsWithTheNode) {
    EXPECT_THAT(FatherAndSons(news), ElementsAre(news, sport, ball, desk));
    EXPECT_THAT(FatherAndSons(other), ElementsAre(other));
}

TEST_F(zeLogicalTreeLookupTest, GatherFatherAndSonsDoesNotEnterAClassifier) {
    EXPECT_THAT(FatherAndSons(desk), ElementsAre(desk));
    EXPECT_THAT(FatherAndSons(root), ElementsAre(root));
}

TEST_F(zeLogicalTreeLookupTest, LeafBecomesAClassifierIfItOrItsChildHasARule) {
    EXPECT_TRUE(WillChange(other, "$b(n) > 1"));
    EXPECT_TRUE(WillChange(refund, ""));
    EXPECT_TRUE(WillChange(refund, "default"));
}

TEST_F(zeLogicalTreeLookupTest, LeafStaysALeafWithoutAnyRule) {
    EXPECT_FALSE(WillChange(other, ""));
}

TEST_F(zeLogicalTreeLookupTest, ClassifierAndMissingParentAreNotChanged) {
    EXPECT_FALSE(WillChange(desk, "$b(n) > 1"));
    EXPECT_FALSE(WillChange(root, "$b(n) > 1"));
    EXPECT_FALSE(WillChange(0, "$b(n) > 1"));
    EXPECT_FALSE(WillChange(8, "$b(n) > 1"));
}

TEST_F(zeLogicalTreeLookupTest, FixNodeNameFillsAnEmptyName) {
    zeLogicalNode node;
    node.category = term("sport");

    kc.tree.FixNodeName(node);

    EXPECT_EQ(node.name, term("sport"));
}

TEST_F(zeLogicalTreeLookupTest, FixNodeNameKeepsAGivenName) {
    zeLogicalNode node;
    node.category = term("sport");
    node.name = term("games");

    kc.tree.FixNodeName(node);

    EXPECT_EQ(node.name, term("games"));
}

TEST_F(zeLogicalTreeLookupTest, FixNodeNameKeepsAnEmptyNameInCompatibilityMode) {
    kc.manager.m_compat55 = true;
    zeLogicalNode node;
    node.category = term("sport");

    kc.tree.FixNodeName(node);

    EXPECT_EQ(node.name, term(""));
}

TEST_F(zeLogicalTreeLookupTest, AddFinderAddsAndDelFinderRemovesTheEntry) {
    zeLogicalNode node;
    node.id = ball;
    node.physical_node = kc.manager.m_physical_tree->MakeNode(term("x"), ZE_LEAF, 0, 0.0);

    kc.tree.AddFinder(node);
    EXPECT_EQ(kc.tree.FindCategory(node.physical_node).id, ball);

    kc.tree.DelFinder(node);
    EXPECT_EQ(kc.tree.FindCategory(node.physical_node).id, 0U);
}

TEST_F(zeLogicalTreeLookupTest, ManyLevelsOfLeavesAreGathered) {
    constexpr unsigned int kDepth = 1000;
    unsigned int deepest = other;
    for (unsigned int i = 0; i < kDepth; ++i) {
        deepest = kc.Add(deepest, "n" + std::to_string(i));
    }

    EXPECT_EQ(Sons(other).size(), kDepth);
    EXPECT_EQ(kc.tree.GetRealParent(deepest), kc.Physical(root)->m_classifier);
}

}  // namespace
