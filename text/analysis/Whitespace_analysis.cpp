// The only analysis that does not decode the text: "Caf\xE9 A" gives the concepts "Caf\xE9" and
// "A".
#include "text/analysis/Whitespace_analysis.h"

#include <algorithm>
#include <cstddef>

#include "zandrel/foundation/Concept.h"

namespace zandrel {

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

}  // namespace

void Whitespace_analysis::feed(std::string_view text, zeSml_feeder& feeder) {
    std::size_t start = text.find_first_not_of(kWhiteSpace);
    while (start != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(kWhiteSpace, start), text.size());
        feeder.add_concept(Concept::insert_view(text.substr(start, end - start)), 1.0);
        start = text.find_first_not_of(kWhiteSpace, end);
    }
}

std::string_view Whitespace_analysis::whole_concept(std::string_view text) {
    const std::size_t start = text.find_first_not_of(kWhiteSpace);
    const std::size_t end = text.find_last_not_of(kWhiteSpace) + 1;
    if (start == std::string_view::npos) {
        return {};
    }
    const std::string_view run = text.substr(start, end - start);
    return run.find_first_of(kWhiteSpace) == std::string_view::npos ? run : std::string_view();
}

}  // namespace zandrel
