// A process that is killed while it changes a cached container: after each write, the file is
// opened again and compared with the model of Kc_cycles.
#include "zandrel/persistence/zeIO.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"

#include "tests/support/kc_cycles.h"

namespace {

constexpr const char* kKilled = "fake/killed";
constexpr std::size_t kStateOfRecordFile = 9;  // where the header has its state

// The file as a new process finds it: the plain form of the container, or that the file is not
// synchronised.
struct Found_after_kill {
    bool is_refused = false;
    std::string plain;
};

Found_after_kill found_in(Fake_disk& disk, const std::string& image) {
    disk.files[kKilled] = image;
    zeManager kc;
    try {
        KcIoMode mode;
        mode.cache_size = 2;
        kc.Read(kKilled, &mode, nullptr);
    } catch (const qtX<zeIO>& raised) {
        EXPECT_EQ(raised.number(), 8) << raised.what();
        EXPECT_STREQ(raised.what(), "KB index is not synchronized (Run RebuildIndex Utility)");
        EXPECT_TRUE(same_bytes(disk.files.at(kKilled), image));
        return {true, ""};
    }
    const std::string plain = plain_copy(disk, kc);
    EXPECT_TRUE(same_bytes(disk.files.at(kKilled), image)) << "a reader writes nothing";
    return {false, plain};
}

// A process may also be killed within a write. The first and the last write of a cycle have one
// byte, so it is enough that no byte of the others clears the state.
void expect_marked_between(std::string image, const std::vector<Disk_write>& writes) {
    EXPECT_EQ(writes.front().position, kStateOfRecordFile);
    EXPECT_EQ(writes.front().bytes, std::string("\1", 1));
    EXPECT_EQ(writes.back().position, kStateOfRecordFile);
    EXPECT_EQ(writes.back().bytes, std::string("\0", 1));
    for (std::size_t i = 0; i + 1 < writes.size(); ++i) {
        for (std::size_t at = 0; at < writes[i].bytes.size(); ++at) {
            put(image, {writes[i].position + at, writes[i].bytes.substr(at, 1)});
            ASSERT_EQ(image.at(kStateOfRecordFile) & 1, 1) << i << ' ' << at;
        }
    }
}

// The first write of a cycle sets the state, and the last one clears it. So the file is refused
// after every write but the last. Returns the number of files that were looked at.
std::size_t look_at_each_kill(Kc_cycles& cycles, const std::vector<Kc_change>& changes) {
    const Kc_cycle cycle = cycles.Do(changes);
    std::string image = cycle.file;
    EXPECT_TRUE(same_bytes(found_in(cycles.disk, image).plain, cycle.before));
    for (std::size_t done = 1; done <= cycle.writes.size(); ++done) {
        SCOPED_TRACE(testing::Message() << "write " << done << " of " << cycle.writes.size());
        put(image, cycle.writes[done - 1]);
        const Found_after_kill found = found_in(cycles.disk, image);
        EXPECT_EQ(found.is_refused, done < cycle.writes.size());
        if (!found.is_refused) {
            EXPECT_TRUE(same_bytes(found.plain, cycle.after));
        }
    }
    EXPECT_TRUE(same_bytes(image, cycles.file()));
    if (!cycle.writes.empty()) {
        expect_marked_between(cycle.file, cycle.writes);
    }
    return cycle.writes.size() + 1;
}

TEST(zeIOKillTest, FileKilledWhileLearningIsAsBeforeOrRefusedOrAsAfter) {
    std::size_t images = 0;
    for (const unsigned int bound : {1U, 2U, 20U}) {
        SCOPED_TRACE(bound);
        Kc_cycles cycles(bound);
        images += look_at_each_kill(
            cycles, {learning("puck", "sport", "home"), learning("flight", "travel", "world")});
    }
    EXPECT_GT(images, 30U);
}

TEST(zeIOKillTest, FileKilledWhileEditedIsAsBeforeOrRefusedOrAsAfter) {
    Kc_cycles cycles(2);
    std::size_t images = 0;
    images += look_at_each_kill(
        cycles, {changing_rule("$abroad(?)"), adding(News_desk::kHome, "weather", ZE_LEAF)});
    images += look_at_each_kill(cycles, {adding(News_desk::kDesk, "region", ZE_STAT)});
    images += look_at_each_kill(cycles, {moving(News_desk::kSport, News_desk::kWorld)});
    images += look_at_each_kill(cycles, {deleting(News_desk::kMoney)});
    EXPECT_GT(images, 30U);
}

// The imported container has the same names, and the target a rule node and a statistical one.
TEST(zeIOKillTest, FileKilledWhileImportingIsAsBeforeOrRefusedOrAsAfter) {
    std::size_t images = 0;
    for (const unsigned int place : {News_desk::kPress, News_desk::kSport}) {
        Kc_cycles cycles(2);
        images +=
            look_at_each_kill(cycles, {[place](zeManager& kc) {
                                  Trained_desk source;
                                  kc.m_logical_tree->ImportTree(&source.manager, place, nullptr);
                              }});
    }
    EXPECT_GT(images, 30U);
}

// The seal is deleted before the first change.
TEST(zeIOKillTest, SealedFileKilledWhileLearningIsAsBeforeOrRefusedOrAsAfter) {
    Kc_cycles cycles(2, true);
    const std::size_t images = look_at_each_kill(cycles, {learning("puck", "sport", "home")});
    EXPECT_GT(images, 5U);
}

TEST(zeIOKillTest, FileThatIsOnlyReadIsNotWritten) {
    Kc_cycles cycles(2);

    EXPECT_TRUE(cycles.Do({classifying()}).writes.empty());
}

TEST(zeIOKillTest, RandomCyclesLeaveTheLastFlushOrARefusedFile) {
    std::mt19937 random(20);
    Kc_cycles cycles(2);
    int added = 0;
    std::size_t images = 0;
    for (int done = 0; done < 20; ++done) {
        SCOPED_TRACE(done);
        images += look_at_each_kill(cycles, random_changes(random, added));
    }
    EXPECT_GT(images, 120U);
}

// A new file is not a container before its last write.
TEST(zeIOKillTest, FileKilledWhileItIsMadeIsRefused) {
    Fake_disk disk;
    Trained_desk trained;
    std::vector<Disk_write> writes;
    disk.on_write = [&writes](std::uint64_t position, std::string_view bytes) {
        writes.push_back({position, std::string(bytes)});
    };
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    trained.manager.Write(kKilled, &mode, nullptr);
    disk.on_write = nullptr;
    std::string made;
    for (const Disk_write& write : writes) {
        SCOPED_TRACE(made.size());
        disk.files[kKilled] = made;
        zeManager reader;

        EXPECT_THROW(reader.Read(kKilled, nullptr, nullptr), qtxAll);

        EXPECT_TRUE(is_empty(reader));
        EXPECT_TRUE(same_bytes(disk.files.at(kKilled), made));
        put(made, write);
    }
    EXPECT_TRUE(same_bytes(found_in(disk, made).plain, saved(trained.manager)));
    EXPECT_GT(writes.size(), 10U);
}

}  // namespace
