// zeSml: the bag of weighted concepts that represents the content of a message.
#ifndef ZANDREL_MESSAGES_ZESML_H_
#define ZANDREL_MESSAGES_ZESML_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeSml_feeder.h"
#include "zandrel/storage/Hio.h"

namespace zandrel::detail {
class Record_reader;
}

// A bag of concepts with their weights, sorted by text. Every statistical decision reads one.
//
// A bag can have a clip value: a ceiling for each weight, so that a term that is repeated many
// times does not count too much. Trainers and classifiers never change a message's own bag. They
// read it under a ceiling; see `get_clipped_sml`.
//
// After `feed` into an empty bag, the entries are sorted by `CompareConcepts` and each concept is
// there once. `m_total_weight` is changed by addition and subtraction, never computed again.
//
// Errors: a negative clip value raises qtX<zeSml> 0 "Invalid clipping value", and nothing has
// changed. NaN is accepted.
// Threads: one at a time in the whole process, since a bag shares its concepts with all others.
class ZANDREL_EXPORT zeSml {
public:
    struct Concept_info {
        Concept m_concept;
        double m_weight = 0.0;
    };

    // The order of a bag: the text order of qtString, which does not depend on the locale.
    struct CompareConcepts {
        bool operator()(const Concept_info& left, const Concept_info& right) const noexcept {
            return left.m_concept < right.m_concept;
        }
    };

    // An empty bag with the ceiling `clip_value`; 0 means no ceiling.
    explicit zeSml(double clip_value);
    // A bag with the contents of the feeder.
    zeSml(const zeSml_feeder& feeder, double clip_value);
    // The same; the feeder is empty afterwards.
    zeSml(zeSml_feeder&& feeder, double clip_value);
    // The clipped copy. Its ceiling is the lower one of the source's ceiling and `clip_value`,
    // where 0 means no ceiling.
    zeSml(const zeSml& source, double clip_value);

    // The copy under the source's own ceiling. Its `m_is_new` is true, as for every new bag. Each
    // weight is clipped, and the difference taken from the total, so an infinite weight that is not
    // clipped makes the total NaN (infinity minus infinity).
    zeSml(const zeSml& source);
    // Copies all members as they are, also `m_is_new`. So set it to true afterwards if this bag is
    // to be stored in place of an older one.
    zeSml& operator=(const zeSml& source) = default;

    // RAISES: qtX<zeSml> 0 "Invalid clipping value" for a negative value.
    static void check_clipping_value(double clip_value);
    // Returns `weight`, or this bag's ceiling if the bag has one that is less.
    double clip_weight(double weight) const noexcept;
    // Appends the feeder's concepts, clipped to this bag's ceiling, and sorts. A bag that is not
    // empty keeps its concepts, so a concept can then be there twice.
    // COST: at most n log n comparisons of text.
    void feed(const zeSml_feeder& feeder);
    // Does the same, and empties the feeder. Moving handles does not access their records, which
    // are spread over the memory.
    void feed(zeSml_feeder&& feeder);
    // Clips all weights to the bag's own ceiling and returns true. Does nothing and returns false
    // if `clip_value` is 0 or the bag has a ceiling below `clip_value`. `clip_value` is used only
    // for this decision: it does not become the ceiling.
    bool clip(double clip_value);
    void sort_concepts();
    // REQUIRES: sorted entries.  COST: a binary search.
    bool concept_exists(const Concept& wanted) const;
    // Exact equality of total, clip value, weights and concepts. `m_is_new` is not compared.
    bool operator==(const zeSml& other) const;

    bool operator!=(const zeSml& other) const { return !(*this == other); }

    // Writes the record: total, clip value, number of concepts, and each concept with its weight,
    // in the bag's order.
    void Dump(Hio<Generic32>& io) const;
    // Appends the entries of a record, and replaces the total and the clip value. The weights, the
    // order of the entries, the total and the clip value are taken as they are, without a check.
    // Call it only for a new bag, since a bag with entries keeps them. If it fails, the entries
    // that were read remain in the bag.
    // RAISES: the exceptions of the stream.
    void Load(Hio<Generic32>& io);

    // Returns a bag under a ceiling: the source itself if `clip_value` is 0 or the source has a
    // ceiling below `clip_value`, otherwise a clipped copy.
    // REQUIRES: `source` is not null.
    static qtPtrLight<zeSml> get_clipped_sml(const qtPtrLight<zeSml>& source, double clip_value);

    std::vector<Concept_info> m_concepts;
    double m_total_weight = 0.0;  // sum of the weights after clipping
    double m_clip_value = 0.0;    // ceiling of one weight; 0 means none
    bool m_is_new = true;         // not stored since it was made or changed

private:
    friend class zeMsg;

    // Does the same with the reader of a message.
    void Load(zandrel::detail::Record_reader& reader);
    void LoadEntries(zandrel::detail::Record_reader& reader, unsigned int count);
    // Appends the entries, clipped to this bag's ceiling, and sorts. `take`: returns the concept of
    // an entry, as a copy or moved.
    template <class Weights, class Take>
    void append_in_text_order(Weights& weights, const Take& take);
};

// Reads one concept from the stream, without conversion. Only the instance for Generic32 exists.
template <class T>
Concept ReadConcept(Hio<T>& io);

extern template ZANDREL_EXPORT Concept ReadConcept<Generic32>(Hio<Generic32>& io);

#endif  // ZANDREL_MESSAGES_ZESML_H_
