// feed_texts: adds the concepts of an analysis to a feeder, many at a time.
#ifndef ZANDREL_TEXT_ANALYSIS_FEED_TEXTS_H_
#define ZANDREL_TEXT_ANALYSIS_FEED_TEXTS_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/analysis/Text_analysis.h"

namespace zandrel {

// Adds the concepts of the texts `text_of(0)` to `text_of(count - 1)` with weight 1 each. It looks
// up 16 at a time, since most look-ups wait for the memory and can wait together.
template <class Text_of>
void feed_texts(std::size_t count, const Text_of& text_of, Word_look_up& words,
                zeSml_feeder& feeder) {
    constexpr std::size_t kBatch = 16;  // as many as insert_views looks up together
    std::array<std::string_view, kBatch> texts;
    std::array<Concept, kBatch> concepts;
    for (std::size_t begin = 0; begin < count; begin += kBatch) {
        const std::size_t size = std::min(kBatch, count - begin);
        for (std::size_t i = 0; i < size; ++i) {
            texts[i] = text_of(begin + i);
        }
        words.look_up({texts.data(), size}, concepts.data());
        for (std::size_t i = 0; i < size; ++i) {
            feeder.add_concept(concepts[i], 1.0);
        }
    }
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_FEED_TEXTS_H_
