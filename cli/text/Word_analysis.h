// Word_analysis: the words of a text in any script, spelled alike.
#ifndef ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_
#define ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_

#include <string>
#include <string_view>

#include <unicode/normalizer2.h>

#include "cli/text/Text_analysis.h"

namespace cli {

// The words of the text in Unicode's form NFKC_Casefold, which makes one word of spellings that
// differ in case, width, ligatures, or in composed and combining accents. It also removes
// characters that are not seen, such as soft hyphens.
//
// A word is a maximal run of letters, marks and numbers (general categories L, M and N). Each
// character of the scripts Han, Hiragana and Katakana is a word of its own, since those write no
// spaces. Everything else separates: "Don't pay $1,299.99!!" gives don t pay 1 299 99.
//
// Bytes that are no UTF-8 count as U+FFFD, the replacement character, which separates.
class Word_analysis : public Text_analysis {
public:
    // RAISES: std::runtime_error if ICU's data are missing.
    Word_analysis();

    void feed(std::string_view text, zeSml_feeder& feeder) override;

private:
    // Puts the text's folded form into `m_folded`.
    void fold(std::string_view text);

    const icu::Normalizer2* m_normalizer;  // BORROWS: ICU's own, which lives as long as the process
    std::string m_folded;
};

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_WORD_ANALYSIS_H_
