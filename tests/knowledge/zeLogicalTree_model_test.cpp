// Compares the logical tree with a second, simple implementation. The tests do random edits,
// predict the result of each edit, and compare all sides of the tree after it.
#include <cstddef>

#include <gtest/gtest.h>

#include "tests/knowledge/logical_tree_edits.h"

namespace {

constexpr unsigned int kFirstSeed = 20260101;
constexpr std::size_t kEditsOfRun = 500;

// Small sizes often lead to empty classifiers, large sizes to trees of many nodes.
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

// Special rules apply to the first node of a container, so this test makes many containers.
TEST(zeLogicalTreeModelTest, AgreesOnTheFirstEdits) {
    constexpr unsigned int kContainers = 400;
    for (unsigned int seed = 0; seed < kContainers; ++seed) {
        Random_edits edits(seed, seed % 2 == 1, 4);
        ASSERT_TRUE(edits.Run(5)) << edits.Problem();
    }
}

// The sizes for a limit of classifiers in memory. With 120 nodes most classifiers are in the file.
constexpr std::size_t kLimitedSizes[] = {4, 30, 120};

class zeLogicalTreeLimitedModelTest : public testing::TestWithParam<unsigned int> {
protected:
    static void RunEdits(bool is_compat55, unsigned int first_seed) {
        unsigned int seed = first_seed;
        for (const std::size_t size : kLimitedSizes) {
            run_limited_edits(seed++, is_compat55, size, GetParam(), kEditsOfRun);
        }
    }
};

TEST_P(zeLogicalTreeLimitedModelTest, AgreesAfterEachEditAndWithAContainerInMemory) {
    RunEdits(false, kFirstSeed + 2000);
}

TEST_P(zeLogicalTreeLimitedModelTest, AgreesIn55CompatibilityMode) {
    RunEdits(true, kFirstSeed + 3000);
}

INSTANTIATE_TEST_SUITE_P(Limits, zeLogicalTreeLimitedModelTest, testing::Values(1U, 2U, 20U));

}  // namespace
