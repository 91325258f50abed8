// A hundred thousand of the random edits of zeLogicalTree_model_test.cpp, in larger trees.
#include <cstddef>

#include <gtest/gtest.h>

#include "tests/knowledge/logical_tree_edits.h"

namespace {

constexpr unsigned int kFirstSeed = 20260501;
constexpr std::size_t kEditsOfRun = 2500;
constexpr std::size_t kSizes[] = {3,  6,  10, 15,  20,  30,  40,  60,  80,  100,
                                  12, 25, 50, 100, 150, 200, 250, 300, 400, 500};

void run_edits(bool is_compat55, unsigned int first_seed) {
    unsigned int seed = first_seed;
    for (const std::size_t size : kSizes) {
        Random_edits edits(seed++, is_compat55, size);
        ASSERT_TRUE(edits.Run(kEditsOfRun)) << edits.Problem();
    }
}

TEST(zeLogicalTreeModelSlowTest, AgreesAfterEachOfFiftyThousandEdits) {
    run_edits(false, kFirstSeed);
}

TEST(zeLogicalTreeModelSlowTest, AgreesAfterEachOfFiftyThousandEditsIn55CompatibilityMode) {
    run_edits(true, kFirstSeed + 1000);
}

class zeLogicalTreeLimitedModelSlowTest : public testing::TestWithParam<unsigned int> {};

TEST_P(zeLogicalTreeLimitedModelSlowTest, AgreesAfterEachOfTenThousandEdits) {
    constexpr std::size_t kLimitedSizes[] = {3, 12, 50, 200};
    unsigned int seed = kFirstSeed + 2000;
    for (const std::size_t size : kLimitedSizes) {
        run_limited_edits(seed, seed % 2 == 0, size, GetParam(), kEditsOfRun);
        ++seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Limits, zeLogicalTreeLimitedModelSlowTest,
                         testing::Values(1U, 2U, 3U, 20U));

}  // namespace
