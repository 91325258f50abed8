#include "cli/records/Archive_check.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/Crc32c.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hreclaim.h"

#include "cli/archive/Archive_file.h"
#include "cli/archive/Deferred_archive.h"
#include "cli/process/Exit_status.h"
#include "cli/records/Kc_check.h"
#include "cli/records/Rebuilt_index.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/small_archive.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::Contains;
using testing::ElementsAre;

// An archive with a reserved size of 2 and the messages 0 (red, blue), 1 (red) and 2 (red), which
// arrived at 1001, 1002 and 1003. Message 0 is reserved by blue, 1 and 2 by red.
class ArchiveCheckTest : public testing::Test {
protected:
    ArchiveCheckTest() {
        m_archive.OpenArchive(path(), true, false);
        m_archive.SetCatReservedSize(2);
        add(m_archive, {"red", "blue"}, "a");
        add(m_archive, {"red"}, "b");
        add(m_archive, {"red"}, "c");
    }

    qtString path() const { return qtString(m_folder.file("arc")); }

    // Writes the summary as it is in memory, whatever the messages are.
    void write() {
        m_archive.m_manager.modified = true;
        m_archive.CloseArchive();
    }

    std::vector<std::string> problems() const {
        std::vector<std::string> texts;
        for (const Record_problem& problem : check_file(path().str()).problems) {
            texts.push_back(problem.text);
        }
        return texts;
    }

    // Repairs the file and opens it.
    Record_recovery repair() {
        const Rebuilt_index rebuilt = rebuild_index(path().str(), {});
        EXPECT_EQ(rebuilt.recovery.condition, File_condition::kToRebuild);
        EXPECT_EQ(check_file(path().str()).condition, Record_condition::kClean);
        m_archive.OpenArchive(path(), false, false);
        expect_sound(m_archive);
        return rebuilt.recovery;
    }

    SmlArchiveManager& summary() { return m_archive.m_manager; }

    // The summary that the copy follows is not the one of the file.
    void add_copy(SegBuf& copy, std::uint32_t sum) {
        constexpr std::uint32_t kSumBefore = 0;
        copy.offset = 0;
        Hio<HSegment> io(new HSegment(copy, 'u'));
        io.device->SeekEnd();
        io << kSumBefore << sum;
        io.device->Close();
        m_archive.archive_file->AddItem(kSummaryCopyKey, copy);
    }

    Scratch_folder m_folder;
    Ticking_clock m_clock;
    zeSmlArchive m_archive;
};

TEST_F(ArchiveCheckTest, SoundArchiveIsCleanAndStaysAsItIs) {
    write();
    const std::string before = m_folder.content("arc");
    EXPECT_EQ(check_file(path().str()).condition, Record_condition::kClean);
    EXPECT_EQ(rebuild_index(path().str(), {}).recovery.condition, File_condition::kSound);
    EXPECT_EQ(m_folder.content("arc"), before);
    EXPECT_THAT(m_folder.names(), ElementsAre("arc"));
}

TEST_F(ArchiveCheckTest, MessagesAddedBeforeAKillGetEntries) {
    m_archive.FlushArchive(true);
    const double share = category(m_archive, "red").apriori;
    add(m_archive, {"red"}, "d");
    add(m_archive, {"green"}, "e");
    m_folder.write("killed", m_folder.content("arc"));
    m_archive.CloseArchive();
    std::filesystem::rename(m_folder.file("killed"), m_folder.file("arc"));
    EXPECT_EQ(check_file(path().str()).condition, Record_condition::kRepairable);

    const Record_recovery recovery = repair();
    EXPECT_FALSE(recovery.has_loss);
    EXPECT_THAT(recovery.remarks,
                Contains("archive, repaired: 2 messages without an entry, the first is 3"));
    EXPECT_THAT(numbers(m_archive), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(summary().sml_dates.at(3), qtTimeDate(1003));
    EXPECT_EQ(summary().sml_dates.at(4), qtTimeDate(1003));
    EXPECT_THAT(reserved(m_archive, "red"), ElementsAre(2, 3));
    EXPECT_THAT(reserved(m_archive, "green"), ElementsAre(4));
    EXPECT_EQ(category(m_archive, "red").category_counter, 4U);
    EXPECT_EQ(category(m_archive, "red").apriori, share);
    EXPECT_EQ(category(m_archive, "green").apriori, 0.0);
    EXPECT_EQ(category(m_archive, "green").recursion1, 100.0);
    EXPECT_EQ(summary().next_sml_id, 5U);
    EXPECT_EQ(external_ids(m_archive).at("e"), 4U);
}

TEST_F(ArchiveCheckTest, EntryWithoutAMessageIsRemoved) {
    m_archive.archive_file->DeleteItem(m_archive.archive_file->MakeStringKey(0));
    write();
    EXPECT_THAT(
        problems(),
        ElementsAre("archive: 1 entry without a message: 0",
                    "archive: 2 categories with a wrong count, the first is blue",
                    "archive: 1 wrong lock of a message: 0", "archive: 1 wrong external id: a"));
    EXPECT_EQ(check_file(path().str()).condition, Record_condition::kRepairable);

    EXPECT_FALSE(repair().has_loss);
    EXPECT_THAT(numbers(m_archive), ElementsAre(1, 2));
    EXPECT_EQ(summary().category_info.size(), 1U);
    EXPECT_EQ(summary().next_sml_id, 3U);
}

TEST_F(ArchiveCheckTest, WrongCountsLocksIdsAndNextNumberAreComputedAnew) {
    summary().category_info[term("red")].category_counter = 7;
    summary().category_info[term("red")].reserved = {0, 1, 2};
    summary().locked_smls.erase(1);
    summary().external_ids.erase(qtString("b"));
    summary().next_sml_id = 9;
    write();
    EXPECT_THAT(problems(), ElementsAre("archive: 1 category with a wrong count: red",
                                        "archive: 1 category with wrong reserved messages: red",
                                        "archive: 1 wrong lock of a message: 1",
                                        "archive: 1 wrong external id: b"));
    repair();
    EXPECT_EQ(summary().next_sml_id, 9U);  // a number is not given twice
    EXPECT_THAT(reserved(m_archive, "red"), ElementsAre(1, 2));
}

TEST_F(ArchiveCheckTest, ReleasedMessagesStayFree) {
    m_archive.ReleaseOneSml(1);
    summary().category_info[term("blue")].category_counter = 2;
    write();
    repair();
    EXPECT_THAT(reserved(m_archive, "red"), ElementsAre(2));
}

TEST_F(ArchiveCheckTest, IdOfTwoMessagesIsNoProblem) {
    add(m_archive, {"red"}, "b");
    write();
    EXPECT_THAT(problems(), ElementsAre());
    const Record_check check = check_file(path().str());
    EXPECT_EQ(check.condition, Record_condition::kClean);
    EXPECT_THAT(check.notes, ElementsAre("archive: 1 id that several messages have: b"));
    std::ostringstream lines;
    print_record_check(check, lines);
    const std::string file = path().str();
    EXPECT_EQ(lines.str(),
              file + ": archive: 1 id that several messages have: b\n" + file + ": clean\n");

    const std::string before = m_folder.content("arc");
    const Record_recovery recovery = rebuild_index(path().str(), {}).recovery;
    EXPECT_EQ(recovery.condition, File_condition::kSound);
    EXPECT_FALSE(recovery.has_loss);
    EXPECT_THAT(recovery.remarks, ElementsAre("archive: 1 id that several messages have: b"));
    EXPECT_EQ(m_folder.content("arc"), before);
}

TEST_F(ArchiveCheckTest, MessageThatCannotBeReadIsDamageAndIsRemoved) {
    SegBuf record;
    m_archive.archive_file->AddItem(m_archive.archive_file->MakeStringKey(1), record);
    write();
    EXPECT_EQ(check_file(path().str()).condition, Record_condition::kDamaged);
    EXPECT_THAT(problems(), Contains("archive: 1 message cannot be read: 1"));
    EXPECT_TRUE(repair().has_loss);
    EXPECT_THAT(numbers(m_archive), ElementsAre(0, 2));
    EXPECT_TRUE(std::filesystem::exists(m_folder.file("arc.bad")));
}

TEST_F(ArchiveCheckTest, LostSummaryIsMadeFromTheMessages) {
    m_archive.CloseArchive();
    Hreclaim<Hfile64> file;
    file.Open(path(), false, false);
    file.DeleteItem("__MANAGER__");
    file.Close();
    EXPECT_EQ(check_file(path().str()).condition, Record_condition::kDamaged);
    EXPECT_TRUE(repair().has_loss);
    EXPECT_THAT(numbers(m_archive), ElementsAre(0, 1, 2));
    EXPECT_EQ(summary().sml_dates.at(0), qtTimeDate());
    EXPECT_EQ(summary().cat_reserved_size, 20U);
    EXPECT_THAT(reserved(m_archive, "red"), ElementsAre(0, 1, 2));
    EXPECT_EQ(category(m_archive, "blue").apriori, 1.0 / 3.0);
    EXPECT_EQ(category(m_archive, "blue").recursion1, 3.0);
}

// No container may learn all messages again after that.
TEST_F(ArchiveCheckTest, ArchiveThatLostItsSummaryMatchesNoContainer) {
    summary().kc_id = 7;
    write();
    Hreclaim<Hfile64> file;
    file.Open(path(), false, false);
    file.DeleteItem("__MANAGER__");
    file.Close();
    repair();
    EXPECT_EQ(summary().kc_id, 0U);
    EXPECT_NE(summary().kc_time, qtTimeDate());
}

TEST_F(ArchiveCheckTest, MissingMessageThatWasLearnedLastGivesItsPlaceToTheOneBefore) {
    summary().last_learned_sml = 2;
    m_archive.ReleaseOneSml(2);
    m_archive.DelSml(2);
    write();
    EXPECT_THAT(problems(), ElementsAre("archive: 1 missing message that was learned last: 2"));
    EXPECT_EQ(check_file(path().str()).condition, Record_condition::kRepairable);

    EXPECT_FALSE(repair().has_loss);
    EXPECT_EQ(summary().last_learned_sml, 1U);
}

TEST_F(ArchiveCheckTest, MissingMessageThatWasLearnedLastIsNoProblemIfAllOthersAreNew) {
    summary().last_learned_sml = 1;
    for (const unsigned int number : {0U, 1U}) {
        m_archive.ReleaseOneSml(number);
        m_archive.DelSml(number);
    }
    write();
    EXPECT_THAT(problems(), ElementsAre());
}

// The record of a summary. `version`: 1 leaves out external ids and the spare list, both empty.
void dump(SmlArchiveManager summary, unsigned int version, SegBuf& record) {
    if (version == 1) {
        summary.external_ids.clear();
    }
    Hio<HSegment> io(new HSegment(record, 'w'));
    summary.Dump(io);
    io.device->Close();
    if (version == 1) {
        record.size -= 8;
    }
}

// The process that upgraded the file ended before it wrote the summary.
TEST_F(ArchiveCheckTest, SummaryOfVersion1InAFileOfVersion2IsReadAsSuch) {
    SegBuf record;
    dump(summary(), 1, record);
    summary().modified = false;
    m_archive.archive_file->AddItem("__MANAGER__", record);
    m_archive.CloseArchive();
    EXPECT_THAT(problems(), ElementsAre("archive: the summary has the form of version 1",
                                        "archive: 3 wrong external ids, the first is a"));

    EXPECT_FALSE(repair().has_loss);
    EXPECT_EQ(summary().cat_reserved_size, 2U);
    EXPECT_EQ(summary().sml_dates.at(2), qtTimeDate(1003));
    EXPECT_EQ(external_ids(m_archive).at("b"), 1U);
}

TEST_F(ArchiveCheckTest, SummaryThatIsHalfWrittenIsReplacedByItsCopyIfThatIsWhole) {
    for (const bool is_whole : {true, false}) {
        m_archive.CloseArchive();
        m_archive.OpenArchive(path(), false, false);
        SegBuf copy;
        dump(summary(), 2, copy);
        zandrel::detail::Crc32c sum;
        const std::string bytes = bytes_of(copy);
        sum.Add(bytes.data(), bytes.size() - (is_whole ? 0 : 1));
        add_copy(copy, sum.Value());
        if (is_whole) {
            SegBuf half;
            m_archive.archive_file->AddItem("__MANAGER__", half);
        }
        m_archive.CloseArchive();

        EXPECT_FALSE(repair().has_loss);
        EXPECT_FALSE(m_archive.archive_file->Exists(kSummaryCopyKey));
        EXPECT_EQ(summary().cat_reserved_size, 2U);
    }
}

// A new copy that is hardly written may show the bytes of an older one.
TEST_F(ArchiveCheckTest, CopyThatFollowsAnotherSummaryDeletesNoMessage) {
    SegBuf copy;
    dump(summary(), 2, copy);
    zandrel::detail::Crc32c sum;
    const std::string bytes = bytes_of(copy);
    sum.Add(bytes.data(), bytes.size());
    add(m_archive, {"red"}, "d");
    add_copy(copy, sum.Value());
    write();

    EXPECT_FALSE(repair().has_loss);
    EXPECT_THAT(numbers(m_archive), ElementsAre(0, 1, 2, 3));
}

TEST_F(ArchiveCheckTest, FirstMessageWithoutAnEntryGetsTheTimeOfTheNext) {
    summary().sml_dates.erase(0);
    write();
    EXPECT_THAT(problems(), Contains("archive: 1 message without an entry: 0"));
    repair();
    EXPECT_EQ(summary().sml_dates.at(0), qtTimeDate(1002));
}

TEST_F(ArchiveCheckTest, DumpHasTheFiguresOfTheSummary) {
    write();
    const std::optional<Archive_facts> facts = archive_facts(read_record_file(path().str()));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->problem, "");
    EXPECT_THAT(facts->numbers, Contains(testing::Pair("messages", 3U)));
    EXPECT_THAT(facts->numbers, Contains(testing::Pair("next number", 3U)));
    EXPECT_EQ(archive_contents(std::string("\0\0\1\0", 4)), "message 256");
    EXPECT_EQ(archive_contents("__MANAGER__"), "summary");
    EXPECT_EQ(archive_contents("other"), "");
}

// Writes an archive of version 1 with the same messages: they are plain, and its summary has no
// external ids and no spare list.
void make_version_1(zeSmlArchive& archive, const qtString& path) {
    Hreclaim<Hfile64> file;
    std::remove(path.c_str());
    file.Open(path, true, false);
    file.SetFileID(zandrel::detail::kArchiveFileId, 1, 0);
    for (const unsigned int number : numbers(archive)) {
        zeMsg msg;
        archive.ReadSml(number, msg, true);
        SegBuf record;
        Hio<Generic32> io(new HSegment(record, 'w'));
        msg.Dump(io);
        io.device->Close();
        file.AddItem(file.MakeStringKey(number), record);
    }
    SegBuf record;
    dump(archive.m_manager, 1, record);
    file.AddItem("__MANAGER__", record);
    file.Close();
}

TEST_F(ArchiveCheckTest, ReadingVersion1DoesNotChangeIt) {
    make_version_1(m_archive, qtString(m_folder.file("old")));
    const std::string before = m_folder.content("old");
    {
        Archive_to_read old(m_folder.file("old"));
        zeMsg msg;
        old.read(0, msg);
        EXPECT_EQ(msg.categories.size(), 2U);
    }
    EXPECT_EQ(m_folder.content("old"), before);
}

// The messages have ids, for which a summary of version 1 has no table.
TEST_F(ArchiveCheckTest, RebuiltSummaryOfVersion1HasNoIds) {
    make_version_1(m_archive, path());
    EXPECT_THAT(problems(), ElementsAre());

    summary().category_info[term("red")].category_counter = 7;
    make_version_1(m_archive, path());
    EXPECT_THAT(problems(), ElementsAre("archive: 1 category with a wrong count: red"));
    summary().modified = false;
    m_archive.CloseArchive();
    rebuild_index(path().str(), {});
    EXPECT_EQ(read_archive_header(path().str())->version, 1U);
    EXPECT_THAT(problems(), ElementsAre());
    m_archive.OpenArchive(path(), false, false);
    EXPECT_EQ(category(m_archive, "red").category_counter, 3U);
}

TEST_F(ArchiveCheckTest, ChangeOfVersion1UpgradesACopyThatTakesItsPlace) {
    make_version_1(m_archive, qtString(m_folder.file("old")));
    const auto inode = [this] {
        struct stat status = {};
        EXPECT_EQ(::stat(m_folder.file("old").c_str(), &status), 0);
        return status.st_ino;
    };
    const auto before = inode();
    {
        Archive_to_change change(m_folder.file("old"), {});
        EXPECT_EQ(change.archive().m_manager.version, 2);
        EXPECT_EQ(labels_of(change.archive(), 2), std::vector<std::string>{"red"});
        change.close();
    }
    EXPECT_NE(inode(), before);
    EXPECT_EQ(read_archive_header(m_folder.file("old"))->version, 2U);
    EXPECT_THAT(m_folder.names(), ElementsAre("arc", "old"));
}

TEST_F(ArchiveCheckTest, OtherFilesAreNoArchives) {
    EXPECT_FALSE(read_archive_header(m_folder.write("short", "x")));
    EXPECT_FALSE(read_archive_header(m_folder.write("text", "a text of some bytes")));
    EXPECT_THROW(read_archive_header(m_folder.file("missing")), Input_error);
    m_archive.archive_file->SetFileID(zandrel::detail::kArchiveFileId, 3, 0);
    write();
    EXPECT_THROW(Archive_to_read(path().str()), Data_error);
}

TEST_F(ArchiveCheckTest, UnknownAnalysisIsRefused) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    io.WriteBytes("runes", 5);
    io.device->Close();
    m_archive.archive_file->AddItem(kArchiveAnalysisKey, record);
    write();
    Archive_to_read archive(path().str());
    EXPECT_THROW(archive.analysis(), Data_error);
}

TEST_F(ArchiveCheckTest, ArchiveWithoutAnalysisNeedsOne) {
    EXPECT_THROW(analysis_of_archive("arc", std::nullopt, {}), Data_error);
    EXPECT_EQ(analysis_of_archive("arc", std::nullopt, {Analysis_kind::kWords, ""}).kind,
              Analysis_kind::kWords);
}

}  // namespace

}  // namespace zandrel::cli
