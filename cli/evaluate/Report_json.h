// Report_json: an evaluation as a JSON object.
#ifndef ZANDREL_CLI_EVALUATE_REPORT_JSON_H_
#define ZANDREL_CLI_EVALUATE_REPORT_JSON_H_

#include <cstddef>

#include <nlohmann/json_fwd.hpp>

#include "cli/evaluate/Cross_validation.h"
#include "cli/evaluate/Evaluation.h"

namespace zandrel::cli {

// All figures, with at most `confusion_count` confusions. Shares and scores are from 0 to 1, times
// are in seconds, sizes in bytes. `micro_f1` and `macro_f1` are for the labels at the threshold,
// and `macro_f1_top` for the best labels.
nlohmann::ordered_json report_json(const Evaluation& evaluation, std::size_t confusion_count);
// The figures of a cross-validation, with the same names: `mean` and `spread` over the folds,
// `all_texts` together, and the list `folds`.
nlohmann::ordered_json report_json(const Cross_validation& validation, std::size_t confusion_count);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_REPORT_JSON_H_
