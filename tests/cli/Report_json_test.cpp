#include "cli/evaluate/Report_json.h"

#include <cmath>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

Evaluation example_evaluation() {
    Evaluation evaluation;
    evaluation.training = {11314, 21150000, 2.0, 0.5};
    evaluation.classifying = {8, 13200, 0.5, 0.25};
    evaluation.trained_labels = 20;
    evaluation.metrics = {8, 6, 2, 0.75, 0.8125, {{"a,b", "c", 1}, {"b", "", 1}}};
    evaluation.assignments = {
        0.25, {0.5, 0.125, 0.375}, {0.0625, 0.875, 0.625}, {{"a", {3, 1, 9}}, {"b", {0, 0, 0}}}};
    evaluation.calibration = {0.03125, 0.015625, 1.5};
    evaluation.skipped = {3, "bad.tsv:2: no tab"};
    evaluation.peak_memory_bytes = 112700000;
    return evaluation;
}

TEST(ReportJsonTest, QualityIsPlainNumbers) {
    const Json json = report_json(example_evaluation(), 10);

    const struct {
        std::string key;
        double value;
    } rows[] = {
        {"accuracy", 0.75},          {"macro_f1_top", 0.8125}, {"threshold", 0.25},
        {"micro_precision", 0.5},    {"micro_recall", 0.125},  {"micro_f1", 0.375},
        {"macro_precision", 0.0625}, {"macro_recall", 0.875},  {"macro_f1", 0.625},
        {"ece_top", 0.03125},        {"ece_pairs", 0.015625},  {"brier", 1.5},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.key);
        ASSERT_TRUE(json.contains(row.key));
        EXPECT_TRUE(json[row.key].is_number_float());
        EXPECT_EQ(json[row.key].get<double>(), row.value);
    }
}

TEST(ReportJsonTest, CalibrationWithoutTablesIsGivenIfThereAreTables) {
    Evaluation evaluation = example_evaluation();
    evaluation.raw_calibration = Calibration{0.25, 0.125, 2.0};

    EXPECT_EQ(report_json(evaluation, 0)["without_tables"].dump(),
              R"({"ece_top":0.25,"ece_pairs":0.125,"brier":2.0})");
    EXPECT_FALSE(report_json(example_evaluation(), 0).contains("without_tables"));
}

TEST(ReportJsonTest, IntervalsHaveTheNamesOfTheFigures) {
    Evaluation evaluation = example_evaluation();
    evaluation.metrics.macro_f1_interval = {0.75, 0.875};
    evaluation.assignments.macro_intervals = {{0.0, 0.125}, {0.5, 1.0}, {0.25, 0.5}};
    evaluation.calibration.intervals = {{0.25, 0.375}, {1.25, 1.75}};
    evaluation.raw_calibration = Calibration{0.25, 0.125, 2.0};
    evaluation.raw_calibration->best.interval = {0.125, 0.5};
    evaluation.confidence = Best_calibration{0.0625, {}, Interval{0.0, 0.125}};

    Json json = report_json(evaluation, 0)["intervals"];

    const Interval accuracy = share_interval(6, 8);
    EXPECT_EQ(json["accuracy"], Json::array({accuracy.low, accuracy.high}));
    json.erase("accuracy");
    EXPECT_EQ(json.dump(),
              R"({"level":0.95,"texts":8,"macro_f1_top":[0.75,0.875],)"
              R"("macro_precision":[0.0,0.125],"macro_recall":[0.5,1.0],"macro_f1":[0.25,0.5],)"
              R"("ece_pairs":[0.25,0.375],"brier":[1.25,1.75],)"
              R"("without_tables":{"ece_top":[0.125,0.5]},"confidence":{"ece_top":[0.0,0.125]}})");
}

TEST(ReportJsonTest, BinsWithTextsAreListed) {
    Evaluation evaluation = example_evaluation();
    evaluation.calibration.best.bins = {{0.0, 0.5, 0, 0, 0.0}, {0.5, 1.0, 8, 6, 0.625}};
    EXPECT_FALSE(report_json(evaluation, 0)["bins"].contains("confidence"));
    evaluation.confidence = Best_calibration{0.0625, {{0.5, 1.0, 8, 6, 0.75}}};

    const Json json = report_json(evaluation, 0);

    const Interval interval = share_interval(6, 8);
    const Json ends = Json::array({interval.low, interval.high});
    EXPECT_EQ(json["bins"]["score"].dump(),
              R"([{"low":0.5,"high":1.0,"texts":8,"mean":0.625,"right":6,"share_right":0.75,)"
              R"("interval":)" +
                  ends.dump() + "}]");
    EXPECT_EQ(json["bins"]["confidence"][0]["mean"], 0.75);
    EXPECT_EQ(json["confidence"]["ece_top"], 0.0625);
}

TEST(ReportJsonTest, AccuracyAgainstTheShareAnsweredHasTwentyPoints) {
    Evaluation evaluation = example_evaluation();
    EXPECT_EQ(report_json(evaluation, 0)["answered"].dump(), R"({"by":"score","points":[]})");
    for (std::size_t percent = 100; percent > 0; --percent) {
        evaluation.answered.points.push_back({0.0, 0.5, percent, percent / 2, 100});
    }
    evaluation.answered.is_confidence = true;

    const Json json = report_json(evaluation, 0)["answered"];

    EXPECT_EQ(json["by"], "confidence");
    ASSERT_EQ(json["points"].size(), 20U);
    EXPECT_EQ(json["points"][1]["share"], 0.95);
    EXPECT_EQ(json["points"][1]["threshold"], 0.5);
    EXPECT_EQ(json["points"][1]["answered"], 95);
    EXPECT_EQ(json["points"][1]["right"], 47);
    EXPECT_DOUBLE_EQ(json["points"][1]["accuracy"].get<double>(), 47.0 / 95);
    EXPECT_EQ(json["points"][1]["interval"][0], share_interval(47, 95).low);
    EXPECT_EQ(json["points"][19]["share"], 0.05);
}

TEST(ReportJsonTest, RejectionAndWantedPrecisionAreGivenIfRequested) {
    Evaluation evaluation = example_evaluation();
    EXPECT_FALSE(report_json(evaluation, 0).contains("rejection"));
    EXPECT_FALSE(report_json(evaluation, 0).contains("wanted_precision"));
    evaluation.rejection = {0.75, 10, 8};
    evaluation.wanted_precision = {0.95, true, 0.625, 1000, 5, 1000, 500, 500};

    const Json json = report_json(evaluation, 0);

    EXPECT_EQ(json["rejection"].dump(),
              R"({"least_confidence":0.75,"texts":10,"answered":8,"answered_share":0.8})");
    Json wanted = json["wanted_precision"];
    EXPECT_EQ(wanted["precision_interval"][0], share_interval(500, 500).low);
    EXPECT_EQ(wanted["share_interval"][1], share_interval(500, 1000).high);
    wanted.erase("precision_interval");
    wanted.erase("share_interval");
    EXPECT_EQ(wanted.dump(),
              R"({"wanted":0.95,"by":"confidence","threshold":0.625,"chosen_from":"test",)"
              R"("chosen_from_texts":1000,"folds":5,"texts":1000,"answered":500,"right":500,)"
              R"("precision":1.0,"share":0.5})");
    evaluation.wanted_precision->threshold.reset();
    EXPECT_TRUE(report_json(evaluation, 0)["wanted_precision"]["threshold"].is_null());
}

TEST(ReportJsonTest, FiguresOfNoAnsweredTextAreNull) {
    Evaluation evaluation = example_evaluation();
    evaluation.rejection = {1.0, 10, 0};
    evaluation.metrics = {};
    evaluation.confidence = Best_calibration{0.0, {}, Interval{0.0, 1.0}};
    evaluation.wanted_precision = {0.95, true, 0.625, 1000, 5, 1000, 0, 0};

    const Json json = report_json(evaluation, 0);

    EXPECT_TRUE(json["accuracy"].is_null());
    EXPECT_TRUE(json["intervals"]["accuracy"].is_null());
    EXPECT_TRUE(json["ece_top"].is_null());
    EXPECT_TRUE(json["confidence"]["ece_top"].is_null());
    EXPECT_TRUE(json["intervals"]["confidence"]["ece_top"].is_null());
    EXPECT_TRUE(json["wanted_precision"]["precision"].is_null());
    EXPECT_TRUE(json["wanted_precision"]["precision_interval"].is_null());
    EXPECT_EQ(json["rejection"]["answered_share"], 0.0);
    EXPECT_EQ(json["intervals"]["answered_share"][0], 0.0);
}

TEST(ReportJsonTest, EachLearnedBulkIsListed) {
    Evaluation evaluation = example_evaluation();
    evaluation.learning = {{0, 0.5, {2, 100, 40, 25}, 0.0, 2, 4},
                           {10, 0.75, {3, 200, 60, 20}, 1.25, 3, 4}};

    Json learning = report_json(evaluation, 0)["learning"];
    EXPECT_EQ(learning[1]["interval"][0], share_interval(3, 4).low);
    EXPECT_EQ(learning[1]["interval"][1], share_interval(3, 4).high);
    learning[0].erase("interval");
    learning[1].erase("interval");

    EXPECT_EQ(learning.dump(),
              R"([{"texts":0,"accuracy":0.5,"profiles":2,"concepts":100,"entries":40,)"
              R"("largest_profile":25,"cpu_seconds":0.0,"correct":2,"test_texts":4},)"
              R"({"texts":10,"accuracy":0.75,"profiles":3,"concepts":200,"entries":60,)"
              R"("largest_profile":20,"cpu_seconds":1.25,"correct":3,"test_texts":4}])");
    EXPECT_FALSE(report_json(example_evaluation(), 0).contains("learning"));
}

TEST(ReportJsonTest, CountsAndCostsAreGiven) {
    const Json json = report_json(example_evaluation(), 10);

    EXPECT_EQ(json["correct"], 6);
    EXPECT_EQ(json["training"].dump(),
              R"({"texts":11314,"bytes":21150000,"labels":20,"cpu_seconds":2.0,)"
              R"("analysis_seconds":0.5})");
    EXPECT_EQ(json["test"].dump(),
              R"({"texts":8,"bytes":13200,"labels":2,"cpu_seconds":0.5,"analysis_seconds":0.25})");
    EXPECT_EQ(json["peak_memory_bytes"], 112700000);
    EXPECT_EQ(json["skipped_lines"], 3);
}

TEST(ReportJsonTest, TrainingOrLoadingIsGivenAndTheOtherIsNull) {
    Evaluation evaluation = example_evaluation();

    EXPECT_TRUE(report_json(evaluation, 10).at("loading").is_null());
    evaluation.training.reset();
    evaluation.loading = {10500000, 0.25};
    const Json json = report_json(evaluation, 10);
    EXPECT_TRUE(json.at("training").is_null());
    EXPECT_EQ(json["loading"].dump(), R"({"bytes":10500000,"labels":20,"cpu_seconds":0.25})");
}

std::string intervals_of(const Tally& tally) {
    const auto list = [](const Interval& interval) {
        return Json::array({interval.low, interval.high}).dump();
    };
    return "\"precision_interval\":" + list(precision_interval(tally)) +
           ",\"recall_interval\":" + list(recall_interval(tally)) +
           ",\"f1_interval\":" + list(f1_interval(tally));
}

TEST(ReportJsonTest, AllCategoriesAreListed) {
    EXPECT_EQ(report_json(example_evaluation(), 0)["categories"].dump(),
              R"([{"category":"a","texts":4,"given":12,"hits":3,"precision":0.25,"recall":0.75,)"
              R"("f1":0.375,)" +
                  intervals_of({3, 1, 9}) +
                  R"(},)"
                  R"({"category":"b","texts":0,"given":0,"hits":0,"precision":0.0,"recall":0.0,)"
                  R"("f1":0.0,"precision_interval":[0.0,1.0],"recall_interval":[0.0,1.0],)"
                  R"("f1_interval":[0.0,1.0]}])");
}

TEST(ReportJsonTest, RequestedNumberOfConfusionsIsListed) {
    EXPECT_EQ(report_json(example_evaluation(), 10)["confusions"].dump(),
              R"([{"expected":"a,b","got":"c","texts":1},{"expected":"b","got":null,"texts":1}])");
    EXPECT_EQ(report_json(example_evaluation(), 1)["confusions"].dump(),
              R"([{"expected":"a,b","got":"c","texts":1}])");
    EXPECT_EQ(report_json(example_evaluation(), 0)["confusions"].dump(), "[]");
}

TEST(ReportJsonTest, ExplanationIsGivenIfThereIsOne) {
    Evaluation evaluation = example_evaluation();

    EXPECT_FALSE(report_json(evaluation, 10).contains("explanation"));
    evaluation.explanation = Explanation{"goal", "sport", 0.5, {}};
    EXPECT_EQ(report_json(evaluation, 10)["explanation"].dump(),
              R"({"text":"goal","category":"sport","score":0.5,"concepts":[]})");
}

TEST(ReportJsonTest, EmptyEvaluationHasListsAndZeros) {
    const Json json = report_json(Evaluation(), 10);

    EXPECT_EQ(json["accuracy"], 0.0);
    EXPECT_EQ(json["brier"], 0.0);
    EXPECT_EQ(json["categories"], Json::array());
    EXPECT_EQ(json["confusions"], Json::array());
    EXPECT_EQ(json["skipped_lines"], 0);
}

TEST(ReportJsonTest, FoldsHaveMeanSpreadAndListOfFigures) {
    Cross_validation validation;
    validation.seed = 7;
    validation.folds.resize(2);
    validation.folds[0].metrics.accuracy = 0.5;
    validation.folds[1].metrics.accuracy = 1.0;
    validation.folds[0].metrics.texts = 4;
    validation.folds[0].metrics.correct = 2;
    validation.folds[0].training = {6};
    validation.folds[1].training = {4};
    validation.folds[0].calibration.brier = 0.25;
    validation.folds[1].calibration.brier = 0.75;
    validation.all = example_evaluation();
    validation.all.training = {10};

    const Json json = report_json(validation, 1);

    EXPECT_EQ(json["fold_count"], 2);
    EXPECT_EQ(json["seed"], 7);
    EXPECT_EQ(json["mean"]["accuracy"], 0.75);
    EXPECT_DOUBLE_EQ(json["spread"]["accuracy"].get<double>(), 0.25 * std::sqrt(2.0));
    EXPECT_EQ(json["mean"]["brier"], 0.5);
    EXPECT_EQ(json["all_texts"]["accuracy"], report_json(validation.all, 1)["accuracy"]);
    EXPECT_EQ(json["all_texts"]["intervals"], report_json(validation.all, 1)["intervals"]);
    EXPECT_EQ(json["all_texts"]["correct"], report_json(validation.all, 1)["correct"]);
    ASSERT_EQ(json["folds"].size(), 2U);
    EXPECT_EQ(json["folds"][0]["training_texts"], 6);
    EXPECT_EQ(json["folds"][0]["test_texts"], 4);
    EXPECT_EQ(json["folds"][0]["correct"], 2);
    EXPECT_EQ(json["folds"][1]["accuracy"], 1.0);
    EXPECT_EQ(json["training"]["texts"], 10);
    EXPECT_EQ(json["confusions"].size(), 1U);
    EXPECT_EQ(json["categories"], report_json(validation.all, 1)["categories"]);
    EXPECT_FALSE(json["mean"].contains("without_tables"));
}

TEST(ReportJsonTest, FiguresWithoutTablesAreGivenIfEachFoldHasThem) {
    Cross_validation validation;
    validation.folds.resize(2);
    validation.all.training.emplace();
    for (Evaluation& fold : validation.folds) {
        fold.training.emplace();
        fold.raw_calibration = {0.125, 0.25, 0.5};
    }
    validation.all.raw_calibration = {0.125, 0.25, 1.5};

    const Json json = report_json(validation, 0);

    EXPECT_EQ(json["mean"]["without_tables"].dump(),
              R"({"ece_top":0.125,"ece_pairs":0.25,"brier":0.5})");
    EXPECT_EQ(json["spread"]["without_tables"]["brier"], 0.0);
    EXPECT_EQ(json["all_texts"]["without_tables"]["brier"], 1.5);
    EXPECT_EQ(json["folds"][1]["without_tables"]["ece_pairs"], 0.25);
}

}  // namespace

}  // namespace zandrel::cli
