// Report_figures: the figures of an evaluation as the report shows them, with their intervals.
#ifndef ZANDREL_CLI_REPORT_REPORT_FIGURES_H_
#define ZANDREL_CLI_REPORT_REPORT_FIGURES_H_

#include <optional>
#include <string>
#include <vector>

#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Interval.h"

namespace zandrel::cli {

enum class Figure_form { kShare, kError };  // "82.7 %" and "0.0271"

struct Shown_figure {
    std::string name;
    double value = 0.0;  // not a number if there are no texts
    std::optional<Interval> interval = {};
    Figure_form form = Figure_form::kShare;
    std::string meaning = {};  // a sentence
};

// All figures of quality; those of calibrations that are missing are left out.
std::vector<Shown_figure> shown_figures(const Evaluation& evaluation);

// "82.7 %" or "0.0271", and "-" for a value that is not a number. The blank is one at which no line
// breaks.
std::string figure_text(double value, Figure_form form);
// "80.2 to 86.1 %" or "0.0201 to 0.0388".
std::string interval_text(const Interval& interval, Figure_form form);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_REPORT_FIGURES_H_
