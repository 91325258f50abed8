#include "zandrel/storage/Hbuffer.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"

namespace {

constexpr int kLast = std::numeric_limits<int>::max();

class HbufferTest : public testing::Test {
protected:
    void hold(std::string_view bytes) {
        m_buffer = qtPtr<qtBuffer>(new qtBuffer);
        m_buffer->bytes.assign(bytes.begin(), bytes.end());
    }

    void open(char mode) { device.Open(m_buffer, mode); }

    void write(std::string bytes) {
        device.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    }

    std::string read(unsigned int byte_count) {
        std::string bytes(byte_count, '#');
        device.Read(bytes.data(), byte_count);
        return bytes;
    }

    std::string content() const { return {m_buffer->bytes.begin(), m_buffer->bytes.end()}; }

    qtPtr<qtBuffer> m_buffer;
    zandrel::detail::Hbuffer device;
};

TEST_F(HbufferTest, NewDeviceIsClosed) {
    EXPECT_TRUE(device.read_only);
    EXPECT_FALSE(device.failed);
    EXPECT_EQ(device.name, qtString("qtBuffer"));
    EXPECT_EQ(device.Tell(), 0);
}

TEST_F(HbufferTest, ModeRReadsTheContent) {
    hold("abcdef");
    open('r');

    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(device.Tell(), 2);
    EXPECT_EQ(read(4), "cdef");
    EXPECT_EQ(device.GetFileSize(), 6);
}

TEST_F(HbufferTest, ModeWReplacesTheContent) {
    hold("what was there");
    open('w');
    write("ab");
    write("c");

    EXPECT_EQ(content(), "abc");
}

TEST_F(HbufferTest, ModeUChangesTheContent) {
    hold("abcdef");
    open('u');
    device.Seek(4);
    write("EFG");
    device.Seek(1);
    write("B");

    EXPECT_EQ(content(), "aBcdEFG");
    EXPECT_EQ(read(2), "cd");
}

TEST_F(HbufferTest, WriteBeyondTheEndFillsTheGapWithZeros) {
    hold("ab");
    open('u');
    device.Seek(4);
    write("e");

    EXPECT_EQ(to_hex(content()), "61 62 00 00 65");
}

TEST_F(HbufferTest, WriteMakesAMissingBuffer) {
    open('w');
    write("a");
    ASSERT_FALSE(m_buffer.IsNull());
    EXPECT_EQ(content(), "a");

    m_buffer.reset();
    open('u');
    EXPECT_FALSE(m_buffer.IsNull());
}

TEST_F(HbufferTest, ReadOfAMissingBufferReturnsNothing) {
    open('r');

    EXPECT_TRUE(m_buffer.IsNull());
    EXPECT_EQ(device.SeekEnd(), 0);
    EXPECT_QTX(read(1), HioErr, 3, "Read error in file qtBuffer");
}

TEST_F(HbufferTest, BufferIsSharedUntilTheDeviceIsClosed) {
    hold("ab");
    open('u');
    EXPECT_EQ(m_buffer.use_count(), 2U);

    device.Close();

    EXPECT_EQ(m_buffer.use_count(), 1U);
    EXPECT_TRUE(device.read_only);
    EXPECT_EQ(device.Tell(), 0);
}

TEST_F(HbufferTest, OtherModesAreRefused) {
    hold("ab");
    open('u');

    EXPECT_QTX_ARGS(open('a'), HioErr, 5, "Invalid open mode", {"qtBuffer"});
    EXPECT_EQ(content(), "ab");
    EXPECT_QTX(read(1), HioErr, 3, "File is not open for reading");
}

TEST_F(HbufferTest, ClosedDeviceRefusesReadsWritesAndSeeks) {
    EXPECT_QTX(read(1), HioErr, 3, "File is not open for reading");
    EXPECT_QTX(device.RequireBytes(0), HioErr, 3, "File is not open for reading");
    EXPECT_QTX(device.Seek(0), HioErr, 2, "Invalid file offset in file qtBuffer");
    EXPECT_QTX(device.SeekEnd(), HioErr, 2, "SeekEnd error in file qtBuffer");
    EXPECT_QTX(device.GetFileSize(), HioErr, 2, "SeekEnd error in file qtBuffer");
    EXPECT_QTX(write("a"), HioErr, 4, "File is not open for writing");
}

TEST_F(HbufferTest, ReadPastTheEndIsRefused) {
    hold("abc");
    open('r');
    device.Seek(1);

    EXPECT_QTX_ARGS(read(3), HioErr, 3, "Read error in file qtBuffer", {"qtBuffer"});
    EXPECT_EQ(device.Tell(), 1);
    device.Seek(4);
    EXPECT_QTX(read(1), HioErr, 3, "Read error in file qtBuffer");
}

TEST_F(HbufferTest, RequireBytesComparesWithTheRemainingBytes) {
    hold("abc");
    open('r');
    device.Seek(1);

    device.RequireBytes(2);
    EXPECT_QTX(device.RequireBytes(3), HioErr, 3, "Read error in file qtBuffer");
    EXPECT_QTX(device.RequireBytes(std::numeric_limits<std::uint64_t>::max()), HioErr, 3,
               "Read error in file qtBuffer");
}

TEST_F(HbufferTest, PositionBeforeTheStartIsRefused) {
    open('w');

    EXPECT_QTX(device.Seek(-1), HioErr, 2, "Invalid file offset in file qtBuffer");
}

TEST_F(HbufferTest, WriteToAReadOnlyBufferIsReportedOnce) {
    hold("abc");
    open('r');

    EXPECT_QTX(write("x"), HioErr, 4, "File is not open for writing");
    EXPECT_TRUE(device.failed);
    write("y");
    EXPECT_EQ(content(), "abc");
}

TEST_F(HbufferTest, TooLargeBufferIsRefused) {
    hold("abc");
    open('u');
    device.Seek(kLast);

    EXPECT_QTX(write("x"), HioErr, 4, "Write error in file qtBuffer");
    EXPECT_TRUE(device.failed);
    EXPECT_EQ(content(), "abc");
    open('u');
    EXPECT_FALSE(device.failed);
}

// The result of a call: the new position, the bytes read, or the error.
template <class Statement>
std::string outcome(Generic32& device, const std::string& bytes, Statement&& statement) {
    try {
        statement();
    } catch (const qtX<HioErr>& raised) {
        const std::string text = raised.message().str();
        return std::to_string(raised.number()) + text.substr(0, text.find("file "));
    }
    return std::to_string(device.Tell()) + bytes;
}

// One random call. After a failed read the positions of buffer and file may differ, so a seek
// follows each read.
std::string random_call(Generic32& device, std::uint32_t random) {
    const auto count = random / 8 % 7;
    const auto place = static_cast<int>(random / 64 % 24) - 2;
    std::string bytes(count, static_cast<char>('a' + random / 2048 % 26));
    switch (random % 8) {
        case 0:
        case 1:
            return outcome(device, bytes, [&] { device.Seek(place); });
        case 2:
            return outcome(device, bytes, [&] { device.SeekEnd(); });
        case 3:
            return outcome(device, "", [&] { device.RequireBytes(count); });
        case 4:
        case 5: {
            const std::string read = outcome(device, "", [&] { device.Read(bytes.data(), count); });
            device.Seek(place + 2);
            return read[0] == '3' ? read : read + bytes;
        }
        default:
            return outcome(device, bytes, [&] { device.Write(bytes.data(), count); });
    }
}

TEST_F(HbufferTest, RandomCallsBehaveLikeAFile) {
    for (std::uint32_t seed = 0; seed < 600; ++seed) {
        const char mode = "ruwu"[seed % 4];
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", mode " << mode);
        const Scratch_file disk("0123456789");
        hold("0123456789");
        Hfile32 file;
        file.Open(disk.path(), mode);
        open(mode);
        std::mt19937 numbers(seed);

        for (int call = 0; call < 40; ++call) {
            const auto random = static_cast<std::uint32_t>(numbers());
            ASSERT_EQ(random_call(device, random), random_call(file, random)) << call;
        }

        EXPECT_EQ(device.GetFileSize(), file.GetFileSize());
        EXPECT_EQ(device.failed, file.failed);
        file.Close();
        device.Close();
        EXPECT_EQ(to_hex(content()), to_hex(disk.content()));
    }
}

}  // namespace
