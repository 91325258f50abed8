// Damaged records of a message.
#include "zandrel/messages/zeMsg.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/allocation_meter.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/record_damage.h"

namespace {

Hio<Generic32> stream_over(SegBuf& record, char mode) {
    return Hio<Generic32>(new HSegment(record, mode));
}

std::string dumped(const zeMsg& msg) {
    SegBuf record;
    auto io = stream_over(record, 'w');
    msg.Dump(io);
    return bytes_of(record);
}

std::string reload(SegBuf& record, unsigned int start) {
    auto io = stream_over(record, 'r');
    io.device->Seek(static_cast<int>(start));
    zeMsg msg;
    msg.Load(io);
    return dumped(msg);
}

// The bytes before slot 0 in a record of a message without pairs.
const char* const kNoPairsSlotZero =
    "00 00 00 00 "   // no pairs
    "00 00 00 00 ";  // active slot 0

// A slot with the bag of goal 2.5.
const char* const kGoalSlot =
    "01 "                        // present
    "40 04 00 00 00 00 00 00 "   // total 2.5
    "00 00 00 00 00 00 00 00 "   // no clip value
    "00 00 00 01 "               // one entry
    "00 00 00 04 67 6f 61 6c "   // goal
    "40 04 00 00 00 00 00 00 ";  // 2.5

std::string full_record() {
    return std::string(
               "00 00 00 02 "                            // two pairs
               "00 00 00 01 61 02 00 00 00 02 78 79 "    // a, type 2, xy
               "00 00 00 02 62 62 0c 00 00 00 01 20 "    // bb, type 12, a space
               "00 00 00 03 "                            // active slot 3
               "00 00 00 05 ") +                         // five slots
           kGoalSlot +                                   // slot 0
           "00 00 " +                                    // slots 1 and 2
           "01 00 00 00 00 00 00 00 00 "                 // slot 3: present, total 0
           "40 08 00 00 00 00 00 00 00 00 00 00 "        // clip value 3, no entries
           "00 "                                         // slot 4
           "3f d0 00 00 00 00 00 00 "                    // weight 0.25
           "00 00 00 02 "                                // two labels
           "00 00 00 05 73 70 6f 72 74 00 00 00 01 61";  // sport, a
}

// Checks that a message refuses a count after `head`, at once and without memory for the entries.
void expect_refused(const std::string& head, unsigned int count) {
    SCOPED_TRACE(count);
    char packed[4];
    qtPackUssDiet(count, packed);
    SegBuf record = record_of(head + std::string(packed, 4) + '\0');
    auto io = stream_over(record, 'r');
    zeMsg msg;
    const Allocation_meter meter;

    EXPECT_SEGBUF_ERROR(msg.Load(io), "Locate error in SegBuf");

    EXPECT_LT(meter.bytes(), 4096U);
    EXPECT_EQ(record.offset, head.size() + 4);
}

TEST(zeMsgDamageTest, HugeCountsAreRefusedWithoutMemory) {
    struct Row {
        std::string before;  // the record before the count
        const char* name;
        // the smallest count that is refused; computed by hand from 16360 bytes
        unsigned int least;
    };

    const std::string no_slots = std::string(kNoPairsSlotZero) + "00 00 00 00 ";
    const Row rows[] = {
        {"", "pairs of 9 bytes", (16360U - 4) / 9 + 1},
        {kNoPairsSlotZero, "slots of 1 byte", 16360U - 12 + 1},
        {no_slots + "3f f0 00 00 00 00 00 00 ", "labels of 4 bytes", (16360U - 24) / 4 + 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        for (const unsigned int count : {row.least, 0x01000000U, 0xffffffffU}) {
            expect_refused(from_hex(row.before), count);
        }
    }
}

TEST(zeMsgDamageTest, FailedLoadLeavesTheMessageChangedAndPartlyFilled) {
    const std::string whole = from_hex(full_record());
    SegBuf record = record_of(whole.substr(0, whole.size() - 18));  // without the labels
    auto io = stream_over(record, 'r');
    zeMsg msg;

    EXPECT_SEGBUF_ERROR(msg.Load(io), "Locate error in SegBuf");

    EXPECT_TRUE(msg.changed);
    EXPECT_EQ(msg.nvps.size(), 2U);
    EXPECT_EQ(msg.weight, 0.25);
    EXPECT_TRUE(msg.categories.empty());
}

// A device on which every call fails.
class Broken_device : public Generic32 {
public:
    void Write(char* /*bytes*/, unsigned int /*byte_count*/) override {
        throw std::runtime_error("cannot write");
    }

    void Read(char* /*bytes*/, unsigned int /*byte_count*/) override {
        throw std::runtime_error("cannot read");
    }
};

TEST(zeMsgDamageTest, ErrorsOfTheDeviceArePassedOn) {
    Hio<Generic32> io(new Broken_device);
    zeMsg msg;

    EXPECT_THROW(msg.Dump(io), std::runtime_error);
    EXPECT_THROW(msg.Load(io), std::runtime_error);
}

TEST(zeMsgDamageTest, EveryCutIsSafe) {
    expect_cuts_are_safe(from_hex(full_record()), reload);
}

TEST(zeMsgDamageTest, EveryChangedByteIsSafe) {
    expect_changes_are_safe(from_hex(full_record()), reload);
}

}  // namespace
