#include "cli/text/Shown_text.h"

#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace cli {

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

// The character at a position, which moves behind it; below 0 for bytes that are none.
UChar32 next_character(std::string_view text, std::size_t& position) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    UChar32 character = 0;
    U8_NEXT(bytes, position, text.size(), character);
    return character;
}

bool breaks_lines(UChar32 character) {
    constexpr std::uint32_t kBreaking = U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK;
    return character < 0 || (U_GET_GC_MASK(character) & kBreaking) != 0;
}

}  // namespace

std::string shown_text(std::string_view text, std::string_view escaped) {
    std::string line;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const UChar32 character = next_character(text, position);
        const std::string_view bytes = text.substr(start, position - start);
        if (breaks_lines(character)) {
            append_hex(bytes, line);
        } else {
            line += escaped.find(bytes) == std::string_view::npos ? "" : "\\";
            line += bytes;
        }
    }
    return line;
}

}  // namespace cli
