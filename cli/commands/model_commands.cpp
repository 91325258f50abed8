// The options of train, learn, classify and explain, and the steps of each command. The last two
// are filters: they read the model first, and then answer line by line.
#include "cli/commands/model_commands.h"

#include <cstddef>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/classify/Line_filter.h"
#include "cli/commands/analysis_options.h"
#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/commands/training_options.h"
#include "cli/process/Exit_status.h"
#include "cli/process/Long_work.h"
#include "cli/process/print_warning.h"
#include "cli/process/terminal_palette.h"
#include "text/data/Data_input.h"
#include "text/data/File_kind.h"
#include "text/errors.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kept_confidence.h"
#include "text/kc/Stored_model.h"
#include "text/model/leave_to_exit.h"
#include "text/train/Training.h"
#include "text/wording/Json.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr const char* kTrainNotes =
    R"(The labels and texts of all data files are trained together. A file that is not a container is not
overwritten, and a container is replaced only with --replace. If --set and --options do not give a
value, train chooses it for some settings of the new container; info lists them.

Examples:
  zandrel train shop.kc shop.train.tsv
  zandrel train shop.kc shop.train.tsv --replace
  zandrel train shop.kc export.csv --text body --label category

With --cached N the container gets the cached form: it is trained in its file, with at most N statistical
classifiers in memory, and can be larger than the memory. It is written as a whole or not at all.

A tree with rules is trained with --tree. After edits of the tree, --keep-tree trains the classifiers of
the container anew.

  zandrel train desk.kc desk.train.jsonl --tree desk.tree
  zandrel train desk.kc desk.train.jsonl --keep-tree

See also: zandrel help containers, data, analysis, settings, trees, confidence)";

constexpr const char* kLearnNotes =
    R"(The texts of all data files are learned as one bulk and added to the container. Its file is replaced as
a whole, or stays as it was; in cached form it is changed in place. learn warns if the limits of the container make it forget.

Example:
  zandrel learn shop.kc new.tsv --add-categories

See also: zandrel help containers, data, analysis, settings)";

constexpr const char* kClassifyNotes =
    R"(classify prints exactly one line for each line of input: `label<TAB>score` for each label, best first,
separated by tabs, or an empty line if there is no result. With --jsonl the line is an object of
`categories`, a list of objects of `category`, `path` and `score`. classify prints each answer before it
waits for the next line. For a line longer than --max-line it prints an empty line, or an object of
`error`, and reports it on standard error; the exit status is then 65. With --jobs 4 four processes
share the lines; the output is the same.

CSV, JSON lines and lines with __label__ have one answer for each record, see `zandrel help data`. With
--jsonl the answer to JSON lines is the object with `categories` added, and with `confidence` and
`rejected` if the answer has them. They replace old members of these names. With --csv the answer is the
row with the columns category_1, score_1 and so on, for the -k best labels. The answer to a bad record
is like that to a line that is too long, or a row of empty columns.

If the container was trained with --calibrate, --jsonl adds a member `confidence`: the chance that the
best label is right, see `zandrel help confidence`. --confidence prints it as the first column of a line
with an answer, or with --csv as the last column. With --reject 0.8 an answer with a lower confidence is
an empty line, empty columns, or an empty list with `rejected`: true. A record of JSON lines loses its own
members `confidence` and `rejected` then. An answer below --threshold keeps its confidence.

Examples:
  zandrel classify shop.kc messages.txt
  zandrel classify shop.kc messages.txt --jobs 4
  echo "Where is my parcel?" | zandrel classify shop.kc -k 3
  zandrel classify shop.kc export.csv --text body --csv

See also: zandrel help data, containers, analysis, editing, confidence)";

constexpr const char* kExplainNotes =
    R"(explain prints each line, and below it what its concepts add to the score of its best label, or of the
node --category, the greatest effect first. Concepts that the model does not know are marked. The last
column is the effect on the log odds of the raw score. If an answer is certain, all effects on the score
are nearly 0, but the effects on the log odds differ. A line longer than --max-line is only reported on
standard error, and the exit status is then 65. A bad record of CSV or JSON lines is reported in the
same way.

On a terminal the words of the line have colours: green to blue for the label, orange to red against it,
dim if they are unknown, and none if they have little effect on the log odds. There are no colours with
--color never, if the environment variable NO_COLOR is not empty, or if TERM is "dumb". --color always
gives colours in each case, also in a file. With --path or --json there are never colours.

With --path it prints instead the nodes that classify takes for `classify -k N`, in this order: the
score of each node, its threshold, and each child with its score and the reason why it was not taken.
Below a rule node each child has its rule, and the values of the words and keys in it. --category then
says where the way to that node ended.

Examples:
  echo "Where is my parcel?" | zandrel explain shop.kc --category root/delivery
  echo "Where is my parcel?" | zandrel explain shop.kc --path --top 3

See also: zandrel help data, containers, analysis)";

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
    command.add_option("DATA", data_files, "Data files; -: standard input")
        ->required()
        ->type_name("");
}

// `Options` are Training_options or Learning_options.
template <class Options>
void add_line_options(CLI::App& command, Options& options) {
    command.add_flag("--skip-bad", options.skips_bad_lines,
                     "Leave bad data lines out and print their number");
    add_max_line_option(command, options.longest_line);
    add_data_form_options(command, options.form);
}

// Calls `work_on` with progress and interruption, and prints its summary.
template <class Options>
void run(Options& options, Training_summary (*work_on)(const Options&), bool writes_json) {
    Training_summary summary;
    {
        Long_work work;
        options.progress = &work.progress();
        options.warn = [&work](const std::string& text) { work.warn(text); };
        summary = work_on(options);
    }
    print(summary, writes_json);
}

struct Train_words {
    Training_words training;
    Training_options options;
    bool writes_json = false;
};

// All files that the command reads.
std::vector<std::string> with_tree(std::vector<std::string> files, const std::string& tree_file) {
    files.push_back(tree_file);
    return files;
}

void train(Train_words& words) {
    words.options.bootstraps = words.training.bootstraps;
    if (words.options.keeps_tree) {
        words.options.analysis = given_analysis(words.training.analysis);
        work_on_container(words.options.kc_file,
                          [&] { run(words.options, train_kc, words.writes_json); });
        return;
    }
    check_read_once(with_tree(words.options.data_files, words.training.tree_file));
    words.options.model = model_options(words.training, words.options.data_files);
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
    CLI::Option* const keeps_tree =
        command->add_flag("--keep-tree", words->options.keeps_tree,
                          "Train the classifiers of the existing container anew; its tree, rules "
                          "and settings remain");
    for (const char* const name : {"--groups", "--tree", "--options", "--set", "--replace"}) {
        keeps_tree->excludes(command->get_option(name));
    }
    command->add_flag("--calibrate", words->options.calibrates,
                      "Learn by three-fold cross-validation how far to trust an answer, for "
                      "classify --confidence; train then takes three to four times as long");
    command->add_flag("--compact", words->options.compact,
                      "Leave out data for learning: a smaller file that can only classify");
    add_bound_option(*command, words->options.bound.given);
    add_wait_option(*command, words->options.seconds_to_wait);
    add_line_options(*command, words->options);
    add_json_option(*command, words->writes_json);
    command->footer(kTrainNotes);
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
    CLI::App* const command = app.add_subcommand("learn", "Learn further data files");
    add_kc_argument(*command, words->options.kc_file);
    add_data_arguments(*command, words->options.data_files);
    command->add_flag("--add-categories", words->options.adds_categories,
                      "Add unknown labels below the root instead of refusing them");
    add_analysis_options_of_container(*command, words->analysis);
    add_bound_option(*command, words->options.bound.given);
    add_wait_option(*command, words->options.seconds_to_wait);
    add_line_options(*command, words->options);
    add_json_option(*command, words->writes_json);
    command->footer(kLearnNotes);
    command->callback([words] { learn(*words); });
}

// The words of the command line that classify and explain have in common.
struct Filter_words {
    std::string kc_file;
    std::string text_file = "-";
    std::size_t longest_line = kLongestLine;
    Data_form form;
    Analysis_names analysis;
    Classify_options classify;
    std::optional<std::size_t> column;
    std::size_t jobs = 1;
    Cache_bound bound = {};
    std::string category;  // path; empty: the best label of each line
    std::string colour = kColourAuto;
    Explain_options explain;
};

// Only reading the model is long work that Ctrl-C interrupts. While a filter waits for lines,
// Ctrl-C ends the process.
std::unique_ptr<Text_model> model_of(const Filter_words& words) {
    const Given_analysis given = given_analysis(words.analysis);
    Long_work work;
    return read_model_to_classify(words.kc_file, given, &work.progress(), words.bound);
}

// RAISES: Usage_error for options that contradict each other.
Data_format format_of(const Filter_words& words) {
    const Data_format format = format_of_texts(words.text_file, words.form);
    if (format != Data_format::kLines && words.column) {
        throw Usage_error("--column is for lines of text; --text chooses the column of the form " +
                          name_of(format));
    }
    if (format == Data_format::kLines && words.form.names_columns()) {
        throw Usage_error(
            "--text, --pair and --header need a form with columns; --format names it");
    }
    return format;
}

// Calls `take` with the lines. A line that is too long is reported and sets the exit status to that
// of bad data.
void with_lines_of(const Filter_words& words, Command_result& result,
                   const std::function<void(const Line_input&)>& take) {
    const auto refuse = [&result](const std::string& message) {
        std::cerr << shown_message(message) << '\n';
        result.status = kDataError;
    };
    const Data_format format = format_of(words);
    if (waits_for_typing({words.text_file})) {
        print_warning(typing_note(format == Data_format::kLines
                                      ? "texts, one on each line"
                                      : "records of the form " + name_of(format)));
    }
    std::cin.tie(nullptr);  // the filters flush their output themselves
    check_is_text_file(words.text_file);
    Data_input input(words.text_file);
    take({input.stream(), input.name(), words.longest_line, refuse, words.column, print_warning,
          words.jobs, format, words.form});
}

// RAISES: Usage_error if an option needs a confidence map that the container does not have.
void check_confidence(const Filter_words& words, const Text_model& model) {
    const bool shows = words.classify.shows_confidence;
    if ((shows || words.classify.reject) && !model.confidence()) {
        throw Usage_error(std::string(shows ? "--confidence: " : "--reject: ") +
                          missing_confidence(words.kc_file, model.manager()->m_config,
                                             is_cached(*model.manager())));
    }
}

void classify(const Filter_words& words, Command_result& result) {
    const std::unique_ptr<Text_model> model = model_of(words);
    check_confidence(words, *model);
    with_lines_of(words, result, [&](const Line_input& input) {
        work_on_container(words.kc_file,
                          [&] { classify_lines(input, words.classify, *model, std::cout); });
    });
    leave_to_exit(model->manager());
}

// RAISES: Usage_error.
zeNode* node_of(const Filter_words& words, const Text_model& model) {
    if (words.category.empty()) {
        return nullptr;
    }
    zeNode* const node = model.find(words.category);
    if (node == nullptr) {
        throw Usage_error("--category: " + shown_file(words.kc_file) + " has no node \"" +
                          shown_value(words.category) + "\"");
    }
    return node;
}

void explain(const Filter_words& words, Command_result& result) {
    const std::unique_ptr<Text_model> model = model_of(words);
    Explain_options options = words.explain;
    options.node = node_of(words, *model);
    options.palette = terminal_palette(words.colour);
    with_lines_of(words, result, [&](const Line_input& input) {
        work_on_container(words.kc_file, [&] { explain_lines(input, options, *model, std::cout); });
    });
    leave_to_exit(model->manager());
}

CLI::App& add_filter(CLI::App& app, const char* name, const char* description,
                     Filter_words& words) {
    CLI::App* const command = app.add_subcommand(name, description);
    add_kc_argument(*command, words.kc_file);
    command
        ->add_option("FILE", words.text_file,
                     "File with one text on each line; none or -: standard input")
        ->type_name("");
    command
        ->add_option("--column", words.column,
                     "The text begins at column N of its line, after N-1 tabs: 2 for data files")
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    add_analysis_options_of_container(*command, words.analysis);
    add_max_line_option(*command, words.longest_line);
    add_text_form_options(*command, words.form);
    add_jobs_option(*command, words.jobs);
    add_bound_option(*command, words.bound.given);
    return *command;
}

void add_classify(CLI::App& app, Command_result& result) {
    const auto words = std::make_shared<Filter_words>();
    CLI::App& command =
        add_filter(app, "classify", "Print the best labels for each line of text", *words);
    command
        .add_option("-k", words->classify.wanted_labels, "Number of labels to print for each line")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    command.add_option("--threshold", words->classify.threshold, "Least score of a label, 0 to 1")
        ->capture_default_str()
        ->check(error_of_share)
        ->type_name("T");
    CLI::Option* const jsonl = command.add_flag(
        "--jsonl", words->classify.writes_json,
        "Print a JSON object for each line; for JSON lines the record with the answer");
    command
        .add_flag("--csv", words->classify.writes_csv,
                  "Print a CSV row for each record, with the answer in further columns")
        ->excludes(jsonl);
    command.add_flag("--confidence", words->classify.shows_confidence,
                     "Print the chance that the best label is right, of a container that was "
                     "trained with --calibrate");
    command
        .add_option("--reject", words->classify.reject,
                    "Give no answer whose confidence is below C, 0 to 1")
        ->check(error_of_share)
        ->type_name("C");
    command.footer(kClassifyNotes);
    command.callback([words, &result] { classify(*words, result); });
}

void add_explain(CLI::App& app, Command_result& result) {
    const auto words = std::make_shared<Filter_words>();
    CLI::App& command =
        add_filter(app, "explain",
                   "Print what each concept of a line adds to the score of its best label", *words);
    command
        .add_option("--category", words->category,
                    "Explain the score of this node instead, such as root/sport")
        ->check(error_of_path)
        ->type_name("PATH");
    command
        .add_option(
            "--top", words->explain.top,
            "Number of concepts to show for each line, the greatest effect on the score first; "
            "with --path: number of children that were not taken, for each step; not given: "
            "all")
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    CLI::Option* const path = command.add_flag(
        "--path", words->explain.shows_path,
        "Print the way of each line through the tree instead, with scores, rules and reasons");
    command
        .add_option("-k", words->explain.wanted_labels,
                    "With --path: number of labels after which the way through the tree ends")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N")
        ->needs(path);
    command.add_flag("--json", words->explain.writes_json, "Print a JSON object for each line");
    command
        .add_option("--color", words->colour,
                    "Colour the words of the line: always, never, or auto for only on a terminal")
        ->capture_default_str()
        ->check(CLI::IsMember({kColourAuto, kColourAlways, kColourNever}).description(""))
        ->type_name("WHEN");
    command.footer(kExplainNotes);
    command.callback([words, &result] { explain(*words, result); });
}

}  // namespace

void add_model_commands(CLI::App& app, Command_result& result) {
    add_train(app);
    add_learn(app);
    add_classify(app, result);
    add_explain(app, result);
}

}  // namespace zandrel::cli
