// The seal of packages: its bytes, worked out by hand; the parts that it covers; and the reports of
// damage.
#include "zandrel/persistence/Kc_seal.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/bitwise_crc.h"
#include "tests/support/document_bytes.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/package.h"

using zandrel::Kc_seal;

namespace {

void seal(Package_file& place) {
    Kc_seal::Write(place.disk.path());
}

void seal(Package_buffer& place) {
    Kc_seal::Write(place.buffer);
}

bool verify(Package_file& place) {
    return Kc_seal::Verify(place.disk.path());
}

bool verify(Package_buffer& place) {
    return Kc_seal::Verify(place.buffer);
}

// The number as four bytes, highest first.
std::string packed(std::uint32_t number) {
    return Hpack::MakeStringKey(number).str();
}

std::string text_of(std::string_view text) {
    return packed(static_cast<std::uint32_t>(text.size())) + std::string(text);
}

template <class Place>
class KcSealTest : public Package_test<Place> {
protected:
    static constexpr const char* kSeal = "__Seal__";
    // Tests with files take longer, so they use only every seventh bit. 7 and 8 have no common
    // divisor, so each bit of a byte still occurs.
    static constexpr std::size_t kStep = std::is_same_v<Place, Package_file> ? 7 : 1;

    // A closed package of a model, which by default takes more than one segment, its classifier,
    // and a manager's record.
    void make_container(const std::string& model = std::string(SegBuf::kSegmentSize + 100, 'm')) {
        this->open('w');
        this->pack.SetFileID(0x278F9D40, 2, 0x08);
        this->add(packed(1), model);
        this->add(packed(2), "classifier");
        this->add("__Manager__", "manager");
        this->pack.Close();
    }

    void make_sealed() {
        make_container();
        seal(this->place);
    }

    // Replaces an item of a sealed package. The package is still well formed afterwards.
    void replace(const qtString& key, std::string_view data) {
        this->open('u');
        this->add(key, data);
        this->pack.Close();
    }

    std::string sealed() {
        this->open('r');
        const std::string bytes = this->get(kSeal);
        this->pack.Close();
        return bytes;
    }

    std::string name() const { return this->place.name(); }
};

TYPED_TEST_SUITE(KcSealTest, Package_places);

TYPED_TEST(KcSealTest, SealHasFormItemsAndIdentity) {
    this->make_sealed();

    std::string identity = packed(0x278F9D40);
    identity += from_hex("00 02 08");
    EXPECT_EQ(
        to_hex(this->sealed()),
        to_hex(packed(1) + packed(3) + text_of(packed(1)) +
               packed(bitwise_crc(std::string(SegBuf::kSegmentSize + 100, 'm'))) +
               text_of(packed(2)) + packed(bitwise_crc("classifier")) + text_of("__Manager__") +
               packed(bitwise_crc("manager")) + packed(bitwise_crc(identity))));
}

// The file of Package_test::make has items at 16 and 33, and the index at 49.
TYPED_TEST(KcSealTest, SealTakesThePlaceOfTheIndex) {
    this->make();
    const std::string before = this->place.content();
    seal(this->place);

    const std::string after = this->place.content();
    EXPECT_EQ(to_hex(after.substr(0, 12)), to_hex(before.substr(0, 12)));
    EXPECT_EQ(to_hex(after.substr(16, 33)), to_hex(before.substr(16, 33)));
    EXPECT_EQ(to_hex(after.substr(12, 4)), "00 00 00 63");  // the index is at 99
    EXPECT_EQ(to_hex(after.substr(49, 4)), "4a 5b 6c 73");
    EXPECT_EQ(to_hex(after.substr(99, 4)), "4a 5b 6c 82");
    EXPECT_EQ(after.find(from_hex("4a 5b 6c 82")), 99U);  // no other index remains
    EXPECT_EQ(after.size(), 141U);
}

TYPED_TEST(KcSealTest, DocumentShowsTheFileThatIsSealed) {
    this->make();
    seal(this->place);

    EXPECT_EQ(to_hex(bytes_of_block(ZANDREL_KC_DOCUMENT, "sealed")), to_hex(this->place.content()));
}

TYPED_TEST(KcSealTest, ChecksumsOfTheDocumentEqualThoseOfBitwiseDivision) {
    const std::string shown = bytes_of_block(ZANDREL_KC_DOCUMENT, "sealed");
    ASSERT_EQ(shown.size(), 141U);

    EXPECT_EQ(shown.substr(82, 4), packed(bitwise_crc("one")));
    EXPECT_EQ(shown.substr(91, 4), packed(bitwise_crc("oxen")));
    EXPECT_EQ(shown.substr(95, 4), packed(bitwise_crc(from_hex("278F9D40 0002 00"))));
}

TYPED_TEST(KcSealTest, SealedFileIsVerified) {
    this->make_container();
    EXPECT_FALSE(verify(this->place));

    seal(this->place);

    EXPECT_TRUE(verify(this->place));
}

TYPED_TEST(KcSealTest, OpenPackageIsVerifiedAndStaysOpen) {
    this->make_container();
    seal(this->place);
    this->open('r');

    EXPECT_TRUE(Kc_seal::Verify(this->pack));

    EXPECT_EQ(this->get(packed(2)), "classifier");
}

TYPED_TEST(KcSealTest, ItemReadInSeveralPiecesHasTheChecksumOfTheWhole) {
    std::string large;
    for (unsigned int i = 0; i < 200000; ++i) {
        large += static_cast<char>(static_cast<unsigned char>(i / 1000));
    }
    this->make_container(large);
    seal(this->place);

    EXPECT_NE(this->sealed().find(text_of(packed(1)) + packed(bitwise_crc(large))),
              std::string::npos);
}

TYPED_TEST(KcSealTest, PackageWithoutItemsCanBeSealed) {
    this->open('w');
    this->pack.Close();

    seal(this->place);

    EXPECT_TRUE(verify(this->place));
    EXPECT_EQ(to_hex(this->sealed()),
              to_hex(packed(1) + packed(0) + packed(bitwise_crc(std::string(7, '\0')))));
}

TYPED_TEST(KcSealTest, ItemsOfASealedFileAreReadAsBefore) {
    this->make_sealed();

    this->open('r');

    EXPECT_TRUE(Kc_seal::IsIn(this->pack));
    EXPECT_EQ(this->get(packed(1)).size(), SegBuf::kSegmentSize + 100U);
    EXPECT_EQ(this->get(packed(2)), "classifier");
    EXPECT_EQ(this->get("__Manager__"), "manager");
    EXPECT_EQ(Package_identity(this->pack).flags, 0x08);
}

TYPED_TEST(KcSealTest, SealingTwiceReplacesTheSeal) {
    this->make_sealed();
    const std::string first = this->sealed();
    this->replace(packed(2), "another classifier");

    seal(this->place);

    EXPECT_TRUE(verify(this->place));
    EXPECT_NE(this->sealed(), first);
    EXPECT_EQ(this->sealed().size(), first.size());
    this->open('r');
    EXPECT_EQ(this->pack.GetIndexSize(), 4U);
}

TYPED_TEST(KcSealTest, FileThatIsNoPackageIsNotSealed) {
    const std::string text = "This is some text and no package.";
    this->place.hold(text);

    EXPECT_FALSE(verify(this->place));
    EXPECT_QTX(seal(this->place), HioErr, HioErr::kWriteFailed, "File is not open for writing");
    EXPECT_EQ(this->place.content(), text);
}

TYPED_TEST(KcSealTest, UnfinishedPackageIsNotSealed) {
    {
        Hpack dropped;
        this->place.open(dropped, 'w');
        add_item(dropped, "k", "data");
    }

    EXPECT_QTX(seal(this->place), Hpack, Hpack::kUnreadableIndex, "Cannot read index");
    EXPECT_QTX(verify(this->place), Hpack, Hpack::kUnreadableIndex, "Cannot read index");
}

TYPED_TEST(KcSealTest, UnicodeBitMayChange) {
    this->make_sealed();
    this->open('u');
    this->pack.SetFileID(0x278F9D40, 2, 0x88);
    this->pack.Close();

    EXPECT_TRUE(verify(this->place));
}

TYPED_TEST(KcSealTest, OtherChangesOfTheIdentityBreakTheSeal) {
    const struct {
        unsigned int id;
        unsigned short version;
        unsigned char flags;
    } rows[] = {{0x278F9D41, 2, 0x08}, {0x278F9D40, 1, 0x08}, {0x278F9D40, 0x0102, 0x08},
                {0x278F9D40, 2, 0x00}, {0x278F9D40, 2, 0x09}, {0x278F9D40, 2, 0x48}};

    this->make_sealed();
    for (const auto& row : rows) {
        this->open('u');
        this->pack.SetFileID(row.id, row.version, row.flags);
        this->pack.Close();

        EXPECT_QTX_ARGS(verify(this->place), Kc_seal, 1, "Seal does not match: header",
                        {this->name(), "header"});
    }
}

TYPED_TEST(KcSealTest, ChangedItemIsNamed) {
    const struct {
        const char* what;
        std::string key;
        std::string data;
        std::string name;
    } rows[] = {
        {"a byte", packed(2), "classifieR", "object 2"},
        {"a byte of the second segment", packed(1),
         std::string(SegBuf::kSegmentSize + 99, 'm') + 'n', "object 1"},
        {"a byte less", packed(2), "classifie", "object 2"},
        {"a byte more", packed(2), std::string("classifier\0", 11), "object 2"},
        {"nothing left", packed(1), "", "object 1"},
        {"the manager", "__Manager__", "Manager", "__Manager__"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        this->make_sealed();
        this->replace(row.key, row.data);

        EXPECT_QTX_ARGS(verify(this->place), Kc_seal, 1, "Seal does not match: " + row.name,
                        {this->name(), row.name});
    }
}

TYPED_TEST(KcSealTest, ChangedItemOfAnotherPackageIsNamedWithoutItsKey) {
    this->make();
    seal(this->place);
    this->replace("b", "OXEN");

    EXPECT_QTX_ARGS(verify(this->place), Kc_seal, 1, "Seal does not match: item",
                    {this->name(), "item"});
}

TYPED_TEST(KcSealTest, AddedItemIsReportedAsDamage) {
    for (const std::string& key : {packed(3), std::string("key")}) {
        this->make_sealed();
        this->replace(key, "added");

        EXPECT_QTX_ARGS(verify(this->place), Kc_seal, 1, "Seal does not match: list of items",
                        {this->name(), "list of items"});
    }
}

TYPED_TEST(KcSealTest, RemovedItemIsReportedAsDamage) {
    this->make_sealed();
    const std::string seal_of_three = this->sealed();
    this->open('w');
    this->pack.SetFileID(0x278F9D40, 2, 0x08);
    this->add(packed(2), "classifier");
    this->add("__Manager__", "manager");
    this->add("__Seal__", seal_of_three);
    this->pack.Close();

    EXPECT_QTX(verify(this->place), Kc_seal, 1, "Seal does not match: list of items");
}

TYPED_TEST(KcSealTest, ItemUnderAnotherKeyIsReportedAsDamage) {
    for (const std::string& key : {packed(3), std::string("A"), std::string("other")}) {
        this->make_sealed();
        const std::string seal_of_two = this->sealed();
        this->open('w');
        this->pack.SetFileID(0x278F9D40, 2, 0x08);
        this->add(packed(1), std::string(SegBuf::kSegmentSize + 100, 'm'));
        this->add(key, "classifier");
        this->add("__Manager__", "manager");
        this->add("__Seal__", seal_of_two);
        this->pack.Close();

        EXPECT_QTX(verify(this->place), Kc_seal, 1, "Seal does not match: list of items");
    }
}

TYPED_TEST(KcSealTest, SealOfAnotherLengthIsReportedAsDamage) {
    this->make_sealed();
    const std::string sound = this->sealed();

    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{3}}) {
        this->replace("__Seal__", sound.substr(0, length));
        EXPECT_QTX(verify(this->place), Kc_seal, 1, "Seal does not match: seal");
    }
    for (const std::size_t length : {std::size_t{4}, std::size_t{7}}) {
        this->replace("__Seal__", sound.substr(0, length));
        EXPECT_QTX(verify(this->place), Kc_seal, 1, "Seal does not match: list of items");
    }
    this->replace("__Seal__", sound.substr(0, sound.size() - 1));
    EXPECT_QTX(verify(this->place), Kc_seal, 1, "Seal does not match: header");
    this->replace("__Seal__", sound + '\0');
    EXPECT_QTX(verify(this->place), Kc_seal, 1, "Seal does not match: seal");
}

TYPED_TEST(KcSealTest, UnknownFormOfTheSealIsRefused) {
    this->make_sealed();
    const std::string sound = this->sealed();

    for (const std::uint32_t form : {0U, 2U, 0x80000001U}) {
        this->replace("__Seal__", packed(form) + sound.substr(4));

        const std::string text = std::to_string(form);
        EXPECT_QTX_ARGS(verify(this->place), Kc_seal, 2, "Unknown form of seal: " + text,
                        {this->name(), qtString(text)});
    }
}

// Returns true if a damaged package is refused, and false if it has all its contents.
template <class Place>
bool is_refused_or_whole(Place& place) {
    try {
        verify(place);
        Hpack pack;
        place.open(pack, 'r');
        const Package_identity identity(pack);
        if (identity.is_bad) {
            return true;
        }
        EXPECT_EQ(identity.id, 0x278F9D40U);
        EXPECT_EQ(identity.version, 2);
        EXPECT_EQ(identity.flags & 0x7F, 0x08);
        EXPECT_EQ(read_item(pack, packed(1)), "model");
        EXPECT_EQ(read_item(pack, packed(2)), "classifier");
        EXPECT_EQ(read_item(pack, "__Manager__"), "manager");
        return false;
    } catch (const qtxAll&) {
        return true;
    }
}

TYPED_TEST(KcSealTest, EveryChangedBitIsRefusedOrHarmless) {
    this->make_container("model");
    seal(this->place);
    const std::string sound = this->place.content();
    std::vector<std::size_t> harmless;

    for (std::size_t bit = 0; bit < 8 * sound.size(); bit += this->kStep) {
        SCOPED_TRACE(testing::Message() << "byte " << bit / 8 << ", bit " << bit % 8);
        std::string damaged = sound;
        damaged[bit / 8] ^= static_cast<char>(1U << bit % 8);
        this->place.hold(damaged);
        const Allocation_meter meter;
        if (!is_refused_or_whole(this->place)) {
            harmless.push_back(bit);
        }
        EXPECT_LT(meter.bytes(), 500000U);
    }

    // A change of the Unicode bit is harmless, and so is a change of a bit of the seal's key in the
    // index.
    EXPECT_GE(harmless.size(), 1U);
    EXPECT_LE(harmless.size(), 1U + 8U * 8U);
}

TYPED_TEST(KcSealTest, EveryCutIsRefused) {
    this->make_container("model");
    seal(this->place);
    const std::string sound = this->place.content();

    for (std::size_t length = 0; length < sound.size(); length += this->kStep) {
        this->place.hold(sound.substr(0, length));
        EXPECT_TRUE(is_refused_or_whole(this->place)) << length;
    }
}

}  // namespace
