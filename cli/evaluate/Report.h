// Report: an evaluation as text for people.
#ifndef ZANDREL_CLI_EVALUATE_REPORT_H_
#define ZANDREL_CLI_EVALUATE_REPORT_H_

#include <cstddef>
#include <ostream>

#include "cli/evaluate/Evaluation.h"

namespace cli {

// Prints the figures with their units (1 MB is a million bytes) and at most `confusion_count` of
// the confusions.
void print_report(const Evaluation& evaluation, std::size_t confusion_count, std::ostream& out);

}  // namespace cli

#endif  // ZANDREL_CLI_EVALUATE_REPORT_H_
