#include "cli/text/Word_analysis.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include <unicode/bytestream.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include "zandrel/foundation/Concept.h"

namespace cli {

namespace {

enum class Char_kind { kSeparator, kPartOfWord, kWordByItself };

constexpr std::uint32_t kWordCategories = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;

// The first character of the scripts that write no spaces is the first CJK radical; below it there
// is no need to ask for the script.
constexpr UChar32 kFirstUnspaced = 0x2E80;

void check(UErrorCode error) {
    if (U_FAILURE(error)) {
        throw std::runtime_error(std::string("ICU: ") + u_errorName(error));
    }
}

bool is_unspaced(UChar32 character) {
    UErrorCode error = U_ZERO_ERROR;
    switch (uscript_getScript(character, &error)) {
        case USCRIPT_HAN:
        case USCRIPT_HIRAGANA:
        case USCRIPT_KATAKANA:
            return true;
        default:
            return false;
    }
}

Char_kind kind_of(UChar32 character) {
    if (character >= kFirstUnspaced && is_unspaced(character)) {
        return Char_kind::kWordByItself;
    }
    return (U_GET_GC_MASK(character) & kWordCategories) != 0 ? Char_kind::kPartOfWord
                                                             : Char_kind::kSeparator;
}

// The character at a position, which moves on; U+FFFD for bytes that are no UTF-8.
// REQUIRES: next < text.size().
// NOLINTNEXTLINE(readability-function-size): the nesting is that of ICU's macro.
UChar32 take_character(std::string_view text, std::size_t& next) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    UChar32 character = 0;
    U8_NEXT_OR_FFFD(bytes, next, text.size(), character);
    return character;
}

// Cuts text into words and hands each to a feeder. Positions are bytes.
class Word_cutter {
public:
    Word_cutter(std::string_view text, zeSml_feeder& feeder) : m_text(text), m_feeder(feeder) {}

    void cut() {
        std::size_t next = 0;
        while (next < m_text.size()) {
            const std::size_t start = next;
            const UChar32 character = take_character(m_text, next);
            take(kind_of(character), start, next);
        }
        end_word(m_text.size());
    }

private:
    void take(Char_kind kind, std::size_t start, std::size_t end) {
        if (kind == Char_kind::kPartOfWord) {
            return;
        }
        end_word(start);
        if (kind == Char_kind::kWordByItself) {
            end_word(end);
        }
        m_word_start = end;
    }

    // Adds the word that ends here, if there is one, and starts the next.
    void end_word(std::size_t end) {
        if (m_word_start < end) {
            m_feeder.add_concept(
                Concept::insert_view(m_text.substr(m_word_start, end - m_word_start)), 1.0);
        }
        m_word_start = end;
    }

    std::string_view m_text;
    zeSml_feeder& m_feeder;
    std::size_t m_word_start = 0;
};

}  // namespace

Word_analysis::Word_analysis() {
    UErrorCode error = U_ZERO_ERROR;
    m_normalizer = icu::Normalizer2::getNFKCCasefoldInstance(error);
    check(error);
}

void Word_analysis::feed(std::string_view text, zeSml_feeder& feeder) {
    fold(text);
    Word_cutter(m_folded, feeder).cut();
}

void Word_analysis::fold(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::length_error("a text of 2 GiB or more cannot be analysed");
    }
    m_folded.clear();
    icu::StringByteSink<std::string> sink(&m_folded);
    UErrorCode error = U_ZERO_ERROR;
    m_normalizer->normalizeUTF8(
        0, icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())), sink, nullptr,
        error);
    check(error);
}

}  // namespace cli
