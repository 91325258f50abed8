// The tokenizer keeps the tokens in one line with a blank after each, so a pair is a part of this
// line and needs no copy. All tokens are added first, then all pairs.
#include "text/analysis/Phrase_analysis.h"

#include <cstddef>

#include "text/analysis/feed_texts.h"

namespace zandrel {

Phrase_analysis::Phrase_analysis(const std::string& stem_language)
    : m_tokenizer(Token_style::kWordsAndSigns, stem_language) {}

void Phrase_analysis::feed_words(std::string_view text, Word_look_up& words, zeSml_feeder& feeder) {
    m_tokenizer.cut(text);
    const std::size_t count = m_tokenizer.token_count();
    feed_texts(
        count, [this](std::size_t i) { return m_tokenizer.token(i); }, words, feeder);
    feed_texts(
        count == 0 ? 0 : count - 1, [this](std::size_t i) { return m_tokenizer.pair(i); }, words,
        feeder);
}

std::string_view Phrase_analysis::whole_concept(std::string_view text) {
    m_tokenizer.cut(text);
    switch (m_tokenizer.token_count()) {
        case 1:
            return m_tokenizer.token(0);
        case 2:
            return m_tokenizer.pair(0);
        default:
            return {};
    }
}

Text_places Phrase_analysis::places(std::string_view text) {
    Text_places places;
    places.words = m_tokenizer.cut_with_ranges(text);
    for (std::size_t i = 0; i < places.words.size(); ++i) {
        places.concepts.push_back({std::string(m_tokenizer.token(i)), i, 1});
    }
    for (std::size_t i = 1; i < places.words.size(); ++i) {
        places.concepts.push_back({std::string(m_tokenizer.pair(i - 1)), i - 1, 2});
    }
    return places;
}

}  // namespace zandrel
