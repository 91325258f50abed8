// The state after an edit that runs out of memory. Each allocation of the edit fails in turn, in a
// new container, until the edit succeeds. After each failure no pointer may dangle, and the
// container can be edited and released. If only two classifiers are in memory, the container can
// also be flushed and opened again.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <functional>
#include <new>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/bags.h"
#include "tests/support/cached_container.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/failing_new.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/scratch_file.h"

namespace {

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
struct Container : Edited_container {
    unsigned int root = Root(ZE_RULE);
    unsigned int topics = Add(root, "topics", kAboveOne, ZE_STAT);
    unsigned int people = Add(root, "people", kAboveTwo, ZE_STAT);
    unsigned int money = Add(root, "money", "default", ZE_RULE);
    unsigned int news = Add(topics, "news");
    unsigned int sport = Add(news, "sport");
    unsigned int desk = Add(news, "desk", "", ZE_RULE);
    unsigned int complaint = Add(desk, "complaint", kAboveOne);
    unsigned int food = Add(topics, "food");
    unsigned int staff = Add(people, "staff");
    unsigned int refund = Add(money, "refund", kAboveOne);
};

void DeleteChildrenOfRoot(Container& kc) {
    for (const unsigned int id : {kc.topics, kc.people, kc.money}) {
        kc.tree.DelLogicalNode(id, true);
        ExpectNoDanglingPointers(kc.manager);
    }
}

// Flushes the container. Returns false if memory ran out in the middle of a change of the file,
// which is then not changed any more.
bool IsFlushed(Container& kc) {
    try {
        flush(kc.manager);
        return true;
    } catch (const qtX<HioErr>& error) {
        EXPECT_EQ(error.number(), HioErr::kWriteFailed);
        return false;
    }
}

// Does the edit in a file of which two classifiers are in memory, while every third allocation
// fails in turn.
void ExpectFileCanBeOpened(const std::function<void(Container&)>& edit) {
    constexpr unsigned int kMostAllocations = 6000;
    constexpr unsigned int kLimit = 2;
    const Scratch_file file;
    unsigned int index = 0;
    unsigned int flushed_count = 0;
    for (bool has_failed = true; has_failed && index < kMostAllocations; index += 3) {
        SCOPED_TRACE(index);
        Container kc;
        continue_cached(kc.manager, file.path(), kLimit);
        has_failed = fails_at(index, [&] { edit(kc); });
        ExpectNoDanglingPointers(kc.manager);
        if (!IsFlushed(kc)) {
            kc.manager.Release();
            EXPECT_QTX(read_cached(kc.manager, file.path(), kLimit), zeIO, 8,
                       "KB index is not synchronized (Run RebuildIndex Utility)");
            continue;
        }
        ++flushed_count;
        read_cached(kc.manager, file.path(), kLimit);
        ExpectNoDanglingPointers(kc.manager);
        zeManager in_memory;
        read_kc(in_memory, saved_plain(kc.manager));
        ExpectNoDanglingPointers(in_memory);
        if (!has_failed) {
            ExpectSound(in_memory);
        }
        DeleteChildrenOfRoot(kc);
        read_cached(kc.manager, file.path(), kLimit);
    }
    EXPECT_GT(flushed_count, index / 12);
    EXPECT_LT(index, kMostAllocations);
}

// Does the edit while each allocation fails in turn. Then deletes the children of the root as far
// as possible.
void ExpectNothingDangles(const std::function<void(Container&)>& edit) {
    ExpectFileCanBeOpened(edit);
    constexpr unsigned int kMostAllocations = 2000;
    unsigned int index = 0;
    for (bool has_failed = true; has_failed && index < kMostAllocations; ++index) {
        SCOPED_TRACE(index);
        Container kc;
        has_failed = fails_at(index, [&] { edit(kc); });
        ExpectNoDanglingPointers(kc.manager);
        if (!has_failed) {
            ExpectSound(kc.manager);
        }
        DeleteChildrenOfRoot(kc);
    }
    EXPECT_GT(index, 1U);
    EXPECT_LT(index, kMostAllocations);
}

TEST(zeLogicalTreeAllocationTest, AddingLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) { kc.Add(kc.topics, "new"); });
}

TEST(zeLogicalTreeAllocationTest, AddingBelowALeafThatBecomesAClassifierLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) { kc.Add(kc.refund, "new"); });
    ExpectNothingDangles([](Container& kc) { kc.Add(kc.food, "new", "default"); });
}

TEST(zeLogicalTreeAllocationTest, DeletingLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) { kc.tree.DelLogicalNode(kc.news, true); });
    ExpectNothingDangles([](Container& kc) { kc.tree.DelLogicalNode(kc.refund, true); });
}

TEST(zeLogicalTreeAllocationTest, MovingLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) { kc.tree.MoveLogicalNode(kc.news, kc.people); });
    ExpectNothingDangles([](Container& kc) { kc.tree.MoveLogicalNode(kc.staff, kc.refund); });
    ExpectNothingDangles([](Container& kc) { kc.tree.MoveLogicalNode(kc.food, kc.sport); });
}

TEST(zeLogicalTreeAllocationTest, ChangingTheTypeLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) {
        zeLogicalNode changed = kc.Copy(kc.news);
        changed.type = ZE_STAT;
        kc.tree.ChangeLogicalNode(changed);
        changed.type = ZE_LEAF;
        kc.tree.ChangeLogicalNode(changed);
    });
}

TEST(zeLogicalTreeAllocationTest, ChangingTheCategoryLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) {
        zeLogicalNode changed = kc.Copy(kc.refund);
        changed.category = term("a category of another name");
        kc.tree.ChangeLogicalNode(changed);
    });
}

// If memory runs out while a rule is compiled, the error is the one for a rule that does not parse.
TEST(zeLogicalTreeAllocationTest, ChangingTheRuleLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) {
        zeLogicalNode changed = kc.Copy(kc.refund);
        changed.rule = "$another_key(n) > 100";
        try {
            kc.tree.ChangeLogicalNode(changed);
        } catch (const qtX<zeLogicalTree>&) {
            throw std::bad_alloc();
        }
    });
}

TEST(zeLogicalTreeAllocationTest, MirroringLeavesNoDanglingPointers) {
    ExpectNothingDangles([](Container& kc) {
        zeNode* node = kc.Physical(kc.food);
        kc.tree.KCE_Delete(node);
        node = kc.manager.m_physical_tree->MakeNode(term("new"), ZE_LEAF, 0, 0.0);
        kc.Matcher(kc.topics).add_cat(node);
        kc.tree.KCE_Add(node, &kc.Matcher(kc.topics));
    });
}

}  // namespace
