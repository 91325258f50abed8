// Orders of concepts that are the same in every run: in_text_order, which walks tables, and
// comparable, for weights.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_CONCEPT_ORDER_H_
#define ZANDREL_STATISTICS_CONCEPT_ORDER_H_

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "zandrel/foundation/hash_map.h"

namespace Zandrel {

// The entries of a table that is keyed by concepts, in the order of their texts.
// VALID UNTIL: the table changes.
template <class Value>
std::vector<const typename concept_map<Value>::value_type*> in_text_order(
    const concept_map<Value>& table) {
    std::vector<const typename concept_map<Value>::value_type*> entries;
    entries.reserve(table.size());
    for (const auto& entry : table) {
        entries.push_back(&entry);
    }
    std::sort(entries.begin(), entries.end(),
              [](const auto* left, const auto* right) { return left->first < right->first; });
    return entries;
}

// A weight to sort by. A damaged record can have one that is no number; the least of all stands for
// it, since a sort by an order with gaps may leave its range.
inline double comparable(double weight) noexcept {
    return std::isnan(weight) ? -std::numeric_limits<double>::infinity() : weight;
}

}  // namespace Zandrel

#endif  // ZANDREL_STATISTICS_CONCEPT_ORDER_H_
