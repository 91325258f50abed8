// The tokenizer finds the words; feed_texts looks their concepts up, many at a time.
#include "text/analysis/Word_analysis.h"

#include <cstddef>

#include "text/analysis/feed_texts.h"

namespace zandrel {

Word_analysis::Word_analysis(const std::string& stem_language)
    : m_tokenizer(Token_style::kWords, stem_language) {}

void Word_analysis::feed_words(std::string_view text, Word_look_up& words, zeSml_feeder& feeder) {
    m_tokenizer.cut(text);
    feed_texts(
        m_tokenizer.token_count(), [this](std::size_t i) { return m_tokenizer.token(i); }, words,
        feeder);
}

std::string_view Word_analysis::whole_concept(std::string_view text) {
    m_tokenizer.cut(text);
    return m_tokenizer.token_count() == 1 ? m_tokenizer.token(0) : std::string_view();
}

Text_places Word_analysis::places(std::string_view text) {
    Text_places places;
    places.words = m_tokenizer.cut_with_ranges(text);
    for (std::size_t i = 0; i < places.words.size(); ++i) {
        places.concepts.push_back({std::string(m_tokenizer.token(i)), i, 1});
    }
    return places;
}

}  // namespace zandrel
