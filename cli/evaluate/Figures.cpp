// One row for each figure. JSON has the same member names as the report of one evaluation.
#include "cli/evaluate/Figures.h"

#include <algorithm>

namespace zandrel::cli {

namespace {

using E = Evaluation;
using enum Figure_group;
using Found = std::optional<Interval>;

// The part of an average's intervals, if there are any.
Found part(const std::optional<Average_intervals>& intervals, Interval Average_intervals::*member) {
    return intervals ? Found((*intervals).*member) : std::nullopt;
}

Found part(const std::optional<Calibration_intervals>& intervals,
           Interval Calibration_intervals::*member) {
    return intervals ? Found((*intervals).*member) : std::nullopt;
}

using A = Average_intervals;
using C = Calibration_intervals;

constexpr Figure kFigures[] = {
    {kRejection, "answered", "answered_share", [](const E& e) { return e.rejection->share(); },
     [](const E& e) { return Found(e.rejection->interval()); }},
    {kBestLabel, "accuracy", "accuracy", [](const E& e) { return e.metrics.accuracy; },
     [](const E& e) { return Found(e.metrics.accuracy_interval()); }},
    {kBestLabel, "macro F1", "macro_f1_top", [](const E& e) { return e.metrics.macro_f1_top; },
     [](const E& e) { return e.metrics.macro_f1_interval; }},
    {kThreshold, "micro precision", "micro_precision",
     [](const E& e) { return e.assignments.micro.precision; },
     [](const E& e) { return part(e.assignments.micro_intervals, &A::precision); }},
    {kThreshold, "micro recall", "micro_recall",
     [](const E& e) { return e.assignments.micro.recall; },
     [](const E& e) { return part(e.assignments.micro_intervals, &A::recall); }},
    {kThreshold, "micro F1", "micro_f1", [](const E& e) { return e.assignments.micro.f1; },
     [](const E& e) { return part(e.assignments.micro_intervals, &A::f1); }},
    {kThreshold, "macro precision", "macro_precision",
     [](const E& e) { return e.assignments.macro.precision; },
     [](const E& e) { return part(e.assignments.macro_intervals, &A::precision); }},
    {kThreshold, "macro recall", "macro_recall",
     [](const E& e) { return e.assignments.macro.recall; },
     [](const E& e) { return part(e.assignments.macro_intervals, &A::recall); }},
    {kThreshold, "macro F1", "macro_f1", [](const E& e) { return e.assignments.macro.f1; },
     [](const E& e) { return part(e.assignments.macro_intervals, &A::f1); }},
    {kCalibration, "ECE of best", "ece_top", [](const E& e) { return e.calibration.ece_top; },
     [](const E& e) { return e.calibration.best.interval; }},
    {kCalibration, "ECE of all", "ece_pairs", [](const E& e) { return e.calibration.ece_pairs; },
     [](const E& e) { return part(e.calibration.intervals, &C::ece_pairs); }},
    {kCalibration, "Brier score", "brier", [](const E& e) { return e.calibration.brier; },
     [](const E& e) { return part(e.calibration.intervals, &C::brier); }},
    {kRawCalibration, "ECE of best", "ece_top",
     [](const E& e) { return e.raw_calibration->ece_top; },
     [](const E& e) { return e.raw_calibration->best.interval; }},
    {kRawCalibration, "ECE of all", "ece_pairs",
     [](const E& e) { return e.raw_calibration->ece_pairs; },
     [](const E& e) { return part(e.raw_calibration->intervals, &C::ece_pairs); }},
    {kRawCalibration, "Brier score", "brier", [](const E& e) { return e.raw_calibration->brier; },
     [](const E& e) { return part(e.raw_calibration->intervals, &C::brier); }},
    {kConfidence, "ECE of best", "ece_top", [](const E& e) { return e.confidence->ece; },
     [](const E& e) { return e.confidence->interval; }},
};

}  // namespace

std::span<const Figure> quality_figures() {
    return kFigures;
}

bool has_figures(Figure_group group, const Evaluation& evaluation) {
    switch (group) {
        case kRejection:
            return evaluation.rejection.has_value();
        case kRawCalibration:
            return evaluation.raw_calibration.has_value();
        case kConfidence:
            return evaluation.confidence.has_value();
        case kBestLabel:
        case kThreshold:
        case kCalibration:
            break;
    }
    return true;
}

bool is_known(Figure_group group, const Evaluation& evaluation) {
    return group == kRejection || !evaluation.rejection || evaluation.metrics.texts > 0;
}

bool have_figures(Figure_group group, const std::vector<Evaluation>& evaluations) {
    return std::all_of(evaluations.begin(), evaluations.end(), [&](const Evaluation& evaluation) {
        return has_figures(group, evaluation);
    });
}

}  // namespace zandrel::cli
