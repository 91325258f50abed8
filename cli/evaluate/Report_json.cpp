// Writes the same figures as the report, with full precision. Members that do not apply are null or
// missing.
#include "cli/evaluate/Report_json.h"

#include <algorithm>
#include <optional>

#include <nlohmann/json.hpp>

#include "cli/evaluate/Figures.h"

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

Json interval_json(const Interval& interval) {
    return Json::array({interval.low, interval.high});
}

// The member of a figure: that of its group if the group has one, for example the member "ece_top"
// of the member "without_tables".
Json& member_of(const Figure& figure, Json& json) {
    switch (figure.group) {
        case Figure_group::kRawCalibration:
            return json["without_tables"][figure.member];
        case Figure_group::kConfidence:
            return json["confidence"][figure.member];
        case Figure_group::kRejection:
        case Figure_group::kBestLabel:
        case Figure_group::kThreshold:
        case Figure_group::kCalibration:
            break;
    }
    return json[figure.member];
}

// The members of `intervals` have the names of the figures.
void add_intervals(const Evaluation& evaluation, Json& json) {
    Json intervals = {{"level", 0.95}, {"texts", evaluation.metrics.texts}};
    for (const Figure& figure : quality_figures()) {
        if (!has_figures(figure.group, evaluation)) {
            continue;
        }
        if (const std::optional<Interval> interval = figure.interval_of(evaluation)) {
            member_of(figure, intervals) =
                is_known(figure.group, evaluation) ? interval_json(*interval) : Json();
        }
    }
    json["intervals"] = intervals;
}

// The bins that have texts.
Json bins_json(const Best_calibration& calibration) {
    Json list = Json::array();
    for (const Calibration_bin& bin : calibration.bins) {
        if (bin.count > 0) {
            list.push_back({{"low", bin.low},
                            {"high", bin.high},
                            {"texts", bin.count},
                            {"mean", bin.mean_score},
                            {"right", bin.right},
                            {"share_right", bin.share_right()},
                            {"interval", interval_json(bin.share_interval())}});
        }
    }
    return list;
}

void add_bins(const Evaluation& evaluation, Json& json) {
    json["bins"]["score"] = bins_json(evaluation.calibration.best);
    if (evaluation.confidence) {
        json["bins"]["confidence"] = bins_json(*evaluation.confidence);
    }
}

// Every fifth of the points of one percent.
constexpr std::size_t kPointStep = 5;

void add_answered(const Answered_share& answered, Json& json) {
    Json points = Json::array();
    for (std::size_t i = 0; i < answered.points.size(); i += kPointStep) {
        const Answered_point& point = answered.points[i];
        points.push_back({{"share", point.share()},
                          {"threshold", point.threshold},
                          {"answered", point.answered},
                          {"right", point.right},
                          {"accuracy", point.accuracy()},
                          {"interval", interval_json(point.accuracy_interval())}});
    }
    json["answered"] = {{"by", answered.is_confidence ? "confidence" : "score"},
                        {"points", points}};
}

Json wanted_json(const Wanted_precision& wanted) {
    Json json = {{"wanted", wanted.wanted},
                 {"by", wanted.is_confidence ? "confidence" : "score"},
                 {"threshold", nullptr},
                 {"chosen_from", wanted.fold_count == 0 ? "training" : "test"},
                 {"chosen_from_texts", wanted.chosen_from},
                 {"folds", wanted.fold_count},
                 {"texts", wanted.texts},
                 {"answered", wanted.answered},
                 {"right", wanted.right},
                 {"precision", wanted.precision()},
                 {"precision_interval", interval_json(wanted.precision_interval())},
                 {"share", wanted.share()},
                 {"share_interval", interval_json(wanted.share_interval())}};
    if (wanted.threshold) {
        json["threshold"] = *wanted.threshold;
    }
    if (wanted.answered == 0) {
        json["precision"] = nullptr;
        json["precision_interval"] = nullptr;
    }
    return json;
}

// Adds the intervals, and the figures of trust in an answer.
void add_trust(const Evaluation& evaluation, Json& json) {
    add_intervals(evaluation, json);
    add_bins(evaluation, json);
    add_answered(evaluation.answered, json);
    if (evaluation.rejection) {
        json["rejection"] = {{"least_confidence", evaluation.rejection->least_confidence},
                             {"texts", evaluation.rejection->texts},
                             {"answered", evaluation.rejection->answered},
                             {"answered_share", evaluation.rejection->share()}};
    }
    if (evaluation.wanted_precision) {
        json["wanted_precision"] = wanted_json(*evaluation.wanted_precision);
    }
}

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
    if (evaluation.confidence) {
        json["confidence"] = {{"ece_top", evaluation.confidence->ece}};
    }
    for (const Figure& figure : quality_figures()) {
        if (has_figures(figure.group, evaluation) && !is_known(figure.group, evaluation)) {
            member_of(figure, json) = nullptr;
        }
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
                        {"cpu_seconds", step.cpu_seconds},
                        {"correct", step.correct},
                        {"test_texts", step.test_texts},
                        {"interval", interval_json(step.accuracy_interval())}});
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
                        {"f1", tally.f1()},
                        {"precision_interval", interval_json(precision_interval(tally))},
                        {"recall_interval", interval_json(recall_interval(tally))},
                        {"f1_interval", interval_json(f1_interval(tally))}});
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

// `has`: of a group of figures. `value_of`: of a figure.
template <class Has, class Value_of>
Json figures_json(const Has& has, const Value_of& value_of) {
    Json json;
    for (const Figure& figure : quality_figures()) {
        if (has(figure.group)) {
            member_of(figure, json) = value_of(figure);
        }
    }
    return json;
}

Json figure_json(const Figure& figure, const Evaluation& evaluation) {
    return is_known(figure.group, evaluation) ? Json(figure.of(evaluation)) : Json();
}

Json spread_json(const Figure& figure, const std::vector<Evaluation>& folds,
                 double Spread::*member) {
    return has_spread(figure.group, folds) ? Json(spread_of(figure, folds).*member) : Json();
}

Json fold_json(const Evaluation& fold) {
    Json json = {{"training_texts", fold.training->texts},
                 {"test_texts", fold.metrics.texts},
                 {"correct", fold.metrics.correct}};
    json.update(figures_json([&](Figure_group group) { return has_figures(group, fold); },
                             [&](const Figure& figure) { return figure_json(figure, fold); }));
    return json;
}

void add_spread(const Cross_validation& validation, Json& json) {
    const std::vector<Evaluation>& folds = validation.folds;
    const auto has = [&](Figure_group group) { return have_figures(group, folds); };
    json["mean"] = figures_json(
        has, [&](const Figure& figure) { return spread_json(figure, folds, &Spread::mean); });
    json["spread"] = figures_json(
        has, [&](const Figure& figure) { return spread_json(figure, folds, &Spread::deviation); });
    json["all_texts"] = {{"correct", validation.all.metrics.correct}};
    json["all_texts"].update(figures_json(
        has, [&](const Figure& figure) { return figure_json(figure, validation.all); }));
    add_trust(validation.all, json["all_texts"]);
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
    add_trust(evaluation, json);
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
