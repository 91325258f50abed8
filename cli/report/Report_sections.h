// Report_sections: the parts of a report that are HTML before any script runs. Each function
// returns a fragment of HTML for one place of page.html.
#ifndef ZANDREL_CLI_REPORT_REPORT_SECTIONS_H_
#define ZANDREL_CLI_REPORT_REPORT_SECTIONS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "cli/evaluate/Cross_validation.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/report/Report_data.h"

namespace zandrel::cli {

// Summary.
std::string figure_cards(const Evaluation& evaluation, const Report_data& data);
std::string hint_items(const Evaluation& evaluation, const Report_data& data);
std::string fact_items(const std::vector<Model_fact>& facts);
std::string figure_rows(const Evaluation& evaluation);
// A table of means and deviations.
std::string fold_table(const Cross_validation& validation);

// Categories and confusions.
std::string category_note(const Evaluation& evaluation);
std::string category_rows(const Evaluation& evaluation, const Report_data& data);
std::string matrix_note(const Report_data& data);
std::string confusion_caption(const Report_data& data);
std::string confusion_rows(const Report_data& data);

// Calibration, and accuracy against the share answered.
std::string calibration_note(const Evaluation& evaluation);
std::string calibration_figures(const Evaluation& evaluation);
std::string answered_note(const Evaluation& evaluation);
std::string answered_rows(const Evaluation& evaluation);
// Returns whether the table has a row for this wanted share.
bool is_in_answered_table(double wanted_share);

// Mistakes and tree.
std::string mistakes_note(const Report_data& data);
std::string mistake_lists(const Report_data& data);
std::string tree_note(const Report_data& data);
std::string tree_list(const Report_data& data);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_REPORT_SECTIONS_H_
