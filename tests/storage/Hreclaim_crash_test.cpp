// A process that dies while it writes a record file; Hreclaim_crash_slow_test.cpp lives longer.
#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/storage/record_file_crashes.h"

namespace {

void expect_as_told(const Crash_tallies& tallies) {
    EXPECT_EQ(tallies.found.images, tallies.expected.images);
    EXPECT_EQ(tallies.found.unfinished, tallies.expected.unfinished);
    EXPECT_EQ(tallies.found.stale, tallies.expected.stale);
    EXPECT_EQ(tallies.found.before, tallies.expected.before);
    EXPECT_EQ(tallies.found.after, tallies.expected.after);
    EXPECT_EQ(tallies.found.lost, tallies.expected.lost);
    EXPECT_EQ(tallies.found.torn, tallies.expected.torn);
    EXPECT_EQ(tallies.found.mixed_words, tallies.expected.mixed_words);
    EXPECT_GT(tallies.found.lost, 0U);
    EXPECT_GT(tallies.found.torn, 0U);
    EXPECT_GT(tallies.found.mixed_words, 0U);
}

}  // namespace

TEST(HreclaimCrashTest, LeavesBeforeAfterAStateOrAWindowWith64Bits) {
    expect_as_told(crash_after_each_byte<Hfile64>(2000));
}

TEST(HreclaimCrashTest, LeavesBeforeAfterAStateOrAWindowWith32Bits) {
    expect_as_told(crash_after_each_byte<Hfile32>(2000));
}
