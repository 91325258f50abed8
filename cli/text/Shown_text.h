// Shown_text: texts of any bytes on a line of output.
#ifndef ZANDREL_CLI_TEXT_SHOWN_TEXT_H_
#define ZANDREL_CLI_TEXT_SHOWN_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

// The longest value that a message quotes, in characters.
inline constexpr std::size_t kLongestValue = 200;
// The longest message, with all its values.
inline constexpr std::size_t kLongestMessage = 6000;
// Editors open the file that a message names, so no name that the system accepts is shortened.
inline constexpr std::size_t kLongestFileName = 4096;

// The text on one line, for people. \xNN is written for the bytes of control characters, C1
// controls and DEL included, of separators of lines and paragraphs, and of bidirectional controls,
// which would show the text around them in another order; likewise for bytes that are not UTF-8.
// Each of the characters `escaped`, which are ASCII, has a "\" before it. A text that was escaped
// already, with no `escaped`, does not change.
std::string shown_text(std::string_view text, std::string_view escaped = "");

// A text of more than `longest` characters with an ellipsis in place of those in the middle, so
// that `longest` are left.  REQUIRES: UTF-8; longest > 1.
std::string shortened(std::string_view text, std::size_t longest);

// The text as shown_text gives it, shortened: for a value that a message quotes, and for the name
// of a file.
std::string shown_value(std::string_view text);
std::string shown_file(std::string_view name);
// The same for what a parser says of its input, which may quote a value in a sentence.
std::string shown_complaint(std::string_view text);
// The same for a whole message, some values of which may come from the library.
std::string shown_message(std::string_view text);

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_SHOWN_TEXT_H_
