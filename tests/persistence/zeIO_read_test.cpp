// Reading by zeIO: the container continues as the saved one would.
#include "zandrel/persistence/zeIO.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/allocation_meter.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trained_tree.h"

namespace {

class zeIOReadTest : public testing::Test {
protected:
    const Stopped_clock clock;
    Trained_desk kc;
    std::string file = saved(kc.manager);
    zeManager loaded;
    News_desk desk{loaded};
};

TEST_F(zeIOReadTest, AllSidesOfTheTreeAreReadBack) {
    kc.manager.m_defaults.clip_value = 2.5;
    kc.manager.m_config.set_optional("key", "value");

    read_kc(loaded, saved(kc.manager));

    EXPECT_EQ(content_of(loaded), content_of(kc.manager));
    ExpectSound(loaded);
    EXPECT_EQ(loaded.m_last_object_id, 7U);
    EXPECT_EQ(loaded.m_defaults, kc.manager.m_defaults);
    EXPECT_EQ(loaded.m_config.kc_id, kc.manager.m_config.kc_id);
    ASSERT_NE(loaded.m_config.get_optional("key"), nullptr);
    EXPECT_EQ(*loaded.m_config.get_optional("key"), qtString("value"));
}

TEST_F(zeIOReadTest, FileIsReadLikeABuffer) {
    const Scratch_file on_disk(file);

    loaded.Read(on_disk.path(), nullptr, nullptr);

    EXPECT_EQ(content_of(loaded), content_of(kc.manager));
}

TEST_F(zeIOReadTest, LoadedContainerIsNotModified) {
    loaded.m_modified = true;

    read_kc(loaded, file);

    EXPECT_FALSE(loaded.m_modified);
    EXPECT_FALSE(loaded.m_compact);
    EXPECT_EQ(loaded.m_progress, nullptr);
    EXPECT_EQ(loaded.m_version, 2);
}

TEST_F(zeIOReadTest, ScoresAndExplanationsAreTheSameAsBeforeTheSave) {
    read_kc(loaded, file);

    EXPECT_EQ(desk.Answers(), kc.desk.Answers());
}

TEST_F(zeIOReadTest, LearningContinuesAsWithoutASave) {
    read_kc(loaded, file);

    for (int turn = 0; turn < 3; ++turn) {
        kc.desk.Learn();
        desk.Learn();
    }

    EXPECT_EQ(desk.Answers(), kc.desk.Answers());
    EXPECT_TRUE(same_bytes(saved(loaded), saved(kc.manager)));
}

TEST_F(zeIOReadTest, TrainingAndEditsContinueAsWithoutASave) {
    read_kc(loaded, file);

    for (News_desk* each : {&kc.desk, &desk}) {
        each->Edit();
        each->Learn();
    }

    EXPECT_EQ(desk.Answers(), kc.desk.Answers());
    EXPECT_EQ(content_of(loaded), content_of(kc.manager));
    EXPECT_TRUE(same_bytes(saved(loaded), saved(kc.manager)));
}

TEST_F(zeIOReadTest, ReadingUsesNoObjectIds) {
    read_kc(loaded, file);

    zeNode* const next = loaded.m_physical_tree->MakeNode(term("next"), ZE_RULE, 0, 0.0);

    EXPECT_EQ(next->m_classifier_id, 8U);
    EXPECT_EQ(next->m_node_id, 11U);
}

TEST_F(zeIOReadTest, ObjectsAreRegisteredWithTheirManager) {
    read_kc(loaded, file);

    ASSERT_EQ(loaded.m_objects.size(), 7U);
    for (const auto& [id, object] : loaded.m_objects) {
        EXPECT_EQ(object->m_id, id);
        EXPECT_EQ(object->m_manager, &loaded);
    }
    EXPECT_FALSE(loaded.m_objects.at(1)->m_dirty);
    EXPECT_FALSE(loaded.m_objects.at(2)->m_dirty);
}

TEST_F(zeIOReadTest, PreviousContentsAreReplaced) {
    Trained_tree other;

    read_kc(other.manager, file);

    EXPECT_EQ(content_of(other.manager), content_of(kc.manager));
}

TEST_F(zeIOReadTest, ModeDescribesTheFileAfterwards) {
    Kc_items items(file);
    items.flags = 0x80;
    KcIoMode mode;
    mode.compact_read = true;

    read_kc(loaded, items.file(), &mode);

    EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
    EXPECT_TRUE(mode.unicode);
    EXPECT_FALSE(mode.compact_read);
    EXPECT_EQ(mode.version, 2);
    EXPECT_EQ(loaded.m_io->m_io_mode, KcIoMode::DIRECT_IO);
    EXPECT_EQ(loaded.m_io->m_version, 2U);
    EXPECT_FALSE(loaded.m_io->m_read_only);
}

TEST_F(zeIOReadTest, UnknownFlagsAreIgnored) {
    Kc_items items(file);
    items.flags = 0x77;
    KcIoMode mode;

    read_kc(loaded, items.file(), &mode);

    EXPECT_FALSE(mode.unicode);
    EXPECT_FALSE(mode.compact_read);
}

TEST_F(zeIOReadTest, FileIsClosedAfterTheLoad) {
    read_kc(loaded, file);

    unsigned int id = 1;
    unsigned short version = 1;
    unsigned char flags = 1;
    bool is_bad = false;
    loaded.m_io->m_pack.GetFileID(id, version, flags, is_bad);
    EXPECT_TRUE(is_bad);
    EXPECT_EQ(loaded.m_io->m_pack.GetIndexSize(), 0U);
}

// Forms.

TEST_F(zeIOReadTest, AutomaticAndPlainFormReadAPlainFile) {
    const Scratch_file on_disk(file);
    for (const KcIoMode::Form form : {KcIoMode::AUTO_IO, KcIoMode::DIRECT_IO}) {
        SCOPED_TRACE(form);
        zeManager manager;
        KcIoMode mode;
        mode.io_mode = form;

        manager.Read(on_disk.path(), &mode, nullptr);

        EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
        EXPECT_EQ(manager.ReadOnDemand(), 0U);
        EXPECT_EQ(content_of(manager), content_of(kc.manager));
    }
}

TEST_F(zeIOReadTest, OtherFormsAreRefusedBeforeAnythingIsTouched) {
    const Scratch_file on_disk(file);
    Trained_tree other;
    const Unchanged unchanged(other.manager);
    for (const unsigned int form : {3U, 99U}) {
        SCOPED_TRACE(form);
        KcIoMode mode;
        mode.io_mode = static_cast<KcIoMode::Form>(form);

        EXPECT_ASSERTS(other.manager.Read(on_disk.path(), &mode, nullptr),
                       "m_io_mode != KcIoMode::AUTO_IO");

        EXPECT_EQ(mode.io_mode, form);
        EXPECT_EQ(mode.version, 0);
    }
}

TEST_F(zeIOReadTest, BufferIsReadInPlainFormWhateverIsRequested) {
    for (const unsigned int form : {0U, 1U, 2U, 99U}) {
        SCOPED_TRACE(form);
        KcIoMode mode;
        mode.io_mode = static_cast<KcIoMode::Form>(form);

        read_kc(loaded, file, &mode);

        EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
        EXPECT_EQ(content_of(loaded), content_of(kc.manager));
    }
}

TEST_F(zeIOReadTest, FileObjectOfAnotherManagerMayNotRead) {
    zeIO stranger(&loaded);
    KcIoMode mode;
    qtPtr<qtBuffer> buffer = buffer_of(file);

    EXPECT_ASSERTS(stranger.LoadKC(buffer, &mode, nullptr), "m_manager->m_io.get() == this");
    EXPECT_ASSERTS(stranger.LoadKC("unused", &mode, nullptr), "m_manager->m_io.get() == this");
}

// Memory.

// Runs an operation many times. On average a run may keep less than one byte, because the allocator
// rounds sizes.
template <class Operation>
void expect_no_leak(Operation&& operation) {
    constexpr int kTurns = 1000;
    operation();
    const std::size_t texts = Concept::dictionary_size();
    const std::size_t bytes = held_bytes();

    for (int turn = 0; turn < kTurns; ++turn) {
        operation();
    }

    EXPECT_EQ(Concept::dictionary_size(), texts);
    EXPECT_LT(held_bytes(), bytes + kTurns);
}

TEST_F(zeIOReadTest, ThousandLoadsAndReleasesLeakNoMemory) {
    const Scratch_file on_disk(file);

    expect_no_leak([&] {
        loaded.Read(on_disk.path(), nullptr, nullptr);
        loaded.Release();
    });
}

TEST_F(zeIOReadTest, RepeatedLoadsKeepOnlyOneContainer) {
    expect_no_leak([&] { read_kc(loaded, file); });
}

TEST_F(zeIOReadTest, FailedLoadsLeakNoMemory) {
    Kc_items items(file);
    items.records.erase(object_key(6));
    const std::string broken = items.file();

    expect_no_leak([&] {
        try {
            read_kc(loaded, broken);
        } catch (const qtX<Hpack>&) {
            return;
        }
        ADD_FAILURE() << "a broken file was read";
    });
}

}  // namespace
