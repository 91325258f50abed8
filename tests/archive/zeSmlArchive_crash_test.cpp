// A process that ends at any write, and a disk that fails at any call. A later open either sees the
// state of a finished flush, or refuses the file.
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/kc_errors.h"
#include "tests/support/small_archive.h"
#include "tests/support/trace_capture.h"

namespace {

constexpr const char* kArchive = "fake/archive";
constexpr const char* kLeft = "fake/left";  // the file that a crash leaves

// Changes an archive in cycles and remembers the summaries that were flushed with the index. The
// first one is the summary of the new archive.
class Archive_cycles {
public:
    explicit Archive_cycles(bool use_32_bit) : m_use_32_bit(use_32_bit) {}

    Archive_cycles(const Archive_cycles&) = delete;
    Archive_cycles& operator=(const Archive_cycles&) = delete;

    void run() {
        open(true);
        flushed.push_back(dumped(archive.m_manager));
        archive.SetCatReservedSize(1);
        for (unsigned int cycle = 0; cycle < 3; ++cycle) {
            add(archive, {"red", "blue"});
            add(archive, {"red"});
            archive.FlushArchive(false);
            // A long record needs another block, and so does the summary with more messages.
            qtPtrLight<zeMsg> msg = labelled({"blue"});
            msg->add_value("text", mlMessageConverter::kString, qtString(std::string(300, 'x')));
            archive.AddSml(msg, "long");
            flush();
            archive.DelSml(3 * cycle);
            flush();
            archive.RenameCategory(term("red"), term("pink" + std::to_string(cycle)));
            close();
            open(false);
        }
        close();
    }

    std::vector<std::string> flushed;
    zeSmlArchive archive;

private:
    void open(bool create) { archive.OpenArchive(kArchive, create, m_use_32_bit); }

    void flush() {
        archive.FlushArchive(true);
        flushed.push_back(dumped(archive.m_manager));
    }

    void close() {
        archive.CloseArchive();
        flushed.push_back(dumped(archive.m_manager));
    }

    bool m_use_32_bit;
};

struct Written {
    std::size_t flushed_before;  // how many summaries were flushed before the write
    std::uint64_t position;
    std::string bytes;
};

void put(std::string& image, std::uint64_t position, std::string_view bytes) {
    if (image.size() < position + bytes.size()) {
        image.resize(position + bytes.size());
    }
    image.replace(position, bytes.size(), bytes);
}

struct Outcomes {
    int before = 0;      // the state of the last flush before the write
    int after = 0;       // the state of the next one
    int refused = 0;     // by the archive, because of the mark
    int unreadable = 0;  // by the record file: the index itself was being written
    int unfinished = 0;  // no archive yet
};

// Sorts the error of an open. A file that was an archive before is refused only with the mark.
void count_error(const std::exception& raised, bool is_marked, bool was_archive,
                 Outcomes& outcomes) {
    if (!was_archive) {
        ++outcomes.unfinished;
        return;
    }
    EXPECT_TRUE(is_marked) << raised.what();
    if (is_qtx<zeSmlArchive>(raised, {10})) {
        ++outcomes.refused;
    } else {
        EXPECT_TRUE(is_qtx<AbstractHreclaim>(raised, {AbstractHreclaim::kUnreadableIndex}) ||
                    is_qtx<HioErr>(raised, {HioErr::kBadOffset, HioErr::kReadFailed}))
            << raised.what();
        ++outcomes.unreadable;
    }
}

// Checks messages and categories. External ids may be used twice here, since the cycles repeat one.
void expect_readable(zeSmlArchive& archive) {
    const SmlArchiveManager& summary = archive.m_manager;
    std::map<std::string, unsigned int> counts;
    for (const unsigned int number : numbers(archive)) {
        for (const std::string& label : labels_of(archive, number)) {
            ++counts[label];
        }
    }
    EXPECT_EQ(counts.size(), summary.category_info.size());
    for (const auto& [name, data] : summary.category_info) {
        EXPECT_EQ(data.category_counter, counts[std::string(name.view())]);
    }
    EXPECT_EQ(archive.archive_file->GetIndexSize(), summary.sml_dates.size() + 1);
}

// Opens an image as a new process would.
void look_at(Fake_disk& disk, const std::string& image, const std::vector<std::string>& flushed,
             std::size_t flushed_before, bool use_32_bit, Outcomes& outcomes) {
    disk.files[kLeft] = image;
    zeSmlArchive archive;
    try {
        archive.OpenArchive(kLeft, false, use_32_bit);
    } catch (const qtxAll& raised) {
        count_error(raised, image.size() > 9 && (image[9] & 1) != 0, flushed_before > 0, outcomes);
        EXPECT_TRUE(numbers(archive).empty());
        archive.CloseArchive();
        EXPECT_EQ(disk.files[kLeft], image);
        return;
    }
    const std::string summary = dumped(archive.m_manager);
    if (flushed_before > 0 && summary == flushed.at(flushed_before - 1)) {
        ++outcomes.before;
    } else {
        ASSERT_LT(flushed_before, flushed.size());
        EXPECT_EQ(to_hex(summary), to_hex(flushed.at(flushed_before)));
        ++outcomes.after;
    }
    expect_readable(archive);
}

class zeSmlArchiveCrashTest : public testing::TestWithParam<bool> {
protected:
    zeSmlArchiveCrashTest() { disk.has_places = true; }

    Ticking_clock clock;
    Fake_disk disk;
};

// Of each write, nothing, its first half or all bytes reach the file.
TEST_P(zeSmlArchiveCrashTest, FileOfAKilledProcessHasAFlushedStateOrIsRefused) {
    std::vector<Written> writes;
    std::vector<std::string> flushed;
    {
        Archive_cycles cycles(GetParam());
        disk.on_write = [&](std::uint64_t position, std::string_view bytes) {
            writes.push_back({cycles.flushed.size(), position, std::string(bytes)});
        };
        cycles.run();
        disk.on_write = nullptr;
        flushed = cycles.flushed;
    }

    Outcomes outcomes;
    std::string image;
    for (const Written& write : writes) {
        SCOPED_TRACE(testing::Message() << write.bytes.size() << " bytes at " << write.position
                                        << " after " << write.flushed_before << " flushes");
        std::string half = image;
        put(half, write.position, write.bytes.substr(0, write.bytes.size() / 2));
        look_at(disk, half, flushed, write.flushed_before, GetParam(), outcomes);
        put(image, write.position, write.bytes);
        look_at(disk, image, flushed, write.flushed_before, GetParam(), outcomes);
    }

    EXPECT_EQ(image, disk.files.at(kArchive));
    EXPECT_GT(outcomes.before, 5);
    EXPECT_GT(outcomes.after, 5);
    EXPECT_GT(outcomes.refused, 100);
    EXPECT_GT(outcomes.unfinished, 0);
}

// The process is killed in the first change after a flush, which moves records of old messages.
TEST_P(zeSmlArchiveCrashTest, KillInARenumberOrRenameAfterAFlushLeavesAFlushedStateOrARefusedFile) {
    const auto renumber = [](zeSmlArchive& archive) { archive.Renumber(); };
    const auto rename = [](zeSmlArchive& archive) {
        archive.RenameCategory(term("red"), term("a much longer name of the category"));
    };
    for (void (*const change)(zeSmlArchive&) : {+renumber, +rename}) {
        disk.files.erase(kArchive);
        std::vector<std::string> flushed;
        std::vector<Written> writes;
        std::string image;
        {
            zeSmlArchive archive;
            archive.OpenArchive(kArchive, true, GetParam());
            add(archive, {"red", "blue"}, "a");
            archive.m_manager.next_sml_id = 0xFFFFFFF;
            add(archive, {"red"}, "b");
            add(archive, {"blue"}, "c");
            archive.FlushArchive(true);
            flushed.push_back(dumped(archive.m_manager));
            image = disk.files.at(kArchive);
            disk.on_write = [&](std::uint64_t position, std::string_view bytes) {
                writes.push_back({1, position, std::string(bytes)});
            };
            change(archive);
            archive.FlushArchive(true);
            disk.on_write = nullptr;
            flushed.push_back(dumped(archive.m_manager));
        }
        ASSERT_NE(flushed[0], flushed[1]);

        Outcomes outcomes;
        for (const Written& write : writes) {
            SCOPED_TRACE(testing::Message()
                         << write.bytes.size() << " bytes at " << write.position);
            std::string half = image;
            put(half, write.position, write.bytes.substr(0, write.bytes.size() / 2));
            look_at(disk, half, flushed, 1, GetParam(), outcomes);
            put(image, write.position, write.bytes);
            look_at(disk, image, flushed, 1, GetParam(), outcomes);
        }

        EXPECT_EQ(image, disk.files.at(kArchive));
        EXPECT_GE(outcomes.after, 1);
        EXPECT_GE(outcomes.refused, 5);
    }
}

// The disk is full, or fails, from some call on. Each operation raises at most an error, and the
// archive can be destroyed.
TEST_P(zeSmlArchiveCrashTest, DiskThatFailsFromSomeCallOnLeavesAFlushedStateOrARefusedFile) {
    disk.fail_at(0, Fake_disk::Fault::kIoError, false);
    disk.heal();
    {
        Archive_cycles cycles(GetParam());
        cycles.run();
    }
    const std::size_t call_count = disk.calls.size();
    ASSERT_GT(call_count, 100U);
    Outcomes outcomes;
    for (const Fake_disk::Fault fault :
         {Fake_disk::Fault::kIoError, Fake_disk::Fault::kNoSpace, Fake_disk::Fault::kShort}) {
        for (std::size_t call = 0; call < call_count; ++call) {
            SCOPED_TRACE(testing::Message() << "call " << call);
            disk.files.erase(kArchive);
            std::vector<std::string> flushed;
            disk.fail_at(call, fault, true);
            {
                Archive_cycles cycles(GetParam());
                try {
                    cycles.run();
                } catch (const qtxAll&) {
                    // The next flush could have written this.
                    cycles.flushed.push_back(dumped(cycles.archive.m_manager));
                }
                flushed = cycles.flushed;
            }
            disk.heal();
            const auto left = disk.files.find(kArchive);
            if (left != disk.files.end()) {
                const std::string image = left->second;
                look_at(disk, image, flushed, flushed.size() - 1, GetParam(), outcomes);
            }
        }
    }

    EXPECT_GT(outcomes.refused, 20);
    EXPECT_EQ(disk.open_files, 0);
}

// A record file whose close raises an exception of no known type.
class Record_file_that_fails : public Hreclaim<Hfile64> {
public:
    void Close() override { throw 5; }
};

TEST_P(zeSmlArchiveCrashTest, DestructorTracesAnExceptionOfAnUnknownType) {
    const Trace_capture trace(zandrel::kTraceWarning);
    {
        zeSmlArchive archive;
        archive.OpenArchive(kArchive, true, GetParam());
        archive.archive_file = std::make_unique<Record_file_that_fails>();
        archive.archive_file->Open(kLeft, true, false);
    }

    EXPECT_TRUE(trace.has(4, "Changes of file fake/left were not written: unknown exception"));
    EXPECT_EQ(disk.open_files, 0);
}

TEST_P(zeSmlArchiveCrashTest, DestructorTracesAnErrorOfTheClose) {
    const Trace_capture trace(zandrel::kTraceWarning);
    {
        zeSmlArchive archive;
        archive.OpenArchive(kArchive, true, GetParam());
        add(archive, {"red"});
        disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);
    }
    disk.heal();

    EXPECT_TRUE(trace.has(
        4, "Changes of file fake/archive were not written: Write error in file fake/archive"));
    EXPECT_EQ(trace.lines.size(), 1U);
    zeSmlArchive archive;
    EXPECT_QTX(archive.OpenArchive(kArchive, false, GetParam()), zeSmlArchive, 10,
               "Archive index is not synchronized (Run RebuildIndex Utility)");
}

// The record file raises once. Later writes are ignored, and the file remains marked.
TEST_P(zeSmlArchiveCrashTest, MessageThatCannotBeWrittenIsInTheSummaryAndTheFlagDoesNotChange) {
    zeSmlArchive archive;
    archive.OpenArchive(kArchive, true, GetParam());
    disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);

    EXPECT_THROW(add(archive, {"red"}, "a"), qtxAll);

    disk.heal();
    EXPECT_EQ(numbers(archive), std::vector<unsigned int>{0});
    EXPECT_EQ(external_ids(archive).at("a"), 0U);
    EXPECT_EQ(category(archive, "red").category_counter, 1U);
    EXPECT_FALSE(archive.m_manager.modified);
}

// The first change fails after the file was marked.
TEST_P(zeSmlArchiveCrashTest, FirstChangeThatFailsLeavesTheFileMarked) {
    {
        zeSmlArchive archive;
        archive.OpenArchive(kArchive, true, GetParam());
        disk.fail_at(1, Fake_disk::Fault::kNoSpace, true);  // the first call marks the file
        EXPECT_THROW(add(archive, {"red"}, "a"), qtxAll);
        disk.heal();
        EXPECT_EQ(disk.files.at(kArchive).at(9), 1);
    }
    EXPECT_EQ(disk.files.at(kArchive).at(9), 1);
}

TEST_P(zeSmlArchiveCrashTest, CloseThatFailedCanBeRepeated) {
    zeSmlArchive archive;
    archive.OpenArchive(kArchive, true, GetParam());
    add(archive, {"red"});
    disk.fail_at(0, Fake_disk::Fault::kNoSpace, true);
    EXPECT_THROW(archive.CloseArchive(), qtxAll);
    EXPECT_NE(archive.archive_file, nullptr);
    disk.heal();

    archive.CloseArchive();
    archive.CloseArchive();

    EXPECT_EQ(archive.archive_file, nullptr);
    EXPECT_EQ(disk.open_files, 0);
    EXPECT_EQ(disk.files.at(kArchive).at(9), 1);
}

INSTANTIATE_TEST_SUITE_P(Widths, zeSmlArchiveCrashTest, testing::Bool());

}  // namespace
