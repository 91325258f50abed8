// A process that dies while it writes a record file: more steps than in Hreclaim_crash_test.cpp.
#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/storage/record_file_crashes.h"

TEST(HreclaimCrashSlowTest, FileIsAsBeforeOrAfterOrStaleOrInAKnownWindowWith64Bits) {
    const Crash_tallies tallies = crash_after_each_byte<Hfile64>(50000);

    EXPECT_TRUE(tallies.found == tallies.expected);
}

TEST(HreclaimCrashSlowTest, FileIsAsBeforeOrAfterOrStaleOrInAKnownWindowWith32Bits) {
    const Crash_tallies tallies = crash_after_each_byte<Hfile32>(50000);

    EXPECT_TRUE(tallies.found == tallies.expected);
}
