// Evaluation: trains on one file or loads a model, classifies another, and measures.
#ifndef ZANDREL_CLI_EVALUATE_EVALUATION_H_
#define ZANDREL_CLI_EVALUATE_EVALUATION_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "cli/data/Labelled_text.h"
#include "cli/evaluate/Assignments.h"
#include "cli/evaluate/Calibration.h"
#include "cli/evaluate/Learning.h"
#include "cli/evaluate/Metrics.h"
#include "cli/kc/Kept_analysis.h"
#include "cli/model/Explanation.h"
#include "cli/model/Model_options.h"

namespace cli {

struct Evaluation_options {
    std::string kc_file;           // empty: a model is trained
    Given_analysis analysis = {};  // for the container
    std::string train_file;        // of a model that is trained, as `bootstraps` and `model`
    std::string test_file;
    double threshold = 0.5;  // least score, 0..1, at which a label is given to a text
    bool skips_bad_lines = false;
    std::size_t longest_line = kLongestLine;  // in bytes; a longer one is bad
    // Processes that classify the texts of the test file (Worker_pool). Learning has one.
    std::size_t jobs = 1;
    bool bootstraps = false;  // from titles and keywords, instead of training on the texts
    std::optional<std::string> learn_file;  // texts to learn after training
    std::size_t bulk_size = 1000;           // so many at a time
    std::optional<std::string> text_to_explain;
    Model_options model;
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
    // Takes what is probably a mistake in the data (evaluation_warnings), before the long work. May
    // be empty.
    std::function<void(const std::string&)> warn = {};
};

// What went through one phase and what it cost.
struct Phase {
    std::size_t texts = 0;
    std::size_t bytes = 0;     // of the texts
    double cpu_seconds = 0.0;  // of the whole phase and all processes, without reading the file
    double analysis_seconds = 0.0;  // the share of that which text analysis took
};

// What it cost to read a model instead of training it.
struct Loading {
    std::uintmax_t bytes = 0;  // of the file
    double cpu_seconds = 0.0;
};

// Plain figures, of the model as it was before it learned further texts; printing them is the
// report's part.
struct Evaluation {
    std::optional<Phase> training;   // of a model that was trained here
    std::optional<Loading> loading;  // of one that was read
    Phase classifying;
    std::size_t trained_labels = 0;              // of the model
    Metrics metrics;                             // of the best label of each text
    Assignments assignments;                     // of the labels at or above the threshold
    Calibration calibration;                     // of the scores of all labels
    std::optional<Calibration> raw_calibration;  // the same without likelihood tables; if there are
    std::vector<Learning_step> learning;  // the model before the first bulk and after each; or none
    Skipped_lines skipped;                // of all files
    std::optional<Explanation> explanation;
    std::size_t peak_memory_bytes = 0;  // of the process, the files' texts included
};

// Each data file may be "-", standard input.
// RAISES: qtX<zeWorkflow> 2 "Process interrupted"; Input_error, Data_error: all files are read
// before any work is done. Usage_error if standard input is named twice. Bad lines are no error if
// they are skipped. Also the errors of read_model, and Data_error if a compact container is to
// learn.
Evaluation evaluate(const Evaluation_options& options);

}  // namespace cli

#endif  // ZANDREL_CLI_EVALUATE_EVALUATION_H_
