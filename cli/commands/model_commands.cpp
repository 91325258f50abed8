#include "cli/commands/model_commands.h"

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "cli/classify/Classification.h"
#include "cli/commands/option_checks.h"
#include "cli/commands/training_options.h"

namespace cli {

namespace {

struct Classify_words {
    Training_words training;
    Classification_options options;
};

void add_classify(CLI::App& app) {
    const auto words = std::make_shared<Classify_words>();
    Classification_options& options = words->options;
    CLI::App* const command =
        app.add_subcommand("classify", "Train on a file and rank the labels for each text");
    command->add_option("--train", options.train_file, "Data file to learn from")
        ->required()
        ->type_name("FILE");
    add_training_options(*command, words->training);
    command->add_option("--top", options.wanted_labels, "How many labels to print for each text")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    CLI::Option* const texts =
        command->add_option("TEXT", options.texts, "Texts; none or -: the lines of standard input")
            ->type_name("");
    command
        ->add_option("--explain", options.text_to_explain,
                     "Say what each concept of this text adds to the score of its best label")
        ->excludes(texts)
        ->type_name("TEXT");
    command->add_flag("--json", options.writes_json, "Print JSON");
    command->add_flag("--skip-bad", options.skips_bad_lines,
                      "Leave bad data lines out and tell how many there are");
    command->callback([words] {
        words->options.model = model_options(words->training);
        classify(words->options, std::cin, std::cout, std::cerr);
    });
}

}  // namespace

void add_model_commands(CLI::App& app) {
    add_classify(app);
}

}  // namespace cli
