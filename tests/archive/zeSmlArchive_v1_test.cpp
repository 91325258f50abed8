// Archives of version 1: their messages are not scrambled, and their summary ends at the dates.
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/small_archive.h"

namespace {

using testing::ElementsAre;

// Two messages, 3 and 5, of the category "cat". Number 5 is reserved.
const char* const kSummary =
    "00 00 00 06 "                           // next_sml_id 6
    "00 00 00 01 00 00 00 02 "               // cat_reserved_size 1, cat_minimal_size 2
    "40 14 00 00 00 00 00 00 "               // age_ratio 5
    "00 00 00 07 00 00 00 00 00 00 00 09 "   // kc_id 7, kc_time 9
    "00 00 00 03 "                           // last_learned_sml 3
    "00 00 00 01 "                           // one category
    "00 00 00 03 63 61 74 00 00 00 02 "      // cat, category_counter 2
    "3f e0 00 00 00 00 00 00 "               // apriori 0.5
    "40 00 00 00 00 00 00 00 "               // recursion1 2
    "00 00 00 01 00 00 00 05 "               // reserved: 5
    "00 00 00 01 00 00 00 05 00 00 00 01 "   // locked: 5, by one category
    "00 00 00 02 "                           // two messages
    "00 00 00 03 00 00 00 00 00 00 00 0a "   // 3, at 10
    "00 00 00 05 00 00 00 00 00 00 00 0b ";  // 5, at 11

// A message with the pair a = v1, without bags, and with the label "cat".
const char* const kMessage =
    "00 00 00 01 00 00 00 01 61 02 00 00 00 02 76 31 "
    "00 00 00 00 00 00 00 05 00 00 00 00 00 "
    "3f f0 00 00 00 00 00 00 "
    "00 00 00 01 00 00 00 03 63 61 74";

using File_widths = testing::Types<Hfile64, Hfile32>;

std::string scrambled(std::string record) {
    qtScrambler(qtScrambler::kSeed).Scramble(record.data(), record.size(), qtScrambler::kOption);
    return record;
}

template <class Device>
class ArchiveVersion1Test : public testing::Test {
protected:
    static constexpr bool is_narrow = std::is_same_v<Device, Hfile32>;

    ArchiveVersion1Test() { write_archive(kSummary); }

    void write_archive(const std::string& summary) {
        std::remove(disk.path().c_str());
        Hreclaim<Device> file;
        file.Open(disk.path(), true, false);
        file.SetFileID(0x82975503, 1, 0);
        file.AddItem("__MANAGER__", record_of(from_hex(summary)));
        for (const unsigned int number : {3U, 5U}) {
            file.AddItem(file.MakeStringKey(number), record_of(from_hex(kMessage)));
        }
        file.Close();
    }

    void open() { archive.OpenArchive(disk.path(), false, is_narrow); }

    // The record of a message, as it is in the file.
    std::string stored(unsigned int number) {
        SegBuf record;
        archive.archive_file->GetItem(archive.archive_file->MakeStringKey(number), record);
        return bytes_of(record);
    }

    int byte_on_disk(std::size_t position) const {
        return static_cast<unsigned char>(disk.content().at(position));
    }

    Scratch_file disk;
    zeSmlArchive archive;
};

TYPED_TEST_SUITE(ArchiveVersion1Test, File_widths);

TYPED_TEST(ArchiveVersion1Test, OpenScramblesAllMessagesAndSetsVersion2) {
    this->open();

    EXPECT_EQ(this->archive.m_manager.version, 2U);
    for (const unsigned int number : {3U, 5U}) {
        EXPECT_EQ(to_hex(this->stored(number)), to_hex(scrambled(from_hex(kMessage))));
        EXPECT_THAT(labels_of(this->archive, number), ElementsAre("cat"));
    }
    EXPECT_EQ(this->byte_on_disk(11), 2);
}

TYPED_TEST(ArchiveVersion1Test, SummaryIsReadWithoutExternalIds) {
    this->open();

    const SmlArchiveManager& summary = this->archive.m_manager;
    EXPECT_EQ(summary.next_sml_id, 6U);
    EXPECT_EQ(summary.cat_reserved_size, 1U);
    EXPECT_EQ(summary.cat_minimal_size, 2U);
    EXPECT_EQ(summary.kc_id, 7U);
    EXPECT_EQ(summary.kc_time, qtTimeDate(9));
    EXPECT_EQ(summary.last_learned_sml, 3U);
    EXPECT_THAT(numbers(this->archive), ElementsAre(3, 5));
    EXPECT_THAT(reserved(this->archive, "cat"), ElementsAre(5));
    EXPECT_TRUE(summary.external_ids.empty());
    EXPECT_TRUE(summary.spare_list.empty());
}

// The stored summary still ends at the dates, so it must be written again.
TYPED_TEST(ArchiveVersion1Test, FileIsMarkedUntilTheSummaryIsWrittenInTheNewForm) {
    this->open();
    EXPECT_TRUE(this->archive.m_manager.modified);
    EXPECT_EQ(this->byte_on_disk(9), 1);

    this->archive.CloseArchive();

    EXPECT_EQ(this->byte_on_disk(9), 0);
    this->open();
    EXPECT_THAT(numbers(this->archive), ElementsAre(3, 5));
    EXPECT_FALSE(this->archive.m_manager.modified);
    EXPECT_THAT(labels_of(this->archive, 5), ElementsAre("cat"));
}

// The header says version 2, but the summary still ends at the dates, and the file has its mark.
TYPED_TEST(ArchiveVersion1Test, FileOfAProcessKilledBeforeTheFirstFlushIsRefusedAsMarked) {
    this->open();
    const std::string left = this->disk.content();
    this->archive.CloseArchive();
    std::ofstream(this->disk.path().c_str(), std::ios::binary | std::ios::trunc) << left;
    ASSERT_EQ(this->byte_on_disk(9), 1);
    ASSERT_EQ(this->byte_on_disk(11), 2);

    EXPECT_QTX_ARGS(this->open(), zeSmlArchive, 10,
                    "Archive index is not synchronized (Run RebuildIndex Utility)", {});

    this->archive.CloseArchive();
    EXPECT_EQ(this->disk.content(), left);
}

TYPED_TEST(ArchiveVersion1Test, ArchiveWithoutMessagesIsUpgradedToo) {
    this->write_archive(
        "00 00 00 00 00 00 00 01 00 00 00 02 40 14 00 00 00 00 00 00 "
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
        "00 00 00 00 00 00 00 00 00 00 00 00");
    this->open();
    EXPECT_TRUE(this->archive.m_manager.modified);
    this->archive.CloseArchive();

    this->open();

    EXPECT_EQ(this->archive.m_manager.version, 2U);
    EXPECT_EQ(this->archive.m_manager.cat_minimal_size, 2U);
}

// The flag of the file is read only after the upgrade.
TYPED_TEST(ArchiveVersion1Test, FlagsBecomeThoseOfTheObjectBeforeTheOpen) {
    this->open();
    EXPECT_EQ(this->byte_on_disk(8), 0);
    EXPECT_FALSE(this->archive.is_unicode);
    this->archive.CloseArchive();

    this->write_archive(kSummary);
    this->archive.is_unicode = true;
    this->open();

    EXPECT_EQ(this->byte_on_disk(8), 0x80);
    EXPECT_TRUE(this->archive.is_unicode);
}

TYPED_TEST(ArchiveVersion1Test, UnicodeFlagOfTheFileIsLostByTheFirstOpen) {
    Hreclaim<TypeParam> file;
    file.Open(this->disk.path(), false, false);
    file.SetFileID(0x82975503, 1, 0x80);
    file.Close();

    this->open();

    EXPECT_EQ(this->byte_on_disk(8), 0);
    EXPECT_FALSE(this->archive.is_unicode);
}

// The mark of version 1 is not looked at.
TYPED_TEST(ArchiveVersion1Test, MarkedFileIsUpgraded) {
    Hreclaim<TypeParam> file;
    file.Open(this->disk.path(), false, false);
    file.SetState(1);
    file.Close();

    this->open();

    EXPECT_EQ(this->archive.m_manager.version, 2U);
}

// A copy of a message before its place in the index, as version 1 could leave it.
TYPED_TEST(ArchiveVersion1Test, StaleItemsBecomeHoles) {
    std::remove(this->disk.path().c_str());
    Hreclaim<TypeParam> file;
    file.Open(this->disk.path(), true, false);
    file.SetFileID(0x82975503, 1, 0);
    const qtString key = file.MakeStringKey(3);
    file.AddItem(key, record_of(from_hex(kMessage)));
    const auto stale = static_cast<std::size_t>(file.index.at(key));
    file.index.erase(key);  // the index forgets the item without a hole in its place
    file.AddItem("__MANAGER__", record_of(from_hex(kSummary)));
    for (const unsigned int number : {3U, 5U}) {
        file.AddItem(file.MakeStringKey(number), record_of(from_hex(kMessage)));
    }
    file.Close();
    ASSERT_EQ(to_hex(this->disk.content().substr(stale, 4)), "4a 5b 6c 73");

    this->open();

    EXPECT_EQ(to_hex(this->disk.content().substr(stale, 4)), "de ad de ad");
    EXPECT_THAT(labels_of(this->archive, 3), ElementsAre("cat"));
}

TYPED_TEST(ArchiveVersion1Test, UnreadableMessageEndsTheUpgradeAndTheFileIsNotWrittenAgain) {
    Hreclaim<TypeParam> file;
    file.Open(this->disk.path(), false, false);
    file.AddItem(file.MakeStringKey(5), record_of("no message"));
    file.Close();

    EXPECT_QTX_ARGS(this->open(), zeSmlArchive, 4, "Can't read Sml 5 from Archive", {});

    EXPECT_TRUE(numbers(this->archive).empty());
    EXPECT_FALSE(this->archive.m_manager.modified);
    const std::string left = this->disk.content();
    this->archive.CloseArchive();
    EXPECT_EQ(this->disk.content(), left);
    EXPECT_EQ(this->byte_on_disk(11), 1);
}

TYPED_TEST(ArchiveVersion1Test, UpgradeOfVersion2ChangesNothing) {
    this->open();
    this->archive.CloseArchive();
    this->open();
    const std::string before = this->disk.content();

    this->archive.UpgradeVersion();

    EXPECT_EQ(this->disk.content(), before);
    EXPECT_FALSE(this->archive.m_manager.modified);
}

// Messages of version 1 have no external id, so deleting one removes none.
TYPED_TEST(ArchiveVersion1Test, UpgradedArchiveAddsAndDeletes) {
    this->open();
    EXPECT_EQ(add(this->archive, {"cat"}, "x"), 6U);
    this->archive.DelSml(3);
    this->archive.DelSml(5);
    this->archive.CloseArchive();

    this->open();

    EXPECT_THAT(numbers(this->archive), ElementsAre(6));
    expect_sound(this->archive);
}

}  // namespace
