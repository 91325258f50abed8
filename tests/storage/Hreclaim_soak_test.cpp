// Many random steps with a record file. Hreclaim_soak_slow_test.cpp does more.
#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/storage/record_file_soak.h"
#include "tests/support/scratch_file.h"

namespace {

// Checks that the steps included each kind of event often enough.
void expect_variety(const Soak_tally& tally, std::size_t step_count) {
    EXPECT_EQ(tally.steps, step_count);
    EXPECT_GT(tally.images, step_count / 100);
    EXPECT_GT(tally.moved_in, 0U);
    EXPECT_GT(tally.moved_out, 0U);
    EXPECT_GT(tally.reused, step_count / 100);
    EXPECT_GT(tally.in_place, step_count / 100);
}

}  // namespace

TEST(HreclaimSoakTest, FileEqualsItsModelWith64Bits) {
    const Scratch_file file;

    expect_variety(soak_record_file<Hfile64>(file.path().str(), 1, 20000), 20000);
}

TEST(HreclaimSoakTest, FileEqualsItsModelWith32Bits) {
    const Scratch_file file;

    expect_variety(soak_record_file<Hfile32>(file.path().str(), 2, 20000), 20000);
}
