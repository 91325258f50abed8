// Word_analysis: concepts are the normalised words of a text in any script.
#ifndef ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_
#define ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_

#include <string>
#include <string_view>

#include "cli/text/Text_analysis.h"
#include "cli/text/Tokenizer.h"

namespace cli {

// Each word is a concept; Tokenizer.h defines words. All other characters separate: "Don't pay
// $1,299.99!!" gives don t pay 1 299 99.
class Word_analysis : public Text_analysis {
public:
    // RAISES: as Tokenizer's constructor.
    explicit Word_analysis(const std::string& stem_language = {});

    void feed(std::string_view text, zeSml_feeder& feeder) override;
    std::string_view whole_concept(std::string_view text) override;

private:
    Tokenizer m_tokenizer;
};

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_
