// Text_ranks: sorts many tables by their texts, but compares the texts only once, in one sort.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_TEXT_RANKS_H_
#define ZANDREL_STATISTICS_TEXT_RANKS_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "zandrel/foundation/concept_map.h"
#include "zandrel/foundation/prefetch.h"
#include "zandrel/statistics/Concept_order.h"

namespace zandrel::detail {

// The table of all concepts of a model has nearly every concept of its profiles. So we sort its
// texts once and number them, and then sort each profile by these numbers.
//
// For example, the table has "soup", "goal" and "price" at the positions 0, 1 and 2, so their ranks
// are 2, 0 and 1. A profile with "soup" at its position 0 and "price" at its position 1 has the
// keys (2, 0) and (1, 1), which are sorted as numbers: position 1 comes first. BM_SaveToBuffer of
// bench/kc_bench.cpp measures the save of a container.
template <class Value>
class Text_ranks {
public:
    using Entry = typename concept_map<Value>::value_type;

    // BORROWS: the table, which must not change. Calls `take` with each entry, in the order of the
    // texts.
    template <class Take>
    Text_ranks(const concept_map<Value>& table, Take&& take)
        : m_table(table), m_ranks(table.position_limit()) {
        const Buckets buckets(table);
        std::vector<Placed> entries;
        std::uint32_t rank = 0;
        for (std::size_t byte = 0; byte < kBytes; ++byte) {
            buckets.fill(byte, table, entries);
            std::sort(entries.begin(), entries.end());
            for (std::size_t i = 0; i < entries.size(); ++i) {
                announce(entries, i);
                take(*entries[i].entry);
                m_ranks[entries[i].position] = rank++;
            }
        }
    }

    // The entries of another table, in the order of their texts.
    // VALID UNTIL: that table changes.
    template <class Other>
    std::vector<const typename concept_map<Other>::value_type*> in_order(
        const concept_map<Other>& other) const {
        std::vector<const typename concept_map<Other>::value_type*> entries;
        entries.reserve(other.size());
        std::vector<std::uint64_t> keys;
        if (!has_keys(other, keys)) {
            for (const auto& [prefix, entry] : in_text_order(other)) {
                entries.push_back(entry);
            }
            return entries;
        }
        std::sort(keys.begin(), keys.end());
        for (const std::uint64_t key : keys) {
            entries.push_back(&*other.at_position(static_cast<std::uint32_t>(key)));
        }
        return entries;
    }

private:
    static constexpr std::size_t kBytes = 256;
    static constexpr std::size_t kAhead = 16;  // how many entries ahead we begin to load

    struct Placed : Text_placed<Entry> {
        std::uint32_t position;
    };

    // Begins to load an entry and its text before `take` is called. In the order of the texts, they
    // are spread over the memory.
    static void announce(const std::vector<Placed>& entries, std::size_t taken) {
        if (taken + 2 * kAhead < entries.size()) {
            prefetch(entries[taken + 2 * kAhead].entry);
        }
        if (taken + kAhead < entries.size()) {
            prefetch(entries[taken + kAhead].entry->first.identity());
        }
    }

    // The positions of the entries, by the first bytes of their texts. Only the texts of one first
    // byte are sorted at a time. That needs little memory, though an element of the sort is six
    // times as large as a position.
    class Buckets {
    public:
        explicit Buckets(const concept_map<Value>& table) : m_positions(table.size()) {
            std::vector<std::uint8_t> bytes;
            bytes.reserve(table.size());
            table.for_each(announce_text, [&](const Entry& entry) {
                bytes.push_back(static_cast<std::uint8_t>(text_prefix(entry.first.view()) >> 56U));
                ++m_ends[bytes.back()];
            });
            std::partial_sum(m_ends.begin(), m_ends.end(), m_ends.begin());
            place(table, bytes);
        }

        // Replaces `entries` by the entries of one bucket.
        void fill(std::size_t byte, const concept_map<Value>& table,
                  std::vector<Placed>& entries) const {
            entries.clear();
            const std::size_t begin = byte == 0 ? 0 : m_ends[byte - 1];
            for (std::size_t i = begin; i < m_ends[byte]; ++i) {
                if (i + kAhead < m_ends[byte]) {
                    announce_text(*table.at_position(m_positions[i + kAhead]));
                }
                const Entry& entry = *table.at_position(m_positions[i]);
                entries.push_back({{text_prefix(entry.first.view()), &entry}, m_positions[i]});
            }
        }

    private:
        static void announce_text(const Entry& entry) { prefetch(entry.first.identity()); }

        // `bytes`: the first one of each text.
        void place(const concept_map<Value>& table, const std::vector<std::uint8_t>& bytes) {
            std::array<std::size_t, kBytes> next = {};
            std::copy(m_ends.begin(), m_ends.end() - 1, next.begin() + 1);
            auto byte = bytes.begin();
            for (auto entry = table.begin(); entry != table.end(); ++entry, ++byte) {
                m_positions[next[*byte]++] = table.position(entry);
            }
        }

        std::vector<std::uint32_t> m_positions;
        std::array<std::size_t, kBytes> m_ends = {};  // of the buckets
    };

    // Makes a key of each entry: the rank in the high half, the position in the low half. Returns
    // false if an entry has no rank.
    template <class Other>
    bool has_keys(const concept_map<Other>& other, std::vector<std::uint64_t>& keys) const {
        keys.reserve(other.size());
        auto announced = other.begin();
        for (std::size_t i = 0; i < kAhead && announced != other.end(); ++i) {
            m_table.prefetch_slot((announced++)->first);
        }
        for (auto entry = other.begin(); entry != other.end(); ++entry) {
            if (announced != other.end()) {
                m_table.prefetch_slot((announced++)->first);
            }
            const auto ranked = m_table.find(entry->first);
            if (ranked == m_table.end()) {
                return false;
            }
            const std::uint64_t rank = m_ranks[m_table.position(ranked)];
            keys.push_back(rank << 32U | other.position(entry));
        }
        return true;
    }

    const concept_map<Value>& m_table;
    std::vector<std::uint32_t> m_ranks;  // by position
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_TEXT_RANKS_H_
