// The cost of edits and look-ups in large trees, and the indexes that keep it low. The indexes must
// find what a search finds.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/Hio.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/growth.h"
#include "tests/support/logical_tree.h"

namespace {

std::string category_name(int i) {
    return "category " + std::to_string(i);
}

// A statistical root with `count` leaves.
struct Flat_container : Edited_container {
    explicit Flat_container(int count) {
        root = Root(ZE_STAT);
        for (int i = 0; i < count; ++i) {
            leaves.push_back(Add(root, category_name(i)));
        }
    }

    void Rename(unsigned int id, const std::string& name) {
        zeLogicalNode node = Copy(id);
        node.category = term(name);
        tree.ChangeLogicalNode(node);
    }

    unsigned int root = 0;
    std::vector<unsigned int> leaves;
};

TEST(zeLogicalTreeGrowthTest, AddingLeavesBelowOneNodeTakesNoSquareTime) {
    ExpectNoSquareGrowth(4000, [](int n) { const Flat_container kc(n); });
}

TEST(zeLogicalTreeGrowthTest, AddingChildrenBelowOneRuleNodeTakesNoSquareTime) {
    ExpectNoSquareGrowth(2000, [](int n) {
        Edited_container kc;
        const unsigned int root = kc.Root(ZE_RULE);
        for (int i = 0; i < n; ++i) {
            kc.Add(root, category_name(i), kAboveOne);
        }
    });
}

TEST(zeLogicalTreeGrowthTest, AddingLeavesWithOtherNamesTakesNoSquareTime) {
    ExpectNoSquareGrowth(4000, [](int n) {
        Edited_container kc;
        kc.manager.m_compat55 = true;
        const unsigned int root = kc.Root(ZE_STAT);
        for (int i = 0; i < n; ++i) {
            kc.Add(root, category_name(i));
        }
    });
}

TEST(zeLogicalTreeGrowthTest, AddingOneCategoryToEachOfManyClassifiersTakesNoSquareTime) {
    ExpectNoSquareGrowth(300, [](int n) {
        Edited_container kc;
        const unsigned int root = kc.Root(ZE_STAT);
        for (int i = 0; i < n; ++i) {
            kc.Add(kc.Add(root, category_name(i), "", ZE_STAT), "other");
        }
    });
}

TEST(zeLogicalTreeGrowthTest, RenamingEachLeafTakesNoSquareTime) {
    ExpectNoSquareGrowth(4000, [](int n) {
        Flat_container kc(n);
        for (const unsigned int leaf : kc.leaves) {
            kc.Rename(leaf, "new " + std::to_string(leaf));
        }
    });
}

TEST(zeLogicalTreeGrowthTest, FindingEachLeafByItsPathTakesNoSquareTime) {
    ExpectNoSquareGrowth(4000, [](int n) {
        const Flat_container kc(n);
        for (int i = 0; i < n; ++i) {
            EXPECT_NE(kc.tree.FindNodeByPath(qtString("root/" + category_name(i))).id, 0U);
        }
    });
}

TEST(zeLogicalTreeGrowthTest, MovingEachLeafWithinItsClassifierTakesNoSquareTime) {
    ExpectNoSquareGrowth(2000, [](int n) {
        Flat_container kc(n);
        for (std::size_t i = 1; i < kc.leaves.size(); ++i) {
            kc.tree.MoveLogicalNode(kc.leaves[i], kc.leaves[0]);
        }
    });
}

// Here the classifier has rules: a statistical classifier selects features anew for each category
// that is removed, which takes more time.
TEST(zeLogicalTreeGrowthTest, DeletingEachChildOfOneRuleNodeTakesNoSquareTime) {
    ExpectNoSquareGrowth(2000, [](int n) {
        Edited_container kc;
        const unsigned int root = kc.Root(ZE_RULE);
        for (int i = 0; i < n; ++i) {
            kc.Add(root, category_name(i), kAboveOne);
        }
        for (int i = 0; i < n; ++i) {
            kc.tree.DelLogicalNode(root + 1 + static_cast<unsigned int>(i), true);
        }
    });
}

TEST(zeLogicalTreeGrowthTest, DeletingOneOfManyLeaves) {
    ExpectNoSquareGrowth(4000, [](int n) {
        Flat_container kc(n);
        for (std::size_t i = 0; i < 4; ++i) {
            kc.tree.DelLogicalNode(kc.leaves[i], true);
        }
    });
}

TEST(zeLogicalTreeGrowthTest, DeletingASubtreeOfManyClassifiersBesideAsMany) {
    ExpectNoSquareGrowth(300, [](int n) {
        Edited_container kc;
        const unsigned int root = kc.Root(ZE_RULE);
        const unsigned int deleted = kc.Add(root, "deleted", kAboveOne, ZE_RULE);
        const unsigned int kept = kc.Add(root, "kept", kAboveTwo, ZE_RULE);
        for (int i = 0; i < n; ++i) {
            kc.Add(deleted, category_name(i), kAboveOne, ZE_RULE);
            kc.Add(kept, category_name(i), kAboveOne, ZE_RULE);
        }
        kc.tree.DelLogicalNode(deleted, true);
        EXPECT_EQ(kc.tree.nodes.size(), static_cast<std::size_t>(n) + 2);
    });
}

// The indexes.

class zeLogicalTreeIndexTest : public testing::Test {
protected:
    // Checks that the tree finds the same children of the root as a plain search, for each of these
    // names.
    void ExpectLikeSearch(int name_count) {
        const std::vector<unsigned int>& children = kc.Node(kc.root).children;
        for (int i = 0; i < name_count; ++i) {
            const auto found = std::find_if(children.begin(), children.end(), [&](unsigned int id) {
                return kc.Node(id).name == term(category_name(i));
            });
            ASSERT_EQ(kc.tree.FindNodeByPath(qtString("root/" + category_name(i))).id,
                      found == children.end() ? 0 : *found);
        }
        for (std::size_t i = 0; i < children.size(); ++i) {
            zeNode* const physical = kc.Physical(children[i]);
            ASSERT_EQ(kc.tree.FindChild(kc.Node(kc.root), physical), static_cast<int>(i));
            const std::vector<zeNode*>& listed = kc.Physical(kc.root)->m_children;
            const auto place = std::find(listed.begin(), listed.end(), physical);
            ASSERT_EQ(kc.Physical(kc.root)->find_child(physical), place - listed.begin());
        }
    }

    Flat_container kc{30};
};

TEST_F(zeLogicalTreeIndexTest, IndexFollowsRandomEdits) {
    constexpr int kNames = 60;
    std::mt19937 random(7);
    const auto below = [&random](std::size_t n) { return static_cast<int>(random() % n); };
    const unsigned int group = kc.Add(kc.root, "group", "", ZE_STAT);
    kc.Add(group, "first");
    for (int step = 0; step < 400; ++step) {
        const std::vector<unsigned int> children = kc.Node(kc.root).children;
        const unsigned int child = children[static_cast<std::size_t>(below(children.size()))];
        const std::string name = category_name(below(kNames));
        try {
            switch (child == group ? 0 : below(4)) {
                case 0:
                    kc.Add(kc.root, name);
                    break;
                case 1:
                    kc.Rename(child, name);
                    break;
                case 2:
                    kc.tree.DelLogicalNode(child, true);
                    break;
                default:
                    kc.tree.MoveLogicalNode(child, group);
                    break;
            }
        } catch (const qtX<zeLogicalTree>&) {
            // The edit is refused because the name is taken. The call of ExpectLikeSearch below
            // still compares all names.
        }
        ASSERT_NO_FATAL_FAILURE(ExpectLikeSearch(kNames));
    }
    ExpectSound(kc.manager);
}

TEST_F(zeLogicalTreeIndexTest, NamesChangedDirectlyAreFound) {
    ExpectLikeSearch(31);
    kc.tree.GetNodePtr(kc.leaves[3])->name = term("by hand");

    EXPECT_EQ(kc.tree.FindNodeByPath("root/by hand").id, kc.leaves[3]);
    EXPECT_EQ(kc.tree.FindNodeByPath("root/category 3").id, 0U);
}

TEST_F(zeLogicalTreeIndexTest, FirstOfSeveralChildrenWithTheSameNameIsFound) {
    ExpectLikeSearch(31);
    const unsigned int desk = kc.Add(kc.root, "desk", "", ZE_STAT);
    kc.Add(desk, "category 5");
    zeNode* physical = kc.Physical(desk);

    // The child of the deleted node becomes a child of the root, which already has a category 5.
    kc.tree.KCE_Delete(physical);

    EXPECT_EQ(kc.tree.FindNodeByPath("root/category 5").id, kc.leaves[5]);
    EXPECT_EQ(kc.Node(kc.root).children.size(), 31U);
}

TEST_F(zeLogicalTreeIndexTest, ChildOfADeletedNodeIsFoundByItsNewName) {
    kc.manager.m_compat55 = true;
    const unsigned int desk = kc.Add(kc.root, "desk", "", ZE_STAT);
    const unsigned int child = kc.Add(desk, "child");
    zeNode* physical = kc.Physical(desk);
    kc.tree.KCE_Delete(physical);
    EXPECT_EQ(kc.tree.FindNodeByPath("root/child").id, child);
    zeLogicalNode renamed = kc.Copy(child);
    renamed.name = term("renamed");

    kc.tree.ChangeLogicalNode(renamed);

    EXPECT_EQ(kc.tree.FindNodeByPath("root/renamed").id, child);
    EXPECT_EQ(kc.tree.FindNodeByPath("root/child").id, 0U);
    zeLogicalNode other = node_to_add(kc.root, "other");
    other.name = term("renamed");
    EXPECT_QTX(kc.tree.VerifyAdd(other), zeLogicalTree, 10,
               "renamed : Node name already in use by a sibling node");
}

TEST_F(zeLogicalTreeIndexTest, ChildrenLinkedDirectlyAreFound) {
    ExpectLikeSearch(31);
    zeNode* const root = kc.Physical(kc.root);
    zeNode* const strange = kc.manager.m_physical_tree->MakeNode(term("strange"), ZE_LEAF, 0, 0.0);
    root->m_children.push_back(strange);

    EXPECT_EQ(root->find_child(strange), 30);
    EXPECT_FALSE(root->add_child(strange));
    EXPECT_TRUE(root->remove_child(strange));
    EXPECT_EQ(root->find_child(strange), -1);
}

// The name of an inner node counts as taken in its classifier, like the name of a leaf, regardless
// of the edit that placed the node there.
TEST_F(zeLogicalTreeIndexTest, NameOfAnInnerNodeIsTaken) {
    const auto expect_taken = [this](const std::string& name, bool is_taken) {
        const zeLogicalNode node = node_to_add(kc.root, name);
        if (is_taken) {
            EXPECT_QTX(kc.tree.VerifyAdd(node), zeLogicalTree, 2,
                       (name + " : Category name already in use under the current Principal node")
                           .c_str());
        } else {
            EXPECT_NO_THROW(kc.tree.VerifyAdd(node));
        }
    };

    const unsigned int desk = kc.Add(kc.root, "desk", "", ZE_STAT);
    expect_taken("desk", true);
    kc.Rename(desk, "office");
    expect_taken("desk", false);
    expect_taken("office", true);

    zeLogicalNode leaf = kc.Copy(kc.leaves[0]);
    leaf.type = ZE_STAT;
    kc.tree.ChangeLogicalNode(leaf);
    expect_taken("category 0", true);
    leaf.type = ZE_LEAF;
    kc.tree.ChangeLogicalNode(leaf);
    expect_taken("category 0", true);

    kc.tree.DelLogicalNode(desk, true);
    expect_taken("office", false);
}

TEST_F(zeLogicalTreeIndexTest, NameInAnotherClassifierIsFree) {
    const unsigned int desk = kc.Add(kc.root, "desk", "", ZE_STAT);
    for (const char* const name : {"category 1", "root", "desk"}) {
        EXPECT_NE(kc.Add(desk, name), 0U);
    }
    ExpectSound(kc.manager);
}

}  // namespace
