// Refuses to replace a file of the program: `zandrel tree dump shop.kc -o shop.kc` would leave only
// the text of its tree.
#include "cli/kc/Text_output.h"

#include <iostream>

#include "text/data/Data_input.h"
#include "text/data/File_kind.h"
#include "text/kc/Replacement_file.h"

namespace zandrel::cli {

void check_text_output(const std::string& file) {
    if (!file.empty() && !is_standard_input(file)) {
        check_replaceable_by_text(file);
        Replacement_file::try_out(file);
    }
}

void write_text(const std::string& file, const std::function<void(std::ostream& out)>& write) {
    if (file.empty() || is_standard_input(file)) {
        write(std::cout);
        return;
    }
    check_replaceable_by_text(file);
    Replacement_file replacement(file);
    replacement.fill(write);
    replacement.take_place();
}

}  // namespace zandrel::cli
