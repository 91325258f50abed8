// How a text becomes tokens in one pass. The tokens are written into one line, each followed by a
// blank, and their starts are noted.
//
// Example: "Pay $1,299!" in the style with signs.
//
//   m_line     pay $ 0 , 000 !_     (_ is the last blank)
//   m_starts   0 4 6 8 10 14 16     six tokens, and the start of a seventh
//
// Token i is the line from m_starts[i] up to the blank before m_starts[i + 1]: token 1 is "$", the
// bytes [4, 5). Pair i ends at the blank before m_starts[i + 2]: pair 3 is ", 000", the bytes
// [8, 13). So pairs need no copy.
//
// A text of ASCII only (cut_ascii) needs no normalisation, and a table says for each byte which
// byte it adds: P adds p, 1 adds 0, a blank ends a word, $ is a token of its own. Any other text,
// or one whose words are stemmed (cut_folded), is normalised first, and ICU knows the kind of each
// character that is not ASCII: "東京 Café 2" has the tokens 東, 京, café and 0.
#include "text/analysis/Tokenizer.h"

#include <algorithm>
#include <array>

#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include "text/analysis/Ascii.h"

namespace zandrel {

enum class Char_kind : std::uint8_t { kSeparator, kLetter, kDigit, kSign, kUnspaced };

namespace {

using Ascii_kinds = std::array<Char_kind, 128>;

constexpr std::uint32_t kLetterCategories = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;
constexpr std::uint32_t kSignCategories = U_GC_P_MASK | U_GC_S_MASK;

// The first CJK radical. Characters below it are not of the scripts that write no spaces, so we
// need not ask ICU for their script.
constexpr UChar32 kFirstUnspaced = 0x2E80;

constexpr UChar32 kReplacementCharacter = 0xFFFD;

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

// The kind of a character in the style with signs. `in_style` converts it to the kind in any style.
Char_kind kind_of(UChar32 character) {
    if (character >= kFirstUnspaced && is_unspaced(character)) {
        return Char_kind::kUnspaced;
    }
    const std::uint32_t category = U_GET_GC_MASK(character);
    if ((category & kLetterCategories) != 0) {
        return category == U_GC_ND_MASK ? Char_kind::kDigit : Char_kind::kLetter;
    }
    const bool is_sign = (category & kSignCategories) != 0 && character != kReplacementCharacter;
    return is_sign ? Char_kind::kSign : Char_kind::kSeparator;
}

// The same for ASCII, in which each visible character is a letter, a digit or a sign.
constexpr Char_kind ascii_kind(std::size_t byte) {
    if (byte - '0' < 10) {
        return Char_kind::kDigit;
    }
    if ((byte | 0x20U) - 'a' < 26) {
        return Char_kind::kLetter;
    }
    return byte > ' ' && byte < 0x7F ? Char_kind::kSign : Char_kind::kSeparator;
}

constexpr Char_kind in_style(Char_kind kind, Token_style style) {
    if (style == Token_style::kWords) {
        if (kind == Char_kind::kDigit) {
            return Char_kind::kLetter;
        }
        if (kind == Char_kind::kSign) {
            return Char_kind::kSeparator;
        }
    }
    return kind;
}

constexpr Ascii_kinds ascii_kinds(Token_style style) {
    Ascii_kinds kinds = {};
    for (std::size_t byte = 0; byte < kinds.size(); ++byte) {
        kinds[byte] = in_style(ascii_kind(byte), style);
    }
    return kinds;
}

// Most characters of most texts are ASCII, so we use tables for ASCII and ask ICU only for the
// others.
constexpr std::array<Ascii_kinds, 2> kAsciiKinds = {ascii_kinds(Token_style::kWords),
                                                    ascii_kinds(Token_style::kWordsAndSigns)};

bool is_ascii(char byte) {
    return static_cast<unsigned char>(byte) < 0x80;
}

// The byte that an ASCII byte adds to a token: a letter in lower case, or a digit, which may become
// 0. Other bytes have one of two marks, which are different from all letters and digits.
constexpr char kSeparates = '\0';
constexpr char kIsToken = '\1';

using Ascii_forms = std::array<char, 256>;

constexpr char ascii_form(std::size_t byte, Token_style style) {
    switch (in_style(ascii_kind(byte), style)) {
        case Char_kind::kLetter: {
            const bool is_upper = byte - 'A' < 26;
            return static_cast<char>(is_upper ? byte | 0x20U : byte);
        }
        case Char_kind::kDigit:
            return '0';
        case Char_kind::kSign:
            return kIsToken;
        default:
            return kSeparates;
    }
}

constexpr Ascii_forms ascii_forms(Token_style style) {
    Ascii_forms forms = {};
    for (std::size_t byte = 0; byte < 128; ++byte) {
        forms[byte] = ascii_form(byte, style);
    }
    return forms;
}

constexpr std::array<Ascii_forms, 2> kAsciiForms = {ascii_forms(Token_style::kWords),
                                                    ascii_forms(Token_style::kWordsAndSigns)};

}  // namespace

Tokenizer::Tokenizer(Token_style style, const std::string& stem_language) : m_style(style) {
    if (!stem_language.empty()) {
        m_stemmer.emplace(stem_language);
    }
}

void Tokenizer::cut(std::string_view text) {
    if (!m_stemmer && is_ascii(text)) {
        cut_ascii(text);
        return;
    }
    m_starts.assign(1, 0);
    cut_folded(m_folder.fold(text));
    m_token_count = m_starts.size() - 1;
}

// A byte of the text becomes at most two bytes of the line, a byte of a token and a blank. One
// table gives the byte and its meaning: "It's" in the style with signs gives "it ' s ". This
// replaces two passes, one that folds and one that finds the kind of each byte.
//
// The line and the starts keep the size that the largest text needed, so that resize() does not
// fill bytes that we overwrite.
void Tokenizer::cut_ascii(std::string_view text) {
    const Ascii_forms& forms = kAsciiForms[static_cast<std::size_t>(m_style)];
    const auto form_at = [&](std::size_t at) {
        return forms[static_cast<unsigned char>(text[at])];
    };
    m_line.resize(std::max(m_line.size(), 2 * text.size() + 1));
    char* const line = m_line.data();
    char* end = line;
    m_token_count = 0;
    const auto end_token_here = [&] {
        *end++ = ' ';
        if (++m_token_count == m_starts.size()) {
            m_starts.resize(2 * m_starts.size());
        }
        m_starts[m_token_count] = static_cast<std::size_t>(end - line);
    };
    for (std::size_t next = 0; next < text.size();) {
        char form = form_at(next);
        if (form <= kIsToken) {
            if (form == kIsToken) {
                *end++ = text[next];
                end_token_here();
            }
            ++next;
            continue;
        }
        do {
            *end++ = form;
            ++next;
            form = next < text.size() ? form_at(next) : kSeparates;
        } while (form > kIsToken);
        end_token_here();
    }
}

void Tokenizer::cut_folded(std::string_view folded) {
    m_line.clear();
    std::size_t next = 0;
    while (next < folded.size()) {
        next = take_next(folded, next);
    }
    end_word();
}

// Each step adds to a word that has begun, or ends this word, or ends it and adds a token of one
// character. So the number of tokens and the end of the line say which ranges are complete.
std::vector<Text_range> Tokenizer::cut_with_ranges(std::string_view text) {
    Folded_places places;
    const std::string_view folded = m_folder.fold(text, places);
    std::vector<Text_range> ranges;
    Text_range word;  // in the folded text, while a word has begun
    m_starts.assign(1, 0);
    m_line.clear();
    for (std::size_t start = 0; start < folded.size();) {
        const bool was_in_word = is_in_word();
        const std::size_t end = take_next(folded, start);
        if (is_in_word()) {
            word = {was_in_word ? word.begin : start, end};
        } else {
            if (was_in_word) {
                ranges.push_back(places.range_in_text(word));
            }
            if (ranges.size() + 1 < m_starts.size()) {
                ranges.push_back(places.range_in_text({start, end}));
            }
        }
        start = end;
    }
    if (is_in_word()) {
        end_word();
        ranges.push_back(places.range_in_text(word));
    }
    m_token_count = m_starts.size() - 1;
    return ranges;
}

std::size_t Tokenizer::take_next(std::string_view folded, std::size_t start) {
    return is_ascii(folded[start]) ? take_ascii(folded, start) : take_other(folded, start);
}

// Takes a run of letters at once.
std::size_t Tokenizer::take_ascii(std::string_view text, std::size_t start) {
    const Ascii_kinds& kinds = kAsciiKinds[static_cast<std::size_t>(m_style)];
    const auto kind_at = [&](std::size_t at) {
        return kinds[static_cast<unsigned char>(text[at])];
    };
    const Char_kind kind = kind_at(start);
    std::size_t end = start + 1;
    if (kind == Char_kind::kLetter) {
        while (end < text.size() && is_ascii(text[end]) && kind_at(end) == kind) {
            ++end;
        }
    }
    take(kind, text.substr(start, end - start));
    return end;
}

std::size_t Tokenizer::take_other(std::string_view text, std::size_t start) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    std::size_t next = start;
    UChar32 character = 0;
    U8_NEXT_OR_FFFD(bytes, next, text.size(), character);
    take(in_style(kind_of(character), m_style), text.substr(start, next - start));
    return next;
}

void Tokenizer::take(Char_kind kind, std::string_view character) {
    switch (kind) {
        case Char_kind::kLetter:
            m_line.append(character);
            return;
        case Char_kind::kDigit:
            m_line.push_back('0');
            return;
        case Char_kind::kSeparator:
            end_word();
            return;
        case Char_kind::kSign:
        case Char_kind::kUnspaced:
            end_word();
            m_line.append(character);
            end_token();
            return;
    }
}

void Tokenizer::end_word() {
    const std::size_t start = m_starts.back();
    if (start == m_line.size()) {
        return;
    }
    if (m_stemmer) {
        const std::string_view line = m_line;
        m_line.replace(start, std::string::npos, m_stemmer->stem(line.substr(start)));
    }
    end_token();
}

void Tokenizer::end_token() {
    m_line.push_back(' ');
    m_starts.push_back(m_line.size());
}

}  // namespace zandrel
