#include "cli/text/Tokenizer.h"

#include <algorithm>
#include <array>

#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include "cli/text/Ascii.h"

namespace cli {

enum class Char_kind : std::uint8_t { kSeparator, kLetter, kDigit, kSign, kUnspaced };

namespace {

using Ascii_kinds = std::array<Char_kind, 128>;

constexpr std::uint32_t kLetterCategories = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;
constexpr std::uint32_t kSignCategories = U_GC_P_MASK | U_GC_S_MASK;

// The first character of the scripts that write no spaces is the first CJK radical; below it there
// is no need to ask for the script.
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

// What a character is where signs are wanted; `in_style` makes of it what it is in general.
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

// The same for ASCII, where all that is seen is a letter, a digit or a sign.
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

// ASCII is most of most texts, so that it has tables instead of questions to ICU.
constexpr std::array<Ascii_kinds, 2> kAsciiKinds = {ascii_kinds(Token_style::kWords),
                                                    ascii_kinds(Token_style::kWordsAndSigns)};

bool is_ascii(char byte) {
    return static_cast<unsigned char>(byte) < 0x80;
}

// The byte that a byte of ASCII adds to a token: its folded form, in which letters are in lower
// case and digits may be 0; or one of the two marks, which no folded form is.
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

// Most texts are ASCII. Then a byte of the text is at most a byte of a token and the blank behind
// it, and one look into a table says which: "It's" in the style with signs gives "it ' s ". This
// saves a pass that folds and another that asks for the kind of each byte.
//
// The line and the starts keep the size that the largest text needed, so that we fill no bytes that
// are written anyway.
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
        next = is_ascii(folded[next]) ? take_ascii(folded, next) : take_other(folded, next);
    }
    end_word();
}

// Letters are taken as many at a time as there are.
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

}  // namespace cli
