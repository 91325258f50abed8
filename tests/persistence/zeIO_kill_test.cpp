// A process that is killed while it changes a cached container. The model is a second manager that
// keeps everything in memory and gets the same changes. A file is compared with the model by
// copying the container to the plain form: two containers are equal if their plain files are.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"

#include "tests/support/fake_disk.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/trained_tree.h"

namespace {

constexpr const char* kKilled = "fake/killed";
constexpr std::size_t kStateOfRecordFile = 9;  // where the header has its state

struct Disk_write {
    std::uint64_t position;
    std::string bytes;
};

void put(std::string& image, const Disk_write& write) {
    const std::size_t end = write.position + write.bytes.size();
    image.resize(std::max(image.size(), end));
    image.replace(write.position, write.bytes.size(), write.bytes);
}

// What a new process finds in a file: the plain form of the container, or that the file is not
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
        EXPECT_EQ(std::string(raised.what()),
                  "KB index is not synchronized (Run RebuildIndex Utility)");
        EXPECT_TRUE(same_bytes(disk.files.at(kKilled), image));
        return {true, ""};
    }
    KcIoMode mode;
    mode.io_mode = KcIoMode::DIRECT_IO;
    kc.Write("fake/plain", &mode, nullptr);
    EXPECT_TRUE(same_bytes(disk.files.at(kKilled), image)) << "a reader writes nothing";
    return {false, disk.files.at("fake/plain")};
}

// One change of a container, which is made in the cached one and in the model.
using Kc_change = std::function<void(zeManager&)>;

Kc_change learning(const char* word, const char* label, const char* mark) {
    return [word, label, mark](zeManager& kc) { News_desk(kc).LearnWord(word, label, mark); };
}

Kc_change rule(const char* text) {
    return [text](zeManager& kc) {
        zeLogicalNode node = kc.m_logical_tree->GetNode(News_desk::kWorld);
        node.rule = text;
        kc.m_logical_tree->ChangeLogicalNode(node);
    };
}

Kc_change adding(unsigned int parent, const char* category, unsigned char type) {
    return [parent, category, type](zeManager& kc) { News_desk(kc).Add(parent, category, type); };
}

Kc_change classifying() {
    return [](zeManager& kc) { News_desk(kc).Answers(); };
}

class zeIOKillTest : public testing::Test {
protected:
    // Writes the trained container in cached form and opens it.
    void Open(unsigned int bound) {
        Trained_desk trained;
        read_kc(model, saved(trained.manager));
        KcIoMode mode;
        mode.io_mode = KcIoMode::CACHED_IO;
        model.Write(kKilled, &mode, nullptr);
        KcIoMode opened;
        opened.cache_size = bound;
        opened.read_only = false;
        kc.Read(kKilled, &opened, nullptr);
        image = disk.files.at(kKilled);
        last_flushed = saved(model);
        disk.on_write = [this](std::uint64_t position, std::string_view bytes) {
            writes.push_back({position, std::string(bytes)});
        };
    }

    // Makes the changes, flushes, and looks at the file after each write.
    void Cycle(const std::vector<Kc_change>& changes) {
        for (const Kc_change& change : changes) {
            change(kc);
            change(model);
        }
        kc.Write(kKilled, nullptr, nullptr);
        const std::vector<Disk_write> cycle = std::move(writes);
        writes.clear();
        disk.on_write = nullptr;
        const std::string flushed = disk.files.at(kKilled);
        const std::string changed = saved(model);
        LookAtEachWrite(cycle, changed);
        EXPECT_TRUE(same_bytes(image, flushed));
        disk.files[kKilled] = flushed;
        last_flushed = changed;
        disk.on_write = [this](std::uint64_t position, std::string_view bytes) {
            writes.push_back({position, std::string(bytes)});
        };
    }

    // The first write of a change sets the state, and the last one of the flush clears it. So a
    // file is refused after every write but the last.
    void LookAtEachWrite(const std::vector<Disk_write>& cycle, const std::string& changed) {
        const std::string start = image;
        EXPECT_EQ(found_in(disk, image).plain, last_flushed);
        for (std::size_t done = 1; done <= cycle.size(); ++done) {
            SCOPED_TRACE(testing::Message() << "write " << done << " of " << cycle.size());
            put(image, cycle[done - 1]);
            const Found_after_kill found = found_in(disk, image);
            EXPECT_EQ(found.is_refused, done < cycle.size());
            if (!found.is_refused) {
                EXPECT_TRUE(same_bytes(found.plain, changed));
            }
        }
        ExpectMarkedBetween(start, cycle);
        image_count += cycle.size() + 1;
    }

    // A process may also be killed within a write. The first and the last write have one byte, so
    // it is enough that no byte of the others clears the state.
    static void ExpectMarkedBetween(const std::string& start,
                                    const std::vector<Disk_write>& cycle) {
        if (cycle.empty()) {
            return;
        }
        EXPECT_EQ(cycle.front().position, kStateOfRecordFile);
        EXPECT_EQ(cycle.front().bytes, std::string("\1", 1));
        EXPECT_EQ(cycle.back().position, kStateOfRecordFile);
        EXPECT_EQ(cycle.back().bytes, std::string("\0", 1));
        std::string torn = start;
        for (std::size_t i = 0; i + 1 < cycle.size(); ++i) {
            for (std::size_t at = 0; at < cycle[i].bytes.size(); ++at) {
                put(torn, {cycle[i].position + at, cycle[i].bytes.substr(at, 1)});
                ASSERT_EQ(torn.at(kStateOfRecordFile) & 1, 1) << i << ' ' << at;
            }
        }
    }

    Stopped_clock clock;
    Fake_disk disk;
    zeManager model;
    zeManager kc;
    std::vector<Disk_write> writes;
    std::string image;         // of the file, up to the last write that was looked at
    std::string last_flushed;  // the model's plain file at the last flush
    std::size_t image_count = 0;
};

TEST_F(zeIOKillTest, FileKilledWhileLearningIsAsBeforeOrRefusedOrAsAfter) {
    for (const unsigned int bound : {1U, 2U, 20U}) {
        SCOPED_TRACE(bound);
        Open(bound);
        Cycle({learning("puck", "sport", "home"), learning("flight", "travel", "world")});
        disk.on_write = nullptr;
    }
    EXPECT_GT(image_count, 30U);
}

TEST_F(zeIOKillTest, FileKilledWhileEditedIsAsBeforeOrRefusedOrAsAfter) {
    Open(2);
    Cycle({rule("$abroad(?)"), adding(News_desk::kHome, "weather", ZE_LEAF)});
    Cycle({adding(News_desk::kDesk, "region", ZE_STAT)});
    Cycle({[](zeManager& changed) {
        changed.m_logical_tree->MoveLogicalNode(News_desk::kSport, News_desk::kWorld);
    }});
    Cycle({[](zeManager& changed) {
        changed.m_logical_tree->DelLogicalNode(News_desk::kMoney, true);
    }});
    EXPECT_GT(image_count, 30U);
}

TEST_F(zeIOKillTest, FileThatIsOnlyReadIsNotWritten) {
    Open(2);

    Cycle({classifying()});

    EXPECT_EQ(image_count, 1U) << "only the image before the first write";
}

TEST_F(zeIOKillTest, RandomCyclesLeaveTheLastFlushOrARefusedFile) {
    std::mt19937 random(20);
    const auto any = [&random](std::size_t count) { return random() % count; };
    const std::vector<std::vector<const char*>> lessons = {{"puck", "sport", "home"},
                                                           {"coin", "money", "home"},
                                                           {"flight", "travel", "world"},
                                                           {"rice", "food", "world"}};
    Open(2);
    int added = 0;
    for (int cycle = 0; cycle < 20; ++cycle) {
        SCOPED_TRACE(cycle);
        std::vector<Kc_change> changes;
        for (std::size_t left = 1 + any(4); left > 0; --left) {
            const std::vector<const char*>& lesson = lessons[any(lessons.size())];
            switch (any(4)) {
                case 0:
                    changes.push_back(rule(any(2) == 0 ? "$abroad(?)" : "$world(?)"));
                    break;
                case 1: {
                    const std::string name = "added " + std::to_string(added++);
                    changes.emplace_back([name](zeManager& changed) {
                        News_desk(changed).Add(News_desk::kHome, name, ZE_LEAF);
                    });
                    break;
                }
                case 2:
                    changes.push_back(classifying());
                    break;
                default:
                    changes.push_back(learning(lesson[0], lesson[1], lesson[2]));
                    break;
            }
        }
        Cycle(changes);
    }
    EXPECT_GT(image_count, 120U);
}

// A new file is not a container before its last write.
TEST_F(zeIOKillTest, FileKilledWhileItIsMadeIsRefused) {
    Trained_desk trained;
    std::vector<Disk_write> making;
    disk.on_write = [&making](std::uint64_t position, std::string_view bytes) {
        making.push_back({position, std::string(bytes)});
    };
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    trained.manager.Write(kKilled, &mode, nullptr);
    disk.on_write = nullptr;
    std::string made;
    for (std::size_t done = 0; done < making.size(); ++done) {
        SCOPED_TRACE(done);
        disk.files[kKilled] = made;
        zeManager reader;

        EXPECT_THROW(reader.Read(kKilled, nullptr, nullptr), qtxAll);

        EXPECT_TRUE(is_empty(reader));
        EXPECT_TRUE(same_bytes(disk.files.at(kKilled), made));
        put(made, making[done]);
    }
    EXPECT_EQ(found_in(disk, made).plain, saved(trained.manager));
    EXPECT_GT(making.size(), 10U);
}

}  // namespace
