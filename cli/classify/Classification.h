// Classification: trains on a file and ranks the labels for each text given.
#ifndef ZANDREL_CLI_CLASSIFY_CLASSIFICATION_H_
#define ZANDREL_CLI_CLASSIFY_CLASSIFICATION_H_

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "cli/text/Text_analysis.h"

namespace cli {

struct Classification_options {
    std::string train_file;
    std::vector<std::string> texts;  // none, or a single "-": the lines of the input
    int wanted_labels = 3;
    Analysis_settings analysis;
};

// Prints each text and below it its labels with their scores, best first. Empty lines of `input`
// are skipped.
// RAISES: Input_error, Data_error.
void classify(const Classification_options& options, std::istream& input, std::ostream& out);

}  // namespace cli

#endif  // ZANDREL_CLI_CLASSIFY_CLASSIFICATION_H_
