// Found_form: finds the form of a record file or package whose header may be damaged.
#ifndef ZANDREL_CLI_RECORDS_FOUND_FORM_H_
#define ZANDREL_CLI_RECORDS_FOUND_FORM_H_

#include <optional>

#include "cli/records/File_window.h"
#include "cli/records/Record_scan.h"

namespace zandrel::cli {

struct Found_form {
    Record_form form = Record_form::kWide;
    std::optional<Old_index> index;  // to which the header leads, with this form
    bool is_magic_right = true;
};

// RAISES: Data_error for a file that is too short for a header, or whose form nothing says;
// Input_error.
// COST: one pass over the file for each of two forms, if the magic number or the index is damaged.
Found_form find_record_form(File_window& file);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_FOUND_FORM_H_
