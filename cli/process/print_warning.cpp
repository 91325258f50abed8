// Warnings and errors have the same form, so that scripts recognise them by "zandrel: ".
#include "cli/process/print_warning.h"

#include <iostream>

#include "text/wording/Shown_text.h"

namespace zandrel::cli {

void print_warning(const std::string& text) {
    std::cerr << "zandrel: " << shown_message(text) << '\n';
}

}  // namespace zandrel::cli
