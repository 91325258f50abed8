// Compares Record_reader with the stream, which is the plain way to read the same bytes.
#include "zandrel/storage/Record_reader.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

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

// Only a text that continues in the next segment is copied.
TEST(RecordReaderTest, TextIsCopiedIfItContinuesInTheNextSegment) {
    for (const unsigned int start : {kSegment - 14, kSegment - 13, kSegment - 12}) {
        SegBuf segments;
        Hio<HSegment> io(new HSegment(segments, 'w'));
        io.WriteBytes(std::string(start, '\0').data(), start);
        io << qtString("some text") << qtString("more");
        io.device->Seek(static_cast<int>(start));
        Record_reader reader(io);

        const std::string_view text = reader.Text();

        EXPECT_EQ(reader.IsCopied(text), start == kSegment - 12) << start;
        EXPECT_EQ(text, "some text");
        EXPECT_FALSE(reader.IsCopied(reader.Text()));
    }
}

// A device of the tests that is no HSegment.
class Text_device : public Generic32 {
public:
    explicit Text_device(std::string bytes) : m_bytes(std::move(bytes)) {}

    void Read(char* bytes, unsigned int byte_count) override {
        RequireBytes(byte_count);
        m_bytes.copy(bytes, byte_count, m_next);
        m_next += byte_count;
    }

    void RequireBytes(std::uint64_t byte_count) override {
        if (byte_count > m_bytes.size() - m_next) {
            throw qtxSegBuf(qtxSegBuf::kLocateError, __FILE__, __LINE__);
        }
    }

private:
    std::string m_bytes;
    std::size_t m_next = 0;
};

TEST(RecordReaderTest, OtherDevicesAreReadLikeByTheStream) {
    Hio<Generic32> io(new Text_device(std::string("\0\0\0\2ab\0\0\0\0\0\0\0\7z", 15)));
    {
        Record_reader reader(io);
        const std::string_view text = reader.Text();
        EXPECT_TRUE(reader.IsCopied(text));
        EXPECT_EQ(text, "ab");
        EXPECT_EQ(reader.Text(), "");
        EXPECT_EQ(reader.Get<unsigned int>(), 7U);
    }
    EXPECT_EQ(io.ReadByte(), 'z');
    Record_reader reader(io);
    EXPECT_THROW(reader.Byte(), qtxSegBuf);
}

TEST(RecordReaderTest, PlaceholderDeviceGivesZeros) {
    Hio<Generic32> io(new Generic32);
    Record_reader reader(io);

    EXPECT_EQ(reader.Get<unsigned int>(), 0U);
    EXPECT_EQ(reader.Text(), "");
    EXPECT_EQ(reader.Get<double>(), 0.0);
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
