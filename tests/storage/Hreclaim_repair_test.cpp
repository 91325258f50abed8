// The scan for items that are not in the index.
#include "zandrel/storage/Hreclaim.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/record_file.h"

namespace {

template <class F>
class HreclaimRepairTest : public Record_file_test<F> {
protected:
    // Adds a block after the end of the file; it is not in the index.
    void append(std::string bytes, std::size_t block_size) {
        bytes.resize(block_size);
        this->disk.write(this->disk.content() + bytes);
    }

    // Runs the scan over the file on the disk.
    void repair() {
        Hreclaim<F> repaired;
        ASSERT_FALSE(repaired.Open(this->disk.path(), false, false));
        repaired.MarkDeleted602Records();
        EXPECT_FALSE(repaired.dirty);
        EXPECT_EQ(repaired.state, 0);
        for (const auto& blocks : repaired.holes) {
            EXPECT_TRUE(blocks.empty());
        }
        repaired.Close();
    }
};

TYPED_TEST_SUITE(HreclaimRepairTest, File_devices);

TYPED_TEST(HreclaimRepairTest, FileWithoutStaleItemsIsUnchanged) {
    this->create();
    this->add("a", "1");
    this->add("b", std::string(100, '2'));
    this->file.Close();
    const std::string before = this->disk.content();

    this->repair();

    EXPECT_EQ(to_hex(this->disk.content()), to_hex(before));
}

TYPED_TEST(HreclaimRepairTest, OnlyTheStaleCopyAtTheEarlierPlaceIsMarked) {
    this->create();
    this->add("x", "stale");  // 18 bytes, a block of 32
    this->add("y", "other");
    this->file.Close();
    // We change the key of the first item to "y". The index has that key at another place, so this
    // item is a stale copy.
    this->disk.patch(static_cast<std::size_t>(this->new_size) + 8, "y");
    const std::string before = this->disk.content();
    std::string after = before;
    after.replace(static_cast<std::size_t>(this->new_size), 8, from_hex("deaddead 00000020"));

    this->repair();

    EXPECT_EQ(to_hex(this->disk.content()), to_hex(after));
}

TYPED_TEST(HreclaimRepairTest, ItemsOfUnknownKeysAreMarked) {
    this->create();
    this->file.Close();
    this->append(this->item("lost", "1"), 32);
    this->append(this->item("lost too", ""), 32);

    this->repair();

    EXPECT_EQ(this->on_disk(this->new_size, 8), from_hex("deaddead 00000020"));
    EXPECT_EQ(this->on_disk(this->new_size + 32, 8), from_hex("deaddead 00000020"));
}

TYPED_TEST(HreclaimRepairTest, HolesAreSkippedInOneStep) {
    this->create();
    this->file.Close();
    // Bytes in a hole that look like an item are not an item.
    std::string hole = from_hex("deaddead 00000040") + this->item("in a hole", "");
    this->append(hole, 64);
    this->append(this->item("lost", ""), 32);

    this->repair();

    hole.resize(64);
    EXPECT_EQ(to_hex(this->on_disk(this->new_size, 64)), to_hex(hole));
    EXPECT_EQ(this->on_disk(this->new_size + 64, 8), from_hex("deaddead 00000020"));
}

TYPED_TEST(HreclaimRepairTest, HoleAtTheEndOfTheFileIsSkippedInOneStep) {
    this->create();
    this->file.Close();
    std::string hole = from_hex("deaddead 00000040") + this->item("in a hole", "");
    this->append(hole, 64);

    this->repair();

    hole.resize(64);
    EXPECT_EQ(to_hex(this->on_disk(this->new_size, 64)), to_hex(hole));
}

TYPED_TEST(HreclaimRepairTest, UnknownBytesAreSkippedOneByOne) {
    struct Row {
        const char* what;
        std::string unknown;
    };

    const std::string long_key(129, 'k');
    for (const Row& row :
         {Row{"noise", "noise"}, Row{"hole of no length", from_hex("deaddead 00000000")},
          Row{"hole past the end", from_hex("deaddead 7fffffff")},
          Row{"hole of 4 GiB", from_hex("deaddead ffffffff")},
          Row{"long key", this->item(long_key, "")},
          Row{"key past the end", from_hex("4a5b6c73 00000080")},
          Row{"data past the end", from_hex("4a5b6c73 00000001 61 00000100")},
          Row{"data of 4 GiB", from_hex("4a5b6c73 00000001 61 ffffffff")}}) {
        SCOPED_TRACE(row.what);
        std::remove(this->disk.path().c_str());
        this->create();
        this->file.Close();
        this->append(row.unknown, row.unknown.size());
        this->append(this->item("lost", ""), 32);

        this->repair();

        EXPECT_EQ(to_hex(this->on_disk(this->new_size, row.unknown.size() + 8)),
                  to_hex(row.unknown + from_hex("deaddead 00000020")));
    }
}

TYPED_TEST(HreclaimRepairTest, KeysOf128BytesAreKnown) {
    this->create();
    this->file.Close();
    this->append(this->item(std::string(128, 'k'), ""), 256);

    this->repair();

    EXPECT_EQ(this->on_disk(this->new_size, 8), from_hex("deaddead 00000100"));
}

// The item has 16 bytes. Its block would end one byte behind the end of the file.
TYPED_TEST(HreclaimRepairTest, ItemIsMarkedAlthoughItsBlockDoesNotFit) {
    this->create();
    this->file.Close();
    this->append(this->item("lost", ""), 31);
    const std::string rest = this->item("lost", "").substr(8);

    this->repair();

    EXPECT_EQ(to_hex(this->on_disk(this->new_size, 16)),
              to_hex(from_hex("deaddead 00000020") + rest));
    EXPECT_EQ(this->disk.content().size(), static_cast<std::size_t>(this->new_size) + 31);
}

TYPED_TEST(HreclaimRepairTest, FileTooShortForAnItemIsUnchanged) {
    // The file has no index, so Open() would refuse it. We open only its device and call the scan.
    this->create();
    this->file.Close();
    this->disk.resize(static_cast<std::uint64_t>(this->first) + 11);
    const std::string before = this->disk.content();
    this->file.io.device->Open(this->disk.path(), 'u');

    this->file.MarkDeleted602Records();

    EXPECT_EQ(this->disk.content(), before);
}

}  // namespace
