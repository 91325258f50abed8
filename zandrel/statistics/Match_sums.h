// add_weights: the sums of weights that a bag has for categories.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_MATCH_SUMS_H_
#define ZANDREL_STATISTICS_MATCH_SUMS_H_

#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/statistics/Match_table.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace Zandrel {

// Adds the weight of each entry of the bag, times the weight that a profile gives the concept, to
// `sum_of(iprofile)`, a place. Each sum gets its addends in the order of the bag.
template <class Sum_of>
void add_weights(const Match_table& table, const zeStat_storage& storage, const Clipped_bag& bag,
                 Sum_of sum_of) {
    const auto add_pairs = [&](auto takes_part) {
        for (const zeSml::Concept_info& entry : bag.concepts()) {
            const auto found = table.find(entry.m_concept);
            if (found == table.end()) {
                continue;
            }
            const double entry_weight = bag.weight(entry);
            for (const Match_table::Concept_weight& pair : found->second) {
                if (takes_part(pair.m_iprofile)) {
                    sum_of(pair.m_iprofile) += static_cast<double>(pair.m_weight) * entry_weight;
                }
            }
        }
    };
    // Pairs of a stale table may name profiles that are gone.
    if (table.profile_end() <= storage.profile_count()) {
        add_pairs([](int) { return true; });
    } else {
        add_pairs([&storage](int iprofile) { return storage.has_profile(iprofile); });
    }
}

}  // namespace Zandrel

#endif  // ZANDREL_STATISTICS_MATCH_SUMS_H_
