// The options of evaluate. The command has these forms; options of one form exclude the others:
//
//   evaluate KC DATA                       a container
//   evaluate --train FILE --test FILE      a model that is not kept
//   evaluate --cv K DATA...                models of the same data, each tested on other texts
//   evaluate --holdout SHARE DATA...       a model of the same data, tested on other texts
//
// The parser knows only that the first word is KC. In the last two forms it is a data file, so
// settle_options checks the options that exclude a container.
#include "cli/commands/evaluate_command.h"

#include <cstddef>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/commands/training_options.h"
#include "cli/evaluate/Cross_validation.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Report.h"
#include "cli/evaluate/Report_json.h"
#include "cli/kc/Text_output.h"
#include "cli/process/Long_work.h"
#include "cli/report/Report_collector.h"
#include "cli/report/Report_page.h"
#include "cli/report/Report_source.h"
#include "text/data/Data_input.h"
#include "text/kc/Kc_damage.h"
#include "text/wording/Json.h"

namespace zandrel::cli {

namespace {

constexpr const char* kNotes =
    R"(evaluate compares the labels of a data file with the answers of a container or of a model of --train.
--cv and --holdout need only one set of data. --cv K classifies each of K folds with a model that has
learned the other folds, and reports mean and spread of each figure. --holdout SHARE trains on the rest
of the texts and classifies the share. The same --seed gives the same parts on every machine.
--want-precision finds the least confidence or score. With --train and --holdout it is chosen from
training texts, each answered by a model that has not learned it. With KC and --cv it is chosen from the
test texts; the precision of each fold (5 with KC) is measured with a threshold from the other folds.
--report FILE also writes a page for a browser, with texts of the data. It replaces only a report.

Examples:
  zandrel evaluate shop.kc shop.test.tsv
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --per-category --threshold 0.6
  zandrel evaluate --cv 5 shop.tsv
  zandrel evaluate --holdout 0.2 shop.tsv --analysis words
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --calibrate --want-precision 0.95
  zandrel evaluate shop.kc shop.test.tsv --report shop.html

See also: zandrel help figures, data, analysis, settings)";

struct Evaluate_words {
    std::string kc_file;                  // or the first data file of --cv and --holdout
    std::vector<std::string> data_files;  // one for the form with a container
    Training_words training;
    Evaluation_options options;
    int confusion_count = 10;
    bool lists_categories = false;
    bool writes_json = false;
    std::string page_file;  // of --report; empty: none
    // BORROWS: options of the command.
    CLI::Option* rejection = nullptr;
    CLI::Option* cv = nullptr;
    CLI::Option* holdout = nullptr;
    CLI::Option* seed = nullptr;
    CLI::Option* bound = nullptr;
    std::vector<const CLI::Option*> not_of_container;  // they exclude KC
};

void require(const std::string& file, const char* name) {
    if (file.empty()) {
        throw CLI::RequiredError(name);
    }
}

bool divides_data(const Evaluate_words& words) {
    return words.cv->count() > 0 || words.holdout->count() > 0;
}

// RAISES: CLI::RequiresError for an option of containers; what model_options raises.
void settle_training(Evaluate_words& words) {
    if (words.bound->count() > 0) {
        throw CLI::RequiresError("--cached", "KC");
    }
    if (words.rejection->count() > 0 && !words.options.calibrates) {
        throw CLI::RequiresError("--reject", "--calibrate, or a container with a confidence map");
    }
    std::vector<std::string> files = words.options.data_files;
    files.insert(files.end(), {words.options.train_file, words.options.test_file,
                               words.options.learn_file.value_or("")});
    words.options.model = model_options(words.training, files);
    words.options.bootstraps = words.training.bootstraps;
}

// RAISES: CLI::RequiredError without a data file; what model_options raises.
void settle_divided_data(Evaluate_words& words) {
    require(words.kc_file, "DATA");
    words.options.data_files = words.data_files;
    words.options.data_files.insert(words.options.data_files.begin(), words.kc_file);
    check_read_once({words.kc_file, words.training.tree_file});
    settle_training(words);
}

// RAISES: CLI::ExcludesError, CLI::ExtrasError.
void settle_container(Evaluate_words& words) {
    for (const CLI::Option* const option : words.not_of_container) {
        if (option->count() > 0) {
            const std::string name = option->get_name();
            const bool has_remedy = name == "--calibrate";
            throw CLI::ExcludesError(
                "KC", has_remedy ? name + "; train the container with --calibrate" : name);
        }
    }
    require(words.data_files.empty() ? "" : words.data_files.front(), "DATA");
    if (words.data_files.size() > 1) {
        throw CLI::ExtrasError({words.data_files.begin() + 1, words.data_files.end()});
    }
    words.options.kc_file = words.kc_file;
    words.options.test_file = words.data_files.front();
    words.options.analysis = given_analysis(words.training.analysis);
}

// RAISES: CLI::RequiredError if a file is missing; CLI::RequiresError; CLI::ExcludesError;
// CLI::ExtrasError; what model_options and given_analysis raise.
void settle_options(Evaluate_words& words) {
    if (divides_data(words)) {
        settle_divided_data(words);
        return;
    }
    if (words.seed->count() > 0) {
        throw CLI::RequiresError("--seed", "--cv or --holdout");
    }
    if (!words.kc_file.empty()) {
        settle_container(words);
        return;
    }
    require(words.options.train_file, "--train, or KC and DATA");
    require(words.options.test_file, "--test");
    check_read_once({words.options.train_file, words.options.test_file,
                     words.options.learn_file.value_or(""), words.training.tree_file});
    settle_training(words);
}

// `collector`: null: there is no page to write.   `Work`: evaluate or cross_validate.
template <class Work>
auto measured(Evaluate_words& words, Report_collector* collector, const Work& work) {
    settle_options(words);
    words.options.observer = collector;
    if (collector != nullptr) {
        check_report_file(words.page_file);
    }
    Long_work long_work;
    words.options.progress = &long_work.progress();
    words.options.warn = [&long_work](const std::string& text) { long_work.warn(text); };
    return work(words.options);
}

Evaluation evaluation_of(const Evaluation_options& options) {
    if (options.kc_file.empty()) {
        return evaluate(options);
    }
    return work_on_container(options.kc_file, [&] { return evaluate(options); });
}

// `Result`: Evaluation or Cross_validation.
template <class Result>
void print_result(const Evaluate_words& words, const Result& result) {
    const auto confusion_count = static_cast<std::size_t>(words.confusion_count);
    if (words.writes_json) {
        print_json(report_json(result, confusion_count), Json_form::kManyLines, std::cout);
    } else {
        print_report(result, {confusion_count, words.lists_categories}, std::cout);
    }
}

// `folds`: of a cross-validation; otherwise null.
void write_page(const Evaluate_words& words, const Evaluation& evaluation,
                const Cross_validation* folds, const Report_collector& collector) {
    if (!words.page_file.empty()) {
        write_text(words.page_file, [&](std::ostream& out) {
            write_report_page(report_source(words.options), evaluation, folds, collector.data(),
                              out);
        });
    }
}

void print_evaluation(Evaluate_words& words) {
    Report_collector collector;
    Report_collector* const observer = words.page_file.empty() ? nullptr : &collector;
    if (words.cv->count() > 0) {
        const Cross_validation validation = measured(words, observer, cross_validate);
        print_skipped(validation.all.skipped, std::cerr);
        write_page(words, validation.all, &validation, collector);
        print_result(words, validation);
    } else {
        const Evaluation evaluation = measured(words, observer, evaluation_of);
        print_skipped(evaluation.skipped, std::cerr);
        write_page(words, evaluation, nullptr, collector);
        print_result(words, evaluation);
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
    command
        .add_option("--report", words.page_file,
                    "Also write a page of HTML with figures, confusions, texts and charts")
        ->check(error_of_file_name)
        ->type_name("FILE");
    add_json_option(command, words.writes_json);
}

void add_trust_options(CLI::App& command, Evaluate_words& words) {
    command.add_flag("--calibrate", words.options.calibrates,
                     "Measure confidences too: learned from three folds of the training texts");
    words.rejection =
        command
            .add_option("--reject", words.options.least_confidence,
                        "Give no answer below the confidence C, 0 to 1, and report figures of the "
                        "others")
            ->check(error_of_share)
            ->type_name("C");
    command
        .add_option("--want-precision", words.options.wanted_precision,
                    "Find the least confidence or score for which this share of answers is right")
        ->check(error_of_part)
        ->type_name("P")
        ->excludes(words.rejection);
}

// The number of folds is checked again when the number of texts is known.
void add_division_options(CLI::App& command, Evaluate_words& words) {
    words.cv =
        command
            .add_option(
                "--cv", words.options.fold_count,
                "Cross-validate: divide DATA into K folds, test each on a model of the others")
            ->check(CLI::Range(2, std::numeric_limits<int>::max()).description(""))
            ->type_name("K");
    words.holdout =
        command
            .add_option("--holdout", words.options.held_out_share,
                        "Hold this share of DATA out, train on the rest, and classify the share")
            ->check(error_of_part)
            ->type_name("SHARE")
            ->excludes(words.cv);
    words.seed = add_seed_option(command, words.options.seed);
    for (const char* const name : {"--train", "--test"}) {
        words.cv->excludes(command.get_option(name));
        words.holdout->excludes(command.get_option(name));
    }
    for (const char* const name : {"--learn", "--explain"}) {
        words.cv->excludes(command.get_option(name));
    }
}

// A model from a container is measured unchanged, so the options of training are excluded.
void add_container_arguments(CLI::App& command, Evaluate_words& words) {
    command.add_option("KC", words.kc_file, "File of a knowledge container, instead of --train")
        ->check(error_of_file_name)
        ->type_name("");
    command
        .add_option("DATA", words.data_files,
                    "Data file to classify, instead of --test; with --cv or --holdout all data "
                    "files; -: standard input")
        ->type_name("");
    words.bound = add_bound_option(command, words.options.bound.given);
    for (const char* const name : {"--train", "--test", "--bootstrap", "--groups", "--tree",
                                   "--options", "--set", "--calibrate"}) {
        words.not_of_container.push_back(command.get_option(name));
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
    add_trust_options(*command, *words);
    add_division_options(*command, *words);
    add_container_arguments(*command, *words);
    command->footer(kNotes);
    command->callback([words] { print_evaluation(*words); });
}

}  // namespace zandrel::cli
