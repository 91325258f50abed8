// Whitespace_analysis: concepts are the parts of a text between ASCII white space.
#ifndef ZANDREL_TEXT_ANALYSIS_WHITESPACE_ANALYSIS_H_
#define ZANDREL_TEXT_ANALYSIS_WHITESPACE_ANALYSIS_H_

#include <string_view>
#include <vector>

#include "text/analysis/Text_analysis.h"

namespace zandrel {

// For texts that consist of tokens already. Splits at ASCII white space (space, tab, line feed,
// vertical tab, form feed, carriage return), and does not change the bytes between, whatever their
// encoding.
class Whitespace_analysis : public Text_analysis {
public:
    void feed_words(std::string_view text, Word_look_up& words, zeSml_feeder& feeder) override;
    std::string_view whole_concept(std::string_view text) override;
    Text_places places(std::string_view text) override;

private:
    // Puts the parts of the text into `m_parts`.
    void cut(std::string_view text);

    std::vector<std::string_view> m_parts;  // of the text that is fed
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_WHITESPACE_ANALYSIS_H_
