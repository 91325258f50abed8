// Compares the example of docs/formats/archive.md with the archive that the library writes.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/document_bytes.h"
#include "tests/support/small_archive.h"

namespace {

std::string shown_in_document(const char* block) {
    return bytes_of_block(ZANDREL_ARCHIVE_DOCUMENT, block);
}

std::string scrambled_message() {
    std::string record = shown_in_document("hexmessage");
    qtScrambler(qtScrambler::kSeed).Scramble(record.data(), record.size(), qtScrambler::kOption);
    return record;
}

TEST(ArchiveDocumentTest, DocumentShowsTheItemsThatAreWritten) {
    const Scratch_file disk;
    const zandrel::qtClock clock = zandrel::set_clock([] { return std::int64_t{258}; });
    zeSmlArchive archive;
    archive.OpenArchive(disk.path(), true, true);
    qtPtrLight<zeMsg> msg = MessageBuilder().labels({"a"}).make();
    archive.AddSml(msg, "id");
    archive.SetInitialApriori();
    archive.CloseArchive();
    zandrel::set_clock(clock);

    Hreclaim<Hfile32> file;
    file.Open(disk.path(), false, true);
    SegBuf summary;
    file.GetItem("__MANAGER__", summary);
    SegBuf message;
    file.GetItem(file.MakeStringKey(0), message);

    EXPECT_EQ(file.GetIndexSize(), 2U);
    EXPECT_EQ(to_hex(bytes_of(summary)), to_hex(shown_in_document("hexsummary")));
    EXPECT_EQ(to_hex(bytes_of(message)), to_hex(scrambled_message()));
}

TEST(ArchiveDocumentTest, DocumentShowsAnArchiveThatCanBeRead) {
    const Scratch_file disk;
    Hreclaim<Hfile32> file;
    file.Open(disk.path(), true, false);
    file.SetFileID(0x82975503, 2, 0);
    file.AddItem("__MANAGER__", record_of(shown_in_document("hexsummary")));
    file.AddItem(file.MakeStringKey(0), record_of(scrambled_message()));
    file.Close();
    zeSmlArchive archive;

    archive.OpenArchive(disk.path(), false, true);

    EXPECT_EQ(labels_of(archive, 0), std::vector<std::string>{"a"});
    EXPECT_EQ(archive.m_manager.sml_dates.at(0), qtTimeDate(258));
    expect_sound(archive);
}

}  // namespace
