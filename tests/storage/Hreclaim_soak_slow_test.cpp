// A million random steps with a record file, as in Hreclaim_soak_test.cpp.
#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/storage/record_file_soak.h"
#include "tests/support/scratch_file.h"

TEST(HreclaimSoakSlowTest, FileEqualsItsModelWith64Bits) {
    const Scratch_file file;

    EXPECT_EQ(soak_record_file<Hfile64>(file.path().str(), 3, 1000000).steps, 1000000U);
}

TEST(HreclaimSoakSlowTest, FileEqualsItsModelWith32Bits) {
    const Scratch_file file;

    EXPECT_EQ(soak_record_file<Hfile32>(file.path().str(), 4, 1000000).steps, 1000000U);
}
