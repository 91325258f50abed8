// Shows the concepts that a text analysis finds in a text.
#ifndef ZANDREL_TESTS_CLI_ANALYSED_H_
#define ZANDREL_TESTS_CLI_ANALYSED_H_

#include <cmath>
#include <string>
#include <string_view>

#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/analysis/Text_analysis.h"

namespace zandrel::cli {

// The concepts in text order, with a separator between them; "word*3" for a weight of 3.
inline std::string shown(const zeSml_feeder& feeder, std::string_view between = " ") {
    const zeSml bag(feeder, 0.0);
    std::string line;
    for (const zeSml::Concept_info& entry : bag.m_concepts) {
        line += line.empty() ? "" : between;
        line += entry.m_concept.view();
        if (entry.m_weight != 1.0) {
            line += "*" + std::to_string(std::lround(entry.m_weight));
        }
    }
    return line;
}

inline std::string analysed(Text_analysis& analysis, std::string_view text,
                            std::string_view between = " ") {
    zeSml_feeder feeder;
    analysis.feed(text, feeder);
    return shown(feeder, between);
}

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_ANALYSED_H_
