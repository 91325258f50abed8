#include "cli/text/Word_analysis.h"

#include <cstddef>

#include "zandrel/foundation/Concept.h"

namespace cli {

Word_analysis::Word_analysis(const std::string& stem_language)
    : m_tokenizer(Token_style::kWords, stem_language) {}

void Word_analysis::feed(std::string_view text, zeSml_feeder& feeder) {
    m_tokenizer.cut(text);
    for (std::size_t i = 0; i < m_tokenizer.token_count(); ++i) {
        feeder.add_concept(Concept::insert_view(m_tokenizer.token(i)), 1.0);
    }
}

}  // namespace cli
