// Phrase_analysis: concepts are words, signs, and pairs of neighbours.
#ifndef ZANDREL_TEXT_ANALYSIS_PHRASE_ANALYSIS_H_
#define ZANDREL_TEXT_ANALYSIS_PHRASE_ANALYSIS_H_

#include <string>
#include <string_view>

#include "text/analysis/Text_analysis.h"
#include "text/analysis/Tokenizer.h"

namespace zandrel {

// Each word and each sign is a concept (see Tokenizer), and so is each pair of neighbours, joined
// by one blank, whatever separates them in the text. A token contains no blank, so a pair differs
// from each token. Digits become 0, since the length of a number says more about a text than its
// value: "Pay $1,299!" gives pay, $, 0, the comma, 000, !, and `pay $`, `$ 0`, `0 ,`, `, 000`, `000
// !`.
//
// We keep stop words: without them, short texts lose up to 16 points of accuracy.
class Phrase_analysis : public Text_analysis {
public:
    // RAISES: as Tokenizer's constructor.
    explicit Phrase_analysis(const std::string& stem_language = {});

    void feed_words(std::string_view text, Word_look_up& words, zeSml_feeder& feeder) override;
    std::string_view whole_concept(std::string_view text) override;
    Text_places places(std::string_view text) override;

private:
    Tokenizer m_tokenizer;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_PHRASE_ANALYSIS_H_
