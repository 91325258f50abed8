#include "cli/text/Phrase_analysis.h"

#include <cstddef>

#include "zandrel/foundation/Concept.h"

namespace cli {

Phrase_analysis::Phrase_analysis(const std::string& stem_language)
    : m_tokenizer(Token_style::kWordsAndSigns, stem_language) {}

void Phrase_analysis::feed(std::string_view text, zeSml_feeder& feeder) {
    m_tokenizer.cut(text);
    for (std::size_t i = 0; i < m_tokenizer.token_count(); ++i) {
        feeder.add_concept(Concept::insert_view(m_tokenizer.token(i)), 1.0);
    }
    for (std::size_t i = 0; i + 1 < m_tokenizer.token_count(); ++i) {
        feeder.add_concept(Concept::insert_view(m_tokenizer.pair(i)), 1.0);
    }
}

}  // namespace cli
