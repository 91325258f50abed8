// Tests of files that opening refuses, and of the reports of damage.
#include "zandrel/storage/Hreclaim.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtFile.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/record_file.h"

namespace {

template <class F>
class HreclaimOpenTest : public Record_file_test<F> {
protected:
    // A closed file. The item "a" with the data "1" is in the first block after the index, and a
    // hole of 16 bytes follows.
    void make() {
        this->create();
        this->add("a", "1");
        this->add("b", "2");
        this->file.DeleteItem("b");
        this->file.Close();
    }

    void open() { this->file.Open(this->disk.path(), false, false); }

    // The positions in the file at which the index has the offset of the item "a" and the number of
    // holes of slot 4.
    static std::size_t place_of_item() { return Record_file_test<F>::first + 13; }

    static std::size_t hole_count() { return place_of_item() + Record_file_test<F>::width + 16; }

    std::string name() const { return this->disk.path().str(); }
};

TYPED_TEST_SUITE(HreclaimOpenTest, File_devices);

TYPED_TEST(HreclaimOpenTest, OpenReturnsWhetherItMadeTheFile) {
    EXPECT_TRUE(this->file.Open(this->disk.path(), true, false));
    this->file.Close();

    EXPECT_FALSE(this->file.Open(this->disk.path(), true, false));
}

TYPED_TEST(HreclaimOpenTest, MissingFileIsReportedAndNotMade) {
    EXPECT_QTX_ARGS(this->open(), AbstractHreclaim, 5, "File does not exist: " + this->name(),
                    {this->disk.path()});

    EXPECT_FALSE(qtFile::exists(this->disk.path()));
}

TYPED_TEST(HreclaimOpenTest, FileThatCannotBeMadeIsReported) {
    this->disk.write("");
    const qtString name = this->disk.path() + "/below";

    EXPECT_QTX_ARGS(this->file.Open(name, true, false), HioErr, 0,
                    "Cannot open file: " + name.str(), {name});

    EXPECT_NO_THROW(this->file.Close());
}

TYPED_TEST(HreclaimOpenTest, WrongMagicIsReported) {
    this->make();
    // The magic number of the other width.
    const std::string other = TestFixture::is_wide ? "80" : "81";
    this->disk.patch(3, from_hex(other));

    EXPECT_QTX_ARGS(this->open(), AbstractHreclaim, 0,
                    "Input file is not in expected format: " + this->name(), {this->disk.path()});

    EXPECT_EQ(this->file.io.device->file, nullptr);
}

TYPED_TEST(HreclaimOpenTest, ForeignFileIsUnchangedAfterTheNextClose) {
    const std::string foreign(300, 'f');
    this->create();
    this->add("a", "1");
    this->disk.write(foreign);

    EXPECT_QTX(this->open(), AbstractHreclaim, 0,
               "Input file is not in expected format: " + this->name());
    this->file.Close();

    EXPECT_EQ(this->disk.content(), foreign);
}

TYPED_TEST(HreclaimOpenTest, FileThatEndsInItsHeaderIsAShortRead) {
    this->make();
    for (const std::uint64_t size : {std::uint64_t{11}, std::uint64_t{3}, std::uint64_t{0}}) {
        SCOPED_TRACE(size);
        this->disk.resize(size);
        EXPECT_QTX_ARGS(this->open(), HioErr, 3, "Read error in file " + this->name(),
                        {this->disk.path()});
    }
}

TYPED_TEST(HreclaimOpenTest, WrongIndexOffsetIsReported) {
    struct Row {
        const char* what;
        std::uint32_t offset;
    };

    this->make();
    for (const Row& row : {Row{"none", 0}, Row{"wrong tag", 24}, Row{"inside the header", 4},
                           Row{"behind the end", 5000}, Row{"before the start", 0xffffffff}}) {
        SCOPED_TRACE(row.what);
        // The owner's id at 4 has the value of the index tag, but must not be accepted as one.
        this->disk.patch(4, from_hex("4a5b6c82"));
        const bool is_negative = row.offset == 0xffffffff && TestFixture::is_wide;
        this->disk.patch(12,
                         is_negative ? std::string(8, '\xff') : this->packed_offset(row.offset));
        EXPECT_QTX_ARGS(this->open(), AbstractHreclaim, 1, "Cannot read index",
                        {this->disk.path()});
        EXPECT_EQ(this->file.io.device->file, nullptr);
        EXPECT_EQ(this->file.file_id, 0U);
    }
}

TYPED_TEST(HreclaimOpenTest, IndexThatEndsInItsCountIsReported) {
    this->make();
    this->disk.resize(static_cast<std::uint64_t>(this->first) + 7);

    EXPECT_QTX(this->open(), AbstractHreclaim, 1, "Cannot read index");
}

TYPED_TEST(HreclaimOpenTest, ImpossibleCountsAndLengthsAreShortReads) {
    struct Row {
        const char* what;
        std::size_t position;
    };

    this->make();
    const std::string whole = this->disk.content();
    const auto block = static_cast<std::size_t>(this->first);
    for (const Row& row : {Row{"count of keys", block + 4}, Row{"length of a key", block + 8},
                           Row{"count of holes", this->hole_count()}}) {
        SCOPED_TRACE(row.what);
        for (const std::uint32_t count : {0x1000U, 0x7fffffffU, 0xffffffffU}) {
            SCOPED_TRACE(count);
            this->disk.write(whole);
            this->disk.patch(row.position, packed(count));
            EXPECT_QTX_ARGS(this->open(), HioErr, 3, "Read error in file " + this->name(),
                            {this->disk.path()});
            EXPECT_EQ(this->file.GetIndexSize(), 0U);
        }
    }
}

TYPED_TEST(HreclaimOpenTest, ImpossibleHolesAreShortReads) {
    this->make();
    const auto end = static_cast<std::uint32_t>(this->disk.size());
    for (const std::uint32_t offset : {0U, static_cast<std::uint32_t>(this->first) - 1, end - 7,
                                       end, 0xfffffff0U, static_cast<std::uint32_t>(this->first)}) {
        SCOPED_TRACE(offset);
        this->disk.patch(this->hole_count() + 4, this->packed_offset(offset));
        EXPECT_QTX_ARGS(this->open(), HioErr, 3, "Read error in file " + this->name(),
                        {this->disk.path()});
    }
    this->disk.patch(this->hole_count() + 4, this->packed_offset(end - 16));
    EXPECT_NO_THROW(this->open());
}

TYPED_TEST(HreclaimOpenTest, HoleWhoseBlockIsCutBehindItsSizeIsAccepted) {
    this->make();
    const std::string whole = this->disk.content();
    this->disk.resize(whole.size() - 8);
    this->open();
    this->add("b", "3");  // in the hole
    this->file.Close();

    this->open();
    EXPECT_EQ(this->get("b"), "3");
    this->file.Close();
    this->disk.write(whole.substr(0, whole.size() - 9));
    EXPECT_QTX_ARGS(this->open(), HioErr, 3, "Read error in file " + this->name(),
                    {this->disk.path()});
}

TYPED_TEST(HreclaimOpenTest, FileWithoutItsLastPaddingOpensAfterADelete) {
    this->create();
    this->add("a", std::string(20, 'a'));
    this->file.Close();
    this->disk.resize(this->disk.size() - 31);  // 33 of 64 bytes remain: tag, lengths, key, data
    this->open();
    this->file.DeleteItem("a");
    this->file.Close();

    this->open();
    EXPECT_EQ(this->file.holes[6].size(), 1U);
    this->add("c", std::string(20, 'c'));
    EXPECT_EQ(this->get("c"), std::string(20, 'c'));
}

// The hole has 16 bytes. If it begins up to 15 bytes before the item "a", it contains the start of
// the item. If it begins 4 bytes behind the item's start, it does not, although both overlap.
TYPED_TEST(HreclaimOpenTest, HoleInWhichAnItemStartsIsAShortRead) {
    this->make();
    const auto item = static_cast<std::uint32_t>(this->new_size);
    for (const std::uint32_t offset : {item, item - 4, item - 15}) {
        SCOPED_TRACE(offset);
        this->disk.patch(this->hole_count() + 4, this->packed_offset(offset));
        EXPECT_QTX_ARGS(this->open(), HioErr, 3, "Read error in file " + this->name(),
                        {this->disk.path()});
        EXPECT_EQ(this->file.GetIndexSize(), 0U);
    }
    for (const std::uint32_t offset : {item - 16, item + 4}) {
        SCOPED_TRACE(offset);
        this->disk.patch(this->hole_count() + 4, this->packed_offset(offset));
        EXPECT_NO_THROW(this->open());
    }
}

TYPED_TEST(HreclaimOpenTest, ItemBehindASmallHoleInALargeHoleIsAShortRead) {
    this->make();
    const auto item = static_cast<std::uint64_t>(this->new_size);
    this->open();
    this->file.holes[4] = {static_cast<typename TypeParam::Offset>(item - 48)};
    this->file.holes[6] = {static_cast<typename TypeParam::Offset>(item - 63)};
    this->file.dirty = true;
    this->file.Close();

    EXPECT_QTX(this->open(), HioErr, 3, "Read error in file " + this->name());
}

TYPED_TEST(HreclaimOpenTest, HoleInWhichTheIndexStartsIsAShortRead) {
    this->create();
    this->add("a", std::string(20, 'a'));
    for (char key = 'b'; key <= 'z'; ++key) {
        this->add(std::string(1, key), "1");
    }
    this->file.Close();  // the index is behind the items
    this->open();
    this->file.holes[6] = {static_cast<typename TypeParam::Offset>(this->file.index_offset - 4)};
    this->file.dirty = true;
    this->file.Close();

    EXPECT_QTX(this->open(), HioErr, 3, "Read error in file " + this->name());
}

TYPED_TEST(HreclaimOpenTest, HoleListedTwiceIsAShortRead) {
    this->make();
    this->open();
    this->file.holes[4].push_back(this->file.holes[4].front());
    this->file.dirty = true;
    this->file.Close();

    EXPECT_QTX(this->open(), HioErr, 3, "Read error in file " + this->name());
}

// With a repeated key, one of two items would be missing without an error.
TYPED_TEST(HreclaimOpenTest, KeyListedTwiceIsAShortRead) {
    this->create();
    this->add("a", "1");
    this->add("b", "2");
    this->file.Close();
    // The second key follows the first offset and its own length.
    this->disk.patch(this->place_of_item() + TestFixture::width + 4, "a");

    EXPECT_QTX_ARGS(this->open(), HioErr, 3, "Read error in file " + this->name(),
                    {this->disk.path()});
}

TYPED_TEST(HreclaimOpenTest, KeysInAnotherOrderAreAccepted) {
    this->create();
    this->add("a", "1");
    this->add("c", "2");
    this->file.Close();
    this->disk.patch(this->place_of_item() - 1, "c");
    this->disk.patch(this->place_of_item() + TestFixture::width + 4, "b");

    this->open();

    EXPECT_TRUE(this->file.Exists("b"));
    EXPECT_TRUE(this->file.Exists("c"));
}

TYPED_TEST(HreclaimOpenTest, ItemWithAWrongTagIsReported) {
    this->make();
    this->disk.patch(static_cast<std::size_t>(this->new_size), "x");
    const std::string before = this->disk.content();
    this->open();
    const char* const text = "Key points to invalid item: a";

    EXPECT_QTX_ARGS(this->get("a"), AbstractHreclaim, 2, text, {this->disk.path(), "a"});
    EXPECT_QTX_ARGS(this->add("a", ""), AbstractHreclaim, 2, text, {this->disk.path(), "a"});
    EXPECT_QTX_ARGS(this->file.RequireAddable("a", 0), AbstractHreclaim, 2, text,
                    {this->disk.path(), "a"});
    EXPECT_NO_THROW(this->file.RequireAddable("b", 0));
    EXPECT_QTX_ARGS(this->file.DeleteItem("a"), AbstractHreclaim, 2, text,
                    {this->disk.path(), "a"});
    this->file.Close();
    EXPECT_EQ(this->disk.content(), before);
}

TYPED_TEST(HreclaimOpenTest, ItemWithAnotherKeyIsReported) {
    this->make();
    this->disk.patch(static_cast<std::size_t>(this->new_size) + 8, "b");
    this->open();

    EXPECT_QTX_ARGS(this->get("a"), AbstractHreclaim, 2, "Key points to wrong item: a",
                    {this->disk.path(), "a"});
    // When an item is replaced, only the lengths of the keys are compared.
    this->add("a", "3");
    EXPECT_EQ(this->get("a"), "3");
}

TYPED_TEST(HreclaimOpenTest, ItemWithAKeyOfAnotherLengthIsReported) {
    this->make();
    this->disk.patch(static_cast<std::size_t>(this->new_size) + 4, packed(2));
    this->open();

    EXPECT_QTX(this->get("a"), AbstractHreclaim, 2, "Key points to wrong item: a");
    EXPECT_QTX(this->file.DeleteItem("a"), AbstractHreclaim, 2, "Key points to invalid item: a");
}

TYPED_TEST(HreclaimOpenTest, EmptyKeyIsComparedToo) {
    this->create();
    this->add("", "12345678");
    this->file.Close();
    this->disk.patch(static_cast<std::size_t>(this->new_size) + 4, packed(1));
    this->open();

    EXPECT_QTX(this->get(""), AbstractHreclaim, 2, "Key points to wrong item: ");
}

TYPED_TEST(HreclaimOpenTest, ImpossibleLengthsOfAnItemAreShortReads) {
    this->make();
    const std::string text = "Read error in file " + this->name();
    this->disk.patch(static_cast<std::size_t>(this->new_size) + 9, packed(0xffffffff));
    this->open();

    EXPECT_QTX(this->get("a"), HioErr, 3, text);
    EXPECT_QTX(this->add("a", ""), HioErr, 3, text);
    EXPECT_QTX(this->file.DeleteItem("a"), HioErr, 3, text);

    this->file.Close();
    this->disk.patch(static_cast<std::size_t>(this->new_size) + 4, packed(0xffffffff));
    this->open();
    EXPECT_QTX(this->get("a"), HioErr, 3, text);
}

TYPED_TEST(HreclaimOpenTest, ItemBehindTheEndIsAShortRead) {
    this->make();
    this->disk.patch(this->place_of_item(), this->packed_offset(5000));
    this->open();

    EXPECT_QTX(this->get("a"), HioErr, 3, "Read error in file " + this->name());
}

TYPED_TEST(HreclaimOpenTest, ItemBeforeTheStartIsAnInvalidOffset) {
    this->make();
    this->disk.patch(this->place_of_item(), std::string(this->width, '\xff'));
    this->open();

    EXPECT_QTX(this->get("a"), HioErr, 2, "Invalid file offset in file " + this->name());
}

TYPED_TEST(HreclaimOpenTest, ReadOnlyFileIsNeverChanged) {
    this->make();
    const std::string before = this->disk.content();
    this->file.Open(this->disk.path(), false, true);
    EXPECT_EQ(this->get("a"), "1");

    EXPECT_QTX_ARGS(this->add("b", "2"), HioErr, 4, "File is not open for writing",
                    {this->disk.path()});

    EXPECT_FALSE(this->file.dirty);
    EXPECT_EQ(this->file.state, 0);
    this->file.Close();
    EXPECT_EQ(this->disk.content(), before);
}

TYPED_TEST(HreclaimOpenTest, OpeningAnotherFileClearsTheObject) {
    this->make();
    this->open();
    this->add("c", "3");

    this->open();

    EXPECT_FALSE(this->file.Exists("c"));
    EXPECT_FALSE(this->file.dirty);
    EXPECT_EQ(this->file.state, 1);
    EXPECT_EQ(this->get("a"), "1");
}

TEST(HreclaimLimitTest, ItemThatMakesTheFileTooLargeIsRefusedBeforeItIsWritten) {
    constexpr std::uint64_t kLargest = std::numeric_limits<int>::max();
    const Scratch_file disk;
    Hreclaim<Hfile32> file;
    file.Open(disk.path(), true, false);
    file.AddItem("old", record_of("1"));  // a block of 32
    file.Close();
    disk.resize(kLargest - 63);
    file.Open(disk.path(), false, false);

    EXPECT_QTX_ARGS(file.AddItem("old", record_of(std::string(20, 'x'))), HioErr, 4,
                    "Write error in file " + disk.path().str(), {disk.path()});

    EXPECT_TRUE(file.io.device->failed);
    EXPECT_EQ(file.state, 0);
    EXPECT_FALSE(file.dirty);
    file.Close();
    EXPECT_EQ(disk.size(), kLargest - 63);
    // The item to be replaced is still in the file.
    file.Open(disk.path(), false, false);
    SegBuf data;
    file.GetItem("old", data);
    EXPECT_EQ(bytes_of(data), "1");
}

TEST(HreclaimLimitTest, ItemMayEndAtTheLargestPosition) {
    constexpr std::uint64_t kLargest = std::numeric_limits<int>::max();
    const Scratch_file disk;
    Hreclaim<Hfile32> file;
    file.Open(disk.path(), true, false);
    file.Close();
    disk.resize(kLargest - 64);
    file.Open(disk.path(), false, false);

    file.AddItem("new", record_of(std::string(20, 'x')));
    file.Close();

    EXPECT_EQ(disk.size(), kLargest);
    file.Open(disk.path(), false, false);
    EXPECT_EQ(file.index.at("new"), kLargest - 64);
}

}  // namespace
