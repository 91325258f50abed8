// Word_analysis: concepts are the normalised words of a text in any script.
#ifndef ZANDREL_TEXT_ANALYSIS_WORD_ANALYSIS_H_
#define ZANDREL_TEXT_ANALYSIS_WORD_ANALYSIS_H_

#include <string>
#include <string_view>

#include "text/analysis/Text_analysis.h"
#include "text/analysis/Tokenizer.h"

namespace zandrel {

// Each word is a concept; Tokenizer.h defines words. All other characters separate: "Don't pay
// $1,299.99!!" gives don t pay 1 299 99.
class Word_analysis : public Text_analysis {
public:
    // RAISES: as Tokenizer's constructor.
    explicit Word_analysis(const std::string& stem_language = {});

    void feed_words(std::string_view text, Word_look_up& words, zeSml_feeder& feeder) override;
    std::string_view whole_concept(std::string_view text) override;
    Text_places places(std::string_view text) override;

private:
    Tokenizer m_tokenizer;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_WORD_ANALYSIS_H_
