// The Unicode flag of a container in cached form. The tests of the plain form are in zeIO_test.cpp.
#include "zandrel/persistence/zeIO.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/persistence/CachePack.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/kc_file.h"
#include "tests/support/kc_v1.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"

namespace {

constexpr std::size_t kFlags = 8;  // the position in the header
constexpr std::size_t kMarked = 9;

class zeIOCachedUnicodeTest : public testing::Test {
protected:
    zeIOCachedUnicodeTest() { WriteCached(false); }

    void WriteCached(bool is_compact) {
        KcIoMode mode;
        mode.io_mode = KcIoMode::CACHED_IO;
        mode.compact = is_compact;
        kc.manager.Write(file.path(), &mode, nullptr);
    }

    void Set(bool flag) {
        zeManager other;
        zeIO(&other).SetUnicodeFlag(file.path(), flag);
    }

    Trained_desk kc;
    Scratch_file file;
};

TEST_F(zeIOCachedUnicodeTest, OneBitChangesAndTheRestIsKept) {
    for (const bool is_compact : {false, true}) {
        WriteCached(is_compact);
        for (const char version : {'\1', '\2'}) {
            SCOPED_TRACE(testing::Message() << is_compact << ' ' << int{version});
            file.patch(11, std::string(1, version));
            const std::string without = file.content();
            std::string with = without;
            with[kFlags] = static_cast<char>(is_compact ? 0x88 : 0x80);

            Set(true);
            EXPECT_TRUE(same_bytes(file.content(), with));
            Set(true);
            EXPECT_TRUE(same_bytes(file.content(), with));
            Set(false);
            EXPECT_TRUE(same_bytes(file.content(), without));
        }
    }
}

TEST_F(zeIOCachedUnicodeTest, FileOfVersionOneIsNotUpgraded) {
    const std::string built = cached_v1(News_kc_v1::items());
    file.write(built);

    Set(true);

    std::string marked = built;
    marked[kFlags] = '\x80';
    EXPECT_TRUE(same_bytes(file.content(), marked));
}

TEST_F(zeIOCachedUnicodeTest, FlagIsReportedByTheNextReading) {
    for (const bool flag : {true, false}) {
        Set(flag);
        KcIoMode mode;

        zeManager().Read(file.path(), &mode, nullptr);

        EXPECT_EQ(mode.unicode, flag);
    }
}

TEST_F(zeIOCachedUnicodeTest, ManagerAndItsOpenContainerStayAsTheyAre) {
    zeManager plain_v1;
    read_kc(plain_v1, News_kc_v1::items().file());
    const Unchanged unchanged(plain_v1);

    plain_v1.m_io->SetUnicodeFlag(file.path(), true);

    EXPECT_EQ(plain_v1.m_version, 1);
    EXPECT_EQ(plain_v1.m_io->m_version, 1U);
    EXPECT_EQ(plain_v1.m_io->m_io_mode, KcIoMode::DIRECT_IO);
    EXPECT_EQ(plain_v1.ReadOnDemand(), 0U);
}

TEST_F(zeIOCachedUnicodeTest, OpenContainerOfAnotherFileIsStillOpenAfterwards) {
    const std::string other = file.path().str() + ".other";
    std::filesystem::copy_file(file.path().str(), other);
    {
        zeManager opened;
        opened.Read(qtString(other), nullptr, nullptr);
        const Desk_answers answers = News_desk(opened).Answers();

        opened.m_io->SetUnicodeFlag(file.path(), true);

        EXPECT_EQ(opened.m_io->CacheFile(), qtString(other));
        EXPECT_EQ(News_desk(opened).Answers(), answers);
    }
    std::filesystem::remove(other);
}

TEST_F(zeIOCachedUnicodeTest, OpenContainerIsRefusedByEachOfItsNames) {
    const std::string link = file.path().str() + ".link";
    const std::string hard_link = file.path().str() + ".hard";
    std::filesystem::create_symlink(file.path().str(), link);
    std::filesystem::create_hard_link(file.path().str(), hard_link);
    const std::string before = file.content();
    {
        zeManager opened;
        opened.Read(file.path(), nullptr, nullptr);
        zeIO another(&opened);
        for (const std::string& name : {file.path().str(), link, hard_link}) {
            SCOPED_TRACE(name);
            for (zeIO* const io : {opened.m_io.get(), &another}) {
                EXPECT_QTX_ARGS(io->SetUnicodeFlag(qtString(name), true), zeIO, 13,
                                "File is the open container: " + name, {qtString(name)});
            }
        }
        EXPECT_TRUE(same_bytes(file.content(), before));
    }
    std::filesystem::remove(link);
    std::filesystem::remove(hard_link);
}

TEST_F(zeIOCachedUnicodeTest, FileWhoseChangesWereNotCompletedIsRefused) {
    file.patch(kMarked, "\1");
    const std::string before = file.content();

    EXPECT_QTX(Set(true), zeIO, 8, "KB index is not synchronized (Run RebuildIndex Utility)");

    EXPECT_TRUE(same_bytes(file.content(), before));
}

TEST_F(zeIOCachedUnicodeTest, FileIsMarkedOrUnchangedIfACallOfTheDiskFails) {
    Fake_disk disk;
    zeManager manager;
    zeIO io(&manager);
    const std::string before = file.content();
    std::string after = before;
    after[kFlags] = '\x80';
    std::size_t call = 0;
    for (;; ++call) {
        SCOPED_TRACE(call);
        disk.files["fake/kc"] = before;
        disk.fail_at(call, Fake_disk::Fault::kIoError, false);
        bool is_done = false;
        try {
            io.SetUnicodeFlag("fake/kc", true);
            is_done = true;
        } catch (const qtxAll&) {
        }
        const bool has_failed = !disk.failed.empty();
        disk.heal();
        EXPECT_EQ(disk.open_files, 0);
        const std::string& left = disk.files.at("fake/kc");
        EXPECT_TRUE(left == after || (!is_done && left == before));
        if (!has_failed) {
            EXPECT_TRUE(is_done);
            break;
        }
    }
    EXPECT_GT(call, 5U);
}

}  // namespace
