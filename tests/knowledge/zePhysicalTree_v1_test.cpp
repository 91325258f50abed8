// Physical trees of file version 1. They refer to nodes by concepts instead of ids.
#include "zandrel/knowledge/zePhysicalTree.h"

#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/knowledge/tree_records.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zePhysicalTreeV1Test : public testing::Test {
protected:
    zePhysicalTreeV1Test() { manager.m_version = 1; }

    zeManager manager;
    zePhysicalTree& tree = *manager.m_physical_tree;
};

TEST_F(zePhysicalTreeV1Test, LoadReadsTheFieldsInOrder) {
    read_whole(tree, from_hex("00 00 00 02"
                              "00 00 00 02 61 62"        // "ab"
                              "01 02"                    // scored, type
                              "00 00 00 07 00 00 00 05"  // ids of the classifier and of the node
                              "3f 00 00 00"              // 0.5
                              "00 00 00 01 00 00 00 01 63"
                              "00 00 00 00"
                              "00 00 00 01 63"  // "c"
                              "00 00"           // not scored, leaf
                              "00 00 00 00 00 00 00 02"
                              "3d cc cc cd"  // the float nearest to 0.1
                              "00 00 00 00"
                              "00 00 00 01 00 00 00 02 61 62"));

    const zeNode& top = *tree.GetNode(5);
    zeNode* const leaf = tree.GetNode(2);
    EXPECT_EQ(top.m_concept, term("ab"));
    EXPECT_EQ(top.m_flags, 0);
    EXPECT_EQ(top.m_classifier_type, ZE_STAT);
    EXPECT_EQ(top.m_classifier_id, 7U);
    EXPECT_EQ(top.m_threshold, 0.5);
    EXPECT_EQ(top.m_parent, nullptr);
    EXPECT_THAT(top.m_children, ElementsAre(leaf));
    EXPECT_EQ(leaf->m_concept, term("c"));
    EXPECT_EQ(leaf->m_flags, zeNode::NoScore);
    EXPECT_EQ(leaf->m_threshold, 0.100000001490116119384765625) << "no digits are added";
    EXPECT_EQ(leaf->m_parent, &top);
    EXPECT_EQ(tree.m_last_node_id, 5U);
    EXPECT_THAT(tree.GetLeafNodes(term("c")), ElementsAre(leaf));
}

TEST_F(zePhysicalTreeV1Test, LoadTakesEveryNonZeroByteAsScored) {
    const struct {
        const char* byte;
        int flags;
    } rows[] = {{"00", 1}, {"01", 0}, {"80", 0}, {"ff", 0}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.byte);
        tree.Clear();

        read_whole(tree, Record()
                             .number(1)
                             .text("a")
                             .raw(from_hex(row.byte))
                             .raw(from_hex("00 00000000 00000001 00000000 00000000 00000000"))
                             .bytes());

        EXPECT_EQ(tree.GetNode(1)->m_flags, row.flags);
    }
}

TEST_F(zePhysicalTreeV1Test, TheRootsParentMayBeTheEmptyConcept) {
    read_whole(tree,
               Record().number(1).raw(physical_node_v1("a", ZE_RULE, 1, {}, {""}).bytes()).bytes());

    EXPECT_EQ(tree.GetNode(1)->m_parent, nullptr);
}

TEST_F(zePhysicalTreeV1Test, LeafWithTwoParentsBecomesTwoLeaves) {
    read_whole(tree, shared_leaf_v1());

    zeNode* const p = tree.GetNode(2);
    zeNode* const q = tree.GetNode(3);
    zeNode* const leaf = tree.GetNode(4);
    zeNode* const copy = tree.GetNode(5);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(tree.m_nodes.size(), 5U);
    EXPECT_EQ(tree.m_last_node_id, 5U);
    EXPECT_THAT(p->m_children, ElementsAre(leaf));
    EXPECT_THAT(q->m_children, ElementsAre(copy));
    EXPECT_EQ(leaf->m_parent, p);
    EXPECT_EQ(copy->m_parent, q);
    EXPECT_EQ(copy->m_node_id, 5U);
    EXPECT_EQ(copy->m_concept, term("leaf"));
    EXPECT_THAT(tree.GetLeafNodes(term("leaf")), ElementsAre(leaf, copy));
}

TEST_F(zePhysicalTreeV1Test, NodesAreLinkedByAscendingIdNotByOrderInTheRecord) {
    read_whole(tree, Record()
                         .number(4)
                         .raw(physical_node_v1("leaf", ZE_LEAF, 4, {}, {"q", "p"}).bytes())
                         .raw(physical_node_v1("q", ZE_STAT, 3, {"leaf"}, {"root"}).bytes())
                         .raw(physical_node_v1("p", ZE_STAT, 2, {"leaf"}, {"root"}).bytes())
                         .raw(physical_node_v1("root", ZE_RULE, 1, {"p", "q"}, {}).bytes())
                         .bytes());

    // The leaf itself is linked to the first parent that it names, here q. Of its other parents,
    // the one with the lowest id gets the first copy.
    EXPECT_THAT(tree.GetNode(3)->m_children, ElementsAre(tree.GetNode(4)));
    EXPECT_THAT(tree.GetNode(2)->m_children, ElementsAre(tree.GetNode(5)));
}

TEST_F(zePhysicalTreeV1Test, CopyHasTheFieldsOfTheLeaf) {
    read_whole(tree, Record()
                         .number(3)
                         .raw(physical_node_v1("p", ZE_STAT, 1, {"leaf"}, {}).bytes())
                         .raw(physical_node_v1("q", ZE_STAT, 2, {"leaf"}, {}).bytes())
                         .text("leaf")
                         .byte(0)
                         .byte(ZE_LEAF)
                         .number(0)
                         .number(3)
                         .single(0.25F)
                         .texts({})
                         .texts({"p", "q"})
                         .bytes());

    EXPECT_EQ(tree.GetNode(4)->m_flags, zeNode::NoScore);
    EXPECT_EQ(tree.GetNode(4)->m_threshold, 0.25);
}

// ConvertV1.

TEST_F(zePhysicalTreeV1Test, ConvertFindsANodeWithOneParentFromAnyPlace) {
    read_whole(tree, shared_leaf_v1());

    EXPECT_EQ(tree.ConvertV1(term("p"), nullptr), tree.GetNode(2));
    EXPECT_EQ(tree.ConvertV1(term("p"), tree.GetNode(3)), tree.GetNode(2));
    EXPECT_EQ(tree.ConvertV1(term("root"), nullptr), tree.GetNode(1));
}

TEST_F(zePhysicalTreeV1Test, ConvertFindsTheCopyOfALeafBelowTheGivenParent) {
    read_whole(tree, shared_leaf_v1());

    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(2)), tree.GetNode(4));
    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(3)), tree.GetNode(5));
    EXPECT_EQ(tree.m_nodes.size(), 5U);
}

TEST_F(zePhysicalTreeV1Test, ConvertReturnsNullForUnknownOrAmbiguousNodes) {
    read_whole(tree, shared_leaf_v1());

    EXPECT_EQ(tree.ConvertV1(Concept(), tree.GetNode(2)), nullptr) << "the empty concept";
    EXPECT_EQ(tree.ConvertV1(term("leaf"), nullptr), nullptr) << "no parent to choose by";
    EXPECT_EQ(tree.ConvertV1(term("unknown"), nullptr), nullptr);
    EXPECT_EQ(tree.ConvertV1(term("unknown"), tree.GetNode(2)), nullptr);
    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(1)), nullptr) << "a parent too many";
    EXPECT_EQ(tree.m_nodes.size(), 5U);
}

TEST_F(zePhysicalTreeV1Test, ConvertLinksTheLeafToTheFirstParentAndCopiesItForOthers) {
    read_whole(tree,
               Record()
                   .number(4)
                   .raw(physical_node_v1("p", ZE_STAT, 1, {}, {}).bytes())
                   .raw(physical_node_v1("q", ZE_STAT, 2, {}, {}).bytes())
                   .raw(physical_node_v1("r", ZE_STAT, 3, {}, {}).bytes())
                   .raw(physical_node_v1("leaf", ZE_LEAF, 9, {}, {"unknown", "q", "r"}).bytes())
                   .bytes());
    EXPECT_EQ(tree.GetNode(9)->m_parent, nullptr);

    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(2))->m_node_id, 9U);
    EXPECT_EQ(tree.GetNode(9)->m_parent, tree.GetNode(2));
    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(3))->m_node_id, 10U);
    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(1))->m_node_id, 11U);
    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(3))->m_node_id, 10U);
    EXPECT_EQ(tree.m_last_node_id, 11U);
}

TEST_F(zePhysicalTreeV1Test, ConvertAssertsThatTheCopiedNodeIsALeaf) {
    EXPECT_ASSERTS(
        read_whole(tree, Record()
                             .number(3)
                             .raw(physical_node_v1("p", ZE_RULE, 1, {"stat"}, {}).bytes())
                             .raw(physical_node_v1("q", ZE_RULE, 2, {"stat"}, {}).bytes())
                             .raw(physical_node_v1("stat", ZE_STAT, 3, {}, {"p", "q"}).bytes())
                             .bytes()),
        "inserted.m_classifier_type == ZE_LEAF");
}

TEST_F(zePhysicalTreeV1Test, ReferenceIsStoredAsAConcept) {
    read_whole(tree, shared_leaf_v1());

    EXPECT_EQ(read_reference(manager, from_hex("00 00 00 01 71"), nullptr), tree.GetNode(3));
    EXPECT_EQ(read_reference(manager, Record().text("leaf").bytes(), tree.GetNode(3)),
              tree.GetNode(5));
    EXPECT_EQ(read_reference(manager, from_hex("00 00 00 00"), tree.GetNode(3)), nullptr);
}

// The maps.

TEST_F(zePhysicalTreeV1Test, ClearKeepsTheMapsThatFindReferences) {
    read_whole(tree, shared_leaf_v1());

    tree.Clear();

    EXPECT_EQ(tree.m_v1_nodes.size(), 3U);
    EXPECT_EQ(tree.m_v1_pending.size(), 1U);
}

TEST_F(zePhysicalTreeV1Test, NextLoadReplacesTheMapsThatFindReferences) {
    read_whole(tree, shared_leaf_v1());
    tree.Clear();

    read_whole(tree,
               Record().number(1).raw(physical_node_v1("a", ZE_LEAF, 1, {}, {}).bytes()).bytes());

    EXPECT_EQ(tree.ConvertV1(term("root"), nullptr), nullptr);
    EXPECT_EQ(tree.ConvertV1(term("leaf"), tree.GetNode(1)), nullptr);
    EXPECT_EQ(tree.ConvertV1(term("a"), nullptr), tree.GetNode(1));
}

// Damage.

TEST_F(zePhysicalTreeV1Test, LoadRefusesAMissingChild) {
    for (const char* const child : {"unknown", ""}) {
        SCOPED_TRACE(child);
        tree.Clear();
        const Record record =
            Record().number(1).raw(physical_node_v1("a", ZE_RULE, 1, {child}, {}).bytes());

        EXPECT_QTX_ARGS(read_whole(tree, record.bytes()), zeManager, 4, "Knowledge tree is damaged",
                        {"children"});
        EXPECT_THAT(tree.GetNode(1)->m_children, IsEmpty()) << "nobody meets a null child";
    }
}

TEST_F(zePhysicalTreeV1Test, LoadRefusesTwoNodesOfOneId) {
    EXPECT_QTX_ARGS(read_whole(tree, Record()
                                         .number(2)
                                         .raw(physical_node_v1("a", ZE_LEAF, 2, {}, {}).bytes())
                                         .raw(physical_node_v1("b", ZE_LEAF, 2, {}, {}).bytes())
                                         .bytes()),
                    zeManager, 4, "Knowledge tree is damaged", {"node ids"});
}

TEST_F(zePhysicalTreeV1Test, LoadRefusesAnIdThatLeavesNoIdForCopies) {
    EXPECT_QTX_ARGS(
        read_whole(tree, Record()
                             .number(1)
                             .raw(physical_node_v1("a", ZE_LEAF, 0xFFFFFFFF, {}, {}).bytes())
                             .bytes()),
        zeManager, 4, "Knowledge tree is damaged", {"ids"});
}

}  // namespace
