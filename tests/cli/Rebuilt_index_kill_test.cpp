// A cached container whose process was killed, after rebuild-index. The model of the record file
// says which items the file had at that moment; the model of Kc_cycles says what the container was
// before and after the change.
#include "cli/records/Rebuilt_index.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_seal.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/kc_cycles.h"
#include "tests/support/record_bytes.h"
#include "text/kc/Deferred_writes.h"
#include "text/kc/Kc_tree.h"

namespace zandrel::cli {

namespace {

using Items = std::map<std::string, std::string>;

constexpr const char* kRebuilt = "fake/rebuilt";
constexpr const char* kTwoStates =
    "the last change was not finished: some items may be from before it, and others from after it";

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

// The items that rebuild-index has to find. A write of an item is a whole item, a freed block gets
// the tag of a hole, and the index is written as a whole. An item that was freed, but is still in
// its block, returns if the index names it there and no other copy exists: it may be one that was
// being moved. A seal never returns.
class Written_items {
public:
    // BORROWS: nothing.  `file`: clean.
    Written_items(Fake_disk& disk, const std::string& file)
        : m_index_position(number_at(file, 16)) {  // its upper half, at 12, is 0
        disk.files[kRebuilt] = file;
        CachePack pack;
        pack.Open(kRebuilt, false, true);
        const Items items = items_of(pack);
        for (const auto& [key, offset] : pack.index) {
            const auto position = static_cast<std::uint64_t>(offset);
            m_blocks[position] = {key.str(), items.at(key.str()), false};
        }
        take_index();
    }

    void add(const Disk_write& write) {
        constexpr std::uint32_t kItem = 0x4A5B6C73;
        constexpr std::uint32_t kIndex = 0x4A5B6C82;
        constexpr std::uint32_t kHole = 0xDEADDEAD;
        if (write.position < 20) {
            return;  // the state, or the offset of the index
        }
        switch (number_at(write.bytes, 0)) {
            case kHole:
                free(write.position);
                break;
            case kItem: {
                const std::size_t key_length = number_at(write.bytes, 4);
                const std::size_t length = number_at(write.bytes, 8 + key_length);
                ASSERT_GE(write.bytes.size(), 12 + key_length + length) << "not written as a whole";
                m_blocks[write.position] = {write.bytes.substr(8, key_length),
                                            write.bytes.substr(12 + key_length, length), false};
                break;
            }
            case kIndex:
                m_blocks.erase(write.position);
                m_index_position = write.position;
                take_index();
                break;
            default:
                ADD_FAILURE() << "neither an item nor a hole nor an index";
        }
    }

    Items items() const {
        Items items;
        for (const auto& [position, block] : m_blocks) {
            if (!block.is_free) {
                items[block.key] = block.data;
            }
        }
        for (const auto& [key, position] : m_index) {
            const auto found = m_blocks.find(position);
            if (key != zandrel::Kc_seal::kKey && found != m_blocks.end() &&
                found->second.key == key) {
                items.try_emplace(key, found->second.data);
            }
        }
        return items;
    }

private:
    struct Block {
        std::string key;
        std::string data;
        bool is_free = false;
    };

    void free(std::uint64_t position) {
        const auto found = m_blocks.find(position);
        if (found != m_blocks.end()) {
            found->second.is_free = true;
        } else if (position == m_index_position) {
            m_index.clear();  // the header points to a hole now
        }
    }

    void take_index() {
        m_index.clear();
        for (const auto& [position, block] : m_blocks) {
            if (!block.is_free) {
                m_index[block.key] = position;
            }
        }
    }

    std::map<std::uint64_t, Block> m_blocks;  // of items, by their positions
    std::map<std::string, std::uint64_t> m_index;
    std::uint64_t m_index_position;
};

// Everything but the seal, which belongs to no state of a manager.
Items without_seal(Items items) {
    items.erase(zandrel::Kc_seal::kKey);
    return items;
}

struct Kill_tally {
    std::size_t images = 0;
    std::size_t exact = 0;    // the container is that of before or after
    std::size_t mixed = 0;    // it has parts of both, and can be used
    std::size_t sealed = 0;   // it has a seal
    std::size_t refused = 0;  // parts of both do not fit together, or an item is missing
};

// In per cent of the images.
struct Share {
    double least;
    double most;
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
        const Items before = without_seal(items_of(cycles.disk, cycle.file));
        const Items after = without_seal(items_of(cycles.disk, cycles.file()));
        Written_items expected(cycles.disk, cycle.file);
        std::string image = cycle.file;
        for (std::size_t done = 1; done < cycle.writes.size(); ++done) {
            SCOPED_TRACE(testing::Message() << "write " << done << " of " << cycle.writes.size());
            put(image, cycle.writes[done - 1]);
            expected.add(cycle.writes[done - 1]);
            const std::string rebuilt = Rebuild(image);
            const Items items = items_of(cycles.disk, rebuilt);
            EXPECT_TRUE(items == expected.items());
            // The first write only marks the file.
            EXPECT_TRUE(done > 1 || rebuilt == cycle.file);
            CheckSeal(cycles.disk, rebuilt, items.contains(zandrel::Kc_seal::kKey));
            Use(cycles.disk, rebuilt, cycle, without_seal(items) == before,
                without_seal(items) == after);
        }
    }

    // A seal in the new file is right. Without one, the command says that the items may be of two
    // states.
    void CheckSeal(Fake_disk& disk, const std::string& rebuilt, bool has_seal) {
        disk.files[kRebuilt] = rebuilt;
        EXPECT_EQ(zandrel::Kc_seal::Verify(kRebuilt), has_seal);
        EXPECT_EQ(testing::Value(m_result.recovery.remarks, testing::Contains(kTwoStates)),
                  !has_seal);
        m_tally.sealed += has_seal ? 1 : 0;
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

    void ExpectShares(const Share& exact, const Share& refused) const {
        const double images = static_cast<double>(m_tally.images) / 100.0;
        const double exact_share = static_cast<double>(m_tally.exact) / images;
        const double refused_share = static_cast<double>(m_tally.refused) / images;
        EXPECT_EQ(m_tally.exact + m_tally.mixed + m_tally.refused, m_tally.images);
        EXPECT_TRUE(exact.least <= exact_share && exact_share <= exact.most) << exact_share;
        EXPECT_TRUE(refused.least <= refused_share && refused_share <= refused.most)
            << refused_share;
    }

    Rebuilt_index m_result;
    Kill_tally m_tally;
};

Kc_change adding_branch(const std::string& name) {
    return [name](zeManager& kc) {
        News_desk desk(kc);
        desk.Add(desk.Add(News_desk::kDesk, name, ZE_STAT), name + " leaf", ZE_LEAF);
    };
}

// Imports a trained container below the root, as the command does.
Kc_change importing() {
    return [](zeManager& kc) {
        Trained_desk trained;
        zeManager other;
        read_kc(other, saved(trained.manager));
        Deferred_writes writes(kc);
        import_tree(kc, other, "desk", nullptr);
        writes.commit();
    };
}

// Does nothing if there is no such node.
Kc_change deleting_path(const std::string& path) {
    return [path](zeManager& kc) {
        const unsigned int id = kc.m_logical_tree->FindNodeByPath(path.c_str()).id;
        if (id != 0) {
            kc.m_logical_tree->DelLogicalNode(id, true);
        }
    };
}

// Moves a leaf between the two statistical nodes below the rule node.
Kc_change moving_to_other_side(unsigned int leaf) {
    return [leaf](zeManager& kc) {
        zeLogicalTree& tree = *kc.m_logical_tree;
        const bool is_at_home = tree.GetNode(leaf).parent == News_desk::kHome;
        tree.MoveLogicalNode(leaf, is_at_home ? News_desk::kWorld : News_desk::kHome);
    };
}

Kc_change random_edit(std::mt19937& random, unsigned int bound, unsigned int number) {
    const std::string name = "branch " + std::to_string(number);
    // A move between two classifiers needs both of them.
    switch (random() % (bound == 1 ? 3 : 4)) {
        case 0:
            return adding_branch(name);
        case 1:
            return deleting_path("desk/branch " + std::to_string(random() % (number + 1)));
        case 2:
            return deleting_path("desk/press/home/added " + std::to_string(random() % 4));
        default:
            return moving_to_other_side(News_desk::kSport);
    }
}

// Each classifier is one state or the other, and a learned one fits the others. So all files can be
// used.
TEST_F(RebuiltIndexKillTest, KilledLearningLeavesAUsableContainer) {
    for (const unsigned int bound : {1U, 2U, 20U}) {
        SCOPED_TRACE(bound);
        Kc_cycles cycles(bound);
        LookAtEachKill(cycles,
                       {learning("puck", "sport", "home"), learning("flight", "travel", "world"),
                        changing_rule("$abroad(?)")});
        LookAtEachKill(cycles, {learning("rice", "food", "world")});
    }
    EXPECT_GT(m_tally.images, 40U);
    ExpectShares({20, 60}, {0, 0});
}

// The limits of the shares are there so that a change of the rules is noticed. An edit changes the
// record of the trees, which may not fit the classifiers of the other state.
TEST_F(RebuiltIndexKillTest, KilledEditKeepsEachItemThatWasWritten) {
    for (const unsigned int bound : {1U, 2U, 20U}) {
        SCOPED_TRACE(bound);
        Kc_cycles cycles(bound);
        LookAtEachKill(cycles, {adding_branch("region")});
        LookAtEachKill(cycles, {learning("tram", "region leaf", "home")});
        if (bound > 1) {  // a move between two classifiers needs both of them
            LookAtEachKill(cycles, {moving_to_other_side(News_desk::kSport)});
        }
        LookAtEachKill(cycles, {deleting(News_desk::kMoney)});
        LookAtEachKill(cycles, {deleting_path("desk/region"), learning("ham", "food", "world")});
    }
    EXPECT_GT(m_tally.images, 100U);
    ExpectShares({40, 55}, {10, 20});
}

// The trees have more new nodes than after an edit, so more of them do not fit the old classifiers.
TEST_F(RebuiltIndexKillTest, KilledImportKeepsEachItemThatWasWritten) {
    for (const unsigned int bound : {1U, 2U, 20U}) {
        SCOPED_TRACE(bound);
        Kc_cycles cycles(bound);
        LookAtEachKill(cycles, {importing()});
        LookAtEachKill(cycles, {learning("tram", "sport", "home")});
    }
    EXPECT_GT(m_tally.images, 40U);
    ExpectShares({30, 40}, {25, 35});
}

TEST_F(RebuiltIndexKillTest, RandomCyclesKeepEachItemThatWasWritten) {
    for (const unsigned int bound : {1U, 2U, 20U}) {
        SCOPED_TRACE(bound);
        std::mt19937 random(23);
        Kc_cycles cycles(bound);
        int added = 0;
        for (unsigned int done = 0; done < 6; ++done) {
            SCOPED_TRACE(done);
            std::vector<Kc_change> changes = random_changes(random, added);
            changes.push_back(random_edit(random, bound, done));
            LookAtEachKill(cycles, changes);
        }
    }
    EXPECT_GT(m_tally.images, 150U);
    ExpectShares({25, 40}, {12, 25});
}

// The process marks the file, then deletes the seal, then changes items. So after the mark the file
// is as before, and has its seal. After that it has no seal until it is sealed again.
TEST_F(RebuiltIndexKillTest, SealedContainerKeepsNoSealThatDoesNotFit) {
    for (const unsigned int bound : {1U, 2U, 20U}) {
        SCOPED_TRACE(bound);
        m_tally = {};
        Kc_cycles cycles(bound, true);
        LookAtEachKill(cycles, {learning("puck", "sport", "home")});
        EXPECT_GT(m_tally.images, 4U);
        EXPECT_EQ(m_tally.sealed, 1U);
        EXPECT_FALSE(items_of(cycles.disk, cycles.file()).contains(zandrel::Kc_seal::kKey));
    }
}

}  // namespace

}  // namespace zandrel::cli
