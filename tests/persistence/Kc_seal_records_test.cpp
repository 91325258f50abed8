// The seal of record files, which contain containers in cached form: its bytes and places, worked
// out by hand; the parts that it covers; and the reports of damage.
//
// The file of `make`:
//
//        0  header                          20 bytes
//       20  index                           a block of 256
//      276  item 1, "classifier"            12 + 4 + 10 = 26 bytes, a block of 32
//      308  item "__Manager__", "manager"   12 + 11 + 7 = 30 bytes, a block of 32
//      340  the seal, after sealing         12 + 8 + 43 = 63 bytes, a block of 64
//      404  end
#include "zandrel/persistence/Kc_seal.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/bitwise_crc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/record_file.h"

using zandrel::Kc_seal;

namespace {

constexpr const char* kSealKey = "__Seal__";
constexpr std::size_t kStatePosition = 9;

std::string counted(std::string_view text) {
    return packed(static_cast<std::uint32_t>(text.size())) + std::string(text);
}

std::string identity_bytes() {
    return packed(0x278F9D40) + from_hex("00 02 08");
}

class KcSealRecordsTest : public Record_file_test<Hfile64> {
protected:
    void make(const std::string& classifier = "classifier") {
        create();
        file.SetFileID(0x278F9D40, 2, 0x08);
        add(packed(1), classifier);
        add("__Manager__", "manager");
        file.Close();
    }

    void make_sealed() {
        make();
        Kc_seal::Write(disk.path());
    }

    // Replaces an item of a sealed file. The file is well formed afterwards.
    void replace(const qtString& key, std::string_view data) {
        file.Open(disk.path(), false, false);
        add(key, data);
        file.Close();
    }

    std::string sealed() {
        file.Open(disk.path(), false, true);
        const std::string bytes = get(kSealKey);
        file.Close();
        return bytes;
    }

    bool verify() const { return Kc_seal::Verify(disk.path()); }

    std::string name() const { return disk.path().str(); }
};

TEST_F(KcSealRecordsTest, SealHasFormItemsAndIdentity) {
    make_sealed();

    EXPECT_EQ(to_hex(sealed()),
              to_hex(packed(1) + packed(2) + counted(packed(1)) +
                     packed(bitwise_crc("classifier")) + counted("__Manager__") +
                     packed(bitwise_crc("manager")) + packed(bitwise_crc(identity_bytes()))));
}

TEST_F(KcSealRecordsTest, SealIsAddedBehindTheItemsAndTheFileIsSynchronized) {
    make();
    const std::string before = disk.content();
    ASSERT_EQ(before.size(), 340U);

    Kc_seal::Write(disk.path());

    const std::string after = disk.content();
    EXPECT_EQ(after.size(), 404U);
    EXPECT_EQ(to_hex(after.substr(0, 20)), to_hex(before.substr(0, 20)));
    EXPECT_EQ(to_hex(after.substr(276, 64)), to_hex(before.substr(276)));
    EXPECT_EQ(to_hex(after.substr(340, 12)), "4a 5b 6c 73 00 00 00 08 5f 5f 53 65");
    EXPECT_EQ(after.at(kStatePosition), 0);
}

TEST_F(KcSealRecordsTest, SealedFileIsVerified) {
    make();
    EXPECT_FALSE(verify());

    Kc_seal::Write(disk.path());

    EXPECT_TRUE(verify());
}

TEST_F(KcSealRecordsTest, OpenFileIsVerifiedAndStaysOpen) {
    make_sealed();
    file.Open(disk.path(), false, true);

    EXPECT_TRUE(Kc_seal::IsIn(file));
    EXPECT_TRUE(Kc_seal::Verify(file));

    EXPECT_EQ(get(packed(1)), "classifier");
    EXPECT_EQ(get("__Manager__"), "manager");
}

TEST_F(KcSealRecordsTest, ItemReadInSeveralPiecesHasTheChecksumOfTheWhole) {
    std::string large;
    for (unsigned int i = 0; i < 200000; ++i) {
        large += static_cast<char>(static_cast<unsigned char>(i / 1000));
    }
    make(large);
    Kc_seal::Write(disk.path());

    EXPECT_NE(sealed().find(counted(packed(1)) + packed(bitwise_crc(large))), std::string::npos);
}

TEST_F(KcSealRecordsTest, FileWithoutItemsCanBeSealed) {
    create();
    file.Close();

    Kc_seal::Write(disk.path());

    EXPECT_TRUE(verify());
    EXPECT_EQ(to_hex(sealed()), to_hex(packed(1) + packed(0) + packed(bitwise_crc(zeros(7)))));
}

TEST_F(KcSealRecordsTest, SealingTwiceReplacesTheSealInItsPlace) {
    make_sealed();
    const std::string old_seal = sealed();
    replace(packed(1), "CLASSIFIER");

    Kc_seal::Write(disk.path());

    EXPECT_TRUE(verify());
    EXPECT_NE(sealed(), old_seal);
    EXPECT_EQ(disk.content().size(), 404U);
}

TEST_F(KcSealRecordsTest, FileWhoseStateBitIsSetIsNeitherSealedNorVerified) {
    make_sealed();
    file.Open(disk.path(), false, false);
    file.SetState(1);
    file.Close();
    const std::string before = disk.content();
    ASSERT_EQ(before.at(kStatePosition), 1);

    EXPECT_QTX_ARGS(Kc_seal::Write(disk.path()), Kc_seal, 3, "Index is not synchronized: " + name(),
                    {qtString(name())});
    EXPECT_FALSE(verify());
    EXPECT_EQ(disk.content(), before);
}

TEST_F(KcSealRecordsTest, RecordFileOfShortOffsetsIsNotSealed) {
    Hreclaim<Hfile32> narrow;
    narrow.Open(disk.path(), true, false);
    narrow.Close();
    const std::string before = disk.content();

    EXPECT_FALSE(verify());
    EXPECT_QTX(Kc_seal::Write(disk.path()), HioErr, HioErr::kWriteFailed,
               "File is not open for writing");
    EXPECT_EQ(disk.content(), before);
}

TEST_F(KcSealRecordsTest, FileThatEndsInsideTheMagicIsNotSealed) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{3}}) {
        disk.write(from_hex("4a 5b 6c 81").substr(0, length));

        EXPECT_FALSE(verify());
        EXPECT_QTX(Kc_seal::Write(disk.path()), HioErr, HioErr::kWriteFailed,
                   "File is not open for writing");
    }
}

TEST_F(KcSealRecordsTest, DamagedRecordFileIsRefusedWithTheErrorOfRecordFiles) {
    disk.write(from_hex("4a 5b 6c 81") + zeros(30));

    EXPECT_QTX(verify(), AbstractHreclaim, 1, "Cannot read index");
    EXPECT_QTX(Kc_seal::Write(disk.path()), AbstractHreclaim, 1, "Cannot read index");
}

TEST_F(KcSealRecordsTest, UnicodeBitMayChange) {
    make_sealed();
    file.Open(disk.path(), false, false);
    file.SetFileID(0x278F9D40, 2, 0x88);
    file.Close();

    EXPECT_TRUE(verify());
}

TEST_F(KcSealRecordsTest, OtherChangesOfTheIdentityBreakTheSeal) {
    const struct {
        unsigned int id;
        unsigned short version;
        unsigned char flags;
    } rows[] = {{0x278F9D41, 2, 0x08}, {0x278F9D40, 1, 0x08}, {0x278F9D40, 0x0102, 0x08},
                {0x278F9D40, 2, 0x00}, {0x278F9D40, 2, 0x09}, {0x278F9D40, 2, 0x48}};

    make_sealed();
    for (const auto& row : rows) {
        file.Open(disk.path(), false, false);
        file.SetFileID(row.id, row.version, row.flags);
        file.Close();

        EXPECT_QTX_ARGS(verify(), Kc_seal, 1, "Seal does not match: header", {name(), "header"});
    }
}

TEST_F(KcSealRecordsTest, ChangedItemIsNamed) {
    const struct {
        const char* what;
        std::string key;
        std::string data;
        std::string name;
    } rows[] = {
        {"a byte", packed(1), "classifieR", "object 1"},
        {"a byte less", packed(1), "classifie", "object 1"},
        {"in another place", packed(1), std::string(100, 'c'), "object 1"},
        {"nothing left", packed(1), "", "object 1"},
        {"the manager", "__Manager__", "Manager", "__Manager__"},
    };

    make_sealed();
    const std::string sound = disk.content();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        disk.write(sound);
        replace(row.key, row.data);

        EXPECT_QTX_ARGS(verify(), Kc_seal, 1, "Seal does not match: " + row.name,
                        {name(), row.name});
    }
}

TEST_F(KcSealRecordsTest, ItemWithAnotherKeyInItsPlaceIsNamed) {
    make_sealed();
    std::string bytes = disk.content();
    bytes.at(276 + 8 + 3) = '\x05';  // the item of object 1 says that it is object 5
    disk.write(bytes);

    EXPECT_QTX_ARGS(verify(), Kc_seal, 1, "Seal does not match: object 1", {name(), "object 1"});
}

TEST_F(KcSealRecordsTest, AddedRemovedOrRenamedItemIsReportedAsDamage) {
    make_sealed();
    const std::string sound = disk.content();
    const auto changed = [&](auto&& change) {
        disk.write(sound);
        file.Open(disk.path(), false, false);
        change();
        file.Close();
        EXPECT_QTX(verify(), Kc_seal, 1, "Seal does not match: list of items");
    };

    changed([&] { add(packed(3), "added"); });
    changed([&] { add("key", "added"); });
    changed([&] { file.DeleteItem(packed(1)); });
    changed([&] { file.RenameItem(packed(1), packed(3)); });
}

TEST_F(KcSealRecordsTest, SealOfAnotherLengthOrFormIsRefused) {
    make_sealed();
    const std::string sound = sealed();

    replace(kSealKey, sound.substr(0, 3));
    EXPECT_QTX(verify(), Kc_seal, 1, "Seal does not match: seal");
    replace(kSealKey, sound.substr(0, 7));
    EXPECT_QTX(verify(), Kc_seal, 1, "Seal does not match: list of items");
    replace(kSealKey, sound.substr(0, sound.size() - 1));
    EXPECT_QTX(verify(), Kc_seal, 1, "Seal does not match: header");
    replace(kSealKey, sound + '\0');
    EXPECT_QTX(verify(), Kc_seal, 1, "Seal does not match: seal");
    replace(kSealKey, packed(7) + sound.substr(4));
    EXPECT_QTX_ARGS(verify(), Kc_seal, 2, "Unknown form of seal: 7", {name(), "7"});
}

// Returns true if a damaged file is refused, and false if it has all its contents.
bool is_refused_or_complete(const qtString& name) {
    try {
        Kc_seal::Verify(name);
        Hreclaim<Hfile64> file;
        file.Open(name, false, true);
        if (file.IsStale()) {
            return true;
        }
        EXPECT_EQ(file.file_id, 0x278F9D40U);
        EXPECT_EQ(file.file_version, 2);
        EXPECT_EQ(file.file_flags & 0x7F, 0x08);
        SegBuf classifier;
        file.GetItem(packed(1), classifier);
        EXPECT_EQ(bytes_of(classifier), "classifier");
        SegBuf manager;
        file.GetItem("__Manager__", manager);
        EXPECT_EQ(bytes_of(manager), "manager");
        return false;
    } catch (const qtxAll&) {
        return true;
    }
}

// Harmless are the bits that no reader uses: the Unicode bit, the state except its bit 0, padding,
// and the bits of the seal's key in the index (the file counts as unsealed then).
bool may_be_harmless(std::size_t byte) {
    const std::size_t index_end = 20 + 195;
    const std::size_t seal_key = 20 + 8 + 12 + 23 - 4;  // behind the entries of 1 and "__Manager__"
    return byte == 8 || byte == kStatePosition || (byte >= index_end && byte < 276) ||
           (byte >= 276 + 26 && byte < 308) || (byte >= 308 + 30 && byte < 340) || byte >= 403 ||
           (byte >= seal_key && byte < index_end);
}

// Each file takes time, so we use every seventh bit. 7 and 8 have no common divisor, so each bit of
// a byte still occurs.
TEST_F(KcSealRecordsTest, EveryChangedBitIsRefusedOrHarmless) {
    constexpr std::size_t kStep = 7;
    make_sealed();
    const std::string sound = disk.content();
    std::size_t harmless = 0;

    for (std::size_t bit = 0; bit < 8 * sound.size(); bit += kStep) {
        SCOPED_TRACE(testing::Message() << "byte " << bit / 8 << ", bit " << bit % 8);
        std::string damaged = sound;
        damaged[bit / 8] ^= static_cast<char>(1U << bit % 8);
        disk.write(damaged);
        const Allocation_meter meter;
        if (!is_refused_or_complete(disk.path())) {
            EXPECT_TRUE(may_be_harmless(bit / 8));
            ++harmless;
        }
        EXPECT_LT(meter.bytes(), 500000U);
    }

    EXPECT_GE(harmless, 8U * (276 - 215) / kStep);  // the padding of the index
}

TEST_F(KcSealRecordsTest, EveryCutIsRefusedOrInThePadding) {
    make_sealed();
    const std::string sound = disk.content();

    for (std::size_t length = 0; length < sound.size(); ++length) {
        disk.write(sound.substr(0, length));
        EXPECT_EQ(is_refused_or_complete(disk.path()), length < 403) << length;
    }
}

}  // namespace
