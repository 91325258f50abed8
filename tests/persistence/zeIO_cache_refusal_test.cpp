// A container in cached form refuses some changes; its file is then as it was. Containers that can
// no longer be written: their file was closed, or a write has failed.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/AbstractHreclaim.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/cached_kc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/progress_log.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;

// A container whose file is sealed and clean.
class zeIOCacheRefusalTest : public testing::Test {
protected:
    zeIOCacheRefusalTest() { Seal(); }

    void Seal() {
        kc.manager.Release();
        zandrel::Kc_seal::Write(kc.file.path());
        read_cached(kc.manager, kc.file.path(), 1);
        before = kc.file.content();
    }

    std::uint64_t PlaceOf(const std::string& key) {
        return static_cast<std::uint64_t>(kc.manager.m_io->m_cache_pack->index.at(qtString(key)));
    }

    void ExpectUnchanged() { EXPECT_TRUE(same_bytes(kc.file.content(), before)); }

    Cached_desk kc{1};
    std::string before;
};

TEST_F(zeIOCacheRefusalTest, DeletionOfAMissingItemLeavesASealedFileAsItWas) {
    EXPECT_QTX_ARGS(kc.manager.m_io->DeleteItem(999), AbstractHreclaim, AbstractHreclaim::kWrongKey,
                    "Key does not exist: " + object_key(999),
                    {kc.file.path(), qtString(object_key(999))});

    ExpectUnchanged();
    kc.manager.m_io->FlushCache(false, nullptr);
    ExpectUnchanged();
}

// Claims a record with one byte more than a record file takes: key, data and 12 bytes are 2^31.
class Too_large : public zeBase {
public:
    explicit Too_large(zeManager* manager) : zeBase(manager) {}

    unsigned int GetType() const override { return ZE_STAT; }

    void Dump(Hio<HSegment>& io) const override {
        constexpr unsigned int kKeyAndOverhead = 16;
        io.device->buffer().size = 0x80000000U - kKeyAndOverhead;
    }
};

TEST_F(zeIOCacheRefusalTest, TooLargeRecordLeavesASealedFileAsItWas) {
    auto* const object = new Too_large(&kc.manager);  // the manager owns it

    EXPECT_QTX_ARGS(kc.manager.m_io->DumpObject(object), AbstractHreclaim,
                    AbstractHreclaim::kRecordTooLarge, "Record size size limit exceeded",
                    {kc.file.path()});

    ExpectUnchanged();
    kc.manager.Release(object);
    kc.manager.m_io->FlushCache(false, nullptr);
    ExpectUnchanged();
}

// The length of an item's data is behind its key. This one is larger than the file.
TEST_F(zeIOCacheRefusalTest, ItemWithADamagedLengthIsNotReplacedAndOthersCanStillBe) {
    const zeClassifier* const home = kc.fetch(News_desk::kHome);
    const std::string key = object_key(4);  // the model of home, which is written first
    kc.file.patch(PlaceOf(key) + 8 + key.size(), object_key(0x7FFFFFFF));
    before = kc.file.content();

    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(kc.manager.m_io->DumpObject(home), HioErr, HioErr::kReadFailed,
                        "Read error in file " + kc.file.path().str(), {kc.file.path()});
        EXPECT_QTX_ARGS(kc.manager.m_io->DeleteItem(4), HioErr, HioErr::kReadFailed,
                        "Read error in file " + kc.file.path().str(), {kc.file.path()});
        ExpectUnchanged();
    }

    kc.manager.m_io->DumpObject(kc.fetch(News_desk::kPress));
    kc.manager.m_io->FlushCache(false, nullptr);
    EXPECT_TRUE(Cached_file(kc.file.path()).is_clean());
}

TEST_F(zeIOCacheRefusalTest, SealWithADamagedLengthPreventsAnyChange) {
    const std::string seal = zandrel::Kc_seal::kKey;
    const std::uint64_t place = PlaceOf(seal);
    kc.manager.Release();
    kc.file.patch(place + 8 + seal.size(), object_key(0x7FFFFFFF));
    before = kc.file.content();
    read_cached(kc.manager, kc.file.path(), 1);

    for (int i = 0; i < 2; ++i) {
        EXPECT_QTX_ARGS(kc.manager.m_io->DeleteItem(5), HioErr, HioErr::kReadFailed,
                        "Read error in file " + kc.file.path().str(), {kc.file.path()});
        EXPECT_QTX_ARGS(kc.manager.m_io->DumpObject(kc.fetch(News_desk::kPress)), HioErr,
                        HioErr::kReadFailed, "Read error in file " + kc.file.path().str(),
                        {kc.file.path()});
        ExpectUnchanged();
    }
}

TEST_F(zeIOCacheRefusalTest, FlushWithAThresholdThatIsNotFiniteLeavesTheFileAsItWas) {
    zeNode* const leaf = kc.desk.Node(News_desk::kShop).physical_node;
    leaf->m_threshold = std::numeric_limits<double>::infinity();
    kc.manager.m_modified = true;

    EXPECT_QTX_ARGS(kc.manager.m_io->FlushCache(true, nullptr), zeManager, 4,
                    "Knowledge tree is damaged", {"thresholds"});

    ExpectUnchanged();
    leaf->m_threshold = 0.5;
    kc.manager.m_io->FlushCache(true, nullptr);
    read_cached(kc.manager, kc.file.path(), 1);
    EXPECT_EQ(kc.desk.Node(News_desk::kShop).physical_node->m_threshold, 0.5);
}

TEST_F(zeIOCacheRefusalTest, FlushAfterTheContentWasReleasedWritesNothing) {
    kc.manager.m_modified = true;

    kc.manager.ReleaseContent();
    EXPECT_FALSE(kc.manager.m_modified);
    kc.manager.m_io->FlushCache(true, nullptr);

    ExpectUnchanged();
}

// A closed container: its statistical classifiers are neither in memory nor in an open file.

TEST_F(zeIOCacheRefusalTest, ClosedContainerIsNotWritten) {
    kc.manager.m_io->FlushCache(true, nullptr);
    const qtString copy = kc.file.path() + ".copy";
    std::ofstream(copy.c_str()) << "as it was";
    for (KcIoMode mode : {KcIoMode(), direct(), cached(2)}) {
        for (const qtString& name : {kc.file.path(), copy}) {
            EXPECT_QTX_ARGS(kc.manager.Write(name, &mode, nullptr), zeManager, 4,
                            "Knowledge tree is damaged", {"classifiers"});
            EXPECT_QTX_ARGS(kc.manager.m_io->CopyKC(name, &mode, nullptr, nullptr), zeManager, 4,
                            "Knowledge tree is damaged", {"classifiers"});
        }
    }
    qtPtr<qtBuffer> buffer;
    EXPECT_QTX_ARGS(kc.manager.Write(buffer, nullptr, nullptr), zeManager, 4,
                    "Knowledge tree is damaged", {"classifiers"});

    ExpectUnchanged();
    EXPECT_TRUE(buffer.IsNull());
    std::ifstream left(copy.c_str());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(left), {}), "as it was");
    std::remove(copy.c_str());
}

TEST_F(zeIOCacheRefusalTest, FailedReadEmptiesAClosedContainer) {
    for (const bool is_write_tried : {false, true}) {
        read_cached(kc.manager, kc.file.path(), 1);
        kc.manager.m_io->FlushCache(true, nullptr);
        if (is_write_tried) {
            qtPtr<qtBuffer> buffer;
            EXPECT_THROW(kc.manager.Write(buffer, nullptr, nullptr), qtX<zeManager>);
        }

        EXPECT_QTX_ARGS(kc.manager.Read("no such file", nullptr, nullptr), AbstractHreclaim,
                        AbstractHreclaim::kMissingFile, "File does not exist: no such file",
                        {"no such file"});

        EXPECT_TRUE(is_empty(kc.manager));
    }
    read_cached(kc.manager, kc.file.path(), 1);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

// The load of a container in cached form.

TEST_F(zeIOCacheRefusalTest, LoadReportsEachNodeAlsoThoseThatAreNotRead) {
    Progress_log progress;
    KcIoMode mode = cached(1);

    kc.manager.Read(kc.file.path(), &mode, &progress);

    // Nine items: seven objects, the manager and the seal. Of the four nodes, one is read.
    EXPECT_THAT(progress.lines, ElementsAre("total 9", "total 5", "+1", "+1", "+1", "+1", "+1",
                                            "next phase, completed"));
    EXPECT_EQ(progress.polls, 5);
    EXPECT_EQ(kc.manager.m_objects.size(), 1U);
}

TEST_F(zeIOCacheRefusalTest, InterruptedLoadLeavesNoContentAndTheFileAsItWas) {
    for (int poll = 1; poll <= 5; ++poll) {
        SCOPED_TRACE(poll);
        Progress_log progress(poll);
        KcIoMode mode = cached(1);

        EXPECT_QTX_ARGS(kc.manager.Read(kc.file.path(), &mode, &progress), zeWorkflow, 2,
                        "Process interrupted", {});

        EXPECT_TRUE(is_empty(kc.manager));
        EXPECT_EQ(kc.manager.ReadOnDemand(), 0U);
        ExpectUnchanged();
    }
    read_cached(kc.manager, kc.file.path(), 1);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

// A failed write. The file is on a disk that is full.

constexpr const char* kOnFullDisk = "fake/kc";

class zeIOCacheFailedWriteTest : public testing::Test {
protected:
    zeIOCacheFailedWriteTest() {
        write_cached(built.manager, kOnFullDisk);
        write_cached(built.manager, "fake/other");
        read_cached(manager, kOnFullDisk, 2);
        manager.m_physical_tree->get_classifier(manager.m_root)->m_dirty = true;
        disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);
    }

    void FailToFlush() {
        EXPECT_QTX_ARGS(manager.m_io->FlushCache(false, nullptr), HioErr, HioErr::kWriteFailed,
                        "Write error in file fake/kc", {kOnFullDisk});
        disk.heal();
    }

    Fake_disk disk;
    Trained_desk built;
    zeManager manager;
};

TEST_F(zeIOCacheFailedWriteTest, ReadAfterwardsLeavesTheFileAsItIs) {
    FailToFlush();
    const std::string left = disk.files.at(kOnFullDisk);
    const qtPtrLight<zeIO> earlier = manager.m_io;
    const Trace_capture traced(zandrel::kTraceWarning);

    read_cached(manager, "fake/other", 2);

    EXPECT_TRUE(traced.has(zandrel::kTraceWarning,
                           "Container was not written: Write error in file fake/kc"));
    EXPECT_EQ(earlier->ReadOnDemand(), 0U);
    EXPECT_NE(manager.m_io, earlier);
    EXPECT_EQ(manager.m_io->CacheFile(), qtString("fake/other"));
    EXPECT_EQ(News_desk(manager).Answers(), built.desk.Answers());
    EXPECT_TRUE(same_bytes(disk.files.at(kOnFullDisk), left));
    EXPECT_EQ(disk.open_files, 1);
}

TEST_F(zeIOCacheFailedWriteTest, FailedReadAfterwardsEmptiesTheManager) {
    FailToFlush();
    const Trace_capture traced(zandrel::kTraceWarning);

    EXPECT_THROW(manager.Read("fake/none", nullptr, nullptr), qtX<AbstractHreclaim>);

    EXPECT_TRUE(is_empty(manager));
    EXPECT_EQ(manager.ReadOnDemand(), 0U);
    EXPECT_EQ(disk.open_files, 0);
}

TEST_F(zeIOCacheFailedWriteTest, FirstFailureIsRaisedByReadAndTheContainerIsStillOpen) {
    const qtPtrLight<zeIO> earlier = manager.m_io;

    EXPECT_QTX_ARGS(read_cached(manager, "fake/other", 2), HioErr, HioErr::kWriteFailed,
                    "Write error in file fake/kc", {kOnFullDisk});

    disk.heal();
    EXPECT_EQ(manager.m_io, earlier);
    EXPECT_EQ(manager.ReadOnDemand(), 2U);
    EXPECT_EQ(News_desk(manager).Answers(), built.desk.Answers());
    const Trace_capture traced(zandrel::kTraceWarning);
    read_cached(manager, "fake/other", 2);
    EXPECT_NE(manager.m_io, earlier);
}

// The matcher removes the children of its node, and the leaf leaves the list of its category and
// enters it again.
TEST_F(zeIOCacheFailedWriteTest, FailedAddClassifierLeavesALeafAtTheEndOfItsList) {
    zePhysicalTree& tree = *manager.m_physical_tree;
    zeNode* const first = tree.MakeNode(term("twice"), ZE_LEAF, zeNode::Junk, 0.5);
    zeNode* const second = tree.MakeNode(term("twice"), ZE_LEAF, 0, 0.0);
    zeNode* const child = tree.MakeNode(term("child"), ZE_LEAF, 0, 0.0);
    first->add_child(child);
    FailToFlush();
    const std::size_t object_count = manager.m_objects.size();

    EXPECT_QTX_ARGS(manager.AddClassifier(first, ZE_STAT), HioErr, HioErr::kWriteFailed,
                    "Write error in file fake/kc", {kOnFullDisk});

    EXPECT_EQ(first->m_classifier_type, ZE_LEAF);
    EXPECT_EQ(first->m_flags, zeNode::Junk);
    EXPECT_EQ(first->m_classifier, nullptr);
    EXPECT_EQ(first->m_classifier_id, 0U);
    EXPECT_EQ(manager.m_objects.size(), object_count);
    const auto& used = manager.m_io->m_cache->lru;
    EXPECT_EQ(std::count(used.begin(), used.end(), first), 0);
    EXPECT_THAT(tree.GetLeafNodes(term("twice")), ElementsAre(second, first));
    EXPECT_TRUE(first->m_children.empty());
    EXPECT_EQ(child->m_parent, nullptr);
    const Trace_capture traced(zandrel::kTraceWarning);
    manager.Release();
}

// A storage has a mark of its own. Only the storage of the root is marked here, by a setting.
TEST_F(zeIOCacheFailedWriteTest, ClassifierWhoseModelHasChangesRemainsInMemory) {
    FailToFlush();
    zeClassifier* const root = manager.m_physical_tree->get_classifier(manager.m_root);
    root->set_written();
    zeStat_storage& model = *dynamic_cast<zeStat_matcher&>(*root).m_storage;
    model.set_profile_size(7);
    EXPECT_FALSE(root->m_dirty);
    EXPECT_TRUE(model.m_dirty);

    News_desk(manager).Answers();  // fetches home and world, which need the places of two
    KcIoMode mode = direct();
    manager.Write("fake/copy", &mode, nullptr);

    zeManager copied;
    copied.Read("fake/copy", nullptr, nullptr);
    EXPECT_EQ(copied.GetRootStorage()->m_profile_size, 7);
    const Trace_capture traced(zandrel::kTraceWarning);
    manager.Release();
}

}  // namespace
