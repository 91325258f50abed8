// Damaged records of a bag.
#include "zandrel/messages/zeSml.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/allocation_meter.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/record_damage.h"

namespace {

Hio<Generic32> bag_stream(SegBuf& record, char mode) {
    return Hio<Generic32>(new HSegment(record, mode));
}

std::string dumped(const zeSml& bag) {
    SegBuf record;
    auto io = bag_stream(record, 'w');
    bag.Dump(io);
    return bytes_of(record);
}

std::string reload_bag(SegBuf& record, unsigned int start) {
    auto io = bag_stream(record, 'r');
    io.device->Seek(static_cast<int>(start));
    zeSml bag(0.0);
    bag.Load(io);
    return dumped(bag);
}

// goal 5, clipped to 3, and team 1.5.
const char* const kTwoWords =
    "40 12 00 00 00 00 00 00 "                          // total 4.5
    "40 08 00 00 00 00 00 00 "                          // clip value 3
    "00 00 00 02 "                                      // two entries
    "00 00 00 04 67 6f 61 6c 40 08 00 00 00 00 00 00 "  // goal, 3
    "00 00 00 04 74 65 61 6d 3f f8 00 00 00 00 00 00";  // team, 1.5

// The beginning of a record with this count of entries, and one byte of them.
SegBuf record_of_count(unsigned int count) {
    char packed[4];
    qtPackUssDiet(count, packed);
    return record_of(std::string(16, '\0') + std::string(packed, 4) + '\0');
}

TEST(zeSmlDamageTest, HugeCountsAreRefusedWithoutMemory) {
    for (const unsigned int count : {1362U, 0x01000000U, 0x80000000U, 0xffffffffU}) {
        SCOPED_TRACE(count);
        SegBuf record = record_of_count(count);
        auto io = bag_stream(record, 'r');
        zeSml bag(0.0);
        const Allocation_meter meter;

        EXPECT_SEGBUF_ERROR(bag.Load(io), "Locate error in SegBuf");

        EXPECT_LT(meter.bytes(), 4096U);
        EXPECT_EQ(record.offset, 20U);
    }
}

TEST(zeSmlDamageTest, AsManyEntriesAsFitIntoTheSegmentAreAllowed) {
    // 1361 entries of 12 bytes fit into the 16340 bytes after the count; 1362 do not.
    SegBuf record = record_of_count(1361);
    auto io = bag_stream(record, 'r');
    zeSml bag(0.0);

    EXPECT_SEGBUF_ERROR(bag.Load(io), "Locate error in SegBuf");

    EXPECT_GT(record.offset, 20U);
}

TEST(zeSmlDamageTest, EveryCutIsSafe) {
    expect_cuts_are_safe(from_hex(kTwoWords), reload_bag);
}

TEST(zeSmlDamageTest, EveryChangedByteIsSafe) {
    expect_changes_are_safe(from_hex(kTwoWords), reload_bag);
}

}  // namespace
