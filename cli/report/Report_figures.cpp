// Puts the figures of an evaluation into one list, and formats them.
#include "cli/report/Report_figures.h"

#include <cmath>
#include <limits>
#include <utility>

#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using enum Figure_form;

// `kind`: "Micro" or "Macro".
void add_averages(const std::string& kind, const std::string& of, const std::string& threshold,
                  const Averages& averages, const std::optional<Average_intervals>& intervals,
                  std::vector<Shown_figure>& figures) {
    const auto interval = [&intervals](Interval Average_intervals::*member) {
        return intervals ? std::optional<Interval>((*intervals).*member) : std::nullopt;
    };
    figures.push_back({kind + " precision" + threshold, averages.precision,
                       interval(&Average_intervals::precision), kShare,
                       "Right ones among the given labels, " + of + "."});
    figures.push_back({kind + " recall" + threshold, averages.recall,
                       interval(&Average_intervals::recall), kShare,
                       "Given ones among the labels of the texts, " + of + "."});
    figures.push_back({kind + " F1" + threshold, averages.f1, interval(&Average_intervals::f1),
                       kShare, "Harmonic mean of precision and recall, " + of + "."});
}

void add_calibration(const Evaluation& evaluation, std::vector<Shown_figure>& figures) {
    const Calibration& calibration = evaluation.calibration;
    figures.push_back({"Calibration error of the score", calibration.ece_top,
                       calibration.best.interval, kError,
                       "Mean distance between the score of the best label and the share of right "
                       "answers."});
    if (evaluation.confidence) {
        figures.push_back({"Calibration error of the confidence", evaluation.confidence->ece,
                           evaluation.confidence->interval, kError,
                           "The same distance for the confidence."});
    }
    std::optional<Interval> pairs;
    std::optional<Interval> brier;
    if (calibration.intervals) {
        pairs = calibration.intervals->ece_pairs;
        brier = calibration.intervals->brier;
    }
    figures.push_back({"Calibration error of all pairs", calibration.ece_pairs, pairs, kError,
                       "The same distance for the scores of all pairs of text and label."});
    figures.push_back({"Brier score", calibration.brier, brier, kError,
                       "Squared distance of the scores of all labels from 1 or 0, for each text."});
}

}  // namespace

std::vector<Shown_figure> shown_figures(const Evaluation& evaluation) {
    const Metrics& metrics = evaluation.metrics;
    const Assignments& assignments = evaluation.assignments;
    const std::string least = with_decimals(assignments.threshold, 2);
    const std::string given = "if labels with a score of at least " + least + " are given";
    std::vector<Shown_figure> figures = {
        {"Accuracy", metrics.accuracy, metrics.accuracy_interval(), kShare,
         "Texts whose best label is right."},
        {"Macro F1", metrics.macro_f1_top, metrics.macro_f1_interval, kShare,
         "Mean of the F1 of all labels, for the best label of each text."}};
    add_averages("Micro", given + ", all decisions together", " at " + least, assignments.micro,
                 assignments.micro_intervals, figures);
    add_averages("Macro", given + ", mean over the labels", " at " + least, assignments.macro,
                 assignments.macro_intervals, figures);
    add_calibration(evaluation, figures);
    if (metrics.texts == 0) {  // --reject has left no answer
        for (Shown_figure& figure : figures) {
            figure.value = std::numeric_limits<double>::quiet_NaN();
            figure.interval.reset();
        }
    }
    return figures;
}

std::string figure_text(double value, Figure_form form) {
    if (std::isnan(value)) {
        return "-";
    }
    return form == kShare ? with_decimals(100.0 * value, 1) + "\u00a0%" : with_decimals(value, 4);
}

std::string interval_text(const Interval& interval, Figure_form form) {
    return form == kShare
               ? with_decimals(100.0 * interval.low, 1) + " to " + figure_text(interval.high, form)
               : figure_text(interval.low, form) + " to " + figure_text(interval.high, form);
}

}  // namespace zandrel::cli
