// Whole_data: the texts of data files that an evaluation divides into texts to learn and texts to
// classify.
#ifndef ZANDREL_CLI_EVALUATE_WHOLE_DATA_H_
#define ZANDREL_CLI_EVALUATE_WHOLE_DATA_H_

#include <string>
#include <vector>

#include "cli/evaluate/Evaluation.h"
#include "text/data/Labelled_text.h"

namespace zandrel::cli {

// Tells a user who has to type data of it.
// RAISES: Usage_error if standard input is named twice.
void check_input(const Evaluation_options& options);

struct Whole_data {
    std::string name;                  // for messages: the file, or "3 data files"
    std::vector<Labelled_text> texts;  // of all files, in the order of the files
};

// Reads the data files, and warns of probable mistakes in them (training_warnings).
// RAISES: what read_labelled_file raises; Data_error for a knowledge container.
Whole_data read_whole_data(const Evaluation_options& options, Skipped_lines* skipped);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_WHOLE_DATA_H_
