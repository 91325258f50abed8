// add_weights: adds the weights of a bag's concepts to the sums of categories.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_MATCH_SUMS_H_
#define ZANDREL_STATISTICS_MATCH_SUMS_H_

#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/statistics/Match_table.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

// Adds each weight of a row, times the weight of an entry of a bag, to the double that
// `sum_of(iprofile)` refers to.
template <class Sum_of>
void add_row(const Match_table::Pairs& row, double entry_weight, Sum_of sum_of) {
    for (const Match_table::Concept_weight& pair : row) {
        sum_of(pair.m_iprofile) += static_cast<double>(pair.m_weight) * entry_weight;
    }
}

// Does the same for each entry of the bag. Each sum gets its addends in the order of the bag. For
// example, with the bag "ball 2, goal 1" and the rows ball = (sport 3, garden -1) and goal = (sport
// 1.5), sport gets 2 * 3 and then 1 * 1.5, and garden 2 * -1.
// `row_of`: returns the row of a concept in the table, or null.
template <class Row_of, class Sum_of>
void add_weights(const Match_table& table, Row_of row_of, const zeStat_storage& storage,
                 const Clipped_bag& bag, Sum_of sum_of) {
    // Pairs of a stale table may name profiles that were deleted.
    const bool is_stale = table.profile_end() > storage.profile_count();
    for (const zeSml::Concept_info& entry : bag.concepts()) {
        const Match_table::Pairs* const row = row_of(entry.m_concept);
        if (row == nullptr) {
            continue;
        }
        const double entry_weight = bag.weight(entry);
        if (!is_stale) {
            add_row(*row, entry_weight, sum_of);
            continue;
        }
        for (const Match_table::Concept_weight& pair : *row) {
            if (storage.has_profile(pair.m_iprofile)) {
                sum_of(pair.m_iprofile) += static_cast<double>(pair.m_weight) * entry_weight;
            }
        }
    }
}

// Looks the rows up in the table itself.
template <class Sum_of>
void add_weights(const Match_table& table, const zeStat_storage& storage, const Clipped_bag& bag,
                 Sum_of sum_of) {
    add_weights(
        table, [&table](const Concept& wanted) { return table.row(wanted); }, storage, bag, sum_of);
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_MATCH_SUMS_H_
