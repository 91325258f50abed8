// The file devices with 32-bit and 64-bit positions.
#include <array>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/scratch_file.h"

namespace {

template <class F>
class HfileTest : public testing::Test {
protected:
    void open(char mode) { device.Open(disk.path(), mode); }

    void write(std::string bytes) {
        device.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    }

    std::string read(unsigned int byte_count) {
        std::string bytes(byte_count, '#');
        device.Read(bytes.data(), byte_count);
        return bytes;
    }

    Scratch_file disk;
    F device;
};

using Hfile_types = testing::Types<Hfile64, Hfile32>;
TYPED_TEST_SUITE(HfileTest, Hfile_types);

static_assert(!std::is_polymorphic_v<Hfile64>);
static_assert(std::is_base_of_v<Generic32, Hfile32>);

TYPED_TEST(HfileTest, NewDeviceIsReadOnlyAndClosed) {
    EXPECT_TRUE(this->device.read_only);
    EXPECT_EQ(this->device.file, nullptr);
    EXPECT_FALSE(this->device.failed);
}

TYPED_TEST(HfileTest, ModeDecidesWhetherWritesAreAllowed) {
    this->open('w');
    EXPECT_FALSE(this->device.read_only);
    EXPECT_EQ(this->device.name, this->disk.path());
    this->write("abc");
    this->device.Close();
    EXPECT_TRUE(this->device.read_only);
    EXPECT_EQ(this->device.file, nullptr);

    this->open('u');
    EXPECT_FALSE(this->device.read_only);
    this->write("x");
    this->device.Close();

    this->open('r');
    EXPECT_TRUE(this->device.read_only);
    EXPECT_EQ(this->read(3), "xbc");
}

TYPED_TEST(HfileTest, WritingNoBytesPastTheEndDoesNotExtendTheFile) {
    this->open('w');
    this->write("abc");
    this->device.Seek(7);

    this->write("");

    EXPECT_EQ(this->device.SeekEnd(), 3);
}

TYPED_TEST(HfileTest, ModeWEmptiesTheFile) {
    this->disk.write("abc");

    this->open('w');

    EXPECT_EQ(this->device.SeekEnd(), 0);
}

TYPED_TEST(HfileTest, ReturnsItsPosition) {
    this->disk.write("abcdef");
    this->open('u');

    EXPECT_EQ(this->device.Tell(), 0);
    this->device.Seek(2);
    EXPECT_EQ(this->device.Tell(), 2);
    EXPECT_EQ(this->read(2), "cd");
    EXPECT_EQ(this->device.Tell(), 4);
    EXPECT_EQ(this->device.SeekEnd(), 6);
    EXPECT_EQ(this->device.Tell(), 6);
    this->write("g");
    EXPECT_EQ(this->device.SeekEnd(), 7);
}

TYPED_TEST(HfileTest, ReadsAndWritesMayAlternateWithoutASeek) {
    this->disk.write("abcdef");
    this->open('u');

    EXPECT_EQ(this->read(1), "a");
    this->write("B");
    EXPECT_EQ(this->read(1), "c");
    this->write("D");
    EXPECT_EQ(this->read(2), "ef");
    this->device.Close();

    EXPECT_EQ(this->disk.content(), "aBcDef");
}

TYPED_TEST(HfileTest, TransfersOfAnySizeAreComplete) {
    std::string bytes(250001, 'x');
    bytes[99999] = 'a';
    bytes[100000] = 'b';
    bytes[250000] = 'c';
    this->open('w');
    this->write(bytes);
    this->device.Close();

    this->open('r');

    EXPECT_EQ(this->disk.content(), bytes);
    EXPECT_EQ(this->read(250001), bytes);
}

TYPED_TEST(HfileTest, FlushedBytesAreInTheFile) {
    this->open('w');
    this->write("abc");

    this->device.Flush();

    EXPECT_EQ(this->disk.content(), "abc");
}

TYPED_TEST(HfileTest, DestroyedDeviceClosesItsFile) {
    {
        TypeParam dropped;
        dropped.Open(this->disk.path(), 'w');
        std::string bytes = "abc";
        dropped.Write(bytes.data(), 3);
    }

    EXPECT_EQ(this->disk.content(), "abc");
}

TYPED_TEST(HfileTest, OpeningAgainClosesThePreviousFile) {
    this->open('w');
    this->write("abc");

    this->device.Open("/dev/null", 'r');

    EXPECT_EQ(this->disk.content(), "abc");
    EXPECT_EQ(this->device.name.str(), "/dev/null");
}

TYPED_TEST(HfileTest, ClosingTwiceIsHarmless) {
    this->open('w');
    this->device.Close();

    EXPECT_NO_THROW(this->device.Close());
}

TYPED_TEST(HfileTest, FileThatCannotBeOpenedIsReported) {
    const qtString missing = this->disk.path();
    for (const char mode : {'r', 'u'}) {
        SCOPED_TRACE(mode);
        EXPECT_QTX_ARGS(this->device.Open(missing, mode), HioErr, 0,
                        "Cannot open file: " + missing.str(), {missing});
        EXPECT_EQ(this->device.name, missing);
        EXPECT_TRUE(this->device.read_only);
        EXPECT_EQ(this->device.file, nullptr);
    }
    EXPECT_QTX(this->device.Open(testing::TempDir(), 'u'), HioErr, 0,
               "Cannot open file: " + testing::TempDir());
}

TYPED_TEST(HfileTest, NameWithAZeroByteIsRefused) {
    this->disk.write("");
    const qtString name = this->disk.path() + qtString("\0x", 2);

    EXPECT_QTX_ARGS(this->device.Open(name, 'u'), HioErr, 0, "Cannot open file: " + name.str(),
                    {name});
}

TYPED_TEST(HfileTest, OtherModesAreRefused) {
    this->disk.write("abc");

    EXPECT_QTX_ARGS(this->open('a'), HioErr, 5, "Invalid open mode", {this->disk.path()});

    EXPECT_EQ(this->device.file, nullptr);
    EXPECT_EQ(this->disk.content(), "abc");
}

TYPED_TEST(HfileTest, SeekBeforeTheFileIsRefused) {
    this->disk.write("abc");
    this->open('r');
    this->device.Seek(1);

    EXPECT_QTX_ARGS(this->device.Seek(-1), HioErr, 2,
                    "Invalid file offset in file " + this->disk.path().str(), {this->disk.path()});

    EXPECT_EQ(this->read(2), "bc");
}

// After a failed read the device marks its position as unknown. A position before the file must not
// be mistaken for that mark.
TYPED_TEST(HfileTest, SeekBeforeTheFileIsRefusedAfterAFailedRead) {
    this->disk.write("abc");
    this->open('r');
    EXPECT_THROW(this->read(4), qtX<HioErr>);

    EXPECT_QTX_ARGS(this->device.Seek(-1), HioErr, 2,
                    "Invalid file offset in file " + this->disk.path().str(), {this->disk.path()});
}

// A pipe has no positions.
TYPED_TEST(HfileTest, SeekInAPipeIsRefused) {
    const qtString name = this->disk.path();
    ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
    this->open('u');

    EXPECT_QTX_ARGS(this->device.SeekEnd(), HioErr, 2, "SeekEnd error in file " + name.str(),
                    {name});
    EXPECT_QTX_ARGS(this->device.Seek(5), HioErr, 2, "Invalid file offset in file " + name.str(),
                    {name});
}

// The test has both ends of the pipe. The written bytes wait in the system until they are read.
TYPED_TEST(HfileTest, BytesWrittenToAPipeAreReadFromIt) {
    ASSERT_EQ(::mkfifo(this->disk.path().c_str(), 0600), 0);
    this->open('u');

    this->write("abc");
    this->device.Flush();
    this->write("de");
    this->device.Flush();

    std::array<char, 8> bytes{};
    EXPECT_EQ(::read(fileno(this->device.file), bytes.data(), bytes.size()), 5);
    EXPECT_STREQ(bytes.data(), "abcde");
}

TYPED_TEST(HfileTest, SeeksReadsAndWritesInsideTheFileDoNotMoveItsStream) {
    this->disk.write("abcdefghij");
    this->open('u');
    this->device.SeekEnd();

    this->device.Seek(2);
    EXPECT_EQ(this->read(2), "cd");
    this->device.Seek(7);
    this->write("X");
    this->device.Flush();

    EXPECT_EQ(std::ftell(this->device.file), 10);
    EXPECT_EQ(this->device.Tell(), 8);
    EXPECT_EQ(this->disk.content(), "abcdefgXij");
}

TYPED_TEST(HfileTest, ClosedDeviceDoesNothing) {
    this->open('w');
    this->device.Close();
    const qtString name = this->disk.path();

    EXPECT_QTX_ARGS(this->read(1), HioErr, 3, "File is not open for reading", {name});
    EXPECT_QTX_ARGS(this->device.RequireBytes(0), HioErr, 3, "File is not open for reading",
                    {name});
    EXPECT_QTX(this->device.Seek(0), HioErr, 2, "Invalid file offset in file " + name.str());
    EXPECT_QTX(this->device.SeekEnd(), HioErr, 2, "SeekEnd error in file " + name.str());
    EXPECT_QTX_ARGS(this->write("a"), HioErr, 4, "File is not open for writing", {name});
}

TYPED_TEST(HfileTest, ShortReadIsReportedAndTheFileStaysUsable) {
    this->disk.write("abc");
    this->open('u');
    this->device.Seek(1);

    EXPECT_QTX_ARGS(this->read(3), HioErr, 3, "Read error in file " + this->disk.path().str(),
                    {this->disk.path()});

    this->device.Seek(1);
    EXPECT_EQ(this->read(2), "bc");
    this->write("d");
    this->device.Close();
    EXPECT_EQ(this->disk.content(), "abcd");
}

TYPED_TEST(HfileTest, RequireBytesReportsMoreBytesThanRemain) {
    this->disk.write("abc");
    this->open('r');
    this->device.Seek(1);

    EXPECT_NO_THROW(this->device.RequireBytes(2));
    for (const std::uint64_t count : {std::uint64_t{3}, ~std::uint64_t{0}}) {
        SCOPED_TRACE(count);
        EXPECT_QTX_ARGS(this->device.RequireBytes(count), HioErr, 3,
                        "Read error in file " + this->disk.path().str(), {this->disk.path()});
    }
    EXPECT_EQ(this->read(2), "bc");
    this->device.Seek(10);
    EXPECT_QTX(this->device.RequireBytes(0), HioErr, 3,
               "Read error in file " + this->disk.path().str());
}

TYPED_TEST(HfileTest, RequireBytesCountsWrittenBytes) {
    this->disk.write("abc");
    this->open('u');
    this->device.RequireBytes(3);
    this->device.SeekEnd();
    this->write("de");
    this->device.Seek(0);

    EXPECT_NO_THROW(this->device.RequireBytes(5));
}

TYPED_TEST(HfileTest, WriteToAReadOnlyFileFailsOnce) {
    this->disk.write("abc");
    this->open('r');

    EXPECT_QTX_ARGS(this->write("x"), HioErr, 4, "File is not open for writing",
                    {this->disk.path()});

    EXPECT_TRUE(this->device.failed);
    EXPECT_NO_THROW(this->write("x"));
    EXPECT_EQ(this->read(3), "abc");
    EXPECT_NO_THROW(this->device.Close());
    EXPECT_EQ(this->disk.content(), "abc");
}

// /dev/full is a device that refuses every byte.
TYPED_TEST(HfileTest, FailedFlushIsAWriteErrorAndTheOnlyError) {
    this->device.Open("/dev/full", 'u');
    this->write("abc");

    EXPECT_QTX_ARGS(this->device.Flush(), HioErr, 4, "Write error in file /dev/full",
                    {"/dev/full"});

    EXPECT_TRUE(this->device.failed);
    EXPECT_NO_THROW(this->write("abc"));
    EXPECT_NO_THROW(this->device.Flush());
    EXPECT_NO_THROW(this->device.Seek(5));
    EXPECT_NO_THROW(this->device.SeekEnd());
    EXPECT_NO_THROW(this->device.Close());
}

TYPED_TEST(HfileTest, FailedWriteIsReported) {
    this->device.Open("/dev/full", 'u');

    EXPECT_QTX_ARGS(this->write(std::string(1000000, 'x')), HioErr, 4,
                    "Write error in file /dev/full", {"/dev/full"});

    EXPECT_TRUE(this->device.failed);
}

TYPED_TEST(HfileTest, FailedFlushBeforeASeekIsAWriteError) {
    this->device.Open("/dev/full", 'u');
    this->write("abc");

    EXPECT_QTX(this->device.Seek(100), HioErr, 4, "Write error in file /dev/full");

    EXPECT_TRUE(this->device.failed);
}

TYPED_TEST(HfileTest, FailedFlushBeforeACloseIsACloseError) {
    this->device.Open("/dev/full", 'u');
    this->write("abc");

    EXPECT_QTX_ARGS(this->device.Close(), HioErr, 1, "Close error in file /dev/full",
                    {"/dev/full"});

    EXPECT_EQ(this->device.file, nullptr);
    EXPECT_TRUE(this->device.read_only);
    EXPECT_NO_THROW(this->device.Close());
}

TYPED_TEST(HfileTest, OpeningClearsAnEarlierFailure) {
    this->device.Open("/dev/full", 'u');
    this->write("abc");
    EXPECT_QTX(this->device.Flush(), HioErr, 4, "Write error in file /dev/full");

    this->open('w');
    this->write("abc");
    this->device.Close();

    EXPECT_EQ(this->disk.content(), "abc");
}

constexpr int kLargestOffset = std::numeric_limits<int>::max();

TEST(Hfile32Test, WriteBeyondTheLargestPositionIsRefused) {
    const Scratch_file disk("");
    disk.resize(kLargestOffset - 2);
    Hfile32 device;
    device.Open(disk.path(), 'u');
    std::string bytes = "abc";
    EXPECT_EQ(device.SeekEnd(), kLargestOffset - 2);

    device.Write(bytes.data(), 2);
    EXPECT_EQ(device.Tell(), kLargestOffset);
    EXPECT_QTX_ARGS(device.Write(bytes.data(), 1), HioErr, 4,
                    "Write error in file " + disk.path().str(), {disk.path()});

    EXPECT_TRUE(device.failed);
    device.Close();
    EXPECT_EQ(disk.size(), kLargestOffset);
}

TEST(Hfile32Test, RequireRoomRaisesBeyondTheLargestPosition) {
    const Scratch_file disk("");
    disk.resize(kLargestOffset - 32);
    Hfile32 device;
    device.Open(disk.path(), 'u');

    EXPECT_NO_THROW(device.RequireRoom(32));
    EXPECT_FALSE(device.failed);
    EXPECT_QTX(device.RequireRoom(33), HioErr, 4, "Write error in file " + disk.path().str());

    EXPECT_TRUE(device.failed);
    EXPECT_NO_THROW(device.RequireRoom(33));
}

TEST(Hfile32Test, SeekToTheEndOfATooLargeFileIsRefused) {
    const Scratch_file disk("");
    disk.resize(std::uint64_t{kLargestOffset} + 1);
    Hfile32 device;
    device.Open(disk.path(), 'u');

    EXPECT_QTX(device.SeekEnd(), HioErr, 2, "SeekEnd error in file " + disk.path().str());
}

TEST(Hfile32Test, SizeIsReturnedWithoutMovingThePosition) {
    const Scratch_file disk("abcdef");
    Hfile32 device;
    device.Open(disk.path(), 'r');
    device.Seek(2);

    EXPECT_EQ(device.GetFileSize(), 6);
    EXPECT_EQ(device.Tell(), 2);
}

TEST(Hfile64Test, PositionsBeyond32BitsAreReached) {
    const Scratch_file disk("");
    constexpr long long kFar = 3LL << 32;
    Hfile64 device;
    device.Open(disk.path(), 'u');
    device.Seek(kFar);
    std::string bytes = "abc";
    device.Write(bytes.data(), 3);

    EXPECT_EQ(device.SeekEnd(), kFar + 3);
    EXPECT_NO_THROW(device.RequireRoom(std::uint64_t{1} << 40));
    device.Close();
    EXPECT_EQ(disk.size(), static_cast<std::uint64_t>(kFar) + 3);
}

}  // namespace
