// Text_places: the places of the concepts of a text, for callers that show the text itself.
#ifndef ZANDREL_TEXT_ANALYSIS_TEXT_PLACES_H_
#define ZANDREL_TEXT_ANALYSIS_TEXT_PLACES_H_

#include <cstddef>
#include <string>
#include <vector>

namespace zandrel {

// Bytes of a text: from `begin` up to, but not including, `end`.
struct Text_range {
    std::size_t begin = 0;
    std::size_t end = 0;

    bool operator==(const Text_range&) const = default;
};

// A concept at one of its places in a text. It covers `word_count` words of Text_places::words,
// from the index `first_word`.
struct Placed_concept {
    std::string concept_text;
    std::size_t first_word = 0;
    std::size_t word_count = 1;

    bool operator==(const Placed_concept&) const = default;
};

// The words of a text, and the concepts that the analysis makes of them.
//
// Example: "Un-do it" as phrases has the words [0, 2), [2, 3), [3, 5) and [6, 8). The concepts are
// `un`, `-`, `do` and `it` with one word each, and `un -`, `- do` and `do it` with two.
//
// Words are in the order of the text: neither the begins nor the ends decrease. Words overlap where
// one character becomes several words: "½" becomes `1`, `⁄` and `2` as signs are words too, and all
// three are at the place of "½". No word is empty. A range begins and ends between two characters,
// if the text is UTF-8.
struct Text_places {
    std::vector<Text_range> words;
    // In the order in which the analysis adds them. A concept is in it as often as in the text.
    std::vector<Placed_concept> concepts;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_TEXT_PLACES_H_
