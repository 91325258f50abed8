#include "cli/commands/model_commands.h"

#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <type_traits>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/classify/Line_filter.h"
#include "cli/commands/analysis_options.h"
#include "cli/commands/option_checks.h"
#include "cli/commands/training_options.h"
#include "cli/data/Data_lines.h"
#include "cli/errors.h"
#include "cli/kc/Kc_damage.h"
#include "cli/kc/Stored_model.h"
#include "cli/model/Long_work.h"
#include "cli/text/Json.h"
#include "cli/train/Training.h"

namespace cli {

namespace {

void print(const Training_summary& summary, bool writes_json) {
    print_skipped(summary.skipped, std::cerr);
    if (writes_json) {
        print_json(training_json(summary), Json_form::kManyLines, std::cout);
    } else {
        print_training(summary, std::cout);
    }
}

void add_kc_argument(CLI::App& command, std::string& kc_file) {
    command.add_option("KC", kc_file, "File of the knowledge container")->required()->type_name("");
}

void add_data_arguments(CLI::App& command, std::vector<std::string>& data_files) {
    command.add_option("DATA", data_files, "Data files")->required()->type_name("");
}

void add_output_options(CLI::App& command, bool& skips_bad_lines, bool& writes_json) {
    command.add_flag("--skip-bad", skips_bad_lines,
                     "Leave bad data lines out and tell how many there are");
    command.add_flag("--json", writes_json, "Print JSON");
}

// Works on the container as `work_on` does, with progress and interruption, and prints what was
// done.
template <class Options>
void run(Options& options, Training_summary (*work_on)(const Options&), bool writes_json) {
    Training_summary summary;
    {
        Long_work work;
        options.progress = &work.progress();
        if constexpr (std::is_same_v<Options, Learning_options>) {
            options.warn = [&work](const std::string& text) { work.warn(text); };
        }
        summary = work_on(options);
    }
    print(summary, writes_json);
}

struct Train_words {
    Training_words training;
    Training_options options;
    bool writes_json = false;
};

void train(Train_words& words) {
    words.options.model = model_options(words.training);
    words.options.bootstraps = words.training.bootstraps;
    run(words.options, train_kc, words.writes_json);
}

void add_train(CLI::App& app) {
    const auto words = std::make_shared<Train_words>();
    CLI::App* const command =
        app.add_subcommand("train", "Train on data files and write a knowledge container");
    add_kc_argument(*command, words->options.kc_file);
    add_data_arguments(*command, words->options.data_files);
    add_training_options(*command, words->training);
    command->add_flag("--replace", words->options.replaces,
                      "Replace the container if there is one");
    command->add_flag(
        "--compact", words->options.compact,
        "Leave out what only learning needs: a smaller file, which can classify alone");
    add_wait_option(*command, words->options.seconds_to_wait);
    add_output_options(*command, words->options.skips_bad_lines, words->writes_json);
    command->callback([words] { train(*words); });
}

struct Learn_words {
    Analysis_names analysis;
    Learning_options options;
    bool writes_json = false;
};

void learn(Learn_words& words) {
    words.options.analysis = given_analysis(words.analysis);
    work_on_container(words.options.kc_file,
                      [&] { run(words.options, learn_into_kc, words.writes_json); });
}

void add_learn(CLI::App& app) {
    const auto words = std::make_shared<Learn_words>();
    CLI::App* const command =
        app.add_subcommand("learn", "Take further data files into a knowledge container");
    add_kc_argument(*command, words->options.kc_file);
    add_data_arguments(*command, words->options.data_files);
    command->add_flag("--add-categories", words->options.adds_categories,
                      "Add unknown labels below the root instead of refusing them");
    add_analysis_options_of_container(*command, words->analysis);
    add_wait_option(*command, words->options.seconds_to_wait);
    add_output_options(*command, words->options.skips_bad_lines, words->writes_json);
    command->callback([words] { learn(*words); });
}

// What both filters are given.
struct Filter_words {
    std::string kc_file;
    std::string text_file = "-";
    Analysis_names analysis;
    Classify_options classify;
    std::string category;  // path; empty: the best of each line
    Explain_options explain;
};

// Waiting for the lines to classify is no part of the work: there a Ctrl-C ends the process.
std::unique_ptr<Text_model> model_of(const Filter_words& words) {
    const Given_analysis given = given_analysis(words.analysis);
    Long_work work;
    return read_model(words.kc_file, given, &work.progress());
}

void with_lines_of(const std::string& file, const std::function<void(const Line_input&)>& take) {
    if (file != "-") {
        std::ifstream stream = open_data_file(file);
        take({stream, file});
        return;
    }
    std::cin.tie(nullptr);  // the filters say themselves when their output is due
    take({std::cin, "<stdin>"});
}

void classify(const Filter_words& words) {
    const std::unique_ptr<Text_model> model = model_of(words);
    with_lines_of(words.text_file, [&](const Line_input& input) {
        work_on_container(words.kc_file,
                          [&] { classify_lines(input, words.classify, *model, std::cout); });
    });
}

// RAISES: Usage_error.
zeNode* node_of(const Filter_words& words, const Text_model& model) {
    if (words.category.empty()) {
        return nullptr;
    }
    zeNode* const node = model.find(words.category);
    if (node == nullptr) {
        throw Usage_error("--category: " + words.kc_file + " has no node \"" + words.category +
                          "\"");
    }
    return node;
}

void explain(const Filter_words& words) {
    const std::unique_ptr<Text_model> model = model_of(words);
    Explain_options options = words.explain;
    options.node = node_of(words, *model);
    with_lines_of(words.text_file, [&](const Line_input& input) {
        work_on_container(words.kc_file, [&] { explain_lines(input, options, *model, std::cout); });
    });
}

CLI::App& add_filter(CLI::App& app, const char* name, const char* description,
                     Filter_words& words) {
    CLI::App* const command = app.add_subcommand(name, description);
    add_kc_argument(*command, words.kc_file);
    command
        ->add_option("FILE", words.text_file, "File with a text a line; none or -: standard input")
        ->type_name("");
    add_analysis_options_of_container(*command, words.analysis);
    return *command;
}

void add_classify(CLI::App& app) {
    const auto words = std::make_shared<Filter_words>();
    CLI::App& command =
        add_filter(app, "classify", "Print the best labels for each line of text", *words);
    command
        .add_option("-k", words->classify.wanted_labels, "How many labels to print for each line")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    command.add_option("--threshold", words->classify.threshold, "Least score of a label, 0 to 1")
        ->capture_default_str()
        ->check(error_of_share)
        ->type_name("T");
    command.add_flag("--jsonl", words->classify.writes_json, "Print a JSON object for each line");
    command.callback([words] { classify(*words); });
}

void add_explain(CLI::App& app) {
    const auto words = std::make_shared<Filter_words>();
    CLI::App& command =
        add_filter(app, "explain",
                   "Say what each concept of a line adds to the score of its best label", *words);
    command
        .add_option("--category", words->category,
                    "Explain the score of this node instead, such as root/sport")
        ->type_name("PATH");
    command
        .add_option("--top", words->explain.top,
                    "How many concepts to show for each line, the greatest effect first; "
                    "otherwise all")
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    command.add_flag("--json", words->explain.writes_json, "Print a JSON object for each line");
    command.callback([words] { explain(*words); });
}

}  // namespace

void add_model_commands(CLI::App& app) {
    add_train(app);
    add_learn(app);
    add_classify(app);
    add_explain(app);
}

}  // namespace cli
