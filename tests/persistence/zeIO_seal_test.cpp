// Containers whose files are sealed. They are read, copied and marked like others.
#include "zandrel/persistence/zeIO.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/persistence/Kc_seal.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/progress_log.h"
#include "tests/support/scratch_file.h"

using zandrel::Kc_seal;

namespace {

using testing::ElementsAre;

std::string sealed(const std::string& file) {
    qtPtr<qtBuffer> buffer = buffer_of(file);
    Kc_seal::Write(buffer);
    return bytes_in(buffer);
}

bool verify(const std::string& file) {
    qtPtr<qtBuffer> buffer = buffer_of(file);
    return Kc_seal::Verify(buffer);
}

class zeIOSealTest : public testing::Test {
protected:
    Trained_desk kc;
    std::string file = saved(kc.manager);
    zeManager loaded;
    Scratch_file disk;
};

TEST_F(zeIOSealTest, WriteMakesNoSeal) {
    EXPECT_FALSE(verify(file));
    EXPECT_FALSE(verify(saved_compact(kc.manager)));
}

TEST_F(zeIOSealTest, SealedFileIsReadLikeTheUnsealedOne) {
    read_kc(loaded, sealed(file));

    EXPECT_EQ(content_of(loaded), content_of(kc.manager));
    EXPECT_TRUE(same_bytes(saved(loaded), file));
}

TEST_F(zeIOSealTest, SealedCompactFileIsReadLikeTheUnsealedOne) {
    const std::string compact = saved_compact(kc.manager);
    KcIoMode mode;

    read_kc(loaded, sealed(compact), &mode);

    EXPECT_TRUE(mode.compact_read);
    EXPECT_TRUE(same_bytes(saved_compact(loaded), compact));
}

// There are eight items and the seal. Five steps are for the manager and the four classifiers.
TEST_F(zeIOSealTest, LoadOfASealedFileReportsTheStepsOfTheUnsealedOne) {
    Progress_log progress;

    read_kc(loaded, sealed(file), nullptr, &progress);

    EXPECT_THAT(progress.lines, ElementsAre("total 9", "total 5", "+1", "+1", "+1", "+1", "+1",
                                            "next phase, completed"));
}

TEST_F(zeIOSealTest, CopyOfASealedContainerHasNoSeal) {
    read_kc(loaded, sealed(file));
    KcIoMode mode;

    loaded.m_io->CopyKC(disk.path(), &mode, nullptr, nullptr);

    EXPECT_FALSE(verify(disk.content()));
}

TEST_F(zeIOSealTest, SealIsStillValidWhenTheUnicodeFlagChanges) {
    for (const std::string& sound : {sealed(file), sealed(saved_compact(kc.manager))}) {
        disk.write(sound);
        for (const bool flag : {true, false}) {
            loaded.m_io = qtPtrLight<zeIO>(new zeIO(&loaded));
            loaded.m_io->SetUnicodeFlag(disk.path(), flag);

            EXPECT_TRUE(verify(disk.content()));
            EXPECT_EQ(disk.content() == sound, !flag);
        }
    }
}

TEST_F(zeIOSealTest, FileOfTheFirstVersionCanBeSealed) {
    Kc_items items(file);
    items.version = 1;

    EXPECT_TRUE(verify(sealed(items.file())));
}

TEST_F(zeIOSealTest, RewrittenRecordBreaksTheSeal) {
    disk.write(sealed(file));
    Hpack pack;
    pack.Open(disk.path(), 'u');
    SegBuf record = record_of("another record");
    pack.AddAtOffset(Hpack::MakeStringKey(5), record, 0);
    pack.Close();

    EXPECT_QTX(Kc_seal::Verify(disk.path()), Kc_seal, 1, "Seal does not match: object 5");
}

}  // namespace
