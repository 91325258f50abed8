#include "cli/text/Text_analysis.h"

#include "cli/text/Phrase_analysis.h"
#include "cli/text/Whitespace_analysis.h"
#include "cli/text/Word_analysis.h"

namespace cli {

Text_analysis::~Text_analysis() = default;

std::unique_ptr<Text_analysis> make_text_analysis(const Analysis_settings& settings) {
    switch (settings.kind) {
        case Analysis_kind::kWhitespace:
            return std::make_unique<Whitespace_analysis>();
        case Analysis_kind::kWords:
            return std::make_unique<Word_analysis>(settings.stem_language);
        case Analysis_kind::kPhrases:
            break;
    }
    return std::make_unique<Phrase_analysis>(settings.stem_language);
}

}  // namespace cli
