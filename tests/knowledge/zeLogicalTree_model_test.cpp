// The logical tree against a second, plain one: random edits, each foretold with its refusal, and
// all sides compared after each.
#include <cstddef>

#include <gtest/gtest.h>

#include "tests/knowledge/logical_tree_edits.h"

namespace {

constexpr unsigned int kFirstSeed = 20260101;
constexpr std::size_t kEditsOfRun = 500;

// Sizes differ, so that empty classifiers and full trees are both met often.
constexpr std::size_t kSizes[] = {4, 12, 30, 60, 120, 250, 4, 12, 30, 60};

void run_edits(bool is_compat55, unsigned int first_seed) {
    unsigned int seed = first_seed;
    for (const std::size_t size : kSizes) {
        Random_edits edits(seed++, is_compat55, size);
        ASSERT_TRUE(edits.Run(kEditsOfRun)) << edits.Problem();
        EXPECT_GT(edits.DoneCount(), kEditsOfRun / 5) << "the dice are loaded";
        EXPECT_GT(edits.RefusedCount(), kEditsOfRun / 20) << "the dice are loaded";
    }
}

TEST(zeLogicalTreeModelTest, AgreesAfterEachEdit) {
    run_edits(false, kFirstSeed);
}

TEST(zeLogicalTreeModelTest, AgreesAfterEachEditIn55CompatibilityMode) {
    run_edits(true, kFirstSeed + 1000);
}

// The rules of the first node are met once in a container alone.
TEST(zeLogicalTreeModelTest, AgreesOnTheFirstEdits) {
    constexpr unsigned int kContainers = 400;
    for (unsigned int seed = 0; seed < kContainers; ++seed) {
        Random_edits edits(seed, seed % 2 == 1, 4);
        ASSERT_TRUE(edits.Run(5)) << edits.Problem();
    }
}

}  // namespace
