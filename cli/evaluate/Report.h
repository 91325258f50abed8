// Report: prints an evaluation as tables.
#ifndef ZANDREL_CLI_EVALUATE_REPORT_H_
#define ZANDREL_CLI_EVALUATE_REPORT_H_

#include <cstddef>
#include <ostream>

#include "cli/evaluate/Cross_validation.h"
#include "cli/evaluate/Evaluation.h"

namespace zandrel::cli {

struct Report_options {
    std::size_t confusion_count = 10;  // at most
    bool lists_categories = false;
};

// Prints the figures with units; 1 MB is a million bytes.
void print_report(const Evaluation& evaluation, const Report_options& options, std::ostream& out);
// Prints mean and spread of each figure over the folds, and the figure of all texts together. Cost,
// categories and confusions are those of all folds together.
void print_report(const Cross_validation& validation, const Report_options& options,
                  std::ostream& out);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_REPORT_H_
