// The index block, and the state that says if it is current.
#include "zandrel/storage/Hreclaim.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/record_file.h"

namespace {

template <class F>
class HreclaimIndexTest : public Record_file_test<F> {
protected:
    // Returns a key with which the index has this size if the file has no hole.
    static qtString key_for(std::size_t index_size) {
        return std::string(index_size - 136 - 4 - Record_file_test<F>::width, 'k');
    }

    int index_offset_on_disk() const {
        const std::string bytes = this->on_disk(12, this->width);
        return static_cast<unsigned char>(bytes.at(this->width - 2)) * 256 +
               static_cast<unsigned char>(bytes.at(this->width - 1));
    }
};

TYPED_TEST_SUITE(HreclaimIndexTest, File_devices);

TYPED_TEST(HreclaimIndexTest, EachChangeMarksTheFileBeforeItReturns) {
    this->create();

    this->add("a", "1");

    EXPECT_EQ(this->state_on_disk(), 1);
    EXPECT_EQ(this->on_disk(this->new_size, 14), this->item("a", "1"));
    this->file.WriteIndex();
    EXPECT_EQ(this->state_on_disk(), 0);
    this->file.DeleteItem("a");
    EXPECT_EQ(this->state_on_disk(), 1);
    EXPECT_EQ(this->on_disk(this->new_size, 4), from_hex("deaddead"));
}

TYPED_TEST(HreclaimIndexTest, LaterChangesAreInTheFileToo) {
    this->create();
    this->add("a", "1");

    this->add("b", "2");

    EXPECT_EQ(this->on_disk(this->new_size + 16, 14), this->item("b", "2"));
}

TYPED_TEST(HreclaimIndexTest, OnlyOneBitOfTheStateChanges) {
    this->create();
    this->file.SetState(0xA4);

    this->add("a", "1");

    EXPECT_EQ(this->file.state, 0xA5);
    this->file.WriteIndex();
    unsigned char state = 0;
    this->file.GetState(state);
    EXPECT_EQ(state, 0xA4);
    EXPECT_EQ(to_hex(this->on_disk(9, 1)), "a4");
}

TYPED_TEST(HreclaimIndexTest, MarkedFileIsStaleAndKeepsTheOtherBits) {
    this->create();
    this->file.SetState(0x42);
    EXPECT_FALSE(this->file.IsStale());

    this->file.MarkStale();

    EXPECT_TRUE(this->file.IsStale());
    EXPECT_EQ(this->disk.content().at(9), 0x43);
    this->file.SetState(0x42);
    EXPECT_FALSE(this->file.IsStale());
}

TYPED_TEST(HreclaimIndexTest, WithoutAChangeNothingIsWritten) {
    this->create();
    this->disk.patch(static_cast<std::size_t>(this->first), "????");

    this->file.WriteIndex();
    this->file.Close();

    EXPECT_EQ(this->on_disk(this->first, 4), "????");
}

TYPED_TEST(HreclaimIndexTest, ObjectDestroyedAfterAChangeLeavesTheFileMarked) {
    this->create();
    {
        Hreclaim<TypeParam> dropped;
        dropped.Open(this->disk.path(), false, false);
        dropped.AddItem("a", record_of("1"));
    }

    this->file.Open(this->disk.path(), false, true);

    EXPECT_EQ(this->file.state, 1);
    EXPECT_FALSE(this->file.Exists("a"));
}

TYPED_TEST(HreclaimIndexTest, OpeningDoesNotClearTheMark) {
    this->create();
    this->file.SetState(1);

    this->reopen();
    this->file.Close();

    EXPECT_EQ(this->state_on_disk(), 1);
}

TYPED_TEST(HreclaimIndexTest, LargeIndexMovesToTheEnd) {
    this->create();
    const qtString key = this->key_for(256);
    this->add(key, "");  // a block of 128

    this->file.WriteIndex();

    EXPECT_EQ(this->file.index_offset, this->new_size + 128);
    EXPECT_EQ(this->index_offset_on_disk(), static_cast<int>(this->new_size) + 128);
    EXPECT_EQ(this->file.index_space, 256 + this->width);
    EXPECT_EQ(this->file.holes[8], std::vector{this->first});
    EXPECT_EQ(this->disk.size(), static_cast<std::size_t>(this->new_size) + 128 + 512);
    this->reopen();
    EXPECT_EQ(this->get(key), "");
    EXPECT_EQ(this->file.holes[8], std::vector{this->first});
    EXPECT_EQ(this->file.index_space, 256 + this->width);
}

TYPED_TEST(HreclaimIndexTest, IndexJustBelowItsLimitStays) {
    this->create();
    this->add(this->key_for(255), "");

    this->file.WriteIndex();

    EXPECT_EQ(this->file.index_offset, this->first);
    EXPECT_EQ(this->file.index_space, 255U);
}

TYPED_TEST(HreclaimIndexTest, IndexMovesToTheNextSlotIfItsOwnHoleMakesItTooLarge) {
    this->create();
    this->add(this->key_for(512 - this->width), "");  // a block of 512

    this->file.WriteIndex();

    EXPECT_EQ(this->file.index_space, 512U);
    EXPECT_EQ(this->file.index_offset, this->new_size + 512);
    EXPECT_EQ(this->disk.size(), static_cast<std::size_t>(this->new_size) + 512 + 1024);
    this->reopen();
    EXPECT_EQ(this->file.GetIndexSize(), 1U);
}

TYPED_TEST(HreclaimIndexTest, IndexMovesIntoAHoleOfItsSlot) {
    this->create();
    const qtString key = this->key_for(256);
    this->add(key, "");
    this->file.WriteIndex();
    this->file.DeleteItem(key);
    const std::uint64_t size = this->disk.size();

    this->file.WriteIndex();

    // There were two holes: that of the item, and one of the slot that the index needs. The index
    // moves into the second and leaves its block of 512 as a hole.
    EXPECT_EQ(this->file.index_offset, this->first);
    EXPECT_EQ(this->index_offset_on_disk(), static_cast<int>(this->first));
    EXPECT_EQ(this->file.index_space, 136 + 2 * this->width);
    EXPECT_TRUE(this->file.holes[8].empty());
    EXPECT_EQ(this->file.holes[9], std::vector{this->new_size + 128});
    EXPECT_EQ(this->on_disk(this->new_size + 128, 8), from_hex("deaddead 00000200"));
    EXPECT_EQ(this->disk.size(), size);
    this->reopen();
    EXPECT_EQ(this->file.holes[9], std::vector{this->new_size + 128});
}

TYPED_TEST(HreclaimIndexTest, MovedIndexTakesTheBlockFreedLast) {
    this->create();
    // Items of 413 bytes are in blocks of 512, and the index will need such a block too.
    this->add("a", std::string(400, 'x'));
    this->add("b", std::string(400, 'x'));
    this->file.DeleteItem("b");
    this->file.DeleteItem("a");
    this->add(this->key_for(256), "");

    this->file.WriteIndex();

    EXPECT_EQ(this->file.index_offset, this->new_size);
    EXPECT_EQ(this->file.holes[9], std::vector{this->new_size + 512});
    EXPECT_EQ(this->file.holes[8], std::vector{this->first});
    EXPECT_EQ(this->file.index_space, 256 + 2 * this->width);
    const auto behind = static_cast<typename TypeParam::Offset>(256 + 2 * this->width);
    EXPECT_EQ(this->on_disk(this->new_size + behind, 8), "xxxxxxxx");
}

TYPED_TEST(HreclaimIndexTest, ClosingWritesTheIndexAndEmptiesTheObject) {
    this->create();
    this->add("a", "1");
    this->add("b", "1");
    this->file.DeleteItem("a");

    this->file.Close();

    EXPECT_EQ(this->state_on_disk(), 0);
    EXPECT_EQ(this->file.GetIndexSize(), 0U);
    EXPECT_TRUE(this->file.holes[4].empty());
    EXPECT_EQ(this->file.io.device->file, nullptr);
}

TYPED_TEST(HreclaimIndexTest, ClosingTwiceIsHarmless) {
    this->create();
    this->add("a", "1");
    this->file.Close();
    const std::string closed = this->disk.content();

    this->file.Close();

    EXPECT_EQ(this->disk.content(), closed);
}

TYPED_TEST(HreclaimIndexTest, ClosingAnObjectNeverOpenedIsHarmless) {
    EXPECT_NO_THROW(this->file.Close());
}

// The owner of a record file can derive a class of its own, as this one.
template <class F>
struct Watched_file : Hreclaim<F> {
    void WriteIndex() override {
        ++calls;
        Hreclaim<F>::WriteIndex();
    }

    unsigned int calls = 0;
};

TYPED_TEST(HreclaimIndexTest, MakingAndClosingAFileCallTheVirtualWriteIndex) {
    Watched_file<TypeParam> watched;

    watched.Open(this->disk.path(), true, false);
    EXPECT_EQ(watched.calls, 1U);
    watched.Close();

    EXPECT_EQ(watched.calls, 2U);
}

}  // namespace
