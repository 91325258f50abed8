// Training: the work of the commands train and learn: data files in, a knowledge container out.
#ifndef ZANDREL_TEXT_TRAIN_TRAINING_H_
#define ZANDREL_TEXT_TRAIN_TRAINING_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "zandrel/foundation/CTProgress.h"

#include "text/data/Labelled_text.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Kept_analysis.h"
#include "text/model/Model_options.h"
#include "text/suggest/Tree_suggestion.h"

namespace zandrel {

struct Training_options {
    std::string kc_file;
    std::vector<std::string> data_files;  // at least one
    Model_options model = {};
    // Learn only the titles and keywords. The data lines then have columns for them.
    bool bootstraps = false;
    // Keeps a confidence map in the container, made from the answers of models of three folds. The
    // texts and a model of two folds are then in memory besides the model. Not with `keeps_tree`
    // for a container in cached form.
    bool calibrates = false;
    bool compact = false;  // leave out what only learning needs
    bool skips_bad_lines = false;
    Data_form form = {};                      // of the data files
    std::size_t longest_line = kLongestLine;  // in bytes; a longer one is bad
    bool replaces = false;                    // allows to replace a container that exists
    // Trains the classifiers of the container that exists anew, in the tree that it has. `model`
    // and `replaces` are not used then.
    bool keeps_tree = false;
    Given_analysis analysis = {};  // compared with that of the container; only with `keeps_tree`
    // Of the container that exists, with `keeps_tree`; otherwise a given bound makes a container in
    // cached form, which is trained in its file.
    Cache_bound bound = {};
    double seconds_to_wait = 0.0;    // while another process changes the container
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
    // Takes what the user should know before the work begins. May be empty.
    std::function<void(const std::string&)> warn = {};
};

struct Learning_options {
    std::string kc_file;
    std::vector<std::string> data_files;  // at least one
    Given_analysis analysis = {};
    bool adds_categories = false;  // a label that the container does not know gets a category
    bool skips_bad_lines = false;
    Data_form form = {};                      // of the data files
    std::size_t longest_line = kLongestLine;  // in bytes; a longer one is bad
    Cache_bound bound = {};                   // of a container in cached form
    double seconds_to_wait = 0.0;             // while another process changes the container
    CTProgress* progress = nullptr;           // BORROWS: null: no reports, no interruption
    // Takes what the user should know before the work begins. May be empty.
    std::function<void(const std::string&)> warn = {};
};

// The data of `suggest_from_files`.
struct Suggestion_options {
    std::vector<std::string> data_files;  // at least one
    Model_options model = {};
    bool skips_bad_lines = false;
    Data_form form = {};                      // of the data files
    std::size_t longest_line = kLongestLine;  // in bytes; a longer one is bad
    CTProgress* progress = nullptr;           // BORROWS: null: no reports, no interruption
    // Takes what the user should know before the work begins. May be empty.
    std::function<void(const std::string&)> warn = {};
};

// The result of train or learn.
struct Training_summary {
    std::string kc_file;
    std::size_t texts = 0;       // trained or learned by this run
    std::size_t labels = 0;      // of the container afterwards
    std::size_t new_labels = 0;  // of them
    std::uintmax_t bytes = 0;    // of the file

    Skipped_lines skipped = {};

    // Of a container in cached form: how often a classifier was in memory when it was needed, and
    // how often it had to be read.
    struct Cache_use {
        unsigned int hits = 0;
        unsigned int misses = 0;
    };

    std::optional<Cache_use> cache = std::nullopt;
    // Answers from which the confidence map of the container is made; missing without a map.
    std::optional<std::size_t> confidence_answers = std::nullopt;
};

// If train_kc or learn_into_kc fails, the file stays as it was, unless the change has been noted
// before (note_change), or, in cached form, they raise Partial_change. Both raise Usage_error if
// the container is one of the data files, or if standard input, "-", is named twice.
//
// With `keeps_tree`, a confidence map that the container has is dropped, since it belongs to the
// old classifiers; without `calibrates` a warning says so.
//
// Trains on the texts of all files together and writes the container. Before the training it warns
// of probable mistakes in the data (training_warnings), and after it of texts that the rules of the
// tree block and of labels of a given tree without a text. With `calibrates` it warns of fewer than
// 100 answers, and of a single label. RAISES: Input_error, Data_error and
// Output_error, and what Kc_lock raises, mostly before the training, since the target is tested
// first; Data_error for a target that exists and is not a container; Usage_error for a container
// without `replaces`; Data_error with file and line for a label that no leaf of a given tree has;
// what Text_model::train raises; qtX<zeWorkflow> 2 "Process interrupted". With `keeps_tree`, what
// read_model raises.
Training_summary train_kc(const Training_options& options);

// Reads the container, learns the texts of all files as one bulk, and writes the container. Warns
// before it learns of a damaged confidence map, which is not updated, and if the limits of the
// classifiers that the texts reach scale old counts down.
// RAISES: what read_model, Kc_lock, read_labelled_file and write_kc raise; Data_error for a compact
// container; Data_error with file and line for the first unknown label, unless `adds_categories`,
// and for a label that cannot be added.
Training_summary learn_into_kc(const Learning_options& options);

// Suggests a tree for the texts of all files together. Warns of probable mistakes in the data.
// RAISES: Usage_error if standard input is named twice; what read_labelled_file and suggest_tree
// raise; Data_error for a container instead of a data file, and, with file and line, for a label
// with white space that the text form of a tree cannot contain.
Tree_suggestion suggest_from_files(const Suggestion_options& options, Skipped_lines& skipped);

// Prints one line. It ends with the number of answers of the confidence map if there is one.
void print_training(const Training_summary& summary, std::ostream& out);
// The same as an object of `file`, `texts`, `labels`, `new_labels`, `bytes`, `skipped_lines`, with
// a confidence map `confidence_answers`, and, in cached form, `cache` with `hits` and `misses`.
nlohmann::ordered_json training_json(const Training_summary& summary);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_TRAIN_TRAINING_H_
