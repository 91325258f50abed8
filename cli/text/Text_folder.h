// Text_folder: gives texts the form in which spellings of one word are alike.
#ifndef ZANDREL_CLI_TEXT_TEXT_FOLDER_H_
#define ZANDREL_CLI_TEXT_TEXT_FOLDER_H_

#include <cstddef>
#include <string>
#include <string_view>

#include <unicode/normalizer2.h>

namespace cli {

// Folds texts to Unicode's form NFKC_Casefold, which makes one word of spellings that differ in
// case, width, ligatures, or in composed and combining accents. It also removes characters that are
// not seen, such as soft hyphens.
//
// At most 30 combining marks in a row are folded as one unit, as in Unicode's stream-safe text
// format. The 31st begins a new unit: it keeps its place behind the others, and is not composed
// with a letter before them. So the time is linear in the length of any text. No language needs
// more than a few marks on a letter.
class Text_folder {
public:
    // RAISES: std::runtime_error if ICU's data are missing.
    Text_folder();

    // The text's folded form. Bytes that are no UTF-8 stay no UTF-8 or become U+FFFD.
    // RAISES: std::length_error for a text of 2 GiB or more that is not ASCII alone.
    // VALID UNTIL: the next call.
    std::string_view fold(std::string_view text);

private:
    // Puts the folded form of an ASCII text into `m_folded`; false for any other text, which
    // leaves nothing of use there.
    bool fold_ascii(std::string_view text);
    void fold_any(std::string_view text);
    // The bytes of the text's first unit.
    std::size_t unit_size(std::string_view text) const;

    const icu::Normalizer2* m_normalizer;  // BORROWS: ICU's own, which lives as long as the process
    std::string m_folded;
};

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_TEXT_FOLDER_H_
