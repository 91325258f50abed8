// Copies of subtrees of the physical tree.
#include "zandrel/knowledge/zePhysicalTree.h"

#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/knowledge/physical_tree_fixture.h"
#include "tests/support/bags.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The source is root(a, mid(b, c)).
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

TEST_F(zePhysicalTreeCopyTest, ClassifiersStayWithTheSource) {
    const unsigned int id = root->m_classifier_id;

    zeNode* const copy = tree.CopySubTree(root, nullptr, mapping);

    EXPECT_EQ(copy->m_classifier, nullptr);
    EXPECT_EQ(copy->m_classifier_id, 0U);
    EXPECT_EQ(mapping[mid]->m_classifier_id, 0U);
    EXPECT_EQ(root->m_classifier_id, id);
    EXPECT_NE(root->m_classifier, nullptr);
}

TEST_F(zePhysicalTreeCopyTest, SourceIsUnchanged) {
    tree.CopySubTree(root, nullptr, mapping);

    EXPECT_THAT(root->m_children, ElementsAre(a, mid));
    EXPECT_THAT(mid->m_children, ElementsAre(b, c));
    EXPECT_EQ(a->m_parent, root);
    EXPECT_EQ(c->m_parent, mid);
}

TEST_F(zePhysicalTreeCopyTest, CopyNamesTheGivenParentButIsNotItsChild) {
    zeNode* const new_parent = Inner("new parent");

    const zeNode* const copy = tree.CopySubTree(mid, new_parent, mapping);

    EXPECT_EQ(copy->m_parent, new_parent);
    EXPECT_THAT(new_parent->m_children, IsEmpty());
    EXPECT_THAT(mid->m_parent->m_children, ElementsAre(a, mid));
}

TEST_F(zePhysicalTreeCopyTest, CopiedLeavesJoinThoseOfTheSourceInOneTree) {
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

TEST_F(zePhysicalTreeCopyTest, CopiesAChildOfTwoParentsTwice) {
    mid->m_children.push_back(a);

    tree.CopySubTree(root, nullptr, mapping);

    EXPECT_EQ(tree.m_nodes.size(), 11U);
    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(a, tree.GetNode(7), tree.GetNode(11)));
    EXPECT_THAT(mapping[mid]->m_children, ElementsAre(mapping[b], mapping[c], tree.GetNode(11)));
}

TEST_F(zePhysicalTreeCopyTest, CopiesAChainOfAHundredThousandNodes) {
    constexpr unsigned int kDepth = 100000;
    zeManager deep;
    zePhysicalTree& source = *deep.m_physical_tree;
    zeNode* const top = source.MakeNode(term("node"), ZE_LEAF, 0, 0.0);
    for (zeNode* node = top; source.m_last_node_id < kDepth; node = node->m_children.front()) {
        node->add_child(source.MakeNode(term("node"), ZE_LEAF, 0, 0.0));
    }

    zeNode* const copy = tree.CopySubTree(top, root, mapping);

    EXPECT_EQ(copy->m_parent, root);
    const zeNode* last = copy;
    for (unsigned int depth = 1; depth < kDepth; ++depth) {
        ASSERT_EQ(last->m_children.size(), 1U);
        ASSERT_EQ(last->m_children.front()->m_parent, last);
        ASSERT_EQ(last->m_children.front()->m_node_id, last->m_node_id + 1);
        last = last->m_children.front();
    }
    EXPECT_TRUE(last->m_children.empty());
}

}  // namespace
