// Report_source: where the model and the texts of a report are from.
#ifndef ZANDREL_CLI_REPORT_REPORT_SOURCE_H_
#define ZANDREL_CLI_REPORT_REPORT_SOURCE_H_

#include <string>
#include <vector>

#include "cli/evaluate/Evaluation.h"
#include "cli/report/Report_data.h"

namespace zandrel::cli {

struct Report_source {
    std::string title;
    std::string subtitle;
    std::vector<Model_fact> facts;  // of the files and options
};

// File names are as the user gave them. There is no date, so the same command on the same files
// writes the same page.
Report_source report_source(const Evaluation_options& options);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_REPORT_SOURCE_H_
