// has_finite_weights: which messages a model may count.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_FINITE_WEIGHTS_H_
#define ZANDREL_STATISTICS_FINITE_WEIGHTS_H_

#include <algorithm>
#include <cmath>

#include "zandrel/messages/zeMsg.h"

namespace zandrel::detail {

// Returns whether the message's weight, the total of its active bag and each entry of that bag are
// finite. One infinite weight, or one that is not a number, would reach the totals of the model
// and then every score, and removing the message could not undo it.
// Reads the bag as it is: a ceiling of 3 would turn an infinite entry into 3.
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
