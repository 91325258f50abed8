#include "cli/text/Text_analysis.h"

#include "cli/text/Whitespace_analysis.h"
#include "cli/text/Word_analysis.h"

namespace cli {

Text_analysis::~Text_analysis() = default;

std::unique_ptr<Text_analysis> make_text_analysis(Analysis_kind kind) {
    if (kind == Analysis_kind::kWhitespace) {
        return std::make_unique<Whitespace_analysis>();
    }
    return std::make_unique<Word_analysis>();
}

}  // namespace cli
