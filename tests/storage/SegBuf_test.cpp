#include "zandrel/storage/SegBuf.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"

namespace {

static_assert(SegBuf::kSegmentSize == 16360);
static_assert(!std::is_copy_constructible_v<SegBuf> && !std::is_copy_assignable_v<SegBuf>);
static_assert(std::is_nothrow_move_constructible_v<SegBuf> &&
              std::is_nothrow_move_assignable_v<SegBuf>);
static_assert(std::is_base_of_v<qtxAll, qtxSegBuf> && !std::is_base_of_v<qtXbase, qtxSegBuf>);

SegBuf of_size(unsigned int byte_count) {
    SegBuf buffer;
    buffer.Extend(byte_count);
    return buffer;
}

// A buffer of the largest size. All its segments are the same block, since few machines can spare 4
// GiB.
class LargestSegBuf {
public:
    LargestSegBuf() {
        // the smallest number of segments for 2^32 - 1 bytes
        m_buffer.segments.assign(262529, m_block.get());
        m_buffer.size = 0xFFFFFFFFU;
    }

    ~LargestSegBuf() { m_buffer.segments.clear(); }

    SegBuf& buffer() { return m_buffer; }

    char* block() { return m_block.get(); }

private:
    std::unique_ptr<char[]> m_block = std::make_unique<char[]>(SegBuf::kSegmentSize);
    SegBuf m_buffer;
};

TEST(SegBufTest, StartsEmpty) {
    const SegBuf buffer;

    EXPECT_TRUE(buffer.segments.empty());
    EXPECT_EQ(buffer.offset, 0U);
    EXPECT_EQ(buffer.size, 0U);
    EXPECT_EQ(buffer.EndOfLastSegment(), 0U);
}

TEST(SegBufTest, LocateReturnsRunsWithinTheirSegment) {
    const struct {
        unsigned int position, end, segment, place, length;
    } kRows[] = {
        {0, 10, 0, 0, 10},
        {0, 16360, 0, 0, 16360},
        {0, 16361, 0, 0, 16360},
        {0, 0xFFFFFFFF, 0, 0, 16360},
        {16359, 16360, 0, 16359, 1},
        {16359, 16361, 0, 16359, 1},
        {16360, 16361, 1, 0, 1},
        {16361, 40000, 1, 1, 16359},
        {32719, 40000, 1, 16359, 1},
        {32720, 40000, 2, 0, 7280},
        {39999, 40000, 2, 7279, 1},
        {39999, 40005, 2, 7279, 6},
        {39999, 0xFFFFFFFF, 2, 7279, 9081},
        {100, 100, 0, 100, 0},
        {100, 50, 0, 100, 0},
    };

    const SegBuf buffer = of_size(40000);
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.position << " to " << row.end);
        char* run = nullptr;
        unsigned int length = 99;

        buffer.Locate(row.position, row.end, run, length);

        EXPECT_EQ(run, buffer.segments[row.segment] + row.place);
        EXPECT_EQ(length, row.length);
    }
}

TEST(SegBufTest, LocateFailsAtAndPastTheSize) {
    const SegBuf buffer = of_size(100);
    for (const unsigned int position : {100U, 101U, 16359U, 16360U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(position);
        char* run = nullptr;
        unsigned int length = 0;
        EXPECT_SEGBUF_ERROR(buffer.Locate(position, 0xFFFFFFFFU, run, length),
                            "Locate error in SegBuf");
    }
}

TEST(SegBufTest, LocateFailsInAnEmptyBuffer) {
    const SegBuf buffer;
    char* run = nullptr;
    unsigned int length = 0;

    EXPECT_SEGBUF_ERROR(buffer.Locate(0, 0, run, length), "Locate error in SegBuf");
}

TEST(SegBufTest, LocateDoesNotOverflowAtTheLastPosition) {
    LargestSegBuf largest;
    char* run = nullptr;
    unsigned int length = 0;

    // The last segment starts at 262528 * 16360 = 4294958080.
    largest.buffer().Locate(0xFFFFFFFEU, 0xFFFFFFFFU, run, length);

    EXPECT_EQ(run, largest.block() + 9214);
    EXPECT_EQ(length, 1U);
}

TEST(SegBufTest, EndOfLastSegmentMayPassTheLastPosition) {
    LargestSegBuf largest;

    EXPECT_EQ(largest.buffer().EndOfLastSegment(), 4294974440U);
    EXPECT_EQ(largest.buffer().FindAtOffset(0), largest.block());
    largest.buffer().offset = 0xFFFFFFFEU;
    EXPECT_EQ(largest.buffer().FindAtOffset(1), largest.block() + 9214);
    EXPECT_EQ(largest.buffer().FindAtOffset(2), nullptr);
}

TEST(SegBufTest, SetOffsetAcceptsUpToTheSize) {
    SegBuf buffer = of_size(100);

    buffer.SetOffset(100);

    EXPECT_EQ(buffer.offset, 100U);
}

TEST(SegBufTest, SetOffsetFailsPastTheSize) {
    SegBuf buffer = of_size(100);
    buffer.SetOffset(7);

    EXPECT_SEGBUF_ERROR(buffer.SetOffset(101), "Invalid seek in SegBuf buffer");
    EXPECT_SEGBUF_ERROR(buffer.SetOffset(0xFFFFFFFFU), "Invalid seek in SegBuf buffer");
    EXPECT_EQ(buffer.offset, 7U);
}

TEST(SegBufTest, ExtendAllocatesWholeSegments) {
    const struct {
        unsigned int byte_count;
        std::size_t segments;
    } kRows[] = {{0, 0}, {1, 1}, {16359, 1}, {16360, 1}, {16361, 2}, {32720, 2}, {32721, 3}};

    for (const auto& row : kRows) {
        SCOPED_TRACE(row.byte_count);

        const SegBuf buffer = of_size(row.byte_count);

        EXPECT_EQ(buffer.size, row.byte_count);
        EXPECT_EQ(buffer.segments.size(), row.segments);
        EXPECT_EQ(buffer.EndOfLastSegment(), row.segments * 16360);
    }
}

TEST(SegBufTest, ExtendToFillZeroesTheBytesAfterTheContent) {
    SegBuf buffer;

    buffer.ExtendToFill(SegBuf::kSegmentSize + 3);

    ASSERT_EQ(buffer.segments.size(), 2U);
    EXPECT_EQ(buffer.size, SegBuf::kSegmentSize + 3);
    EXPECT_EQ(std::string(buffer.segments[1] + 3, SegBuf::kSegmentSize - 3),
              std::string(SegBuf::kSegmentSize - 3, '\0'));
}

TEST(SegBufTest, ExtendToFillKeepsTheContent) {
    SegBuf buffer = record_of("content");

    buffer.ExtendToFill(2 * SegBuf::kSegmentSize);
    buffer.ExtendToFill(1);

    EXPECT_EQ(buffer.segments.size(), 2U);
    EXPECT_EQ(buffer.size, 2 * SegBuf::kSegmentSize);
    EXPECT_EQ(std::string(buffer.segments[0], 8), std::string("content\0", 8));
}

TEST(SegBufTest, ExtendNeverShrinks) {
    SegBuf buffer = of_size(20000);

    buffer.Extend(5);

    EXPECT_EQ(buffer.size, 20000U);
    EXPECT_EQ(buffer.segments.size(), 2U);
}

TEST(SegBufTest, SegmentsStartZeroed) {
    const SegBuf buffer = of_size(32720);

    EXPECT_EQ(bytes_of(buffer), std::string(32720, '\0'));
}

TEST(SegBufTest, GrowthMovesNoSegment) {
    SegBuf buffer = of_size(1);
    const char* const first = buffer.segments[0];

    buffer.Extend(1000000);

    EXPECT_EQ(buffer.segments[0], first);
}

TEST(SegBufTest, MoveLeavesTheSourceEmptyAndUsable) {
    SegBuf source = record_of("abc");
    source.offset = 2;
    const char* const segment = source.segments[0];

    SegBuf target(std::move(source));

    EXPECT_EQ(target.segments[0], segment);
    EXPECT_EQ(target.offset, 2U);
    EXPECT_EQ(bytes_of(target), "abc");
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): this is the claim.
    EXPECT_TRUE(source.segments.empty());
    EXPECT_EQ(source.offset, 0U);
    EXPECT_EQ(source.size, 0U);
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.Move): the emptied source may be used again.
    source.Extend(3);
    EXPECT_EQ(source.size, 3U);
}

TEST(SegBufTest, MoveAssignmentReplacesTheContent) {
    SegBuf target = record_of("old content");
    SegBuf source = record_of("new");

    target = std::move(source);

    EXPECT_EQ(bytes_of(target), "new");
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): this is the claim.
    EXPECT_EQ(source.size, 0U);
}

TEST(SegBufTest, MoveAssignmentToItselfKeepsTheContent) {
    SegBuf buffer = record_of("abc");
    SegBuf& same = buffer;

    buffer = std::move(same);

    EXPECT_EQ(bytes_of(buffer), "abc");
}

TEST(SegBufTest, ClearedRecordIsEmptyAndKeepsItsFirstSegmentAsZeros) {
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{5}, std::size_t{SegBuf::kSegmentSize},
          std::size_t{2 * SegBuf::kSegmentSize + 7}}) {
        SCOPED_TRACE(size);
        SegBuf buffer = record_of(std::string(size, 'x'));
        const char* const first = buffer.segments.empty() ? nullptr : buffer.segments.front();
        buffer.offset = 3;

        buffer.Clear();

        EXPECT_EQ(buffer.size, 0U);
        EXPECT_EQ(buffer.offset, 0U);
        ASSERT_EQ(buffer.segments.size(), size == 0 ? 0U : 1U);
        if (size != 0) {
            EXPECT_EQ(buffer.segments.front(), first);
            EXPECT_TRUE(std::string(first, SegBuf::kSegmentSize) ==
                        std::string(SegBuf::kSegmentSize, '\0'));
        }
        buffer.Extend(2);
        EXPECT_EQ(bytes_of(buffer), std::string(2, '\0'));
    }
}

TEST(SegBufTest, ErrorIsCaughtAsTheRootOfAllExceptions) {
    SegBuf buffer;
    try {
        buffer.SetOffset(1);
        FAIL() << "raises nothing";
    } catch (const qtxAll& raised) {
        EXPECT_STREQ(raised.what(), "Invalid seek in SegBuf buffer");
        EXPECT_EQ(raised.category(), 9);
        EXPECT_EQ(raised.severity(), 2);
    }
}

}  // namespace
