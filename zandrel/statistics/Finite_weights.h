// has_finite_weights: which messages a model may count.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_FINITE_WEIGHTS_H_
#define ZANDREL_STATISTICS_FINITE_WEIGHTS_H_

#include <algorithm>
#include <cmath>

#include "zandrel/messages/zeMsg.h"

namespace zandrel::detail {

// Returns whether the message's weight, the total of its active bag and each entry of that bag are
// finite. One infinite weight or NaN would make the totals of the model infinite or NaN, and then
// every score. Removing the message could not undo it.
// The bag is read without the ceiling: a ceiling of 3 would turn an infinite entry into 3.
// COST: linear in the entries of the bag.
inline bool has_finite_weights(const zeMsg& msg) {
    if (!std::isfinite(msg.weight)) {
        return false;
    }
    const qtPtrLight<zeSml>& bag = msg.active_bag();
    return bag.IsNull() || (std::isfinite(bag->m_total_weight) &&
                            std::all_of(bag->m_concepts.begin(), bag->m_concepts.end(),
                                        [](const zeSml::Concept_info& entry) {
                                            return std::isfinite(entry.m_weight);
                                        }));
}

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_FINITE_WEIGHTS_H_
