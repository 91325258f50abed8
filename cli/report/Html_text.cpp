// Cuts a text before it is escaped, so that an escape sequence is never cut. The cut counts bytes
// that begin a character, so bytes that are not UTF-8 count too.
#include "cli/report/Html_text.h"

#include <nlohmann/json.hpp>

#include "text/wording/Json.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr std::size_t kLongestCharacter = 4;  // bytes of UTF-8

bool continues_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The end of the first `longest` characters. Bytes that are not UTF-8 can all look like the rest of
// a character, so a character has at most 4 bytes here.
std::size_t end_of_characters(std::string_view text, std::size_t longest) {
    std::size_t end = 0;
    for (std::size_t count = 0; count < longest && end < text.size(); ++count) {
        const std::size_t begin = end++;
        while (end < text.size() && end - begin < kLongestCharacter &&
               continues_character(text[end])) {
            ++end;
        }
    }
    return end;
}

void replace_all(std::string_view from, std::string_view to, std::string& text) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

}  // namespace

std::string page_text(std::string_view text, std::size_t longest) {
    const std::size_t end = end_of_characters(text, longest);
    std::string line(text.substr(0, end));
    for (char& byte : line) {
        if (byte == '\t' || byte == '\n' || byte == '\r') {
            byte = ' ';
        }
    }
    return shown_text(line) + (end < text.size() ? "\u2026" : "");
}

std::string page_name(std::string_view label, std::size_t longest) {
    const std::string name = page_text(label, longest);
    return name.find_first_not_of(' ') == std::string::npos ? "(blank)" : name;
}

std::string html_escaped(std::string_view text) {
    std::string html;
    html.reserve(text.size());
    for (const char character : text) {
        switch (character) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            case '\'':
                html += "&#39;";
                break;
            default:
                html += character;
        }
    }
    return html;
}

// The replaced characters occur only inside texts, so each can become its JSON escape.
std::string script_json(const nlohmann::ordered_json& value) {
    std::string json = json_text(value);
    replace_all("<", "\\u003c", json);
    replace_all(">", "\\u003e", json);
    replace_all("&", "\\u0026", json);
    replace_all("\u2028", "\\u2028", json);
    replace_all("\u2029", "\\u2029", json);
    return json;
}

}  // namespace zandrel::cli
