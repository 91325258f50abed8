// The bytes of record files, for both widths of offsets.
#include "zandrel/storage/Hreclaim.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/record_bytes.h"
#include "tests/support/record_file.h"

namespace {

template <class F>
class HreclaimBytesTest : public Record_file_test<F> {};

TYPED_TEST_SUITE(HreclaimBytesTest, File_devices);

// The beginning of an index block: tag and count of keys.
std::string index_head(const char* key_count) {
    return from_hex("4a5b6c82") + from_hex(key_count);
}

TYPED_TEST(HreclaimBytesTest, NewFileIsItsHeaderAndAnEmptyIndex) {
    this->create();

    const std::string header = TestFixture::is_wide
                                   ? from_hex("4a5b6c81 00000000 00 00 0000 0000000000000014")
                                   : from_hex("4a5b6c80 00000000 00 00 0000 00000010");
    EXPECT_EQ(to_hex(this->disk.content()),
              to_hex(header + index_head("00000000") + zeros(128) + zeros(120)));
    EXPECT_EQ(this->file.index_offset, TestFixture::is_wide ? 20 : 16);
    EXPECT_EQ(this->file.index_space, 136U);
}

TYPED_TEST(HreclaimBytesTest, ItemIsAppendedAndPaddedToItsBlock) {
    this->create();

    this->add("ab", "xyz");

    // The item has 2 + 3 + 12 bytes. That is slot 5, a block of 32.
    EXPECT_EQ(to_hex(this->on_disk(this->new_size, 1000)),
              to_hex(from_hex("4a5b6c73 00000002 6162 00000003 78797a") + zeros(15)));
}

TYPED_TEST(HreclaimBytesTest, IndexListsKeysAndOffsets) {
    this->create();
    this->add("b", "");
    this->add(qtString("a\0", 2), "");

    this->file.WriteIndex();

    // Items of 13 and 14 bytes, each in a block of 16.
    const std::string keys =
        TestFixture::is_wide
            ? from_hex("00000002 6100 0000000000000124  00000001 62 0000000000000114")
            : from_hex("00000002 6100 00000120  00000001 62 00000110");
    const std::string block = index_head("00000002") + keys + zeros(128);
    EXPECT_EQ(to_hex(this->on_disk(this->first, 256)), to_hex(block + zeros(256 - block.size())));
    EXPECT_EQ(this->file.index_space, block.size());
}

TYPED_TEST(HreclaimBytesTest, HoleIsMarkedAndKeepsItsOtherBytes) {
    this->create();
    this->add("ab", "xyz");

    this->file.DeleteItem("ab");

    EXPECT_EQ(to_hex(this->on_disk(this->new_size, 1000)),
              to_hex(from_hex("deaddead 00000020 6162 00000003 78797a") + zeros(15)));
}

TYPED_TEST(HreclaimBytesTest, IndexListsHolesBySlotInTheOrderOfFreeing) {
    this->create();
    this->add("a", "");      // a block of 16
    this->add("b", "xyzt");  // 17 bytes, a block of 32
    this->add("c", "");      // a block of 16
    this->file.DeleteItem("c");
    this->file.DeleteItem("b");
    this->file.DeleteItem("a");

    this->file.WriteIndex();

    const std::string holes =
        zeros(4 * 4) + from_hex("00000002") +
        (TestFixture::is_wide ? from_hex("0000000000000144 0000000000000114 00000001 "
                                         "0000000000000124")
                              : from_hex("00000140 00000110 00000001 00000120"));
    const std::string block = index_head("00000000") + holes + zeros(4 * 26);
    EXPECT_EQ(to_hex(this->on_disk(this->first, block.size())), to_hex(block));
    EXPECT_EQ(this->file.index_space, 136 + 3 * this->width);
}

TYPED_TEST(HreclaimBytesTest, OwnersNumbersAreInTheHeader) {
    this->create();

    this->file.SetFileID(0xA1B2C3D5, 0x0102, 0x80);

    EXPECT_EQ(to_hex(this->on_disk(4, 8)), "a1 b2 c3 d5 80 00 01 02");
}

TYPED_TEST(HreclaimBytesTest, SettingTheOwnersNumbersKeepsTheState) {
    this->create();
    this->add("a", "");

    this->file.SetFileID(1, 2, 3);

    EXPECT_EQ(to_hex(this->on_disk(4, 8)), "00 00 00 01 03 01 00 02");
}

TYPED_TEST(HreclaimBytesTest, StateIsOneByte) {
    this->create();

    this->file.SetState(0xFE);

    EXPECT_EQ(to_hex(this->on_disk(4, 8)), "00 00 00 00 00 fe 00 00");
}

TYPED_TEST(HreclaimBytesTest, MovedIndexLeavesAHoleAndIsPadded) {
    this->create();
    // Makes an index of 256 bytes. A block of 256 can have an index of at most 255.
    const std::string key(TestFixture::is_wide ? 108 : 112, 'k');
    this->add(key, "");  // a block of 128

    this->file.WriteIndex();

    const auto moved = static_cast<std::uint32_t>(this->new_size) + 128;
    EXPECT_EQ(to_hex(this->on_disk(this->first, 8)), "de ad de ad 00 00 01 00");
    EXPECT_EQ(to_hex(this->on_disk(12, this->width)), to_hex(this->packed_offset(moved)));
    const std::string block = index_head("00000001") + packed(static_cast<unsigned>(key.size())) +
                              key + this->packed_offset(moved - 128) + zeros(4 * 8) +
                              from_hex("00000001") + this->packed_offset(this->first) +
                              zeros(4 * 23);
    EXPECT_EQ(block.size(), 256 + this->width);
    EXPECT_EQ(to_hex(this->on_disk(static_cast<typename TypeParam::Offset>(moved), 1000)),
              to_hex(block + zeros(512 - block.size())));
}

TYPED_TEST(HreclaimBytesTest, KeysOfNumbersAreTheirPackedBytes) {
    EXPECT_EQ(to_hex(this->file.MakeStringKey(0).view()), "00 00 00 00");
    EXPECT_EQ(to_hex(this->file.MakeStringKey(0x01020304).view()), "01 02 03 04");
    EXPECT_LT(this->file.MakeStringKey(255), this->file.MakeStringKey(256));
}

}  // namespace
