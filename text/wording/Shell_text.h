// Shell_text: quotes texts of any bytes as words of a command that a user pastes into a shell.
#ifndef ZANDREL_TEXT_WORDING_SHELL_TEXT_H_
#define ZANDREL_TEXT_WORDING_SHELL_TEXT_H_

#include <string>
#include <string_view>

namespace zandrel {

// The text in single quotes, which the shell reads as the same bytes. If shown_text would change
// the text, since it would break the line or act on the terminal, the result is $'...' with \NNN
// for each byte that is not printable ASCII; bash, zsh and ksh read this form.
std::string shell_text(std::string_view text);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_WORDING_SHELL_TEXT_H_
