// The options of evaluate. The command has two forms: `evaluate KC DATA` with a container, and
// `evaluate --train FILE --test FILE` without one. Options of one form exclude the other.
#include "cli/commands/evaluate_command.h"

#include <cstddef>
#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/commands/training_options.h"
#include "cli/data/Data_input.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Report.h"
#include "cli/evaluate/Report_json.h"
#include "cli/kc/Kc_damage.h"
#include "cli/model/Long_work.h"
#include "cli/text/Json.h"

namespace cli {

namespace {

constexpr const char* kNotes =
    R"(evaluate classifies a data file and compares the results with its labels. The model is a container, or
is trained on the file of --train and not kept.

Examples:
  zandrel evaluate shop.kc shop.test.tsv
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --per-category --threshold 0.6
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --groups shop.groups.tsv

See also: zandrel help figures, data, analysis, settings)";

struct Evaluate_words {
    std::string data_file;  // for the form with a container
    Training_words training;
    Evaluation_options options;
    int confusion_count = 10;
    bool lists_categories = false;
    bool writes_json = false;
};

void require(const std::string& file, const char* name) {
    if (file.empty()) {
        throw CLI::RequiredError(name);
    }
}

// RAISES: CLI::RequiredError if a file is missing; what model_options and given_analysis raise.
void settle_options(Evaluate_words& words) {
    Evaluation_options& options = words.options;
    if (options.kc_file.empty()) {
        require(options.train_file, "--train, or KC and DATA");
        require(options.test_file, "--test");
        check_read_once({options.train_file, options.test_file, options.learn_file.value_or(""),
                         words.training.tree_file});
        options.model = model_options(words.training);
        options.bootstraps = words.training.bootstraps;
        return;
    }
    require(words.data_file, "DATA");
    options.test_file = words.data_file;
    options.analysis = given_analysis(words.training.analysis);
}

Evaluation evaluation_of(Evaluate_words& words) {
    settle_options(words);
    Long_work work;
    words.options.progress = &work.progress();
    words.options.warn = [&work](const std::string& text) { work.warn(text); };
    if (words.options.kc_file.empty()) {
        return evaluate(words.options);
    }
    return work_on_container(words.options.kc_file, [&] { return evaluate(words.options); });
}

void print_evaluation(Evaluate_words& words) {
    const Evaluation evaluation = evaluation_of(words);
    print_skipped(evaluation.skipped, std::cerr);
    const auto confusion_count = static_cast<std::size_t>(words.confusion_count);
    if (words.writes_json) {
        print_json(report_json(evaluation, confusion_count), Json_form::kManyLines, std::cout);
    } else {
        print_report(evaluation, {confusion_count, words.lists_categories}, std::cout);
    }
}

void add_data_options(CLI::App& command, Evaluation_options& options) {
    command.add_option("--train", options.train_file, "Data file to learn from; -: standard input")
        ->check(error_of_file_name)
        ->type_name("FILE");
    command.add_option("--test", options.test_file, "Data file to classify; -: standard input")
        ->check(error_of_file_name)
        ->type_name("FILE");
    CLI::Option* const learn =
        command
            .add_option("--learn", options.learn_file,
                        "Data file to learn after training, in bulks; -: standard input")
            ->check(error_of_file_name)
            ->type_name("FILE");
    command.add_option("--bulk", options.bulk_size, "Texts in a bulk")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->needs(learn)
        ->type_name("N");
    command.add_flag("--skip-bad", options.skips_bad_lines,
                     "Leave bad data lines out and print their number");
    add_max_line_option(command, options.longest_line);
    add_data_form_options(command, options.form);
    add_jobs_option(command, options.jobs);
}

void add_report_options(CLI::App& command, Evaluate_words& words) {
    command
        .add_option("--threshold", words.options.threshold,
                    "Least score of the labels that a text gets, 0 to 1")
        ->capture_default_str()
        ->check(error_of_share)
        ->type_name("T");
    command.add_option("--confusions", words.confusion_count, "Number of confusions to list")
        ->capture_default_str()
        ->check(CLI::Range(0, kLongestList).description(""))
        ->type_name("N");
    command.add_flag("--per-category", words.lists_categories,
                     "List precision, recall and F1 of each label; JSON always does");
    command
        .add_option("--explain", words.options.text_to_explain,
                    "Print what each concept of this text adds to the score of its best label")
        ->type_name("TEXT");
    command.add_flag("--json", words.writes_json, "Print JSON");
}

// A model from a container is measured unchanged, so the options of training are excluded.
void add_container_arguments(CLI::App& command, Evaluate_words& words) {
    CLI::Option* const kc = command
                                .add_option("KC", words.options.kc_file,
                                            "File of a knowledge container, instead of --train")
                                ->check(error_of_file_name)
                                ->type_name("");
    command
        .add_option("DATA", words.data_file,
                    "Data file to classify, instead of --test; -: standard input")
        ->type_name("");
    for (const char* const name :
         {"--train", "--test", "--bootstrap", "--groups", "--tree", "--options", "--set"}) {
        kc->excludes(command.get_option(name));
    }
}

}  // namespace

void add_evaluate_command(CLI::App& app) {
    const auto words = std::make_shared<Evaluate_words>();
    CLI::App* const command = app.add_subcommand(
        "evaluate", "Train or load a model, classify a data file, and report quality and cost");
    add_data_options(*command, words->options);
    add_training_options(*command, words->training);
    add_report_options(*command, *words);
    add_container_arguments(*command, *words);
    command->footer(kNotes);
    command->callback([words] { print_evaluation(*words); });
}

}  // namespace cli
