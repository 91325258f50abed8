// The state after an operation that runs out of memory. Each allocation of the operation fails in
// turn, in a new container, until the operation succeeds.
#include "zandrel/knowledge/zePhysicalTree.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"

#include "tests/support/bags.h"
#include "tests/support/failing_new.h"
#include "tests/support/fake_classifier.h"

namespace {

using testing::ElementsAre;

// root(a, mid(b, c)) and a node outside. Each table is full, so that its next entry makes it grow
// and this allocation can fail too.
struct Physical_container {
    Physical_container() {
        root = Inner("root", ZE_STAT);
        mid = Inner("mid", ZE_RULE);
        root->add_child(Leaf("a"));
        root->add_child(mid);
        mid->add_child(Leaf("b"));
        mid->add_child(Leaf("c"));
        outside = Leaf("outside");
        objects_before = manager.m_objects;
        node_count_before = tree.m_nodes.size();
        MakeFull(manager.m_objects);
        MakeFull(tree.m_nodes);
        MakeFull(tree.m_finder);
    }

    zeNode* Leaf(std::string_view name) { return tree.MakeNode(term(name), ZE_LEAF, 0, 0.0); }

    zeNode* Inner(std::string_view name, unsigned int type) {
        zeNode* const node = Leaf(name);
        tree.set_classifier(node, new FakeClassifier(&manager, node, type));
        return node;
    }

    template <class Table>
    static void MakeFull(Table& table) {
        table.max_load_factor(static_cast<float>(table.size()) /
                              static_cast<float>(table.bucket_count()));
    }

    bool IsAlive(const zeNode* node) const {
        for (const auto& [id, living] : tree.m_nodes) {
            if (&living == node) {
                return true;
            }
        }
        return false;
    }

    // True if the node points only at living nodes, and at the registry's classifier or at none.
    bool IsSound(unsigned int id, const zeNode& node) const {
        const bool has_sound_children = std::all_of(
            node.m_children.begin(), node.m_children.end(),
            [&](const zeNode* child) { return IsAlive(child) && child->m_parent == &node; });
        const auto object = manager.m_objects.find(node.m_classifier_id);
        const bool has_sound_classifier =
            node.m_classifier == nullptr ||
            (object != manager.m_objects.end() && object->second == node.m_classifier);
        return node.m_node_id == id && has_sound_children && has_sound_classifier &&
               (node.m_parent == nullptr || IsAlive(node.m_parent));
    }

    // True if the list has at least one leaf, and only living leaves of the category.
    bool IsSound(const Concept& category, const std::vector<zeNode*>& leaves) const {
        return !leaves.empty() &&
               std::all_of(leaves.begin(), leaves.end(), [&](const zeNode* leaf) {
                   return IsAlive(leaf) && leaf->m_concept == category &&
                          leaf->m_classifier_type == ZE_LEAF;
               });
    }

    // Checks that the container points at no deleted node or object.
    void ExpectSound() const {
        for (const auto& [id, node] : tree.m_nodes) {
            EXPECT_TRUE(IsSound(id, node)) << "node " << id;
        }
        for (const auto& [category, leaves] : tree.m_finder) {
            EXPECT_TRUE(IsSound(category, leaves)) << "category " << category.view();
        }
        EXPECT_TRUE(std::all_of(mapping.begin(), mapping.end(), [&](const auto& pair) {
            return IsAlive(pair.first) && IsAlive(pair.second);
        }));
        for (const auto& [id, object] : manager.m_objects) {
            EXPECT_EQ(object->m_id, id);
        }
    }

    // Checks that no leaf has this name: its list is the shared empty one.
    void ExpectNoLeaf(const Concept& category) const {
        const zePhysicalTree empty(nullptr);
        EXPECT_EQ(&tree.GetLeafNodes(category), &empty.GetLeafNodes(category));
        EXPECT_EQ(tree.m_finder.count(category), 0U);
    }

    zeManager manager;
    zePhysicalTree& tree = *manager.m_physical_tree;
    zeNode* root = nullptr;
    zeNode* mid = nullptr;
    zeNode* outside = nullptr;
    hash_map<unsigned int, zeBase*> objects_before;
    std::size_t node_count_before = 0;
    std::map<zeNode*, zeNode*> mapping;
    // This concept is added to the dictionary now, so that no table of the dictionary grows during
    // the operation.
    Concept fresh = term("fresh");
};

// Does the operation on a new container while the allocation of this index fails. Returns false if
// the operation has fewer allocations. With `is_done_anew`, a failed operation is repeated and must
// then succeed.
template <class Operation, class Check>
bool refuse_allocation(unsigned int index, Operation operation, Check check, bool is_done_anew) {
    SCOPED_TRACE("allocation " + std::to_string(index));
    Physical_container container;
    const bool has_failed = fails_at(index, [&] { operation(container); });
    if (has_failed) {
        EXPECT_EQ(container.manager.m_objects, container.objects_before);
        check(container);
        container.ExpectSound();
    }
    if (has_failed && is_done_anew) {
        operation(container);
    }
    container.ExpectSound();
    return has_failed;
}

template <class Operation, class Check>
void refuse_each_allocation(Operation operation, Check check) {
    for (const bool is_done_anew : {false, true}) {
        unsigned int index = 0;
        while (refuse_allocation(index, operation, check, is_done_anew)) {
            ++index;
        }
        EXPECT_GT(index, 0U) << "no allocation was refused";
    }
}

TEST(zePhysicalTreeAllocationTest, FailedMakeNodeOfALeafLeavesNothing) {
    refuse_each_allocation(
        [](Physical_container& container) {
            container.tree.MakeNode(container.fresh, ZE_LEAF, 0, 0.0);
        },
        [](Physical_container& container) {
            EXPECT_EQ(container.tree.m_nodes.size(), container.node_count_before);
            container.ExpectNoLeaf(container.fresh);
        });
}

TEST(zePhysicalTreeAllocationTest, FailedMakeNodeOfASecondLeafKeepsTheFirst) {
    refuse_each_allocation(
        [](Physical_container& container) {
            container.tree.MakeNode(term("outside"), ZE_LEAF, 0, 0.0);
        },
        [](Physical_container& container) {
            EXPECT_EQ(container.tree.m_nodes.size(), container.node_count_before);
            EXPECT_THAT(container.tree.GetLeafNodes(term("outside")),
                        ElementsAre(container.outside));
        });
}

TEST(zePhysicalTreeAllocationTest, FailedMakeNodeOfAnInnerNodeLeavesNothing) {
    refuse_each_allocation(
        [](Physical_container& container) {
            container.tree.MakeNode(container.fresh, ZE_STAT, 0, 0.0);
        },
        [](Physical_container& container) {
            EXPECT_EQ(container.tree.m_nodes.size(), container.node_count_before);
            container.ExpectNoLeaf(container.fresh);
        });
}

TEST(zePhysicalTreeAllocationTest, FailedAddClassifierLeavesALeaf) {
    refuse_each_allocation(
        [](Physical_container& container) {
            container.manager.AddClassifier(container.outside, ZE_STAT);
        },
        [](Physical_container& container) {
            EXPECT_EQ(container.outside->m_classifier, nullptr);
            EXPECT_EQ(container.outside->m_classifier_id, 0U);
            EXPECT_EQ(container.outside->m_classifier_type, ZE_LEAF);
            EXPECT_THAT(container.tree.GetLeafNodes(term("outside")),
                        ElementsAre(container.outside));
        });
}

// After the failure the leaf is neither in the list of its old category nor in that of the new one.
TEST(zePhysicalTreeAllocationTest, FailedSetNameLeavesTheLeafOutOfBothLists) {
    refuse_each_allocation(
        [](Physical_container& container) {
            container.tree.SetName(container.outside, container.fresh);
        },
        [](Physical_container& container) {
            EXPECT_EQ(container.tree.m_nodes.size(), container.node_count_before);
            container.ExpectNoLeaf(term("outside"));
            container.ExpectNoLeaf(container.fresh);
        });
}

TEST(zePhysicalTreeAllocationTest, FailedChangeTypeLeavesTheNewLeafOutOfItsList) {
    refuse_each_allocation(
        [](Physical_container& container) { container.tree.ChangeType(container.mid, ZE_LEAF); },
        [](Physical_container& container) {
            EXPECT_EQ(container.tree.m_nodes.size(), container.node_count_before);
            container.ExpectNoLeaf(term("mid"));
        });
}

TEST(zePhysicalTreeAllocationTest, FailedCopySubTreeLeavesCopiesLinkedToEachOther) {
    refuse_each_allocation(
        [](Physical_container& container) {
            container.tree.CopySubTree(container.root, nullptr, container.mapping);
        },
        [](Physical_container& container) {
            EXPECT_LE(container.mapping.size(), 5U);
            EXPECT_EQ(container.root->m_children.size(), 2U);
            EXPECT_EQ(container.mid->m_children.size(), 2U);
        });
}

}  // namespace
