// The options of tree suggest. The report is printed on standard output, or on standard error if
// the tree is printed on standard output.
#include "cli/commands/suggest_command.h"

#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/commands/training_options.h"
#include "cli/kc/Text_output.h"
#include "cli/process/Long_work.h"
#include "text/data/Data_input.h"
#include "text/errors.h"
#include "text/suggest/Suggested_tree.h"
#include "text/train/Training.h"
#include "text/wording/Json.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr const char* kSuggestNotes =
    R"(Labels whose texts have words in common are put into groups. Models learn two thirds of the data
and classify the rest, with several numbers of groups and without groups. The tree has groups only
if they make the classification clearly more accurate, by more than two standard errors; otherwise all
labels are below the root. This takes about ten times as long as one training.

The tree is text, as tree check describes it: names of groups can be changed, and labels moved. Give
the options --analysis, --stem, --set and --options that you will give to train --tree. There is no
--bootstrap: train --bootstrap --tree auto finds groups for it.

The member "reason" of --json says why no groups were chosen.

Example:
  zandrel tree suggest shop.train.tsv -o shop.tree

See also: zandrel help data, analysis)";

struct Suggest_words {
    Training_words training;
    Suggestion_options options;
    std::string output_file;  // empty or "-": standard output
    bool writes_json = false;
};

bool is_output(const Suggest_words& words, const std::string& file) {
    return lead_to_same_file(words.output_file, file);
}

// RAISES: what check_text_output raises; Usage_error.
void check_output(const Suggest_words& words) {
    if (words.writes_json && words.output_file == "-") {
        throw Usage_error("--json: both the tree and the report would be on standard output");
    }
    check_text_output(words.output_file);
    for (const std::string& file : words.options.data_files) {
        if (is_output(words, file)) {
            throw Usage_error("-o: " + shown_file(file) + " is a data file");
        }
    }
    if (is_output(words, words.training.options_file)) {
        throw Usage_error("-o: " + shown_file(words.training.options_file) +
                          " is the file of --options");
    }
}

void suggest(Suggest_words& words) {
    words.options.model = model_options(words.training, words.options.data_files);
    check_output(words);
    Skipped_lines skipped;
    Tree_suggestion found;
    {
        Long_work work;
        words.options.progress = &work.progress();
        words.options.warn = [&work](const std::string& text) { work.warn(text); };
        found = suggest_from_files(words.options, skipped);
    }
    const std::string tree = tree_text_of(found);
    write_text(words.output_file, [&tree](std::ostream& out) { out << tree; });
    print_skipped(skipped, std::cerr);
    const bool prints_tree = words.output_file.empty() || words.output_file == "-";
    if (words.writes_json) {
        print_json(suggestion_json(found, words.output_file, skipped), Json_form::kManyLines,
                   std::cout);
    } else {
        print_suggestion(found, prints_tree ? "" : words.output_file,
                         prints_tree ? std::cerr : std::cout);
    }
}

}  // namespace

void add_suggest(CLI::App& tree) {
    const auto words = std::make_shared<Suggest_words>();
    CLI::App* const command = tree.add_subcommand(
        "suggest", "Find groups of labels in data files, and write a tree of two levels");
    command->add_option("DATA", words->options.data_files, "Data files; -: standard input")
        ->required()
        ->type_name("");
    add_output_option(*command, words->output_file);
    add_setting_options(*command, words->training);
    command->add_flag("--skip-bad", words->options.skips_bad_lines,
                      "Leave bad data lines out and print their number");
    add_max_line_option(*command, words->options.longest_line);
    add_data_form_options(*command, words->options.form);
    command->add_flag("--json", words->writes_json, "Print the report as JSON")
        ->needs(command->get_option("--output"));
    command->footer(kSuggestNotes);
    command->callback([words] { suggest(*words); });
}

}  // namespace zandrel::cli
