// qtSml: a bag of weighted concepts, as an mlMessage contains it.
#ifndef ZANDREL_FOUNDATION_ML_QTSML_H_
#define ZANDREL_FOUNDATION_ML_QTSML_H_

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"

// A table of concepts with their weights, and the running total of all weights. The application
// fills it from a text. A weight may be any number; training skips a message whose bag has a weight
// that is not finite.
//
// The total is the sum in the order in which the weights were added. The engine does not use it: a
// zeSml sums its own weights.
class qtSml {
public:
    using Weights = hash_map<Concept, double, ConceptHash>;

    // Adds the weight to the concept's entry, which starts at 0, and to the total.
    void Add(const Concept& added, double weight) {
        m_weights[added] += weight;
        m_total_weight += weight;
    }

    // The order of the entries depends on the hash table, so it must not affect a result.
    const Weights& weights() const noexcept { return m_weights; }

    double total_weight() const noexcept { return m_total_weight; }

    // Exact equality of the weights and of the total.
    bool operator==(const qtSml& other) const = default;

private:
    Weights m_weights;
    double m_total_weight = 0.0;
};

#endif  // ZANDREL_FOUNDATION_ML_QTSML_H_
