// Orders of concepts that are the same in every run: in_text_order, which walks tables, and
// comparable, for weights.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_CONCEPT_ORDER_H_
#define ZANDREL_STATISTICS_CONCEPT_ORDER_H_

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

#include "zandrel/foundation/concept_map.h"

namespace zandrel::detail {

// The first bytes of a text as a number: of two texts with different ones the one with the lesser
// goes first.
inline std::uint64_t text_prefix(std::string_view text) noexcept {
    std::uint64_t prefix = 0;  // what the text lacks counts as zero bytes, which go first
    if (!text.empty()) {       // an empty view may have no address, which memcpy does not allow
        std::memcpy(&prefix, text.data(), std::min(text.size(), sizeof prefix));
    }
    if constexpr (std::endian::native == std::endian::little) {
        prefix = __builtin_bswap64(prefix);
    }
    return prefix;
}

// An entry of a table with the beginning of its text, so that sorting seldom follows the pointer.
template <class Entry>
struct Text_placed {
    std::uint64_t prefix;
    const Entry* entry;

    bool operator<(const Text_placed& other) const noexcept {
        return prefix != other.prefix ? prefix < other.prefix : entry->first < other.entry->first;
    }
};

// The entries of a table that is keyed by concepts, in the order of their texts.
// VALID UNTIL: the table changes.
template <class Value>
std::vector<Text_placed<typename concept_map<Value>::value_type>> in_text_order(
    const concept_map<Value>& table) {
    std::vector<Text_placed<typename concept_map<Value>::value_type>> entries;
    entries.reserve(table.size());
    for (const auto& entry : table) {
        entries.push_back({text_prefix(entry.first.view()), &entry});
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

// A weight to sort by. A damaged record can have one that is no number; the least of all stands for
// it, since a sort by an order with gaps may leave its range.
inline double comparable(double weight) noexcept {
    return std::isnan(weight) ? -std::numeric_limits<double>::infinity() : weight;
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_CONCEPT_ORDER_H_
