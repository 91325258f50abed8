// Evaluation: trains or reads a model, classifies a data file, and measures quality and cost.
#ifndef ZANDREL_CLI_EVALUATE_EVALUATION_H_
#define ZANDREL_CLI_EVALUATE_EVALUATION_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "cli/evaluate/Answered_share.h"
#include "cli/evaluate/Assignments.h"
#include "cli/evaluate/Calibration.h"
#include "cli/evaluate/Learning.h"
#include "cli/evaluate/Metrics.h"
#include "text/data/Folds.h"
#include "text/data/Labelled_text.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Kept_analysis.h"
#include "text/model/Explanation.h"
#include "text/model/Model_options.h"

namespace zandrel::cli {

class Evaluation_observer;

struct Evaluation_options {
    std::string kc_file;           // empty: train a model
    Given_analysis analysis = {};  // for the container
    Cache_bound bound = {};        // for the container in cached form
    std::string train_file;        // for a trained model, like `bootstraps` and `model`
    std::string test_file;
    // If there are any, `evaluate` holds a share of their texts out, trains on the others, and
    // classifies the share; `cross_validate` makes folds. There is no train_file or test_file then.
    std::vector<std::string> data_files = {};
    double held_out_share = 0.2;  // see held_out_texts
    std::size_t fold_count = 0;   // for `cross_validate`: 2 or more
    std::uint64_t seed = kDefaultSeed;
    double threshold = 0.5;  // a label with at least this score is given to the text; 0 to 1
    bool skips_bad_lines = false;
    Data_form form = {};                      // of all data files
    std::size_t longest_line = kLongestLine;  // in bytes; a longer line is bad
    // Number of processes that classify the texts of the test file (Worker_pool). Learning uses
    // one.
    std::size_t jobs = 1;
    bool bootstraps = false;                // trains on titles and keywords instead of the texts
    std::optional<std::string> learn_file;  // texts to learn after training
    std::size_t bulk_size = 1000;           // texts of `learn_file` in one bulk
    std::optional<std::string> text_to_explain;
    Model_options model;
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
    // Gets the warnings about probable mistakes in the data (evaluation_warnings) before the long
    // work, and about those in a tree after the training. May be empty.
    std::function<void(const std::string&)> warn = {};
    Evaluation_observer* observer = nullptr;  // BORROWS: gets each classified text; null: none
};

// The texts of one phase, and its cost.
struct Phase {
    std::size_t texts = 0;
    std::size_t bytes = 0;          // of the texts
    double cpu_seconds = 0.0;       // of all processes; without reading the file
    double analysis_seconds = 0.0;  // the part of `cpu_seconds` for text analysis
};

// The cost of reading a model.
struct Loading {
    std::uintmax_t bytes = 0;  // of the file
    double cpu_seconds = 0.0;
};

// Intervals are missing in the evaluation of a fold, whose figures have a spread instead.
// All figures except `learning` and `explanation` describe the model before it learned further
// texts.
struct Evaluation {
    std::optional<Phase> training;   // if the model was trained here
    std::optional<Loading> loading;  // if the model was read
    Phase classifying;
    std::size_t trained_labels = 0;              // of the model
    Metrics metrics;                             // of the best label of each text
    Assignments assignments;                     // of the labels at or above the threshold
    Calibration calibration;                     // of the scores of all labels
    std::optional<Calibration> raw_calibration;  // without likelihood tables; missing if none
    // The calibration of the confidences; missing if the model has no confidence map.
    std::optional<Best_calibration> confidence;
    Answered_share answered;              // by confidence or by score
    std::vector<Learning_step> learning;  // before the first bulk and after each, if any
    Skipped_lines skipped;                // of all files
    std::optional<Explanation> explanation;
    // See Text_model::blocked_texts. Indexes of the texts that were trained here, ascending.
    std::vector<std::size_t> blocked_texts;
    std::size_t peak_memory_bytes = 0;  // of the process, with the texts of the files
};

class Quality;

// Each data file may be "-", standard input.
// RAISES, before any work: Usage_error if standard input is named twice; Input_error; Data_error
// for a bad line, unless bad lines are skipped. Then, if the model is read: what read_model raises;
// Data_error if `learn_file` is set and the container is compact; Data_error if no text of
// `data_files` is held out, or all are. At any time: qtX<zeWorkflow> 2
// "Process interrupted".
Evaluation evaluate(const Evaluation_options& options);

// Trains a model on some texts, classifies others, and frees the model. `all`: collects the results
// of several calls; may be null. `to_train`: a search for groups moves the texts, and puts them
// back. The result has no `peak_memory_bytes`. Warns of a given tree, but not of blocked texts.
// RAISES: qtX<zeWorkflow> 2; Data_error with file and line for a label that no leaf of a given tree
// has; what Text_model::train raises.
Evaluation evaluate_texts(const Evaluation_options& options, std::vector<Labelled_text>& to_train,
                          const std::vector<Labelled_text>& to_classify, Quality* all);

// The names of the files of the training texts, for messages.
std::vector<std::string> training_names(const Evaluation_options& options);

// Warns of the texts with these indexes if there are any: rules of the tree keep them from their
// labels.
void warn_of_blocked(const Evaluation_options& options, const std::vector<Labelled_text>& texts,
                     const std::vector<std::size_t>& blocked);

// Of this process, so far.
std::size_t peak_memory_bytes();

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_EVALUATION_H_
