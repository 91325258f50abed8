// Mirroring what appeared on the physical side.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <cstddef>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/failing_new.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zeLogicalTreeMirrorTest : public testing::Test {
protected:
    zeNode* Make(std::string_view name, unsigned int type) {
        return m_manager.m_physical_tree->MakeNode(term(name), type, zeNode::NoScore, 0.0);
    }

    zeLogicalNode& Mirror(zeNode* node) { return m_tree.nodes.at(m_tree.finder.at(node)); }

    zeManager m_manager;
    zeLogicalTree& m_tree = *m_manager.m_logical_tree;
};

TEST_F(zeLogicalTreeMirrorTest, TakesTheNodesOwnFields) {
    zeNode* const root = Make("root", ZE_STAT);
    m_manager.m_modified = false;

    m_tree.KCE_Add(root, nullptr);

    const zeLogicalNode& mirror = Mirror(root);
    EXPECT_EQ(mirror.id, 1U);
    EXPECT_EQ(mirror.type, ZE_STAT);
    EXPECT_EQ(mirror.attributes, zeNode::NoScore);
    EXPECT_EQ(mirror.category, term("root"));
    EXPECT_EQ(mirror.name, term("root"));
    EXPECT_EQ(mirror.parent, 0U);
    EXPECT_EQ(mirror.physical_node, root);
    EXPECT_EQ(m_tree.next_id, 1U);
    EXPECT_TRUE(m_manager.m_modified);
}

TEST_F(zeLogicalTreeMirrorTest, StandsBelowTheNodeOfTheClassifier) {
    zeNode* const root = Make("root", ZE_STAT);
    zeNode* const sport = Make("sport", ZE_LEAF);
    m_tree.KCE_Add(root, nullptr);

    m_tree.KCE_Add(sport, root->m_classifier);

    EXPECT_EQ(Mirror(sport).parent, 1U);
    EXPECT_EQ(Mirror(sport).rule, "");
    EXPECT_THAT(Mirror(root).children, ElementsAre(2U));
}

TEST_F(zeLogicalTreeMirrorTest, TakesTheRuleBelowARuleNode) {
    zeNode* const root = Make("root", ZE_RULE);
    zeNode* sport = Make("sport", ZE_LEAF);
    m_tree.KCE_Add(root, nullptr);
    dynamic_cast<zeSwitcher&>(*root->m_classifier).add_rule(sport, "default");

    m_tree.KCE_Add(sport, root->m_classifier);

    EXPECT_EQ(Mirror(sport).rule, "default");
}

TEST_F(zeLogicalTreeMirrorTest, HasNoParentWhereTheClassifiersNodeIsNotMirrored) {
    zeNode* const root = Make("root", ZE_STAT);
    zeNode* const sport = Make("sport", ZE_LEAF);

    m_tree.KCE_Add(sport, root->m_classifier);

    EXPECT_EQ(Mirror(sport).parent, 0U);
    EXPECT_THAT(m_tree.not_found_node.children, IsEmpty());
}

TEST_F(zeLogicalTreeMirrorTest, LeavesANodeThatIsMirroredAlready) {
    zeNode* const root = Make("root", ZE_STAT);
    zeNode* const sport = Make("sport", ZE_LEAF);
    m_tree.KCE_Add(root, nullptr);
    m_tree.KCE_Add(sport, root->m_classifier);
    m_manager.m_modified = false;

    m_tree.KCE_Add(sport, root->m_classifier);

    EXPECT_EQ(m_tree.nodes.size(), 2U);
    EXPECT_EQ(m_tree.next_id, 2U);
    EXPECT_THAT(Mirror(root).children, ElementsAre(2U));
    EXPECT_FALSE(m_manager.m_modified);
}

TEST_F(zeLogicalTreeMirrorTest, ARuleNodeWithAnotherClassifierBreaksTheInvariant) {
    zeNode* const root = Make("root", ZE_STAT);
    zeNode* const sport = Make("sport", ZE_LEAF);
    m_tree.KCE_Add(root, nullptr);
    Mirror(root).type = ZE_RULE;

    EXPECT_ASSERTS(m_tree.KCE_Add(sport, root->m_classifier), "sw");

    EXPECT_EQ(m_tree.nodes.size(), 1U);
}

TEST_F(zeLogicalTreeMirrorTest, ChangesNothingWhenMemoryRunsOut) {
    zeNode* const root = Make("root", ZE_STAT);
    zeNode* const sport = Make("sport", ZE_LEAF);
    m_tree.KCE_Add(root, nullptr);
    unsigned int refused = 0;

    while (fails_at(refused, [&] { m_tree.KCE_Add(sport, root->m_classifier); })) {
        ASSERT_EQ(m_tree.nodes.size(), 1U) << refused;
        ASSERT_EQ(m_tree.finder.count(sport), 0U) << refused;
        ASSERT_EQ(m_tree.next_id, 1U) << refused;
        ASSERT_TRUE(Mirror(root).children.empty()) << refused;
        ++refused;
    }

    EXPECT_GE(refused, 2U);  // of the node and of its entry in the finder
    EXPECT_THAT(Mirror(root).children, ElementsAre(2U));
}

}  // namespace
