// A process that dies while it writes a record file. Hreclaim_crash_slow_test.cpp does more steps.
#include "zandrel/storage/Hreclaim.h"

#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/SegBuf.h"

#include "tests/storage/record_file_crashes.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"

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

// If the owner has cleared the state, no byte of the state has to be written after the index.
TEST(HreclaimCrashTest, IndexWrittenUnderAClearStateIsNotLost) {
    const Scratch_file place;
    Hreclaim<Hfile64> file;
    file.Open(place.path(), true, false);
    file.AddItem(std::string(150, 'k'), SegBuf());
    file.SetState(0);

    file.WriteIndex();

    // The new index is after the first index and the item, which take 256 bytes each.
    EXPECT_EQ(to_hex(place.content().substr(9, 11)), "00 00 00 00 00 00 00 00 00 02 14");
}

TEST(HreclaimCrashTest, FileIsAsBeforeOrAfterOrStaleOrInAKnownWindowWith64Bits) {
    expect_as_told(crash_after_each_byte<Hfile64>(2000));
}

TEST(HreclaimCrashTest, FileIsAsBeforeOrAfterOrStaleOrInAKnownWindowWith32Bits) {
    expect_as_told(crash_after_each_byte<Hfile32>(2000));
}
