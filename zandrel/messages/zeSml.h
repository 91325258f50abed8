// zeSml: the bag of weighted concepts that stands for the content of a message.
#ifndef ZANDREL_MESSAGES_ZESML_H_
#define ZANDREL_MESSAGES_ZESML_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/messages/zeSml_feeder.h"
#include "zandrel/storage/Hio.h"

// A bag of concepts with their weights, sorted by text. Every statistical decision reads one.
//
// A bag can carry a clip value: a ceiling on any single weight, so that one term repeated many
// times cannot dominate. Trainers and classifiers never change a message's own bag; they ask for
// a clipped view by `get_clipped_sml`, which shares the bag where clipping cannot change it.
//
// After `feed` into an empty bag the entries are sorted by `CompareConcepts` and each concept
// stands once. `m_total_weight` is kept by addition and subtraction, never recomputed.
//
// Errors: a negative clip value raises qtX<zeSml> 0 "Invalid clipping value" before anything is
// built or changed; not-a-number passes.
// Threads: one at a time in the whole process, since a bag shares its concepts with all others.
class ZANDREL_EXPORT zeSml {
public:
    struct Concept_info {
        Concept m_concept;
        double m_weight = 0.0;
    };

    // The order of a bag: the text order of qtString, never that of a locale.
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
    // The clipped copy. Its ceiling is the tighter of the source's and `clip_value`: a copy never
    // loosens one, and 0 tightens nothing.
    zeSml(const zeSml& source, double clip_value);

    // The copy under the source's own ceiling: new, as every bag that was just made.
    zeSml(const zeSml& source);
    zeSml& operator=(const zeSml& source) = default;

    // RAISES: qtX<zeSml> 0 "Invalid clipping value" for a negative value.
    static void check_clipping_value(double clip_value);
    // `weight` held under this bag's ceiling.
    double clip_weight(double weight) const noexcept;
    // Appends the feeder's concepts under this bag's ceiling and sorts. A bag that holds concepts
    // already keeps them, so a concept can then stand twice.
    // COST: n log n comparisons of text.
    void feed(const zeSml_feeder& feeder);
    // The same; the feeder is empty afterwards. Moving handles costs no access to their records,
    // which are all over the memory.
    void feed(zeSml_feeder&& feeder);
    // Holds all weights under the bag's own ceiling and returns true; does nothing and returns
    // false if `clip_value` is 0 or above the bag's ceiling. The argument only decides whether the
    // pass is made: it is not stored.
    bool clip(double clip_value);
    void sort_concepts();
    // REQUIRES: sorted entries.  COST: a binary search.
    bool concept_exists(const Concept& wanted) const;
    // Exact equality of total, clip value, weights and concepts; `m_is_new` plays no part.
    bool operator==(const zeSml& other) const;

    bool operator!=(const zeSml& other) const { return !(*this == other); }

    // The record: total, clip value, count, then each concept with its weight, in the bag's order.
    void Dump(Hio<Generic32>& io) const;
    // Appends the entries of a record and takes over its total and clip value, none of which is
    // checked; meant for a newly made bag. What an error breaks off stays in the bag.
    // RAISES: what the stream raises.
    void Load(Hio<Generic32>& io);

    // The view of a bag under a ceiling: the source itself if `clip_value` is 0 or above the
    // source's own ceiling, otherwise a clipped copy.
    // REQUIRES: `source` is not null.
    static qtPtrLight<zeSml> get_clipped_sml(const qtPtrLight<zeSml>& source, double clip_value);

    std::vector<Concept_info> m_concepts;
    double m_total_weight = 0.0;  // of the weights as they stand after clipping
    double m_clip_value = 0.0;    // ceiling of one weight; 0 means none
    bool m_is_new = true;         // not stored since it was made or changed

private:
    // Appends the entries, under this bag's ceiling, and sorts. `take`: makes of the concept of an
    // entry what is appended.
    template <class Weights, class Take>
    void append_in_text_order(Weights& weights, const Take& take);
};

// Reads one concept as it stands in the stream, without conversion. Made for Generic32.
template <class T>
Concept ReadConcept(Hio<T>& io);

extern template ZANDREL_EXPORT Concept ReadConcept<Generic32>(Hio<Generic32>& io);

#endif  // ZANDREL_MESSAGES_ZESML_H_
