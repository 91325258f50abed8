// Damaged records of a container's identity and settings.
#include "zandrel/persistence/zeConfig.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/allocation_meter.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/record_damage.h"
#include "tests/support/stored.h"

namespace {

// A record without its optional settings.
const char* const kPlainHead =
    "01 02 03 04 "              // kc_id
    "00 00 00 04 72 6f 6f 74 "  // kc_name root
    "00 06 0a 24 18 1e 40 00 "  // created at 1700000000000000 microseconds
    "ff ff ff ff ff ff ff ff "  // last_trained at -1
    "00 00 00 64 "              // activate_feedback 100
    "01 "                       // flag_a
    "00 "                       // flag_b
    "00 00 00 14 "              // each_cat_reserve_size 20
    "00 00 00 50 "              // each_cat_train_size 80
    "40 14 00 00 00 00 00 00 "  // age_adjustment 5
    "00 "                       // flag_c
    "01 ";                      // full_propogation

// Each field is different from its default.
const char* const kOtherRecord =
    "ff ff ff fe "                 // kc_id
    "00 00 00 03 6b 00 63 "        // kc_name, with a zero byte
    "01 02 03 04 05 06 07 08 "     // created
    "11 12 13 14 15 16 17 18 "     // last_trained
    "21 22 23 24 "                 // activate_feedback
    "00 "                          // flag_a
    "fe "                          // flag_b
    "31 32 33 34 "                 // each_cat_reserve_size
    "41 42 43 44 "                 // each_cat_train_size
    "bf e0 00 00 00 00 00 00 "     // age_adjustment -0.5
    "01 "                          // flag_c
    "00 "                          // full_propogation
    "00 00 00 02 "                 // two optional settings
    "00 00 00 00 00 00 00 01 78 "  // the empty key: x
    "00 00 00 01 6b 00 00 00 00";  // k: the empty value

TEST(zeConfigDamageTest, HugeCountsAreRefusedWithoutMemory) {
    struct Row {
        const char* name;
        std::string hex;
    };

    const Row rows[] = {
        {"bytes of the name", "00 00 00 00 ff ff ff ff"},
        {"optional settings", std::string(kPlainHead) + "ff ff ff ff"},
        {"bytes of a key", std::string(kPlainHead) + "00 00 00 01 7f ff ff ff"},
        {"bytes of a value", std::string(kPlainHead) + "00 00 00 01 00 00 00 00 01 00 00 00"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        SegBuf record = record_of(from_hex(row.hex) + '\0');
        Hio<HSegment> io(new HSegment(record, 'r'));
        zeConfig config;
        const Allocation_meter meter;

        EXPECT_SEGBUF_ERROR(config.Load(io), "Locate error in SegBuf");

        EXPECT_LT(meter.bytes(), 4096U);
        EXPECT_EQ(record.offset, record.size - 1);
    }
}

TEST(zeConfigDamageTest, EveryCutIsSafe) {
    expect_cuts_are_safe(from_hex(kOtherRecord), reload<zeConfig>);
}

TEST(zeConfigDamageTest, EveryCutAtTheEndOfTheSegmentRaises) {
    expect_prefixes_raise(from_hex(kOtherRecord), reload<zeConfig>);
}

TEST(zeConfigDamageTest, EveryChangedByteIsSafe) {
    expect_changes_are_safe(from_hex(kOtherRecord), reload<zeConfig>);
}

}  // namespace
