// The steps of train and learn. As many checks as possible come before the work that takes long.
//
// train --keep-tree has the steps of learn, but trains and never adds labels.
//
// train A.kc DATA               learn A.kc DATA
//   check the target              check that A.kc can be read
//   check the data files          check the data files
//   lock A.kc                     lock A.kc
//   check the target again        read the model
//   try out the replacement       try out the replacement
//   read the data, warn           read the data, check or add the labels
//   train                         learn, with a warning about scaling before
//   calibrate, if asked for
//   check the target again
//   write A.kc                    write A.kc
//
// The target of train is checked again after each wait: another process may have made A.kc
// meanwhile. learn reads A.kc after it has got the lock, so it has the newest contents. write_kc
// refuses to replace the file if it has changed since the lock was taken.
#include "text/train/Training.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <utility>

#include <nlohmann/json.hpp>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/options/zeOptMap.h"

#include "text/confidence/Out_of_fold.h"
#include "text/data/Data_input.h"
#include "text/data/Data_warnings.h"
#include "text/data/Waiting_for_input.h"
#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Corpus_analysis.h"
#include "text/kc/Deferred_writes.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_options.h"
#include "text/kc/Kept_choices.h"
#include "text/kc/Kept_confidence.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/Stored_model.h"
#include "text/kc/Target_file.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"
#include "text/model/Text_sources.h"
#include "text/model/Tree_warnings.h"
#include "text/model/leave_to_exit.h"
#include "text/train/Scaling.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using zandrel::detail::Progress;

using Texts = std::vector<Labelled_text>;

struct Data_file {
    std::string name;  // for messages
    Texts texts;
};

// Refuses the container as its own data file: with --skip-bad, some of its bytes could be read as
// data lines.
// RAISES: Usage_error.
void check_data_files(const std::string& kc_file, const std::vector<std::string>& data_files) {
    check_read_once(data_files);
    for (const std::string& data_file : data_files) {
        if (!is_standard_input(data_file) && lead_to_same_file(kc_file, data_file)) {
            throw Usage_error(shown_file(data_file) +
                              " is the knowledge container, and no data file");
        }
    }
}

// `Options`: Training_options, Learning_options or Suggestion_options.
template <class Options>
std::vector<Data_file> read_data(const Options& options, Columns columns, Skipped_lines& skipped) {
    const Waiting_for_input waiting;
    Progress(options.progress).check_interrupt();
    if (options.warn && waits_for_typing(options.data_files)) {
        options.warn(typing_note(lines_of_columns(columns, options.form)));
    }
    std::vector<Data_file> files;
    files.reserve(options.data_files.size());
    for (const std::string& path : options.data_files) {
        files.push_back({input_name(path),
                         read_labelled_file(path, options.skips_bad_lines ? &skipped : nullptr,
                                            columns, options.longest_line, options.form)});
    }
    return files;
}

// `Options`: Training_options or Suggestion_options.
template <class Options>
void warn_of_data(const Options& options, const std::vector<Data_file>& files) {
    if (!options.warn) {
        return;
    }
    std::vector<Named_texts> named;
    for (const Data_file& file : files) {
        named.push_back({file.name, file.texts});
    }
    for (const std::string& warning : training_warnings(named)) {
        options.warn(warning);
    }
}

std::vector<Data_file> read_training_data(const Training_options& options, Skipped_lines& skipped) {
    std::vector<Data_file> files =
        read_data(options, training_columns(options.bootstraps), skipped);
    warn_of_data(options, files);
    return files;
}

std::vector<std::string> names_of(const std::vector<Data_file>& files) {
    std::vector<std::string> names;
    for (const Data_file& file : files) {
        names.push_back(file.name);
    }
    return names;
}

void warn_of_blocked(const std::function<void(const std::string&)>& warn, const Text_model& model,
                     const Text_sources& sources) {
    const std::string warning = blocked_texts_warning(sources, model.blocked_texts());
    if (warn && !warning.empty()) {
        warn(warning);
    }
}

void warn_of_tree(const Training_options& options, Text_model& model, const Text_sources& sources) {
    warn_of_blocked(options.warn, model, sources);
    if (!options.warn) {
        return;
    }
    for (const std::string& warning : tree_warnings(model)) {
        options.warn(warning);
    }
}

// Moves the texts of all files into one list.
Texts joined(std::vector<Data_file>& files) {
    Texts texts = std::move(files.front().texts);
    for (std::size_t i = 1; i < files.size(); ++i) {
        for (Labelled_text& text : files[i].texts) {
            text.file = i;
            texts.push_back(std::move(text));
        }
        files[i].texts.clear();
    }
    return texts;
}

void add_label(const std::string& label, const Data_file& file, std::size_t line,
               Text_model& model) {
    try {
        model.add_label(label);
    } catch (const qtX<zeLogicalTree>& error) {
        throw Data_error(file.name, line,
                         "label \"" + shown_value(label) +
                             "\" cannot be added: " + shown_complaint(error.what()));
    }
}

// The text form of a tree has no white space except blanks, so a label with a tab would become
// another label. RAISES: Data_error.
void check_labels_for_text(const Data_file& file) {
    for (const Labelled_text& text : file.texts) {
        for (const std::string& label : text.labels) {
            if (label.find_first_of("\t\n\v\f\r") != std::string::npos) {
                throw Data_error(file.name, text.line,
                                 "label \"" + shown_value(label) +
                                     "\" has white space that a tree file cannot contain");
            }
        }
    }
}

// Makes sure that the model has a leaf for each label of a file.
void settle_labels(const Data_file& file, bool adds_categories, Text_model& model) {
    for (const Labelled_text& text : file.texts) {
        for (const std::string& label : text.labels) {
            if (model.knows(label)) {
                continue;
            }
            if (!adds_categories) {
                throw Data_error(
                    file.name, text.line,
                    "unknown label \"" + shown_value(label) + "\"; --add-categories adds it");
            }
            add_label(label, file, text.line, model);
        }
    }
}

void summarise(const Kc_lock& lock, const Text_model& model, Training_summary& summary) {
    summary.kc_file = lock.target().name();
    summary.labels = model.labels().size();
    if (model.confidence()) {
        summary.confidence_answers = model.confidence()->answer_count();
    }
    summary.bytes = std::filesystem::file_size(lock.target().path());
}

void note_cache_use(const Text_model& model, Training_summary& summary) {
    if (is_cached(*model.manager())) {
        summary.cache = {g_HitCacheCount, g_MissedCacheCount};
    }
}

// A container in cached form is changed in place, so no other file is made.
void try_out_writing(const Kc_lock& lock, const Text_model& model) {
    if (!is_cached(*model.manager())) {
        Replacement_file::try_out(lock);
    }
}

// RAISES: Usage_error for --compact with a container in cached form: its classifiers are trained in
// the file, and need their statistics there.
void check_compact(const Training_options& options, bool is_cached) {
    if (options.compact && is_cached) {
        throw Usage_error(
            "--compact is not possible with the cached form; afterwards, zandrel convert --cached "
            "--compact writes a compact container");
    }
}

void write_model(const Kc_lock& lock, const Text_model& model, bool compact, CTProgress* progress,
                 Training_summary& summary) {
    if (!summary.cache) {
        note_cache_use(model, summary);
    }
    write_kc(lock, *model.manager(), compact, progress);
    summarise(lock, model, summary);
}

// A damaged map is not updated.
void warn_of_damaged_confidence(const Learning_options& options, const Text_model& model) {
    if (options.warn && has_damaged_confidence(model.manager()->m_config)) {
        options.warn(missing_confidence(options.kc_file, model.manager()->m_config,
                                        is_cached(*model.manager())));
    }
}

// Only the classifiers that new texts reach learn, so only their counts are scaled down.
Text_model::Before_learning warning_of(const Learning_options& options, const Text_model& model) {
    if (!options.warn) {
        return {};
    }
    return [&options, &model](const Storages& storages) {
        const std::string warning = scaling_warning(
            options.kc_file, *model.manager()->m_logical_tree, scaling_of(storages));
        if (!warning.empty()) {
            options.warn(warning);
        }
    };
}

// Settings that no file keeps would be lost when a classifier leaves the memory.
// RAISES: Usage_error.
void check_kept_settings(const Training_options& options) {
    if (options.model.settings == nullptr) {
        return;
    }
    for (const Key_value& setting : options.model.settings->used_settings()) {
        const std::string problem = keeping_problem(setting.key, zeOptMap::known_keys());
        if (!problem.empty()) {
            throw Usage_error("with --cached, " + problem);
        }
    }
}

// The texts of all data files.
struct Training_texts {
    std::vector<std::string> names;  // of the files
    Texts texts;
};

Training_texts read_joined(const Training_options& options, Skipped_lines& skipped) {
    std::vector<Data_file> files = read_training_data(options, skipped);
    Training_texts read = {names_of(files), {}};
    read.texts = joined(files);
    return read;
}

// Trains a new model, in the memory or, with `file`, in that file.
void train_new_model(const Training_options& options, Training_texts& data, Text_model& model,
                     std::optional<Replacement_file>& file) {
    const Text_sources sources(data.names, data.texts);
    if (file) {
        model.relocate_before_training([&options, &file](zeManager& manager) {
            move_to_cached_file(options.kc_file, *file, manager, options.bound);
        });
    }
    const auto train = [&] {
        sources.locate_errors([&] {
            if (options.calibrates) {
                model.start(data.texts, options.bootstraps, options.progress);
            } else {
                model.start_and_empty(data.texts, options.bootstraps, options.progress);
            }
        });
    };
    if (file) {
        with_errors_of_new_file(options.kc_file, train);
    } else {
        train();
    }
    if (!options.model.tree.text.empty()) {
        warn_of_tree(options, model, sources);
    }
}

Out_of_fold_options calibration_of(const Training_options& options) {
    Out_of_fold_options calibration;
    calibration.bootstraps = options.bootstraps;
    calibration.progress = options.progress;
    return calibration;
}

void give_confidence(const Training_options& options, const Judged_answers& answers,
                     Text_model& model) {
    constexpr std::size_t kFewAnswers = 100;
    model.give_confidence(Confidence_map::fit(answers));
    if (!options.warn) {
        return;
    }
    if (model.labels().size() == 1) {
        options.warn("with one label each answer is right, so the confidence means nothing");
    } else if (answers.size() < kFewAnswers) {
        options.warn("the confidence map comes from only " + counted(answers.size(), "answer") +
                     ", so a confidence is hardly better than the score; " +
                     std::to_string(kFewAnswers) + " texts or more are needed");
    }
}

// The models of the folds come after the model of all texts, so that errors of the texts are
// reported as without a calibration. `options.model` has the tree or groups of that model.
void calibrate_new_model(const Training_options& options, const Model_options& model_options,
                         Texts& texts, Text_model& model, Training_summary& summary) {
    note_cache_use(model, summary);  // the models of the folds count too
    const Judged_answers answers =
        out_of_fold_answers(texts, model_options, calibration_of(options));
    give_confidence(options, answers, model);
}

// Writes a new model, or, with `file`, finishes the file in which it was trained.
void store_new_model(const Training_options& options, const Kc_lock& lock, const Text_model& model,
                     std::optional<Replacement_file>& file, Training_summary& summary) {
    keep_analysis(options.model.analysis, model.manager()->m_config);
    keep_choices(model.choices(), model.manager()->m_config);
    // During the training another program may have put a file there.
    check_overwriting(lock.target(), options.replaces, "train");
    if (!file) {
        write_model(lock, model, options.compact, options.progress, summary);
        return;
    }
    if (!summary.cache) {
        note_cache_use(model, summary);
    }
    take_place_cached(options.kc_file, *file, *model.manager());
    summarise(lock, model, summary);
}

Training_summary train_new_kc(const Training_options& options) {
    Training_summary summary;
    check_compact(options, options.bound.given.has_value());
    check_kept_settings(options);
    check_overwriting(Target_file(options.kc_file), options.replaces, "train");
    check_data_files(options.kc_file, options.data_files);
    const Kc_lock lock(options.kc_file, {options.seconds_to_wait, options.progress});
    check_overwriting(lock.target(), options.replaces,
                      "train");  // another process may have made it while we waited
    Replacement_file::try_out(lock);
    Training_texts data = read_joined(options, summary.skipped);
    Progress(options.progress).check_interrupt();
    const Model_options model_options = with_suggested_groups(
        options.model, data.texts, options.bootstraps, options.progress, options.warn);
    Text_model model(model_options);
    std::optional<Replacement_file> file;
    if (options.bound.given) {
        file.emplace(lock);
    }
    train_new_model(options, data, model, file);
    if (options.calibrates) {
        calibrate_new_model(options, model_options, data.texts, model, summary);
    }
    store_new_model(options, lock, model, file, summary);
    summary.texts = data.texts.size();
    summary.new_labels = summary.labels;
    leave_to_exit(model.manager());
    return summary;
}

// The file of a container in cached form has the classifiers that are being trained, so it cannot
// be read once more as the container of a fold. RAISES: Usage_error.
void check_calibration(const Training_options& options, bool is_cached) {
    if (options.calibrates && is_cached) {
        throw Usage_error(
            "--calibrate with --keep-tree is not possible with the cached form; zandrel convert "
            "--plain writes a container of the usual form");
    }
}

void drop_confidence(const Training_options& options, Text_model& model) {
    if (model.drop_confidence() && !options.calibrates && options.warn) {
        options.warn(forgotten_confidence(options.kc_file, "its classifiers are trained anew",
                                          is_cached(*model.manager())));
    }
}

// Each fold gets a new copy of the container, which the file still has.
void train_and_calibrate_again(const Training_options& options, const Kc_lock& lock, Texts& texts,
                               Text_model& model) {
    model.train_again(texts, options.bootstraps, options.kc_file, options.progress);
    const auto make_model = [&](const Texts& others, CTProgress* progress) {
        std::unique_ptr<Text_model> copy = read_model(lock, options.analysis, progress);
        copy->train_again(others, options.bootstraps, options.kc_file, progress);
        return copy;
    };
    const Judged_answers answers = out_of_fold_answers(texts, make_model, calibration_of(options));
    give_confidence(options, answers, model);
}

Training_summary train_tree_of_kc(const Training_options& options) {
    Training_summary summary;
    check_readable(options.kc_file);
    check_data_files(options.kc_file, options.data_files);
    const Kc_lock lock(options.kc_file, {options.seconds_to_wait, options.progress});
    const std::unique_ptr<Text_model> model =
        read_model(lock, options.analysis, options.progress, options.bound);
    check_compact(options, is_cached(*model->manager()));
    check_calibration(options, is_cached(*model->manager()));
    try_out_writing(lock, *model);
    Training_texts data = read_joined(options, summary.skipped);
    check_analysis(data.texts, options.kc_file, model->analysis(), options.analysis);
    const Text_sources sources(data.names, data.texts);
    Progress(options.progress).check_interrupt();
    change_in_place(
        lock, *model->manager(),
        [&] {
            drop_confidence(options, *model);
            sources.locate_errors([&] {
                if (options.calibrates) {
                    train_and_calibrate_again(options, lock, data.texts, *model);
                    return;
                }
                model->train_again_and_empty(data.texts, options.bootstraps, options.kc_file,
                                             options.progress,
                                             [&] { flush_cached(lock, *model->manager()); });
            });
            warn_of_tree(options, *model, sources);
        },
        "; repeat the command, since the classifiers that it did not reach are empty");
    write_model(lock, *model, options.compact, options.progress, summary);
    summary.texts = data.texts.size();
    leave_to_exit(model->manager());
    return summary;
}

}  // namespace

Training_summary train_kc(const Training_options& options) {
    return options.keeps_tree ? train_tree_of_kc(options) : train_new_kc(options);
}

Training_summary learn_into_kc(const Learning_options& options) {
    Training_summary summary;
    check_readable(options.kc_file);
    check_data_files(options.kc_file, options.data_files);
    const Kc_lock lock(options.kc_file, {options.seconds_to_wait, options.progress});
    const std::unique_ptr<Text_model> model =
        read_model(lock, options.analysis, options.progress, options.bound);
    check_can_learn(options.kc_file, *model);
    warn_of_damaged_confidence(options, *model);
    try_out_writing(lock, *model);
    std::vector<Data_file> files = read_data(options, Columns::kText, summary.skipped);
    for (const Data_file& file : files) {
        check_analysis(file.texts, options.kc_file, model->analysis(), options.analysis);
    }
    const std::size_t labels_before = model->labels().size();
    const auto change = [&] {
        Deferred_writes writes(*model->manager());
        for (const Data_file& file : files) {
            settle_labels(file, options.adds_categories, *model);
        }
        writes.commit();
        Texts texts = joined(files);
        const Text_sources sources(names_of(files), texts);
        Progress(options.progress).check_interrupt();
        model->learn_and_empty(texts, options.progress, warning_of(options, *model));
        warn_of_blocked(options.warn, *model, sources);
        summary.texts = texts.size();
    };
    change_in_place(
        lock, *model->manager(), change,
        "; do not repeat the command, since some classifiers may have learned its texts");
    write_model(lock, *model, false, options.progress, summary);
    summary.new_labels = summary.labels - labels_before;
    leave_to_exit(model->manager());
    return summary;
}

Tree_suggestion suggest_from_files(const Suggestion_options& options, Skipped_lines& skipped) {
    check_read_once(options.data_files);
    std::vector<Data_file> files = read_data(options, Columns::kText, skipped);
    for (const Data_file& file : files) {
        check_labels_for_text(file);
    }
    warn_of_data(options, files);
    Texts texts = joined(files);
    return suggest_tree(texts, options.model, false, options.progress);
}

void print_training(const Training_summary& summary, std::ostream& out) {
    out << shown_text(summary.kc_file) << ": " << grouped(summary.texts)
        << (summary.texts == 1 ? " text, " : " texts, ") << grouped(summary.labels)
        << (summary.labels == 1 ? " label (" : " labels (") << grouped(summary.new_labels)
        << " new), " << grouped(summary.bytes) << " bytes";
    if (summary.confidence_answers) {
        out << ", confidence from " << counted(*summary.confidence_answers, "answer");
    }
    out << '\n';
}

nlohmann::ordered_json training_json(const Training_summary& summary) {
    nlohmann::ordered_json json = {
        {"file", summary.kc_file},  {"texts", summary.texts},
        {"labels", summary.labels}, {"new_labels", summary.new_labels},
        {"bytes", summary.bytes},   {"skipped_lines", summary.skipped.count}};
    if (summary.confidence_answers) {
        json["confidence_answers"] = *summary.confidence_answers;
    }
    if (summary.cache) {
        json["cache"] = {{"hits", summary.cache->hits}, {"misses", summary.cache->misses}};
    }
    return json;
}

}  // namespace zandrel
