// add_weights: the sums of weights that a bag has for categories.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_MATCH_SUMS_H_
#define ZANDREL_STATISTICS_MATCH_SUMS_H_

#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/statistics/Match_table.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

// Adds the weights of a row, times that of an entry of a bag, to `sum_of(iprofile)`, a place.
template <class Sum_of>
void add_row(const Match_table::Pairs& row, double entry_weight, Sum_of sum_of) {
    for (const Match_table::Concept_weight& pair : row) {
        sum_of(pair.m_iprofile) += static_cast<double>(pair.m_weight) * entry_weight;
    }
}

// Adds the weight of each entry of the bag, times the weight that a profile gives the concept, to
// `sum_of(iprofile)`, a place. Each sum gets its addends in the order of the bag.
template <class Sum_of>
void add_weights(const Match_table& table, const zeStat_storage& storage, const Clipped_bag& bag,
                 Sum_of sum_of) {
    // Pairs of a stale table may name profiles that are gone.
    const bool is_stale = table.profile_end() > storage.profile_count();
    for (const zeSml::Concept_info& entry : bag.concepts()) {
        const auto row = table.find(entry.m_concept);
        if (row == table.end()) {
            continue;
        }
        const double entry_weight = bag.weight(entry);
        if (!is_stale) {
            add_row(row->second, entry_weight, sum_of);
            continue;
        }
        for (const Match_table::Concept_weight& pair : row->second) {
            if (storage.has_profile(pair.m_iprofile)) {
                sum_of(pair.m_iprofile) += static_cast<double>(pair.m_weight) * entry_weight;
            }
        }
    }
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_MATCH_SUMS_H_
