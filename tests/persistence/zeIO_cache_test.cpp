// The cached form of a container: its file is open, and few classifiers are in memory.
#include "zandrel/persistence/zeIO.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/storage/AbstractHreclaim.h"

#include "tests/support/cached_kc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/progress_log.h"
#include "tests/support/trace_capture.h"
#include "tests/support/wide_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Changes a model so that the change can be seen after reading it.
void mark(zeClassifier* classifier, int slices) {
    storage_of(classifier).m_num_slices = slices;
    classifier->m_dirty = true;
}

// Results.

class zeIOCacheBoundTest : public testing::TestWithParam<unsigned int> {};

TEST_P(zeIOCacheBoundTest, AnswersAreThoseOfEverythingInMemory) {
    constexpr int kGroups = 200;
    zeManager plain;
    build_groups(plain, kGroups);
    train_groups(plain, kGroups);
    const Scratch_file file;
    write_cached(plain, file.path());
    const std::string before = file.content();

    zeManager manager;
    read_cached(manager, file.path(), GetParam(), true);

    EXPECT_EQ(manager.ReadOnDemand(), GetParam());
    EXPECT_EQ(answers_of_groups(manager, kGroups), answers_of_groups(plain, kGroups));
    EXPECT_EQ(manager.m_objects.size(), 2 * std::size_t{GetParam()});
    manager.Release();
    EXPECT_TRUE(same_bytes(file.content(), before));
}

TEST_P(zeIOCacheBoundTest, TrainedAndCopiedContainerHasTheBytesOfThePlainForm) {
    constexpr int kGroups = 10;
    zeManager plain;
    build_groups(plain, kGroups);
    const Scratch_file file;
    write_cached(plain, file.path());
    zeManager manager;
    read_cached(manager, file.path(), GetParam());

    train_groups(plain, kGroups);
    train_groups(manager, kGroups);
    manager.m_modified = true;
    manager.Write(file.path(), nullptr, nullptr);
    zeManager again;
    read_cached(again, file.path(), GetParam());

    EXPECT_TRUE(same_bytes(saved_plain(again), saved(plain)));
    EXPECT_EQ(answers_of_groups(again, kGroups), answers_of_groups(plain, kGroups));
}

INSTANTIATE_TEST_SUITE_P(Bounds, zeIOCacheBoundTest, testing::Values(1U, 2U, 20U));

TEST(zeIOCacheTest, ReadsGiveOutNoNewIds) {
    Cached_desk kc(1);
    const unsigned int last_id = kc.manager.m_last_object_id;
    const unsigned int missed = g_MissedCacheCount;
    const unsigned int hit = g_HitCacheCount;

    for (int i = 0; i < 5000; ++i) {
        kc.fetch(News_desk::kHome);
        kc.fetch(News_desk::kWorld);
        kc.fetch(News_desk::kWorld);
        kc.fetch(News_desk::kPress);
    }

    EXPECT_EQ(g_MissedCacheCount - missed, 10000U);
    EXPECT_EQ(g_HitCacheCount - hit, 5000U);
    EXPECT_EQ(kc.manager.m_last_object_id, last_id);
    EXPECT_EQ(kc.manager.m_objects.size(), 3U);  // world, its model, press
}

// Form and mode.

TEST(zeIOCacheTest, AutomaticFormReadsACachedFile) {
    Trained_desk built;
    const Scratch_file file;
    write_cached(built.manager, file.path());
    zeManager manager;
    KcIoMode mode;

    manager.Read(file.path(), &mode, nullptr);

    EXPECT_EQ(mode.io_mode, KcIoMode::CACHED_IO);
    EXPECT_EQ(manager.m_io->m_io_mode, KcIoMode::CACHED_IO);
    EXPECT_EQ(mode.version, 2);
    EXPECT_FALSE(mode.compact_read);
    EXPECT_FALSE(mode.unicode);
    EXPECT_TRUE(mode.read_only);
    EXPECT_EQ(manager.ReadOnDemand(), 20U);
    EXPECT_EQ(manager.m_io->ReadOnDemand(), 20U);
    EXPECT_EQ(manager.m_io->CacheFile(), file.path());
    EXPECT_EQ(manager.m_version, 2);
}

TEST(zeIOCacheTest, VersionOfTheManagerBecomesThatOfTheFile) {
    Cached_desk kc(2);
    zeManager manager;
    manager.m_version = 1;

    read_cached(manager, kc.file.path(), 2, true);

    EXPECT_EQ(manager.m_version, 2);
}

TEST(zeIOCacheTest, PlainFormRefusesACachedFile) {
    Cached_desk kc(2, true);
    zeManager manager;
    KcIoMode mode = direct();

    EXPECT_QTX_ARGS(manager.Read(kc.file.path(), &mode, nullptr), zeIO, 1, "Not a kc file", {});
}

TEST(zeIOCacheTest, CachedFormRefusesAPlainFile) {
    Trained_desk built;
    const Scratch_file file(saved(built.manager));
    zeManager manager;
    KcIoMode mode = cached(2);

    EXPECT_QTX_ARGS(manager.Read(file.path(), &mode, nullptr), AbstractHreclaim,
                    AbstractHreclaim::kWrongFormat,
                    "Input file is not in expected format: " + file.path().str(), {file.path()});
}

TEST(zeIOCacheTest, CacheSizeOfZeroIsRefused) {
    Trained_desk built;
    const Scratch_file file;
    write_cached(built.manager, file.path());
    const std::string before = file.content();
    zeManager manager;
    for (const KcIoMode::Form form : {KcIoMode::AUTO_IO, KcIoMode::CACHED_IO}) {
        KcIoMode mode = cached(0);
        mode.io_mode = form;
        EXPECT_QTX_ARGS(manager.Read(file.path(), &mode, nullptr), zeIO, 0, "Invalid Cache Size",
                        {});
        EXPECT_EQ(manager.ReadOnDemand(), 0U);
    }
    KcIoMode mode = cached(0);
    EXPECT_QTX_ARGS(built.manager.Write(file.path(), &mode, nullptr), zeIO, 0, "Invalid Cache Size",
                    {});
    EXPECT_TRUE(same_bytes(file.content(), before));
}

TEST(zeIOCacheTest, CacheSizeOfZeroIsAcceptedForAPlainFile) {
    Trained_desk built;
    const Scratch_file file(saved(built.manager));
    zeManager manager;
    KcIoMode mode;
    mode.cache_size = 0;

    manager.Read(file.path(), &mode, nullptr);

    EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
}

TEST(zeIOCacheTest, RecordFileOfAnotherOwnerIsRefused) {
    Cached_desk kc(2);
    kc.manager.Release();
    const auto identify = [&kc](unsigned int id, unsigned short version) {
        Cached_file file(kc.file.path(), false);
        file.pack.SetFileID(id, version, 0);
    };
    zeManager manager;
    const Unchanged unchanged(manager);

    identify(7, 2);
    EXPECT_QTX_ARGS(manager.Read(kc.file.path(), nullptr, nullptr), zeIO, 1, "Not a kc file", {});
    for (const unsigned int version : {0U, 3U, 65535U}) {
        identify(Kc_items::kFileId, static_cast<unsigned short>(version));
        EXPECT_QTX_ARGS(manager.Read(kc.file.path(), nullptr, nullptr), zeIO, 2,
                        "Invalid version in kc file", {qtString(std::to_string(version))});
    }
}

TEST(zeIOCacheTest, FileWithTheStateBitIsRefused) {
    Cached_desk kc(2);
    kc.manager.Release();
    {
        Cached_file file(kc.file.path(), false);
        file.pack.SetState(CachePack::kStaleIndex);
    }
    for (const bool read_only : {false, true}) {
        zeManager manager;
        EXPECT_QTX_ARGS(read_cached(manager, kc.file.path(), 2, read_only), zeIO, 8,
                        "KB index is not synchronized (Run RebuildIndex Utility)", {});
        EXPECT_EQ(manager.ReadOnDemand(), 0U);
    }
}

// The container in memory.

TEST(zeIOCacheTest, OnlyRulesAreInMemoryAfterALoad) {
    Cached_desk kc(2);

    EXPECT_FALSE(kc.is_in_memory(News_desk::kDesk));
    EXPECT_FALSE(kc.is_in_memory(News_desk::kHome));
    EXPECT_TRUE(kc.is_in_memory(News_desk::kPress));
    EXPECT_EQ(kc.node(News_desk::kHome)->m_classifier_id, 5U);
    EXPECT_EQ(kc.manager.m_objects.size(), 1U);
    EXPECT_FALSE(kc.fetch(News_desk::kPress)->m_dirty);
    EXPECT_FALSE(kc.manager.m_modified);
}

TEST(zeIOCacheTest, LeastRecentlyUsedClassifierIsReleased) {
    Cached_desk kc(2);

    kc.fetch(News_desk::kDesk);
    kc.fetch(News_desk::kHome);
    kc.fetch(News_desk::kDesk);
    kc.fetch(News_desk::kWorld);

    EXPECT_TRUE(kc.is_in_memory(News_desk::kDesk));
    EXPECT_FALSE(kc.is_in_memory(News_desk::kHome));
    EXPECT_TRUE(kc.is_in_memory(News_desk::kWorld));
    EXPECT_EQ(kc.node(News_desk::kHome)->m_classifier_id, 5U);
    EXPECT_EQ(kc.manager.m_objects.count(5), 0U);
    EXPECT_EQ(kc.manager.m_objects.count(4), 0U);  // the model of home
}

TEST(zeIOCacheTest, UsesAreTraced) {
    Cached_desk kc(1);
    const Trace_capture traced;

    kc.fetch(News_desk::kHome);
    kc.fetch(News_desk::kHome);
    kc.fetch(News_desk::kWorld)->m_dirty = true;
    kc.fetch(News_desk::kHome);

    EXPECT_THAT(
        traced.texts(),
        ElementsAre("Adding classifier to cache: home", "Adding classifier to cache: world",
                    "Removing classifier from cache : home", "Adding classifier to cache: home",
                    "Removing classifier from cache (Writing changes): world"));
    for (const Trace_capture::Line& line : traced.lines) {
        EXPECT_EQ(line.level, zandrel::kTraceDebug) << line.text;
    }
}

TEST(zeIOCacheTest, EvictedChangeIsReadAgain) {
    Cached_desk kc(1);

    mark(kc.fetch(News_desk::kHome), 77);
    kc.fetch(News_desk::kWorld);

    EXPECT_EQ(storage_of(kc.fetch(News_desk::kHome)).m_num_slices, 77);
    EXPECT_FALSE(kc.fetch(News_desk::kHome)->m_dirty);
}

TEST(zeIOCacheTest, EvictedChangeOfAReadOnlyContainerIsLost) {
    Cached_desk kc(1, true);
    const std::string before = kc.file.content();
    const int slices = storage_of(kc.fetch(News_desk::kHome)).m_num_slices;

    mark(kc.fetch(News_desk::kHome), slices + 1);
    EXPECT_EQ(storage_of(kc.fetch(News_desk::kHome)).m_num_slices, slices + 1);
    kc.fetch(News_desk::kWorld);

    EXPECT_EQ(storage_of(kc.fetch(News_desk::kHome)).m_num_slices, slices);
    EXPECT_TRUE(same_bytes(kc.file.content(), before));
}

TEST(zeIOCacheTest, RemovedNodeIsNotInTheCache) {
    Cached_desk kc(2);
    kc.fetch(News_desk::kHome);

    kc.manager.m_io->RemoveFromCache(kc.node(News_desk::kWorld));
    EXPECT_EQ(kc.manager.m_io->m_cache->lru.size(), 1U);
    kc.manager.m_io->RemoveFromCache(kc.node(News_desk::kHome));

    EXPECT_THAT(kc.manager.m_io->m_cache->lru, IsEmpty());
    EXPECT_TRUE(kc.is_in_memory(News_desk::kHome));
}

// Flushing.

TEST(zeIOCacheTest, FlushOfAnUnchangedContainerWritesNothing) {
    Cached_desk kc(2);
    const std::string before = kc.file.content();
    kc.desk.Answers();

    kc.manager.m_io->FlushCache(false, nullptr);

    EXPECT_TRUE(same_bytes(kc.file.content(), before));
    EXPECT_FALSE(kc.is_in_memory(News_desk::kHome));
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

TEST(zeIOCacheTest, FlushInPlainFormDoesNothing) {
    Trained_desk kc;
    kc.manager.Write(Scratch_file().path(), nullptr, nullptr);
    kc.manager.m_modified = true;
    const Unchanged unchanged(kc.manager);
    Progress_log progress;

    kc.manager.m_io->FlushCache(true, &progress);

    EXPECT_THAT(progress.lines, IsEmpty());
}

TEST(zeIOCacheTest, ChangeOfRulesIsWrittenByTheFlush) {
    Cached_desk kc(1);
    const std::string key = kc.key_of(News_desk::kPress);
    const std::string before = Cached_file(kc.file.path()).record(key);
    zeNode* home = kc.node(News_desk::kHome);
    dynamic_cast<zeSwitcher&>(*kc.fetch(News_desk::kPress)).change_rule(home, "$office(?)");

    kc.fetch(News_desk::kDesk);
    kc.fetch(News_desk::kHome);
    kc.fetch(News_desk::kWorld);
    EXPECT_EQ(Cached_file(kc.file.path()).record(key), before);
    kc.manager.m_io->FlushCache(false, nullptr);

    EXPECT_NE(Cached_file(kc.file.path()).record(key).find("$office(?)"), std::string::npos);
    EXPECT_FALSE(kc.fetch(News_desk::kPress)->m_dirty);
}

TEST(zeIOCacheTest, FlushedFileIsCleanAndStaysOpen) {
    Cached_desk kc(2);
    kc.desk.Learn();
    EXPECT_FALSE(kc.manager.m_io->m_cache->lru.empty());

    kc.manager.Write(kc.file.path(), nullptr, nullptr);

    EXPECT_TRUE(Cached_file(kc.file.path()).is_clean());
    EXPECT_THAT(kc.manager.m_io->m_cache->lru, IsEmpty());
    kc.built.desk.Learn();
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
    kc.desk.Learn();
    kc.built.desk.Learn();
    kc.manager.Write(kc.file.path(), nullptr, nullptr);
    zeManager again;
    read_cached(again, kc.file.path(), 2, true);
    EXPECT_EQ(News_desk(again).Answers(), kc.built.desk.Answers());
}

TEST(zeIOCacheTest, FlushReportsItsSteps) {
    Cached_desk kc(20);
    kc.fetch(News_desk::kHome);
    kc.fetch(News_desk::kWorld);
    Progress_log progress;

    kc.manager.m_io->FlushCache(false, &progress);

    EXPECT_THAT(progress.lines, ElementsAre("total 3", "+1", "+1", "next phase, completed"));
    EXPECT_EQ(progress.polls, 3);
}

// The first poll comes before the first classifier, the second one after it.
TEST(zeIOCacheTest, InterruptedFlushCanBeRepeated) {
    for (const int poll : {1, 2, 3}) {
        SCOPED_TRACE(poll);
        Cached_desk kc(20);
        mark(kc.fetch(News_desk::kHome), 71);
        mark(kc.fetch(News_desk::kWorld), 72);
        Progress_log progress(poll);

        EXPECT_QTX_ARGS(kc.manager.m_io->FlushCache(true, &progress), zeWorkflow, 2,
                        "Process interrupted", {});
        EXPECT_THAT(kc.manager.m_io->m_cache->lru, IsEmpty());
        EXPECT_EQ(kc.is_in_memory(News_desk::kHome), poll < 3);
        EXPECT_EQ(kc.is_in_memory(News_desk::kWorld), poll < 2);

        kc.manager.m_io->FlushCache(false, nullptr);
        EXPECT_FALSE(kc.is_in_memory(News_desk::kHome));
        EXPECT_EQ(storage_of(kc.fetch(News_desk::kHome)).m_num_slices, 71);
        EXPECT_EQ(storage_of(kc.fetch(News_desk::kWorld)).m_num_slices, 72);
    }
}

TEST(zeIOCacheTest, FirstChangeSetsTheStateBitInTheFile) {
    Cached_desk kc(1);
    mark(kc.fetch(News_desk::kHome), 77);
    EXPECT_TRUE(Cached_file(kc.file.path()).is_clean());

    kc.fetch(News_desk::kWorld);

    EXPECT_FALSE(Cached_file(kc.file.path()).is_clean());
    zeManager manager;
    EXPECT_QTX(read_cached(manager, kc.file.path(), 2), zeIO, 8,
               "KB index is not synchronized (Run RebuildIndex Utility)");
}

TEST(zeIOCacheTest, FlushWritesTheCompactFlagOfTheManager) {
    Trained_desk built;
    const Scratch_file file;
    KcIoMode mode = cached(2);
    mode.compact = true;
    built.manager.Write(file.path(), &mode, nullptr);
    EXPECT_EQ(Cached_file(file.path()).flags(), 0x08);
    zeManager manager;
    mode = cached(2);
    manager.Read(file.path(), &mode, nullptr);
    EXPECT_TRUE(manager.m_compact);
    EXPECT_TRUE(mode.compact_read);

    manager.m_compact = false;
    manager.m_io->FlushCache(false, nullptr);
    EXPECT_EQ(Cached_file(file.path()).flags(), 0x08);
    manager.m_modified = true;
    manager.m_io->FlushCache(false, nullptr);

    EXPECT_EQ(Cached_file(file.path()).flags(), 0);
}

TEST(zeIOCacheTest, SettingsOfTheContainerAreWrittenByTheFlush) {
    Cached_desk kc(2);
    qtPtrLight<zeManager> manager(new zeManager);
    read_cached(*manager, kc.file.path(), 2);
    zeOptMap options;
    options.GetKcDefaults(manager);
    options.Add("UseExtParms", "1");
    options.Add("ProfileSize", "321");
    EXPECT_FALSE(manager->m_modified);

    options.SetKcDefaults(manager, false);
    EXPECT_TRUE(manager->m_modified);
    manager->Release();

    zeManager again;
    read_cached(again, kc.file.path(), 2, true);
    EXPECT_EQ(again.m_defaults.profile_size, 321);
}

TEST(zeIOCacheTest, DamagedTreesAreNotWritten) {
    Cached_desk kc(2);
    const std::string before = kc.file.content();
    kc.manager.m_modified = true;
    zeNode* const root = kc.manager.m_root;
    root->m_parent = kc.node(News_desk::kShop);

    EXPECT_QTX(kc.manager.m_io->FlushCache(false, nullptr), zeManager, 4,
               "Knowledge tree is damaged");

    EXPECT_TRUE(same_bytes(kc.file.content(), before));
    root->m_parent = nullptr;
}

// Objects.

TEST(zeIOCacheTest, NewClassifierIsInTheFileAtOnce) {
    Cached_desk kc(1);
    mark(kc.fetch(News_desk::kHome), 77);
    const Trace_capture traced;

    zeNode* const made =
        kc.manager.m_physical_tree->MakeNode(term("fresh"), ZE_STAT, zeNode::NoScore, 0.0);

    EXPECT_FALSE(made->m_classifier->m_dirty);
    EXPECT_FALSE(kc.is_in_memory(News_desk::kHome));
    EXPECT_EQ(kc.manager.m_io->m_cache->lru.front(), made);
    const std::vector<std::string> traces = traced.texts();
    ASSERT_GE(traces.size(), 2U);
    EXPECT_THAT(std::vector(traces.end() - 2, traces.end()),
                ElementsAre("Removing classifier from cache (Writing changes): home",
                            "New classifier added to cache: fresh"));
    EXPECT_EQ(traced.lines.back().level, zandrel::kTraceDebug);
    const unsigned int id = made->m_classifier_id;
    EXPECT_TRUE(kc.manager.m_io->m_cache_pack->Exists(object_key(id)));
    EXPECT_TRUE(kc.manager.m_io->m_cache_pack->Exists(object_key(id - 1)));  // its model
    kc.fetch(News_desk::kWorld);
    EXPECT_EQ(made->m_classifier, nullptr);
    EXPECT_EQ(kc.manager.m_physical_tree->get_classifier(made)->m_id, id);
}

TEST(zeIOCacheTest, NewRuleClassifierIsInTheFileButNotInTheCache) {
    Cached_desk kc(1);

    zeNode* const made =
        kc.manager.m_physical_tree->MakeNode(term("fresh"), ZE_RULE, zeNode::NoScore, 0.0);

    EXPECT_FALSE(made->m_classifier->m_dirty);
    EXPECT_THAT(kc.manager.m_io->m_cache->lru, IsEmpty());
    EXPECT_TRUE(kc.manager.m_io->m_cache_pack->Exists(object_key(made->m_classifier_id)));
}

TEST(zeIOCacheTest, ReadOnlyContainerTakesNewClassifiersInMemory) {
    Cached_desk kc(1, true);
    const std::string before = kc.file.content();

    zeNode* const made =
        kc.manager.m_physical_tree->MakeNode(term("fresh"), ZE_STAT, zeNode::NoScore, 0.0);
    EXPECT_NE(kc.manager.m_physical_tree->get_classifier(made), nullptr);
    kc.manager.m_io->DumpObject(kc.fetch(News_desk::kPress));
    kc.fetch(News_desk::kHome);

    EXPECT_QTX(kc.manager.m_physical_tree->get_classifier(made), AbstractHreclaim,
               AbstractHreclaim::kWrongKey,
               "Missing key in index: " + object_key(made->m_classifier_id));
    kc.manager.m_io->FlushCache(false, nullptr);
    EXPECT_TRUE(same_bytes(kc.file.content(), before));
}

TEST(zeIOCacheTest, DeletedClassifierHasNoItem) {
    Cached_desk kc(1);
    const unsigned int id = kc.node(News_desk::kHome)->m_classifier_id;
    zeNode* const home = kc.node(News_desk::kHome);

    kc.manager.m_physical_tree->delete_classifier(home);

    EXPECT_EQ(home->m_classifier_id, 0U);
    EXPECT_EQ(home->m_classifier_type, ZE_LEAF);
    EXPECT_THAT(kc.manager.m_io->m_cache->lru, IsEmpty());
    EXPECT_FALSE(kc.manager.m_io->m_cache_pack->Exists(object_key(id)));
    EXPECT_TRUE(kc.manager.m_io->m_cache_pack->Exists(object_key(id - 1)));  // its model remains
    EXPECT_EQ(kc.manager.m_objects.count(id), 0U);
    EXPECT_EQ(kc.manager.m_objects.count(id - 1), 0U);
}

TEST(zeIOCacheTest, ItemsOfAReadOnlyContainerAreNotDeleted) {
    Cached_desk kc(1, true);

    kc.manager.m_io->DeleteItem(kc.node(News_desk::kHome)->m_classifier_id);

    EXPECT_TRUE(kc.manager.m_io->m_cache_pack->Exists(kc.key_of(News_desk::kHome)));
}

TEST(zeIOCacheTest, DeletionOfAMissingItemChangesNothing) {
    Cached_desk kc(1);
    const std::string before = kc.file.content();

    EXPECT_QTX(kc.manager.m_io->DeleteItem(999), AbstractHreclaim, AbstractHreclaim::kWrongKey,
               "Key does not exist: " + object_key(999));
    kc.manager.m_io->FlushCache(false, nullptr);

    EXPECT_TRUE(same_bytes(kc.file.content(), before));
}

// Seals.

class zeIOCacheSealTest : public testing::Test {
protected:
    zeIOCacheSealTest() {
        kc.manager.Release();
        Cached_file(kc.file.path(), false).put(zandrel::Kc_seal::kKey, "not checked here");
        read_cached(kc.manager, kc.file.path(), 1);
    }

    bool is_sealed() { return kc.manager.m_io->m_cache_pack->Exists(zandrel::Kc_seal::kKey); }

    Cached_desk kc{1};
};

TEST_F(zeIOCacheSealTest, SealIsDeletedBeforeTheFirstChange) {
    mark(kc.fetch(News_desk::kHome), 77);
    EXPECT_TRUE(is_sealed());

    kc.fetch(News_desk::kWorld);

    EXPECT_FALSE(is_sealed());
}

TEST_F(zeIOCacheSealTest, SealRemainsWithoutAChange) {
    kc.desk.Answers();

    kc.manager.Release();

    EXPECT_TRUE(Cached_file(kc.file.path()).pack.Exists(zandrel::Kc_seal::kKey));
}

// The block of the seal is not an item any more.
TEST_F(zeIOCacheSealTest, DamagedSealPreventsAnyChange) {
    kc.manager.Release();
    std::uint64_t place = 0;
    {
        Cached_file file(kc.file.path());
        place = static_cast<std::uint64_t>(file.pack.index.at(zandrel::Kc_seal::kKey));
    }
    kc.file.patch(place, "XXXX");
    read_cached(kc.manager, kc.file.path(), 1);
    const std::string before = kc.file.content();
    mark(kc.fetch(News_desk::kHome), 77);

    EXPECT_QTX(kc.fetch(News_desk::kWorld), AbstractHreclaim, AbstractHreclaim::kWrongKey,
               "Key points to invalid item: __Seal__");

    EXPECT_TRUE(same_bytes(kc.file.content(), before));
}

// Loading for classifying.

TEST(zeIOCacheClassifyingTest, ModelsKeepTrainingDataAsBytes) {
    Cached_desk kc(1);
    kc.manager.Release();
    KcIoMode mode = cached(1);
    mode.for_classifying = true;
    kc.manager.Read(kc.file.path(), &mode, nullptr);

    EXPECT_FALSE(storage_of(kc.fetch(News_desk::kHome)).is_complete());
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
    kc.desk.Learn();
    kc.built.desk.Learn();
    kc.manager.m_io->FlushCache(false, nullptr);

    EXPECT_FALSE(storage_of(kc.fetch(News_desk::kHome)).is_complete());
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

}  // namespace
