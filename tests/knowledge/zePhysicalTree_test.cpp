#include "zandrel/knowledge/zePhysicalTree.h"

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/known_to_storage.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned char kNoFlags = 0;
constexpr unsigned char kNoScore = zeNode::NoScore;
constexpr unsigned char kJunk = zeNode::Junk;

class zePhysicalTreeTest : public testing::Test {
protected:
    zeNode* Leaf(std::string_view name) { return tree.MakeNode(term(name), ZE_LEAF, 0, 0.0); }

    // A node with a fake classifier; its flags are then as the tree has set them.
    zeNode* Inner(std::string_view name, unsigned int type = ZE_STAT) {
        zeNode* const node = Leaf(name);
        tree.set_classifier(node, new FakeClassifier(&manager, node, type));
        return node;
    }

    FakeClassifier& Fake(zeNode* node) {
        return dynamic_cast<FakeClassifier&>(*node->m_classifier);
    }

    bool IsRegistered(unsigned int id) const { return manager.m_objects.count(id) != 0; }

    zeManager manager;
    zePhysicalTree& tree = *manager.m_physical_tree;
};

TEST_F(zePhysicalTreeTest, StartsEmpty) {
    const zePhysicalTree made(&manager);

    EXPECT_THAT(made.m_nodes, IsEmpty());
    EXPECT_THAT(made.m_finder, IsEmpty());
    EXPECT_EQ(made.m_last_node_id, 0U);
    EXPECT_EQ(made.m_manager, &manager);
}

// MakeNode and GetNode.

TEST_F(zePhysicalTreeTest, MakeNodeGivesIdsFromOneOn) {
    EXPECT_EQ(Leaf("a")->m_node_id, 1U);
    EXPECT_EQ(Leaf("b")->m_node_id, 2U);
    EXPECT_EQ(tree.m_last_node_id, 2U);
}

TEST_F(zePhysicalTreeTest, MakeNodeOfALeafStoresWhatItIsGiven) {
    const zeNode* const node = tree.MakeNode(term("sport"), ZE_LEAF, kJunk, 0.25);

    EXPECT_EQ(node->m_concept, term("sport"));
    EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
    EXPECT_EQ(node->m_flags, kJunk);
    EXPECT_EQ(node->m_threshold, 0.25);
    EXPECT_EQ(node->m_classifier, nullptr);
    EXPECT_EQ(node->m_classifier_id, 0U);
    EXPECT_EQ(node->m_parent, nullptr);
    EXPECT_THAT(node->m_children, IsEmpty());
}

TEST_F(zePhysicalTreeTest, MakeNodeStoresTheLowByteOfTheFlags) {
    EXPECT_EQ(tree.MakeNode(term("sport"), ZE_LEAF, 0x1A5, 0.0)->m_flags, 0xA5);
}

TEST_F(zePhysicalTreeTest, MakeNodeEntersALeafInTheFinder) {
    zeNode* const node = Leaf("sport");

    EXPECT_THAT(tree.GetLeafNodes(term("sport")), ElementsAre(node));
}

TEST_F(zePhysicalTreeTest, MakeNodeOfAnInnerNodeMakesItsClassifier) {
    zeNode* const node = tree.MakeNode(term("news"), ZE_STAT, 0, 0.25);

    const auto* const matcher = dynamic_cast<zeStat_matcher*>(node->m_classifier);
    ASSERT_NE(matcher, nullptr);
    EXPECT_EQ(matcher->m_node, node);
    EXPECT_EQ(node->m_classifier_id, matcher->m_id);
    EXPECT_EQ(node->m_classifier_type, ZE_STAT);
    EXPECT_EQ(node->m_threshold, 0.25);
    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zePhysicalTreeTest, MakeNodeOfAnInnerNodeKeepsTheGivenFlags) {
    EXPECT_EQ(tree.MakeNode(term("a"), ZE_STAT, kNoFlags, 0.0)->m_flags, kNoFlags);
    EXPECT_EQ(tree.MakeNode(term("b"), ZE_STAT, kNoScore, 0.0)->m_flags, kNoScore);
}

TEST_F(zePhysicalTreeTest, MakeNodeDecidesByTheWholeTypeAndLeavesNoNodeBehind) {
    const struct {
        unsigned int type;
        const char* argument;
    } rows[] = {{kStorageObjectType, "3"}, {256, "256"}, {258, "258"}, {4294967295U, "4294967295"}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.argument);

        EXPECT_QTX_ARGS(tree.MakeNode(term("a"), row.type, 0, 0.0), zeManager, 0,
                        "Invalid classifier type", {row.argument});

        EXPECT_THAT(tree.m_nodes, IsEmpty());
        EXPECT_THAT(tree.m_finder, IsEmpty());
        EXPECT_THAT(manager.m_objects, IsEmpty());
    }
}

TEST_F(zePhysicalTreeTest, MakeNodeGoesOnWithAFreshIdAfterARefusal) {
    EXPECT_THROW(tree.MakeNode(term("a"), 258, 0, 0.0), qtX<zeManager>);

    EXPECT_EQ(Leaf("a")->m_node_id, 2U);
}

TEST_F(zePhysicalTreeTest, MakeNodeAssertsThatItsIdIsNew) {
    zeNode* const present = Leaf("a");
    tree.m_last_node_id = 0;

    EXPECT_ASSERTS(Leaf("b"), "pp.second");

    EXPECT_EQ(tree.GetNode(1), present);
    EXPECT_EQ(present->m_concept, term("a"));
    EXPECT_THAT(tree.GetLeafNodes(term("b")), IsEmpty());
}

TEST_F(zePhysicalTreeTest, GetNodeYieldsNullForAMissingId) {
    zeNode* const node = Leaf("a");

    EXPECT_EQ(tree.GetNode(1), node);
    EXPECT_EQ(tree.GetNode(0), nullptr);
    EXPECT_EQ(tree.GetNode(2), nullptr);
}

TEST_F(zePhysicalTreeTest, NodesKeepTheirAddressesWhileTheTableGrows) {
    std::vector<zeNode*> made;
    for (int i = 0; i < 1000; ++i) {
        made.push_back(Leaf("n" + std::to_string(i)));
    }

    for (unsigned int i = 0; i < 1000; ++i) {
        EXPECT_EQ(tree.GetNode(i + 1), made[i]);
        EXPECT_EQ(made[i]->m_concept, term("n" + std::to_string(i)));
    }
}

// The finder.

TEST_F(zePhysicalTreeTest, GetLeafNodesYieldsOneSharedEmptyListForNoLeaves) {
    const zePhysicalTree other(nullptr);

    const std::vector<zeNode*>& none = tree.GetLeafNodes(term("a"));

    EXPECT_THAT(none, IsEmpty());
    EXPECT_EQ(&tree.GetLeafNodes(term("b")), &none);
    EXPECT_EQ(&other.GetLeafNodes(term("a")), &none);
    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zePhysicalTreeTest, GetLeafNodesYieldsTheLeavesInTheOrderOfAdding) {
    zeNode* const first = Leaf("a");
    Leaf("b");
    zeNode* const second = Leaf("a");

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, AddFinderReservesRoomForExactlyOneLeaf) {
    Leaf("a");

    EXPECT_EQ(tree.GetLeafNodes(term("a")).capacity(), 1U);
}

TEST_F(zePhysicalTreeTest, AddFinderTakesANodeTwice) {
    zeNode* const node = Leaf("a");

    tree.AddFinder(node);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node, node));
}

TEST_F(zePhysicalTreeTest, DelFinderMovesTheLastIntoThePlace) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");
    zeNode* const third = Leaf("a");

    tree.DelFinder(first);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(third, second));
}

TEST_F(zePhysicalTreeTest, DelFinderOfTheLastShortens) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");
    zeNode* const third = Leaf("a");

    tree.DelFinder(third);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, DelFinderTakesTheFrontmostOfTwoEntries) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");
    zeNode* const third = Leaf("a");
    tree.AddFinder(second);

    tree.DelFinder(second);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second, third));
}

TEST_F(zePhysicalTreeTest, LastDelFinderOfACategoryErasesItsEntry) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.DelFinder(first);
    EXPECT_EQ(tree.m_finder.count(term("a")), 1U);

    tree.DelFinder(second);
    EXPECT_EQ(tree.m_finder.count(term("a")), 0U);
}

TEST_F(zePhysicalTreeTest, DelFinderErasesAnEntryThatWasEmpty) {
    zeNode node(term("a"));
    tree.m_finder[term("a")];

    tree.DelFinder(&node);

    EXPECT_THAT(tree.m_finder, IsEmpty());
}

TEST_F(zePhysicalTreeTest, DelFinderOfAnAbsentNodeChangesNothing) {
    zeNode* const present = Leaf("a");
    zeNode same_category(term("a"));
    zeNode other_category(term("b"));

    tree.DelFinder(&same_category);
    tree.DelFinder(&other_category);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(present));
    EXPECT_EQ(tree.m_finder.size(), 1U);
}

// SetName.

TEST_F(zePhysicalTreeTest, SetNameMovesALeafToTheEndOfItsNewCategory) {
    zeNode* const moved = Leaf("a");
    zeNode* const staying = Leaf("a");
    zeNode* const present = Leaf("b");

    tree.SetName(moved, term("b"));

    EXPECT_EQ(moved->m_concept, term("b"));
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(staying));
    EXPECT_THAT(tree.GetLeafNodes(term("b")), ElementsAre(present, moved));
}

TEST_F(zePhysicalTreeTest, SetNameToTheSameNameKeepsTheFindersOrder) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.SetName(first, term("a"));

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, SetNameOfAnInnerNodeLeavesTheFinder) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        tree.Clear();
        zeNode* const leaf = Leaf("a");
        zeNode* const inner = Inner("a", type);

        tree.SetName(inner, term("b"));

        EXPECT_EQ(inner->m_concept, term("b"));
        EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(leaf));
        EXPECT_EQ(tree.m_finder.size(), 1U);
    }
}

// ChangeType.

// All changes of type, from both states of NoScore and with another bit beside it.
TEST_F(zePhysicalTreeTest, ChangeTypeSetsNoScoreOffALeafAndClearsItOnOne) {
    const struct {
        unsigned int from;
        unsigned int to;
        unsigned char flags_before;
        unsigned char flags_after;
    } rows[] = {
        // Without a change the flags stay, whatever the user chose.
        {ZE_LEAF, ZE_LEAF, kJunk, kJunk},
        {ZE_LEAF, ZE_LEAF, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_RULE, ZE_RULE, kJunk, kJunk},
        {ZE_RULE, ZE_RULE, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_STAT, ZE_STAT, kJunk, kJunk},
        {ZE_STAT, ZE_STAT, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_LEAF, ZE_RULE, kJunk, kJunk | kNoScore},
        {ZE_LEAF, ZE_RULE, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_LEAF, ZE_STAT, kJunk, kJunk | kNoScore},
        {ZE_LEAF, ZE_STAT, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_RULE, ZE_STAT, kJunk, kJunk | kNoScore},
        {ZE_RULE, ZE_STAT, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_STAT, ZE_RULE, kJunk, kJunk | kNoScore},
        {ZE_STAT, ZE_RULE, kJunk | kNoScore, kJunk | kNoScore},
        {ZE_RULE, ZE_LEAF, kJunk, kJunk},
        {ZE_RULE, ZE_LEAF, kJunk | kNoScore, kJunk},
        {ZE_STAT, ZE_LEAF, kJunk, kJunk},
        {ZE_STAT, ZE_LEAF, kJunk | kNoScore, kJunk},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.from) + " to " + std::to_string(row.to) + " from flags " +
                     std::to_string(row.flags_before));
        tree.Clear();
        zeNode* const node = Leaf("a");
        tree.ChangeType(node, row.from);
        node->m_flags = row.flags_before;

        tree.ChangeType(node, row.to);

        EXPECT_EQ(node->m_classifier_type, row.to);
        EXPECT_EQ(node->m_flags, row.flags_after);
        EXPECT_EQ(tree.GetLeafNodes(term("a")).size(), row.to == ZE_LEAF ? 1U : 0U);
    }
}

TEST_F(zePhysicalTreeTest, ChangeTypeThereAndBackPutsALeafAtTheEndOfItsCategory) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.ChangeType(first, ZE_STAT);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(second));

    tree.ChangeType(first, ZE_LEAF);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(second, first));
}

TEST_F(zePhysicalTreeTest, ChangeTypeToTheSameTypeKeepsTheFindersOrder) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    tree.ChangeType(first, ZE_LEAF);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(first, second));
}

TEST_F(zePhysicalTreeTest, ChangeTypeBetweenInnerTypesLeavesTheFinder) {
    zeNode* const leaf = Leaf("a");
    zeNode* const inner = Inner("a", ZE_STAT);

    tree.ChangeType(inner, ZE_RULE);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(leaf));
}

// Classifiers.

TEST_F(zePhysicalTreeTest, GetClassifierYieldsWhatIsInMemory) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        zeNode* const node = Inner("a", type);

        EXPECT_EQ(tree.get_classifier(node), node->m_classifier);
        EXPECT_NE(tree.get_classifier(node), nullptr);
    }
}

TEST_F(zePhysicalTreeTest, GetClassifierYieldsNullForALeaf) {
    EXPECT_EQ(tree.get_classifier(Leaf("a")), nullptr);
}

TEST_F(zePhysicalTreeTest, SetClassifierGivesTheNodeItsIdAndType) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        zeNode* const node = Leaf("a");
        auto* const classifier = new FakeClassifier(&manager, node, type);

        tree.set_classifier(node, classifier);

        EXPECT_EQ(node->m_classifier, classifier);
        EXPECT_EQ(node->m_classifier_id, classifier->m_id);
        EXPECT_EQ(node->m_classifier_type, type);
        EXPECT_TRUE(node->is_no_score());
        EXPECT_THAT(tree.GetLeafNodes(term("a")), IsEmpty());
    }
}

TEST_F(zePhysicalTreeTest, SetClassifierOfTheSameTypeLeavesNoScore) {
    zeNode* const node = Inner("a");
    node->m_flags = kNoFlags;
    auto* const classifier = new FakeClassifier(&manager, node);

    tree.set_classifier(node, classifier);

    EXPECT_EQ(node->m_classifier, classifier);
    EXPECT_EQ(node->m_flags, kNoFlags);
}

TEST_F(zePhysicalTreeTest, SetClassifierOfNullMakesALeaf) {
    zeNode* const node = Inner("a");

    tree.set_classifier(node, nullptr);

    EXPECT_EQ(node->m_classifier, nullptr);
    EXPECT_EQ(node->m_classifier_id, 0U);
    EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
    EXPECT_FALSE(node->is_no_score());
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node));
}

TEST_F(zePhysicalTreeTest, SetClassifierLeavesTheOneBeforeToTheRegistry) {
    zeNode* const node = Inner("a");
    const unsigned int id = node->m_classifier_id;

    tree.set_classifier(node, nullptr);

    EXPECT_TRUE(IsRegistered(id));
}

TEST_F(zePhysicalTreeTest, SetClassifierTracesNothingInMemory) {
    zeNode* const node = Leaf("a");
    const Trace_capture traced;

    tree.set_classifier(node, new FakeClassifier(&manager, node));
    tree.get_classifier(node);

    EXPECT_THAT(traced.texts(), IsEmpty());
}

TEST_F(zePhysicalTreeTest, ReleaseClassifierDropsItAndKeepsItsId) {
    zeNode* const node = Inner("a");
    zeNode* const child = Leaf("child");
    node->add_child(child);
    const unsigned int id = node->m_classifier_id;
    int destroyed_count = 0;
    Fake(node).destroyed_count = &destroyed_count;
    ASSERT_TRUE(node->m_classifier->m_dirty);

    tree.release_classifier(node, nullptr);

    EXPECT_EQ(destroyed_count, 1);
    EXPECT_FALSE(IsRegistered(id));
    EXPECT_EQ(node->m_classifier, nullptr);
    EXPECT_EQ(node->m_classifier_id, id);
    EXPECT_EQ(node->m_classifier_type, ZE_STAT);
    EXPECT_TRUE(node->is_no_score());
    EXPECT_THAT(node->m_children, ElementsAre(child));
}

// The first part of the text tells of changes that are written, and none are.
TEST_F(zePhysicalTreeTest, ReleaseClassifierTracesTheNodesName) {
    zeNode* const node = Inner("sport");
    const Trace_capture traced;

    tree.release_classifier(node, nullptr);

    ASSERT_EQ(traced.lines.size(), 1U);
    EXPECT_EQ(traced.lines[0].text, "Removing classifier from cache : sport");
    EXPECT_EQ(traced.lines[0].level, kTraceDebug);
}

TEST_F(zePhysicalTreeTest, ReleaseClassifierDoesNothingWithoutOne) {
    zeNode* const leaf = Leaf("a");
    zeNode* const released = Inner("b");
    tree.release_classifier(released, nullptr);
    const Trace_capture traced;

    tree.release_classifier(leaf, nullptr);
    tree.release_classifier(released, nullptr);

    EXPECT_THAT(traced.texts(), IsEmpty());
    EXPECT_NE(released->m_classifier_id, 0U);
}

TEST_F(zePhysicalTreeTest, ReleaseClassifierOfAMatcherDropsItsStorageToo) {
    zeNode* const node = tree.MakeNode(term("a"), ZE_STAT, 0, 0.0);
    ASSERT_EQ(manager.m_objects.size(), 2U);
    const Known_to_storage_alone known(*node);

    tree.release_classifier(node, nullptr);

    EXPECT_TRUE(known.is_gone());
    EXPECT_THAT(manager.m_objects, IsEmpty());
}

TEST_F(zePhysicalTreeTest, DeleteClassifierMakesALeafWithoutChildren) {
    for (const unsigned int type : {ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(type);
        tree.Clear();
        zeNode* const node = Inner("a", type);
        zeNode* const child = Leaf("child");
        node->add_child(child);
        const unsigned int id = node->m_classifier_id;
        int destroyed_count = 0;
        Fake(node).destroyed_count = &destroyed_count;

        tree.delete_classifier(node);

        EXPECT_EQ(destroyed_count, 1);
        EXPECT_FALSE(IsRegistered(id));
        EXPECT_EQ(node->m_classifier, nullptr);
        EXPECT_EQ(node->m_classifier_id, 0U);
        EXPECT_EQ(node->m_classifier_type, ZE_LEAF);
        EXPECT_FALSE(node->is_no_score());
        EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node));
        EXPECT_THAT(node->m_children, IsEmpty());
        EXPECT_EQ(child->m_parent, nullptr);
        EXPECT_EQ(tree.GetNode(child->m_node_id), child);
    }
}

TEST_F(zePhysicalTreeTest, DeleteClassifierOfAMatcherDeletesItsStorageToo) {
    zeNode* const node = tree.MakeNode(term("a"), ZE_STAT, 0, 0.0);
    ASSERT_EQ(manager.m_objects.size(), 2U);
    const Known_to_storage_alone known(*node);

    tree.delete_classifier(node);

    EXPECT_TRUE(known.is_gone());
    EXPECT_THAT(manager.m_objects, IsEmpty());
}

TEST_F(zePhysicalTreeTest, DeleteClassifierDoesNothingWithoutOne) {
    zeNode* const node = Leaf("a");
    zeNode* const child = Leaf("child");
    node->add_child(child);
    node->m_flags = kNoScore;

    tree.delete_classifier(node);

    EXPECT_THAT(node->m_children, ElementsAre(child));
    EXPECT_EQ(child->m_parent, node);
    EXPECT_EQ(node->m_flags, kNoScore);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(node));
}

// is_cat_blocked.

TEST_F(zePhysicalTreeTest, BelowALeafEveryWayIsBlocked) {
    zeMsg msg;

    EXPECT_TRUE(tree.is_cat_blocked(Leaf("a"), nullptr, msg));
}

TEST_F(zePhysicalTreeTest, BelowAStatisticalNodeNoWayIsBlockedAndNobodyIsAsked) {
    zeNode* const parent = Inner("parent", ZE_STAT);
    zeNode* const child = Leaf("child");
    Fake(parent).blocked_children = {child};
    zeMsg msg;

    EXPECT_FALSE(tree.is_cat_blocked(parent, child, msg));

    EXPECT_THAT(Fake(parent).asked_children, IsEmpty());
}

TEST_F(zePhysicalTreeTest, BelowAStatisticalNodeNoClassifierIsNeeded) {
    zeNode* const parent = Inner("parent", ZE_STAT);
    tree.release_classifier(parent, nullptr);
    zeMsg msg;

    EXPECT_FALSE(tree.is_cat_blocked(parent, Leaf("child"), msg));
}

TEST_F(zePhysicalTreeTest, BelowARuleNodeItsClassifierAnswers) {
    zeNode* const parent = Inner("parent", ZE_RULE);
    zeNode* const closed = Leaf("closed");
    zeNode* const open = Leaf("open");
    Fake(parent).blocked_children = {closed};
    zeMsg msg;

    EXPECT_TRUE(tree.is_cat_blocked(parent, closed, msg));
    EXPECT_FALSE(tree.is_cat_blocked(parent, open, msg));

    EXPECT_THAT(Fake(parent).asked_children, ElementsAre(closed, open));
}

TEST_F(zePhysicalTreeTest, BelowARuleNodeWithoutAClassifierEveryWayIsBlocked) {
    zeNode* const parent = Leaf("parent");
    tree.ChangeType(parent, ZE_RULE);
    zeMsg msg;

    EXPECT_TRUE(tree.is_cat_blocked(parent, Leaf("child"), msg));
}

// DeleteCat and Clear.

TEST_F(zePhysicalTreeTest, DeleteCatTakesALeafOutOfTableAndFinder) {
    zeNode* const deleted = Leaf("a");
    zeNode* const staying = Leaf("a");

    tree.DeleteCat(deleted);

    EXPECT_EQ(tree.GetNode(1), nullptr);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(staying));
}

TEST_F(zePhysicalTreeTest, DeleteCatOfAnInnerNodeLeavesFinderChildrenAndClassifier) {
    zeNode* const leaf = Leaf("a");
    zeNode* const inner = Inner("a");
    zeNode* const child = Leaf("child");
    inner->add_child(child);
    const unsigned int inner_id = inner->m_node_id;
    const unsigned int classifier_id = inner->m_classifier_id;

    tree.DeleteCat(inner);

    EXPECT_EQ(tree.GetNode(inner_id), nullptr);
    EXPECT_EQ(tree.GetNode(child->m_node_id), child);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(leaf));
    EXPECT_TRUE(IsRegistered(classifier_id));
}

TEST_F(zePhysicalTreeTest, DeleteCatDoesNotFreeTheId) {
    tree.DeleteCat(Leaf("a"));

    EXPECT_EQ(Leaf("b")->m_node_id, 2U);
}

TEST_F(zePhysicalTreeTest, ClearForgetsNodesAndStartsIdsAnew) {
    Leaf("a");
    Leaf("b");

    tree.Clear();

    EXPECT_THAT(tree.m_nodes, IsEmpty());
    EXPECT_THAT(tree.m_finder, IsEmpty());
    EXPECT_EQ(tree.m_manager, &manager);
    EXPECT_EQ(Leaf("c")->m_node_id, 1U);
}

TEST_F(zePhysicalTreeTest, ClearLeavesClassifiers) {
    const unsigned int id = Inner("a")->m_classifier_id;

    tree.Clear();

    EXPECT_TRUE(IsRegistered(id));
}

// CopySubTree. The source is root(a, mid(b, c)).
class zePhysicalTreeCopyTest : public zePhysicalTreeTest {
protected:
    zePhysicalTreeCopyTest() {
        root = Inner("root");
        a = Leaf("a");
        mid = Inner("mid", ZE_RULE);
        b = Leaf("b");
        c = Leaf("c");
        root->add_child(a);
        root->add_child(mid);
        mid->add_child(b);
        mid->add_child(c);
        mid->m_threshold = 0.25;
        b->m_flags = kJunk;
    }

    zeNode* root;
    zeNode* a;
    zeNode* mid;
    zeNode* b;
    zeNode* c;
    std::map<zeNode*, zeNode*> mapping;
};

TEST_F(zePhysicalTreeCopyTest, CopiesTheShapeInTheOrderOfTheChildren) {
    zeNode* const copy = tree.CopySubTree(root, nullptr, mapping);

    ASSERT_EQ(copy->m_children.size(), 2U);
    const zeNode* const mid_copy = copy->m_children[1];
    ASSERT_EQ(mid_copy->m_children.size(), 2U);
    EXPECT_EQ(copy->m_concept, term("root"));
    EXPECT_EQ(copy->m_children[0]->m_concept, term("a"));
    EXPECT_EQ(mid_copy->m_concept, term("mid"));
    EXPECT_EQ(mid_copy->m_children[0]->m_concept, term("b"));
    EXPECT_EQ(mid_copy->m_children[1]->m_concept, term("c"));
    EXPECT_EQ(copy->m_children[0]->m_parent, copy);
    EXPECT_EQ(mid_copy->m_children[1]->m_parent, mid_copy);
}

TEST_F(zePhysicalTreeCopyTest, GivesIdsInPreorder) {
    zeNode* const copy = tree.CopySubTree(root, nullptr, mapping);

    EXPECT_EQ(copy->m_node_id, 6U);
    EXPECT_EQ(mapping[a]->m_node_id, 7U);
    EXPECT_EQ(mapping[mid]->m_node_id, 8U);
    EXPECT_EQ(mapping[b]->m_node_id, 9U);
    EXPECT_EQ(mapping[c]->m_node_id, 10U);
    EXPECT_EQ(tree.GetNode(8), mapping[mid]);
    EXPECT_EQ(tree.m_nodes.size(), 10U);
}

TEST_F(zePhysicalTreeCopyTest, RecordsEveryCopyInTheMapping) {
    zeNode* const copy = tree.CopySubTree(root, nullptr, mapping);

    EXPECT_EQ(mapping.size(), 5U);
    EXPECT_EQ(mapping[root], copy);
    EXPECT_EQ(mapping[a], copy->m_children[0]);
    EXPECT_EQ(mapping[c], copy->m_children[1]->m_children[1]);
}

TEST_F(zePhysicalTreeCopyTest, CopiesTypeFlagsAndThreshold) {
    tree.CopySubTree(root, nullptr, mapping);

    EXPECT_EQ(mapping[mid]->m_classifier_type, ZE_RULE);
    EXPECT_EQ(mapping[mid]->m_flags, kNoScore);
    EXPECT_EQ(mapping[mid]->m_threshold, 0.25);
    EXPECT_EQ(mapping[root]->m_classifier_type, ZE_STAT);
    EXPECT_EQ(mapping[b]->m_flags, kJunk);
}

TEST_F(zePhysicalTreeCopyTest, LeavesTheClassifiersWithTheSource) {
    const unsigned int id = root->m_classifier_id;

    zeNode* const copy = tree.CopySubTree(root, nullptr, mapping);

    EXPECT_EQ(copy->m_classifier, nullptr);
    EXPECT_EQ(copy->m_classifier_id, 0U);
    EXPECT_EQ(mapping[mid]->m_classifier_id, 0U);
    EXPECT_EQ(root->m_classifier_id, id);
    EXPECT_NE(root->m_classifier, nullptr);
}

TEST_F(zePhysicalTreeCopyTest, LeavesTheSourceAsItIs) {
    tree.CopySubTree(root, nullptr, mapping);

    EXPECT_THAT(root->m_children, ElementsAre(a, mid));
    EXPECT_THAT(mid->m_children, ElementsAre(b, c));
    EXPECT_EQ(a->m_parent, root);
    EXPECT_EQ(c->m_parent, mid);
}

TEST_F(zePhysicalTreeCopyTest, SetsTheGivenParentWithoutBecomingItsChild) {
    zeNode* const new_parent = Inner("new parent");

    const zeNode* const copy = tree.CopySubTree(mid, new_parent, mapping);

    EXPECT_EQ(copy->m_parent, new_parent);
    EXPECT_THAT(new_parent->m_children, IsEmpty());
    EXPECT_THAT(mid->m_parent->m_children, ElementsAre(a, mid));
}

TEST_F(zePhysicalTreeCopyTest, EntersLeavesNextToThoseOfTheSourceInOneTree) {
    tree.CopySubTree(root, nullptr, mapping);

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(a, mapping[a]));
    EXPECT_THAT(tree.GetLeafNodes(term("c")), ElementsAre(c, mapping[c]));
    EXPECT_THAT(tree.GetLeafNodes(term("root")), IsEmpty());
}

TEST_F(zePhysicalTreeCopyTest, CopiesFromAnotherTree) {
    zeManager other_manager;
    zePhysicalTree& other = *other_manager.m_physical_tree;

    zeNode* const copy = other.CopySubTree(root, nullptr, mapping);

    EXPECT_EQ(copy->m_node_id, 1U);
    EXPECT_EQ(other.GetNode(1), copy);
    EXPECT_EQ(other.m_nodes.size(), 5U);
    EXPECT_EQ(other.m_last_node_id, 5U);
    EXPECT_THAT(other.GetLeafNodes(term("b")), ElementsAre(mapping[b]));
    EXPECT_THAT(tree.GetLeafNodes(term("b")), ElementsAre(b));
    EXPECT_EQ(tree.m_nodes.size(), 5U);
}

}  // namespace
