// "it's" becomes 'it'\''s': the quoted text ends, an escaped quote follows, and a quoted text
// begins. A tab between a and b becomes $'a\011b'.
#include "text/wording/Shell_text.h"

#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

std::string single_quoted(std::string_view text) {
    std::string word = "'";
    for (const char byte : text) {
        word += byte == '\'' ? "'\\''" : std::string(1, byte);
    }
    return word + "'";
}

// Always three digits. With fewer, the shell would read a following digit as a part of the number.
std::string octal(char byte) {
    const auto number = static_cast<unsigned char>(byte);
    std::string escape = "\\";
    for (const unsigned int shift : {6U, 3U, 0U}) {
        escape += static_cast<char>('0' + ((number >> shift) & 7U));
    }
    return escape;
}

std::string dollar_quoted(std::string_view text) {
    std::string word = "$'";
    for (const char byte : text) {
        const bool is_plain = byte >= ' ' && byte <= '~' && byte != '\'' && byte != '\\';
        word += is_plain ? std::string(1, byte) : octal(byte);
    }
    return word + "'";
}

}  // namespace

std::string shell_text(std::string_view text) {
    return shown_text(text) == text ? single_quoted(text) : dollar_quoted(text);
}

}  // namespace zandrel
