// word_effects: the effect of each word of a text, for callers that colour the text itself.
#ifndef ZANDREL_TEXT_MODEL_WORD_EFFECTS_H_
#define ZANDREL_TEXT_MODEL_WORD_EFFECTS_H_

#include <vector>

#include "text/analysis/Text_places.h"
#include "text/model/Explanation.h"

namespace zandrel {

// The effect of a word at its place in a text.
struct Word_effect {
    Text_range place;   // never empty
    double adds = 0.0;  // to the score
    // To the log odds. Use it for colours: it differs also where the answer is certain.
    double log_odds_adds = 0.0;
    bool is_known = false;  // a concept with this word was learned

    bool operator==(const Word_effect&) const = default;
};

// Divides the effect of each concept among the words that it covers, equally, and adds up what each
// word gets. So the effects of all words are together the effects of all concepts. The words are in
// the order of the text, and do not overlap: words that share a character become one.
//
// Example: "no no way" as phrases, with the effects `no` 0.6, `way` 0.1, `no no` 0.2, `no way` 0.4.
// Each "no" gets 0.3 of `no` and 0.1 of `no no`. The second one and "way" get 0.2 of `no way` each.
// The sums are 0.4, 0.6 and 0.3.
//
// `concepts`: all of an explanation (before keep_first) of the text of `places`. A concept without
// an effect in the list has the effect 0 and is unknown.
// COST: linear in the words, times the logarithm of the number of concepts.
std::vector<Word_effect> word_effects(const Text_places& places,
                                      const std::vector<Concept_effect>& concepts);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_WORD_EFFECTS_H_
