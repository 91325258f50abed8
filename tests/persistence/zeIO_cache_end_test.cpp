// The end of the use of a container in cached form: closing, reading again and emptying write the
// changes.
#include "zandrel/persistence/zeIO.h"

#include <cstdio>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/cached_kc.h"

namespace {

using testing::IsEmpty;

TEST(zeIOCacheEndTest, ReleaseWritesTheChanges) {
    Cached_desk kc(2);
    kc.desk.Learn();
    kc.built.desk.Learn();

    kc.manager.Release();

    EXPECT_TRUE(is_empty(kc.manager));
    read_cached(kc.manager, kc.file.path(), 2, true);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

TEST(zeIOCacheEndTest, DestructorOfTheManagerWritesTheChanges) {
    Cached_desk kc(2);
    kc.manager.Release();
    {
        zeManager manager;
        read_cached(manager, kc.file.path(), 2);
        News_desk(manager).Learn();
    }
    kc.built.desk.Learn();

    read_cached(kc.manager, kc.file.path(), 2, true);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

TEST(zeIOCacheEndTest, ReadOfTheSameFileWritesTheChanges) {
    Cached_desk kc(2);
    kc.desk.Learn();
    kc.built.desk.Learn();
    const qtPtrLight<zeIO> earlier = kc.manager.m_io;

    read_cached(kc.manager, kc.file.path(), 1);

    EXPECT_EQ(earlier->ReadOnDemand(), 0U);
    EXPECT_NE(kc.manager.m_io, earlier);
    EXPECT_EQ(kc.manager.ReadOnDemand(), 1U);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

TEST(zeIOCacheEndTest, SecondLoadOfOneFileObjectWritesTheChanges) {
    Cached_desk kc(2);
    kc.desk.Learn();
    kc.built.desk.Learn();
    KcIoMode mode = cached(3);

    kc.manager.m_io->LoadKC(kc.file.path(), &mode, nullptr);

    EXPECT_EQ(kc.manager.ReadOnDemand(), 3U);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

// The classifiers that are not in memory can no longer be read.
TEST(zeIOCacheEndTest, FailedReadLeavesAnEmptyManager) {
    Cached_desk kc(2);
    kc.desk.Learn();
    kc.built.desk.Learn();

    EXPECT_THROW(kc.manager.Read("no such file", nullptr, nullptr), qtX<AbstractHreclaim>);

    EXPECT_TRUE(is_empty(kc.manager));
    EXPECT_EQ(kc.manager.ReadOnDemand(), 0U);
    read_cached(kc.manager, kc.file.path(), 2, true);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

// A model that is written without statistics would forget all that it has learned.
TEST(zeIOCacheEndTest, LoadAfterACompactWriteOfOneFileObjectWritesWholeModels) {
    Cached_desk kc(2);
    kc.manager.Release();
    const qtString compact_file = kc.file.path() + ".compact";
    KcIoMode compact = direct();
    compact.compact = true;
    KcIoMode mode = cached(2);
    kc.built.manager.Write(compact_file, &compact, nullptr);
    EXPECT_TRUE(kc.built.manager.m_io->m_compact);

    kc.built.manager.m_io->LoadKC(kc.file.path(), &mode, nullptr);
    kc.built.desk.Learn();
    kc.built.manager.m_io->FlushCache(false, nullptr);

    Trained_desk expected;
    expected.desk.Learn();
    EXPECT_EQ(Cached_file(kc.file.path()).flags(), 0);
    for (zeNode* const node :
         {kc.built.manager.m_root, kc.built.desk.Node(News_desk::kHome).physical_node}) {
        const zeStat_storage& model =
            storage_of(kc.built.manager.m_physical_tree->get_classifier(node));
        EXPECT_FALSE(model.m_concept_infos.empty());
        EXPECT_GT(model.m_total_weight, 0.0);
    }
    expected.desk.LearnWord("kite", "sport", "home");
    kc.built.desk.LearnWord("kite", "sport", "home");
    EXPECT_EQ(kc.built.desk.Answers(), expected.desk.Answers());
    std::remove(compact_file.c_str());
}

TEST(zeIOCacheEndTest, BufferIsReadAfterACachedContainer) {
    Cached_desk kc(2);
    KcIoMode mode = cached(2);

    read_kc(kc.manager, saved(kc.built.manager), &mode);

    EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
    EXPECT_EQ(kc.manager.m_io->m_io_mode, KcIoMode::DIRECT_IO);
    EXPECT_EQ(kc.manager.ReadOnDemand(), 0U);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

// A program may drop or replace the file object itself.
TEST(zeIOCacheEndTest, FileObjectThatIsNotTheManagersWritesTheChanges) {
    for (const bool is_replaced : {false, true}) {
        Cached_desk kc(2);
        kc.desk.Learn();
        kc.built.desk.Learn();
        const qtPtrLight<zeIO> other(is_replaced ? new zeIO(&kc.manager) : nullptr);

        kc.manager.m_io = other;

        EXPECT_EQ(kc.manager.m_io, other);
        EXPECT_TRUE(Cached_file(kc.file.path()).is_clean());
        read_cached(kc.manager, kc.file.path(), 2, true);
        EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
    }
}

TEST(zeIOCacheEndTest, EmptiedContainerHasNoNodesInItsCache) {
    Cached_desk kc(2, true);
    kc.fetch(News_desk::kHome);

    kc.manager.ReleaseContent();

    EXPECT_THAT(kc.manager.m_io->m_cache->lru, IsEmpty());
    EXPECT_EQ(kc.manager.ReadOnDemand(), 2U);
}

}  // namespace
