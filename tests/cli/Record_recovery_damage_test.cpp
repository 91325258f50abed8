// Damages random bytes of a record file, and compares the recovered items with a model.
#include "cli/records/Record_recovery.h"

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/cli/recovered_images.h"
#include "tests/storage/record_file_model.h"
#include "tests/storage/record_file_script.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

class Damage_run {
public:
    Damage_run(unsigned int offset_size, std::uint32_t seed)
        : m_model(offset_size), m_header(12 + offset_size), m_random(seed) {
        Script_source source(seed, {.key_count = 30, .largest_power = 8});
        for (int i = 0; i < 120; ++i) {
            apply(source.next(m_model), m_model);
        }
        m_model.write_index();
    }

    // Changes up to eight bytes, or overwrites a range with zeros.
    void damage() {
        m_image = m_model.image;
        m_damaged.clear();
        const bool is_range = m_random() % 3 == 0;
        const std::size_t start = m_random() % m_image.size();
        const std::size_t count = 1 + m_random() % (is_range ? 300 : 8);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t place = is_range ? start + i : m_random() % m_image.size();
            const char byte = is_range ? '\0' : static_cast<char>(m_random());
            if (place < m_image.size() && m_image[place] != byte) {
                m_image[place] = byte;
                m_damaged.insert(place);
            }
        }
    }

    void check(const Memory_file& place) const {
        place.fill(m_image);
        File_window file("x.dat", place.path());
        const Record_recovery recovery = recover_records(file);
        Content found;
        for (const Scanned_item& item : recovery.items) {
            found[item.key] = file.bytes(item.data_offset(), item.data_length);
            const auto known = m_model.content.find(item.key);
            EXPECT_TRUE((known != m_model.content.end() && known->second == found[item.key]) ||
                        is_damaged(item.offset, item.offset + item.total()))
                << "invented: " << item.offset;
        }
        // With a damaged header or index an item may be lost together with one that is damaged.
        if (!is_damaged(0, m_header) &&
            !is_damaged(m_model.index_offset, m_model.index_offset + m_model.index_space)) {
            check_complete(recovery, found);
        }
    }

    bool has_damaged_magic() const { return is_damaged(0, 4); }

private:
    bool is_damaged(std::uint64_t start, std::uint64_t end) const {
        const auto first = m_damaged.lower_bound(start);
        return first != m_damaged.end() && *first < end;
    }

    void check_complete(const Record_recovery& recovery, const Content& found) const {
        bool is_lost = false;
        for (const auto& [key, data] : m_model.content) {
            const std::uint64_t start = m_model.item_offset(key);
            const std::uint64_t end = start + 12 + key.size() + data.size();
            const auto recovered = found.find(key);
            is_lost = is_lost || recovered == found.end();
            if (!is_damaged(start, end)) {
                ASSERT_TRUE(recovered != found.end()) << "lost: " << start;
                EXPECT_TRUE(recovered->second == data);
            }
        }
        EXPECT_EQ(recovery.has_loss, is_lost);
        EXPECT_FALSE(recovery.is_unsure);
    }

    Record_file_model m_model;
    std::uint64_t m_header;
    std::mt19937 m_random;
    std::string m_image;
    std::set<std::uint64_t> m_damaged;
};

void run(unsigned int offset_size) {
    const Memory_file place;
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        Damage_run damage_run(offset_size, seed);
        for (int i = 0; i < 50 && !testing::Test::HasFailure(); ++i) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", damage " << i);
            damage_run.damage();
            try {
                damage_run.check(place);
            } catch (const Data_error&) {
                // Without the magic number, a file needs items that show its form.
                EXPECT_TRUE(damage_run.has_damaged_magic());
            }
        }
    }
}

TEST(RecordRecoveryDamageTest, UndamagedItemsAreExactWith64Bits) {
    run(8);
}

TEST(RecordRecoveryDamageTest, UndamagedItemsAreExactWith32Bits) {
    run(4);
}

}  // namespace

}  // namespace zandrel::cli
