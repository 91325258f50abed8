// The only analysis that does not decode the text: "Caf\xE9 A" gives the concepts "Caf\xE9" and
// "A".
#include "text/analysis/Whitespace_analysis.h"

#include <algorithm>
#include <cstddef>

#include "text/analysis/feed_texts.h"

namespace zandrel {

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

}  // namespace

void Whitespace_analysis::cut(std::string_view text) {
    m_parts.clear();
    std::size_t start = text.find_first_not_of(kWhiteSpace);
    while (start != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(kWhiteSpace, start), text.size());
        m_parts.push_back(text.substr(start, end - start));
        start = text.find_first_not_of(kWhiteSpace, end);
    }
}

void Whitespace_analysis::feed_words(std::string_view text, Word_look_up& words,
                                     zeSml_feeder& feeder) {
    cut(text);
    feed_texts(
        m_parts.size(), [this](std::size_t i) { return m_parts[i]; }, words, feeder);
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

Text_places Whitespace_analysis::places(std::string_view text) {
    cut(text);
    Text_places places;
    for (const std::string_view part : m_parts) {
        const auto begin = static_cast<std::size_t>(part.data() - text.data());
        places.concepts.push_back({std::string(part), places.words.size(), 1});
        places.words.push_back({begin, begin + part.size()});
    }
    return places;
}

}  // namespace zandrel
