#include "cli/commands/option_checks.h"

#include <CLI/CLI.hpp>

namespace cli {

std::string error_of_share(const std::string& text) {
    double share = 0.0;
    const bool is_share = CLI::detail::lexical_cast(text, share) && share >= 0.0 && share <= 1.0;
    return is_share ? "" : "'" + text + "' is no number from 0 to 1";
}

std::string error_of_file_name(const std::string& text) {
    return text.empty() ? "the name of the file is empty" : "";
}

}  // namespace cli
