// Classification: trains on a file and ranks the labels for each text given.
#ifndef ZANDREL_CLI_CLASSIFY_CLASSIFICATION_H_
#define ZANDREL_CLI_CLASSIFY_CLASSIFICATION_H_

#include <istream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/model/Model_options.h"

namespace cli {

struct Classification_options {
    std::string train_file;
    std::vector<std::string> texts;  // none, or a single "-": the lines of the input
    int wanted_labels = 3;
    std::optional<std::string> text_to_explain;  // this one instead of the texts and the input
    bool writes_json = false;
    bool skips_bad_lines = false;
    Model_options model;
};

// Prints each text and below it its labels with their scores, best first, or a JSON object for each
// text: `text`, and `categories`, a list of objects of `category` and `score`. A text to be
// explained has its explanation printed instead. Empty lines of `input` are skipped. `messages`
// gets a line about the bad lines skipped.
// RAISES: Input_error, Data_error; bad lines are no error if they are skipped.
void classify(const Classification_options& options, std::istream& input, std::ostream& out,
              std::ostream& messages);

}  // namespace cli

#endif  // ZANDREL_CLI_CLASSIFY_CLASSIFICATION_H_
