// Items, blocks and holes of record files.
#include "zandrel/storage/Hreclaim.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/Hreclaim-inl.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/record_file.h"

namespace {

template <class F>
class HreclaimTest : public Record_file_test<F> {};

TYPED_TEST_SUITE(HreclaimTest, File_devices);

// Data that make an item of `total` bytes with a key of one byte.
std::string data_of_item(std::size_t total) {
    return std::string(total - 13, 'd');
}

TYPED_TEST(HreclaimTest, ItemsAreReadBack) {
    this->create();
    const std::string long_data(40000, 'x');
    this->add("long", long_data);
    this->add("", "data of the empty key");
    this->add(qtString("\0\xff", 2), "");

    EXPECT_EQ(this->get("long"), long_data);
    EXPECT_EQ(this->get(""), "data of the empty key");
    EXPECT_EQ(this->get(qtString("\0\xff", 2)), "");
}

TYPED_TEST(HreclaimTest, ContentRemainsWhenTheFileIsReopened) {
    this->create();
    this->file.SetFileID(7, 8, 0x80);
    this->add("a", "1");
    this->add("b", "2");
    this->file.DeleteItem("a");

    this->reopen();

    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
    this->file.GetFileID(id, version, flags);
    EXPECT_EQ(id, 7U);
    EXPECT_EQ(version, 8U);
    EXPECT_EQ(flags, 0x80);
    EXPECT_TRUE(this->file.IsUnicode());
    EXPECT_FALSE(this->file.Exists("a"));
    EXPECT_EQ(this->get("b"), "2");
    EXPECT_EQ(this->file.holes[4], std::vector{this->new_size});
}

TYPED_TEST(HreclaimTest, OnlyTheTopFlagMeansUnicode) {
    this->create();

    this->file.SetFileID(0, 0, 0x7f);

    EXPECT_FALSE(this->file.IsUnicode());
}

TYPED_TEST(HreclaimTest, KeysAreAppendedInByteOrder) {
    this->create();
    this->add("\xff", "");
    this->add("ab", "");
    this->add("a", "");
    std::vector<qtString> keys{"first"};

    this->file.GetIndex(keys);

    EXPECT_EQ(keys, (std::vector<qtString>{"first", "a", "ab", "\xff"}));
    EXPECT_EQ(this->file.GetIndexSize(), 3U);
}

TYPED_TEST(HreclaimTest, ObjectIsNamedAfterItsFile) {
    this->create();

    EXPECT_EQ(this->file.FileName(), this->disk.path());
}

TYPED_TEST(HreclaimTest, SlotIsTheBitLengthOfASize) {
    struct Row {
        std::uint64_t size;
        unsigned int slot;
    };

    for (const Row& row :
         {Row{0, 0}, Row{1, 1}, Row{2, 2}, Row{15, 4}, Row{16, 5}, Row{0x7fffffff, 31}}) {
        SCOPED_TRACE(row.size);
        EXPECT_EQ(this->file.GetSlot(row.size), row.slot);
    }
}

TYPED_TEST(HreclaimTest, ItemWithTheSizeOfAPowerOfTwoTakesTheNextSlot) {
    struct Row {
        const char* key;
        std::size_t total;
        std::size_t block_size;
    };

    this->create();
    auto end = static_cast<std::size_t>(this->new_size);
    for (const Row& row : {Row{"a", 15, 16}, Row{"b", 16, 32}, Row{"c", 31, 32}, Row{"d", 32, 64},
                           Row{"e", 1024, 2048}}) {
        SCOPED_TRACE(row.total);
        this->add(row.key, data_of_item(row.total));
        end += row.block_size;
        EXPECT_EQ(this->disk.size(), end);
    }
}

TYPED_TEST(HreclaimTest, ReplacementInTheSameSlotKeepsThePlaceAndTheTail) {
    this->create();
    this->add("ab", "xyz");

    this->add("ab", "pq");

    EXPECT_EQ(this->file.index.at("ab"), this->new_size);
    EXPECT_TRUE(this->file.holes[5].empty());
    EXPECT_EQ(this->on_disk(this->new_size, 1000), this->item("ab", "pq") + "z" + zeros(15));
    EXPECT_EQ(this->get("ab"), "pq");
}

TYPED_TEST(HreclaimTest, ReplacementInALargerSlotLeavesAHoleForTheNextItemOfThatSlot) {
    this->create();
    this->add("a", data_of_item(15));

    this->add("a", data_of_item(16));

    EXPECT_EQ(this->file.holes[4], std::vector{this->new_size});
    EXPECT_EQ(this->file.index.at("a"), this->new_size + 16);
    EXPECT_EQ(this->on_disk(this->new_size, 8), from_hex("deaddead 00000010"));
    this->add("b", data_of_item(15));
    EXPECT_EQ(this->file.index.at("b"), this->new_size);
    EXPECT_TRUE(this->file.holes[4].empty());
}

TYPED_TEST(HreclaimTest, ReplacementInASmallerSlotLeavesAHoleToo) {
    this->create();
    this->add("a", data_of_item(16));

    this->add("a", data_of_item(15));

    EXPECT_EQ(this->file.holes[5], std::vector{this->new_size});
    EXPECT_EQ(this->file.index.at("a"), this->new_size + 32);
}

TYPED_TEST(HreclaimTest, BlockFreedLastIsUsedFirst) {
    this->create();
    for (const char* key : {"a", "b", "c"}) {
        this->add(key, "1");
    }
    this->file.DeleteItem("c");
    this->file.DeleteItem("a");

    this->add("d", "1");
    this->add("e", "1");
    this->add("f", "1");

    EXPECT_EQ(this->file.index.at("d"), this->new_size);
    EXPECT_EQ(this->file.index.at("e"), this->new_size + 32);
    EXPECT_EQ(this->file.index.at("f"), this->new_size + 48);
}

TYPED_TEST(HreclaimTest, LargerHoleIsNotSplit) {
    this->create();
    this->add("a", data_of_item(16));
    this->file.DeleteItem("a");

    this->add("b", data_of_item(15));

    EXPECT_EQ(this->file.index.at("b"), this->new_size + 32);
    EXPECT_EQ(this->file.holes[5], std::vector{this->new_size});
}

TYPED_TEST(HreclaimTest, ReusedBlockKeepsTheBytesAfterTheItem) {
    this->create();
    this->add("a", "123456789");  // 22 bytes
    this->file.DeleteItem("a");

    this->add("b", "xyz");  // 16 bytes

    EXPECT_EQ(this->on_disk(this->new_size, 1000), this->item("b", "xyz") + "456789" + zeros(10));
}

TYPED_TEST(HreclaimTest, HolesAreUsedAfterReopening) {
    this->create();
    this->add("a", "1");
    this->add("b", "1");
    this->file.DeleteItem("a");
    this->file.DeleteItem("b");

    this->reopen();
    this->add("c", "1");

    EXPECT_EQ(this->file.index.at("c"), this->new_size + 16);
}

TYPED_TEST(HreclaimTest, HoleListsReserveTwiceTheirSize) {
    this->create();
    for (const char* key : {"a", "b", "c"}) {
        this->add(key, "1");
    }
    for (const char* key : {"a", "b", "c"}) {
        this->file.DeleteItem(key);
    }

    this->reopen();

    EXPECT_EQ(this->file.holes[4].size(), 3U);
    EXPECT_EQ(this->file.holes[4].capacity(), 6U);
}

TYPED_TEST(HreclaimTest, RenamingCopiesTheBlob) {
    this->create();
    this->add("a", "1");

    this->file.RenameItem("a", "longer");

    EXPECT_FALSE(this->file.Exists("a"));
    EXPECT_EQ(this->get("longer"), "1");
    EXPECT_EQ(this->file.index.at("longer"), this->new_size + 16);
    EXPECT_EQ(this->file.holes[4], std::vector{this->new_size});
}

TYPED_TEST(HreclaimTest, RenamingReplacesTheItemOfTheOtherKey) {
    this->create();
    this->add("a", "1");
    this->add("b", "2");

    this->file.RenameItem("a", "b");

    EXPECT_EQ(this->get("b"), "1");
    EXPECT_EQ(this->file.GetIndexSize(), 1U);
}

TYPED_TEST(HreclaimTest, RenamingToTheSameKeyKeepsTheBlob) {
    this->create();
    this->add("a", "1");

    this->file.RenameItem("a", "a");

    EXPECT_EQ(this->get("a"), "1");
    EXPECT_EQ(this->file.index.at("a"), this->new_size);
}

TYPED_TEST(HreclaimTest, ItemsOfTwoGibibytesAreRefused) {
    this->create();
    this->add("a", "1");
    this->file.WriteIndex();
    const std::string before = this->disk.content();
    SegBuf data;
    data.size = 0x80000000 - 13;  // refused before any of these bytes is used
    EXPECT_QTX_ARGS(this->file.AddItem("a", data), AbstractHreclaim, 3,
                    "Record size size limit exceeded", {this->disk.path()});
    data.size = std::numeric_limits<unsigned int>::max();
    EXPECT_QTX_ARGS(this->file.AddItem("b", data), AbstractHreclaim, 3,
                    "Record size size limit exceeded", {this->disk.path()});

    data.size = 0;
    EXPECT_EQ(this->disk.content(), before);
    EXPECT_FALSE(this->file.dirty);
    EXPECT_EQ(this->get("a"), "1");
}

TYPED_TEST(HreclaimTest, GetSlotRefusesSizesWithTheTopBit) {
    for (const std::uint64_t size : {0x80000000ULL, 0xffffffffULL, 0x100000000ULL}) {
        SCOPED_TRACE(size);
        EXPECT_QTX(this->file.GetSlot(size), AbstractHreclaim, 3,
                   "Record size size limit exceeded");
    }
}

TYPED_TEST(HreclaimTest, UnknownKeysAreRefused) {
    this->create();
    this->file.WriteIndex();
    const std::string before = this->disk.content();
    const qtString name = this->disk.path();

    EXPECT_QTX_ARGS(this->get("x"), AbstractHreclaim, 2, "Missing key in index: x", {name, "x"});
    EXPECT_QTX_ARGS(this->file.DeleteItem("x"), AbstractHreclaim, 2, "Key does not exist: x",
                    {name, "x"});
    EXPECT_QTX_ARGS(this->file.RenameItem("x", "y"), AbstractHreclaim, 2, "Missing key in index: x",
                    {name, "x"});

    EXPECT_EQ(this->disk.content(), before);
    EXPECT_EQ(this->file.state, 0);
    EXPECT_FALSE(this->file.dirty);
}

TYPED_TEST(HreclaimTest, GetKeyInfoOfAnUnknownKeyReturnsZeros) {
    this->create();
    typename TypeParam::Offset offset = 1;
    unsigned int data_length = 1;

    this->file.GetKeyInfo("x", offset, data_length);

    EXPECT_EQ(offset, 0);
    EXPECT_EQ(data_length, 0U);
}

// Counts the calls that write.
template <class F>
struct Counting_device : F {
    void Write(char* bytes, unsigned int byte_count) {
        ++writes;
        F::Write(bytes, byte_count);
    }

    unsigned int writes = 0;
};

TYPED_TEST(HreclaimTest, PaddingIsOneWriteOrNone) {
    Hreclaim<Counting_device<TypeParam>> counted;
    ASSERT_TRUE(counted.Open(this->disk.path(), true, false));
    const std::uint64_t start = this->disk.size();
    for (const unsigned int count : {1U, 100U, 1000000U}) {
        SCOPED_TRACE(count);
        counted.io.device->SeekEnd();
        counted.io.device->writes = 0;
        counted.WritePadding(count);
        EXPECT_EQ(counted.io.device->writes, 1U);
    }
    counted.WritePadding(0);
    EXPECT_EQ(counted.io.device->writes, 1U);

    counted.io.device->Flush();
    EXPECT_EQ(this->disk.size(), start + 1000101);
}

}  // namespace
