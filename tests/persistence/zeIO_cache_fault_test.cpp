// The cached form of a container on a disk that fails at each call of a load, a flush and a copy.
#include "zandrel/persistence/zeIO.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/cached_kc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/trace_capture.h"

namespace {

constexpr const char* kName = "fake/kc";

class zeIOCacheFaultTest : public testing::TestWithParam<Fake_disk::Fault> {
protected:
    zeIOCacheFaultTest() {
        write_cached(built.manager, kName);
        file = disk.files.at(kName);
        learnt.desk.Learn();
    }

    // Runs an operation on a fresh copy of the file, with a fault at each of its calls in turn,
    // until it runs without a fault. `check(has_failed)` is called after each run, on a healthy
    // disk.
    template <class Operation, class Check>
    void ForEachCall(bool for_ever, Operation&& operation, Check&& check) {
        std::size_t failures = 0;
        for (std::size_t call = 0;; ++call) {
            SCOPED_TRACE(call);
            disk.files[kName] = file;
            disk.files.erase("fake/copy");
            zeManager manager;
            bool has_failed = false;
            try {
                operation(manager, [&] { disk.fail_at(call, GetParam(), for_ever); });
            } catch (const qtxAll&) {
                has_failed = true;
            }
            const bool was_hit = !disk.failed.empty();
            check(manager, has_failed, was_hit);
            manager.Release();
            EXPECT_EQ(disk.open_files, 0);
            disk.heal();
            disk.failed.clear();
            if (!was_hit) {
                EXPECT_FALSE(has_failed);
                break;
            }
            failures += has_failed ? 1 : 0;
        }
        // The library continues a short read or write, and only a write can find no space.
        if (GetParam() == Fake_disk::Fault::kIoError) {
            EXPECT_GT(failures, 0U);
        }
    }

    static Desk_answers answers_of(const char* name) {
        zeManager manager;
        read_cached(manager, name, 2, true);
        return News_desk(manager).Answers();
    }

    static bool is_refused(const char* name) {
        try {
            zeManager().Read(name, nullptr, nullptr);
        } catch (const qtX<zeIO>& error) {
            return error.number() == 8;
        }
        return false;
    }

    Fake_disk disk;
    Trained_desk built;
    Trained_desk learnt;
    std::string file;
};

TEST_P(zeIOCacheFaultTest, FailedLoadLeavesTheFileAndNoContent) {
    const auto load = [](zeManager& manager, auto&& start_faults) {
        start_faults();
        read_cached(manager, kName, 2);
    };
    const auto check = [this](zeManager& manager, bool has_failed, bool /*was_hit*/) {
        if (has_failed) {
            EXPECT_TRUE(is_empty(manager));
            EXPECT_EQ(manager.ReadOnDemand(), 0U);
        }
        EXPECT_TRUE(same_bytes(disk.files.at(kName), file));
    };
    for (const bool for_ever : {false, true}) {
        ForEachCall(for_ever, load, check);
    }
}

// A classifier that could not be fetched can be fetched later.
TEST_P(zeIOCacheFaultTest, FailedFetchCanBeRepeated) {
    const auto fetch = [](zeManager& manager, auto&& start_faults) {
        read_cached(manager, kName, 1);
        start_faults();
        News_desk(manager).Answers();
    };
    const auto check = [this](zeManager& manager, bool /*has_failed*/, bool /*was_hit*/) {
        disk.heal();
        EXPECT_EQ(News_desk(manager).Answers(), built.desk.Answers());
        EXPECT_LE(manager.m_objects.size(), 3U);
        EXPECT_TRUE(same_bytes(disk.files.at(kName), file));
    };
    ForEachCall(false, fetch, check);
}

// A flush that failed leaves a file that is refused, or one that has all changes or none.
TEST_P(zeIOCacheFaultTest, FailedFlushLeavesTheFileMarkedOrWhole) {
    const auto flush = [](zeManager& manager, auto&& start_faults) {
        read_cached(manager, kName, 20);
        News_desk(manager).Learn();
        start_faults();
        manager.m_io->FlushCache(true, nullptr);
    };
    const auto check = [this](zeManager& manager, bool has_failed, bool was_hit) {
        const Trace_capture traced;
        disk.heal();
        manager.Release();
        if (!was_hit) {
            EXPECT_EQ(answers_of(kName), learnt.desk.Answers());
        } else if (!is_refused(kName)) {
            const Desk_answers answers = answers_of(kName);
            EXPECT_TRUE(answers == learnt.desk.Answers() ||
                        (has_failed && answers == built.desk.Answers()));
        }
    };
    for (const bool for_ever : {false, true}) {
        ForEachCall(for_ever, flush, check);
    }
}

// Failed evictions: the learning that needed the room fails too, and the file is marked.
TEST_P(zeIOCacheFaultTest, FailedEvictionLeavesTheFileMarkedOrWhole) {
    const auto learn = [](zeManager& manager, auto&& start_faults) {
        read_cached(manager, kName, 1);
        start_faults();
        News_desk(manager).Learn();
    };
    const auto check = [this](zeManager& manager, bool has_failed, bool /*was_hit*/) {
        disk.heal();
        if (!has_failed) {
            manager.Release();
            EXPECT_EQ(answers_of(kName), learnt.desk.Answers());
            return;
        }
        const bool is_broken = [&manager] {
            try {
                manager.m_io->FlushCache(false, nullptr);
                return false;
            } catch (const qtX<HioErr>&) {
                return true;
            }
        }();
        EXPECT_TRUE(is_refused(kName) == is_broken || same_bytes(disk.files.at(kName), file));
    };
    ForEachCall(false, learn, check);
}

// An import that failed is undone: nothing of it is in the trees, in memory, or in the file unless
// the file is refused.
TEST_P(zeIOCacheFaultTest, FailedImportLeavesTheTreesAsTheyWere) {
    const auto merge = [](zeManager& manager, auto&& start_faults) {
        read_cached(manager, kName, 2);
        Trained_desk source;
        start_faults();
        try {
            manager.m_logical_tree->ImportTree(&source.manager, News_desk::kPress, nullptr);
        } catch (const qtxAll&) {
            EXPECT_TRUE(is_empty(source.manager));
            throw;
        }
    };
    const auto check = [this](zeManager& manager, bool has_failed, bool /*was_hit*/) {
        const Trace_capture traced;
        disk.heal();
        EXPECT_EQ(manager.m_logical_tree->nodes.size(), has_failed ? 10U : 20U);
        EXPECT_EQ(manager.m_logical_tree->finder.size(), has_failed ? 10U : 20U);
        EXPECT_EQ(manager.m_physical_tree->m_nodes.size(), has_failed ? 10U : 20U);
        if (has_failed) {
            EXPECT_EQ(News_desk(manager).Answers(), built.desk.Answers());
            for (const auto& [id, object] : manager.m_objects) {
                EXPECT_LE(id, 7U);
            }
        }
        manager.Release();
        if (!is_refused(kName)) {
            zeManager again;
            read_cached(again, kName, 2, true);
            EXPECT_EQ(again.m_logical_tree->nodes.size(), has_failed ? 10U : 20U);
            for (unsigned int id = 8; id < 16; ++id) {
                EXPECT_EQ(again.m_io->m_cache_pack->Exists(object_key(id)), !has_failed && id < 15);
            }
        }
    };
    ForEachCall(true, merge, check);
    ForEachCall(false, merge, check);
}

class zeIOCacheBrokenTest : public zeIOCacheFaultTest {};

// After a failed write nothing more is written, and the container can be saved elsewhere.
TEST_P(zeIOCacheBrokenTest, ContainerOfAFailedFlushCanBeCopied) {
    zeManager manager;
    read_cached(manager, kName, 2);
    News_desk(manager).Learn();
    // Both classifiers of the cache have changes. The first write of the flush fails.
    manager.m_physical_tree->get_classifier(manager.m_root)->m_dirty = true;
    disk.fail_at(0, GetParam(), true);
    EXPECT_QTX_ARGS(manager.m_io->FlushCache(false, nullptr), HioErr, HioErr::kWriteFailed,
                    "Write error in file fake/kc", {kName});
    disk.heal();
    const std::string left = disk.files.at(kName);

    EXPECT_QTX_ARGS(manager.m_io->FlushCache(false, nullptr), HioErr, HioErr::kWriteFailed,
                    "Write error in file fake/kc", {kName});
    KcIoMode mode = direct();
    manager.Write("fake/copy", &mode, nullptr);

    zeManager copied;
    copied.Read("fake/copy", nullptr, nullptr);
    EXPECT_EQ(News_desk(copied).Answers(), learnt.desk.Answers());
    const Trace_capture traced(zandrel::kTraceWarning);
    manager.Release();
    EXPECT_TRUE(traced.has(zandrel::kTraceWarning,
                           "Container was not written: Write error in file fake/kc"));
    EXPECT_TRUE(same_bytes(disk.files.at(kName), left));
}

TEST_P(zeIOCacheFaultTest, FailedCopyLeavesNoContainerAndTheManagerAsItWas) {
    for (const KcIoMode::Form form : {KcIoMode::DIRECT_IO, KcIoMode::CACHED_IO}) {
        const auto copy = [form](zeManager& manager, auto&& start_faults) {
            read_cached(manager, kName, 2);
            manager.m_modified = true;
            manager.m_objects.at(3)->m_dirty = true;
            start_faults();
            KcIoMode mode = cached(2);
            mode.io_mode = form;
            manager.m_io->CopyKC("fake/copy", &mode, nullptr, nullptr);
        };
        const auto check = [this](zeManager& manager, bool has_failed, bool was_hit) {
            const bool is_close = was_hit && disk.failed.front() == Fake_disk::Call::kClose;
            disk.heal();
            EXPECT_EQ(manager.ReadOnDemand(), 2U);
            EXPECT_EQ(manager.m_io.use_count(), 1U);
            EXPECT_TRUE(manager.m_modified);
            EXPECT_TRUE(manager.m_objects.at(3)->m_dirty);
            EXPECT_TRUE(same_bytes(disk.files.at(kName), file));
            EXPECT_EQ(News_desk(manager).Answers(), built.desk.Answers());
            // The copy is complete if all was written and only the last close failed.
            try {
                zeManager copied;
                copied.Read("fake/copy", nullptr, nullptr);
                EXPECT_EQ(News_desk(copied).Answers(), built.desk.Answers());
                EXPECT_TRUE(!has_failed || is_close);
            } catch (const qtxAll&) {
                EXPECT_TRUE(has_failed);
            }
        };
        for (const bool for_ever : {false, true}) {
            ForEachCall(for_ever, copy, check);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, zeIOCacheFaultTest,
                         testing::Values(Fake_disk::Fault::kIoError, Fake_disk::Fault::kNoSpace,
                                         Fake_disk::Fault::kShort));

INSTANTIATE_TEST_SUITE_P(Faults, zeIOCacheBrokenTest, testing::Values(Fake_disk::Fault::kNoSpace));

}  // namespace
