// Tuning: searches settings with which a container of some data is most accurate, by
// cross-validation inside the data.
#ifndef ZANDREL_CLI_TUNE_TUNING_H_
#define ZANDREL_CLI_TUNE_TUNING_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "cli/tune/Halving.h"
#include "cli/tune/Tuning_setting.h"
#include "text/data/Folds.h"
#include "text/data/Labelled_text.h"

namespace zandrel::cli {

struct Tuning_options {
    std::vector<std::string> data_files;  // at least one
    Tuning_metric metric = Tuning_metric::kAccuracy;
    std::string stem_language = "english";  // to try; empty: none
    std::uint64_t seed = kDefaultSeed;
    std::optional<double> seconds;  // of wall time, after which no trial begins; missing: no limit
    std::size_t jobs = 1;           // processes that make trials at the same time (Worker_pool)
    bool skips_bad_lines = false;
    Data_form form = {};                      // of the data files
    std::size_t longest_line = kLongestLine;  // in bytes; a longer one is bad
    CTProgress* progress = nullptr;           // BORROWS: null: no reports, no interruption
    // Takes what the user should know before the work begins. May be empty.
    std::function<void(const std::string&)> warn = {};
};

struct Tuning {
    std::size_t texts = 0;   // that took part
    std::size_t copies = 0;  // left out: an earlier text has the same text and labels
    std::size_t labels = 0;
    Tuning_metric metric = Tuning_metric::kAccuracy;
    std::uint64_t seed = kDefaultSeed;
    std::optional<double> seconds;         // the limit; missing: none
    std::vector<Tuning_setting> settings;  // the first: the defaults
    std::vector<Tuning_round> rounds;
    Halving_result search;
    Skipped_lines skipped;
};

// Searches for the texts of all files together. Of texts with the same text and the same labels
// only the first takes part: a model would have learned the copy of a text that tests it, and the
// copies would make a gain look clearer than it is. Texts of corpus files are not compared. Warns
// of probable mistakes in the data. Without `seconds` the result is the same in every run, on every
// machine and with any number of jobs, except Setting_figures::cpu_seconds. In each process there
// is one model at a time. RAISES: Usage_error if standard input is named twice, or if there are
// fewer texts than folds without the copies; what read_labelled_file raises; qtX<zeWorkflow> 2
// "Process interrupted".
Tuning tune(const Tuning_options& options);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_TUNE_TUNING_H_
