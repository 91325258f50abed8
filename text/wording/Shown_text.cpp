// Decodes the text with ICU, character by character, and escapes the bytes of dangerous characters.
#include "text/wording/Shown_text.h"

#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "text/wording/Layout.h"

namespace zandrel {

namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

void append_hex(std::string_view bytes, std::string& line) {
    for (const char byte : bytes) {
        const auto number = static_cast<unsigned char>(byte);
        line += "\\x";
        line += kDigits[number >> 4U];
        line += kDigits[number & 0xFU];
    }
}

// Returns the character at a position, and moves the position after it. The result is below 0 for
// bytes that are not UTF-8.
UChar32 next_character(std::string_view text, std::size_t& position) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    UChar32 character = 0;
    U8_NEXT(bytes, position, text.size(), character);
    return character;
}

// Returns whether a character breaks the line, acts on the terminal, or shows the characters around
// it in another order than the bytes have.
bool is_dangerous(UChar32 character) {
    constexpr std::uint32_t kBreaking = U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK;
    return character < 0 || (U_GET_GC_MASK(character) & kBreaking) != 0 ||
           u_hasBinaryProperty(character, UCHAR_BIDI_CONTROL) != 0;
}

bool is_continuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The number of bytes of the first `count` characters.
std::size_t bytes_of_first(std::string_view text, std::size_t count) {
    std::size_t bytes = 0;
    while (bytes < text.size() && (count > 0 || is_continuation(text[bytes]))) {
        count -= is_continuation(text[bytes]) ? 0U : 1U;
        ++bytes;
    }
    return bytes;
}

// The number of bytes of the last `count` characters.
std::size_t bytes_of_last(std::string_view text, std::size_t count) {
    std::size_t begin = text.size();
    while (begin > 0 && count > 0) {
        --begin;
        count -= is_continuation(text[begin]) ? 0U : 1U;
    }
    return text.size() - begin;
}

}  // namespace

std::string shown_text(std::string_view text, std::string_view escaped) {
    std::string line;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const UChar32 character = next_character(text, position);
        const std::string_view bytes = text.substr(start, position - start);
        if (is_dangerous(character)) {
            append_hex(bytes, line);
        } else {
            line += escaped.find(bytes) == std::string_view::npos ? "" : "\\";
            line += bytes;
        }
    }
    return line;
}

std::string shortened(std::string_view text, std::size_t longest) {
    if (width_of(text) <= longest) {
        return std::string(text);
    }
    const std::size_t kept = longest - 1;  // the ellipsis is a character too
    const std::string_view begin = text.substr(0, bytes_of_first(text, kept - kept / 2));
    const std::string_view end = text.substr(text.size() - bytes_of_last(text, kept / 2));
    return std::string(begin) + "\u2026" + std::string(end);
}

std::string shown_value(std::string_view text) {
    return shortened(shown_text(text), kLongestValue);
}

std::string shown_file(std::string_view name) {
    return shortened(shown_text(name), kLongestFileName);
}

std::string shown_complaint(std::string_view text) {
    return shortened(shown_text(text), 2 * kLongestValue);
}

std::string shown_message(std::string_view text) {
    return shortened(shown_text(text), kLongestMessage);
}

}  // namespace zandrel
