// The cache in front of a record file, with messages as its objects. Each message is recognised by
// its one label.
#include "zandrel/storage/HreclaimCache.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trace_capture.h"

namespace {

using Cache = zeCacheCorpus::Cache;
using testing::ElementsAre;
using testing::IsEmpty;

// A message that was neither read nor written, so it counts as changed.
qtPtrLight<zeMsg> fresh(std::string_view label) {
    return MessageBuilder().labels({label}).make();
}

// A message that counts as stored.
qtPtrLight<zeMsg> unchanged(std::string_view label) {
    qtPtrLight<zeMsg> msg = fresh(label);
    msg->changed = false;
    return msg;
}

std::string label_of(const qtPtrLight<zeMsg>& msg) {
    return msg.IsNull() ? "null" : std::string(msg->categories.at(0).view());
}

std::string plain_record(const zeMsg& msg) {
    SegBuf record;
    Hio<Generic32> io(new HSegment(record, 'w'));
    msg.Dump(io);
    return bytes_of(record);
}

class HreclaimCacheTest : public testing::Test {
protected:
    void make(unsigned int capacity) {
        cache = std::make_unique<Cache>(capacity);
        cache->file.Open(disk.path(), true, false);
        cache->mode = 'w';
    }

    // Opens the file for reading, but lets the cache write. So each write fails.
    void make_failing(unsigned int capacity) {
        make(1);
        write("a", fresh("a"));
        write("b", fresh("b"));
        cache = nullptr;
        cache = std::make_unique<Cache>(capacity);
        cache->file.Open(disk.path(), false, true);
        cache->mode = 'w';
    }

    void write(const qtString& key, qtPtrLight<zeMsg> msg, bool keep = false) {
        cache->Write(key, msg, keep);
    }

    void enter(const qtString& key, qtPtrLight<zeMsg> msg, bool replace = true) {
        cache->AddToCache(key, msg, replace);
    }

    std::string read(const qtString& key) { return label_of(cache->Read(key)); }

    std::string bytes_in_file(const qtString& key) {
        SegBuf record;
        cache->file.GetItem(key, record);
        return bytes_of(record);
    }

    // The label of the message in the file; "none" if there is no such key.
    std::string stored(const qtString& key) {
        if (!cache->file.Exists(key)) {
            return "none";
        }
        SegBuf record;
        cache->file.GetItem(key, record);
        Hio<Generic32> io(new HSegment(record, 'r'));
        zeMsg msg;
        msg.Load(io);
        return std::string(msg.categories.at(0).view());
    }

    // The keys from the one used last on. Each must be in the table too.
    std::vector<std::string> keys() {
        std::vector<std::string> all;
        for (auto key = cache->lru.begin(); key != cache->lru.end(); ++key) {
            all.push_back(key->str());
            EXPECT_TRUE(cache->table.at(*key).second == key);
        }
        EXPECT_EQ(cache->table.size(), all.size());
        return all;
    }

    Scratch_file disk;
    std::unique_ptr<Cache> cache;
};

TEST_F(HreclaimCacheTest, NewCacheIsEmptyClosedAndForReading) {
    const Cache made(7);

    EXPECT_EQ(made.capacity, 7U);
    EXPECT_TRUE(made.table.empty());
    EXPECT_GE(made.table.bucket_count(), 100U);
    EXPECT_TRUE(made.lru.empty());
    EXPECT_EQ(made.mode, 'r');
    EXPECT_EQ(made.seed, 0U);
    EXPECT_EQ(made.file.io.device->file, nullptr);
}

TEST_F(HreclaimCacheTest, CapacityZeroReadsTheFileEachTimeAndKeepsNothing) {
    make(0);

    write("a", fresh("a"), true);
    enter("b", fresh("b"));

    EXPECT_THAT(keys(), IsEmpty());
    const qtPtrLight<zeMsg> first = cache->Read("a");
    const qtPtrLight<zeMsg> second = cache->Read("a");
    EXPECT_EQ(label_of(first), "a");
    EXPECT_EQ(label_of(second), "a");
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(read("b"), "null");
    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(HreclaimCacheTest, WriteWithoutKeepingLeavesTheOldObjectInTheEntry) {
    make(2);
    write("a", fresh("old"), true);

    write("a", fresh("new"), false);

    EXPECT_EQ(stored("a"), "new");
    EXPECT_EQ(read("a"), "old");
}

TEST_F(HreclaimCacheTest, WriteWithKeepingReplacesTheObjectOfTheEntry) {
    make(2);
    write("a", fresh("old"), true);

    write("a", fresh("new"), true);

    EXPECT_EQ(stored("a"), "new");
    EXPECT_EQ(read("a"), "new");
    EXPECT_THAT(keys(), ElementsAre("a"));
}

TEST_F(HreclaimCacheTest, SecondReadAtCapacityOneDropsTheFirstEntry) {
    make(1);
    write("a", fresh("a"));
    write("b", fresh("b"));

    const qtPtrLight<zeMsg> first = cache->Read("a");
    EXPECT_EQ(cache->Read("a").get(), first.get());
    read("b");

    EXPECT_THAT(keys(), ElementsAre("b"));
    EXPECT_NE(cache->Read("a").get(), first.get());
}

TEST_F(HreclaimCacheTest, ChangedEntryIsWrittenWhenItIsDropped) {
    make(1);
    write("a", fresh("old"));
    write("b", fresh("b"));
    enter("a", fresh("new"));
    EXPECT_EQ(stored("a"), "old");

    EXPECT_EQ(read("b"), "b");

    EXPECT_EQ(stored("a"), "new");
}

TEST_F(HreclaimCacheTest, UnchangedEntryIsDroppedWithoutAWrite) {
    make(1);
    write("a", fresh("old"));
    write("b", fresh("b"));
    enter("a", unchanged("new"));

    read("b");

    EXPECT_EQ(stored("a"), "old");
}

TEST_F(HreclaimCacheTest, NewBagInAnySlotCountsAsAChange) {
    make(1);
    for (std::size_t slot = 0; slot < zeMsg::kSlotCount; ++slot) {
        SCOPED_TRACE(slot);
        write("a", fresh("old"));
        qtPtrLight<zeMsg> msg = unchanged("new");
        msg->smls.at(slot) = make_bag({{"word", 1.0}});

        enter("a", msg);
        cache->PopLast();

        EXPECT_EQ(stored("a"), "new");
        EXPECT_FALSE(msg->smls.at(slot)->m_is_new);
    }
}

TEST_F(HreclaimCacheTest, WriteMarksTheMessageAndAllItsBagsAsStored) {
    make(1);
    qtPtrLight<zeMsg> msg = fresh("a");
    msg->smls[1] = make_bag({{"word", 1.0}});
    msg->smls[4] = make_bag({{"word", 1.0}});

    cache->Write("a", msg, false);

    EXPECT_FALSE(msg->changed);
    EXPECT_FALSE(msg->smls[1]->m_is_new);
    EXPECT_FALSE(msg->smls[4]->m_is_new);
}

TEST_F(HreclaimCacheTest, AddToCacheWithoutReplaceOnlyRefreshesTheAge) {
    make(2);
    write("a", fresh("a"), true);
    write("b", fresh("b"), true);

    enter("a", fresh("other"), false);

    EXPECT_THAT(keys(), ElementsAre("a", "b"));
    EXPECT_EQ(label_of(cache->table.at("a").first), "a");
}

TEST_F(HreclaimCacheTest, ReadRefreshesTheAge) {
    make(2);
    write("a", fresh("a"), true);
    write("b", fresh("b"), true);
    write("c", fresh("c"));

    read("a");
    read("c");

    EXPECT_THAT(keys(), ElementsAre("c", "a"));
}

TEST_F(HreclaimCacheTest, MissingKeyGivesNullWhichTakesAnEntry) {
    make(1);
    write("a", fresh("a"), true);

    EXPECT_EQ(read("x"), "null");

    EXPECT_THAT(keys(), ElementsAre("x"));
    // The null comes from the cache, although the file has the key now.
    write("x", fresh("x"), false);
    EXPECT_EQ(read("x"), "null");
    write("x", fresh("x"), true);
    EXPECT_EQ(read("x"), "x");
}

TEST_F(HreclaimCacheTest, DamagedRecordGivesNull) {
    make(1);
    cache->file.AddItem("a", record_of("\xff\xff\xff\xff"));

    EXPECT_EQ(read("a"), "null");
}

TEST_F(HreclaimCacheTest, ReadOfAClosedFileGivesNull) {
    Cache closed(1);

    EXPECT_TRUE(closed.Read("a").IsNull());
}

TEST_F(HreclaimCacheTest, PopLastOfANullObjectWritesNothing) {
    make(1);
    read("x");
    cache->file.WriteIndex();
    const std::string before = disk.content();

    cache->PopLast();

    EXPECT_THAT(keys(), IsEmpty());
    EXPECT_TRUE(disk.content() == before);
}

TEST_F(HreclaimCacheTest, PopLastOfAnEmptyCacheDoesNothing) {
    make(1);

    cache->PopLast();

    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(HreclaimCacheTest, RecordIsPlainWithoutASeed) {
    make(1);
    const qtPtrLight<zeMsg> msg = fresh("label");

    write("a", msg);

    EXPECT_EQ(to_hex(bytes_in_file("a")), to_hex(plain_record(*msg)));
}

TEST_F(HreclaimCacheTest, RecordIsScrambledInRunsOfOneSegmentWithASeed) {
    make(0);
    cache->seed = qtScrambler::kSeed;
    const qtPtrLight<zeMsg> msg = fresh(std::string(SegBuf::kSegmentSize, 'z'));
    std::string expected = plain_record(*msg);
    ASSERT_GT(expected.size(), SegBuf::kSegmentSize);
    const qtScrambler scrambler(qtScrambler::kSeed);
    scrambler.Scramble(expected.data(), SegBuf::kSegmentSize, qtScrambler::kOption);
    scrambler.Scramble(expected.data() + SegBuf::kSegmentSize,
                       expected.size() - SegBuf::kSegmentSize, qtScrambler::kOption);

    write("a", msg);

    EXPECT_TRUE(bytes_in_file("a") == expected);
    EXPECT_FALSE(bytes_in_file("a") == plain_record(*msg));
    EXPECT_EQ(read("a"), label_of(msg));
    cache->seed = 0;
    EXPECT_EQ(read("a"), "null");
}

TEST_F(HreclaimCacheTest, WriteForReadingIsRefused) {
    make(1);
    cache->mode = 'r';
    qtPtrLight<zeMsg> msg = fresh("a");

    EXPECT_QTX_ARGS(cache->Write("a", msg, true), AbstractHreclaim, 4,
                    "File is not open for writing", {});

    EXPECT_TRUE(msg->changed);
    EXPECT_EQ(stored("a"), "none");
    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(HreclaimCacheTest, WriteOfNullIsABrokenInvariant) {
    make(1);
    cache->file.WriteIndex();
    const std::string before = disk.content();

    EXPECT_ASSERTS(write("a", nullptr, true), "object");

    EXPECT_TRUE(disk.content() == before);
}

TEST_F(HreclaimCacheTest, ChangesAreDroppedForReading) {
    make(1);
    write("a", fresh("old"));
    write("b", fresh("b"));
    enter("a", fresh("new"));
    cache->mode = 'r';

    read("b");
    EXPECT_EQ(stored("a"), "old");
    enter("a", fresh("new"));
    cache->ClearCache();

    EXPECT_EQ(stored("a"), "old");
    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(HreclaimCacheTest, ClearCacheWritesInTheOrderOfTheKeys) {
    make(50);
    std::vector<std::string> names;
    for (int number = 0; number < 50; ++number) {
        names.push_back("key" + std::to_string(number));
    }
    std::shuffle(names.begin(), names.end(), std::mt19937(5));
    for (const std::string& name : names) {
        enter(qtString(name), fresh(name));
    }
    enter("key7", unchanged("other"));

    cache->ClearCache();

    EXPECT_THAT(keys(), IsEmpty());
    EXPECT_EQ(stored("key7"), "none");
    ASSERT_EQ(cache->file.index.size(), 49U);
    long long last = 0;
    for (const auto& [key, offset] : cache->file.index) {
        EXPECT_EQ(stored(key), key.str());
        EXPECT_GT(offset, last);
        last = offset;
    }
    // The index is the owner's task.
    EXPECT_TRUE(cache->file.dirty);
    EXPECT_EQ(disk.content().at(9), 1);
}

TEST_F(HreclaimCacheTest, AddedItemIsStoredAsItIs) {
    make(1);
    cache->seed = qtScrambler::kSeed;

    cache->AddItem("info", record_of("plain"));

    EXPECT_EQ(bytes_in_file("info"), "plain");
}

TEST_F(HreclaimCacheTest, DestructorWritesChangesAndTheIndex) {
    const Trace_capture traced;
    make(2);
    enter("a", fresh("a"));
    cache = nullptr;

    EXPECT_EQ(disk.content().at(9), 0);
    EXPECT_THAT(traced.texts(), IsEmpty());
    make(2);
    EXPECT_EQ(read("a"), "a");
}

TEST_F(HreclaimCacheTest, DestructorOfACacheWhoseFileIsClosedDoesNothing) {
    const Trace_capture traced;
    make(1);
    write("a", fresh("a"), true);
    cache->ClearCache();
    cache->file.Close();
    const std::string before = disk.content();

    cache = nullptr;

    EXPECT_TRUE(disk.content() == before);
    EXPECT_THAT(traced.texts(), IsEmpty());
}

TEST_F(HreclaimCacheTest, FailureInTheDestructorIsTraced) {
    const Trace_capture traced;
    make_failing(1);
    enter("a", fresh("new"));
    cache = nullptr;

    const std::string name(disk.path().str());
    EXPECT_TRUE(traced.has(
        4, "Changes of file " + name + " were not written: File is not open for writing"));
    make(1);
    EXPECT_EQ(read("a"), "a");
}

TEST_F(HreclaimCacheTest, FailedWriteOfADroppedEntryReachesTheCaller) {
    make_failing(1);
    const qtPtrLight<zeMsg> msg = fresh("new");
    enter("a", msg);

    EXPECT_QTX_ARGS(cache->Read("b"), HioErr, 4, "File is not open for writing", {disk.path()});

    EXPECT_TRUE(msg->changed);
    EXPECT_EQ(label_of(cache->table.at("a").first), "new");
    EXPECT_THAT(keys(), ElementsAre("a"));
    cache->Abandon();
}

TEST_F(HreclaimCacheTest, FailedClearCacheRemovesNoEntry) {
    make_failing(2);
    enter("a", unchanged("a"));
    enter("b", fresh("new"));

    EXPECT_QTX_ARGS(cache->ClearCache(), HioErr, 4, "File is not open for writing", {disk.path()});

    EXPECT_THAT(keys(), ElementsAre("b", "a"));
    EXPECT_TRUE(cache->table.at("b").first->changed);
    cache->Abandon();
}

TEST_F(HreclaimCacheTest, CacheWhoseWriteFailedRefusesAllChangesAndLosesNothingSilently) {
    const Trace_capture traced;
    make_failing(2);
    const std::string before = disk.content();
    const std::string text = "Write error in file " + disk.path().str();
    EXPECT_QTX(write("a", fresh("new")), HioErr, 4, "File is not open for writing");

    EXPECT_QTX_ARGS(write("a", fresh("new")), HioErr, 4, text, {disk.path()});
    EXPECT_QTX_ARGS(cache->AddItem("info", record_of("x")), HioErr, 4, text, {disk.path()});
    EXPECT_QTX_ARGS(cache->MarkChanging(), HioErr, 4, text, {disk.path()});
    EXPECT_QTX_ARGS(cache->WriteIndex(), HioErr, 4, text, {disk.path()});
    EXPECT_QTX_ARGS(cache->ClearCache(), HioErr, 4, text, {disk.path()});

    EXPECT_EQ(read("a"), "a");
    EXPECT_THAT(traced.texts(), IsEmpty());
    cache = nullptr;
    EXPECT_THAT(traced.texts(),
                ElementsAre("Changes of file " + disk.path().str() + " were not written: " + text));
    EXPECT_TRUE(disk.content() == before);
}

TEST_F(HreclaimCacheTest, AbandonedBrokenCacheCanOpenAnotherFile) {
    const Trace_capture traced;
    make_failing(1);
    EXPECT_QTX(cache->MarkChanging(), HioErr, 4, "File is not open for writing");
    cache->Abandon();
    const Scratch_file other;
    cache->file.Open(other.path(), true, false);
    cache->mode = 'w';

    write("b", fresh("b"));
    cache = nullptr;

    EXPECT_THAT(traced.texts(), IsEmpty());
    EXPECT_EQ(other.content().at(9), 0);
}

// The item of "a" is damaged, so it cannot be replaced. The file refuses this before it changes.
TEST_F(HreclaimCacheTest, RefusedWriteNeitherMarksTheFileNorBreaksTheCache) {
    make(1);
    write("a", fresh("a"));
    write("b", fresh("b"));
    const auto item = static_cast<std::size_t>(cache->file.index.at("a"));
    cache = nullptr;
    disk.patch(item, "x");
    const std::string before = disk.content();
    make(1);

    EXPECT_QTX_ARGS(write("a", fresh("new")), AbstractHreclaim, 2, "Key points to invalid item: a",
                    {disk.path(), "a"});

    EXPECT_TRUE(disk.content() == before);
    write("b", fresh("new b"));
    cache = nullptr;
    make(1);
    EXPECT_EQ(read("b"), "new b");
}

// The cache uses the memory of a record again. A record that is cut off continues with zeros, not
// with the bytes of the record before it.
TEST_F(HreclaimCacheTest, RecordIsReadAsIfItWereTheFirst) {
    const std::string whole = plain_record(*fresh("label"));
    const std::string cut = whole.substr(0, whole.size() - 3);
    for (const unsigned long seed : {0UL, static_cast<unsigned long>(qtScrambler::kSeed)}) {
        make(0);
        cache->seed = seed;
        write("long", fresh(std::string(50'000, 'x')));
        write("short", fresh("s"));
        SegBuf record = record_of(cut);
        zandrel::detail::ScrambleRuns(record, seed);
        cache->AddItem("cut", record);
        for (const char* const before : {"long", "short", "cut", "missing"}) {
            SCOPED_TRACE(before);
            read(before);
            const qtPtrLight<zeMsg> msg = cache->Read("cut");
            ASSERT_FALSE(msg.IsNull());
            EXPECT_EQ(msg->categories.at(0).view(), std::string_view("la\0\0\0", 5));
        }
        EXPECT_EQ(read("short"), "s");
        EXPECT_EQ(read("long"), std::string(50'000, 'x'));
        cache = nullptr;
    }
}

TEST_F(HreclaimCacheTest, AbandonedFileKeepsItsOldIndexAndItsMark) {
    make(2);
    write("a", fresh("a"));
    cache->file.WriteIndex();
    write("b", fresh("b"));
    enter("a", fresh("new"));

    cache->Abandon();
    cache = nullptr;

    EXPECT_EQ(disk.content().at(9), 1);
    make(1);
    EXPECT_EQ(read("a"), "a");
    EXPECT_EQ(read("b"), "null");
}

// A slow cache that is obviously right: a list of entries, the youngest first, and a map of what is
// in the file.
class Slow_cache {
public:
    explicit Slow_cache(std::size_t capacity) : m_capacity(capacity) {}

    void write(const std::string& key, const qtPtrLight<zeMsg>& msg, bool keep) {
        file[key] = label_of(msg);
        if (keep) {
            enter(key, msg, true);
        }
    }

    void enter(const std::string& key, const qtPtrLight<zeMsg>& msg, bool replace) {
        if (m_capacity == 0) {
            return;
        }
        qtPtrLight<zeMsg> entered = msg;
        const auto found = find(key);
        if (found != entries.end()) {
            entered = replace ? msg : found->second;
            entries.erase(found);
        } else if (entries.size() == m_capacity) {
            pop();
        }
        entries.insert(entries.begin(), {key, entered});
    }

    // The label that reading gives. An entry that is not in the cache is entered by the caller.
    std::string read(const std::string& key) {
        const auto found = find(key);
        if (found != entries.end()) {
            return label_of(found->second);
        }
        const auto in_file = file.find(key);
        return in_file == file.end() ? "null" : in_file->second;
    }

    void pop() {
        if (entries.empty()) {
            return;
        }
        store(entries.back());
        entries.pop_back();
    }

    void clear() {
        for (const auto& entry : entries) {
            store(entry);
        }
        entries.clear();
    }

    std::map<std::string, std::string> file;
    std::vector<std::pair<std::string, qtPtrLight<zeMsg>>> entries;

private:
    std::vector<std::pair<std::string, qtPtrLight<zeMsg>>>::iterator find(const std::string& key) {
        return std::find_if(entries.begin(), entries.end(),
                            [&key](const auto& entry) { return entry.first == key; });
    }

    void store(const std::pair<std::string, qtPtrLight<zeMsg>>& entry) {
        if (!entry.second.IsNull() && entry.second->changed) {
            file[entry.first] = label_of(entry.second);
        }
    }

    std::size_t m_capacity;
};

class HreclaimCacheModelTest : public HreclaimCacheTest,
                               public testing::WithParamInterface<unsigned int> {
protected:
    // The slow cache goes first, because the cache marks a message as stored.
    void step(std::mt19937& random, int number) {
        const std::string key = "key" + std::to_string(random() % 30);
        const bool flag = random() % 2 == 0;
        const std::string label = "text" + std::to_string(number);
        switch (random() % 16) {
            case 0:
                model.clear();
                cache->ClearCache();
                break;
            case 1:
                model.pop();
                cache->PopLast();
                break;
            case 2:
                model.clear();
                cache = nullptr;
                make(GetParam());
                break;
            case 3:
            case 4:
            case 5:
                write_both(key, fresh(label), flag);
                break;
            case 6:
            case 7:
            case 8:
                enter_both(key, random() % 4 == 0 ? unchanged(label) : fresh(label), flag);
                break;
            default:
                read_both(key);
                break;
        }
    }

    void write_both(const std::string& key, const qtPtrLight<zeMsg>& msg, bool keep) {
        model.write(key, msg, keep);
        write(qtString(key), msg, keep);
    }

    void enter_both(const std::string& key, const qtPtrLight<zeMsg>& msg, bool replace) {
        model.enter(key, msg, replace);
        enter(qtString(key), msg, replace);
    }

    void read_both(const std::string& key) {
        const std::string expected = model.read(key);
        model.enter(key, expected == "null" ? nullptr : unchanged(expected), false);
        EXPECT_EQ(read(qtString(key)), expected);
    }

    void expect_equal() {
        std::vector<std::string> expected;
        for (const auto& entry : model.entries) {
            expected.push_back(entry.first);
            EXPECT_EQ(label_of(cache->table.at(qtString(entry.first)).first),
                      label_of(entry.second));
        }
        EXPECT_EQ(keys(), expected);
        EXPECT_EQ(cache->file.GetIndexSize(), model.file.size());
        for (const auto& [key, label] : model.file) {
            EXPECT_EQ(stored(qtString(key)), label);
        }
    }

    Slow_cache model{GetParam()};
};

TEST_P(HreclaimCacheModelTest, RandomOperationsEqualThoseOfASlowCache) {
    std::mt19937 random(17);
    make(GetParam());

    for (int number = 0; number < 1500 && !HasFailure(); ++number) {
        SCOPED_TRACE(number);
        step(random, number);
        expect_equal();
    }
}

INSTANTIATE_TEST_SUITE_P(Capacities, HreclaimCacheModelTest, testing::Values(0U, 1U, 2U, 20U));

}  // namespace
