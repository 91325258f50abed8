// Tuning_report: what a search has found, as an options file, as a table and as JSON.
#ifndef ZANDREL_CLI_TUNE_TUNING_REPORT_H_
#define ZANDREL_CLI_TUNE_TUNING_REPORT_H_

#include <ostream>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "cli/tune/Tuning.h"

namespace zandrel::cli {

// Writes the chosen setting as an options file that train --options reads, with comments that say
// what was measured. It has no seconds, so it is the same in every run without a limit of time.
void write_tuned_options(const Tuning& tuning, std::ostream& out);

// Prints a line for each setting, those of the last round first, then the choice and how to use it.
// `file`: where the options are written; empty if they are written to standard output.
void print_tuning(const Tuning& tuning, const std::string& file, std::ostream& out);
// The same as an object.
nlohmann::ordered_json tuning_json(const Tuning& tuning, const std::string& file);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_TUNE_TUNING_REPORT_H_
