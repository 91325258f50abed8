// One row for each figure. JSON has the same member names as the report of one evaluation.
#include "cli/evaluate/Figures.h"

namespace zandrel::cli {

namespace {

using E = Evaluation;
using enum Figure_group;

constexpr Figure kFigures[] = {
    {kBestLabel, "accuracy", "accuracy", [](const E& e) { return e.metrics.accuracy; }},
    {kBestLabel, "macro F1", "macro_f1_top", [](const E& e) { return e.metrics.macro_f1_top; }},
    {kThreshold, "micro precision", "micro_precision",
     [](const E& e) { return e.assignments.micro.precision; }},
    {kThreshold, "micro recall", "micro_recall",
     [](const E& e) { return e.assignments.micro.recall; }},
    {kThreshold, "micro F1", "micro_f1", [](const E& e) { return e.assignments.micro.f1; }},
    {kThreshold, "macro precision", "macro_precision",
     [](const E& e) { return e.assignments.macro.precision; }},
    {kThreshold, "macro recall", "macro_recall",
     [](const E& e) { return e.assignments.macro.recall; }},
    {kThreshold, "macro F1", "macro_f1", [](const E& e) { return e.assignments.macro.f1; }},
    {kCalibration, "ECE of best", "ece_top", [](const E& e) { return e.calibration.ece_top; }},
    {kCalibration, "ECE of all", "ece_pairs", [](const E& e) { return e.calibration.ece_pairs; }},
    {kCalibration, "Brier score", "brier", [](const E& e) { return e.calibration.brier; }},
    {kRawCalibration, "ECE of best", "ece_top",
     [](const E& e) { return e.raw_calibration->ece_top; }},
    {kRawCalibration, "ECE of all", "ece_pairs",
     [](const E& e) { return e.raw_calibration->ece_pairs; }},
    {kRawCalibration, "Brier score", "brier", [](const E& e) { return e.raw_calibration->brier; }},
};

}  // namespace

std::span<const Figure> quality_figures() {
    return kFigures;
}

}  // namespace zandrel::cli
