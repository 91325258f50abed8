// Shown_text: escapes and shortens texts of any bytes, so that they can be printed on one line.
#ifndef ZANDREL_TEXT_WORDING_SHOWN_TEXT_H_
#define ZANDREL_TEXT_WORDING_SHOWN_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace zandrel {

// The longest value that a message quotes, in characters.
inline constexpr std::size_t kLongestValue = 200;
// The longest message, with all its values.
inline constexpr std::size_t kLongestMessage = 6000;
// Editors open the file that a message names, so we do not shorten a name that the system accepts.
inline constexpr std::size_t kLongestFileName = 4096;

// The text on one line, for people. \xNN is written for each byte of these: control characters,
// also C1 controls and DEL; separators of lines and paragraphs; bidirectional controls, which would
// show the text around them in another order; and bytes that are not UTF-8. "a<TAB>b" becomes
// `a\x09b`. Each of the ASCII characters in `escaped` gets a "\" before it. Without `escaped`, a
// second call does not change the result of the first one.
std::string shown_text(std::string_view text, std::string_view escaped = "");

// A text of more than `longest` characters, with an ellipsis instead of the characters in the
// middle, so that it has `longest` characters: `ab…gh` for "abcdefgh" and 5. REQUIRES: UTF-8;
// longest > 1.
std::string shortened(std::string_view text, std::size_t longest);

// The result of shown_text, shortened: for a value that a message quotes, and for the name of a
// file.
std::string shown_value(std::string_view text);
std::string shown_file(std::string_view name);
// The same for the message of a parser, which may quote a value in a sentence.
std::string shown_complaint(std::string_view text);
// The same for a whole message. Some of its values may come from the engine, and are not escaped
// yet.
std::string shown_message(std::string_view text);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_WORDING_SHOWN_TEXT_H_
