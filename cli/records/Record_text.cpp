// Every key gives a different text, since the escape character itself is escaped.
#include "cli/records/Record_text.h"

namespace zandrel::cli {

namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

void append_hex(std::uint64_t number, int digits, std::string& text) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        text += kDigits[number >> static_cast<unsigned int>(shift) & 0xFU];
    }
}

}  // namespace

std::string shown_key(std::string_view key) {
    std::string text = "\"";
    for (const char byte : key) {
        if (byte == '"' || byte == '\\') {
            text += '\\';
            text += byte;
        } else if (byte >= ' ' && byte <= '~') {
            text += byte;
        } else {
            text += "\\x";
            append_hex(static_cast<unsigned char>(byte), 2, text);
        }
    }
    return text + '"';
}

std::string hex(std::uint64_t number, int digits) {
    std::string text = "0x";
    append_hex(number, digits, text);
    return text;
}

}  // namespace zandrel::cli
