// terminal_palette: the colours that standard output can have.
#ifndef ZANDREL_CLI_PROCESS_TERMINAL_PALETTE_H_
#define ZANDREL_CLI_PROCESS_TERMINAL_PALETTE_H_

#include <string>

#include "cli/classify/Coloured_text.h"

namespace zandrel::cli {

// The values of the option --color.
inline constexpr const char* kColourAuto = "auto";
inline constexpr const char* kColourAlways = "always";
inline constexpr const char* kColourNever = "never";

// With "auto", there are colours if standard output is a terminal, the environment variable
// NO_COLOR is missing or empty, and TERM is neither missing nor "dumb". "always" needs none of
// that. There are 256 colours if TERM contains "256color" or COLORTERM is "truecolor" or "24bit",
// otherwise 16.
// `when`: one of the values above.
Palette terminal_palette(const std::string& when);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_TERMINAL_PALETTE_H_
