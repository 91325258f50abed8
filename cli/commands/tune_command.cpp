// The options of tune. The work is in cli/tune. The table is printed on standard output, or on
// standard error if the options are printed on standard output.
#include "cli/commands/tune_command.h"

#include <cmath>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/kc/Text_output.h"
#include "cli/process/Long_work.h"
#include "cli/tune/Tuning.h"
#include "cli/tune/Tuning_report.h"
#include "text/analysis/Stemmer.h"
#include "text/data/Data_input.h"
#include "text/errors.h"
#include "text/model/Engine_settings.h"
#include "text/wording/Json.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr const char* kTuneNotes =
    R"(tune trains models with many settings on parts of the data and tests them on the rest. After each round
only the best settings remain. They are compared with the defaults in three folds of all texts. The best
one replaces the defaults only if its gain is more than two standard errors; otherwise the file contains
the defaults. A search takes 40 to 130 times as long as one training. Of texts with the same
text and labels only one takes part.

The search tries phrases and words, with the endings of words and without them (--stem), larger profiles,
SuppressM, ClipValue, UseNormalization, NumberOfSlices, no likelihood tables, and groups of labels if
there are at least 20 labels. Without likelihood tables scores are no probabilities, so such a setting is
chosen only if it is clearly better than those with them.

The file is text: settings of the engine, and the entries Analysis, Stem and Tree. train, evaluate and
tree suggest read it with --options. An options file is replaced, and no other file. Without --time, file
and table are the same in each run, except the CPU seconds of the table. Ctrl-C ends the search, and
nothing is written.

Examples:
  zandrel tune shop.train.tsv -o shop.options
  zandrel tune shop.train.tsv -o shop.options --metric macro-f1 --time 60 --jobs 4

See also: zandrel help data, settings, analysis)";

struct Tune_words {
    Tuning_options options;
    std::string metric = "accuracy";
    std::string output_file;  // empty or "-": standard output
    bool writes_json = false;
};

Tuning_metric metric_of(const std::string& name) {
    return name == "macro-f1" ? Tuning_metric::kMacroF1
           : name == "brier"  ? Tuning_metric::kBrier
                              : Tuning_metric::kAccuracy;
}

// A text that is no options file would be lost. An empty file is not worth keeping.
// RAISES: Usage_error; Input_error.
void check_is_options_file(const std::string& file) {
    std::error_code error;
    if (file.empty() || is_standard_input(file) || !std::filesystem::is_regular_file(file, error) ||
        std::filesystem::file_size(file, error) == 0) {
        return;
    }
    try {
        Engine_settings settings;
        settings.load(file);
    } catch (const Data_error& problem) {
        throw Usage_error("-o: " + shown_file(file) +
                          " is no options file, and is not replaced: " + problem.what());
    }
}

// RAISES: what check_text_output raises; Usage_error.
void check_tuning_output(const Tune_words& words) {
    if (words.writes_json && words.output_file == "-") {
        throw Usage_error("--json: both the options and the report would be on standard output");
    }
    for (const std::string& file : words.options.data_files) {
        if (lead_to_same_file(words.output_file, file)) {
            throw Usage_error("-o: " + shown_file(file) + " is a data file");
        }
    }
    check_text_output(words.output_file);
    check_is_options_file(words.output_file);
}

void run_tuning(Tune_words& words) {
    check_tuning_output(words);
    words.options.metric = metric_of(words.metric);
    if (words.options.stem_language == "none") {
        words.options.stem_language.clear();
    }
    Tuning tuning;
    {
        Long_work work;
        words.options.progress = &work.progress();
        words.options.warn = [&work](const std::string& text) { work.warn(text); };
        tuning = tune(words.options);
    }
    write_text(words.output_file,
               [&tuning](std::ostream& out) { write_tuned_options(tuning, out); });
    print_skipped(tuning.skipped, std::cerr);
    const bool prints_options = words.output_file.empty() || words.output_file == "-";
    if (words.writes_json) {
        print_json(tuning_json(tuning, words.output_file), Json_form::kManyLines, std::cout);
    } else {
        print_tuning(tuning, prints_options ? "" : words.output_file,
                     prints_options ? std::cerr : std::cout);
    }
}

std::string error_of_time(const std::string& text) {
    constexpr double kLongest = 1e9;
    double seconds = 0.0;
    const bool is_time = CLI::detail::lexical_cast(text, seconds) && seconds > 0.0 &&
                         seconds <= kLongest && std::isfinite(seconds);
    return is_time ? "" : "'" + text + "' is no number of seconds above 0 and up to 1000000000";
}

void add_search_options(CLI::App& command, Tune_words& words) {
    command.add_option("--metric", words.metric, "Metric to improve: accuracy, macro-f1 or brier")
        ->capture_default_str()
        ->check(CLI::IsMember({"accuracy", "macro-f1", "brier"}).description(""))
        ->type_name("METRIC");
    command
        .add_option("--time", words.options.seconds,
                    "Begin no trial after so many seconds; the result then depends on the machine")
        ->check(error_of_time)
        ->type_name("SECONDS");
    std::vector<std::string> languages = stem_languages();
    languages.emplace_back("none");
    command
        .add_option("--stem", words.options.stem_language,
                    "Language whose endings some settings remove; none: keep all endings")
        ->capture_default_str()
        ->check(CLI::IsMember(languages).description(""))
        ->type_name("LANGUAGE");
    add_seed_option(command, words.options.seed)->capture_default_str();
    add_jobs_option(command, words.options.jobs);
    command.get_option("--jobs")->description(
        "Number of processes that train and test at the same time");
}

}  // namespace

void add_tune_command(CLI::App& app) {
    const auto words = std::make_shared<Tune_words>();
    CLI::App* const command = app.add_subcommand(
        "tune", "Search for the best settings for data files, as an options file");
    command->add_option("DATA", words->options.data_files, "Data files; -: standard input")
        ->required()
        ->type_name("");
    add_output_option(*command, words->output_file);
    add_search_options(*command, *words);
    command->add_flag("--skip-bad", words->options.skips_bad_lines,
                      "Leave bad data lines out and print their number");
    add_max_line_option(*command, words->options.longest_line);
    add_data_form_options(*command, words->options.form);
    command->add_flag("--json", words->writes_json, "Print the report as JSON")
        ->needs(command->get_option("--output"));
    command->footer(kTuneNotes);
    command->callback([words] { run_tuning(*words); });
}

}  // namespace zandrel::cli
