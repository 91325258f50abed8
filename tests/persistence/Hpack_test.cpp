#include "zandrel/persistence/Hpack.h"

#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/package.h"

namespace {

bool has_plain_device(const Hpack& pack) {
    const Generic32& device = *pack.io.device;
    return typeid(device) == typeid(Generic32);
}

template <class Place>
class HpackTest : public Package_test<Place> {};

TYPED_TEST_SUITE(HpackTest, Package_places);

TYPED_TEST(HpackTest, NewObjectHasAPlainDevice) {
    EXPECT_TRUE(has_plain_device(this->pack));
    EXPECT_TRUE(Package_identity(this->pack).is_bad);
    EXPECT_EQ(this->pack.GetIndexSize(), 0U);
    EXPECT_NO_THROW(this->pack.Close());
}

TYPED_TEST(HpackTest, WrittenItemsAreReadBack) {
    const std::string zero_key("\0k", 2);
    const std::string long_blob(3 * SegBuf::kSegmentSize + 5, 'l');
    this->open('w');
    this->add("long", long_blob);
    this->add(qtString(zero_key), "zero");
    this->add("", "no key");
    this->add("no data", "");
    this->pack.Close();

    this->open('r');

    EXPECT_EQ(this->pack.GetIndexSize(), 4U);
    EXPECT_EQ(this->get(""), "no key");
    EXPECT_TRUE(this->get("long") == long_blob);
    EXPECT_EQ(this->get("no data"), "");
    EXPECT_EQ(this->get(qtString(zero_key)), "zero");
}

TYPED_TEST(HpackTest, DataOfAnItemCanBeReadInPieces) {
    const std::string blob(3 * SegBuf::kSegmentSize + 5, 'l');
    this->open('w');
    this->add("long", blob);
    this->add("other", "o");
    this->pack.Close();
    this->open('r');

    const unsigned int size = this->pack.SeekItem("long");

    ASSERT_EQ(size, blob.size());
    std::string read(size, '\0');
    this->pack.io.ReadBytes(read.data(), 7);
    this->pack.io.ReadBytes(read.data() + 7, size - 7);
    EXPECT_TRUE(read == blob);
    EXPECT_EQ(this->get("other"), "o");
}

TYPED_TEST(HpackTest, IdentityOfTheOwnerIsKept) {
    this->open('w');
    this->pack.SetFileID(0xFEDCBA98, 0x7654, 0x32);
    this->pack.Close();

    this->open('r');

    const Package_identity identity(this->pack);
    EXPECT_EQ(identity.id, 0xFEDCBA98U);
    EXPECT_EQ(identity.version, 0x7654);
    EXPECT_EQ(identity.flags, 0x32);
    EXPECT_FALSE(identity.is_bad);
}

TYPED_TEST(HpackTest, ClosedObjectIsEmpty) {
    this->make();
    this->open('r');

    this->pack.Close();

    EXPECT_TRUE(has_plain_device(this->pack));
    EXPECT_TRUE(Package_identity(this->pack).is_bad);
    EXPECT_EQ(Package_identity(this->pack).id, 0U);
    EXPECT_EQ(this->pack.GetIndexSize(), 0U);
}

TYPED_TEST(HpackTest, PackageMayHaveNoItems) {
    this->open('w');
    this->pack.Close();

    this->open('r');

    EXPECT_FALSE(Package_identity(this->pack).is_bad);
    EXPECT_EQ(this->pack.GetIndexSize(), 0U);
}

TYPED_TEST(HpackTest, GetIndexOffsetReturnsTheOffsetInTheFile) {
    EXPECT_EQ(this->pack.GetIndexOffset(), 0U);
    this->open('w');
    EXPECT_EQ(this->pack.GetIndexOffset(), 0U);
    this->pack.Close();
    this->make();

    this->open('r');
    EXPECT_EQ(this->pack.GetIndexOffset(), 49U);

    this->place.hold("This is some text and no package.");
    this->open('r');
    EXPECT_EQ(this->pack.GetIndexOffset(), 0U);
}

TYPED_TEST(HpackTest, LastItemOfAKeyWins) {
    this->open('w');
    this->add("k", "first");
    this->add("k", "second");
    this->pack.Close();

    this->open('r');

    EXPECT_EQ(this->pack.GetIndexSize(), 1U);
    EXPECT_EQ(this->get("k"), "second");
}

TYPED_TEST(HpackTest, ItemIsOverwritten) {
    this->make();
    this->open('u');
    this->add("b", "OXEN", 16);
    this->pack.Close();

    this->open('r');

    EXPECT_EQ(this->get("a"), "one");
    EXPECT_EQ(this->get("b"), "OXEN");
}

TYPED_TEST(HpackTest, OverwritingTheHeaderIsRefused) {
    this->open('w');

    EXPECT_QTX_ARGS(this->add("k", "data", 15), HioErr, 2,
                    "Invalid file offset in file " + this->place.name(), {this->place.name()});
}

TYPED_TEST(HpackTest, ModeWReplacesAnExistingPackage) {
    this->make();
    this->open('w');
    this->add("c", "new");
    this->pack.Close();

    this->open('r');

    EXPECT_EQ(this->pack.GetIndexSize(), 1U);
    EXPECT_EQ(this->get("c"), "new");
    EXPECT_EQ(Package_identity(this->pack).id, 0U);
}

TYPED_TEST(HpackTest, ModeUAddsToAnExistingPackage) {
    this->make();
    this->open('u');
    this->add("c", "new");
    this->add("a", "another");
    this->pack.Close();

    this->open('r');

    EXPECT_EQ(this->pack.GetIndexSize(), 3U);
    EXPECT_EQ(this->get("a"), "another");
    EXPECT_EQ(this->get("b"), "oxen");
    EXPECT_EQ(this->get("c"), "new");
    EXPECT_EQ(Package_identity(this->pack).id, 0x278F9D40U);
}

TYPED_TEST(HpackTest, OldIndexRemainsUntilTheClose) {
    this->make();
    {
        Hpack broken_off;
        this->place.open(broken_off, 'u');
        add_item(broken_off, "a", "another");
        add_item(broken_off, "c", "new");
    }

    this->open('r');

    EXPECT_EQ(this->pack.GetIndexSize(), 2U);
    EXPECT_EQ(this->get("a"), "one");
}

TYPED_TEST(HpackTest, IdentityIsWrittenToTheHeaderAtOnce) {
    this->make();
    this->open('u');

    this->pack.SetFileID(1, 2, 3);

    EXPECT_EQ(to_hex(this->place.content().substr(0, 16)),
              "4a 5b 6c 84 00 00 00 01 03 00 00 02 00 00 00 31");
    EXPECT_EQ(this->place.content().size(), 75U);
}

TYPED_TEST(HpackTest, ReadOnlyPackageIsNotChanged) {
    this->make();
    const std::string before = this->place.content();

    for (const char mode : {'r', 'u'}) {
        SCOPED_TRACE(mode);
        this->open(mode);
        this->get("a");
        this->pack.Close();
        EXPECT_EQ(to_hex(this->place.content()), to_hex(before));
    }
}

TYPED_TEST(HpackTest, ChangeOfAReadOnlyPackageIsRefused) {
    this->make();
    const std::string before = this->place.content();

    this->open('r');
    EXPECT_QTX(this->add("c", "new"), HioErr, 4, "File is not open for writing");
    EXPECT_NO_THROW(this->pack.Close());
    this->open('r');
    EXPECT_QTX(this->pack.SetFileID(1, 2, 3), HioErr, 4, "File is not open for writing");
    EXPECT_NO_THROW(this->pack.Close());

    EXPECT_EQ(to_hex(this->place.content()), to_hex(before));
}

TYPED_TEST(HpackTest, FileThatIsNoPackageIsReportedAsBad) {
    const struct {
        const char* what;
        std::string content;
    } rows[] = {
        {"nothing", ""},
        {"less than a header", from_hex("4a5b6c84 00000007 01 00 0002 000000")},
        {"a record file", from_hex("4a5b6c80 00000007 01 00 0002 00000010") + zeros(256)},
        {"a text", "This is some text and no package."},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        this->place.hold(row.content);
        for (const char mode : {'r', 'u'}) {
            this->open(mode);

            const Package_identity identity(this->pack);
            EXPECT_TRUE(identity.is_bad);
            EXPECT_EQ(identity.id, 0U);
            EXPECT_EQ(identity.version, 0);
            EXPECT_EQ(identity.flags, 0);
            EXPECT_EQ(this->pack.GetIndexSize(), 0U);
        }
    }
}

TYPED_TEST(HpackTest, FileThatIsNoPackageIsNotChanged) {
    const std::string content = "This is some text and no package.";
    this->place.hold(content);
    this->open('u');

    EXPECT_QTX(this->add("k", "data"), HioErr, 4, "File is not open for writing");
    EXPECT_QTX(this->pack.SetFileID(1, 2, 3), HioErr, 4, "File is not open for writing");
    this->pack.Close();

    EXPECT_EQ(this->place.content(), content);
}

TYPED_TEST(HpackTest, PackageThatWasNotClosedIsRefused) {
    {
        Hpack dropped;
        this->place.open(dropped, 'w');
        add_item(dropped, "k", "data");
    }

    EXPECT_QTX_ARGS(this->open('r'), Hpack, 1, "Cannot read index", {this->place.name()});
    EXPECT_TRUE(has_plain_device(this->pack));
    EXPECT_TRUE(Package_identity(this->pack).is_bad);
}

// Positions in the package of make(): the index offset is at 12, the index at 49, its count at 53,
// the entry of "a" at 57 and the entry of "b" at 66.
TYPED_TEST(HpackTest, ImpossibleIndexIsRefused) {
    const struct {
        const char* what;
        std::size_t position;
        const char* bytes;
    } rows[] = {
        {"state", 9, "01"},
        {"another state", 9, "80"},
        {"no index", 12, "00000000"},
        {"index in the header", 12, "0000000f"},
        {"index at an item", 12, "00000010"},
        {"index at the end", 12, "0000004b"},
        {"index behind the end", 12, "00000131"},
        {"index before the start", 12, "80000031"},
        {"tag", 49, "4a5b6c83"},
        {"a key too many", 53, "00000003"},
        {"many keys", 53, "ffffffff"},
        {"length of a key", 57, "00000012"},
        {"large length of a key", 57, "ffffffff"},
        {"key out of order", 61, "63"},
        {"key twice", 70, "61"},
        {"item in the header", 62, "0000000f"},
        {"item at the index", 62, "00000031"},
        {"item behind the end", 62, "ffffffff"},
    };

    this->make();
    const std::string sound = this->place.content();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        this->place.hold(sound);
        this->patch(row.position, from_hex(row.bytes));

        const Allocation_meter meter;
        EXPECT_QTX(this->open('r'), Hpack, 1, "Cannot read index");
        EXPECT_LT(meter.bytes(), 100000U);
    }
}

TYPED_TEST(HpackTest, UnknownKeyIsRefused) {
    this->make();
    this->open('r');

    EXPECT_QTX_ARGS(this->get("c"), Hpack, 2, "Missing key in index: c", {this->place.name(), "c"});
    EXPECT_EQ(this->get("a"), "one");
}

// The item of "a" is at 33: its tag, the length of its key, its key (at 41) and the length of its
// data.
TYPED_TEST(HpackTest, ItemThatDiffersFromTheIndexIsRefused) {
    const struct {
        const char* what;
        std::size_t position;
        const char* bytes;
        const char* text;
    } rows[] = {
        {"tag", 33, "4a5b6c74", "Key points to invalid item: a"},
        {"key", 41, "62", "Key points to wrong item: a"},
        {"length of the key", 37, "00000002", "Key points to wrong item: a"},
        {"offset of another item", 62, "00000010", "Key points to wrong item: a"},
        {"offset in an item", 62, "00000022", "Key points to invalid item: a"},
    };

    this->make();
    const std::string sound = this->place.content();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        this->place.hold(sound);
        this->patch(row.position, from_hex(row.bytes));
        this->open('r');

        EXPECT_QTX_ARGS(this->get("a"), Hpack, 2, row.text, {this->place.name(), "a"});
        EXPECT_EQ(this->get("b"), "oxen");
    }
}

TYPED_TEST(HpackTest, ImpossibleLengthOfDataIsRefusedBeforeMemoryIsAllocated) {
    this->make();
    this->patch(42, from_hex("7fffffff"));
    this->open('r');

    const Allocation_meter meter;
    EXPECT_QTX(this->get("a"), HioErr, 3, "Read error in file " + this->place.name());
    EXPECT_LT(meter.bytes(), 100000U);
}

TYPED_TEST(HpackTest, OtherModesAreRefused) {
    this->make();
    this->open('r');

    EXPECT_QTX(this->open('x'), HioErr, 5, "Invalid open mode");
    EXPECT_TRUE(has_plain_device(this->pack));
    EXPECT_EQ(this->pack.GetIndexSize(), 0U);
}

TYPED_TEST(HpackTest, OpeningClosesThePreviousPackage) {
    Package_buffer other;
    this->open('w');
    this->add("k", "data");

    other.open(this->pack, 'w');
    this->pack.Close();

    EXPECT_QTX(this->open('r'), Hpack, 1, "Cannot read index");
}

TYPED_TEST(HpackTest, NoIndexIsWrittenAfterAFailedChange) {
    this->open('w');
    this->add("k", "data");
    EXPECT_THROW(this->add("bad", "data", 1), qtX<HioErr>);
    this->add("k2", "data");
    this->pack.Close();

    EXPECT_QTX(this->open('r'), Hpack, 1, "Cannot read index");
}

TEST(HpackFileTest, MissingFileIsReported) {
    const Scratch_file disk;
    Hpack pack;

    EXPECT_QTX(pack.Open(disk.path(), 'r'), HioErr, 0, "Cannot open file: " + disk.path().str());
    EXPECT_QTX(pack.Open(disk.path(), 'u'), HioErr, 0, "Cannot open file: " + disk.path().str());
}

// The head of the last item fits below 2^31 - 1 bytes, but its data do not.
TEST(HpackFileTest, PackageGrowsToTheLimitOfItsDevice) {
    const Scratch_file disk;
    Hpack pack;
    pack.Open(disk.path(), 'w');

    EXPECT_QTX(add_item(pack, "k", "some data", 0x7FFFFFF0), HioErr, 4,
               "Write error in file " + disk.path().str());
    EXPECT_NO_THROW(pack.Close());

    disk.resize(1000);
    EXPECT_QTX(pack.Open(disk.path(), 'r'), Hpack, 1, "Cannot read index");
}

TEST(HpackBufferTest, MissingBufferIsMade) {
    qtPtr<qtBuffer> buffer;
    Hpack pack;
    pack.Open(buffer, 'r');
    EXPECT_TRUE(Package_identity(pack).is_bad);
    EXPECT_TRUE(buffer.IsNull());

    pack.Open(buffer, 'w');
    pack.Close();

    ASSERT_FALSE(buffer.IsNull());
    EXPECT_EQ(buffer->bytes.size(), 24U);
    EXPECT_EQ(buffer.use_count(), 1U);
}

TEST(HpackKeyTest, KeysOfNumbersAreThoseOfRecordFiles) {
    Hreclaim<Hfile64> file;

    for (const unsigned int number : {0U, 1U, 0x01020304U, 0xFFFFFFFFU}) {
        EXPECT_EQ(Hpack::MakeStringKey(number), file.MakeStringKey(number)) << number;
    }
    EXPECT_EQ(to_hex(Hpack::MakeStringKey(0x01020304).view()), "01 02 03 04");
}

}  // namespace
