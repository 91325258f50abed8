// Record files whose offsets need more than 32 bits, and files that must stay below 2^31 bytes. The
// files are sparse in the middle, so they take little space on the disk.
#include "zandrel/storage/Hreclaim.h"

#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/types.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/storage/naive_packing.h"
#include "tests/storage/record_file_script.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"

namespace {

constexpr std::uint64_t kFarEnd = 5ULL << 30U;
constexpr std::uint64_t kLargest32 = 2147483647;

// A file that is too large for a test to read as a whole.
class Large_file : public Scratch_file {
public:
    // Reads only these bytes.
    std::string bytes(std::uint64_t from, std::size_t count) const {
        const int file = open(path().c_str(), O_RDONLY);
        std::string read(count, '\0');
        EXPECT_EQ(pread(file, read.data(), count, static_cast<off_t>(from)),
                  static_cast<ssize_t>(count));
        close(file);
        return read;
    }
};

// A blob that makes an item of 127 bytes with a key of one byte, one byte less than its block of
// 128.
std::string blob_of_slot_7(char fill) {
    return std::string(127 - 13, fill);
}

void add(AbstractHreclaim& file, const std::string& key, const std::string& blob) {
    file.AddItem(key, record_of(blob));
}

// A file with 32-bit offsets and space for `room` more bytes. The item "a" and its index are
// written.
class NearlyFullRecordFileTest : public testing::Test {
protected:
    void make(std::uint64_t room) {
        {
            Hreclaim<Hfile32> made;
            made.Open(m_place.path(), true, false);
            add(made, "a", "old");
            made.Close();
        }
        m_place.resize(kLargest32 - room);
        m_file.Open(m_place.path(), false, false);
    }

    // Checks that the refusal came before anything was written.
    void expect_as_before(const std::string& head) {
        EXPECT_EQ(to_hex(m_place.bytes(0, 1024)), to_hex(head));
        EXPECT_LE(m_place.size(), kLargest32);
    }

    std::string write_error() const { return "Write error in file " + m_place.path().str(); }

    Large_file m_place;
    Hreclaim<Hfile32> m_file;
};

}  // namespace

TEST(LargeRecordFileTest, ItemBehindFourGibibytesIsAppended) {
    const Large_file place;
    {
        Hreclaim<Hfile64> file;
        file.Open(place.path(), true, false);
        file.Close();
    }
    place.resize(kFarEnd);
    Hreclaim<Hfile64> file;
    file.Open(place.path(), false, false);

    add(file, "f", blob_of_slot_7('x'));
    file.Close();

    EXPECT_EQ(place.size(), kFarEnd + 128);
    EXPECT_EQ(to_hex(place.bytes(kFarEnd, 13)), "4a 5b 6c 73 00 00 00 01 66 00 00 00 72");
    // The index is still at 20; its only key follows tag and count.
    EXPECT_EQ(to_hex(place.bytes(28, 13)), "00 00 00 01 66 00 00 00 01 40 00 00 00");
    file.Open(place.path(), false, true);
    EXPECT_EQ(read_item(file, "f"), blob_of_slot_7('x'));
}

TEST(LargeRecordFileTest, HoleBehindFourGibibytesIsReused) {
    const Large_file place;
    Hreclaim<Hfile64> file;
    file.Open(place.path(), true, false);
    file.Close();
    place.resize(kFarEnd);
    file.Open(place.path(), false, false);
    add(file, "f", blob_of_slot_7('x'));
    file.DeleteItem("f");
    file.Close();
    EXPECT_EQ(to_hex(place.bytes(kFarEnd, 8)), "de ad de ad 00 00 00 80");

    file.Open(place.path(), false, false);
    add(file, "g", blob_of_slot_7('y'));
    file.Close();

    EXPECT_EQ(place.size(), kFarEnd + 128);
    file.Open(place.path(), false, true);
    EXPECT_EQ(read_item(file, "g"), blob_of_slot_7('y'));
    EXPECT_EQ(static_cast<std::uint64_t>(file.index.at("g")), kFarEnd);
}

TEST(LargeRecordFileTest, IndexMovesBehindFourGibibytes) {
    const Large_file place;
    Hreclaim<Hfile64> file;
    file.Open(place.path(), true, false);
    file.Close();
    place.resize(kFarEnd);
    file.Open(place.path(), false, false);

    // The index takes 136 bytes and 112 more for the key. These 248 bytes still fit a block of 256,
    // but with a second key they do not.
    add(file, std::string(100, 'k'), "");
    file.WriteIndex();
    EXPECT_EQ(to_hex(place.bytes(12, 8)), "00 00 00 00 00 00 00 14");
    add(file, "k", "");
    file.Close();

    // The index has moved behind the items, which take blocks of 128 and 16 bytes.
    EXPECT_EQ(place.bytes(12, 8), naive_digits((5ULL << 30U) + 144, 8));
    EXPECT_EQ(to_hex(place.bytes(kFarEnd + 144, 8)), "4a 5b 6c 82 00 00 00 02");
    EXPECT_EQ(to_hex(place.bytes(20, 8)), "de ad de ad 00 00 01 00");
    EXPECT_EQ(place.size(), kFarEnd + 144 + 512);
    file.Open(place.path(), false, true);
    EXPECT_EQ(file.GetIndexSize(), 2U);
}

TEST_F(NearlyFullRecordFileTest, ItemThatJustFitsIsAdded) {
    make(128);

    add(m_file, "b", blob_of_slot_7('x'));
    m_file.Close();

    EXPECT_EQ(m_place.size(), kLargest32);
    m_file.Open(m_place.path(), false, true);
    EXPECT_EQ(read_item(m_file, "b"), blob_of_slot_7('x'));
    EXPECT_EQ(read_item(m_file, "a"), "old");
}

TEST_F(NearlyFullRecordFileTest, ItemThatDoesNotFitIsRefused) {
    make(127);
    const std::string head = m_place.bytes(0, 1024);

    EXPECT_QTX_ARGS(add(m_file, "b", blob_of_slot_7('x')), HioErr, HioErr::kWriteFailed,
                    write_error(), {m_place.path()});

    expect_as_before(head);
    EXPECT_EQ(m_place.size(), kLargest32 - 127);
    EXPECT_FALSE(m_file.Exists("b"));
    EXPECT_EQ(m_file.state, 0);
}

TEST_F(NearlyFullRecordFileTest, RefusedReplacementKeepsTheOldItem) {
    make(127);
    const std::string head = m_place.bytes(0, 1024);

    EXPECT_QTX(add(m_file, "a", blob_of_slot_7('x')), HioErr, HioErr::kWriteFailed, write_error());

    expect_as_before(head);
    EXPECT_EQ(read_item(m_file, "a"), "old");
}

TEST_F(NearlyFullRecordFileTest, RefusedRenameKeepsTheItem) {
    // With the longer key the item needs a block of 64 instead of 32.
    make(63);
    const std::string head = m_place.bytes(0, 1024);

    EXPECT_QTX(m_file.RenameItem("a", std::string(20, 'k')), HioErr, HioErr::kWriteFailed,
               write_error());

    expect_as_before(head);
    EXPECT_EQ(read_item(m_file, "a"), "old");
}

TEST_F(NearlyFullRecordFileTest, RenameWithinASlotWorksInAFullFile) {
    make(0);

    m_file.RenameItem("a", "b");
    m_file.Close();

    EXPECT_EQ(m_place.size(), kLargest32);
    m_file.Open(m_place.path(), false, true);
    EXPECT_EQ(read_item(m_file, "b"), "old");
}

TEST_F(NearlyFullRecordFileTest, HoleTakesAnItemInAFullFile) {
    make(0);
    m_file.DeleteItem("a");

    add(m_file, "c", "new");
    m_file.Close();

    EXPECT_EQ(m_place.size(), kLargest32);
    m_file.Open(m_place.path(), false, true);
    EXPECT_EQ(read_item(m_file, "c"), "new");
}

TEST_F(NearlyFullRecordFileTest, IndexThatDoesNotFitIsRefused) {
    // There is space for the item of the long key, but not for an index of 512 bytes.
    make(256 + 511);
    add(m_file, std::string(150, 'k'), "");
    const std::string head = m_place.bytes(0, 1024);

    EXPECT_QTX(m_file.WriteIndex(), HioErr, HioErr::kWriteFailed, write_error());

    expect_as_before(head);
    EXPECT_EQ(to_hex(m_place.bytes(16, 8)), "4a 5b 6c 82 00 00 00 01");
    EXPECT_EQ(to_hex(m_place.bytes(9, 1)), "01");
}

TEST_F(NearlyFullRecordFileTest, IndexThatJustFitsIsWritten) {
    make(256 + 512);
    add(m_file, std::string(150, 'k'), "");

    m_file.Close();

    EXPECT_EQ(m_place.size(), kLargest32);
    m_file.Open(m_place.path(), false, true);
    EXPECT_EQ(m_file.GetIndexSize(), 2U);
}

TEST_F(NearlyFullRecordFileTest, TooLargeFileIsRefused) {
    make(0);
    m_file.Close();
    m_place.resize(kLargest32 + 1);

    EXPECT_QTX(m_file.Open(m_place.path(), false, true), HioErr, HioErr::kBadOffset,
               "SeekEnd error in file " + m_place.path().str());
}
