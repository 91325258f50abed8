// A cached container whose process was killed, after rebuild-index. The model of the record file
// says which items the file had at that moment; the model of Kc_cycles says what the container was
// before and after the change.
#include "cli/records/Rebuilt_index.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/CachePack.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/kc_cycles.h"
#include "tests/support/record_bytes.h"

namespace cli {

namespace {

using Items = std::map<std::string, std::string>;

constexpr const char* kRebuilt = "fake/rebuilt";

std::uint32_t number_at(std::string_view bytes, std::size_t position) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8U | static_cast<unsigned char>(bytes.at(position + i));
    }
    return number;
}

Items items_of(CachePack& pack) {
    Items items;
    std::vector<qtString> keys;
    pack.GetIndex(keys);
    for (const qtString& key : keys) {
        SegBuf record;
        pack.GetItem(key, record);
        items[key.str()] = bytes_of(record);
    }
    return items;
}

Items items_of(Fake_disk& disk, const std::string& file) {
    disk.files[kRebuilt] = file;
    CachePack pack;
    pack.Open(kRebuilt, false, true);
    return items_of(pack);
}

// The items that a process has written. A write of an item is a whole item, and a freed block gets
// the tag of a hole.
class Written_items {
public:
    // BORROWS: nothing.  `file`: clean.
    Written_items(Fake_disk& disk, const std::string& file) {
        disk.files[kRebuilt] = file;
        CachePack pack;
        pack.Open(kRebuilt, false, true);
        m_items = items_of(pack);
        for (const auto& [key, offset] : pack.index) {
            m_keys[static_cast<std::uint64_t>(offset)] = key.str();
        }
    }

    void add(const Disk_write& write) {
        constexpr std::uint32_t kItem = 0x4A5B6C73;
        constexpr std::uint32_t kHole = 0xDEADDEAD;
        if (write.bytes.size() < 8) {
            return;  // the state, or the offset of the index
        }
        const std::uint32_t tag = number_at(write.bytes, 0);
        if (tag == kItem || tag == kHole) {
            remove(write.position);
        }
        if (tag == kItem) {
            const std::size_t key_length = number_at(write.bytes, 4);
            const std::size_t length = number_at(write.bytes, 8 + key_length);
            ASSERT_GE(write.bytes.size(), 12 + key_length + length) << "not written as a whole";
            const std::string key = write.bytes.substr(8, key_length);
            m_keys[write.position] = key;
            m_items[key] = write.bytes.substr(12 + key_length, length);
        }
    }

    const Items& items() const { return m_items; }

private:
    void remove(std::uint64_t position) {
        const auto found = m_keys.find(position);
        if (found != m_keys.end()) {
            m_items.erase(found->second);
            m_keys.erase(found);
        }
    }

    Items m_items;
    std::map<std::uint64_t, std::string> m_keys;  // by the position of the item
};

struct Kill_tally {
    std::size_t images = 0;
    std::size_t exact = 0;    // the container is that of before or after
    std::size_t mixed = 0;    // it has parts of both, and can be used
    std::size_t refused = 0;  // parts of both do not fit together, or an item is missing
};

class RebuiltIndexKillTest : public testing::Test {
protected:
    // Rebuilds the index of a file and returns the new file.
    std::string Rebuild(const std::string& image) {
        const Scratch_folder folder;
        const std::string path = folder.write("killed.kc", image);
        m_result = rebuild_index(path, {});
        EXPECT_TRUE(m_result.old_file.empty() || folder.content("killed.kc.bad") == image);
        return folder.content("killed.kc");
    }

    void LookAtEachKill(Kc_cycles& cycles, const std::vector<Kc_change>& changes) {
        const Kc_cycle cycle = cycles.Do(changes);
        const Items before = items_of(cycles.disk, cycle.file);
        const Items after = items_of(cycles.disk, cycles.file());
        Written_items expected(cycles.disk, cycle.file);
        std::string image = cycle.file;
        for (std::size_t done = 1; done < cycle.writes.size(); ++done) {
            SCOPED_TRACE(testing::Message() << "write " << done << " of " << cycle.writes.size());
            put(image, cycle.writes[done - 1]);
            expected.add(cycle.writes[done - 1]);
            const std::string rebuilt = Rebuild(image);
            EXPECT_TRUE(items_of(cycles.disk, rebuilt) == expected.items());
            // The first write only marks the file.
            EXPECT_TRUE(done > 1 || rebuilt == cycle.file);
            Use(cycles.disk, rebuilt, cycle, expected.items() == before, expected.items() == after);
        }
    }

    // A rebuilt container with all items of one moment is the container of that moment.
    void Use(Fake_disk& disk, const std::string& rebuilt, const Kc_cycle& cycle, bool is_before,
             bool is_after) {
        ++m_tally.images;
        disk.files[kRebuilt] = rebuilt;
        zeManager kc;
        try {
            kc.Read(kRebuilt, nullptr, nullptr);
            const std::string plain = plain_copy(disk, kc);
            EXPECT_TRUE(!is_before || plain == cycle.before);
            EXPECT_TRUE(!is_after || plain == cycle.after);
            ++(is_before || is_after ? m_tally.exact : m_tally.mixed);
        } catch (const qtxAll& raised) {
            EXPECT_FALSE(is_before || is_after) << raised.what();
            ++m_tally.refused;
        }
        EXPECT_TRUE(same_bytes(disk.files.at(kRebuilt), rebuilt));
    }

    Rebuilt_index m_result;
    Kill_tally m_tally;
};

TEST_F(RebuiltIndexKillTest, KilledChangeKeepsEachItemThatWasWritten) {
    Kc_cycles cycles(1);
    LookAtEachKill(cycles, {learning("puck", "sport", "home"),
                            learning("flight", "travel", "world"), changing_rule("$abroad(?)")});
    LookAtEachKill(cycles, {learning("rice", "food", "world")});
    std::cout << m_tally.images << " images: " << m_tally.exact << " exact, " << m_tally.mixed
              << " mixed, " << m_tally.refused << " refused\n";

    EXPECT_GT(m_tally.images, 10U);
    EXPECT_GE(m_tally.exact, 2U);
}

TEST_F(RebuiltIndexKillTest, RandomCyclesKeepEachItemThatWasWritten) {
    std::mt19937 random(23);
    Kc_cycles cycles(2);
    int added = 0;
    for (int done = 0; done < 10; ++done) {
        SCOPED_TRACE(done);
        LookAtEachKill(cycles, random_changes(random, added));
    }
    std::cout << m_tally.images << " images: " << m_tally.exact << " exact, " << m_tally.mixed
              << " mixed, " << m_tally.refused << " refused\n";
    EXPECT_GT(m_tally.images, 40U);
}

}  // namespace

}  // namespace cli
