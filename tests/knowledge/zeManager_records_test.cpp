// The record that a container writes and reads of itself, without its classifiers.
#include "zandrel/knowledge/zeManager.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/zeIO.h"

#include "tests/knowledge/logical_tree_edits.h"
#include "tests/knowledge/tree_records.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/logical_tree.h"
#include "tests/support/record_bytes.h"
#include "tests/support/stored.h"

namespace {

using testing::ElementsAre;

using Id = unsigned int;

// The part of the record between the trees and the last two fields.
std::string settings_of(const zeManager& manager) {
    return dumped(manager.m_config) + dumped(manager.m_defaults);
}

// A node of the physical record with the name "n" and a threshold of 0.
Record physical_node_of(Id id, unsigned int type, std::initializer_list<Id> children, Id parent) {
    return Record()
        .text("n")
        .byte(0)
        .byte(type)
        .number(0)
        .number(id)
        .real(0.0)
        .numbers(children)
        .number(parent);
}

// A node of the physical record whose classifier has that id.
Record classifier_node_of(Id id, Id classifier_id, std::initializer_list<Id> children, Id parent) {
    return Record()
        .text("n")
        .byte(0)
        .byte(ZE_STAT)
        .number(classifier_id)
        .number(id)
        .real(0.0)
        .numbers(children)
        .number(parent);
}

// A node of the logical record that mirrors the physical node of its id.
Record logical_node_of(Id id, unsigned int type, Id parent, std::initializer_list<Id> children) {
    return Record()
        .number(id)
        .number(id)
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

// A container's record with these nodes.
std::string container_of(const std::vector<Record>& physical, const std::vector<Record>& logical,
                         Id last_object_id, Id root) {
    Record record;
    for (const std::vector<Record>* const nodes : {&physical, &logical}) {
        record.number(static_cast<unsigned int>(nodes->size()));
        for (const Record& node : *nodes) {
            record.raw(node.bytes());
        }
    }
    return record.raw(settings_of(zeManager())).number(last_object_id).number(root).bytes();
}

// Returns both trees as text, without the last id that the logical tree gave. A record does not
// store this id: after reading, it is the greatest id of the nodes that remain.
std::string trees_of(zeManager& manager) {
    const std::string text = DumpLogicalTree(*manager.m_logical_tree);
    return text.substr(text.find('\n')) +
           to_hex(dumped_nodes(*manager.m_physical_tree, manager.m_root));
}

// Dump.

TEST(zeManagerRecordsTest, AnEmptyContainerHasNoNodesAndNoRoot) {
    zeManager manager;

    EXPECT_EQ(to_hex(dumped_container(manager)),
              to_hex(from_hex("00 00 00 00 00 00 00 00") + settings_of(manager) +
                     from_hex("00 00 00 00 00 00 00 00")));
}

TEST(zeManagerRecordsTest, DumpWritesTreesSettingsCounterAndRoot) {
    Edited_container kc;
    kc.Root(ZE_STAT);  // its matcher and storage are the objects 1 and 2
    kc.Add(1, "a");
    kc.manager.m_config.kc_name = "name";
    kc.manager.m_defaults.num_slices = 77;

    EXPECT_EQ(to_hex(dumped_container(kc.manager)),
              to_hex(dumped_nodes(*kc.manager.m_physical_tree, kc.manager.m_root) +
                     dumped_nodes(kc.tree) + settings_of(kc.manager) +
                     from_hex("00 00 00 02 00 00 00 01")));
}

TEST(zeManagerRecordsTest, DumpOfASubtreeKeepsTheLastObjectId) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    const Id top = kc.Add(1, "top", "", ZE_RULE);  // the object 3
    kc.Add(top, "a", "7");
    kc.Add(1, "beside");

    EXPECT_EQ(to_hex(dumped_container(kc.manager, &kc.Node(top))),
              to_hex(dumped_nodes(*kc.manager.m_physical_tree, kc.Physical(top)) +
                     dumped_nodes(kc.tree, top) + settings_of(kc.manager) +
                     from_hex("00 00 00 03 00 00 00 02")));
}

TEST(zeManagerRecordsTest, DumpLeavesTheContainerUnchanged) {
    for (const bool is_modified : {false, true}) {
        SCOPED_TRACE(is_modified);
        Edited_container kc;
        kc.Root(ZE_STAT);
        const Id top = kc.Add(1, "top", "", ZE_RULE);
        kc.manager.m_modified = is_modified;
        const Unchanged unchanged(kc.manager);

        dumped_container(kc.manager);
        dumped_container(kc.manager, &kc.Node(top));
    }
}

// Load.

TEST(zeManagerRecordsTest, LoadOfAnEmptyContainerHasNoRoot) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    zeManager empty;

    read_whole(kc.manager, dumped_container(empty));

    EXPECT_EQ(kc.manager.m_root, nullptr);
    EXPECT_TRUE(kc.tree.nodes.empty());
    EXPECT_TRUE(kc.tree.finder.empty());
    EXPECT_TRUE(kc.manager.m_physical_tree->m_nodes.empty());
    EXPECT_TRUE(kc.manager.m_objects.empty());
    EXPECT_EQ(kc.manager.m_last_object_id, 0U);
}

TEST(zeManagerRecordsTest, LoadReadsTreesSettingsCounterAndRoot) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    kc.Add(1, "a");
    kc.manager.m_config.kc_name = "name";
    kc.manager.m_defaults.num_slices = 77;
    zeManager read;

    read_whole(read, dumped_container(kc.manager));

    EXPECT_EQ(trees_of(read), trees_of(kc.manager));
    EXPECT_EQ(settings_of(read), settings_of(kc.manager));
    EXPECT_EQ(read.m_last_object_id, 2U);
    EXPECT_EQ(read.m_root, read.m_physical_tree->GetNode(1));
    EXPECT_EQ(read.m_root->m_classifier, nullptr) << "classifiers are read apart from the trees";
    EXPECT_TRUE(read.m_objects.empty());
}

TEST(zeManagerRecordsTest, LoadSetsTheStateOfAContainerJustRead) {
    zeManager manager;
    CTProgress progress;
    manager.m_compact = true;
    manager.m_modified = true;
    manager.m_progress = &progress;
    zeManager empty;

    read_whole(manager, dumped_container(empty));

    EXPECT_FALSE(manager.m_compact);
    EXPECT_FALSE(manager.m_modified);
    EXPECT_EQ(manager.m_progress, nullptr);
    EXPECT_FALSE(manager.m_compat55);
    EXPECT_EQ(manager.m_version, 2);
}

TEST(zeManagerRecordsTest, LoadSetsCompatibilityModeForANameOtherThanTheCategory) {
    Edited_container kc;
    kc.manager.m_compat55 = true;
    kc.Root(ZE_STAT);
    kc.tree.GetNodePtr(1)->name = term("own");
    zeManager read;

    read_whole(read, dumped_container(kc.manager));

    EXPECT_TRUE(read.m_compat55);
    EXPECT_EQ(read.m_logical_tree->GetNode(1).name, term("own"));
}

TEST(zeManagerRecordsTest, LoadReplacesThePreviousContents) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    kc.Add(1, "a");
    const std::string record = dumped_container(kc.manager);
    kc.Add(1, "b");
    kc.Add(1, "c", "", ZE_RULE);

    read_whole(kc.manager, record);

    EXPECT_EQ(to_hex(dumped_container(kc.manager)), to_hex(record));
    EXPECT_EQ(kc.tree.finder.size(), 2U);
    EXPECT_EQ(kc.manager.m_physical_tree->m_finder.size(), 1U);
    EXPECT_TRUE(kc.manager.m_objects.empty());
}

TEST(zeManagerRecordsTest, FailedLoadLeavesAnEmptyContainerWithItsSettings) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    kc.manager.m_io = qtPtrLight<zeIO>(new zeIO(&kc.manager));
    const zeIO* const io = kc.manager.m_io.get();
    const std::string settings = settings_of(kc.manager);
    Edited_container other;
    other.manager.m_compat55 = true;
    other.Root(ZE_RULE);
    other.tree.GetNodePtr(1)->name = term("own");
    other.manager.m_config.kc_name = "other";
    other.manager.m_defaults.num_slices = 77;
    std::string record = dumped_container(other.manager);
    record.replace(record.size() - 8, 4, "\xff\xff\xff\xff");  // no object id is left

    EXPECT_QTX_ARGS(read_whole(kc.manager, record), zeManager, 4, "Knowledge tree is damaged",
                    {"ids"});

    EXPECT_EQ(kc.manager.m_root, nullptr);
    EXPECT_TRUE(kc.manager.m_objects.empty());
    EXPECT_TRUE(kc.tree.nodes.empty());
    EXPECT_TRUE(kc.manager.m_physical_tree->m_nodes.empty());
    EXPECT_EQ(kc.manager.m_last_object_id, 0U);
    EXPECT_EQ(kc.manager.m_io.get(), io);
    EXPECT_EQ(settings_of(kc.manager), settings);
    EXPECT_FALSE(kc.manager.m_compat55);
    EXPECT_EQ(kc.Root(ZE_STAT), 1U) << "and may be used anew";
}

TEST(zeManagerRecordsTest, LoadOfACutRecordRaisesTheStreamsError) {
    zeManager manager;

    EXPECT_SEGBUF_ERROR(read_whole(manager, ""), "Locate error in SegBuf");
}

TEST(zeManagerRecordsTest, UnknownRootIsNull) {
    for (const Id root : {0U, 7U, 9U}) {  // only a child reference has the id 9
        SCOPED_TRACE(root);
        zeManager manager;

        read_whole(manager, container_of({physical_node_of(1, ZE_RULE, {9}, 0)},
                                         {logical_node_of(1, ZE_RULE, 0, {})}, 0, root));

        EXPECT_EQ(manager.m_root, nullptr);
    }
}

TEST(zeManagerRecordsTest, RootOfVersion1IsStoredAsAConcept) {
    zeManager manager;
    manager.m_version = 1;

    read_whole(manager, Record()
                            .number(1)
                            .text("top")
                            .byte(1)
                            .byte(ZE_RULE)
                            .number(0)
                            .number(3)
                            .single(0.0F)
                            .texts({})
                            .texts({""})
                            .number(0)
                            .number(0)
                            .raw(settings_of(manager))
                            .number(5)
                            .text("top")
                            .bytes());

    EXPECT_EQ(manager.m_root, manager.m_physical_tree->GetNode(3));
    EXPECT_EQ(manager.m_last_object_id, 5U);
}

// Subtrees as containers of their own.

TEST(zeManagerRecordsTest, RootOfASubtreeHasNoParent) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    const Id top = kc.Add(1, "top", "", ZE_STAT);
    const Id leaf = kc.Add(top, "leaf");
    zeManager read;

    read_whole(read, dumped_container(kc.manager, &kc.Node(top)));

    EXPECT_EQ(read.m_root, read.m_physical_tree->GetNode(2));
    EXPECT_EQ(read.m_root->m_parent, nullptr);
    EXPECT_EQ(read.m_physical_tree->m_nodes.size(), 2U) << "nothing stands for the parent";
    EXPECT_EQ(read.m_root->m_children.front()->m_node_id, kc.Physical(leaf)->m_node_id);
    EXPECT_EQ(read.m_last_object_id, kc.manager.m_last_object_id);
    EXPECT_EQ(read.m_physical_tree->m_last_node_id, 3U);
}

// Three levels of classifiers, with leaves nested below leaves on each.
TEST(zeManagerRecordsTest, EverySubtreeIsReadAsAContainer) {
    Edited_container kc;
    Id above = kc.Root(ZE_STAT);
    std::vector<Id> classifiers = {above};
    for (const char* const level : {"1", "2", "3"}) {
        const std::string suffix = level;
        const Id group = kc.Add(above, "group" + suffix);
        const Id nested = kc.Add(group, "nested" + suffix);
        kc.Add(nested, "deep" + suffix);
        const Id rules = kc.Add(nested, "rules" + suffix, "", ZE_RULE);
        kc.Add(rules, "ruled" + suffix, "7");
        above = kc.Add(rules, "model" + suffix, "default", ZE_STAT);
        classifiers.insert(classifiers.end(), {rules, above});
    }

    for (const Id top : classifiers) {
        SCOPED_TRACE(kc.Node(top).category.c_str());
        const std::string record = dumped_container(kc.manager, &kc.Node(top));
        zeManager read;

        read_whole(read, record);

        zeLogicalTree expected(&kc.manager);
        expected.CopySubTree(kc.tree, top, 0, nullptr);
        EXPECT_EQ(DumpLogicalTree(*read.m_logical_tree), DumpLogicalTree(expected));
        EXPECT_EQ(read.m_physical_tree->m_nodes.size(), expected.nodes.size());
        EXPECT_EQ(read.m_root->m_parent, nullptr);
        ExpectNoDanglingPointers(read);
        const std::string again = dumped_container(read);
        zeManager read_again;
        read_whole(read_again, again);
        EXPECT_EQ(to_hex(dumped_container(read_again)), to_hex(again));
        const std::size_t parent_at = again.size() - record.size();
        EXPECT_EQ(parent_at, 0U) << "they differ in the parent of the root alone";
    }
}

// Records that no container writes.

struct Damaged_record {
    const char* claim;
    std::vector<Record> physical;
    std::vector<Record> logical;
    Id root;
    const char* what;
};

TEST(zeManagerRecordsTest, LoadRefusesARecordThatIsNotATree) {
    const Damaged_record rows[] = {
        {"a circle of children",
         {physical_node_of(1, ZE_RULE, {2}, 0), physical_node_of(2, ZE_RULE, {1}, 1)},
         {},
         0,
         "children"},
        {"a node that is its own child", {physical_node_of(1, ZE_RULE, {1}, 0)}, {}, 0, "children"},
        {"a child of two",
         {physical_node_of(1, ZE_RULE, {2, 3}, 0), physical_node_of(2, ZE_RULE, {3}, 1),
          physical_node_of(3, ZE_LEAF, {}, 1)},
         {},
         1,
         "children"},
        {"a child twice",
         {physical_node_of(1, ZE_RULE, {2, 2}, 0), physical_node_of(2, ZE_LEAF, {}, 1)},
         {},
         1,
         "children"},
        {"a circle of parents",
         {physical_node_of(1, ZE_RULE, {}, 2), physical_node_of(2, ZE_RULE, {}, 1)},
         {},
         0,
         "children"},
        {"a root below another node",
         {physical_node_of(1, ZE_RULE, {2}, 0), physical_node_of(2, ZE_RULE, {}, 1)},
         {},
         2,
         "root"},
        {"a root whose mirror can be deleted",
         {physical_node_of(1, ZE_RULE, {}, 0), physical_node_of(2, ZE_LEAF, {}, 0)},
         {logical_node_of(1, ZE_RULE, 0, {2}), logical_node_of(2, ZE_LEAF, 1, {})},
         2,
         "root"},
        {"a logical child of two",
         {},
         {logical_node_of(1, ZE_RULE, 0, {2, 3}), logical_node_of(2, ZE_LEAF, 1, {3}),
          logical_node_of(3, ZE_LEAF, 1, {})},
         0,
         "logical children"},
        {"a circle of a list and a parent",
         {},
         {logical_node_of(1, ZE_RULE, 2, {2}), logical_node_of(2, ZE_LEAF, 0, {})},
         0,
         "logical children"},
    };

    for (const Damaged_record& row : rows) {
        SCOPED_TRACE(row.claim);
        zeManager manager;

        EXPECT_QTX_ARGS(read_whole(manager, container_of(row.physical, row.logical, 0, row.root)),
                        zeManager, 4, "Knowledge tree is damaged", {row.what});
        EXPECT_TRUE(manager.m_physical_tree->m_nodes.empty());
    }
}

// A deleted node is removed from the list of its parent. So the parent must be the node that lists
// it.
TEST(zeManagerRecordsTest, ListsOfChildrenDecideTheParents) {
    zeManager manager;

    read_whole(manager,
               container_of({physical_node_of(1, ZE_RULE, {2, 3}, 0),
                             physical_node_of(2, ZE_RULE, {}, 0),   // names no parent
                             physical_node_of(3, ZE_LEAF, {}, 2),   // names another parent
                             physical_node_of(4, ZE_LEAF, {}, 2)},  // is in no list of children
                            {logical_node_of(1, ZE_RULE, 0, {2, 3, 77}),  // lists an unknown node
                             logical_node_of(2, ZE_RULE, 0, {}), logical_node_of(3, ZE_LEAF, 2, {}),
                             logical_node_of(4, ZE_LEAF, 2, {}),
                             logical_node_of(5, ZE_LEAF, 88, {})},  // names an unknown parent
                            0, 1));

    zePhysicalTree& physical = *manager.m_physical_tree;
    EXPECT_EQ(physical.GetNode(2)->m_parent, physical.GetNode(1));
    EXPECT_EQ(physical.GetNode(3)->m_parent, physical.GetNode(1));
    EXPECT_EQ(physical.GetNode(4)->m_parent, physical.GetNode(2));
    EXPECT_THAT(physical.GetNode(2)->m_children, ElementsAre(physical.GetNode(4)));
    const zeLogicalTree& logical = *manager.m_logical_tree;
    EXPECT_THAT(logical.GetNode(1).children, ElementsAre(2U, 3U));
    EXPECT_EQ(logical.GetNode(2).parent, 1U);
    EXPECT_EQ(logical.GetNode(3).parent, 1U);
    EXPECT_THAT(logical.GetNode(2).children, ElementsAre(4U));
    EXPECT_EQ(logical.GetNode(5).parent, 0U);
}

TEST(zeManagerRecordsTest, MissingNodesAreNotWrittenAndSavingAgainGivesSameBytes) {
    zeManager manager;
    read_whole(manager,
               container_of(
                   {physical_node_of(1, ZE_RULE, {8, 2, 9, 3}, 7),
                    physical_node_of(2, ZE_RULE, {9, 10}, 1), physical_node_of(3, ZE_LEAF, {}, 1)},
                   {logical_node_of(1, ZE_RULE, 0, {2, 3}), logical_node_of(2, ZE_RULE, 1, {}),
                    logical_node_of(3, ZE_LEAF, 1, {})},
                   0, 1));

    const std::string saved = dumped_container(manager);

    const std::string trees = Record()
                                  .number(3)
                                  .raw(physical_node_of(1, ZE_RULE, {2, 3}, 0).bytes())
                                  .raw(physical_node_of(2, ZE_RULE, {}, 1).bytes())
                                  .raw(physical_node_of(3, ZE_LEAF, {}, 1).bytes())
                                  .bytes();
    EXPECT_EQ(to_hex(saved.substr(0, trees.size())), to_hex(trees));
    zeManager read;
    read_whole(read, saved);
    EXPECT_EQ(to_hex(dumped_container(read)), to_hex(saved));
}

// The node 3 is missing, and its id follows the last one of the record.
TEST(zeManagerRecordsTest, NewNodeDoesNotGetTheIdOfAMissingNode) {
    zeManager manager;
    read_whole(manager, container_of({physical_node_of(1, ZE_RULE, {2, 3}, 0),
                                      physical_node_of(2, ZE_LEAF, {}, 1)},
                                     {}, 1, 1));

    zeNode* const made = manager.m_physical_tree->MakeNode(term("new"), ZE_LEAF, 0, 0.0);

    EXPECT_EQ(made->m_node_id, 4U);
    EXPECT_EQ(manager.m_root->m_children.size(), 2U);
}

// The missing node has a great id. The container with the new node can be read again.
TEST(zeManagerRecordsTest, GreatIdOfAMissingNodeDoesNotChangeTheNextId) {
    zeManager manager;
    read_whole(manager, container_of({physical_node_of(1, ZE_RULE, {0xFEFFFFFFU, 2}, 0),
                                      physical_node_of(2, ZE_LEAF, {}, 1)},
                                     {}, 1, 1));

    zeNode* const made = manager.m_physical_tree->MakeNode(term("new"), ZE_LEAF, 0, 0.0);

    EXPECT_EQ(made->m_node_id, 3U);
}

// The node 2 lists the leaf 3 too. But the node 2 is not below the root, so it is not written.
TEST(zeManagerRecordsTest, LeafInSeveralListsGetsParentBelowRoot) {
    const std::string damaged = Record()
                                    .number(3)
                                    .raw(classifier_node_of(1, 1, {3}, 0).bytes())
                                    .raw(classifier_node_of(2, 2, {3}, 0).bytes())
                                    .raw(physical_node_of(3, ZE_LEAF, {}, 2).bytes())
                                    .number(0)
                                    .raw(settings_of(zeManager()))
                                    .number(2)
                                    .number(1)
                                    .bytes();
    zeManager manager;
    read_whole(manager, damaged);
    EXPECT_EQ(manager.m_physical_tree->GetNode(3)->m_parent, manager.m_root);

    const std::string saved = dumped_container(manager);

    zeManager read;
    read_whole(read, saved);
    EXPECT_EQ(read.m_physical_tree->m_nodes.size(), 2U);
    EXPECT_EQ(to_hex(dumped_container(read)), to_hex(saved));
}

// The node 2 is not below the root, so it is not written.
TEST(zeManagerRecordsTest, ParentThatIsNotWrittenIsNotNamed) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    kc.Add(1, "a");
    zeNode* const outside = kc.manager.m_physical_tree->MakeNode(term("outside"), ZE_LEAF, 0, 0.0);
    const std::string before = dumped_container(kc.manager);
    kc.manager.m_root->m_parent = outside;

    EXPECT_EQ(to_hex(dumped_container(kc.manager)), to_hex(before));
}

// A mirrored deletion leaves a child that names the deleted node. After a load, a new node may get
// that node's id.
TEST(zeManagerRecordsTest, ChildOfADeletedNodeIsReadAsChildOfTheNodeThatListsIt) {
    Edited_container kc;
    kc.Root(ZE_STAT);
    const Id child = kc.Add(1, "child");
    const Id gone = kc.Add(1, "gone");
    kc.tree.MoveLogicalNode(child, gone);
    kc.tree.KCE_Delete(kc.Physical(gone));
    ASSERT_EQ(kc.Node(child).parent, gone);
    zeManager read;

    read_whole(read, dumped_container(kc.manager));

    EXPECT_EQ(read.m_logical_tree->next_id, child);
    EXPECT_EQ(read.m_logical_tree->GetNode(child).parent, 1U);
    EXPECT_THAT(read.m_logical_tree->GetNode(1).children, ElementsAre(child));
}

// Trees after many edits.

TEST(zeManagerRecordsTest, RandomTreeIsReadBackEqual) {
    constexpr unsigned int kTrees = 60;
    for (unsigned int seed = 0; seed < kTrees; ++seed) {
        Random_edits edits(seed, seed % 2 == 1, 5 + seed);
        for (int edit = 0; edit < 200; ++edit) {
            ASSERT_TRUE(edits.Step()) << edits.Problem();
        }
        const std::string record = dumped_container(edits.Manager());
        zeManager read;

        read_whole(read, record);

        ASSERT_EQ(to_hex(dumped_container(read)), to_hex(record)) << "seed " << seed;
        EXPECT_EQ(trees_of(read), trees_of(edits.Manager())) << "seed " << seed;
    }
}

TEST(zeManagerRecordsTest, DeepContainerIsReadBackEqual) {
    constexpr Id kDeep = 100000;
    std::vector<Record> physical = {physical_node_of(1, ZE_STAT, {}, 0)};
    std::vector<Record> logical = {logical_node_of(1, ZE_STAT, 0, {2})};
    for (Id id = 2; id <= kDeep; ++id) {
        physical.push_back(physical_node_of(id, ZE_LEAF, {}, 1));
        logical.push_back(id < kDeep ? logical_node_of(id, ZE_LEAF, id - 1, {id + 1})
                                     : logical_node_of(id, ZE_LEAF, id - 1, {}));
    }
    const std::string record = container_of(physical, logical, 0, 1);
    zeManager manager;

    read_whole(manager, record);

    const std::string again = dumped_container(manager);
    EXPECT_EQ(manager.m_root->m_children.size(), kDeep - 1) << "they name their parent";
    zeManager read_again;
    read_whole(read_again, again);
    EXPECT_TRUE(dumped_container(read_again) == again);
}

}  // namespace
