// Writes the same figures as the report, with full precision. Members that do not apply are null or
// missing.
#include "cli/evaluate/Report_json.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

void add_quality(const Evaluation& evaluation, Json& json) {
    const Assignments& assignments = evaluation.assignments;
    json["accuracy"] = evaluation.metrics.accuracy;
    json["correct"] = evaluation.metrics.correct;
    json["macro_f1_top"] = evaluation.metrics.macro_f1_top;
    json["threshold"] = assignments.threshold;
    json["micro_precision"] = assignments.micro.precision;
    json["micro_recall"] = assignments.micro.recall;
    json["micro_f1"] = assignments.micro.f1;
    json["macro_precision"] = assignments.macro.precision;
    json["macro_recall"] = assignments.macro.recall;
    json["macro_f1"] = assignments.macro.f1;
    json["ece_top"] = evaluation.calibration.ece_top;
    json["ece_pairs"] = evaluation.calibration.ece_pairs;
    json["brier"] = evaluation.calibration.brier;
    if (evaluation.raw_calibration) {
        json["without_tables"] = {{"ece_top", evaluation.raw_calibration->ece_top},
                                  {"ece_pairs", evaluation.raw_calibration->ece_pairs},
                                  {"brier", evaluation.raw_calibration->brier}};
    }
}

Json learning_json(const std::vector<Learning_step>& steps) {
    Json list = Json::array();
    for (const Learning_step& step : steps) {
        list.push_back({{"texts", step.texts},
                        {"accuracy", step.accuracy},
                        {"profiles", step.size.profiles},
                        {"concepts", step.size.concepts},
                        {"entries", step.size.entries},
                        {"largest_profile", step.size.largest},
                        {"cpu_seconds", step.cpu_seconds}});
    }
    return list;
}

Json phase_json(const Phase& phase, std::size_t labels) {
    return {{"texts", phase.texts},
            {"bytes", phase.bytes},
            {"labels", labels},
            {"cpu_seconds", phase.cpu_seconds},
            {"analysis_seconds", phase.analysis_seconds}};
}

// A model was either trained or read; the member for the other case is null.
void add_model(const Evaluation& evaluation, Json& json) {
    json["training"] = nullptr;
    json["loading"] = nullptr;
    if (evaluation.training) {
        json["training"] = phase_json(*evaluation.training, evaluation.trained_labels);
    }
    if (evaluation.loading) {
        json["loading"] = {{"bytes", evaluation.loading->bytes},
                           {"labels", evaluation.trained_labels},
                           {"cpu_seconds", evaluation.loading->cpu_seconds}};
    }
}

Json categories_json(const Assignments& assignments) {
    Json list = Json::array();
    for (const auto& [label, tally] : assignments.categories) {
        list.push_back({{"category", label},
                        {"texts", tally.texts()},
                        {"given", tally.given()},
                        {"hits", tally.hits},
                        {"precision", tally.precision()},
                        {"recall", tally.recall()},
                        {"f1", tally.f1()}});
    }
    return list;
}

Json confusions_json(const Metrics& metrics, std::size_t wanted) {
    Json list = Json::array();
    for (std::size_t i = 0; i < std::min(wanted, metrics.confusions.size()); ++i) {
        const Confusion& confusion = metrics.confusions[i];
        Json entry = {{"expected", confusion.expected}, {"got", nullptr}};
        if (!confusion.got.empty()) {
            entry["got"] = confusion.got;
        }
        entry["texts"] = confusion.texts;
        list.push_back(entry);
    }
    return list;
}

// `value_of`: of a figure.
template <class Value_of>
Json figures_json(bool has_raw, const Value_of& value_of) {
    Json json;
    for (const Figure& figure : quality_figures()) {
        if (figure.group != Figure_group::kRawCalibration) {
            json[figure.member] = value_of(figure);
        } else if (has_raw) {
            json["without_tables"][figure.member] = value_of(figure);
        }
    }
    return json;
}

Json fold_json(const Evaluation& fold) {
    Json json = {{"training_texts", fold.training->texts},
                 {"test_texts", fold.metrics.texts},
                 {"correct", fold.metrics.correct}};
    json.update(figures_json(fold.raw_calibration.has_value(),
                             [&](const Figure& figure) { return figure.of(fold); }));
    return json;
}

void add_spread(const Cross_validation& validation, Json& json) {
    const std::vector<Evaluation>& folds = validation.folds;
    const bool has_raw = have_raw_calibration(folds);
    json["mean"] =
        figures_json(has_raw, [&](const Figure& figure) { return spread_of(figure, folds).mean; });
    json["spread"] = figures_json(
        has_raw, [&](const Figure& figure) { return spread_of(figure, folds).deviation; });
    json["all_texts"] = {{"correct", validation.all.metrics.correct}};
    json["all_texts"].update(
        figures_json(has_raw, [&](const Figure& figure) { return figure.of(validation.all); }));
    json["folds"] = Json::array();
    for (const Evaluation& fold : folds) {
        json["folds"].push_back(fold_json(fold));
    }
}

}  // namespace

nlohmann::ordered_json report_json(const Evaluation& evaluation, std::size_t confusion_count) {
    Json json;
    add_quality(evaluation, json);
    add_model(evaluation, json);
    json["test"] = phase_json(evaluation.classifying, evaluation.metrics.labels);
    json["peak_memory_bytes"] = evaluation.peak_memory_bytes;
    json["skipped_lines"] = evaluation.skipped.count;
    json["categories"] = categories_json(evaluation.assignments);
    json["confusions"] = confusions_json(evaluation.metrics, confusion_count);
    if (!evaluation.learning.empty()) {
        json["learning"] = learning_json(evaluation.learning);
    }
    if (evaluation.explanation) {
        json["explanation"] = explanation_json(*evaluation.explanation);
    }
    return json;
}

nlohmann::ordered_json report_json(const Cross_validation& validation,
                                   std::size_t confusion_count) {
    const Evaluation& all = validation.all;
    Json json = {{"fold_count", validation.folds.size()},
                 {"seed", validation.seed},
                 {"texts", all.metrics.texts},
                 {"bytes", all.classifying.bytes},
                 {"labels", all.metrics.labels},
                 {"threshold", all.assignments.threshold}};
    add_spread(validation, json);
    json["training"] = phase_json(*all.training, all.metrics.labels);
    json["classifying"] = phase_json(all.classifying, all.metrics.labels);
    json["peak_memory_bytes"] = all.peak_memory_bytes;
    json["skipped_lines"] = all.skipped.count;
    json["categories"] = categories_json(all.assignments);
    json["confusions"] = confusions_json(all.metrics, confusion_count);
    return json;
}

}  // namespace zandrel::cli
