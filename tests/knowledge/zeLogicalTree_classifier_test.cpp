// Edits call only the virtual functions of a classifier, so they work with classifiers of any
// class.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/logical_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Id = unsigned int;

// The root decides by rules. Below it are a node with rules and one without, whose classifiers are
// of a class that the tree does not know, and a statistical node.
class zeLogicalTreeClassifierTest : public testing::Test {
protected:
    FakeClassifier& ReplaceClassifier(Id id, unsigned int type) {
        zeNode* const node = kc.Physical(id);
        kc.manager.Release(node->m_classifier);
        auto* const fake = new FakeClassifier(&kc.manager, node, type);
        kc.manager.m_physical_tree->set_classifier(node, fake);
        return *fake;
    }

    Edited_container kc;
    Id root = kc.Root(ZE_RULE);
    Id ruled = kc.Add(root, "ruled", kAboveOne, ZE_RULE);
    Id plain = kc.Add(root, "plain", kAboveTwo, ZE_STAT);
    Id model = kc.Add(root, "model", kAboveThree, ZE_STAT);
    FakeClassifier& rules = ReplaceClassifier(ruled, ZE_RULE);
    FakeClassifier& categories = ReplaceClassifier(plain, ZE_STAT);
};

TEST_F(zeLogicalTreeClassifierTest, AddedNodeIsGivenToTheClassifierWithItsRule) {
    const Id first = kc.Add(ruled, "first", "7");
    const Id second = kc.Add(plain, "second");

    EXPECT_TRUE(rules.knows(kc.Physical(first)));
    EXPECT_EQ(rules.rules.at(kc.Physical(first)), "7");
    EXPECT_TRUE(categories.knows(kc.Physical(second)));
    EXPECT_EQ(kc.Physical(second)->m_parent, kc.Physical(plain));
}

TEST_F(zeLogicalTreeClassifierTest, NameThatTheClassifierKnowsIsRefused) {
    kc.Add(plain, "name");

    EXPECT_QTX_ARGS(kc.Add(plain, "name"), zeLogicalTree, 2,
                    "name : Category name already in use under the current Principal node",
                    {"name"});
}

TEST_F(zeLogicalTreeClassifierTest, ChangedRuleIsGivenToTheClassifier) {
    const Id id = kc.Add(ruled, "first", "7");
    zeLogicalNode changed = kc.Copy(id);
    changed.rule = "8";

    kc.tree.ChangeLogicalNode(changed);

    EXPECT_EQ(rules.rules.at(kc.Physical(id)), "8");
}

TEST_F(zeLogicalTreeClassifierTest, DeletedNodesAreRemovedAndTheTableIsBuiltOnce) {
    const Id group = kc.Add(plain, "group");
    kc.Add(group, "nested");
    const Id other = kc.Add(plain, "other");

    kc.tree.DelLogicalNode(group, true);

    std::vector<zeNode*> left;
    categories.get_all_categories(left);
    EXPECT_THAT(left, ElementsAre(kc.Physical(other)));
    EXPECT_TRUE(categories.has_removed_concepts);
    EXPECT_EQ(categories.rebuilt_count, 1);
}

TEST_F(zeLogicalTreeClassifierTest, DeletionThatKeepsConceptsSaysSo) {
    const Id id = kc.Add(plain, "first");
    kc.Add(plain, "second");
    categories.has_removed_concepts = true;

    kc.tree.DelLogicalNode(id, false);

    EXPECT_FALSE(categories.has_removed_concepts);
}

TEST_F(zeLogicalTreeClassifierTest, MovedNodeLeavesOneClassifierAndEntersTheOther) {
    const Id id = kc.Add(plain, "first");
    kc.Add(plain, "second");

    kc.tree.MoveLogicalNode(id, model);

    EXPECT_FALSE(categories.knows(kc.Physical(id)));
    EXPECT_EQ(categories.rebuilt_count, 1);
    EXPECT_THAT(kc.Categories(model), ElementsAre(id));
}

TEST_F(zeLogicalTreeClassifierTest, SonsMoveBetweenClassifiersWithoutRules) {
    const Id group = kc.Add(plain, "group");
    const Id nested = kc.Add(group, "nested");
    zeLogicalNode changed = kc.Copy(group);
    changed.type = ZE_STAT;

    kc.tree.ChangeLogicalNode(changed);
    EXPECT_FALSE(categories.knows(kc.Physical(nested)));
    EXPECT_THAT(kc.Categories(group), ElementsAre(nested));

    changed.type = ZE_LEAF;
    kc.tree.ChangeLogicalNode(changed);
    EXPECT_TRUE(categories.knows(kc.Physical(nested)));
}

TEST_F(zeLogicalTreeClassifierTest, SonsNeverMoveToAClassifierWithRules) {
    kc.Add(plain, "nested");
    zeLogicalNode changed = kc.Copy(plain);
    changed.type = ZE_LEAF;

    EXPECT_QTX(kc.tree.ChangeLogicalNode(changed), zeLogicalTree, 15, "Cannot switch node type");
    std::vector<zeLogicalNode*> sons = {kc.tree.GetNodePtr(model)};
    EXPECT_ASSERTS(kc.tree.MoveSons(&categories, &rules, sons), "from && to");
    EXPECT_ASSERTS(kc.tree.MoveSons(&rules, &categories, sons), "from && to");
}

// If another classifier also knows the deleted node, that classifier forgets it too.
TEST_F(zeLogicalTreeClassifierTest, DeletedNodeIsDroppedFromAllClassifiers) {
    const Id id = kc.Add(model, "first");
    kc.Add(model, "second");
    categories.answers.push_back({kc.Physical(id), 1.0});

    kc.tree.DelLogicalNode(id, true);

    EXPECT_THAT(categories.answers, IsEmpty());
    EXPECT_EQ(categories.rebuilt_count, 1);
}

}  // namespace
