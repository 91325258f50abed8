// Compares Record_reader with the stream, which is the plain way to read the same bytes.
#include "zandrel/storage/Record_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"

namespace {

using zandrel::detail::Record_reader;

constexpr unsigned int kWholeSegment = SegBuf::kSegmentSize;

// A record of `size` bytes, each different from its neighbours, and a stream at `position`.
struct Record {
    Record(std::size_t size, unsigned int position) : bytes(size, '\0') {
        for (std::size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<char>(static_cast<unsigned char>(i * 7 + i / 256));
        }
        write();
        io.device->Seek(static_cast<int>(position));
    }

    void write() {
        io.device->Seek(0);
        io.WriteBytes(bytes.data(), static_cast<unsigned int>(bytes.size()));
    }

    std::string bytes;
    SegBuf segments;
    Hio<HSegment> io{new HSegment(segments, 'w')};
};

TEST(RecordReaderTest, ReaderReadsLikeTheStreamWhereverASegmentEnds) {
    for (unsigned int start = kWholeSegment - 40; start < kWholeSegment; ++start) {
        SegBuf segments;
        Hio<HSegment> io(new HSegment(segments, 'w'));
        io.WriteBytes(std::string(start, '\0').data(), start);
        io << 0x4A5B6C81U << qtString("some text") << 1.5;
        io.WriteByte('b');
        io << 0.25F << qtString();
        io.device->Seek(static_cast<int>(start));

        {
            Record_reader reader(io);
            EXPECT_EQ(reader.Get<unsigned int>(), 0x4A5B6C81U) << start;
            EXPECT_EQ(reader.Text(), "some text") << start;
            EXPECT_EQ(reader.Get<double>(), 1.5) << start;
            EXPECT_EQ(reader.Byte(), 'b') << start;
            EXPECT_EQ(reader.Position(), start + 26) << start;
            EXPECT_EQ(reader.Get<float>(), 0.25F) << start;
            EXPECT_EQ(reader.Text(), "") << start;
        }

        EXPECT_EQ(segments.offset, segments.size) << start;
    }
}

TEST(RecordReaderTest, StreamContinuesAtTheReadersEnd) {
    Record record(3 * kWholeSegment, 5);
    {
        Record_reader reader(record.io);
        EXPECT_EQ(std::string(reader.Bytes(3), 3), record.bytes.substr(5, 3));
    }
    EXPECT_EQ(record.io.ReadByte(), record.bytes[8]);
    {
        Record_reader reader(record.io);
        EXPECT_EQ(std::string(reader.Bytes(2 * kWholeSegment), 2 * kWholeSegment),
                  record.bytes.substr(9, 2 * kWholeSegment));
    }
    EXPECT_EQ(record.io.ReadByte(), record.bytes[9 + 2 * kWholeSegment]);
}

TEST(RecordReaderTest, ReadBehindTheContentFailsAsInTheStream) {
    Record record(10, 10);
    Record_reader reader(record.io);

    EXPECT_EQ(reader.Position(), 10U);
    reader.Bytes(0);
    EXPECT_SEGBUF_ERROR(reader.Byte(), qtxSegBuf::kLocateError);
    EXPECT_EQ(reader.Position(), 10U);
}

// As in HSegment, only the start of a read is compared with the end of the content.
TEST(RecordReaderTest, ReadThatEndsBehindTheContentReturnsZeros) {
    Record record(10, 8);
    Record_reader reader(record.io);

    EXPECT_EQ(std::string(reader.Bytes(4), 4), record.bytes.substr(8) + std::string(2, '\0'));
    EXPECT_EQ(reader.Position(), 12U);
    reader.Bytes(0);
    EXPECT_SEGBUF_ERROR(reader.Byte(), qtxSegBuf::kLocateError);
}

TEST(RecordReaderTest, CountOfMoreBytesThanRemainFails) {
    SegBuf segments;
    Hio<HSegment> io(new HSegment(segments, 'w'));
    io << kWholeSegment << 0U;
    io.device->Seek(0);
    Record_reader reader(io);

    EXPECT_SEGBUF_ERROR(reader.Count(1), qtxSegBuf::kLocateError);
}

TEST(RecordReaderTest, CountUpToTheEndOfTheLastSegmentIsAccepted) {
    SegBuf segments;
    Hio<HSegment> io(new HSegment(segments, 'w'));
    io << kWholeSegment - 4 << 0U;
    io.device->Seek(0);

    EXPECT_EQ(Record_reader(io).Count(1), kWholeSegment - 4);
}

}  // namespace
