// Opening, creating, flushing and closing an archive.
#include "zandrel/archive/zeSmlArchive.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/small_archive.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;

class zeSmlArchiveTest : public Archive_test {
protected:
    std::string header() const { return disk.content().substr(0, 12); }

    bool is_marked() const { return (disk.content().at(9) & 1) != 0; }

    // Changes the closed file as another program would.
    template <class Change>
    void change_file(Change&& change) {
        archive.CloseArchive();
        Hreclaim<Hfile64> file;
        file.Open(disk.path(), false, false);
        change(file);
        file.Close();
    }

    void expect_closed_and_empty() const {
        EXPECT_NE(archive.archive_file, nullptr);
        EXPECT_FALSE(archive.m_manager.modified);
        EXPECT_TRUE(archive.m_manager.sml_dates.empty());
        EXPECT_TRUE(archive.m_manager.category_info.empty());
        EXPECT_TRUE(archive.m_manager.external_ids.empty());
    }
};

TEST_F(zeSmlArchiveTest, NewArchiveHasItsIdentityAndAnEmptySummaryInTheFile) {
    EXPECT_EQ(to_hex(header()), "4a 5b 6c 81 82 97 55 03 00 00 00 02");
    EXPECT_FALSE(archive.m_manager.modified);
    EXPECT_FALSE(archive.is_unicode);
    EXPECT_EQ(archive.m_manager.version, 2U);
    SegBuf record;
    archive.archive_file->GetItem("__MANAGER__", record);
    EXPECT_EQ(bytes_of(record), dumped(SmlArchiveManager()));
}

TEST_F(zeSmlArchiveTest, NewArchiveWith32BitsHasTheMagicOfThatWidth) {
    archive.CloseArchive();
    const Second_file other;
    archive.OpenArchive(other.path(), true, true);
    add(archive, {"red"});
    archive.CloseArchive();

    EXPECT_EQ(to_hex(other.content().substr(0, 12)), "4a 5b 6c 80 82 97 55 03 00 00 00 02");
    archive.OpenArchive(other.path(), false, true);
    EXPECT_EQ(labels_of(archive, 0), std::vector<std::string>{"red"});
}

// The object does not know the width of a file.
TEST_F(zeSmlArchiveTest, FileOfTheOtherWidthIsNoRecordFile) {
    archive.CloseArchive();

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, true), AbstractHreclaim, 0,
                    "Input file is not in expected format: " + disk.path().str(), {disk.path()});
}

TEST_F(zeSmlArchiveTest, NewArchiveGetsTheSettingsOfTheObjectAndNothingElse) {
    archive.SetCatReservedSize(3);
    archive.SetCatMinimalSize(4);
    archive.SetAgeRatio(1.5);
    add(archive, {"red"}, "a");
    archive.m_manager.last_learned_sml = 7;
    archive.m_manager.kc_id = 8;
    archive.m_manager.spare_list = {9};
    archive.CloseArchive();
    std::remove(disk.path().c_str());

    archive.OpenArchive(disk.path(), true, false);

    SmlArchiveManager expected;
    expected.cat_reserved_size = 3;
    expected.cat_minimal_size = 4;
    expected.age_ratio = 1.5;
    EXPECT_EQ(dumped(archive.m_manager), dumped(expected));
    reopen();
    EXPECT_EQ(dumped(archive.m_manager), dumped(expected));
}

TEST_F(zeSmlArchiveTest, ReopenedArchiveHasTheSameSummary) {
    add(archive, {"red", "blue"}, "a");
    add(archive, {"red"}, "b");
    archive.SetCatMinimalSize(11);
    archive.m_manager.spare_list = {-5, 5};
    const std::string before = dumped(archive.m_manager);

    reopen();

    EXPECT_EQ(dumped(archive.m_manager), before);
    EXPECT_FALSE(archive.m_manager.modified);
    expect_sound(archive);
}

TEST_F(zeSmlArchiveTest, OpenedFileReplacesTheSummaryOfAnotherOne) {
    add(archive, {"red"}, "a");
    archive.CloseArchive();
    const std::string first = dumped(archive.m_manager);
    const Second_file other;
    {
        zeSmlArchive second;
        second.OpenArchive(other.path(), true, false);
        add(second, {"green"}, "b");
        add(second, {"green"}, "c");
    }
    archive.OpenArchive(other.path(), false, false);
    EXPECT_EQ(numbers(archive).size(), 2U);

    archive.CloseArchive();
    archive.OpenArchive(disk.path(), false, false);

    EXPECT_EQ(dumped(archive.m_manager), first);
}

TEST_F(zeSmlArchiveTest, SecondOpenIsRefusedAndChangesNothing) {
    add(archive, {"red"});

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), zeSmlArchive, 0,
                    "Archive is already open", {""});

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_THAT(numbers(archive), ElementsAre(0));
    add(archive, {"red"});
    reopen();
    EXPECT_THAT(numbers(archive), ElementsAre(0, 1));
}

TEST_F(zeSmlArchiveTest, FileOfAnotherKindIsRefusedAndNotWritten) {
    change_file([](Hreclaim<Hfile64>& file) { file.SetFileID(0xA1B2C3D5, 2, 0); });
    const std::string before = disk.content();

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), zeSmlArchive, 0,
                    "File is not an Sml Archive: " + disk.path().str(), {disk.path()});

    expect_closed_and_empty();
    archive.SetCatMinimalSize(5);  // sets the modified flag
    archive.FlushArchive(true);
    archive.CloseArchive();
    EXPECT_EQ(archive.archive_file, nullptr);
    EXPECT_EQ(disk.content(), before);
}

TEST_F(zeSmlArchiveTest, UnknownVersionsAreRefused) {
    for (const unsigned short version : {std::uint16_t{0}, std::uint16_t{3}}) {
        change_file([&](Hreclaim<Hfile64>& file) { file.SetFileID(0x82975503, version, 0); });

        EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), zeSmlArchive, 9,
                        "Invalid version in archive file", {qtString(std::to_string(version))});

        expect_closed_and_empty();
    }
}

TEST_F(zeSmlArchiveTest, MissingFileIsRefusedUnlessItIsCreated) {
    archive.CloseArchive();
    std::remove(disk.path().c_str());

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), AbstractHreclaim, 5,
                    "File does not exist: " + disk.path().str(), {disk.path()});

    expect_closed_and_empty();
}

TEST_F(zeSmlArchiveTest, FailedOpenCountsAsOpenUntilItIsClosed) {
    archive.CloseArchive();
    EXPECT_THROW(archive.OpenArchive(disk.path() + qtString("x"), false, false),
                 qtX<AbstractHreclaim>);

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), zeSmlArchive, 0,
                    "Archive is already open", {""});
    archive.CloseArchive();

    archive.OpenArchive(disk.path(), false, false);
    EXPECT_EQ(add(archive, {"red"}), 0U);
}

TEST_F(zeSmlArchiveTest, MarkedFileIsRefused) {
    add(archive, {"red"});
    archive.SetCatReservedSize(3);
    archive.SetCatMinimalSize(4);
    archive.SetAgeRatio(1.5);
    change_file([](Hreclaim<Hfile64>& file) { file.SetState(1); });
    const std::string before = disk.content();
    archive.SetCatReservedSize(7);
    archive.SetCatMinimalSize(8);
    archive.SetAgeRatio(2.5);

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), zeSmlArchive, 10,
                    "Archive index is not synchronized (Run RebuildIndex Utility)", {});

    expect_closed_and_empty();
    // The settings are those of the object, not those of the refused file.
    EXPECT_EQ(archive.m_manager.cat_reserved_size, 7U);
    EXPECT_EQ(archive.m_manager.cat_minimal_size, 8U);
    EXPECT_EQ(archive.m_manager.age_ratio, 2.5);
    archive.CloseArchive();
    EXPECT_EQ(disk.content(), before);
}

// The index of a marked file may name a place where the summary was before.
TEST_F(zeSmlArchiveTest, MarkedFileWithoutAReadableSummaryIsRefusedAsMarked) {
    change_file([](Hreclaim<Hfile64>& file) {
        file.DeleteItem("__MANAGER__");
        file.WriteIndex();
        file.SetState(1);
    });

    EXPECT_QTX(archive.OpenArchive(disk.path(), false, false), zeSmlArchive, 10,
               "Archive index is not synchronized (Run RebuildIndex Utility)");
}

TEST_F(zeSmlArchiveTest, OtherBitsOfTheStateDoNotMatter) {
    change_file([](Hreclaim<Hfile64>& file) { file.SetState(0xFE); });

    archive.OpenArchive(disk.path(), false, false);

    add(archive, {"red"});
    EXPECT_EQ(static_cast<unsigned char>(disk.content().at(9)), 0xFF);
    archive.CloseArchive();
    EXPECT_EQ(static_cast<unsigned char>(disk.content().at(9)), 0xFE);
}

TEST_F(zeSmlArchiveTest, FileWithoutASummaryPassesOnTheErrorOfTheRecordFile) {
    change_file([](Hreclaim<Hfile64>& file) { file.DeleteItem("__MANAGER__"); });

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), AbstractHreclaim, 2,
                    "Missing key in index: __MANAGER__", {disk.path(), "__MANAGER__"});

    expect_closed_and_empty();
}

TEST_F(zeSmlArchiveTest, BytesBehindTheSummaryAreRefused) {
    change_file([](Hreclaim<Hfile64>& file) {
        file.AddItem("__MANAGER__", record_of(dumped(SmlArchiveManager()) + '\0'));
    });

    EXPECT_QTX_ARGS(archive.OpenArchive(disk.path(), false, false), zeSmlArchive, 11,
                    "Damaged archive summary: length", {"length"});
}

// Each byte of the stored summary is changed. The archive is either refused and empty, or it has
// exactly the changed values.
TEST_F(zeSmlArchiveTest, ArchiveWithADamagedSummaryIsRefusedOrHasItsValues) {
    archive.SetCatReservedSize(1);
    add(archive, {"red", "blue"}, "a");
    add(archive, {"red"}, "b");
    archive.CloseArchive();
    const std::string sound = dumped(archive.m_manager);
    const std::string file = disk.content();
    const std::size_t place = file.find(sound);
    ASSERT_NE(place, std::string::npos);
    int refused = 0;
    for (std::size_t position = 0; position < sound.size(); ++position) {
        SCOPED_TRACE(position);
        std::string damaged = file;
        damaged[place + position] =
            static_cast<char>(static_cast<unsigned char>(damaged[place + position]) ^ 0xFFU);
        disk.write(damaged);
        try {
            archive.OpenArchive(disk.path(), false, false);
            std::string again = dumped(archive.m_manager);
            std::string expected = damaged.substr(place, sound.size());
            std::sort(again.begin(), again.end());
            std::sort(expected.begin(), expected.end());
            EXPECT_EQ(again, expected);
        } catch (const qtxAll&) {
            ++refused;
            expect_closed_and_empty();
        }
        archive.CloseArchive();
        EXPECT_EQ(disk.content(), damaged);
    }
    // The counts, lengths, names that become equal, and numbers that are too large or too small.
    EXPECT_GT(refused, 50);
}

TEST_F(zeSmlArchiveTest, UnicodeFlagComesFromTheFile) {
    change_file([](Hreclaim<Hfile64>& file) { file.SetFileID(0x82975503, 2, 0x80); });

    archive.OpenArchive(disk.path(), false, false);

    EXPECT_TRUE(archive.is_unicode);
}

TEST_F(zeSmlArchiveTest, FileIsMarkedFromTheFirstChangeToTheFlushWithTheIndex) {
    EXPECT_FALSE(is_marked());

    add(archive, {"red"});
    EXPECT_TRUE(is_marked());
    archive.FlushArchive(false);
    EXPECT_TRUE(is_marked());
    EXPECT_FALSE(archive.m_manager.modified);

    add(archive, {"red"});
    archive.FlushArchive(true);
    EXPECT_FALSE(is_marked());
    EXPECT_FALSE(archive.m_manager.modified);
}

TEST_F(zeSmlArchiveTest, ChangeOfASettingReachesTheFileWithTheNextFlush) {
    archive.SetCatMinimalSize(12);
    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_FALSE(is_marked());

    archive.FlushArchive(true);

    zeSmlArchive other;
    other.OpenArchive(disk.path(), false, false);
    EXPECT_EQ(other.m_manager.cat_minimal_size, 12U);
}

TEST_F(zeSmlArchiveTest, EachSetterSetsTheModifiedFlag) {
    archive.SetCatReservedSize(20);
    EXPECT_TRUE(archive.m_manager.modified);
    archive.FlushArchive(false);
    archive.SetAgeRatio(2.0);
    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_EQ(archive.m_manager.age_ratio, 2.0);
}

TEST_F(zeSmlArchiveTest, AgeRatioThatIsNoNumberIsRefused) {
    for (const double ratio : {std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN(), 1e39, -1e39}) {
        EXPECT_QTX_ARGS(archive.SetAgeRatio(ratio), zeSmlArchive, 13, "Invalid age ratio", {});
    }
    EXPECT_EQ(archive.m_manager.age_ratio, 5.0);
    EXPECT_FALSE(archive.m_manager.modified);
}

// The index is written only together with a changed summary.
TEST_F(zeSmlArchiveTest, FlushOfAnUnchangedSummaryDoesNotWriteTheIndex) {
    add(archive, {"red"});
    archive.FlushArchive(false);
    const std::string before = disk.content();

    archive.FlushArchive(true);

    EXPECT_EQ(disk.content(), before);
    EXPECT_TRUE(is_marked());
}

TEST_F(zeSmlArchiveTest, CloseWritesSummaryAndIndex) {
    add(archive, {"red"});

    archive.CloseArchive();

    EXPECT_EQ(archive.archive_file, nullptr);
    EXPECT_FALSE(is_marked());
    EXPECT_THAT(numbers(archive), ElementsAre(0));
}

TEST_F(zeSmlArchiveTest, CloseOfAClosedArchiveDoesNothing) {
    archive.CloseArchive();
    const std::string before = disk.content();
    archive.SetCatMinimalSize(1);

    archive.CloseArchive();
    archive.FlushArchive(true);

    EXPECT_EQ(disk.content(), before);
    EXPECT_TRUE(archive.m_manager.modified);
}

TEST_F(zeSmlArchiveTest, DestructorClosesTheArchive) {
    archive.CloseArchive();
    {
        zeSmlArchive other;
        other.OpenArchive(disk.path(), false, false);
        add(other, {"red"});
    }

    archive.OpenArchive(disk.path(), false, false);

    EXPECT_THAT(numbers(archive), ElementsAre(0));
}

TEST(zeSmlArchiveClosedTest, OperationsOnAClosedArchiveAreRefusedAndChangeNothing) {
    zeSmlArchive archive;
    qtPtrLight<zeMsg> msg = labelled({"red"});
    qtPtrLight<zeManager> manager;
    const std::string before = dumped(archive.m_manager);

    EXPECT_QTX_ARGS(archive.AddSml(msg, "a"), zeSmlArchive, 12, "Archive is not open", {});
    EXPECT_QTX(archive.AddSml(msg, "a", "b"), zeSmlArchive, 12, "Archive is not open");
    archive.m_manager.external_ids["b"] = 1;  // as after CloseArchive
    EXPECT_QTX(archive.AddSml(msg, "a", "b"), zeSmlArchive, 12, "Archive is not open");
    archive.m_manager.external_ids.clear();
    EXPECT_QTX(archive.WriteSml(1, *msg, true), zeSmlArchive, 12, "Archive is not open");
    EXPECT_QTX(archive.ReadSml(1, *msg, true), zeSmlArchive, 4, "Can't read Sml 1 from Archive");
    EXPECT_QTX(archive.DelSml(1), zeSmlArchive, 4, "Can't read Sml 1 from Archive");
    EXPECT_QTX(archive.Learn(manager, true, true, nullptr, true), zeSmlArchive, 12,
               "Archive is not open");
    EXPECT_QTX(archive.TrainKc(manager, true, true, true, nullptr, true), zeSmlArchive, 12,
               "Archive is not open");

    EXPECT_FALSE(archive.m_manager.modified);
    EXPECT_EQ(dumped(archive.m_manager), before);
}

}  // namespace
