// A disk that fails at one call. Tries every call; Hreclaim_fault_test.cpp tries only some of them.
#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/storage/record_file_faults.h"

TEST(HreclaimFaultSlowTest, FileIsOldOrNewOrRefusedWith64Bits) {
    for (const bool has_places : {false, true}) {
        const Fault_tally tally = fail_each_call<Hfile64>(300, 0, 1, has_places);

        EXPECT_GT(tally.runs, 300U);
        EXPECT_TRUE(tally.reopened.contains("torn"));
    }
}

TEST(HreclaimFaultSlowTest, FileIsOldOrNewOrRefusedWith32Bits) {
    for (const bool has_places : {false, true}) {
        const Fault_tally tally = fail_each_call<Hfile32>(300, 0, 1, has_places);

        EXPECT_GT(tally.runs, 300U);
        EXPECT_TRUE(tally.reopened.contains("torn"));
    }
}
