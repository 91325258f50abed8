// The total is kept beside the table; both change together.
#include "zandrel/messages/zeSml_feeder.h"

void zeSml_feeder::add_concept(const Concept& added, double weight) {
    m_concepts[added] += weight;
    m_total_weight += weight;
}

bool zeSml_feeder::remove_concept(const Concept& removed) {
    const auto entry = m_concepts.find(removed);
    if (entry == m_concepts.end()) {
        return false;
    }
    m_total_weight -= entry->second;
    m_concepts.erase(entry);
    return true;
}

void zeSml_feeder::combine(const zeSml_feeder& other) {
    for (const auto& [added, weight] : other.m_concepts) {
        add_concept(added, weight);
    }
}

void zeSml_feeder::clear() {
    m_total_weight = 0.0;
    m_concepts.clear();
}
