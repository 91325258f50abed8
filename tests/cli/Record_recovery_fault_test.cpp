// Recovers the record file of a process whose disk failed at one of its calls.
#include "cli/records/Record_recovery.h"

#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/cli/recovered_images.h"
#include "tests/storage/record_file_faults.h"

namespace zandrel::cli {

namespace {

template <class Device>
Recovery_tally recover_left_files(std::size_t part, bool has_places) {
    const Memory_file file;
    Recovery_tally tally;
    fail_each_call<Device>(300, part, 17, has_places, [&](const Left_file& left) {
        file.fill(left.image);
        count_recovery(file.path(), left.before, left.after, left.step.key, left.step.to, tally);
    });
    return tally;
}

void expect_mostly_exact(const Recovery_tally& tally) {
    EXPECT_EQ(tally.other, 0U);
    EXPECT_GT(tally.images, 100U);
    EXPECT_GT(static_cast<double>(tally.exact()), 0.7 * static_cast<double>(tally.images));
}

TEST(RecordRecoveryFaultTest, OtherItemsAreAlwaysExactWith64Bits) {
    const Recovery_tally tally = recover_left_files<Hfile64>(3, true);
    print_tally("64 bits", tally);
    expect_mostly_exact(tally);
}

TEST(RecordRecoveryFaultTest, OtherItemsAreAlwaysExactWith32Bits) {
    const Recovery_tally tally = recover_left_files<Hfile32>(8, false);
    print_tally("32 bits", tally);
    expect_mostly_exact(tally);
}

}  // namespace

}  // namespace zandrel::cli
