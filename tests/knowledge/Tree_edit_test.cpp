// Tests which edits a compact container allows. The answer is compared with the effect of the edit:
// the edit must be allowed exactly if each statistical classifier that remains has the same
// categories as before.
#include "zandrel/knowledge/Tree_edit.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/logical_tree.h"

namespace {

using Id = unsigned int;
using zandrel::allows_edit;
using zandrel::Tree_edit;
using Kind = zandrel::Tree_edit::Kind;

// root (rules)
//   topics (statistics)
//     news (leaf)
//       sport (leaf)
//       desk (rules)
//         complaint (leaf)
//     food (leaf)
//   people (statistics)
//     staff (leaf)
//   money (rules)
//     refund (leaf)
struct Compact_container : Edited_container {
    Compact_container() { manager.m_compact = true; }

    Id root = Root(ZE_RULE);
    Id topics = Add(root, "topics", kAboveOne, ZE_STAT);
    Id people = Add(root, "people", kAboveTwo, ZE_STAT);
    Id money = Add(root, "money", "default", ZE_RULE);
    Id news = Add(topics, "news");
    Id sport = Add(news, "sport");
    Id desk = Add(news, "desk", "", ZE_RULE);
    Id complaint = Add(desk, "complaint", kAboveOne);
    Id food = Add(topics, "food");
    Id staff = Add(people, "staff");
    Id refund = Add(money, "refund", kAboveOne);
};

// The same container, but `people` has also learned a leaf that another classifier decides.
// Training the root can lead to this.
struct Shared_container : Compact_container {
    explicit Shared_container(Id shared) {
        zeNode* node = Physical(shared);
        zeNode* const parent = node->m_parent;
        Matcher(people).add_cat(node);
        node->m_parent = parent;
    }
};

Tree_edit addition(Id parent, const qtString& rule) {
    return {Kind::Add, node_to_add(parent, "new", rule)};
}

Tree_edit deletion(const Edited_container& kc, Id id) {
    return {Kind::Delete, kc.Copy(id)};
}

Tree_edit move_of(const Edited_container& kc, Id id, Id new_parent) {
    return {Kind::Move, kc.Copy(id), new_parent};
}

Tree_edit change_of_type(const Edited_container& kc, Id id, unsigned int type) {
    Tree_edit edit = {Kind::Change, kc.Copy(id)};
    edit.node.type = static_cast<unsigned char>(type);
    return edit;
}

void carry_out(zeLogicalTree& tree, Tree_edit edit) {
    switch (edit.kind) {
        case Kind::Add:
            tree.AddLogicalNode(edit.node);
            break;
        case Kind::Delete:
            tree.DelLogicalNode(edit.node.id, true);
            break;
        case Kind::Move:
            tree.MoveLogicalNode(edit.node.id, edit.new_parent);
            break;
        case Kind::Change:
            tree.ChangeLogicalNode(edit.node);
            break;
    }
}

// The categories of each statistical classifier, by the id of the classifier.
std::map<Id, std::vector<const zeNode*>> categories(const zeManager& manager) {
    std::map<Id, std::vector<const zeNode*>> found;
    for (const auto& [id, object] : manager.m_objects) {
        if (const auto* const matcher = dynamic_cast<const zeStat_matcher*>(object)) {
            for (const auto& profile : matcher->m_storage->m_profiles) {
                found[id].push_back(profile->m_node);
            }
            std::sort(found[id].begin(), found[id].end());
        }
    }
    return found;
}

// Returns whether each classifier that the edit has not deleted has the same categories as before.
bool keeps_categories(const std::map<Id, std::vector<const zeNode*>>& before,
                      const zeManager& manager) {
    const std::map<Id, std::vector<const zeNode*>> after = categories(manager);
    return std::all_of(before.begin(), before.end(), [&](const auto& entry) {
        const auto now = after.find(entry.first);
        const bool is_deleted = manager.m_objects.count(entry.first) == 0;
        return is_deleted ||
               (now == after.end() ? entry.second.empty() : now->second == entry.second);
    });
}

struct Counts {
    int allowed = 0;
    int spoiling = 0;
};

// Carries out the edit in a container of its own. Edits that the tree refuses are neither compared
// nor counted.
template <class Make, class Plan>
void compare(const Make& make, const Plan& plan, Counts& counts) {
    const auto kc = make();
    const Tree_edit edit = plan(*kc);
    const auto before = categories(kc->manager);
    const bool is_allowed = allows_edit(kc->manager, edit);
    try {
        carry_out(kc->tree, edit);
    } catch (const qtxAll&) {
        return;
    }
    EXPECT_EQ(is_allowed, keeps_categories(before, kc->manager))
        << "kind " << static_cast<int>(edit.kind) << ", node " << edit.node.id << ", parent "
        << edit.node.parent << ", new parent " << edit.new_parent << ", type "
        << int{edit.node.type};
    ++(is_allowed ? counts.allowed : counts.spoiling);
}

// Compares additions below each node, deletions of each node, moves of each node to each node, and
// changes of the type of each node.
template <class Make>
Counts compare_all(const Make& make) {
    constexpr Id kNodes = 11;
    Counts counts;
    for (Id id = 1; id <= kNodes; ++id) {
        for (const char* const rule : {"", kAboveThree}) {
            compare(
                make, [&](const auto&) { return addition(id, rule); }, counts);
        }
        compare(
            make, [&](const auto& kc) { return deletion(kc, id); }, counts);
        for (Id target = 1; target <= kNodes; ++target) {
            compare(
                make, [&](const auto& kc) { return move_of(kc, id, target); }, counts);
        }
        for (const unsigned int type : {ZE_LEAF, ZE_RULE, ZE_STAT}) {
            compare(
                make, [&](const auto& kc) { return change_of_type(kc, id, type); }, counts);
        }
    }
    return counts;
}

TEST(TreeEditTest, AnswerAgreesWithEachEditOfASoundTree) {
    const Counts counts = compare_all([] { return std::make_unique<Compact_container>(); });

    EXPECT_GT(counts.allowed, 20);
    EXPECT_GT(counts.spoiling, 20);
}

TEST(TreeEditTest, AnswerAgreesWithEachEditIfTwoClassifiersKnowALeaf) {
    const Compact_container names;
    for (const Id shared : {names.food, names.sport, names.refund}) {
        const Counts counts =
            compare_all([shared] { return std::make_unique<Shared_container>(shared); });

        EXPECT_GT(counts.allowed, 20);
        EXPECT_GT(counts.spoiling, 20);
    }
}

TEST(TreeEditTest, CategoryMayNeitherComeToNorLeaveAStatisticalNode) {
    const Compact_container kc;

    EXPECT_FALSE(allows_edit(kc.manager, addition(kc.topics, "")));
    EXPECT_FALSE(allows_edit(kc.manager, addition(kc.food, "")));
    EXPECT_FALSE(allows_edit(kc.manager, deletion(kc, kc.food)));
    EXPECT_FALSE(allows_edit(kc.manager, move_of(kc, kc.food, kc.people)));
    EXPECT_FALSE(allows_edit(kc.manager, change_of_type(kc, kc.news, ZE_STAT)));
}

TEST(TreeEditTest, CategoryMayComeToAndLeaveARuleNode) {
    const Compact_container kc;

    EXPECT_TRUE(allows_edit(kc.manager, addition(kc.money, kAboveTwo)));
    EXPECT_TRUE(allows_edit(kc.manager, deletion(kc, kc.refund)));
    EXPECT_TRUE(allows_edit(kc.manager, move_of(kc, kc.complaint, kc.money)));
}

TEST(TreeEditTest, MoveWithinAStatisticalNodeIsAllowed) {
    const Compact_container kc;

    EXPECT_TRUE(allows_edit(kc.manager, move_of(kc, kc.food, kc.news)));
}

TEST(TreeEditTest, LastCategoryMayLeaveBecauseTheClassifierIsDeleted) {
    const Compact_container kc;

    EXPECT_TRUE(allows_edit(kc.manager, deletion(kc, kc.staff)));
    EXPECT_TRUE(allows_edit(kc.manager, deletion(kc, kc.people)));
}

// Below a rule node are 100 leaves. `people` has learned the last one in the second case.
TEST(TreeEditTest, DeletingManyLeavesIsRefusedOnlyIfAStatisticalNodeKnowsOne) {
    for (const bool is_known : {false, true}) {
        SCOPED_TRACE(is_known);
        Compact_container kc;
        Id last = 0;
        for (int i = 0; i < 100; ++i) {
            last = kc.Add(kc.money, "leaf" + std::to_string(i), kAboveOne);
        }
        if (is_known) {
            zeNode* node = kc.Physical(last);
            zeNode* const parent = node->m_parent;
            kc.Matcher(kc.people).add_cat(node);
            node->m_parent = parent;
        }

        EXPECT_EQ(allows_edit(kc.manager, deletion(kc, kc.money)), !is_known);
    }
}

TEST(TreeEditTest, ChangeOfNameIsAllowed) {
    const Compact_container kc;
    Tree_edit edit = {Kind::Change, kc.Copy(kc.food)};
    edit.node.category = term("meals");
    edit.node.name = edit.node.category;

    EXPECT_TRUE(allows_edit(kc.manager, edit));
}

TEST(TreeEditTest, FullContainerAllowsEveryEdit) {
    Compact_container kc;
    kc.manager.m_compact = false;

    EXPECT_TRUE(allows_edit(kc.manager, addition(kc.topics, "")));
    EXPECT_TRUE(allows_edit(kc.manager, deletion(kc, kc.food)));
}

TEST(TreeEditTest, AskingChangesNothing) {
    Compact_container kc;
    const Unchanged guard(kc.manager);

    allows_edit(kc.manager, deletion(kc, kc.topics));
    allows_edit(kc.manager, move_of(kc, kc.news, kc.people));
}

}  // namespace
