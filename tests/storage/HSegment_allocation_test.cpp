// The contents of a record after a write that runs out of memory. Each allocation fails in turn, in
// a new record, until the write succeeds.
#include "zandrel/storage/HSegment.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/failing_new.h"
#include "tests/support/record_bytes.h"

namespace {

constexpr unsigned int kSegment = SegBuf::kSegmentSize;

TEST(HSegmentAllocationTest, WriteWithoutMemoryKeepsSizeOffsetAndContent) {
    std::string added(std::size_t{3} * kSegment, 'n');
    bool has_failed = true;
    unsigned int index = 0;
    for (; has_failed; ++index) {
        SCOPED_TRACE(index);
        SegBuf buffer = record_of("content");
        HSegment device(buffer, 'u');
        device.Seek(3);

        has_failed = fails_at(index, [&] { device.Write(added.data(), 3 * kSegment); });

        if (has_failed) {
            EXPECT_EQ(buffer.size, 7U);
            EXPECT_EQ(buffer.offset, 3U);
            EXPECT_EQ(bytes_of(buffer), "content");
            device.Write(added.data(), 3 * kSegment);
        }
        EXPECT_EQ(buffer.offset, 3 * kSegment + 3);
        EXPECT_TRUE(bytes_of(buffer) == "con" + added);
    }
    EXPECT_GT(index, 3U);  // at least three segments
}

TEST(HSegmentAllocationTest, FirstWriteWithoutMemoryLeavesAnEmptyRecord) {
    for (const unsigned int index :
         {0U, 1U}) {  // the segment's allocation, and that of the list of segments
        SCOPED_TRACE(index);
        SegBuf buffer;
        HSegment device(buffer, 'w');
        char byte = 'x';

        EXPECT_TRUE(fails_at(index, [&] { device.Write(&byte, 1); }));

        EXPECT_EQ(buffer.size, 0U);
        EXPECT_EQ(buffer.offset, 0U);
        device.Write(&byte, 1);
        EXPECT_EQ(bytes_of(buffer), "x");
    }
}

TEST(HSegmentAllocationTest, ExtendWithoutMemoryKeepsTheSize) {
    bool has_failed = true;
    unsigned int index = 0;
    for (; has_failed; ++index) {
        SCOPED_TRACE(index);
        SegBuf buffer = record_of("content");
        buffer.offset = 3;

        has_failed = fails_at(index, [&] { buffer.Extend(2 * kSegment); });

        EXPECT_EQ(buffer.size, has_failed ? 7U : 2 * kSegment);
        EXPECT_EQ(buffer.offset, 3U);
        EXPECT_EQ(bytes_of(buffer).substr(0, 7), "content");
    }
    EXPECT_GT(index, 1U);
}

// A record without memory for its second segment. The first one was allocated, but not zeroed.
TEST(HSegmentAllocationTest, ExtendToFillWithoutMemoryLeavesNoSegment) {
    bool has_failed = true;
    unsigned int index = 0;
    for (; has_failed; ++index) {
        SCOPED_TRACE(index);
        SegBuf buffer;

        has_failed = fails_at(index, [&] { buffer.ExtendToFill(2 * kSegment); });

        EXPECT_EQ(buffer.size, has_failed ? 0U : 2 * kSegment);
        EXPECT_EQ(buffer.segments.size(), has_failed ? 0U : 2U);
        buffer.Clear();
    }
    EXPECT_GT(index, 3U);  // at least two segments and the list of segments
}

// The record of a cache is used again after a read that ran out of memory.
TEST(HSegmentAllocationTest, RecordUsedAgainAfterLackOfMemoryHasZerosBehindItsContent) {
    bool has_failed = true;
    unsigned int index = 0;
    for (; has_failed; ++index) {
        SCOPED_TRACE(index);
        {  // `new` then probably returns this memory again
            SegBuf other;
            other.ExtendToFill(kSegment);
            std::fill_n(other.segments[0], kSegment, 'x');
        }
        SegBuf buffer;
        has_failed = fails_at(index, [&] { buffer.ExtendToFill(2 * kSegment); });
        buffer.Clear();

        buffer.ExtendToFill(4);

        char* run = nullptr;
        unsigned int length = 0;
        buffer.Locate(0, kSegment, run, length);
        ASSERT_EQ(length, kSegment);
        EXPECT_TRUE(std::all_of(run + 4, run + length, [](char byte) { return byte == 0; }));
    }
    EXPECT_GT(index, 3U);
}

}  // namespace
