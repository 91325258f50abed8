// Adds the options of training and converts their words. --set overrides --options, since its
// assignments are applied after the file. --analysis or --stem override both entries "Analysis" and
// "Stem" of the file, and --groups or --tree the entry "Tree".
#include "cli/commands/training_options.h"

#include <string>

#include <CLI/CLI.hpp>

#include "cli/commands/option_checks.h"
#include "cli/process/print_warning.h"
#include "text/data/Data_input.h"
#include "text/data/Label_groups.h"
#include "text/kc/Corpus_analysis.h"
#include "text/kc/Tree_file.h"

namespace zandrel::cli {

namespace {

constexpr const char* kSuggestedTree = "auto";  // a file of this name is "./auto"

// The words of the command line, or those of an options file if the command line has neither
// --analysis nor --stem. We do not mix them: `--analysis words` with "Stem = english" in the file
// would remove endings, and no option says that they shall remain.
Analysis_names with_entries(const Analysis_names& names, const Text_entries& entries) {
    if (!names.kind.empty() || !names.stem_language.empty()) {
        return names;
    }
    return {entries.analysis ? name_of(*entries.analysis) : "", entries.stem_language.value_or("")};
}

}  // namespace

void add_setting_options(CLI::App& command, Training_words& words) {
    add_analysis_options(command, words.analysis, Analysis_kind::kPhrases);
    command
        .add_option("--options", words.options_file,
                    "Options file with settings of the engine; not standard input")
        ->check(error_of_file_name)
        ->type_name("FILE");
    command
        .add_option("--set", words.assignments,
                    "A setting of the engine, such as ProfileSize=3000; overrides the file")
        ->allow_extra_args(false)
        ->type_name("KEY=VALUE");
}

void add_training_options(CLI::App& command, Training_words& words) {
    add_setting_options(command, words);
    CLI::Option* const groups =
        command
            .add_option("--groups", words.groups_file,
                        "File with lines of group and label, for a tree of two levels")
            ->check(error_of_file_name)
            ->type_name("FILE");
    command
        .add_option("--tree", words.tree_file,
                    "File with a tree in its text form, with rules and statistical nodes; auto: "
                    "find groups of labels")
        ->check(error_of_file_name)
        ->excludes(groups)
        ->type_name("FILE");
    command.add_flag("--bootstrap", words.bootstraps,
                     "Use only the titles and keywords of the training data");
}

Model_options model_options(Training_words& words, const std::vector<std::string>& data_files) {
    words.settings.load(words.options_file);
    words.settings.set(words.assignments);
    const std::vector<std::string> unused = words.settings.unused_settings();
    if (!unused.empty()) {
        print_warning("with UseExtParms=0 the program's choices are used and not these settings: " +
                      CLI::detail::join(unused, ", "));
    }
    const Text_entries entries = words.settings.text_entries();
    const Analysis_names names = with_entries(words.analysis, entries);
    Model_options options = {
        analysis_of_data(data_files, given_analysis(names), analysis_settings(names)),
        &words.settings};
    if (!words.groups_file.empty()) {
        options.groups = read_label_groups_file(words.groups_file);
    }
    options.suggests_groups = words.tree_file == kSuggestedTree;
    if (words.groups_file.empty() && words.tree_file.empty() && entries.tree) {
        options.suggests_groups = entries.tree->is_suggested;
        options.group_count = entries.tree->group_count;
        options.is_flat_by_choice = *entries.tree == Tree_entry();
    }
    if (!words.tree_file.empty() && !options.suggests_groups) {
        // An error of the tree is reported before the work that takes long.
        options.tree = {read_tree_text(words.tree_file), input_name(words.tree_file)};
    }
    return options;
}

}  // namespace zandrel::cli
