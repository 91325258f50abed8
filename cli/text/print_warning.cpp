// Warnings and errors have the same form, so that scripts recognise them by "zandrel: ".
#include "cli/text/print_warning.h"

#include <iostream>

#include "cli/text/Shown_text.h"

namespace cli {

void print_warning(const std::string& text) {
    std::cerr << "zandrel: " << shown_message(text) << '\n';
}

}  // namespace cli
