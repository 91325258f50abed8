// Logical trees of file version 1. They store categories instead of the ids of physical nodes.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/knowledge/tree_records.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"

namespace {

using testing::ElementsAre;

class zeLogicalTreeV1Test : public testing::Test {
protected:
    zeLogicalTreeV1Test() { manager.m_version = 1; }

    zeManager manager;
    zeLogicalTree& tree = *manager.m_logical_tree;
    zePhysicalTree& physical = *manager.m_physical_tree;
};

TEST_F(zeLogicalTreeV1Test, LoadReadsTheFieldsInOrder) {
    read_whole(physical,
               Record().number(1).raw(physical_node_v1("ab", ZE_STAT, 9, {}, {}).bytes()).bytes());

    read_whole(tree, from_hex("12 34 56 78"  // dropped
                              "00 00 00 01"
                              "00 00 00 05"
                              "00 00 00 02"  // type, as a number
                              "00 00 00 03"
                              "00 00 00 02 00 00 00 08 00 00 00 09"
                              "00 00 00 02 61 62"
                              "00 00 00 01 63"
                              "00 00 00 01 37"
                              "00"           // not scored
                              "3d cc cc cd"  // the float nearest to 0.1
                              "00 00 00 01 78"
                              "00 00 00 02 79 7a"));

    const zeLogicalNode& node = tree.GetNode(5);
    EXPECT_EQ(node.type, ZE_STAT);
    EXPECT_EQ(node.parent, 3U);
    EXPECT_THAT(node.children, ElementsAre(8U, 9U));
    EXPECT_EQ(node.category, term("ab"));
    EXPECT_EQ(node.name, term("c"));
    EXPECT_TRUE(manager.m_compat55);
    EXPECT_EQ(node.rule, qtString("7"));
    EXPECT_EQ(node.attributes, zeNode::NoScore);
    EXPECT_EQ(node.threshold, 0.100000001490116119384765625) << "no digits are added";
    EXPECT_EQ(node.note1, qtString("x"));
    EXPECT_EQ(node.note2, qtString("yz"));
    EXPECT_EQ(node.physical_node, physical.GetNode(9));
    EXPECT_EQ(tree.FindCategory(physical.GetNode(9)).id, 5U);
    EXPECT_EQ(tree.next_id, 5U);
}

TEST_F(zeLogicalTreeV1Test, LoadTakesEveryNonZeroByteAsScored) {
    const struct {
        const char* byte;
        int attributes;
    } rows[] = {{"00", 1}, {"01", 0}, {"80", 0}, {"ff", 0}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.byte);
        std::string record = Record()
                                 .number(0)
                                 .number(1)
                                 .raw(logical_node_v1(1, ZE_STAT, 0, {}, "a").bytes())
                                 .bytes();
        record[record.size() - 13] = from_hex(row.byte)[0];

        read_whole(tree, record);

        EXPECT_EQ(tree.GetNode(1).attributes, row.attributes);
    }
}

TEST_F(zeLogicalTreeV1Test, EachMirrorOfASharedLeafGetsItsOwnNode) {
    read_whole(physical, shared_leaf_v1());

    read_whole(tree, Record()
                         .number(0)
                         .number(5)
                         .raw(logical_node_v1(1, ZE_RULE, 0, {2, 3}, "root").bytes())
                         .raw(logical_node_v1(2, ZE_STAT, 1, {4}, "p").bytes())
                         .raw(logical_node_v1(3, ZE_STAT, 1, {5}, "q").bytes())
                         .raw(logical_node_v1(4, ZE_LEAF, 2, {}, "leaf").bytes())
                         .raw(logical_node_v1(5, ZE_LEAF, 3, {}, "leaf").bytes())
                         .bytes());

    for (const unsigned int id : {1U, 2U, 3U, 4U, 5U}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(tree.GetNode(id).physical_node, physical.GetNode(id));
        EXPECT_EQ(tree.FindCategory(physical.GetNode(id)).id, id);
    }
}

TEST_F(zeLogicalTreeV1Test, LeafBelowALeafIsFoundBelowTheClassifierAbove) {
    read_whole(physical, shared_leaf_v1());

    read_whole(tree, Record()
                         .number(0)
                         .number(4)
                         .raw(logical_node_v1(7, ZE_LEAF, 6, {}, "leaf").bytes())
                         .raw(logical_node_v1(6, ZE_LEAF, 3, {7}, "group").bytes())
                         .raw(logical_node_v1(3, ZE_STAT, 1, {6}, "q").bytes())
                         .raw(logical_node_v1(1, ZE_RULE, 0, {3}, "root").bytes())
                         .bytes());

    EXPECT_EQ(tree.GetNode(7).physical_node, physical.GetNode(5));
}

TEST_F(zeLogicalTreeV1Test, UnknownCategoryGetsALeafOutsideTheTree) {
    read_whole(physical, shared_leaf_v1());

    read_whole(tree, Record()
                         .number(0)
                         .number(2)
                         .raw(logical_node_v1(1, ZE_RULE, 0, {2}, "root").bytes())
                         .raw(logical_node_v1(2, ZE_LEAF, 1, {}, "unknown").bytes())
                         .bytes());

    EXPECT_EQ(tree.GetNode(2).physical_node, physical.GetNode(6));
    EXPECT_EQ(physical.GetNode(6)->m_concept, term("unknown"));
    EXPECT_EQ(physical.GetNode(6)->m_parent, nullptr);
}

TEST_F(zeLogicalTreeV1Test, LoadRefusesCircularParents) {
    EXPECT_QTX_ARGS(read_whole(tree, Record()
                                         .number(0)
                                         .number(2)
                                         .raw(logical_node_v1(1, ZE_LEAF, 2, {}, "a").bytes())
                                         .raw(logical_node_v1(2, ZE_LEAF, 1, {}, "b").bytes())
                                         .bytes()),
                    zeManager, 4, "Knowledge tree is damaged", {"logical parents"});
}

// The search for the classifier above a node must not walk up again from every node: that takes
// quadratic time.
TEST_F(zeLogicalTreeV1Test, DeepLeavesAreFoundBelowTheClassifierAbove) {
    constexpr unsigned int kDeep = 100000;
    Record record = Record().number(0).number(kDeep);
    record.raw(logical_node_v1(1, ZE_RULE, 0, {2}, "root").bytes());
    record.raw(logical_node_v1(2, ZE_STAT, 1, {3}, "q").bytes());
    for (unsigned int id = 3; id < kDeep; ++id) {
        record.raw(
            logical_node_v1(id, ZE_LEAF, id - 1, {id + 1}, "n" + std::to_string(id)).bytes());
    }
    record.raw(logical_node_v1(kDeep, ZE_LEAF, kDeep - 1, {}, "leaf").bytes());
    read_whole(physical, shared_leaf_v1());

    read_whole(tree, record.bytes());

    EXPECT_EQ(tree.GetNode(kDeep).physical_node, physical.GetNode(5));
}

}  // namespace
