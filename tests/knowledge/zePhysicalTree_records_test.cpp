// The records of the physical tree, byte by byte.
#include "zandrel/knowledge/zePhysicalTree.h"

#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/knowledge/tree_records.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zePhysicalTreeRecordsTest : public testing::Test {
protected:
    zeNode* Make(const char* name, unsigned int type, unsigned int flags, double threshold) {
        return tree.MakeNode(term(name), type, flags, threshold);
    }

    zeManager manager;
    zePhysicalTree& tree = *manager.m_physical_tree;
};

// A node of the record, with a threshold of 0.
Record node_of(const char* name, unsigned int type, unsigned int id,
               std::initializer_list<unsigned int> children, unsigned int parent) {
    return Record()
        .text(name)
        .byte(0)
        .byte(type)
        .number(0)
        .number(id)
        .real(0.0)
        .numbers(children)
        .number(parent);
}

// Dump.

TEST_F(zePhysicalTreeRecordsTest, DumpOfNoNodeIsACountOfZero) {
    EXPECT_EQ(to_hex(dumped_nodes(tree, nullptr)), "00 00 00 00");
}

TEST_F(zePhysicalTreeRecordsTest, DumpWritesTheFieldsInOrder) {
    zeNode* const top = Make("ab", ZE_RULE, 3, 0.5);  // its switcher is the object 1
    top->add_child(Make("c", ZE_LEAF, 2, -2.0));

    EXPECT_EQ(to_hex(dumped_nodes(tree, top)),
              "00 00 00 02 "              // nodes
              "00 00 00 02 61 62 "        // "ab"
              "03 01 "                    // flags, type
              "00 00 00 01 00 00 00 01 "  // ids of the classifier and of the node
              "3f e0 00 00 00 00 00 00 "  // 0.5
              "00 00 00 01 00 00 00 02 "  // one child
              "00 00 00 00 "              // no parent
              "00 00 00 01 63 "           // "c"
              "02 00 "
              "00 00 00 00 00 00 00 02 "
              "c0 00 00 00 00 00 00 00 "  // -2
              "00 00 00 00 "
              "00 00 00 01");
}

TEST_F(zePhysicalTreeRecordsTest, DumpWritesNodesByAscendingIdAndChildrenInTheirOrder) {
    zeNode* const last = Make("a", ZE_LEAF, 0, 0.0);
    zeNode* const first = Make("b", ZE_LEAF, 0, 0.0);
    zeNode* const top = Make("c", ZE_LEAF, 0, 0.0);
    top->add_child(first);
    top->add_child(last);

    EXPECT_EQ(to_hex(dumped_nodes(tree, top)),
              to_hex(Record()
                         .number(3)
                         .raw(node_of("a", ZE_LEAF, 1, {}, 3).bytes())
                         .raw(node_of("b", ZE_LEAF, 2, {}, 3).bytes())
                         .raw(node_of("c", ZE_LEAF, 3, {2, 1}, 0).bytes())
                         .bytes()));
}

TEST_F(zePhysicalTreeRecordsTest, DumpOfASubtreesRootStillNamesItsParent) {
    zeNode* const above = Make("a", ZE_LEAF, 0, 0.0);
    zeNode* const top = Make("b", ZE_LEAF, 0, 0.0);
    above->add_child(top);
    above->add_child(Make("c", ZE_LEAF, 0, 0.0));

    EXPECT_EQ(to_hex(dumped_nodes(tree, top)),
              to_hex(Record().number(1).raw(node_of("b", ZE_LEAF, 2, {}, 1).bytes()).bytes()));
}

// The children 8 and 9 have no record, so their nodes have the id 0. If these nodes were written, a
// reader would take all of them as one node.
TEST_F(zePhysicalTreeRecordsTest, DumpLeavesOutNodesWithoutAnId) {
    read_whole(tree, Record()
                         .number(2)
                         .raw(node_of("top", ZE_RULE, 1, {8, 2, 9}, 0).bytes())
                         .raw(node_of("a", ZE_LEAF, 2, {9}, 1).bytes())
                         .bytes());

    EXPECT_EQ(to_hex(dumped_nodes(tree, tree.GetNode(1))),
              to_hex(Record()
                         .number(2)
                         .raw(node_of("top", ZE_RULE, 1, {2}, 0).bytes())
                         .raw(node_of("a", ZE_LEAF, 2, {}, 1).bytes())
                         .bytes()));
}

TEST_F(zePhysicalTreeRecordsTest, DumpConvertsNames) {
    zeNode* const top = Make("a", ZE_LEAF, 0, 0.0);
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    io.converter = [](const qtString& text, void*) { return text + "!"; };

    tree.Dump(io, top);

    EXPECT_EQ(to_hex(bytes_of(record)),
              to_hex(Record().number(1).raw(node_of("a!", ZE_LEAF, 1, {}, 0).bytes()).bytes()));
    EXPECT_EQ(top->m_concept, term("a"));
}

// Load.

TEST_F(zePhysicalTreeRecordsTest, LoadReadsTheFieldsInOrder) {
    read_whole(tree, from_hex("00 00 00 01"
                              "00 00 00 02 61 62"
                              "03 02"
                              "00 00 00 07 00 00 00 05"
                              "3f e0 00 00 00 00 00 00"
                              "00 00 00 00"
                              "00 00 00 00"));

    ASSERT_NE(tree.GetNode(5), nullptr);
    const zeNode& node = *tree.GetNode(5);
    EXPECT_EQ(node.m_concept, term("ab"));
    EXPECT_EQ(node.m_flags, 3);
    EXPECT_EQ(node.m_classifier_type, ZE_STAT);
    EXPECT_EQ(node.m_classifier_id, 7U);
    EXPECT_EQ(node.m_node_id, 5U);
    EXPECT_EQ(node.m_threshold, 0.5);
    EXPECT_THAT(node.m_children, IsEmpty());
    EXPECT_EQ(node.m_parent, nullptr);
    EXPECT_EQ(node.m_classifier, nullptr);
}

TEST_F(zePhysicalTreeRecordsTest, LoadOfNoNodeRestartsIds) {
    tree.m_last_node_id = 9;

    read_whole(tree, from_hex("00 00 00 00"));

    EXPECT_TRUE(tree.m_nodes.empty());
    EXPECT_EQ(tree.m_last_node_id, 0U);
}

TEST_F(zePhysicalTreeRecordsTest, LoadLinksNodesThatFollowInTheRecord) {
    read_whole(tree, Record()
                         .number(3)
                         .raw(node_of("top", ZE_RULE, 1, {3, 2}, 0).bytes())
                         .raw(node_of("a", ZE_LEAF, 2, {}, 1).bytes())
                         .raw(node_of("b", ZE_LEAF, 3, {}, 1).bytes())
                         .bytes());

    zeNode* const top = tree.GetNode(1);
    EXPECT_THAT(top->m_children, ElementsAre(tree.GetNode(3), tree.GetNode(2)));
    EXPECT_EQ(tree.GetNode(3)->m_concept, term("b"));
    EXPECT_EQ(tree.GetNode(3)->m_parent, top);
    EXPECT_EQ(tree.m_nodes.size(), 3U);
}

TEST_F(zePhysicalTreeRecordsTest, LoadLinksNodesThatPrecedeInTheRecord) {
    read_whole(tree, Record()
                         .number(2)
                         .raw(node_of("a", ZE_LEAF, 2, {}, 1).bytes())
                         .raw(node_of("top", ZE_RULE, 1, {2}, 0).bytes())
                         .bytes());

    EXPECT_EQ(tree.GetNode(2)->m_parent, tree.GetNode(1));
    EXPECT_EQ(tree.GetNode(1)->m_concept, term("top"));
    EXPECT_THAT(tree.GetNode(1)->m_children, ElementsAre(tree.GetNode(2)));
}

TEST_F(zePhysicalTreeRecordsTest, LoadSetsTheLastIdToTheHighestId) {
    read_whole(tree, Record()
                         .number(2)
                         .raw(node_of("a", ZE_LEAF, 70, {}, 0).bytes())
                         .raw(node_of("b", ZE_LEAF, 4, {}, 0).bytes())
                         .bytes());

    EXPECT_EQ(tree.m_last_node_id, 70U);
    EXPECT_EQ(Make("c", ZE_LEAF, 0, 0.0)->m_node_id, 71U);
}

TEST_F(zePhysicalTreeRecordsTest, LoadEntersOnlyLeavesInTheFinder) {
    read_whole(tree, Record()
                         .number(3)
                         .raw(node_of("a", ZE_RULE, 1, {}, 0).bytes())
                         .raw(node_of("a", ZE_LEAF, 2, {}, 0).bytes())
                         .raw(node_of("a", ZE_STAT, 3, {}, 0).bytes())
                         .bytes());

    EXPECT_THAT(tree.GetLeafNodes(term("a")), ElementsAre(tree.GetNode(2)));
}

TEST_F(zePhysicalTreeRecordsTest, LoadMakesAnEmptyNodeForAnUnknownChild) {
    read_whole(tree, Record().number(1).raw(node_of("a", ZE_RULE, 1, {8}, 0).bytes()).bytes());

    ASSERT_EQ(tree.GetNode(1)->m_children.size(), 1U);
    const zeNode& missing = *tree.GetNode(1)->m_children.front();
    EXPECT_EQ(missing.m_node_id, 0U);
    EXPECT_TRUE(missing.m_concept.empty());
    EXPECT_EQ(missing.m_parent, nullptr);
    EXPECT_EQ(tree.m_last_node_id, 1U);
    EXPECT_THAT(tree.GetLeafNodes(Concept()), IsEmpty());
}

TEST_F(zePhysicalTreeRecordsTest, LoadMakesAnEmptyNodeForAnUnknownParent) {
    read_whole(tree, Record().number(1).raw(node_of("a", ZE_LEAF, 1, {}, 8).bytes()).bytes());

    ASSERT_NE(tree.GetNode(1)->m_parent, nullptr);
    EXPECT_EQ(tree.GetNode(1)->m_parent->m_node_id, 0U);
    EXPECT_TRUE(tree.GetNode(1)->m_parent->m_concept.empty());
    EXPECT_THAT(tree.GetNode(1)->m_parent->m_children, IsEmpty());
}

// Older versions wrote a missing node as one with the id 0.
TEST_F(zePhysicalTreeRecordsTest, NodesWithoutAnIdBecomeOneThatCannotBeFound) {
    const std::string record = Record()
                                   .number(3)
                                   .raw(node_of("", ZE_LEAF, 0, {}, 0).bytes())
                                   .raw(node_of("", ZE_LEAF, 0, {}, 0).bytes())
                                   .raw(node_of("a", ZE_RULE, 1, {0, 0}, 0).bytes())
                                   .bytes();

    read_whole(tree, record);

    EXPECT_EQ(tree.GetNode(0), nullptr);
    EXPECT_EQ(tree.m_nodes.size(), 2U);
    EXPECT_EQ(tree.GetNode(1)->m_children.size(), 2U);
    EXPECT_THAT(tree.GetLeafNodes(Concept()), IsEmpty());
    EXPECT_EQ(to_hex(dumped_nodes(tree, tree.GetNode(1))),
              to_hex(Record().number(1).raw(node_of("a", ZE_RULE, 1, {}, 0).bytes()).bytes()));
}

TEST_F(zePhysicalTreeRecordsTest, LoadReplacesNodesOfTheSameIdAtTheirAddresses) {
    zeNode* const before = Make("before", ZE_LEAF, 0, 0.0);

    read_whole(tree, Record().number(1).raw(node_of("after", ZE_LEAF, 1, {}, 0).bytes()).bytes());

    EXPECT_EQ(tree.GetNode(1), before);
    EXPECT_EQ(before->m_concept, term("after"));
    EXPECT_THAT(tree.GetLeafNodes(term("before")), IsEmpty());
    EXPECT_THAT(tree.GetLeafNodes(term("after")), ElementsAre(before));
}

TEST_F(zePhysicalTreeRecordsTest, LoadRefusesTwoNodesOfOneId) {
    const Record record = Record()
                              .number(2)
                              .raw(node_of("a", ZE_LEAF, 2, {}, 0).bytes())
                              .raw(node_of("b", ZE_LEAF, 2, {}, 0).bytes());

    EXPECT_QTX_ARGS(read_whole(tree, record.bytes()), zeManager, 4, "Knowledge tree is damaged",
                    {"node ids"});
}

TEST_F(zePhysicalTreeRecordsTest, LoadRefusesAnIdThatLeavesNoIdForNewNodes) {
    const Record record = Record().number(1).raw(node_of("a", ZE_LEAF, 0xFFFFFFFF, {}, 0).bytes());

    EXPECT_QTX_ARGS(read_whole(tree, record.bytes()), zeManager, 4, "Knowledge tree is damaged",
                    {"ids"});
}

TEST_F(zePhysicalTreeRecordsTest, LoadOfACountAboveTheRecordsSizeRaises) {
    EXPECT_SEGBUF_ERROR(read_whole(tree, from_hex("ff ff ff ff")), "Locate error in SegBuf");
    EXPECT_SEGBUF_ERROR(read_whole(tree, from_hex("00 00 00 01"
                                                  "00 00 00 01 61 00 00"
                                                  "00 00 00 00 00 00 00 01"
                                                  "00 00 00 00 00 00 00 00"
                                                  "7f ff ff ff")),
                        "Locate error in SegBuf");
}

TEST_F(zePhysicalTreeRecordsTest, LoadOfACutRecordRaisesTheStreamsError) {
    EXPECT_SEGBUF_ERROR(read_whole(tree, ""), "Locate error in SegBuf");
}

// References.

TEST_F(zePhysicalTreeRecordsTest, ReferenceIsStoredAsAnId) {
    Make("a", ZE_LEAF, 0, 0.0);
    zeNode* const second = Make("b", ZE_LEAF, 0, 0.0);

    EXPECT_EQ(read_reference(manager, from_hex("00 00 00 02"), nullptr), second);
    EXPECT_EQ(read_reference(manager, from_hex("00 00 00 02"), tree.GetNode(1)), second);
    EXPECT_EQ(read_reference(manager, from_hex("00 00 00 00"), nullptr), nullptr);
    EXPECT_EQ(read_reference(manager, from_hex("00 00 00 63"), nullptr), nullptr);
}

// Loading is not recursive, and does not search everything read so far.
TEST_F(zePhysicalTreeRecordsTest, DeepTreeIsReadBackEqual) {
    constexpr unsigned int kDeep = 100000;
    Record record = Record().number(kDeep);
    for (unsigned int id = 1; id < kDeep; ++id) {
        record.raw(node_of("n", ZE_LEAF, id, {id + 1}, id - 1).bytes());
    }
    record.raw(node_of("n", ZE_LEAF, kDeep, {}, kDeep - 1).bytes());

    read_whole(tree, record.bytes());

    EXPECT_TRUE(dumped_nodes(tree, tree.GetNode(1)) == record.bytes());
}

}  // namespace
