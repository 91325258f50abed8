// Kept_training: the part of a statistical model that only training needs, as bytes of its record.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_KEPT_TRAINING_H_
#define ZANDREL_STATISTICS_KEPT_TRAINING_H_

#include <cstddef>
#include <vector>

#include "zandrel/storage/Hio.h"
#include "zandrel/storage/Record_reader.h"
#include "zandrel/storage/SegBuf.h"

namespace zandrel::detail {

// The bytes of an entry of a list: the length of its text, and its numbers.
inline constexpr unsigned int kTextOverhead = 4;
inline constexpr unsigned int kConceptInfoNumbersSize = 20;  // weight, rate, number of profiles
inline constexpr unsigned int kPNumbersSize = 10;            // weight, mark, life

// The record of a model, which is not scrambled, and the places of the training data in it. In a
// model of 20 categories with 10,000 features, the training data are 99 % of the record.
struct Kept_training {
    struct Part {
        unsigned int begin = 0;
        unsigned int end = 0;
    };

    // Skips the table of all concepts, or the histogram and the concepts of a profile, and returns
    // its place. Only lengths are read.
    // RAISES: the exceptions of reading it, for a record that ends too early.
    Part PassConceptInfos(Hio<HSegment>& io);
    Part PassTraining(Hio<HSegment>& io);

    // Writes a part: its bytes, with each text converted if `io` has a converter.
    void DumpConceptInfos(Hio<HSegment>& io);
    void DumpTraining(Hio<HSegment>& io, std::size_t iprofile);

    SegBuf record;
    Part concept_infos;
    std::vector<Part> profiles;
    bool has_concepts = false;
    // True if, at the time of the load, a setting could make weights below 0
    // (zeStat_storage::has_signed_settings).
    bool has_signed_settings = false;

private:
    template <class Pass>
    static Part Passed(Hio<HSegment>& io, Pass&& pass);
    void PassConcepts(Record_reader& reader, unsigned int number_size);
    void DumpBytes(Hio<HSegment>& io, const Part& part) const;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_KEPT_TRAINING_H_
