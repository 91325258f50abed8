// Shown_text: texts of any bytes on a line of output.
#ifndef ZANDREL_CLI_TEXT_SHOWN_TEXT_H_
#define ZANDREL_CLI_TEXT_SHOWN_TEXT_H_

#include <string>
#include <string_view>

namespace cli {

// The text on one line: bytes of control characters, of separators of lines and paragraphs, and
// bytes that are no UTF-8 as \xNN. Each of the characters `escaped`, which are ASCII, has a "\"
// before it.
std::string shown_text(std::string_view text, std::string_view escaped = "");

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_SHOWN_TEXT_H_
