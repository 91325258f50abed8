// How the weights of profiles become rows.
//
// The profiles' lists are columns of a matrix: for each profile, the concepts with their weights.
// Scoring needs its rows. We make them by counting, as in a bucket sort: a first pass counts the
// pairs of each concept, then each row gets its place in one block, and a second pass fills it.
//
// Example: profile 0 has x = 1, and profile 1 has y = 2 and x = -1. The first pass counts 2 pairs
// for x and 1 for y. So the block is [x x y]. The second pass fills it with the pairs (weight,
// profile) (1, 0) (-1, 1) (2, 1).
#include "zandrel/statistics/Match_table.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace {

// The position of an info in a weight whose concept was not looked up.
constexpr std::uint32_t kNoInfo = std::numeric_limits<std::uint32_t>::max();

constexpr std::size_t kLeastBlockSize = 1024;
constexpr std::size_t kGreatestBlockSize = 64 * kLeastBlockSize;

}  // namespace

namespace zandrel::detail {

void Match_table::compile(const std::vector<std::unique_ptr<zeStat_storage::Profile>>& profiles) {
    clear();
    try {
        count_and_fill(profiles);
    } catch (...) {
        clear();  // some rows may have a count but no place yet
        throw;
    }
}

void Match_table::count_and_fill(
    const std::vector<std::unique_ptr<zeStat_storage::Profile>>& profiles) {
    std::size_t weight_count = 0;
    std::size_t info_end = 0;
    for (const auto& profile : profiles) {
        weight_count += profile->m_weights.size();
        for (const zeStat_storage::Weight& weight : profile->m_weights) {
            info_end = std::max(info_end, weight.m_info == kNoInfo ? 0 : weight.m_info + 1UL);
        }
    }
    // The row of each weight, in the order of the weights, so that the second pass needs no
    // look-up.
    std::vector<Pairs*> row_of;
    row_of.reserve(weight_count);
    // The row that was found last for each position in the table of all concepts. The last element
    // is for weights without a position.
    std::vector<Rows::value_type*> known_rows(info_end + 1);
    for (const auto& profile : profiles) {
        for (const zeStat_storage::Weight& weight : profile->m_weights) {
            Rows::value_type*& known = known_rows[std::min<std::size_t>(weight.m_info, info_end)];
            // The position is a guess: it may be the position of another concept.
            if (known == nullptr || !(known->first == weight.m_concept)) {
                known = &*m_rows.try_emplace(weight.m_concept).first;
            }
            ++known->second.m_count;
            row_of.push_back(&known->second);
        }
    }
    fill(profiles, row_of);
}

void Match_table::fill(const std::vector<std::unique_ptr<zeStat_storage::Profile>>& profiles,
                       const std::vector<Pairs*>& row_of) {
    m_blocks.push_back(std::make_unique<Concept_weight[]>(row_of.size()));
    Concept_weight* free_place = m_blocks.back().get();
    auto next_row = row_of.begin();
    for (const auto& profile : profiles) {
        for (const zeStat_storage::Weight& weight : profile->m_weights) {
            Pairs& row = **next_row++;
            if (row.m_first == nullptr) {
                row.m_first = std::exchange(free_place, free_place + row.m_count);
                row.m_count = 0;
            }
            row.m_first[row.m_count++] = {weight.m_value, m_profile_end};
        }
        ++m_profile_end;
    }
}

std::span<Match_table::Concept_weight> Match_table::add(const Concept& added, std::size_t count) {
    if (m_room.size() < count) {
        make_room(count);
    }
    const std::span<Concept_weight> room = m_room.first(count);
    Pairs& row = m_rows[added];
    m_profile_end = kUnknown;
    row.m_first = room.data();
    row.m_count = count;
    m_room = m_room.subspan(count);
    return room;
}

// Each block is twice as large as the last one, within limits, so that a small table takes little.
void Match_table::make_room(std::size_t count) {
    const std::size_t next = std::clamp(2 * m_room_size, kLeastBlockSize, kGreatestBlockSize);
    m_room_size = std::max(count, next);
    m_blocks.push_back(std::make_unique<Concept_weight[]>(m_room_size));
    m_room = std::span<Concept_weight>(m_blocks.back().get(), m_room_size);
}

void Match_table::clear() noexcept {
    m_rows.clear();
    m_blocks.clear();
    m_room = {};
    m_room_size = 0;
    m_profile_end = 0;
}

}  // namespace zandrel::detail
