// Report_page: an evaluation as one page of HTML, which needs no network and no other file.
#ifndef ZANDREL_CLI_REPORT_REPORT_PAGE_H_
#define ZANDREL_CLI_REPORT_REPORT_PAGE_H_

#include <ostream>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "cli/evaluate/Cross_validation.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/report/Report_data.h"
#include "cli/report/Report_source.h"

namespace zandrel::cli {

// The page contains no cost and no time, so the same evaluation writes the same bytes. `folds`: of
// a cross-validation whose `all` is the evaluation; null for other evaluations.
void write_report_page(const Report_source& source, const Evaluation& evaluation,
                       const Cross_validation* folds, const Report_data& data, std::ostream& out);

// The data for the script of the page: categories, cells with some of their texts, and the points
// of the charts.
nlohmann::ordered_json page_json(const Evaluation& evaluation, const Report_data& data);

// Checks, before long work, that the page can be written to the file.
// RAISES: Usage_error for "-", since standard output has the other report, and for a file that
// exists and is neither empty nor a report; Output_error.
void check_report_file(const std::string& file);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_REPORT_PAGE_H_
