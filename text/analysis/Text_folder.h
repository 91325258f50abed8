// Text_folder: normalises texts, so that different spellings of a word become equal.
#ifndef ZANDREL_TEXT_ANALYSIS_TEXT_FOLDER_H_
#define ZANDREL_TEXT_ANALYSIS_TEXT_FOLDER_H_

#include <cstddef>
#include <string>
#include <string_view>

#include <unicode/normalizer2.h>

namespace zandrel {

// Converts texts to Unicode's form NFKC_Casefold. In this form, spellings that differ only in case,
// width, ligatures, or in composed and combining accents are equal. Invisible characters, such as
// soft hyphens, are removed.
//
// At most 30 combining marks in a row are folded as one unit, as in Unicode's stream-safe text
// format. The 31st mark begins a new unit: it stays after the others, and is not composed with the
// letter before them. So the time is linear in the length of any text. No language needs more than
// a few marks on a letter.
class Text_folder {
public:
    // RAISES: std::runtime_error if ICU's data are missing.
    Text_folder();

    // The folded form of the text. Bytes that are not UTF-8 either stay or become U+FFFD.
    // RAISES: std::length_error for a text of 2 GiB or more that is not only ASCII.
    // VALID UNTIL: the next call.
    std::string_view fold(std::string_view text);

private:
    // Puts the folded form of an ASCII text into `m_folded`. Returns false for any other text; then
    // `m_folded` has no meaning.
    bool fold_ascii(std::string_view text);
    void fold_any(std::string_view text);
    // The number of bytes of the first unit.
    std::size_t unit_size(std::string_view text) const;

    const icu::Normalizer2* m_normalizer;  // BORROWS: from ICU, until the process ends
    std::string m_folded;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_TEXT_FOLDER_H_
