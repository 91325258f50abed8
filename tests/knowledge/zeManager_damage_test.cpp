// Damaged records of a container. Either the load raises an error, or the loaded trees can be
// traversed, edited and written again.
#include "zandrel/knowledge/zeManager.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/knowledge/tree_records.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"
#include "tests/support/record_bytes.h"
#include "tests/support/record_damage.h"

namespace {

using Id = unsigned int;

// A statistical root with nested leaves, a rule node and a model below that.
std::string small_container() {
    Edited_container kc;
    kc.Root(ZE_STAT);
    const Id group = kc.Add(1, "g");
    kc.Add(group, "a");
    const Id rules = kc.Add(group, "r", "", ZE_RULE);
    kc.Add(rules, "b", "7");
    const Id model = kc.Add(rules, "m", "default", ZE_STAT);
    kc.Add(model, "c");
    return dumped_container(kc.manager);
}

// The same trees in version 1; one leaf has two parents.
std::string small_container_v1() {
    const std::string empty = dumped_container(*std::make_unique<zeManager>());
    return Record()
        .number(4)
        .raw(physical_node_v1("r", ZE_STAT, 1, {"p", "q"}, {}).bytes())
        .raw(physical_node_v1("p", ZE_STAT, 2, {"l"}, {"r"}).bytes())
        .raw(physical_node_v1("q", ZE_STAT, 3, {"l"}, {"r"}).bytes())
        .raw(physical_node_v1("l", ZE_LEAF, 4, {}, {"p", "q"}).bytes())
        .number(0)
        .number(5)
        .raw(logical_node_v1(1, ZE_STAT, 0, {2, 3}, "r").bytes())
        .raw(logical_node_v1(2, ZE_STAT, 1, {4}, "p").bytes())
        .raw(logical_node_v1(3, ZE_STAT, 1, {5}, "q").bytes())
        .raw(logical_node_v1(4, ZE_LEAF, 2, {}, "l").bytes())
        .raw(logical_node_v1(5, ZE_LEAF, 3, {}, "l").bytes())
        .raw(std::string_view(empty).substr(8, empty.size() - 16))  // the settings
        .number(6)
        .text("r")
        .bytes();
}

// True if a damaged record may be refused with this error.
bool is_error_of_damage(const qtxAll& raised) {
    const std::string text = raised.what();
    return text == "Knowledge tree is damaged" || text == "Locate error in SegBuf" ||
           text == "inserted.m_classifier_type == ZE_LEAF" || text.starts_with("Damaged item: ");
}

// Returns true if the record loads.
bool load_damaged(zeManager& manager, SegBuf& record, unsigned int start) {
    Hio<HSegment> io(new HSegment(record, 'r'));
    io.device->Seek(static_cast<int>(start));
    const Allocation_meter meter;
    bool is_loaded = true;
    try {
        manager.Load(io);
    } catch (const qtxAll& raised) {
        EXPECT_TRUE(is_error_of_damage(raised)) << raised.what();
        is_loaded = false;
    }
    EXPECT_LT(meter.bytes(), kMostForDamage);
    return is_loaded;
}

void walk(zeManager& manager) {
    hash_set<zeNode*, zePointer_hash> nodes;
    for (auto& [id, node] : manager.m_physical_tree->m_nodes) {
        node.get_subtree(nodes);
        for (const zeNode* above = &node; above != nullptr; above = above->m_parent) {
        }
    }
    EXPECT_LE(nodes.size(), manager.m_physical_tree->m_nodes.size());
    const zeLogicalTree& tree = *manager.m_logical_tree;
    for (const auto& [id, node] : tree.nodes) {
        qtString path;
        tree.GetNodePath(id, path);
        std::vector<zeLogicalNode*> sons;
        tree.GatherSons(&node, sons);
        EXPECT_LT(sons.size(), tree.nodes.size());
        EXPECT_EQ(&tree.FindCategory(node.physical_node), &node);
    }
}

// Gives each node whose type requires a classifier a classifier like the one that its record would
// contain. The settings are reset to their defaults, since only the trees are tested.
void add_classifiers(zeManager& manager) {
    manager.m_defaults = zeDefaults();
    std::vector<zeNode*> nodes;
    for (auto& [id, node] : manager.m_physical_tree->m_nodes) {
        if (node.m_classifier_type == ZE_RULE || node.m_classifier_type == ZE_STAT) {
            nodes.push_back(&node);
        }
    }
    for (zeNode* const node : nodes) {
        zeClassifier* const made = manager.AddClassifier(node, node->m_classifier_type);
        for (zeNode* child : node->m_children) {
            if (auto* const matcher = dynamic_cast<zeStat_matcher*>(made)) {
                bool is_added = false;
                matcher->m_storage->get_or_add_profile(child, is_added);
            } else {
                dynamic_cast<zeSwitcher*>(made)->m_rules.try_emplace(child, "7");
            }
        }
    }
}

// Does an edit, which may raise an error.
template <class Edit>
void try_edit(Edit&& edit) {
    try {
        edit();
    } catch (const qtxAll&) {
        // Any error is allowed here. The caller checks the state that it leaves.
    }
}

// Tries to add a child to each node, to change the node and to move it, in an order that depends on
// `turn`. Then tries to delete each node.
void edit_everywhere(zeManager& manager, Id turn) {
    zeLogicalTree& tree = *manager.m_logical_tree;
    std::vector<Id> ids;
    for (const auto& [id, node] : tree.nodes) {
        ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    if (!ids.empty()) {
        const auto middle = static_cast<std::ptrdiff_t>(turn % ids.size());
        std::rotate(ids.begin(), ids.begin() + middle, ids.end());
    }
    for (const Id id : ids) {
        try_edit([&] {
            zeLogicalNode added = node_to_add(id, "new" + std::to_string(id), turn % 2 ? "7" : "");
            tree.AddLogicalNode(added);
        });
        try_edit([&] {
            zeLogicalNode changed = tree.GetNode(id);
            changed.type = changed.type == ZE_LEAF ? ZE_STAT : ZE_LEAF;
            tree.ChangeLogicalNode(changed);
        });
        try_edit([&] { tree.MoveLogicalNode(id, ids.at((id + turn) % ids.size())); });
        ExpectNoDanglingPointers(manager);
        walk(manager);
    }
    for (const Id id : ids) {
        try_edit([&] { tree.DelLogicalNode(id, true); });
        ExpectNoDanglingPointers(manager);
        try_edit([&] {
            zeNode* const physical = tree.GetNode(id).physical_node;
            if (physical != nullptr) {
                tree.KCE_Delete(physical);
            }
        });
        ExpectNoDanglingPointers(manager);
    }
}

// Checks that the container's record can be read again. After edits, reading may repair links.
// Without edits, the container that was read must be written as the same bytes.
void expect_stable(zeManager& manager, bool is_edited) {
    const std::string record = dumped_container(manager);
    zeManager read;
    read_whole(read, record);
    if (!is_edited) {
        EXPECT_EQ(to_hex(dumped_container(read)), to_hex(record));
    }
    EXPECT_EQ(read.m_physical_tree->m_nodes.size() == 0,
              manager.m_root == nullptr && read.m_logical_tree->nodes.empty());
    walk(read);
}

// Checks that a record is either refused and leaves nothing behind, or has trees that stay sound
// when they are edited. Returns whether the record loads.
bool expect_error_or_sound_trees(unsigned short version, SegBuf& record, unsigned int start,
                                 Id turn) {
    zeManager manager;
    manager.m_version = version;
    if (!load_damaged(manager, record, start)) {
        EXPECT_TRUE(manager.m_physical_tree->m_nodes.empty());
        EXPECT_TRUE(manager.m_logical_tree->nodes.empty());
        EXPECT_EQ(manager.m_root, nullptr);
        return false;
    }
    ExpectNoDanglingPointers(manager);
    walk(manager);
    expect_stable(manager, false);
    add_classifiers(manager);
    edit_everywhere(manager, turn);
    expect_stable(manager, true);
    return true;
}

void expect_changes_are_safe(unsigned short version, const std::string& bytes) {
    std::size_t loaded_count = 0;
    std::size_t change_count = 0;
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        for (const unsigned int mask : {1U, 2U, 4U, 8U, 16U, 32U, 64U, 128U, 255U}) {
            SCOPED_TRACE(testing::Message() << "byte " << position << ", mask " << mask);
            std::string damaged = bytes;
            damaged[position] = static_cast<char>(static_cast<unsigned char>(damaged[position]) ^
                                                  static_cast<unsigned char>(mask));
            SegBuf record = record_of(damaged);
            ++change_count;
            loaded_count += expect_error_or_sound_trees(version, record, 0,
                                                        static_cast<Id>(position * 7 + mask));
        }
    }
    EXPECT_GT(loaded_count, change_count / 10);
    EXPECT_LT(loaded_count, change_count);
}

// Replaces the four bytes at each position by the id of each node and by ids that no node has.
void expect_references_are_safe(unsigned short version, const std::string& bytes,
                                std::size_t tree_size) {
    for (std::size_t position = 0; position + 4 <= tree_size; ++position) {
        for (const Id value : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 100U, 0xFFFFFFFEU}) {
            SCOPED_TRACE(testing::Message() << "number " << value << " at " << position);
            std::string damaged = bytes;
            damaged.replace(position, 4, Record().number(value).bytes());
            SegBuf record = record_of(damaged);

            expect_error_or_sound_trees(version, record, 0, static_cast<Id>(position + value));
        }
    }
}

// Cuts the record after each number of bytes. Once the segment ends at the cut, and once zeros
// follow the cut.
void expect_cuts_are_safe(unsigned short version, const std::string& bytes) {
    for (std::size_t kept = 0; kept < bytes.size(); ++kept) {
        SCOPED_TRACE(testing::Message() << kept << " of " << bytes.size());
        const auto start = static_cast<unsigned int>(SegBuf::kSegmentSize - kept);
        SegBuf at_end = record_of(std::string(start, 'x') + bytes.substr(0, kept));
        SegBuf before_zeros = record_of(bytes.substr(0, kept));

        EXPECT_FALSE(expect_error_or_sound_trees(version, at_end, start, 1));
        expect_error_or_sound_trees(version, before_zeros, 0, static_cast<Id>(kept));
    }
}

// The settings come after the trees. Other tests damage them.
std::size_t size_of_trees(const std::string& record) {
    return record.size() - dumped_container(*std::make_unique<zeManager>()).size() + 8;
}

TEST(zeManagerDamageTest, UndamagedRecordsLoad) {
    SegBuf record = record_of(small_container());
    SegBuf record_v1 = record_of(small_container_v1());

    EXPECT_TRUE(expect_error_or_sound_trees(2, record, 0, 1));
    EXPECT_TRUE(expect_error_or_sound_trees(1, record_v1, 0, 1));
}

TEST(zeManagerDamageTest, ChangedByteIsAnErrorOrLeavesASoundTree) {
    expect_changes_are_safe(2, small_container());
}

TEST(zeManagerDamageTest, ChangedByteOfVersion1IsAnErrorOrLeavesASoundTree) {
    expect_changes_are_safe(1, small_container_v1());
}

TEST(zeManagerDamageTest, ChangedReferenceIsAnErrorOrLeavesASoundTree) {
    const std::string record = small_container();
    expect_references_are_safe(2, record, size_of_trees(record));
}

TEST(zeManagerDamageTest, ChangedNumberOfVersion1IsAnErrorOrLeavesASoundTree) {
    const std::string record = small_container_v1();
    expect_references_are_safe(1, record, size_of_trees(record));
}

TEST(zeManagerDamageTest, CutRecordIsAnErrorOrLeavesASoundTree) {
    expect_cuts_are_safe(2, small_container());
}

TEST(zeManagerDamageTest, CutRecordOfVersion1IsAnErrorOrLeavesASoundTree) {
    expect_cuts_are_safe(1, small_container_v1());
}

}  // namespace
