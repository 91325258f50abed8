// Figures: the figures of quality of an evaluation that have a mean over several evaluations.
#ifndef ZANDREL_CLI_EVALUATE_FIGURES_H_
#define ZANDREL_CLI_EVALUATE_FIGURES_H_

#include <span>

#include "cli/evaluate/Evaluation.h"

namespace zandrel::cli {

enum class Figure_group { kBestLabel, kThreshold, kCalibration, kRawCalibration };

struct Figure {
    Figure_group group;
    const char* name;    // in the report
    const char* member;  // in JSON
    double (*of)(const Evaluation& evaluation);
};

// In the order of the report. REQUIRES, for figures of kRawCalibration: the evaluation has a
// raw_calibration.
std::span<const Figure> quality_figures();

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_FIGURES_H_
