// Text_folder: normalises texts, so that different spellings of a word become equal.
#ifndef ZANDREL_TEXT_ANALYSIS_TEXT_FOLDER_H_
#define ZANDREL_TEXT_ANALYSIS_TEXT_FOLDER_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/normalizer2.h>

#include "text/analysis/Text_places.h"

namespace zandrel {

// The places of a folded text in the text from which it was made.
//
// Example: "Straße" becomes "strasse". The bytes [4, 6) of both are "ß" and "ss"; the others are at
// the same places. So the range [4, 5), the first "s" of "ss", is [4, 6) in the text: the whole
// character.
class Folded_places {
public:
    // Returns the range of the text that became a range of the folded text. A character of which
    // only a part became the range belongs to it.
    // REQUIRES: not empty, and a part of the folded text.
    // COST: logarithmic in the number of changes.
    Text_range range_in_text(Text_range folded) const;

private:
    friend class Text_folder;

    // A part of the text that folding changed. Between two changes nothing is different.
    struct Change {
        Text_range folded;  // empty for characters that were removed
        Text_range text;
    };

    // Returns the last change that begins at or before a byte of the folded text, or null.
    const Change* change_before(std::size_t folded) const;

    std::vector<Change> m_changes;  // in the order of the text
};

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
    // The same, and replaces `places` by the places of the folded text.
    std::string_view fold(std::string_view text, Folded_places& places);

private:
    // Puts the folded form of an ASCII text into `m_folded`. Returns false for any other text; then
    // `m_folded` has no meaning.
    bool fold_ascii(std::string_view text);
    // `places`: null: they are not wanted.
    void fold_any(std::string_view text, Folded_places* places);
    // The number of bytes of the first unit.
    std::size_t unit_size(std::string_view text) const;

    const icu::Normalizer2* m_normalizer;  // BORROWS: from ICU, until the process ends
    std::string m_folded;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_TEXT_FOLDER_H_
