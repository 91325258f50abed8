// ASCII texts only need lower case. All others are normalised by ICU, unit by unit.
//
// Examples of the form NFKC_Casefold:
//
//   Straße                 strasse    case: ß folds to ss
//   ＡＢＣ (full width)     abc        width and case
//   ﬁne (one letter ﬁ)     fine       ligature
//   e + U+0301             é          composed: bytes 65 CC 81 become C3 A9
//   co + soft hyphen + op  coop       the invisible character is removed
//
// ICU sorts a run of combining marks by their classes, in a time that is quadratic in the length of
// the run. A text of a million marks would take 10^12 steps. So we cut the text: unit_size ends a
// unit before the 31st mark of a run. "a" with 40 marks becomes two units: "a" with 30 marks, and
// the other 10 marks.
#include "text/analysis/Text_folder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include <unicode/bytestream.h>
#include <unicode/edits.h>
#include <unicode/utf8.h>

namespace zandrel {

namespace {

constexpr int kMostMarks = 30;  // as in Unicode's stream-safe text format

void check(UErrorCode error) {
    if (U_FAILURE(error)) {
        throw std::runtime_error(std::string("ICU: ") + u_errorName(error));
    }
}

// The range of a unit that begins at `start`. ICU counts from the beginning of the unit.
Text_range range_at(std::size_t start, std::int32_t index, std::int32_t length) {
    const std::size_t begin = start + static_cast<std::size_t>(index);
    return {begin, begin + static_cast<std::size_t>(length)};
}

}  // namespace

const Folded_places::Change* Folded_places::change_before(std::size_t folded) const {
    const auto after = std::upper_bound(
        m_changes.begin(), m_changes.end(), folded,
        [](std::size_t place, const Change& change) { return place < change.folded.begin; });
    return after == m_changes.begin() ? nullptr : &*(after - 1);
}

// A place after a change is as far behind its end as in the folded text.
Text_range Folded_places::range_in_text(Text_range folded) const {
    Text_range range = folded;
    if (const Change* const change = change_before(folded.begin)) {
        range.begin = folded.begin < change->folded.end
                          ? change->text.begin
                          : change->text.end + (folded.begin - change->folded.end);
    }
    if (const Change* const change = change_before(folded.end - 1)) {
        range.end = folded.end <= change->folded.end
                        ? change->text.end
                        : change->text.end + (folded.end - change->folded.end);
    }
    return range;
}

Text_folder::Text_folder() {
    UErrorCode error = U_ZERO_ERROR;
    m_normalizer = icu::Normalizer2::getNFKCCasefoldInstance(error);
    check(error);
}

std::string_view Text_folder::fold(std::string_view text) {
    if (!fold_ascii(text)) {
        fold_any(text, nullptr);
    }
    return m_folded;
}

std::string_view Text_folder::fold(std::string_view text, Folded_places& places) {
    places.m_changes.clear();
    if (!fold_ascii(text)) {
        fold_any(text, &places);
    }
    return m_folded;
}

// In ASCII, the form changes only upper case to lower case.
bool Text_folder::fold_ascii(std::string_view text) {
    m_folded.resize(text.size());
    unsigned int all_bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned int byte = static_cast<unsigned char>(text[i]);
        const unsigned int case_bit = byte - 'A' < 26U ? 0x20U : 0U;
        all_bits |= byte;
        m_folded[i] = static_cast<char>(byte | case_bit);
    }
    return all_bits < 0x80;
}

void Text_folder::fold_any(std::string_view text, Folded_places* places) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::length_error("a text of 2 GiB or more cannot be analysed");
    }
    m_folded.clear();
    icu::StringByteSink<std::string> sink(&m_folded);
    icu::Edits edits;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t size = unit_size(text.substr(start));
        const std::size_t folded_start = m_folded.size();
        UErrorCode error = U_ZERO_ERROR;
        m_normalizer->normalizeUTF8(
            0, icu::StringPiece(text.data() + start, static_cast<std::int32_t>(size)), sink,
            places == nullptr ? nullptr : &edits, error);
        check(error);
        if (places != nullptr) {
            for (icu::Edits::Iterator edit = edits.getFineChangesIterator();
                 edit.next(error) != 0;) {
                places->m_changes.push_back(
                    {range_at(folded_start, edit.destinationIndex(), edit.newLength()),
                     range_at(start, edit.sourceIndex(), edit.oldLength())});
            }
            check(error);
        }
        start += size;
    }
}

// We count the characters without a boundary before them, not only marks: a character that the form
// removes, such as a soft hyphen, does not end a run.
std::size_t Text_folder::unit_size(std::string_view text) const {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    int marks = 0;
    for (std::size_t next = 0; next < text.size();) {
        const std::size_t start = next;
        UChar32 character = 0;
        U8_NEXT(bytes, next, text.size(), character);
        if (character < 0x80 || m_normalizer->hasBoundaryBefore(character) != 0) {
            marks = 0;
        } else if (++marks > kMostMarks) {
            return start;
        }
    }
    return text.size();
}

}  // namespace zandrel
