// Recovers more record files of a process that died than Record_recovery_crash_test.cpp does.
#include <gtest/gtest.h>

#include "tests/cli/recovered_images.h"

namespace zandrel::cli {

namespace {

TEST(RecordRecoveryCrashSlowTest, OtherItemsAreAlwaysExactWith64Bits) {
    const Recovery_tally tally = recover_crash_images(8, 2000, 1);
    print_tally("64 bits", tally);
    EXPECT_EQ(tally.other, 0U);
}

TEST(RecordRecoveryCrashSlowTest, OtherItemsAreAlwaysExactWith32Bits) {
    const Recovery_tally tally = recover_crash_images(4, 2000, 1);
    print_tally("32 bits", tally);
    EXPECT_EQ(tally.other, 0U);
}

}  // namespace

}  // namespace zandrel::cli
