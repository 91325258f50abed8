// First the effect of each concept is divided by the number of its words in the text, then each
// place of the concept gives its words their parts.
#include "text/model/Word_effects.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>

namespace zandrel {

namespace {

struct Concept_use {
    const Concept_effect* effect;
    std::size_t word_count = 0;  // of all its places
};

using Concept_uses = std::map<std::string_view, Concept_use>;

Concept_uses uses_of(const Text_places& places, const std::vector<Concept_effect>& concepts) {
    Concept_uses uses;
    for (const Concept_effect& effect : concepts) {
        uses.insert({effect.concept_text, {&effect}});
    }
    for (const Placed_concept& placed : places.concepts) {
        const auto use = uses.find(placed.concept_text);
        if (use != uses.end()) {
            use->second.word_count += placed.word_count;
        }
    }
    return uses;
}

void add_part(const Word_effect& part, Word_effect& word) {
    word.adds += part.adds;
    word.log_odds_adds += part.log_odds_adds;
    word.is_known = word.is_known || part.is_known;
}

std::vector<Word_effect> without_overlaps(const std::vector<Word_effect>& words) {
    std::vector<Word_effect> joined;
    for (const Word_effect& word : words) {
        if (joined.empty() || joined.back().place.end <= word.place.begin) {
            joined.push_back(word);
        } else {
            joined.back().place.end = std::max(joined.back().place.end, word.place.end);
            add_part(word, joined.back());
        }
    }
    return joined;
}

}  // namespace

std::vector<Word_effect> word_effects(const Text_places& places,
                                      const std::vector<Concept_effect>& concepts) {
    std::vector<Word_effect> words;
    words.reserve(places.words.size());
    for (const Text_range& place : places.words) {
        words.push_back({place});
    }
    const Concept_uses uses = uses_of(places, concepts);
    for (const Placed_concept& placed : places.concepts) {
        const auto use = uses.find(placed.concept_text);
        if (use == uses.end()) {
            continue;
        }
        const Concept_effect& effect = *use->second.effect;
        const auto parts = static_cast<double>(use->second.word_count);
        for (std::size_t i = 0; i < placed.word_count; ++i) {
            add_part({{}, effect.adds / parts, effect.log_odds_adds / parts, effect.is_known},
                     words[placed.first_word + i]);
        }
    }
    return without_overlaps(words);
}

}  // namespace zandrel
