#include "cli/commands/evaluate_command.h"

#include <cstddef>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/option_checks.h"
#include "cli/commands/training_options.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Report.h"
#include "cli/evaluate/Report_json.h"
#include "cli/model/Long_work.h"
#include "cli/text/Json.h"

namespace cli {

namespace {

struct Evaluate_words {
    Training_words training;
    Evaluation_options options;
    int confusion_count = 10;
    bool lists_categories = false;
    bool writes_json = false;
};

Evaluation evaluation_of(Evaluate_words& words) {
    words.options.model = model_options(words.training);
    Long_work work;
    words.options.progress = &work.progress();
    return evaluate(words.options);
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
    command.add_option("--train", options.train_file, "Data file to learn from")
        ->required()
        ->type_name("FILE");
    command.add_option("--test", options.test_file, "Data file to classify")
        ->required()
        ->type_name("FILE");
    command.add_flag("--bootstrap", options.bootstraps,
                     "Start from the titles and keywords of the training data alone");
    CLI::Option* const learn = command
                                   .add_option("--learn", options.learn_file,
                                               "Data file to learn after training, in bulks")
                                   ->type_name("FILE");
    command.add_option("--bulk", options.bulk_size, "How many texts a bulk has")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->needs(learn)
        ->type_name("N");
    command.add_flag("--skip-bad", options.skips_bad_lines,
                     "Leave bad data lines out and tell how many there are");
}

void add_report_options(CLI::App& command, Evaluate_words& words) {
    command
        .add_option("--threshold", words.options.threshold,
                    "Least score at which a label is given to a text, 0 to 1")
        ->capture_default_str()
        ->check(error_of_share)
        ->type_name("T");
    command.add_option("--confusions", words.confusion_count, "How many confusions to list")
        ->capture_default_str()
        ->check(CLI::Range(0, kLongestList).description(""))
        ->type_name("N");
    command.add_flag("--per-category", words.lists_categories,
                     "List precision, recall and F1 of each label; JSON always does");
    command
        .add_option("--explain", words.options.text_to_explain,
                    "Say what each concept of this text adds to the score of its best label")
        ->type_name("TEXT");
    command.add_flag("--json", words.writes_json, "Print JSON");
}

}  // namespace

void add_evaluate_command(CLI::App& app) {
    const auto words = std::make_shared<Evaluate_words>();
    CLI::App* const command = app.add_subcommand(
        "evaluate", "Train on one file, classify another, and report quality and cost");
    add_data_options(*command, words->options);
    add_training_options(*command, words->training);
    add_report_options(*command, *words);
    command->callback([words] { print_evaluation(*words); });
}

}  // namespace cli
