// in_text_order: walks tables of concepts in an order that is the same in every run.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_CONCEPT_ORDER_H_
#define ZANDREL_STATISTICS_CONCEPT_ORDER_H_

#include <algorithm>
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

}  // namespace Zandrel

#endif  // ZANDREL_STATISTICS_CONCEPT_ORDER_H_
