// Refuses to replace a container: `zandrel tree dump shop.kc -o shop.kc` would leave only the text
// of its tree.
#include "cli/kc/Text_output.h"

#include <filesystem>
#include <iostream>

#include "cli/data/Data_input.h"
#include "cli/errors.h"
#include "cli/kc/Kc_file.h"
#include "cli/kc/Replacement_file.h"
#include "cli/text/Shown_text.h"

namespace cli {

namespace {

// Other files than regular ones are refused by Replacement_file.
void check_no_container(const std::string& file) {
    std::error_code error;
    if (std::filesystem::is_regular_file(file, error) && begins_as_kc(file)) {
        throw Usage_error(shown_file(file) +
                          " is a knowledge container; a text does not replace it");
    }
}

}  // namespace

void check_text_output(const std::string& file) {
    if (!file.empty() && !is_standard_input(file)) {
        check_no_container(file);
        Replacement_file::try_out(file);
    }
}

void write_text(const std::string& file, const std::function<void(std::ostream& out)>& write) {
    if (file.empty() || is_standard_input(file)) {
        write(std::cout);
        return;
    }
    check_no_container(file);
    Replacement_file replacement(file);
    replacement.fill(write);
    replacement.take_place();
}

}  // namespace cli
