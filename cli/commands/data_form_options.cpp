// Adds the options, and converts their words into a Data_form.
#include "cli/commands/data_form_options.h"

#include <algorithm>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

std::string error_of_column(const std::string& text) {
    return text.empty() ? "the name of the column is empty" : "";
}

void add_columns_option(CLI::App& command, const char* option, std::vector<std::string>& columns,
                        const char* description) {
    command.add_option(option, columns, description)
        ->allow_extra_args(false)
        ->check(error_of_column)
        ->type_name("NAME|N");
}

// RAISES: Usage_error.
void add_pair_column(const std::string& word, Data_form& form) {
    Pair_column column = pair_column_of(word);
    for (const Pair_column& other : form.pairs) {
        if (other.name == column.name) {
            throw Usage_error("--pair " + shown_value(word) + ": the pair is given twice");
        }
    }
    form.pairs.push_back(std::move(column));
}

void add_format_option(CLI::App& command, const std::vector<std::string>& names, Data_form& form) {
    command
        .add_option_function<std::string>(
            "--format", [&form](const std::string& name) { form.format = format_of_name(name); },
            "Form of the data: " + CLI::detail::join(names, ", ") +
                "; otherwise by the names of the files")
        ->check(CLI::IsMember(names).description(""))
        ->type_name("FORM");
}

void add_common_options(CLI::App& command, Data_form& form) {
    add_columns_option(command, "--text", form.texts,
                       "Column or key of the text; several times: the texts are joined");
    command
        .add_option_function<std::vector<std::string>>(
            "--pair",
            [&form](const std::vector<std::string>& words) {
                for (const std::string& word : words) {
                    add_pair_column(word, form);
                }
            },
            "Column or key that becomes a name/value pair for rules")
        ->allow_extra_args(false)
        ->type_name("NAME[=COLUMN]");
    command.add_flag("--header", form.has_header,
                     "The first row has the names of the columns; names in options imply it");
}

}  // namespace

void add_data_form_options(CLI::App& command, Data_form& form) {
    std::vector<std::string> names = names_of_formats();
    names.erase(names.begin());  // lines have no labels
    add_format_option(command, names, form);
    add_common_options(command, form);
    add_columns_option(command, "--label", form.labels,
                       "Column or key of the label; several times: the text has all the labels");
    command
        .add_option("--label-separator", form.label_separator,
                    "Separates the labels of a column; lines label<TAB>text: a comma; others: none")
        ->type_name("TEXT");
}

void add_text_form_options(CLI::App& command, Data_form& form) {
    add_format_option(command, names_of_formats(), form);
    add_common_options(command, form);
}

}  // namespace zandrel::cli
