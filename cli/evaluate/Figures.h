// Figures: the figures of quality of an evaluation that have a mean over several evaluations.
#ifndef ZANDREL_CLI_EVALUATE_FIGURES_H_
#define ZANDREL_CLI_EVALUATE_FIGURES_H_

#include <optional>
#include <span>
#include <vector>

#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Interval.h"

namespace zandrel::cli {

enum class Figure_group {
    kRejection,
    kBestLabel,
    kThreshold,
    kCalibration,
    kRawCalibration,
    kConfidence
};

struct Figure {
    Figure_group group;
    const char* name;    // in the report
    const char* member;  // in JSON
    double (*of)(const Evaluation& evaluation);
    // Missing in the evaluation of a fold.
    std::optional<Interval> (*interval_of)(const Evaluation& evaluation);
};

// In the order of the report. REQUIRES, for the figures of a group: has_figures.
std::span<const Figure> quality_figures();

// Returns whether an evaluation has the figures of a group: without rejection, tables or a
// confidence map it lacks those of kRejection, kRawCalibration or kConfidence.
bool has_figures(Figure_group group, const Evaluation& evaluation);
// Returns whether there is a text to compute the figures of a group from. With --reject, perhaps no
// text gets an answer; then only the share answered is known.
bool is_known(Figure_group group, const Evaluation& evaluation);
// Returns whether all of them have figures of a group.
bool have_figures(Figure_group group, const std::vector<Evaluation>& evaluations);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_FIGURES_H_
