// Word_analysis: the words of a text in any script, spelled alike.
#ifndef ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_
#define ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_

#include <string>
#include <string_view>

#include "cli/text/Text_analysis.h"
#include "cli/text/Tokenizer.h"

namespace cli {

// Each word is a concept; Tokenizer says what a word is. Everything else separates:
// "Don't pay $1,299.99!!" gives don t pay 1 299 99.
class Word_analysis : public Text_analysis {
public:
    // RAISES: as Tokenizer's constructor.
    explicit Word_analysis(const std::string& stem_language = {});

    void feed(std::string_view text, zeSml_feeder& feeder) override;

private:
    Tokenizer m_tokenizer;
};

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_
