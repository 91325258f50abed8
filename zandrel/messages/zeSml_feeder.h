// zeSml_feeder: collects concepts in any order before a bag takes them.
#ifndef ZANDREL_MESSAGES_ZESML_FEEDER_H_
#define ZANDREL_MESSAGES_ZESML_FEEDER_H_

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/Concept_weights.h"

// A table of concepts with the sum of the weights that were added for each. The caller fills it
// from a text and passes it to a zeSml; `clear` makes it ready for the next text.
//
// A weight is any finite number. Usually it is the number of times that a concept occurs.
class ZANDREL_EXPORT zeSml_feeder {
public:
    // Adds the weight to the concept's entry, which starts at 0, and to the total.
    void add_concept(const Concept& added, double weight);
    // Removes a concept with its whole weight. Returns false, and changes nothing, if it is not
    // there.
    bool remove_concept(const Concept& removed);
    // Adds every entry of `other`, in the order of its table. That order depends on earlier texts,
    // and so does the last bit of `m_total_weight`. A bag does not use this total: it sums its own
    // weights.
    void combine(const zeSml_feeder& other);
    // Empties the table and the total. The table keeps its memory for the next text.
    // COST: linear in the concepts that are in it now, however many earlier texts had.
    void clear();

    double m_total_weight = 0.0;  // sum of all weights that are in the table
    zandrel::Concept_weights m_concepts;
};

#endif  // ZANDREL_MESSAGES_ZESML_FEEDER_H_
