// Corpus files on a disk that fails, and of processes that are killed: after each write, and with
// each call of the disk failing.
#include "zandrel/messages/zeCacheCorpus.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/messages/corpus_file.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/trace_capture.h"

namespace {

using Labels = std::vector<std::string>;

const std::string kName = "fake/corpus";

// The file as a reader finds it between two flushes.
const Labels kFirst = {"m0", "m1", "m2", "m3", "m4", "m5"};
const Labels kSecond = {"m0", "a longer label for the first message", "m2", "u3", "m4", "m5", "m6"};
const Labels kThird = {"m0", "a longer label for the first message", "m2", "u3", "m4", "m5", "m6",
                       "m7"};

// Makes a corpus with a cache of 2 messages, and flushes three times; the last time by closing.
class Script {
public:
    void run() {
        corpus = std::make_unique<zeCacheCorpus>(qtString(kName), 'w', 2);
        for (const std::string& label : kFirst) {
            add_label(*corpus, label);
        }
        zeCacheCorpus::GlobalInfo info;
        info.texts = {{"analysis", "words"}};
        corpus->set_global_info(info);
        corpus->flush();
        qtPtrLight<zeMsg> refreshed = labelled(kSecond[1]);
        corpus->refresh_msg(1, refreshed);
        labels_in(*corpus);  // the refreshed message leaves the cache
        qtPtrLight<zeMsg> updated = labelled("u3");
        corpus->update_msg(3, updated);
        add_label(*corpus, "m6");
        corpus->flush();
        add_label(*corpus, "m7");
        corpus = nullptr;
    }

    std::unique_ptr<zeCacheCorpus> corpus;
};

// The text of the error that a statement raises; "nothing" if it raises nothing.
template <class Statement>
std::string end_of(Statement&& statement) {
    try {
        statement();
    } catch (const qtxAll& raised) {
        const std::string text = raised.what();
        const std::size_t name = text.find(kName);
        return name == std::string::npos ? text : text.substr(0, name);
    }
    return "nothing";
}

// The ways in which a file may end between two flushes.
const std::set<std::string>& refusals() {
    static const std::set<std::string> texts = {
        "Corpus index is not synchronized (Run RebuildIndex Utility)",
        "Cannot read index",               // the index was being written
        "Read error in file ",             // the same
        "File does not exist: ",           // nothing was written yet
        "Not a Corpus file: ",             // a new file, before its id was written
        "Invalid version in corpus file",  // a new file, when its id was half written
    };
    return texts;
}

bool is_flushed(const Labels& labels) {
    return labels == kFirst || labels == kSecond || labels == kThird;
}

// Returns true if each message is as before or after its change.
bool is_between(const Labels& labels) {
    for (std::size_t i = 0; i < labels.size(); ++i) {
        if (i >= kThird.size() || (labels[i] != kThird[i] && labels[i] != kFirst.at(i))) {
            return false;
        }
    }
    return true;
}

// Opens the file for reading, and checks that it is refused, or that `is_allowed` allows its
// labels. Returns the refusal, or "sound".
std::string reopened(bool (*is_allowed)(const Labels& labels) = is_flushed) {
    std::unique_ptr<zeCacheCorpus> reader;
    const std::string end =
        end_of([&reader] { reader = std::make_unique<zeCacheCorpus>(qtString(kName), 'r', 1); });
    if (end != "nothing") {
        EXPECT_TRUE(refusals().contains(end)) << end;
        return end;
    }
    const Labels labels = labels_in(*reader);
    EXPECT_TRUE(is_allowed(labels)) << testing::PrintToString(labels);
    EXPECT_EQ(static_cast<std::size_t>(reader->get_num_msgs()), labels.size());
    return "sound";
}

class zeCacheCorpusFaultTest : public testing::Test {
protected:
    void put(const std::string& image) { disk.files[kName] = image; }

    Fake_disk disk;
};

TEST_F(zeCacheCorpusFaultTest, FirstWriteAfterAFlushSetsTheStateAndNothingElse) {
    zeCacheCorpus corpus(qtString(kName), 'w', 2);
    zeCacheCorpus::ZqeInfo info;
    const auto expect_mark_first = [&](auto&& change) {
        corpus.flush();
        std::vector<std::pair<std::uint64_t, std::string>> writes;
        disk.on_write = [&writes](std::uint64_t position, std::string_view bytes) {
            writes.emplace_back(position, bytes);
        };
        change();
        disk.on_write = nullptr;
        ASSERT_GE(writes.size(), 2U);
        EXPECT_EQ(writes.front(), std::make_pair(std::uint64_t{9}, std::string("\1")));
        EXPECT_EQ(std::count_if(writes.begin(), writes.end(),
                                [](const auto& write) { return write.first == 9; }),
                  1);
    };

    expect_mark_first([&] { add_label(corpus, "a"); });
    expect_mark_first([&] {
        qtPtrLight<zeMsg> msg = labelled("b");
        corpus.update_msg(0, msg);
    });
    expect_mark_first([&] {
        qtPtrLight<zeMsg> msg = labelled("c");
        corpus.refresh_msg(0, msg);
        corpus.reserve(0);
    });
    expect_mark_first([&] { corpus.set_zqe_info(info); });
}

TEST_F(zeCacheCorpusFaultTest, ProcessKilledAfterAnyWriteLeavesARefusedOrAFlushedFile) {
    for (const bool has_places : {false, true}) {
        disk.has_places = has_places;
        disk.files.clear();
        std::vector<std::string> images;
        disk.on_write = [&](std::uint64_t, std::string_view) {
            images.push_back(disk.files[kName]);
        };
        Script().run();
        disk.on_write = nullptr;

        std::map<std::string, int> ends;
        for (std::size_t i = 0; i < images.size(); ++i) {
            SCOPED_TRACE(i);
            put(images[i]);
            ++ends[reopened()];
        }

        EXPECT_GE(ends["sound"], 3);
        EXPECT_GT(ends["Corpus index is not synchronized (Run RebuildIndex Utility)"], 10);
        put(images.back());
        zeCacheCorpus reader(qtString(kName), 'r', 1);
        EXPECT_EQ(labels_in(reader), kThird);
    }
}

TEST_F(zeCacheCorpusFaultTest, EachFailedCallIsReportedOrHarmless) {
    using Fault = Fake_disk::Fault;
    for (const bool has_places : {false, true}) {
        disk.has_places = has_places;
        disk.files.clear();
        disk.fail_at(1U << 30U, Fault::kIoError, false);
        Script().run();
        const std::vector<Fake_disk::Call> calls = disk.calls;
        std::map<std::string, int> raised;
        for (const Fault fault : {Fault::kIoError, Fault::kNoSpace, Fault::kShort}) {
            for (std::size_t index = 0; index < calls.size(); ++index) {
                for (const bool for_ever : {false, true}) {
                    if (!Fake_disk::can_happen(fault, calls[index])) {
                        continue;
                    }
                    SCOPED_TRACE(testing::Message() << "call " << index << ", fault "
                                                    << static_cast<int>(fault) << for_ever);
                    disk.files.clear();
                    disk.fail_at(index, fault, for_ever);
                    auto script = std::make_unique<Script>();
                    ++raised[end_of([&script] { script->run(); })];
                    script = nullptr;
                    disk.heal();
                    EXPECT_EQ(disk.open_files, 0);
                    // After a failed write nothing more is written. After a failed read the
                    // destructor still saves what was done before.
                    const bool is_write = disk.failed.front() == Fake_disk::Call::kWrite;
                    reopened(is_write ? is_flushed : is_between);
                }
            }
        }
        EXPECT_GT(raised["Write error in file "], 0);
        EXPECT_GT(raised["nothing"], 0);  // failures in the destructor, and of reads
        for (const auto& [text, count] : raised) {
            const std::set<std::string> expected = {"nothing",
                                                    "Write error in file ",
                                                    "Cannot open file: ",
                                                    "Cannot read index",
                                                    "Read error in file ",
                                                    "Invalid file offset in file ",
                                                    "SeekEnd error in file ",
                                                    "Close error in file "};
            EXPECT_TRUE(expected.contains(text)) << text;
        }
    }
}

TEST_F(zeCacheCorpusFaultTest, FailedFlushKeepsTheChangedMessage) {
    zeCacheCorpus corpus(qtString(kName), 'w', 2);
    add_label(corpus, "a");
    corpus.flush();
    qtPtrLight<zeMsg> msg = labelled("new");
    corpus.refresh_msg(0, msg);
    disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);

    EXPECT_QTX_ARGS(corpus.flush(), HioErr, 4, "Write error in file fake/corpus", {"fake/corpus"});

    EXPECT_TRUE(msg->changed);
    EXPECT_EQ(corpus.get_numbered_msg(0).get(), msg.get());
}

TEST_F(zeCacheCorpusFaultTest, ChangedMessageThatCannotBeWrittenStaysInTheCache) {
    zeCacheCorpus corpus(qtString(kName), 'w', 2);
    for (const char* const label : {"a", "b", "c"}) {
        add_label(corpus, label);
    }
    corpus.flush();
    qtPtrLight<zeMsg> msg = labelled("new");
    corpus.refresh_msg(0, msg);
    zeCorpus::iMsg position = corpus.get_msg(1);
    disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);
    const std::string text = "Write error in file " + kName;

    EXPECT_QTX_ARGS(corpus.reserve(1), HioErr, 4, text, {qtString(kName)});

    EXPECT_EQ(corpus.cache.capacity, 2U);
    EXPECT_EQ(corpus.cache.table.size(), 2U);
    EXPECT_TRUE(msg->changed);
    disk.heal();
    EXPECT_QTX(corpus.get_msg(2), HioErr, 4, text);
    EXPECT_QTX(corpus.get_numbered_msg(2), HioErr, 4, text);
    EXPECT_QTX(corpus.next(position), HioErr, 4, text);
    EXPECT_QTX(add_label(corpus, "d"), HioErr, 4, text);
    EXPECT_QTX(corpus.refresh_msg(2, msg), HioErr, 4, text);
    EXPECT_QTX(corpus.flush(), HioErr, 4, text);
    EXPECT_EQ(corpus.get_numbered_msg(0).get(), msg.get());
}

TEST_F(zeCacheCorpusFaultTest, FailureWhileClosingIsTracedOnceAndLeavesTheOldContent) {
    const Trace_capture traced(4);
    auto corpus = std::make_unique<zeCacheCorpus>(qtString(kName), 'w', 2);
    add_label(*corpus, "a");
    corpus->flush();
    qtPtrLight<zeMsg> msg = labelled("new");
    corpus->refresh_msg(0, msg);
    disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);

    corpus = nullptr;
    disk.heal();

    EXPECT_THAT(traced.texts(),
                testing::ElementsAre("Changes of file fake/corpus were not written: "
                                     "Write error in file fake/corpus"));
    EXPECT_EQ(disk.open_files, 0);
    zeCacheCorpus reader(qtString(kName), 'r', 1);
    EXPECT_EQ(labels_in(reader), Labels{"a"});
}

TEST_F(zeCacheCorpusFaultTest, LostIndexOfAClosedFileIsTracedAndTheFileIsRefused) {
    auto corpus = std::make_unique<zeCacheCorpus>(qtString(kName), 'w', 2);
    add_label(*corpus, "a");
    const Trace_capture traced(4);
    disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);

    corpus = nullptr;
    disk.heal();

    EXPECT_EQ(traced.lines.size(), 1U);
    EXPECT_QTX_ARGS(zeCacheCorpus(qtString(kName), 'r', 1), zeCacheCorpus, 5,
                    "Corpus index is not synchronized (Run RebuildIndex Utility)", {});
}

// A caller that catches each error and goes on. It knows which labels each message may have.
class Stubborn_caller {
public:
    using Allowed = std::map<unsigned int, std::set<std::string>>;

    static constexpr const char* kNoMessage = "no message";

    Stubborn_caller() {
        for (unsigned int number = 0; number < kFirst.size(); ++number) {
            m_allowed[number] = {kFirst[number]};
        }
        m_flushed = m_allowed;
    }

    // Makes changes of all kinds, and flushes twice. Returns the error of the last flush.
    std::string run() {
        m_end =
            end_of([this] { corpus = std::make_unique<zeCacheCorpus>(qtString(kName), 'u', 2); });
        if (corpus == nullptr) {
            return m_end;
        }
        change(1, std::string(200, 'x'), &zeCacheCorpus::update_msg);  // to another block
        add("m6");
        change(4, "r4", &zeCacheCorpus::refresh_msg);
        walk();
        change(2, std::string(100, 'y'), &zeCacheCorpus::update_msg);
        flush();
        change(3, std::string(300, 'z'), &zeCacheCorpus::update_msg);
        add(std::string(90, 'w'));  // into a free block
        change(0, "r0", &zeCacheCorpus::refresh_msg);
        change(5, "r5", &zeCacheCorpus::refresh_msg);
        attempt([this] { corpus->reserve(1); });
        zeCacheCorpus::GlobalInfo info;
        info.texts = {{"analysis", "words"}};
        attempt([&] { corpus->set_global_info(info); });
        flush();
        return m_end;
    }

    // Returns true if these may be the labels in the file after the caller has closed it.
    bool may_find(const Labels& labels) const {
        return is_allowed(labels, m_allowed) ||
               (m_end != "nothing" && is_allowed(labels, m_flushed));
    }

    // A write has failed, so nothing later may succeed.
    bool is_broken() const { return m_is_broken; }

    std::unique_ptr<zeCacheCorpus> corpus;

private:
    template <class Statement>
    bool attempt(Statement&& statement) {
        const bool was_broken = m_is_broken;
        m_end = end_of(statement);
        m_is_broken = was_broken || m_end == "Write error in file ";
        return m_end == "nothing";
    }

    template <class Replace>
    void change(unsigned int number, const std::string& label, Replace replace) {
        qtPtrLight<zeMsg> msg = labelled(label);
        store(number, label, attempt([&] { (corpus.get()->*replace)(number, msg); }));
    }

    void add(const std::string& label) {
        const auto number = static_cast<unsigned int>(corpus->get_num_msgs());
        const bool is_done = attempt([&] { add_label(*corpus, label); });
        m_allowed[number].insert(kNoMessage);
        store(number, label, is_done);
    }

    // After an error the message may be old or new.
    void store(unsigned int number, const std::string& label, bool is_done) {
        if (is_done) {
            m_allowed[number].clear();
        }
        m_allowed[number].insert(label);
    }

    void walk() {
        attempt([this] { labels_in(*corpus); });
    }

    void flush() {
        const bool was_broken = m_is_broken;
        if (attempt([this] { corpus->flush(); })) {
            m_flushed = m_allowed;
        }
        EXPECT_EQ(was_broken && m_end != "Write error in file ", false) << m_end;
    }

    static bool is_allowed(const Labels& labels, const Allowed& allowed) {
        bool is_each = labels.size() <= allowed.size();
        for (const auto& [number, known] : allowed) {
            is_each =
                is_each && known.contains(number < labels.size() ? labels[number] : kNoMessage);
        }
        return is_each;
    }

    Allowed m_allowed;
    Allowed m_flushed;  // as the last successful flush has left it
    std::string m_end = "nothing";
    bool m_is_broken = false;
};

// A flush that reports success has stored all changes that were reported as successful.
TEST_F(zeCacheCorpusFaultTest, CallerThatGoesOnAfterAFailedCallLosesNothingSilently) {
    using Fault = Fake_disk::Fault;
    int broken = 0;
    int complete = 0;
    for (const bool has_places : {false, true}) {
        disk.has_places = has_places;
        disk.files.clear();
        disk.heal();
        {
            zeCacheCorpus corpus(qtString(kName), 'w', 2);
            for (const std::string& label : kFirst) {
                add_label(corpus, label);
            }
        }
        const std::string before = disk.files[kName];
        disk.fail_at(1U << 30U, Fault::kIoError, false);
        EXPECT_EQ(Stubborn_caller().run(), "nothing");
        const std::vector<Fake_disk::Call> calls = disk.calls;
        for (const Fault fault : {Fault::kIoError, Fault::kNoSpace, Fault::kShort}) {
            for (std::size_t index = 0; index < calls.size(); ++index) {
                if (!Fake_disk::can_happen(fault, calls[index])) {
                    continue;
                }
                SCOPED_TRACE(testing::Message() << "call " << index << ", fault "
                                                << static_cast<int>(fault) << has_places);
                put(before);
                disk.fail_at(index, fault, false);
                const Trace_capture traced(4);
                auto caller = std::make_unique<Stubborn_caller>();
                const std::string end = caller->run();
                caller->corpus = nullptr;
                disk.heal();
                broken += caller->is_broken() ? 1 : 0;
                complete += end == "nothing" ? 1 : 0;
                EXPECT_LE(traced.lines.size(), 1U);
                EXPECT_TRUE(traced.lines.size() == 1 || !caller->is_broken());
                EXPECT_EQ(disk.open_files, 0);
                std::unique_ptr<zeCacheCorpus> reader;
                const std::string refusal = end_of([&reader] {
                    reader = std::make_unique<zeCacheCorpus>(qtString(kName), 'r', 1);
                });
                if (reader == nullptr) {
                    EXPECT_NE(end, "nothing") << refusal;
                    EXPECT_TRUE(refusals().contains(refusal)) << refusal;
                    continue;
                }
                const Labels labels = labels_in(*reader);
                EXPECT_TRUE(caller->may_find(labels)) << testing::PrintToString(labels);
            }
        }
    }
    EXPECT_GT(broken, 20);
    EXPECT_GT(complete, 20);  // a failed read, which a later call repeats
}

class zeCacheCorpusUpgradeFaultTest : public zeCacheCorpusFaultTest {
protected:
    zeCacheCorpusUpgradeFaultTest() {
        disk.has_places = true;
        {
            Raw_corpus raw{qtString(kName)};
            raw.file.SetFileID(kCorpusFileId, 1, 0);
            raw.add("ZQE_INFO", empty_zqe_record());
            for (unsigned int number = 0; number < 4; ++number) {
                raw.add_msg(number, record_of_label(kFirst[number]));
            }
            raw.file.Close();
        }
        old = disk.files[kName];
    }

    static std::string version_of(const std::string& image) {
        return to_hex(std::string_view(image).substr(10, 2));
    }

    std::string old;
};

TEST_F(zeCacheCorpusUpgradeFaultTest, KilledUpgradeLeavesVersion1UntilAllMessagesAreScrambled) {
    std::vector<std::string> images;
    disk.on_write = [&](std::uint64_t, std::string_view) { images.push_back(disk.files[kName]); };
    { zeCacheCorpus(qtString(kName), 'u', 2); }
    disk.on_write = nullptr;

    // The writes after the header's are the index and the state.
    std::size_t at_version_1 = 0;
    for (const std::string& image : images) {
        if (version_of(image) == "00 01") {
            ++at_version_1;
            EXPECT_EQ(image.at(9), 1);
        } else {
            EXPECT_EQ(version_of(image), "00 02");
            put(image);
            EXPECT_THAT(
                end_of([] { zeCacheCorpus(qtString(kName), 'r', 1); }),
                testing::AnyOf("nothing",
                               "Corpus index is not synchronized (Run RebuildIndex Utility)"));
        }
    }
    EXPECT_GE(at_version_1, 5U);  // the mark, GlobalInfo and four messages
    put(images.back());
    zeCacheCorpus reader(qtString(kName), 'r', 1);
    EXPECT_EQ(labels_in(reader), Labels({"m0", "m1", "m2", "m3"}));
}

// The first change of such a file marks the stale copies of items, before any item is written.
TEST_F(zeCacheCorpusUpgradeFaultTest, UpgradeOfAFileWithBothRecordsMarksItFirst) {
    disk.files.clear();
    {
        Raw_corpus raw{qtString(kName)};
        raw.file.SetFileID(kCorpusFileId, 1, 0);
        raw.add_msg(0, record_of_label("stale"));
        raw.file.index.clear();
        raw.add("ZQE_INFO", empty_zqe_record());
        raw.add("GLOBAL_INFO", empty_global_record());
        raw.add_msg(0, record_of_label("m0"));
        raw.file.Close();
    }
    std::vector<std::pair<std::uint64_t, std::string>> writes;
    disk.on_write = [&writes](std::uint64_t position, std::string_view bytes) {
        writes.emplace_back(position, bytes);
    };
    { zeCacheCorpus(qtString(kName), 'u', 2); }
    disk.on_write = nullptr;

    ASSERT_GE(writes.size(), 3U);
    EXPECT_EQ(writes[0], std::make_pair(std::uint64_t{9}, std::string("\1")));
    // The stale copy is behind the header of 20 bytes and the index block of 256.
    EXPECT_EQ(writes[1].first, 276U);
    EXPECT_EQ(reopened([](const Labels& labels) { return labels == Labels{"m0"}; }), "sound");
}

// Mode 'w' writes version 2 first, so only the state shows that the upgrade is not complete.
TEST_F(zeCacheCorpusUpgradeFaultTest, KilledUpgradeInModeWLeavesAMarkedFile) {
    std::vector<std::string> images;
    disk.on_write = [&](std::uint64_t, std::string_view) { images.push_back(disk.files[kName]); };
    { zeCacheCorpus(qtString(kName), 'w', 2); }
    disk.on_write = nullptr;

    ASSERT_GT(images.size(), 5U);
    for (std::size_t i = 0; i + 1 < images.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(images[i].at(9), 1);
    }
    put(images.back());
    zeCacheCorpus reader(qtString(kName), 'r', 1);
    EXPECT_EQ(labels_in(reader), Labels({"m0", "m1", "m2", "m3"}));
}

TEST_F(zeCacheCorpusUpgradeFaultTest, FailedUpgradeIsReportedAndDoesNotLookComplete) {
    disk.fail_at(1U << 30U, Fake_disk::Fault::kIoError, false);
    { zeCacheCorpus(qtString(kName), 'u', 2); }
    const std::vector<Fake_disk::Call> calls = disk.calls;
    std::map<std::string, int> raised;
    for (std::size_t index = 0; index < calls.size(); ++index) {
        for (const bool for_ever : {false, true}) {
            SCOPED_TRACE(testing::Message() << index << for_ever);
            put(old);
            disk.fail_at(index, Fake_disk::Fault::kIoError, for_ever);
            const std::string end = end_of([] { zeCacheCorpus(qtString(kName), 'u', 2); });
            disk.heal();
            ++raised[end];
            EXPECT_EQ(disk.open_files, 0);
            const std::string& left = disk.files[kName];
            if (end != "nothing" && end != "Close error in file ") {
                EXPECT_EQ(version_of(left), "00 01");
                EXPECT_TRUE(left.at(9) == 1 || left == old);
            }
        }
    }
    EXPECT_GT(raised["object"], 0);  // a failed read gives no message
    EXPECT_GT(raised["Write error in file "], 0);
}

}  // namespace
