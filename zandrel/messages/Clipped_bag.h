// Clipped_bag: a bag under a ceiling, without a copy.
// Not installed: the library's own.
#ifndef ZANDREL_MESSAGES_CLIPPED_BAG_H_
#define ZANDREL_MESSAGES_CLIPPED_BAG_H_

#include <vector>

#include "zandrel/messages/zeSml.h"

// Reads a bag as `zeSml::get_clipped_sml` would yield it, to the last bit, and clips each weight
// when it is asked for. For those who go through the entries once or twice.
//
// BORROWS: the bag.
class Clipped_bag {
public:
    // RAISES: what `zeSml::get_clipped_sml` raises.
    Clipped_bag(const zeSml& source, double clip_value)
        : m_source(source),
          m_ceiling(ceiling_of(source, clip_value)),
          m_total_weight(source.m_total_weight) {
        if (m_ceiling.m_clip_value != 0.0) {
            subtract_what_is_clipped();
        }
    }

    const std::vector<zeSml::Concept_info>& entries() const noexcept { return m_source.m_concepts; }

    double weight(const zeSml::Concept_info& entry) const noexcept {
        return m_ceiling.clip_weight(entry.m_weight);
    }

    double total_weight() const noexcept { return m_total_weight; }

private:
    // An empty bag that has the ceiling of the clipped copy, or none if the bag would be shared.
    static zeSml ceiling_of(const zeSml& source, double clip_value) {
        zeSml empty(0.0);
        if (zeSml::is_shared_under(source, clip_value)) {
            return empty;
        }
        empty.m_clip_value = source.m_clip_value;
        return zeSml(empty, clip_value);
    }

    // One after the other, as the copy does: sums of doubles depend on the order.
    void subtract_what_is_clipped() noexcept {
        for (const zeSml::Concept_info& entry : m_source.m_concepts) {
            m_total_weight -= entry.m_weight - weight(entry);
        }
    }

    const zeSml& m_source;
    zeSml m_ceiling;
    double m_total_weight;
};

#endif  // ZANDREL_MESSAGES_CLIPPED_BAG_H_
