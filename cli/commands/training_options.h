// The options of training, which train and evaluate have.
#ifndef ZANDREL_CLI_COMMANDS_TRAINING_OPTIONS_H_
#define ZANDREL_CLI_COMMANDS_TRAINING_OPTIONS_H_

#include <string>
#include <vector>

#include "cli/commands/analysis_options.h"
#include "text/model/Engine_settings.h"
#include "text/model/Model_options.h"

namespace CLI {
class App;
}

namespace zandrel::cli {

// The words of the command line.
struct Training_words {
    Analysis_names analysis;
    std::string groups_file;               // empty: none
    std::string tree_file;                 // "auto": suggested groups; empty: none
    std::string options_file;              // empty: none
    std::vector<std::string> assignments;  // Key=value
    bool bootstraps = false;
    Engine_settings settings;  // from the file and the assignments; model_options sets it
};

// Adds --analysis, --stem, --options and --set.
// BORROWS: `words`, which must outlive `command`.
void add_setting_options(CLI::App& command, Training_words& words);

// Adds these, and --groups, --tree and --bootstrap.
// BORROWS: `words`, which must outlive `command`.
void add_training_options(CLI::App& command, Training_words& words);

// Reads the files. The result borrows the settings of `words`. `data_files`: of the training. If
// one of them is a corpus file, the texts are analysed as there (analysis_of_data). RAISES:
// Input_error, Data_error, Usage_error; CLI::ValidationError.
Model_options model_options(Training_words& words, const std::vector<std::string>& data_files);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_TRAINING_OPTIONS_H_
