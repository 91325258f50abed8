// Evaluation: trains on one file, classifies another, and measures.
#ifndef ZANDREL_CLI_EVALUATE_EVALUATION_H_
#define ZANDREL_CLI_EVALUATE_EVALUATION_H_

#include <cstddef>
#include <string>

#include "cli/evaluate/Metrics.h"
#include "cli/text/Text_analysis.h"

namespace cli {

struct Evaluation_options {
    std::string train_file;
    std::string test_file;
    Analysis_settings analysis;
};

// What went through one phase and what it cost.
struct Phase {
    std::size_t texts = 0;
    std::size_t bytes = 0;          // of the texts
    double cpu_seconds = 0.0;       // of the whole phase; reading the file is no part of it
    double analysis_seconds = 0.0;  // the share of that which text analysis took
};

// Plain figures; printing them is the report's part.
struct Evaluation {
    Phase training;
    Phase classifying;
    std::size_t trained_labels = 0;
    Metrics metrics;
    std::size_t peak_memory_bytes = 0;  // of the process, the files' texts included
};

// RAISES: Input_error, Data_error: both files are read before any work is done.
Evaluation evaluate(const Evaluation_options& options);

}  // namespace cli

#endif  // ZANDREL_CLI_EVALUATE_EVALUATION_H_
