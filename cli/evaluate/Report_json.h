// Report_json: an evaluation as JSON for programs.
#ifndef ZANDREL_CLI_EVALUATE_REPORT_JSON_H_
#define ZANDREL_CLI_EVALUATE_REPORT_JSON_H_

#include <cstddef>

#include <nlohmann/json_fwd.hpp>

#include "cli/evaluate/Evaluation.h"

namespace cli {

// Everything that is known, as one object, with at most `confusion_count` of the confusions.
// Shares and scores are 0..1, times seconds, sizes bytes. Here `micro_f1` and `macro_f1` are those
// of the labels at the threshold, and `macro_f1_top` is that of the best labels.
nlohmann::ordered_json report_json(const Evaluation& evaluation, std::size_t confusion_count);

}  // namespace cli

#endif  // ZANDREL_CLI_EVALUATE_REPORT_JSON_H_
