// Orders of concepts that are the same in every run: in_text_order, for the entries of a table, and
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

// The first eight bytes of a text as a number. If two texts have different numbers, the text with
// the smaller number comes first. For example, "ab" is 0x6162000000000000, and "b" is
// 0x6200000000000000.
inline std::uint64_t text_prefix(std::string_view text) noexcept {
    std::uint64_t prefix = 0;  // a short text is filled up with zero bytes, which come first
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

// A weight to sort by. A damaged record can have a NaN, for which no order is defined: std::sort
// could then access memory outside its range. We sort it as the least number.
inline double comparable(double weight) noexcept {
    return std::isnan(weight) ? -std::numeric_limits<double>::infinity() : weight;
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_CONCEPT_ORDER_H_
