// How zeLogicalTree mirrors changes of the physical side.
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
//     desk (rules)
//       refund (leaf)
class zeLogicalTreeMirrorTest : public testing::Test {
protected:
    zeLogicalTreeMirrorTest() { kc.manager.m_modified = false; }

    zeNode* MakeLeaf(std::string_view name) {
        return kc.manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, zeNode::Junk, 0.25);
    }

    // The operation takes the pointer by reference, so we pass a copy.
    const zeLogicalNode& Add(zeNode* node, const zeClassifier* classifier) {
        tree.KCE_Add(node, classifier);
        return tree.FindCategory(node);
    }

    void Delete(zeNode* node) { tree.KCE_Delete(node); }

    Edited_container kc;
    zeLogicalTree& tree = kc.tree;
    unsigned int root = kc.Root(ZE_STAT);
    unsigned int news = kc.Add(root, "news");
    unsigned int sport = kc.Add(news, "sport");
    unsigned int desk = kc.Add(news, "desk", "", ZE_RULE);
    unsigned int refund = kc.Add(desk, "refund", kAboveOne);
};

// KCE_Add.

TEST_F(zeLogicalTreeMirrorTest, NewCategoryBecomesAChildOfTheClassifiersNode) {
    zeNode* node = MakeLeaf("food");
    kc.Matcher(root).add_cat(node);

    const zeLogicalNode& added = Add(node, &kc.Matcher(root));

    EXPECT_EQ(added.id, 6U);
    EXPECT_EQ(tree.next_id, 6U);
    EXPECT_EQ(added.parent, root);
    EXPECT_EQ(added.physical_node, node);
    EXPECT_EQ(added.type, ZE_LEAF);
    EXPECT_EQ(added.attributes, zeNode::Junk);
    EXPECT_EQ(added.threshold, 0.25);
    EXPECT_EQ(added.category, term("food"));
    EXPECT_EQ(added.name, term("food"));
    EXPECT_EQ(added.rule, "");
    EXPECT_THAT(kc.Node(root).children, ElementsAre(news, added.id));
    EXPECT_TRUE(kc.manager.m_modified);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, NewNodeGetsItsRuleFromTheSwitcher) {
    zeNode* first = MakeLeaf("invoice");
    kc.Switcher(desk).add_rule(first, kAboveTwo);
    zeNode* second = MakeLeaf("rest");
    kc.Switcher(desk).add_rule(second, "default");

    EXPECT_EQ(Add(first, &kc.Switcher(desk)).rule, kAboveTwo);
    EXPECT_EQ(Add(second, &kc.Switcher(desk)).rule, "default");

    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, NodeWithAClassifierGetsItsType) {
    zeNode* node = kc.manager.m_physical_tree->MakeNode(term("topics"), ZE_STAT, 0, 0.0);
    kc.Matcher(root).add_cat(node);

    EXPECT_EQ(Add(node, &kc.Matcher(root)).type, ZE_STAT);

    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, NodeMirroredWithoutAClassifierHasNoParent) {
    const zeLogicalNode& added = Add(MakeLeaf("food"), nullptr);

    EXPECT_EQ(added.id, 6U);
    EXPECT_EQ(added.parent, 0U);
    EXPECT_THAT(kc.Node(root).children, ElementsAre(news));
    EXPECT_TRUE(kc.manager.m_modified);
}

TEST_F(zeLogicalTreeMirrorTest, NodeHasNoParentIfTheClassifiersNodeIsNotMirrored) {
    zeNode* const unknown = kc.manager.m_physical_tree->MakeNode(term("other"), ZE_STAT, 0, 0.0);
    const std::string before = DumpLogicalTree(tree);
    zeNode* node = MakeLeaf("food");

    const zeLogicalNode& added = Add(node, unknown->m_classifier);

    EXPECT_EQ(added.parent, 0U);
    EXPECT_THAT(tree.not_found_node.children, IsEmpty());
    EXPECT_EQ(tree.not_found_node.id, 0U);
    Delete(node);
    tree.next_id = 5;
    EXPECT_EQ(DumpLogicalTree(tree), before);
}

TEST_F(zeLogicalTreeMirrorTest, MirroringTwiceChangesNothing) {
    const Unchanged unchanged(kc.manager);

    Add(kc.Physical(sport), &kc.Matcher(root));
    Add(kc.Physical(root), nullptr);
}

TEST_F(zeLogicalTreeMirrorTest, NewChildOfARuleNodeNeedsItsSwitcher) {
    tree.GetNodePtr(root)->type = ZE_RULE;
    zeNode* node = MakeLeaf("food");
    const Unchanged unchanged(kc.manager);

    EXPECT_ASSERTS(Add(node, &kc.Matcher(root)), "sw");
}

// KCE_Delete.

TEST_F(zeLogicalTreeMirrorTest, DeletedNodeIsRemovedFromBothTrees) {
    zeNode* node = kc.Physical(sport);
    kc.Matcher(root).delete_cat(node, true, true);

    Delete(node);

    EXPECT_EQ(kc.Node(sport).id, 0U);
    EXPECT_THAT(kc.Node(news).children, ElementsAre(desk));
    EXPECT_THAT(kc.manager.m_physical_tree->GetLeafNodes(term("sport")), IsEmpty());
    EXPECT_TRUE(kc.manager.m_modified);
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, ChildrenOfADeletedNodeJoinTheGrandparentButNameTheDeletedNode) {
    zeNode* node = kc.Physical(news);
    kc.Matcher(root).delete_cat(node, true, true);
    const unsigned int other = kc.Add(root, "other");

    Delete(node);

    EXPECT_THAT(kc.Node(root).children, ElementsAre(desk, other, sport));
    EXPECT_EQ(kc.Node(sport).parent, news);
    EXPECT_EQ(kc.Node(desk).parent, news);
    EXPECT_THAT(tree.not_found_node.children, IsEmpty());
    EXPECT_ASSERTS(tree.GetRealParent(sport), "clafer");
    ExpectNoDanglingPointers(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, RemovingAChildOfADeletedNodeFromItsParentIsRefused) {
    Delete(kc.Physical(news));
    const Unchanged unchanged(kc.manager);

    EXPECT_ASSERTS(tree.RemoveFromParent(kc.Node(sport)), "loc >= 0");
}

// `sport` names the deleted node as its parent, so no list would have its own child any more.
TEST_F(zeLogicalTreeMirrorTest, DeletionOfAChildOfADeletedNodeIsRefused) {
    const unsigned int hockey = kc.Add(sport, "hockey");
    Delete(kc.Physical(news));
    kc.manager.m_modified = false;
    {
        const Unchanged unchanged(kc.manager);
        EXPECT_ASSERTS(Delete(kc.Physical(sport)), "loc >= 0");
    }

    EXPECT_FALSE(kc.manager.m_modified);
    EXPECT_THAT(kc.Node(sport).children, ElementsAre(hockey));
    ExpectNoDanglingPointers(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, DeletionOfANodeThatIsNotInItsParentsListIsRefused) {
    kc.Add(sport, "hockey");
    tree.GetNodePtr(news)->children = {desk};
    const Unchanged unchanged(kc.manager);

    EXPECT_ASSERTS(Delete(kc.Physical(sport)), "loc >= 0");
}

TEST_F(zeLogicalTreeMirrorTest, DeletedNodeIsRemovedFromItsClassifier) {
    Delete(kc.Physical(sport));
    Delete(kc.Physical(refund));

    EXPECT_THAT(kc.Categories(root), ElementsAre(news, desk));
    EXPECT_THAT(kc.Categories(desk), IsEmpty());
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, ClassifierOfADeletedNodeIsDeleted) {
    const std::size_t object_count = kc.manager.m_objects.size();

    Delete(kc.Physical(desk));

    EXPECT_EQ(kc.manager.m_objects.size(), object_count - 1);
    EXPECT_EQ(kc.Physical(refund)->m_parent, nullptr);
    ExpectNoDanglingPointers(kc.manager);
}

TEST_F(zeLogicalTreeMirrorTest, UnknownNodesAndTheRootAreNotDeleted) {
    zeNode* const unknown = MakeLeaf("food");
    const Unchanged unchanged(kc.manager);

    Delete(unknown);
    Delete(nullptr);
    Delete(kc.Physical(root));
}

TEST_F(zeLogicalTreeMirrorTest, NodeWithoutAParentIsDeleted) {
    zeNode* const node = MakeLeaf("food");
    const unsigned int id = Add(node, nullptr).id;

    Delete(node);

    EXPECT_EQ(kc.Node(id).id, 0U);
    ExpectSound(kc.manager);
}

// KCE_ChangeAttr and KCE_ChangeRule.

TEST_F(zeLogicalTreeMirrorTest, AttributesAreCopied) {
    zeNode* node = kc.Physical(sport);
    node->m_flags = zeNode::Junk | zeNode::NoScore;

    tree.KCE_ChangeAttr(node);

    EXPECT_EQ(kc.Node(sport).attributes, zeNode::Junk | zeNode::NoScore);
    EXPECT_TRUE(kc.manager.m_modified);
}

TEST_F(zeLogicalTreeMirrorTest, RuleIsStoredWithoutChangingTheClassifier) {
    tree.KCE_ChangeRule(kc.Physical(refund), "no rule at all");

    EXPECT_EQ(kc.Node(refund).rule, "no rule at all");
    EXPECT_EQ(kc.Switcher(desk).get_rule(kc.Physical(refund)), kAboveOne);
    EXPECT_TRUE(kc.manager.m_modified);
}

TEST_F(zeLogicalTreeMirrorTest, ChangesOfUnknownNodesChangeNothing) {
    zeNode* unknown = MakeLeaf("food");
    const Unchanged unchanged(kc.manager);

    tree.KCE_ChangeAttr(unknown);
    tree.KCE_ChangeRule(unknown, kAboveOne);
}

}  // namespace
