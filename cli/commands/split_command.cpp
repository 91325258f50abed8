// The options of split. The work is in cli/split.
#include "cli/commands/split_command.h"

#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/process/print_warning.h"
#include "cli/split/Split.h"

namespace zandrel::cli {

namespace {

constexpr const char* kNotes =
    R"(split copies each record, byte for byte and in order, to one of two new files of the same form. A
header is in both; a warning names a first line that looks like a header if --header is missing.
B gets the texts that evaluate --holdout SHARE classifies with the same seed. The same seed gives the
same files on every machine. DATA is read into memory as a whole, with about 0.4 kB more for each record.

A corpus file is divided into two corpus files; its messages are not read into memory together.

Examples:
  zandrel split shop.tsv shop.train.tsv shop.test.tsv
  zandrel split shop.tsv shop.train.tsv shop.test.tsv --share 0.1 --seed 7 --replace

See also: zandrel help data, figures)";

std::string error_of_new_file(const std::string& text) {
    return text == "-" ? "split writes files, not standard output" : error_of_file_name(text);
}

void print_split(const Split_options& options) {
    const Split_summary summary = split(options);
    print_skipped(summary.skipped, std::cerr);
    print_split(options, summary, std::cout);
}

void add_files(CLI::App& command, Split_options& options) {
    command.add_option("DATA", options.data_file, "Data file; -: standard input")
        ->required()
        ->check(error_of_file_name)
        ->type_name("");
    command
        .add_option("A", options.rest_file, "New file for the other texts, for example to train")
        ->required()
        ->check(error_of_new_file)
        ->type_name("");
    command.add_option("B", options.share_file, "New file for the share, for example to test")
        ->required()
        ->check(error_of_new_file)
        ->type_name("");
}

}  // namespace

void add_split_command(CLI::App& app) {
    const auto options = std::make_shared<Split_options>();
    options->warn = print_warning;
    CLI::App* const command =
        app.add_subcommand("split", "Divide a data file into two, with each label's share in both");
    add_files(*command, *options);
    command->add_option("--share", options->share, "Share of the texts for B")
        ->capture_default_str()
        ->check(error_of_part)
        ->type_name("SHARE");
    add_seed_option(*command, options->seed);
    command->add_flag("--skip-bad", options->skips_bad_lines,
                      "Leave bad data lines out and print their number");
    add_max_line_option(*command, options->longest_line);
    add_data_form_options(*command, options->form);
    command->add_flag("--replace", options->replaces, "Replace A and B if they exist");
    command->footer(kNotes);
    command->callback([options] { print_split(*options); });
}

}  // namespace zandrel::cli
