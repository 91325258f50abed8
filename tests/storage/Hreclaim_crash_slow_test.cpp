// A process that dies while it writes a record file, as in Hreclaim_crash_test.cpp.
#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/storage/record_file_crashes.h"

TEST(HreclaimCrashSlowTest, LeavesBeforeAfterAStateOrAWindowWith64Bits) {
    const Crash_tallies tallies = crash_after_each_byte<Hfile64>(50000);

    EXPECT_TRUE(tallies.found == tallies.expected);
}

TEST(HreclaimCrashSlowTest, LeavesBeforeAfterAStateOrAWindowWith32Bits) {
    const Crash_tallies tallies = crash_after_each_byte<Hfile32>(50000);

    EXPECT_TRUE(tallies.found == tallies.expected);
}
