// Edits that pass verification although a classifier then refuses them, or although they leave the
// sides of the tree inconsistent. The tests check the state after the edit, and that no pointer
// dangles.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/knowledge/dangling_pointers.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

using Id = unsigned int;

// A container with a statistical root of id 1. The end of each test checks that no pointer dangles.
class zeLogicalTreeUnsoundTest : public testing::Test {
protected:
    zeLogicalTreeUnsoundTest() { Add(0, ZE_STAT, "root"); }

    void TearDown() override { EXPECT_EQ(first_dangling_pointer(manager), ""); }

    Id Add(Id parent, unsigned char type, std::string_view category, const qtString& rule = "") {
        zeLogicalNode node = node_to_add(parent, category, rule, type);
        return tree.AddLogicalNode(node);
    }

    void ChangeType(Id id, unsigned char type) {
        zeLogicalNode node = tree.GetNode(id);
        node.type = type;
        tree.ChangeLogicalNode(node);
    }

    zeNode* Physical(Id id) { return tree.GetNode(id).physical_node; }

    zeSwitcher& Switcher(Id id) {
        return dynamic_cast<zeSwitcher&>(*manager.m_physical_tree->get_classifier(Physical(id)));
    }

    int ProfileCount(Id id) {
        return dynamic_cast<zeStat_matcher&>(*manager.m_physical_tree->get_classifier(Physical(id)))
            .m_storage->profile_count();
    }

    bool HasProfile(Id id, Id category) {
        const zeStat_storage& storage =
            *dynamic_cast<zeStat_matcher&>(*manager.m_physical_tree->get_classifier(Physical(id)))
                 .m_storage;
        return !storage.end(storage.get_profile(Physical(category)));
    }

    zeManager manager;
    zeLogicalTree& tree = *manager.m_logical_tree;
};

// A node whose rule was set by mirroring and does not parse. The node can be removed from a
// switcher, but it cannot be added to another.
class zeLogicalTreeBadRuleTest : public zeLogicalTreeUnsoundTest {
protected:
    zeLogicalTreeBadRuleTest() { tree.KCE_ChangeRule(Physical(moved), "no rule"); }

    Id from = Add(1, ZE_RULE, "from");
    Id to = Add(1, ZE_RULE, "to");
    Id moved = Add(from, ZE_STAT, "moved", "true");
    Id other = Add(to, ZE_LEAF, "other", "default");
};

TEST_F(zeLogicalTreeBadRuleTest, MoveIsRefusedAfterNodeHasLeftItsSwitcher) {
    Add(moved, ZE_LEAF, "below");

    EXPECT_THROW(tree.MoveLogicalNode(moved, to), qtX<RuleParser>);

    EXPECT_EQ(tree.GetNode(moved).parent, from);
    EXPECT_EQ(tree.GetNode(from).children, std::vector<Id>{moved});
    EXPECT_EQ(tree.GetNode(from).type, ZE_RULE);
    EXPECT_TRUE(Switcher(from).m_rules.empty());
    EXPECT_EQ(Physical(moved)->m_parent, nullptr);
    EXPECT_EQ(ProfileCount(moved), 1);
    EXPECT_TRUE(Switcher(to).m_rules.empty());
    EXPECT_EQ(Switcher(to).m_default, Physical(other));
    EXPECT_EQ(tree.GetNode(to).children, std::vector<Id>{other});
}

TEST_F(zeLogicalTreeBadRuleTest, NodeWithABadRuleCanBeDeleted) {
    EXPECT_THROW(tree.MoveLogicalNode(moved, to), qtX<RuleParser>);

    tree.DelLogicalNode(moved, true);

    EXPECT_EQ(tree.GetNode(moved).id, 0U);
    EXPECT_EQ(tree.GetNode(from).type, ZE_LEAF);
    EXPECT_EQ(Physical(from)->m_classifier, nullptr);
}

TEST_F(zeLogicalTreeBadRuleTest, NodeCanBeMovedAfterItsRuleIsRepaired) {
    EXPECT_THROW(tree.MoveLogicalNode(moved, to), qtX<RuleParser>);
    tree.KCE_ChangeRule(Physical(moved), "7");

    tree.MoveLogicalNode(moved, to);

    EXPECT_EQ(Switcher(to).get_rule(Physical(moved)), "7");
    EXPECT_EQ(Physical(moved)->m_parent, Physical(to));
    EXPECT_EQ(tree.GetNode(from).type, ZE_LEAF);
}

TEST_F(zeLogicalTreeBadRuleTest, DeletingTheParentDeletesTheNode) {
    EXPECT_THROW(tree.MoveLogicalNode(moved, to), qtX<RuleParser>);

    tree.DelLogicalNode(from, true);

    EXPECT_EQ(tree.nodes.size(), 3U);
    EXPECT_EQ(manager.m_physical_tree->m_nodes.size(), 3U);
    EXPECT_EQ(manager.m_objects.size(), 3U) << "the root's two and the other switcher";
}

// An edit that a classifier refuses half-way may leave a classifier at a leaf.
TEST_F(zeLogicalTreeUnsoundTest, ClassifierLeftAtALeafByAFailedEditIsReplaced) {
    for (const unsigned char type : std::array<unsigned char, 2>{ZE_RULE, ZE_STAT}) {
        const Id leaf = Add(1, ZE_LEAF, "leaf" + std::to_string(type));
        const std::size_t object_count = manager.m_objects.size();
        const unsigned int left_behind = manager.AddClassifier(Physical(leaf), ZE_RULE)->m_id;

        ChangeType(leaf, type);

        EXPECT_EQ(manager.m_objects.count(left_behind), 0U);
        EXPECT_EQ(Physical(leaf)->m_classifier_type, type);
        EXPECT_EQ(manager.m_objects.size(), object_count + (type == ZE_STAT ? 2U : 1U));
    }
}

// A damaged file may name a type that no classifier has.
TEST_F(zeLogicalTreeUnsoundTest, NodeOfAnUnknownTypeBecomesALeaf) {
    const Id node = Add(1, ZE_STAT, "node");
    tree.GetNodePtr(node)->type = 7;

    ChangeType(node, ZE_LEAF);

    EXPECT_EQ(tree.GetNode(node).type, ZE_LEAF);
    EXPECT_EQ(Physical(node)->m_classifier, nullptr);
    EXPECT_EQ(manager.m_objects.size(), 2U) << "the root's matcher and storage are left";
}

TEST_F(zeLogicalTreeUnsoundTest, NodeIsDeletedFromClassifiersOfWhichItIsNoChild) {
    const Id model = Add(1, ZE_STAT, "model");
    const Id rules = Add(1, ZE_RULE, "rules");
    const Id deleted = Add(1, ZE_LEAF, "deleted");
    bool is_added = false;
    zeNode* physical = Physical(deleted);
    dynamic_cast<zeStat_matcher&>(*Physical(model)->m_classifier)
        .m_storage->get_or_add_profile(physical, is_added);
    Switcher(rules).m_rules.try_emplace(physical, "7");

    tree.DelLogicalNode(deleted, true);

    EXPECT_EQ(ProfileCount(model), 0);
    EXPECT_TRUE(Switcher(rules).m_rules.empty());
}

// Older versions could make a rule node of a leaf with children, and their files may have such a
// node. Its plain children are still in the classifier above, but the logical tree no longer
// assigns them to it.
class zeLogicalTreeStrandedChildrenTest : public zeLogicalTreeUnsoundTest {
protected:
    zeLogicalTreeStrandedChildrenTest() {
        manager.AddClassifier(Physical(group), ZE_RULE);
        tree.GetNodePtr(group)->type = ZE_RULE;
        tree.GetNodePtr(group)->attributes = Physical(group)->m_flags;
    }

    Id group = Add(1, ZE_LEAF, "group");
    Id child = Add(group, ZE_LEAF, "child");
    Id grandchild = Add(child, ZE_LEAF, "grandchild");
    Id model = Add(group, ZE_STAT, "model");
    Id category = Add(model, ZE_LEAF, "category");
};

TEST_F(zeLogicalTreeStrandedChildrenTest, ChildrenStayInTheClassifierAbove) {
    EXPECT_EQ(Physical(child)->m_parent, Physical(1));
    EXPECT_TRUE(HasProfile(1, child));
    EXPECT_TRUE(HasProfile(1, grandchild));
    EXPECT_EQ(ProfileCount(1), 4);
    EXPECT_TRUE(Physical(group)->m_children.empty());
    EXPECT_EQ(tree.GetRealParent(child), &Switcher(group));
}

TEST_F(zeLogicalTreeStrandedChildrenTest, ChildrenAreSoundAgainWhenTheParentBecomesALeaf) {
    ChangeType(group, ZE_LEAF);

    EXPECT_EQ(tree.GetRealParent(child), Physical(1)->m_classifier);
    tree.DelLogicalNode(child, true);
    EXPECT_EQ(ProfileCount(1), 2) << "the group and the model are left";
}

TEST_F(zeLogicalTreeStrandedChildrenTest, DeletedChildrenLeaveTheClassifierAbove) {
    tree.DelLogicalNode(child, true);

    EXPECT_EQ(ProfileCount(1), 2) << "the group and the model are left";
    EXPECT_EQ(first_dangling_pointer(manager), "");
}

TEST_F(zeLogicalTreeStrandedChildrenTest,
       DeletedChildrenLeaveTheMatchingTableOfTheClassifierAbove) {
    zeMemoryCorpus corpus;
    for (const char* const label : {"grandchild", "other"}) {
        MessageBuilder().bag({{label, 1.0}}).labels({label}).add_to(corpus);
    }
    Add(1, ZE_LEAF, "other");
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    auto& above = dynamic_cast<zeStat_matcher&>(*Physical(1)->m_classifier);
    above.train(view);
    ASSERT_EQ(above.m_table.count(term("grandchild")), 1U);

    tree.DelLogicalNode(child, true);

    for (const auto& [feature, pairs] : above.m_table) {
        for (const zeStat_matcher::Concept_weight& pair : pairs) {
            EXPECT_LT(pair.m_iprofile, above.m_storage->profile_count()) << feature.view();
        }
    }
    EXPECT_EQ(above.m_table.count(term("grandchild")), 0U);
}

// Only children in the switcher prevent a rule node from becoming a leaf. After the deletion the
// switcher has none.
TEST_F(zeLogicalTreeStrandedChildrenTest, ParentBecomesALeafDespiteThem) {
    const Id ruled = Add(group, ZE_LEAF, "ruled", "true");
    EXPECT_EQ(Physical(ruled)->m_parent, Physical(group));

    tree.DelLogicalNode(ruled, true);

    EXPECT_EQ(tree.GetNode(group).type, ZE_LEAF);
    EXPECT_EQ(Physical(group)->m_classifier, nullptr);
    EXPECT_EQ(tree.GetRealParent(child), Physical(1)->m_classifier);
}

TEST_F(zeLogicalTreeStrandedChildrenTest, ChildrenAndTheirClassifiersAreDeletedWithTheParent) {
    tree.DelLogicalNode(group, true);

    EXPECT_EQ(tree.nodes.size(), 1U);
    EXPECT_EQ(manager.m_physical_tree->m_nodes.size(), 1U);
    EXPECT_EQ(ProfileCount(1), 0);
    EXPECT_EQ(manager.m_objects.size(), 2U) << "the root's matcher and storage are left";
}

TEST_F(zeLogicalTreeStrandedChildrenTest, MovedChildrenLeaveTheClassifierAbove) {
    const Id to = Add(1, ZE_STAT, "to");

    tree.MoveLogicalNode(child, to);

    EXPECT_EQ(Physical(child)->m_parent, Physical(to));
    EXPECT_FALSE(HasProfile(1, child));
    EXPECT_FALSE(HasProfile(1, grandchild));
    EXPECT_TRUE(HasProfile(to, child));
    EXPECT_TRUE(HasProfile(to, grandchild));
    EXPECT_EQ(first_dangling_pointer(manager), "");
}

// The parent's switcher now decides, and it has no rule for a plain node.
TEST_F(zeLogicalTreeStrandedChildrenTest, FurtherChildWithoutARuleIsRefused) {
    const std::size_t node_count = tree.nodes.size();

    EXPECT_THROW(Add(child, ZE_LEAF, "late"), qtX<RuleParser>);

    EXPECT_EQ(tree.nodes.size(), node_count);
    EXPECT_EQ(tree.finder.size(), node_count);
    EXPECT_EQ(manager.m_physical_tree->GetLeafNodes(term("late")).size(), 1U)
        << "the physical node stays";
    EXPECT_TRUE(Switcher(group).m_rules.empty());
}

TEST_F(zeLogicalTreeUnsoundTest,
       MoveKeepsASonInTheClassifierAboveTheTargetIfAnotherHasItsCategory) {
    const Id from = Add(1, ZE_STAT, "from");
    const Id moved = Add(from, ZE_LEAF, "moved");
    const Id twin = Add(moved, ZE_LEAF, "twin");
    const Id other_twin = Add(1, ZE_LEAF, "twin");
    const Id to = Add(1, ZE_LEAF, "to");

    tree.MoveLogicalNode(moved, to);

    EXPECT_TRUE(HasProfile(1, twin));
    EXPECT_TRUE(HasProfile(1, other_twin));
    EXPECT_EQ(Physical(twin)->m_concept, Physical(other_twin)->m_concept);
}

TEST_F(zeLogicalTreeUnsoundTest, ChangeToAnUnknownTypeIsRefused) {
    const Id leaf = Add(1, ZE_LEAF, "leaf");

    EXPECT_QTX(ChangeType(leaf, 7), zeLogicalTree, 15, "Cannot switch node type");

    EXPECT_EQ(tree.GetNode(leaf).type, ZE_LEAF);
    EXPECT_EQ(Physical(leaf)->m_classifier, nullptr);
}

TEST_F(zeLogicalTreeUnsoundTest, MirroredDeleteRemovesANodeFromItsClassifier) {
    const Id leaf = Add(1, ZE_LEAF, "leaf");

    tree.KCE_Delete(Physical(leaf));

    EXPECT_EQ(ProfileCount(1), 0);
    EXPECT_TRUE(Physical(1)->m_children.empty());
}

TEST_F(zeLogicalTreeUnsoundTest, MirroredDeleteRemovesANodeThatItsParentsClassifierDoesNotKnow) {
    zeNode* const stray = manager.m_physical_tree->MakeNode(term("stray"), ZE_LEAF, 0, 0.0);
    Physical(1)->add_child(stray);
    tree.KCE_Add(stray, Physical(1)->m_classifier);

    tree.KCE_Delete(stray);

    EXPECT_TRUE(Physical(1)->m_children.empty());
    EXPECT_EQ(tree.nodes.size(), 1U);
}

TEST_F(zeLogicalTreeUnsoundTest, MirroredDeleteRemovesANodeThatStillHasItsClassifier) {
    const Id model = Add(1, ZE_STAT, "model");
    const Id category = Add(model, ZE_LEAF, "category");

    tree.KCE_Delete(Physical(model));

    EXPECT_EQ(tree.GetNode(1).children, std::vector<Id>{category});
    EXPECT_EQ(Physical(category)->m_parent, nullptr);
    EXPECT_EQ(manager.m_objects.size(), 2U) << "the root's matcher and storage are left";
}

// A node whose parent was deleted on the physical side. It still names that parent.
class zeLogicalTreeStaleParentTest : public zeLogicalTreeUnsoundTest {
protected:
    zeLogicalTreeStaleParentTest() {
        tree.PhysicalDelete(tree.GetNode(group), true);
        zeNode* below = Physical(child);
        dynamic_cast<zeStat_matcher&>(*Physical(1)->m_classifier).add_cat(below);
        tree.KCE_Delete(Physical(group));
    }

    Id group = Add(1, ZE_LEAF, "group");
    Id child = Add(group, ZE_LEAF, "child");
    Id other = Add(1, ZE_STAT, "other");
};

TEST_F(zeLogicalTreeStaleParentTest, NodeIsInTheGrandparentsChildren) {
    EXPECT_EQ(tree.GetNode(1).children, (std::vector<Id>{child, other}));
    EXPECT_EQ(tree.GetNode(child).parent, group);
    EXPECT_EQ(tree.GetNode(group).id, 0U);
}

TEST_F(zeLogicalTreeUnsoundTest, MoveFromBelowDeletedRuleNodeIsRefusedBeforeTheTargetChanges) {
    const Id group = Add(1, ZE_RULE, "group");
    const Id child = Add(group, ZE_LEAF, "child", "1");
    const Id target = Add(1, ZE_LEAF, "target");
    tree.KCE_Delete(Physical(group));

    EXPECT_ASSERTS(tree.MoveLogicalNode(child, target), "clafer");

    EXPECT_EQ(tree.GetNode(target).type, ZE_LEAF);
    EXPECT_EQ(Physical(target)->m_flags, 0);
    EXPECT_EQ(Physical(target)->m_classifier, nullptr);
}

TEST_F(zeLogicalTreeStaleParentTest, EditOfANodeWithADeletedParentAsserts) {
    EXPECT_ASSERTS(tree.GetRealParent(child), "clafer");
    EXPECT_ASSERTS(tree.DelLogicalNode(child, true), "clafer");
    EXPECT_ASSERTS(tree.MoveLogicalNode(child, other), "clafer");

    EXPECT_EQ(tree.nodes.size(), 3U);
    EXPECT_TRUE(HasProfile(1, child));
}

TEST_F(zeLogicalTreeUnsoundTest, DeletionBelowADeletedNodeIsRefusedBeforeItsClassifierIsDeleted) {
    const Id group = Add(1, ZE_LEAF, "group");
    const Id child = Add(group, ZE_STAT, "child");
    const Id leaf = Add(child, ZE_LEAF, "leaf");
    tree.KCE_Delete(Physical(group));
    manager.m_modified = false;
    const std::size_t object_count = manager.m_objects.size();

    EXPECT_ASSERTS(tree.DelLogicalNode(child, true), "clafer");

    EXPECT_EQ(manager.m_objects.size(), object_count);
    EXPECT_EQ(Physical(child)->m_classifier_type, ZE_STAT);
    EXPECT_TRUE(HasProfile(child, leaf));
    EXPECT_FALSE(manager.m_modified);
}

// A program has linked nodes to a circle: the root lists a, a lists b, and b lists what a test
// adds.
class zeLogicalTreeCircleTest : public zeLogicalTreeUnsoundTest {
protected:
    Id a = Add(1, ZE_LEAF, "a");
    Id b = Add(a, ZE_LEAF, "b");
    Id other = Add(1, ZE_LEAF, "other");
};

TEST_F(zeLogicalTreeCircleTest, DeletionLeavesTheNodesAbove) {
    tree.GetNodePtr(b)->children.push_back(1);

    tree.RecursiveNodeDelete(*tree.GetNodePtr(a), true);

    EXPECT_EQ(tree.nodes.size(), 2U);
    EXPECT_EQ(tree.GetNode(1).children, std::vector<Id>{other});
    EXPECT_EQ(tree.GetNode(other).parent, 1U);
    EXPECT_EQ(manager.m_physical_tree->m_nodes.size(), 2U);
}

TEST_F(zeLogicalTreeCircleTest, DeletionOfANodeThatListsItselfEnds) {
    tree.GetNodePtr(b)->children.push_back(b);

    tree.RecursiveNodeDelete(*tree.GetNodePtr(b), true);

    EXPECT_EQ(tree.nodes.size(), 3U);
    EXPECT_TRUE(tree.GetNode(a).children.empty());
}

TEST_F(zeLogicalTreeCircleTest, NodeThatIsListedTwiceIsDeletedOnce) {
    tree.GetNodePtr(a)->children.push_back(b);

    tree.RecursiveNodeDelete(*tree.GetNodePtr(a), true);

    EXPECT_EQ(tree.nodes.size(), 2U);
    EXPECT_EQ(tree.GetNode(1).children, std::vector<Id>{other});
}

TEST_F(zeLogicalTreeCircleTest, NodeWhoseParentsLeadBackHasNoPath) {
    tree.GetNodePtr(a)->parent = b;
    qtString path = "old";

    tree.GetNodePath(b, path);

    EXPECT_TRUE(path.empty());
    tree.GetNodePath(other, path);
    EXPECT_EQ(path, "root/other");
}

TEST_F(zeLogicalTreeCircleTest, NodeThatIsItsOwnParentHasNoPath) {
    tree.GetNodePtr(a)->parent = a;
    qtString path = "old";

    tree.GetNodePath(a, path);

    EXPECT_TRUE(path.empty());
}

// The path contains every node of the tree, and the root names a parent that does not exist.
TEST_F(zeLogicalTreeCircleTest, PathBelowAMissingParentStartsWithASeparator) {
    tree.RecursiveNodeDelete(*tree.GetNodePtr(other), true);
    tree.GetNodePtr(1)->parent = 77;
    qtString path;

    tree.GetNodePath(b, path);

    EXPECT_EQ(path, "/root/a/b");
    tree.GetNodePtr(1)->parent = 0;
}

}  // namespace
