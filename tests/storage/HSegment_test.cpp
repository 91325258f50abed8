#include "zandrel/storage/HSegment.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"

namespace {

constexpr unsigned int kSegment = SegBuf::kSegmentSize;

// Bytes whose pattern does not repeat in step with the segments.
std::string sample(std::size_t byte_count) {
    std::string bytes(byte_count, '\0');
    for (std::size_t position = 0; position < byte_count; ++position) {
        bytes[position] = static_cast<char>(1 + position % 251);
    }
    return bytes;
}

void write(Generic32& device, std::string bytes) {
    device.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

std::string read(Generic32& device, unsigned int byte_count) {
    std::string bytes(byte_count, '#');
    device.Read(bytes.data(), byte_count);
    return bytes;
}

TEST(HSegmentTest, IsNamedAfterTheBuffer) {
    SegBuf buffer;

    EXPECT_EQ(HSegment(buffer, 'w').name.str(), "SegBuf");
}

TEST(HSegmentTest, OnlyModeRIsReadOnly) {
    SegBuf buffer;

    EXPECT_TRUE(HSegment(buffer, 'r').read_only);
    EXPECT_FALSE(HSegment(buffer, 'w').read_only);
    EXPECT_FALSE(HSegment(buffer, 'u').read_only);
}

TEST(HSegmentTest, ModeWEmptiesTheBufferButKeepsItsSegments) {
    SegBuf buffer = record_of(sample(20000));
    buffer.offset = 5;

    const HSegment device(buffer, 'w');

    EXPECT_EQ(buffer.size, 0U);
    EXPECT_EQ(buffer.offset, 0U);
    EXPECT_EQ(buffer.segments.size(), 2U);
}

TEST(HSegmentTest, OtherModesKeepTheContentAndRewind) {
    for (const char mode : {'r', 'u', 'a'}) {
        SCOPED_TRACE(mode);
        SegBuf buffer = record_of("abc");
        buffer.offset = 2;

        const HSegment device(buffer, mode);

        EXPECT_EQ(buffer.offset, 0U);
        EXPECT_EQ(bytes_of(buffer), "abc");
    }
}

TEST(HSegmentTest, ReturnsPositionAndSize) {
    SegBuf buffer;
    HSegment device(buffer, 'w');
    write(device, "abcdef");

    device.Seek(2);

    EXPECT_EQ(device.Tell(), 2);
    EXPECT_EQ(device.GetFileSize(), 6);
    EXPECT_EQ(device.Tell(), 2);
    EXPECT_EQ(device.SeekEnd(), 6);
    EXPECT_EQ(device.Tell(), 6);
}

TEST(HSegmentTest, SeekStopsAtTheEnd) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'r');

    device.Seek(3);

    EXPECT_EQ(device.Tell(), 3);
    EXPECT_SEGBUF_ERROR(device.Seek(4), "Invalid seek in SegBuf buffer");
    EXPECT_SEGBUF_ERROR(device.Seek(-1), "Invalid seek in SegBuf buffer");
    EXPECT_EQ(device.Tell(), 3);
}

TEST(HSegmentTest, CloseRewindsAndKeepsTheContent) {
    SegBuf buffer;
    HSegment device(buffer, 'w');
    write(device, "abc");

    device.Close();

    EXPECT_EQ(buffer.offset, 0U);
    EXPECT_EQ(bytes_of(buffer), "abc");
}

TEST(HSegmentTest, DestructionRewindsAndKeepsTheContent) {
    SegBuf buffer;
    {
        HSegment device(buffer, 'w');
        write(device, "abc");
        EXPECT_EQ(buffer.offset, 3U);
    }

    EXPECT_EQ(buffer.offset, 0U);
    EXPECT_EQ(bytes_of(buffer), "abc");
}

TEST(HSegmentTest, OneSegmentTakesOnlyItsSize) {
    SegBuf buffer;
    HSegment device(buffer, 'w');

    write(device, sample(kSegment));
    EXPECT_EQ(buffer.segments.size(), 1U);
    write(device, "x");
    EXPECT_EQ(buffer.segments.size(), 2U);

    EXPECT_EQ(bytes_of(buffer), sample(kSegment) + "x");
}

TEST(HSegmentTest, WritesAndReadsAcrossSegments) {
    for (const unsigned int byte_count : {16359U, 16360U, 16361U, 32719U, 32720U, 32721U, 50000U}) {
        SCOPED_TRACE(byte_count);
        SegBuf buffer;
        HSegment device(buffer, 'w');
        write(device, "ab");

        write(device, sample(byte_count));

        device.Seek(2);
        EXPECT_EQ(read(device, byte_count), sample(byte_count));
        EXPECT_EQ(device.Tell(), static_cast<int>(byte_count + 2));
        EXPECT_EQ(buffer.size, byte_count + 2);
    }
}

TEST(HSegmentTest, OverwritesInPlaceWithoutChangingTheSize) {
    SegBuf buffer = record_of(sample(20000));
    HSegment device(buffer, 'u');

    device.Seek(16358);
    write(device, "WXYZ");

    EXPECT_EQ(bytes_of(buffer), sample(20000).replace(16358, 4, "WXYZ"));
    EXPECT_EQ(device.Tell(), 16362);
}

TEST(HSegmentTest, WritingNothingAllocatesNothing) {
    SegBuf buffer;
    HSegment device(buffer, 'w');

    device.Write(nullptr, 0);

    EXPECT_TRUE(buffer.segments.empty());
    EXPECT_EQ(buffer.size, 0U);
}

TEST(HSegmentTest, ReadOnlyDeviceIgnoresWrites) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'r');

    write(device, "xyz");
    device.SeekEnd();
    write(device, sample(20000));

    EXPECT_EQ(bytes_of(buffer), "abc");
    EXPECT_EQ(device.Tell(), 3);
}

TEST(HSegmentTest, ReadAtTheEndFails) {
    for (const unsigned int byte_count : {1U, 20000U}) {
        SegBuf buffer = record_of("abc");
        HSegment device(buffer, 'r');
        device.SeekEnd();

        EXPECT_SEGBUF_ERROR(read(device, byte_count), "Locate error in SegBuf");
        EXPECT_EQ(device.Tell(), 3);
    }
}

TEST(HSegmentTest, ReadInAnEmptyBufferFails) {
    SegBuf buffer;
    HSegment device(buffer, 'r');

    EXPECT_SEGBUF_ERROR(read(device, 1), "Locate error in SegBuf");
}

TEST(HSegmentTest, ReadAtTheEndOfAFullSegmentFails) {
    SegBuf buffer = record_of(sample(kSegment));
    HSegment device(buffer, 'r');
    device.SeekEnd();

    EXPECT_SEGBUF_ERROR(read(device, 1), "Locate error in SegBuf");
}

TEST(HSegmentTest, ReadOfNothingAtTheEndSucceeds) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'r');
    device.SeekEnd();

    device.Read(nullptr, 0);

    EXPECT_EQ(device.Tell(), 3);
}

// Only the start of each run is compared with the end of the content. So a read may continue past
// this end within the same segment; this is intended.
TEST(HSegmentTest, ReadThatEndsPastTheContentInItsSegmentReturnsZeros) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'r');
    device.Seek(1);

    EXPECT_EQ(read(device, kSegment - 1), "bc" + std::string(kSegment - 3, '\0'));
    EXPECT_EQ(device.Tell(), static_cast<int>(kSegment));
}

TEST(HSegmentTest, ReadThatEndsPastTheLastSegmentFails) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'r');
    device.Seek(1);

    EXPECT_SEGBUF_ERROR(read(device, kSegment), "Locate error in SegBuf");
    EXPECT_EQ(device.Tell(), 1);
}

TEST(HSegmentTest, ReadPastTheContentLeavesAPositionThatFails) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'r');
    read(device, 10);

    EXPECT_SEGBUF_ERROR(read(device, 1), "Locate error in SegBuf");
}

TEST(HSegmentTest, ReadThatReachesAnAllocatedEmptySegmentFails) {
    SegBuf buffer = record_of(sample(40000));
    HSegment device(buffer, 'w');
    write(device, "abc");
    device.Seek(1);

    EXPECT_SEGBUF_ERROR(read(device, kSegment), "Locate error in SegBuf");
}

TEST(HSegmentTest, WriteBeyondFourGibibytesIsRefused) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'u');
    buffer.offset = 0xFFFFFFFFU - 2;

    EXPECT_SEGBUF_ERROR(write(device, "wxyz"), "SegBuf is full");
    EXPECT_EQ(buffer.offset, 0xFFFFFFFFU - 2);
    EXPECT_EQ(buffer.size, 3U);
    EXPECT_EQ(buffer.segments.size(), 1U);
}

TEST(HSegmentTest, LastPositionCanBeWrittenAndRead) {
    const auto block = std::make_unique<char[]>(kSegment);
    SegBuf buffer;
    // one block is used for all segments, to save 4 GiB
    buffer.segments.assign(262529, block.get());
    buffer.size = 0xFFFFFFFEU;
    HSegment device(buffer, 'u');

    EXPECT_EQ(device.SeekEnd(), -2);
    write(device, "x");
    EXPECT_EQ(buffer.size, 0xFFFFFFFFU);
    EXPECT_SEGBUF_ERROR(write(device, "y"), "SegBuf is full");
    device.Seek(-2);
    EXPECT_EQ(read(device, 1), "x");
    device.Seek(-2);
    EXPECT_SEGBUF_ERROR(read(device, 2), "Locate error in SegBuf");

    buffer.segments.clear();
}

TEST(HSegmentTest, RequireBytesRaisesBeyondTheLastSegmentWithContent) {
    SegBuf buffer = record_of(sample(40000));
    HSegment(buffer, 'w').Write(sample(20000).data(), 20000);
    HSegment device(buffer, 'r');
    device.Seek(100);

    EXPECT_NO_THROW(device.RequireBytes(0));
    EXPECT_NO_THROW(device.RequireBytes(19900));
    EXPECT_NO_THROW(device.RequireBytes(32620));
    EXPECT_SEGBUF_ERROR(device.RequireBytes(32621), "Locate error in SegBuf");
    EXPECT_SEGBUF_ERROR(device.RequireBytes(std::numeric_limits<std::uint64_t>::max()),
                        "Locate error in SegBuf");
    EXPECT_EQ(device.Tell(), 100);
}

TEST(HSegmentTest, RequireBytesWorksThroughTheBaseClass) {
    SegBuf buffer = record_of("abc");
    HSegment device(buffer, 'r');
    Generic32& plain = device;

    EXPECT_NO_THROW(plain.RequireBytes(16360));
    EXPECT_SEGBUF_ERROR(plain.RequireBytes(16361), "Locate error in SegBuf");
}

// A simple model of a buffer: one string for the memory of all segments, and the size of the
// content in it.
struct Model {
    std::string memory;
    std::size_t size = 0;
    std::size_t offset = 0;

    void Write(const std::string& bytes) {
        const std::size_t end = offset + bytes.size();
        while (memory.size() < end) {
            memory.append(kSegment, '\0');
        }
        memory.replace(offset, bytes.size(), bytes);
        size = std::max(size, end);
        offset = end;
    }

    // True if each run starts within the content. The first run starts at `offset`, each other run
    // at the start of its segment.
    bool CanRead(std::size_t byte_count) const {
        if (byte_count == 0) {
            return true;
        }
        const std::size_t last_segment = (offset + byte_count - 1) / kSegment * kSegment;
        return std::max(offset, last_segment) < size;
    }
};

class HSegmentModelTest : public testing::TestWithParam<unsigned int> {
protected:
    std::size_t Draw(std::size_t limit) { return m_random() % limit; }

    std::size_t DrawLength() {
        static constexpr std::size_t kLengths[] = {0, 1, 2, 4, 8, 100, 16359, 16360, 16361, 32720};
        return Draw(3) == 0 ? Draw(20000) : kLengths[Draw(std::size(kLengths))];
    }

    std::size_t DrawPosition() {
        const std::size_t positions[] = {0,     16359,      16360,          16361,
                                         32720, model.size, model.size + 1, Draw(model.size + 1)};
        return positions[Draw(std::size(positions))];
    }

    void Reopen(char mode) {
        device = std::make_unique<HSegment>(buffer, mode);
        model.offset = 0;
        model.size = mode == 'w' ? 0 : model.size;
    }

    void Write() {
        std::string bytes(DrawLength(), '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(Draw(256)); });
        write(*device, bytes);
        if (!device->read_only) {
            model.Write(bytes);
        }
    }

    void Seek() {
        const std::size_t position = DrawPosition();
        if (position > model.size) {
            EXPECT_SEGBUF_ERROR(device->Seek(static_cast<int>(position)),
                                "Invalid seek in SegBuf buffer");
        } else {
            device->Seek(static_cast<int>(position));
            model.offset = position;
        }
    }

    void Read() {
        const auto byte_count = static_cast<unsigned int>(DrawLength());
        if (model.CanRead(byte_count)) {
            EXPECT_TRUE(read(*device, byte_count) == model.memory.substr(model.offset, byte_count));
            model.offset += byte_count;
        } else {
            EXPECT_SEGBUF_ERROR(read(*device, byte_count), "Locate error in SegBuf");
        }
    }

    void DoSomething() {
        switch (Draw(16)) {
            case 0:
                return Reopen("rwuuu"[Draw(5)]);
            case 1:
                EXPECT_EQ(device->SeekEnd(), static_cast<int>(model.size));
                model.offset = model.size;
                return;
            case 2:
                device->Close();
                model.offset = 0;
                return;
            case 3:
            case 4:
            case 5:
            case 6:
                return Seek();
            case 7:
            case 8:
            case 9:
            case 10:
                return Write();
            default:
                return Read();
        }
    }

    SegBuf buffer;
    Model model;
    std::unique_ptr<HSegment> device = std::make_unique<HSegment>(buffer, 'w');

private:
    std::mt19937 m_random{GetParam()};
};

TEST_P(HSegmentModelTest, RandomCallsBehaveLikeAString) {
    for (int step = 0; step < 2000 && !HasFailure(); ++step) {
        SCOPED_TRACE(step);
        DoSomething();

        ASSERT_EQ(buffer.size, model.size);
        ASSERT_EQ(buffer.offset, model.offset);
        ASSERT_EQ(buffer.segments.size() * kSegment, model.memory.size());
    }
    EXPECT_TRUE(bytes_of(buffer) == model.memory.substr(0, model.size));
}

INSTANTIATE_TEST_SUITE_P(Seeds, HSegmentModelTest, testing::Range(1U, 11U));

}  // namespace
