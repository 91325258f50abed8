// Cached containers of version 1, which are brought to version 2 in their file when they are
// opened. The files are built from the tables of the format, with stale items between the others.
#include "zandrel/persistence/zeIO.h"

#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/persistence/CachePack.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/growth.h"
#include "tests/support/kc_damage.h"
#include "tests/support/kc_file.h"
#include "tests/support/kc_v1.h"
#include "tests/support/news_desk.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trained_tree.h"

namespace {

constexpr const char* kUpgraded = "fake/upgraded";

// The identity and the unscrambled items of a cached container.
Kc_items items_of_cached(const qtString& path) {
    Kc_items items;
    CachePack pack;
    pack.Open(path, false, true);
    pack.GetFileID(items.id, items.version, items.flags);
    std::vector<qtString> keys;
    pack.GetIndex(keys);
    for (const qtString& key : keys) {
        SegBuf record;
        pack.GetItem(key, record);
        const std::string bytes = bytes_of(record);
        items.records[key.str()] = items.version < 2 ? bytes : scrambled(bytes, false);
    }
    return items;
}

void expect_items(const Kc_items& found, const Kc_items& expected) {
    EXPECT_EQ(found.id, expected.id);
    EXPECT_EQ(found.version, expected.version);
    ASSERT_EQ(found.records.size(), expected.records.size());
    for (const auto& [key, bytes] : expected.records) {
        ASSERT_EQ(found.records.count(key), 1U) << testing::PrintToString(key);
        EXPECT_TRUE(same_bytes(found.records.at(key), bytes)) << testing::PrintToString(key);
    }
}

std::string error_of_read(zeManager& manager, const char* path, KcIoMode mode = {}) {
    try {
        manager.Read(path, &mode, nullptr);
    } catch (const std::exception& raised) {
        EXPECT_TRUE(is_error_of_load(raised) || is_qtx<AbstractHreclaim>(raised, {0, 1, 2}) ||
                    dynamic_cast<const qtX<HioErr>*>(&raised) != nullptr)
            << raised.what();
        return raised.what();
    }
    return "";
}

class zeIOUpgradeTest : public testing::Test {
protected:
    Desk_answers PlainAnswers() const {
        zeManager plain;
        read_kc(plain, items.file());
        return News_desk(plain).Answers();
    }

    Kc_items items = News_kc_v1::items();
    Scratch_file file;
};

TEST_F(zeIOUpgradeTest, FileOpenedReadOnlyBecomesWritableAndHasVersionTwo) {
    file.write(cached_v1(items));
    {
        zeManager kc;
        KcIoMode mode;

        kc.Read(file.path(), &mode, nullptr);

        EXPECT_EQ(mode.io_mode, KcIoMode::CACHED_IO);
        EXPECT_FALSE(mode.read_only);
        EXPECT_EQ(mode.version, 1) << "the version that was found";
        EXPECT_FALSE(kc.m_io->m_read_only);
        EXPECT_EQ(kc.m_io->m_version, 2U);
        EXPECT_EQ(kc.m_version, 2);
        EXPECT_EQ(kc.ReadOnDemand(), 20U);
        EXPECT_FALSE(kc.m_modified);
        EXPECT_EQ(kc.m_last_object_id, 5U);
        EXPECT_EQ(kc.m_config.kc_id, 77U);
    }
    expect_items(items_of_cached(file.path()), News_kc_v1::items_v2());
    EXPECT_EQ(file.content().at(9), 0) << "clean";
}

TEST_F(zeIOUpgradeTest, ContainerClassifiesAsThePlainOneForEachBound) {
    const Desk_answers expected = PlainAnswers();
    for (const unsigned int bound : {1U, 2U, 20U}) {
        for (const char* const when : {"upgraded", "opened again"}) {
            SCOPED_TRACE(testing::Message() << bound << ' ' << when);
            if (std::string(when) == "upgraded") {
                file.write(cached_v1(items));
            }
            zeManager kc;
            KcIoMode mode;
            mode.cache_size = bound;
            kc.Read(file.path(), &mode, nullptr);

            EXPECT_EQ(News_desk(kc).Answers(), expected);
            EXPECT_EQ(kc.ReadOnDemand(), bound);
        }
    }
}

TEST_F(zeIOUpgradeTest, StaleItemsBecomeHolesThatAreNotUsedAgain) {
    V1_record_file built;
    built.add_with_stale(items);
    file.write(built.bytes());
    std::vector<std::string> marks;
    const std::string before = file.content();
    for (const std::uint64_t offset : built.stale()) {
        const std::size_t size = V1_record_file::block_of(built.item_at(offset)).size();
        marks.push_back(Kc_record().u32(0xDEADDEAD).count(size).bytes());
    }

    zeManager().Read(file.path(), nullptr, nullptr);

    const std::string after = file.content();
    ASSERT_EQ(built.stale().size(), items.records.size() + 1);
    CachePack pack;
    pack.Open(file.path(), false, true);
    for (std::size_t i = 0; i < marks.size(); ++i) {
        const std::size_t offset = built.stale()[i];
        EXPECT_TRUE(same_bytes(after.substr(offset, 8), marks[i])) << i;
        for (const auto& holes : pack.holes) {
            EXPECT_EQ(std::count(holes.begin(), holes.end(), static_cast<long long>(offset)), 0);
        }
    }
}

TEST_F(zeIOUpgradeTest, UnicodeFlagIsKeptAndCompactFlagIsNot) {
    items = shared_leaf_kc_v1(3);
    for (const auto& [before, after] :
         std::vector<std::pair<int, int>>{{0x00, 0x00}, {0x80, 0x80}, {0x08, 0x00}, {0x88, 0x80}}) {
        SCOPED_TRACE(before);
        items.flags = static_cast<unsigned char>(before);
        file.write(cached_v1(items));
        KcIoMode mode;

        zeManager().Read(file.path(), &mode, nullptr);

        EXPECT_EQ(items_of_cached(file.path()).flags, after);
        EXPECT_EQ(mode.unicode, (before & 0x80) != 0);
        EXPECT_EQ(mode.compact_read, (before & 0x08) != 0) << "as it was found";
    }
}

TEST_F(zeIOUpgradeTest, CompactFlagOfAContainerWithStatisticsIsRefusedAsInThePlainForm) {
    items.flags = 0x08;
    file.write(cached_v1(items));
    const std::string before = file.content();
    zeManager kc;

    EXPECT_QTX_ARGS(kc.Read(file.path(), nullptr, nullptr), zeIO, 12, "Damaged item: compact flag",
                    {"1"});
    EXPECT_TRUE(is_empty(kc));
    EXPECT_TRUE(same_bytes(file.content(), before));
    EXPECT_QTX_ARGS(read_kc(kc, items.file()), zeIO, 12, "Damaged item: compact flag", {"1"});
}

// The content shows that a model has no statistics only to a reader of all models. So the container
// cannot learn in the session of its upgrade, and its copies are marked. The file is never marked.
TEST_F(zeIOUpgradeTest, CompactContainerIsCompactUntilItIsClosedAndItsFileIsNotMarked) {
    items = empty_kc_v1();
    items.flags = 0x08;
    file.write(cached_v1(items));
    const qtString copy = file.path() + ".copy";
    {
        zeManager kc;
        KcIoMode mode;
        kc.Read(file.path(), &mode, nullptr);
        EXPECT_TRUE(mode.compact_read);
        EXPECT_TRUE(kc.m_compact);
        EXPECT_EQ(items_of_cached(file.path()).flags, 0);

        kc.m_config.kc_id = 78;
        kc.m_modified = true;
        kc.Write(file.path(), nullptr, nullptr);
        kc.Write(copy, nullptr, nullptr);
    }
    EXPECT_EQ(items_of_cached(file.path()).flags, 0);
    EXPECT_EQ(items_of_cached(copy).flags, 0x08);
    zeManager again;
    again.Read(file.path(), nullptr, nullptr);
    EXPECT_EQ(again.m_config.kc_id, 78U);
    EXPECT_FALSE(again.m_compact);
    std::remove(copy.c_str());
}

TEST_F(zeIOUpgradeTest, BoundOfZeroIsRefusedBeforeTheUpgrade) {
    file.write(cached_v1(items));
    KcIoMode mode;
    mode.cache_size = 0;
    zeManager kc;

    EXPECT_QTX(kc.Read(file.path(), &mode, nullptr), zeIO, 0, "Invalid Cache Size");

    EXPECT_TRUE(same_bytes(file.content(), cached_v1(items)));
}

TEST_F(zeIOUpgradeTest, ItemThatNoRecordRefersToRemainsAsItIs) {
    items.records[object_key(77)] = "left by a deleted classifier";
    file.write(cached_v1(items));

    zeManager().Read(file.path(), nullptr, nullptr);

    CachePack pack;
    pack.Open(file.path(), false, true);
    SegBuf record;
    pack.GetItem(object_key(77), record);
    EXPECT_EQ(bytes_of(record), "left by a deleted classifier");
}

TEST_F(zeIOUpgradeTest, UpgradedFileIsNotChangedByTheNextReading) {
    file.write(cached_v1(items));
    zeManager().Read(file.path(), nullptr, nullptr);
    const std::string upgraded = file.content();
    KcIoMode mode;

    zeManager().Read(file.path(), &mode, nullptr);

    EXPECT_TRUE(same_bytes(file.content(), upgraded));
    EXPECT_TRUE(mode.read_only);
    EXPECT_EQ(mode.version, 2);
}

TEST_F(zeIOUpgradeTest, EmptyContainerIsUpgraded) {
    file.write(cached_v1(empty_kc_v1()));
    zeManager kc;

    kc.Read(file.path(), nullptr, nullptr);

    EXPECT_EQ(kc.m_root, nullptr);
    EXPECT_EQ(kc.m_config.kc_id, 77U);
    EXPECT_EQ(items_of_cached(file.path()).version, 2);
}

TEST_F(zeIOUpgradeTest, ContainerIsEditedAndSavedAfterwardsAsThePlainOne) {
    const Stopped_clock clock;
    Fake_disk disk;
    const auto change = [](zeManager& kc) {
        News_desk(kc).Add(2, "weather", ZE_LEAF);
        learn_something(kc, false);
    };
    zeManager plain;
    read_kc(plain, items.file());
    change(plain);
    disk.files[kUpgraded] = cached_v1(items);
    {
        zeManager kc;
        kc.Read(kUpgraded, nullptr, nullptr);
        change(kc);
        kc.Write(kUpgraded, nullptr, nullptr);
    }

    zeManager again;
    again.Read(kUpgraded, nullptr, nullptr);

    KcIoMode mode;
    mode.io_mode = KcIoMode::DIRECT_IO;
    again.Write("fake/plain", &mode, nullptr);
    EXPECT_TRUE(same_bytes(disk.files.at("fake/plain"), saved(plain)));
}

TEST_F(zeIOUpgradeTest, LeafWithManyParentsTakesNoSquareTime) {
    ExpectNoSquareGrowth(1000, [this](int n) {
        file.write(cached_v1(shared_leaf_kc_v1(static_cast<unsigned int>(n))));
        zeManager kc;

        kc.Read(file.path(), nullptr, nullptr);

        EXPECT_EQ(kc.m_physical_tree->GetLeafNodes(term("shared")).size(),
                  static_cast<std::size_t>(n));
    });
}

TEST_F(zeIOUpgradeTest, DamagedFileIsRefusedUnchangedAndTheManagerIsEmpty) {
    for (const auto& [key, bytes] : News_kc_v1::items().records) {
        // A read may pass the end of a record, so 24 bytes of the rules are a whole record.
        for (const std::size_t kept : {std::size_t{0}, std::size_t{3}, std::size_t{16}}) {
            SCOPED_TRACE(testing::PrintToString(key) + std::to_string(kept));
            items = News_kc_v1::items();
            items.records[key].resize(kept);
            file.write(cached_v1(items));
            const std::string before = file.content();
            Trained_desk earlier;
            earlier.manager.m_config.kc_id = 5;
            {
                const std::string error = error_of_read(earlier.manager, file.path().c_str());
                EXPECT_NE(error, "");
            }

            EXPECT_TRUE(is_empty(earlier.manager));
            EXPECT_EQ(earlier.manager.m_config.kc_id, 5U) << "the earlier settings";
            EXPECT_TRUE(same_bytes(file.content(), before));
        }
    }
}

// A seal is deleted before the first change. If that is not possible, nothing may be changed.
TEST_F(zeIOUpgradeTest, DamagedSealIsRefusedUnchanged) {
    const std::string seal = "__Seal__";
    for (const Kc_items& content : {items, empty_kc_v1()}) {
        V1_record_file built;
        built.add_with_stale(content);
        built.add(seal, "checksums");
        const std::uint64_t place = built.index().at(seal);

        file.write(built.bytes());
        file.patch(place, "XXXX");  // no item's tag
        std::string before = file.content();
        zeManager kc;
        EXPECT_QTX_ARGS(kc.Read(file.path(), nullptr, nullptr), AbstractHreclaim,
                        AbstractHreclaim::kWrongKey, "Key points to invalid item: __Seal__",
                        {file.path(), qtString(seal)});
        EXPECT_TRUE(is_empty(kc));
        EXPECT_TRUE(same_bytes(file.content(), before));

        file.write(built.bytes());
        file.patch(place + 8 + seal.size(), object_key(0x7FFFFFFF));  // its length
        before = file.content();
        EXPECT_QTX_ARGS(kc.Read(file.path(), nullptr, nullptr), HioErr, HioErr::kReadFailed,
                        "Read error in file " + file.path().str(), {file.path()});
        EXPECT_TRUE(same_bytes(file.content(), before));
    }
}

TEST_F(zeIOUpgradeTest, MissingItemIsRefusedByItsKey) {
    items.records.erase(object_key(3));
    file.write(cached_v1(items));
    zeManager kc;

    EXPECT_QTX(kc.Read(file.path(), nullptr, nullptr), AbstractHreclaim,
               AbstractHreclaim::kWrongKey, "Missing key in index: " + object_key(3));

    EXPECT_TRUE(is_empty(kc));
}

// The file on a disk that fails, or whose process is killed.
class zeIOUpgradeOnDiskTest : public testing::Test {
protected:
    zeIOUpgradeOnDiskTest() {
        disk.on_write = [this](std::uint64_t position, std::string_view bytes) {
            writes.push_back({position, std::string(bytes)});
        };
        disk.files[kUpgraded] = before;
    }

    struct Write {
        std::uint64_t position;
        std::string bytes;
    };

    static void Put(std::string& image, const Write& write) {
        image.resize(std::max<std::size_t>(image.size(), write.position + write.bytes.size()));
        image.replace(write.position, write.bytes.size(), write.bytes);
    }

    const Kc_items items = News_kc_v1::items();
    const std::string before = cached_v1(items);
    Fake_disk disk;
    std::vector<Write> writes;
};

// An image is the file after a number of writes. The first writes mark stale items, so the images
// are still whole files of version 1. From the first change of an item on, no version reads the
// file, up to the last write, which changes the version.
TEST_F(zeIOUpgradeOnDiskTest, KilledUpgradeLeavesTheOldFileOrAFileThatIsRefusedUnchanged) {
    zeManager().Read(kUpgraded, nullptr, nullptr);
    const std::string after = disk.files.at(kUpgraded);
    const std::vector<Write> all = writes;
    EXPECT_EQ(all.front().position, 9U) << "the state";
    std::string image = before;
    std::size_t whole = 0;
    std::size_t refused = 0;
    for (std::size_t done = 0; done <= all.size(); ++done) {
        SCOPED_TRACE(done);
        if (done > 0) {
            Put(image, all[done - 1]);
        }
        disk.files[kUpgraded] = image;
        zeManager kc;
        const std::string error = error_of_read(kc, kUpgraded);
        if (error.empty()) {
            EXPECT_TRUE(refused == 0 || done == all.size()) << "readable again";
            kc.Release();
            EXPECT_TRUE(same_bytes(disk.files.at(kUpgraded), after));
            ++whole;
        } else {
            EXPECT_TRUE(is_empty(kc));
            EXPECT_TRUE(same_bytes(disk.files.at(kUpgraded), image));
            ++refused;
        }
    }
    EXPECT_TRUE(same_bytes(image, after));
    EXPECT_GT(whole, items.records.size()) << "one mark for each stale item";
    EXPECT_GT(refused, items.records.size());
}

// The same within a write: some bytes of it have reached the file. The version number changes in
// one byte, so it is the old or the new one. A half written tag of a hole may remain in the file,
// which nothing reads.
TEST_F(zeIOUpgradeOnDiskTest, UpgradeKilledWithinAWriteLeavesAFileThatIsReadOrRefusedUnchanged) {
    zeManager().Read(kUpgraded, nullptr, nullptr);
    const std::vector<Write> all = writes;
    std::string image = before;
    std::size_t count = 0;
    for (const Write& write : all) {
        for (std::size_t at = 0; at < write.bytes.size(); ++at) {
            Put(image, {write.position + at, write.bytes.substr(at, 1)});
            if (++count % 5 != 0) {
                continue;
            }
            SCOPED_TRACE(count);
            disk.files[kUpgraded] = image;
            zeManager kc;
            if (error_of_read(kc, kUpgraded).empty()) {
                kc.Release();
                expect_items(items_of_cached(kUpgraded), News_kc_v1::items_v2());
            } else {
                EXPECT_TRUE(is_empty(kc));
                EXPECT_TRUE(same_bytes(disk.files.at(kUpgraded), image));
            }
        }
    }
    EXPECT_GT(count, 2000U);
}

TEST_F(zeIOUpgradeOnDiskTest, FailedUpgradeLeavesTheManagerEmptyAndWritesNothingMore) {
    for (const bool is_for_ever : {false, true}) {
        std::size_t call = 0;
        for (;; ++call) {
            SCOPED_TRACE(testing::Message() << call << ' ' << is_for_ever);
            disk.files[kUpgraded] = before;
            writes.clear();
            zeManager kc;
            disk.fail_at(call, Fake_disk::Fault::kIoError, is_for_ever);
            const std::string error = error_of_read(kc, kUpgraded);
            const bool has_failed = !disk.failed.empty();
            disk.heal();
            if (!has_failed) {
                EXPECT_EQ(error, "");
                break;
            }
            const std::size_t written = writes.size();
            if (!error.empty()) {
                EXPECT_TRUE(is_empty(kc));
            }
            kc.Release();
            if (!error.empty()) {
                EXPECT_EQ(writes.size(), written) << "written after the failure";
            }
            EXPECT_EQ(disk.open_files, 0);
        }
        EXPECT_GT(call, 50U);
    }
}

}  // namespace
