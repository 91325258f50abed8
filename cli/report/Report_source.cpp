// Describes the four forms of an evaluation: a container, files of training and test, folds, and a
// share that is held out.
#include "cli/report/Report_source.h"

#include <filesystem>

#include "text/data/Data_input.h"
#include "text/model/Engine_settings.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

std::string shown_input(const std::string& file) {
    return shown_file(input_name(file));
}

// Headings have the name without the folder, which is among the facts.
std::string short_input(const std::string& file) {
    return is_standard_input(file) ? input_name(file)
                                   : shown_file(std::filesystem::path(file).filename().string());
}

std::string data_name(const Evaluation_options& options) {
    return options.data_files.size() == 1 ? short_input(options.data_files.front())
                                          : counted(options.data_files.size(), "data file");
}

std::string file_list(const std::vector<std::string>& files) {
    std::string list;
    for (const std::string& file : files) {
        list += (list.empty() ? "" : ", ") + shown_input(file);
    }
    return list;
}

void add_container(const Evaluation_options& options, Report_source& source) {
    source.title = "Evaluation of " + short_input(options.test_file);
    source.subtitle = "Classified by the container " + short_input(options.kc_file) + ".";
    source.facts.push_back({"Container", shown_file(options.kc_file)});
    source.facts.push_back({"Texts", shown_input(options.test_file)});
}

void add_files(const Evaluation_options& options, Report_source& source) {
    source.title = "Evaluation of " + short_input(options.test_file);
    source.subtitle = "Classified by a model of " + short_input(options.train_file) + ".";
    source.facts.push_back({"Training texts", shown_input(options.train_file)});
    source.facts.push_back({"Texts", shown_input(options.test_file)});
}

void add_folds(const Evaluation_options& options, Report_source& source) {
    source.title = "Cross-validation of " + data_name(options);
    source.subtitle = "Each of " + grouped(options.fold_count) +
                      " folds is classified by a model of the other folds.";
    source.facts.push_back({"Data", file_list(options.data_files)});
    source.facts.push_back(
        {"Folds", grouped(options.fold_count) + ", seed " + std::to_string(options.seed)});
}

void add_holdout(const Evaluation_options& options, Report_source& source) {
    source.title = "Evaluation of texts held out of " + data_name(options);
    source.subtitle = "Classified by a model of the other texts.";
    source.facts.push_back({"Data", file_list(options.data_files)});
    source.facts.push_back(
        {"Held out", percent(options.held_out_share) + ", seed " + std::to_string(options.seed)});
}

void add_training(const Evaluation_options& options, Report_source& source) {
    if (options.bootstraps) {
        source.facts.push_back({"Training", "only titles and keywords"});
    }
    if (options.model.suggests_groups) {
        source.facts.push_back({"Groups", "suggested by the program"});
    }
    if (!options.model.tree.text.empty()) {
        source.facts.push_back({"Given tree", shown_input(options.model.tree.name)});
    }
    if (options.model.settings != nullptr) {
        std::string settings;
        for (const Key_value& each : options.model.settings->used_settings()) {
            settings += (settings.empty() ? "" : ", ") + each.key + "=" + each.value;
        }
        if (!settings.empty()) {
            source.facts.push_back({"Given settings", shown_text(settings)});
        }
    }
}

}  // namespace

Report_source report_source(const Evaluation_options& options) {
    Report_source source;
    if (!options.kc_file.empty()) {
        add_container(options, source);
        return source;
    }
    if (options.data_files.empty()) {
        add_files(options, source);
    } else if (options.fold_count > 0) {
        add_folds(options, source);
    } else {
        add_holdout(options, source);
    }
    add_training(options, source);
    return source;
}

}  // namespace zandrel::cli
