// A long random life of a record file; Hreclaim_soak_slow_test.cpp is the longer one.
#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/storage/record_file_soak.h"
#include "tests/support/scratch_file.h"

namespace {

// What a long life must have come across.
void expect_variety(const Soak_tally& tally, std::size_t step_count) {
    EXPECT_EQ(tally.steps, step_count);
    EXPECT_GT(tally.images, step_count / 100);
    EXPECT_GT(tally.moved_in, 0U);
    EXPECT_GT(tally.moved_out, 0U);
    EXPECT_GT(tally.reused, step_count / 100);
    EXPECT_GT(tally.in_place, step_count / 100);
}

}  // namespace

TEST(HreclaimSoakTest, EqualsItsModelWith64Bits) {
    const Scratch_file file;

    expect_variety(soak_record_file<Hfile64>(file.path().str(), 1, 20000), 20000);
}

TEST(HreclaimSoakTest, EqualsItsModelWith32Bits) {
    const Scratch_file file;

    expect_variety(soak_record_file<Hfile32>(file.path().str(), 2, 20000), 20000);
}
