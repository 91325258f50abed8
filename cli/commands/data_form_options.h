// The options that describe the form of data files, which all commands that read data have.
#ifndef ZANDREL_CLI_COMMANDS_DATA_FORM_OPTIONS_H_
#define ZANDREL_CLI_COMMANDS_DATA_FORM_OPTIONS_H_

#include "text/data/Data_form.h"

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds --format, --text, --label, --pair, --header and --label-separator.
// BORROWS: `form`, which must outlive `command`.
void add_data_form_options(CLI::App& command, Data_form& form);

// Adds the same for the filters, which read no labels: without --label and --label-separator.
void add_text_form_options(CLI::App& command, Data_form& form);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_DATA_FORM_OPTIONS_H_
