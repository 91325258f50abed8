// Logical trees of version 1, which find their physical nodes by category.
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

// A scored node without a rule or notes.
Record node_of(unsigned int id, unsigned int type, unsigned int parent,
               std::initializer_list<unsigned int> children, std::string_view category) {
    return Record()
        .number(id)
        .number(type)
        .number(parent)
        .numbers(children)
        .text(category)
        .text("")
        .text("")
        .byte(1)
        .single(0.0F)
        .text("")
        .text("");
}

Record physical_node_of(std::string_view name, unsigned int type, unsigned int id,
                        std::initializer_list<std::string_view> children,
                        std::initializer_list<std::string_view> parents) {
    return Record()
        .text(name)
        .byte(1)
        .byte(type)
        .number(0)
        .number(id)
        .single(0.0F)
        .texts(children)
        .texts(parents);
}

// The root 1, the statistical nodes 2 and 3, the leaf 4 under both, which makes the node 5.
std::string shared_leaf() {
    return Record()
        .number(4)
        .raw(physical_node_of("root", ZE_RULE, 1, {"p", "q"}, {}).bytes())
        .raw(physical_node_of("p", ZE_STAT, 2, {"leaf"}, {"root"}).bytes())
        .raw(physical_node_of("q", ZE_STAT, 3, {"leaf"}, {"root"}).bytes())
        .raw(physical_node_of("leaf", ZE_LEAF, 4, {}, {"p", "q"}).bytes())
        .bytes();
}

TEST_F(zeLogicalTreeV1Test, LoadReadsTheFieldsInOrder) {
    read_whole(physical,
               Record().number(1).raw(physical_node_of("ab", ZE_STAT, 9, {}, {}).bytes()).bytes());

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

TEST_F(zeLogicalTreeV1Test, LoadTakesEveryByteButZeroAsScored) {
    const struct {
        const char* byte;
        int attributes;
    } rows[] = {{"00", 1}, {"01", 0}, {"80", 0}, {"ff", 0}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.byte);
        std::string record =
            Record().number(0).number(1).raw(node_of(1, ZE_STAT, 0, {}, "a").bytes()).bytes();
        record[record.size() - 13] = from_hex(row.byte)[0];

        read_whole(tree, record);

        EXPECT_EQ(tree.GetNode(1).attributes, row.attributes);
    }
}

TEST_F(zeLogicalTreeV1Test, EachMirrorOfASharedLeafHasANodeOfItsOwn) {
    read_whole(physical, shared_leaf());

    read_whole(tree, Record()
                         .number(0)
                         .number(5)
                         .raw(node_of(1, ZE_RULE, 0, {2, 3}, "root").bytes())
                         .raw(node_of(2, ZE_STAT, 1, {4}, "p").bytes())
                         .raw(node_of(3, ZE_STAT, 1, {5}, "q").bytes())
                         .raw(node_of(4, ZE_LEAF, 2, {}, "leaf").bytes())
                         .raw(node_of(5, ZE_LEAF, 3, {}, "leaf").bytes())
                         .bytes());

    for (const unsigned int id : {1U, 2U, 3U, 4U, 5U}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(tree.GetNode(id).physical_node, physical.GetNode(id));
        EXPECT_EQ(tree.FindCategory(physical.GetNode(id)).id, id);
    }
}

TEST_F(zeLogicalTreeV1Test, ALeafBelowALeafIsFoundBelowTheClassifierAbove) {
    read_whole(physical, shared_leaf());

    read_whole(tree, Record()
                         .number(0)
                         .number(4)
                         .raw(node_of(7, ZE_LEAF, 6, {}, "leaf").bytes())
                         .raw(node_of(6, ZE_LEAF, 3, {7}, "group").bytes())
                         .raw(node_of(3, ZE_STAT, 1, {6}, "q").bytes())
                         .raw(node_of(1, ZE_RULE, 0, {3}, "root").bytes())
                         .bytes());

    EXPECT_EQ(tree.GetNode(7).physical_node, physical.GetNode(5));
}

TEST_F(zeLogicalTreeV1Test, ANodeThatIsNotFoundGetsALeafThatStandsInNoTree) {
    read_whole(physical, shared_leaf());

    read_whole(tree, Record()
                         .number(0)
                         .number(2)
                         .raw(node_of(1, ZE_RULE, 0, {2}, "root").bytes())
                         .raw(node_of(2, ZE_LEAF, 1, {}, "unknown").bytes())
                         .bytes());

    EXPECT_EQ(tree.GetNode(2).physical_node, physical.GetNode(6));
    EXPECT_EQ(physical.GetNode(6)->m_concept, term("unknown"));
    EXPECT_EQ(physical.GetNode(6)->m_parent, nullptr);
}

TEST_F(zeLogicalTreeV1Test, LoadRefusesACircleBeforeItGoesUp) {
    EXPECT_QTX_ARGS(read_whole(tree, Record()
                                         .number(0)
                                         .number(2)
                                         .raw(node_of(1, ZE_LEAF, 2, {}, "a").bytes())
                                         .raw(node_of(2, ZE_LEAF, 1, {}, "b").bytes())
                                         .bytes()),
                    zeManager, 4, "Knowledge tree is damaged", {"logical parents"});
}

// The way up to the classifier is not gone again from every node.
TEST_F(zeLogicalTreeV1Test, DeepLeavesAreFoundBelowTheClassifierAbove) {
    constexpr unsigned int kDeep = 100000;
    Record record = Record().number(0).number(kDeep);
    record.raw(node_of(1, ZE_RULE, 0, {2}, "root").bytes());
    record.raw(node_of(2, ZE_STAT, 1, {3}, "q").bytes());
    for (unsigned int id = 3; id < kDeep; ++id) {
        record.raw(node_of(id, ZE_LEAF, id - 1, {id + 1}, "n" + std::to_string(id)).bytes());
    }
    record.raw(node_of(kDeep, ZE_LEAF, kDeep - 1, {}, "leaf").bytes());
    read_whole(physical, shared_leaf());

    read_whole(tree, record.bytes());

    EXPECT_EQ(tree.GetNode(kDeep).physical_node, physical.GetNode(5));
}

}  // namespace
