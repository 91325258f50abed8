// The records of the logical tree, byte by byte.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/knowledge/tree_records.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/logical_tree.h"
#include "tests/support/record_bytes.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zeLogicalTreeRecordsTest : public testing::Test {
protected:
    // A leaf that only the physical tree has.
    zeNode* Leaf(const char* name) {
        return manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, 0, 0.0);
    }

    zeManager manager;
    zeLogicalTree& tree = *manager.m_logical_tree;
};

// A node of the record whose category is "n" and whose other fields are empty.
Record node_of(unsigned int id, unsigned int physical, unsigned int type, unsigned int parent,
               std::initializer_list<unsigned int> children) {
    return Record()
        .number(id)
        .number(physical)
        .byte(type)
        .number(parent)
        .numbers(children)
        .text("n")
        .text("")
        .text("")
        .byte(0)
        .real(0.0)
        .text("")
        .text("");
}

// Dump.

TEST_F(zeLogicalTreeRecordsTest, DumpOfAnEmptyTreeIsACountOfZero) {
    EXPECT_EQ(to_hex(dumped_nodes(tree)), "00 00 00 00");
}

TEST_F(zeLogicalTreeRecordsTest, DumpWritesTheFieldsInOrder) {
    zeLogicalNode root = node_to_add(0, "ab", "", ZE_RULE);
    root.attributes = 1;
    root.threshold = 0.5;
    root.note1 = "x";
    tree.AddLogicalNode(root);
    zeLogicalNode leaf = node_to_add(1, "c", "7");
    leaf.attributes = 2;
    leaf.threshold = -2.0;
    leaf.note2 = "yz";
    tree.AddLogicalNode(leaf);

    EXPECT_EQ(to_hex(dumped_nodes(tree)),
              "00 00 00 02 "              // nodes
              "00 00 00 01 00 00 00 01 "  // its id and the id of the physical node
              "01 "                       // type
              "00 00 00 00 "              // no parent
              "00 00 00 01 00 00 00 02 "  // one child
              "00 00 00 02 61 62 "        // category "ab"
              "00 00 00 00 "              // the same name
              "00 00 00 00 "              // no rule
              "01 "                       // attributes
              "3f e0 00 00 00 00 00 00 "  // 0.5
              "00 00 00 01 78 "           // "x"
              "00 00 00 00 "
              "00 00 00 02 00 00 00 02 "
              "00 "
              "00 00 00 01 "
              "00 00 00 00 "
              "00 00 00 01 63 "  // category "c"
              "00 00 00 00 "
              "00 00 00 01 37 "  // rule "7"
              "02 "
              "c0 00 00 00 00 00 00 00 "  // -2
              "00 00 00 00 "
              "00 00 00 02 79 7a");  // "yz"
}

TEST_F(zeLogicalTreeRecordsTest, DumpWritesANameOtherThanTheCategory) {
    manager.m_compat55 = true;
    zeLogicalNode root = node_to_add(0, "ab", "", ZE_STAT);
    root.name = term("c");
    tree.AddLogicalNode(root);

    EXPECT_EQ(to_hex(dumped_nodes(tree).substr(21, 11)), "00 00 00 02 61 62 00 00 00 01 63");
}

TEST_F(zeLogicalTreeRecordsTest, DumpWritesNodesByAscendingIdAndChildrenInTheirOrder) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    for (const char* const category : {"n2", "n3", "n4"}) {
        kc.Add(1, category);
    }
    kc.tree.DelLogicalNode(2, true);  // The last child moves into its place.

    const std::string record = dumped_nodes(kc.tree);

    // A node without its texts takes 46 bytes, and each child 4.
    EXPECT_EQ(to_hex(record.substr(4, 4)), "00 00 00 01");
    EXPECT_EQ(to_hex(record.substr(17, 12)), "00 00 00 02 00 00 00 04 00 00 00 03");
    EXPECT_EQ(to_hex(record.substr(4 + 46 + 8 + 4, 4)), "00 00 00 03");
    EXPECT_EQ(to_hex(record.substr(4 + 46 + 8 + 4 + 46 + 2, 4)), "00 00 00 04");
}

TEST_F(zeLogicalTreeRecordsTest, DumpOfASubtreeIsATreeByItself) {
    Edited_container kc;
    kc.Root(ZE_STAT);                                       // 1, physical 1
    kc.Add(1, "n2");                                        // 2, physical 2
    const unsigned int top = kc.Add(1, "n3", "", ZE_RULE);  // 3, physical 3
    const unsigned int second = kc.Add(top, "n4", "7");     // 4, physical 4
    kc.Add(top, "n5", "8");                                 // 5, physical 5
    kc.Add(second, "n6");                                   // 6, physical 6

    const std::string record = dumped_nodes(kc.tree, top);

    EXPECT_EQ(
        to_hex(record.substr(0, 29)),
        "00 00 00 04 "
        "00 00 00 01 00 00 00 03 01 00 00 00 00 "  // id 1, physical 3, rule node, no parent
        "00 00 00 02 00 00 00 02 00 00 00 04");    // the node that was 5 comes after the child of 4
    EXPECT_EQ(kc.tree.nodes.size(), 6U) << "the copy is gone";
    EXPECT_EQ(kc.tree.next_id, 6U);
}

TEST_F(zeLogicalTreeRecordsTest, DumpOfTheRootIsTheWholeTree) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    const unsigned int gone = kc.Add(1, "a");
    kc.Add(1, "b");
    kc.tree.DelLogicalNode(gone, true);

    EXPECT_EQ(to_hex(dumped_nodes(kc.tree, 1)), to_hex(dumped_nodes(kc.tree, 0)));
}

TEST_F(zeLogicalTreeRecordsTest, DumpConvertsTexts) {
    zeLogicalNode root = node_to_add(0, "a", "", ZE_STAT);
    root.note1 = "b";
    tree.AddLogicalNode(root);
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    io.converter = [](const qtString& text, void*) { return text.empty() ? text : text + "!"; };

    tree.Dump(io, 0);

    EXPECT_EQ(to_hex(bytes_of(record).substr(21, 6)), "00 00 00 02 61 21");
    EXPECT_EQ(to_hex(bytes_of(record).substr(44, 6)), "00 00 00 02 62 21");
}

// Load.

TEST_F(zeLogicalTreeRecordsTest, LoadReadsTheFieldsInOrder) {
    Leaf("other");
    zeNode* const physical = Leaf("ab");

    read_whole(tree, from_hex("00 00 00 01"
                              "00 00 00 05 00 00 00 02"
                              "02"
                              "00 00 00 03"
                              "00 00 00 02 00 00 00 08 00 00 00 09"
                              "00 00 00 02 61 62"
                              "00 00 00 01 63"
                              "00 00 00 01 37"
                              "03"
                              "3f e0 00 00 00 00 00 00"
                              "00 00 00 01 78"
                              "00 00 00 02 79 7a"));

    const zeLogicalNode& node = tree.GetNode(5);
    EXPECT_EQ(node.id, 5U);
    EXPECT_EQ(node.physical_node, physical);
    EXPECT_EQ(node.type, ZE_STAT);
    EXPECT_EQ(node.parent, 3U);
    EXPECT_THAT(node.children, ElementsAre(8U, 9U));
    EXPECT_EQ(node.category, term("ab"));
    EXPECT_EQ(node.name, term("c"));
    EXPECT_EQ(node.rule, qtString("7"));
    EXPECT_EQ(node.attributes, 3);
    EXPECT_EQ(node.threshold, 0.5);
    EXPECT_EQ(node.note1, qtString("x"));
    EXPECT_EQ(node.note2, qtString("yz"));
    EXPECT_EQ(&tree.FindCategory(physical), &node);
    EXPECT_EQ(tree.next_id, 5U);
}

TEST_F(zeLogicalTreeRecordsTest, NameOtherThanTheCategorySetsCompatibilityMode) {
    const struct {
        const char* name;
        bool is_compat55;
        const char* read_as;
    } rows[] = {{"", false, "a"}, {"a", false, "a"}, {"b", true, "b"}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        zeManager fresh;

        read_whole(*fresh.m_logical_tree, Record()
                                              .number(1)
                                              .number(1)
                                              .number(0)
                                              .byte(ZE_STAT)
                                              .number(0)
                                              .numbers({})
                                              .text("a")
                                              .text(row.name)
                                              .text("")
                                              .byte(0)
                                              .real(0.0)
                                              .text("")
                                              .text("")
                                              .bytes());

        EXPECT_EQ(fresh.m_compat55, row.is_compat55);
        EXPECT_EQ(fresh.m_logical_tree->GetNode(1).name, term(row.read_as));
    }
}

TEST_F(zeLogicalTreeRecordsTest, LoadKeepsCompatibilityMode) {
    manager.m_compat55 = true;

    read_whole(tree, from_hex("00 00 00 00"));

    EXPECT_TRUE(manager.m_compat55);
}

TEST_F(zeLogicalTreeRecordsTest, LoadSetsTheLastIdToTheHighestId) {
    tree.next_id = 99;

    read_whole(tree, Record()
                         .number(2)
                         .raw(node_of(70, 0, ZE_LEAF, 0, {}).bytes())
                         .raw(node_of(4, 0, ZE_LEAF, 0, {}).bytes())
                         .bytes());

    EXPECT_EQ(tree.next_id, 70U);
}

TEST_F(zeLogicalTreeRecordsTest, LoadMakesALeafForAMissingPhysicalNode) {
    read_whole(tree, Record()
                         .number(1)
                         .number(1)
                         .number(6)
                         .byte(ZE_LEAF)
                         .number(0)
                         .numbers({})
                         .text("a")
                         .text("")
                         .text("")
                         .byte(2)
                         .real(0.25)
                         .text("")
                         .text("")
                         .bytes());

    zeNode* const made = manager.m_physical_tree->GetNode(6);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(tree.GetNode(1).physical_node, made);
    EXPECT_EQ(made->m_node_id, 6U);
    EXPECT_EQ(made->m_concept, term("a"));
    EXPECT_EQ(made->m_flags, 2);
    EXPECT_EQ(made->m_threshold, 0.25);
    EXPECT_EQ(made->m_parent, nullptr);
    EXPECT_THAT(manager.m_physical_tree->GetLeafNodes(term("a")), ElementsAre(made));
    EXPECT_EQ(manager.m_physical_tree->m_last_node_id, 6U);
}

TEST_F(zeLogicalTreeRecordsTest, LoadFillsTheEmptyNodeThatAnotherNodeRefersTo) {
    read_whole(*manager.m_physical_tree, Record()
                                             .number(1)
                                             .text("top")
                                             .byte(0)
                                             .byte(ZE_RULE)
                                             .number(1)
                                             .number(1)
                                             .real(0.0)
                                             .numbers({6})
                                             .number(0)
                                             .bytes());

    read_whole(tree, Record().number(1).raw(node_of(1, 6, ZE_LEAF, 0, {}).bytes()).bytes());

    zeNode* const filled = manager.m_physical_tree->GetNode(6);
    EXPECT_EQ(filled->m_node_id, 6U);
    EXPECT_EQ(filled->m_concept, term("n"));
    EXPECT_THAT(manager.m_physical_tree->GetNode(1)->m_children, ElementsAre(filled));
}

TEST_F(zeLogicalTreeRecordsTest, LoadGivesANewIdIfThePhysicalNodeHasNone) {
    Leaf("other");

    read_whole(tree, Record().number(1).raw(node_of(1, 0, ZE_LEAF, 0, {}).bytes()).bytes());

    EXPECT_EQ(tree.GetNode(1).physical_node, manager.m_physical_tree->GetNode(2));
}

TEST_F(zeLogicalTreeRecordsTest, LoadReplacesNodesOfTheSameId) {
    zeNode* const before = Leaf("before");
    zeNode* const after = Leaf("after");
    tree.KCE_Add(before, nullptr);

    read_whole(tree, Record().number(1).raw(node_of(1, 2, ZE_LEAF, 0, {}).bytes()).bytes());

    EXPECT_EQ(tree.FindCategory(before).id, 0U);
    EXPECT_EQ(tree.FindCategory(after).id, 1U);
}

// Damage.

TEST_F(zeLogicalTreeRecordsTest, LoadRefusesARecordThatIsNotATree) {
    const struct {
        const char* claim;
        std::vector<Record> nodes;
        const char* what;
    } rows[] = {
        {"one id twice",
         {node_of(2, 0, ZE_LEAF, 0, {}), node_of(2, 0, ZE_LEAF, 0, {})},
         "logical ids"},
        {"the id of no node", {node_of(0, 0, ZE_LEAF, 0, {})}, "logical ids"},
        {"no id left", {node_of(0xFFFFFFFF, 0, ZE_LEAF, 0, {})}, "ids"},
        {"no physical id left", {node_of(1, 0xFFFFFFFF, ZE_LEAF, 0, {})}, "ids"},
        {"two mirrors of one node",
         {node_of(1, 5, ZE_LEAF, 0, {}), node_of(2, 5, ZE_LEAF, 0, {})},
         "mirrored nodes"},
        {"a node below itself", {node_of(1, 0, ZE_LEAF, 0, {1})}, "logical children"},
        {"a circle downwards",
         {node_of(1, 0, ZE_LEAF, 0, {2}), node_of(2, 0, ZE_LEAF, 1, {1})},
         "logical children"},
        {"a node above itself", {node_of(1, 0, ZE_LEAF, 1, {})}, "logical parents"},
        {"a circle upwards",
         {node_of(1, 0, ZE_LEAF, 2, {}), node_of(2, 0, ZE_LEAF, 1, {})},
         "logical parents"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.claim);
        zeManager fresh;
        Record record = Record().number(static_cast<unsigned int>(row.nodes.size()));
        for (const Record& node : row.nodes) {
            record.raw(node.bytes());
        }

        EXPECT_QTX_ARGS(read_whole(*fresh.m_logical_tree, record.bytes()), zeManager, 4,
                        "Knowledge tree is damaged", {row.what});
    }
}

TEST_F(zeLogicalTreeRecordsTest, LoadOfACountAboveTheRecordsSizeRaises) {
    EXPECT_SEGBUF_ERROR(read_whole(tree, from_hex("ff ff ff ff")), "Locate error in SegBuf");
    EXPECT_SEGBUF_ERROR(read_whole(tree, from_hex("00 00 00 01"
                                                  "00 00 00 01 00 00 00 00 00 00 00 00 00"
                                                  "7f ff ff ff")),
                        "Locate error in SegBuf");
}

TEST_F(zeLogicalTreeRecordsTest, LoadOfACutRecordRaisesTheStreamsError) {
    EXPECT_SEGBUF_ERROR(read_whole(tree, ""), "Locate error in SegBuf");
}

// The leaves are nested in the logical tree; their physical nodes are all children of one node.
TEST_F(zeLogicalTreeRecordsTest, DeepTreeIsReadBackEqual) {
    constexpr unsigned int kDeep = 100000;
    Record record = Record().number(kDeep).raw(node_of(1, 1, ZE_STAT, 0, {2}).bytes());
    for (unsigned int id = 2; id < kDeep; ++id) {
        record.raw(node_of(id, id, ZE_LEAF, id - 1, {id + 1}).bytes());
    }
    record.raw(node_of(kDeep, kDeep, ZE_LEAF, kDeep - 1, {}).bytes());
    Record physical = Record().number(kDeep);
    for (unsigned int id = 1; id <= kDeep; ++id) {
        physical.text("n" + std::to_string(id))
            .byte(0)
            .byte(id == 1 ? ZE_STAT : ZE_LEAF)
            .number(0)
            .number(id)
            .real(0.0)
            .numbers({})
            .number(0);
    }
    read_whole(*manager.m_physical_tree, physical.bytes());

    read_whole(tree, record.bytes());

    EXPECT_TRUE(dumped_nodes(tree) == record.bytes());
    EXPECT_EQ(dumped_nodes(tree, 2).size(),
              record.bytes().size() - node_of(1, 1, 0, 0, {2}).bytes().size());
}

}  // namespace
