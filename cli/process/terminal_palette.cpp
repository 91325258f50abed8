// Reads the environment: https://no-color.org says what NO_COLOR means.
#include "cli/process/terminal_palette.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace zandrel::cli {

namespace {

std::string_view environment_value(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

bool wants_colours() {
    const std::string_view terminal = environment_value("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && environment_value("NO_COLOR").empty() &&
           !terminal.empty() && terminal != "dumb";
}

}  // namespace

Palette terminal_palette(const std::string& when) {
    if (when == kColourNever || (when == kColourAuto && !wants_colours())) {
        return Palette::kNone;
    }
    const std::string_view depth = environment_value("COLORTERM");
    const bool has_many = environment_value("TERM").find("256color") != std::string_view::npos ||
                          depth == "truecolor" || depth == "24bit";
    return has_many ? Palette::k256 : Palette::k16;
}

}  // namespace zandrel::cli
