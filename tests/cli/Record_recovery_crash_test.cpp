// Recovers the record file of a process that died while it wrote.
// Record_recovery_crash_slow_test.cpp recovers more images.
#include "cli/records/Record_recovery.h"

#include <gtest/gtest.h>

#include "tests/cli/recovered_images.h"

namespace zandrel::cli {

namespace {

// The rest of the images: an item that was being written over its old bytes, or into a used block,
// has no old bytes any more, and nothing in the file says which of its bytes are new.
void expect_mostly_exact(const Recovery_tally& tally) {
    EXPECT_EQ(tally.other, 0U);
    EXPECT_GT(tally.before, 0U);
    EXPECT_GT(tally.after, 0U);
    EXPECT_GT(static_cast<double>(tally.exact()), 0.5 * static_cast<double>(tally.images));
}

TEST(RecordRecoveryCrashTest, OtherItemsAreAlwaysExactWith64Bits) {
    const Recovery_tally tally = recover_crash_images(8, 600, 7);
    print_tally("64 bits", tally);
    expect_mostly_exact(tally);
}

TEST(RecordRecoveryCrashTest, OtherItemsAreAlwaysExactWith32Bits) {
    const Recovery_tally tally = recover_crash_images(4, 600, 7);
    print_tally("32 bits", tally);
    expect_mostly_exact(tally);
}

}  // namespace

}  // namespace zandrel::cli
