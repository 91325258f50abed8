#include "cli/evaluate/Report.h"

#include <cstddef>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

Evaluation printed_evaluation() {
    Evaluation evaluation;
    evaluation.training = {11314, 21150000, 2.0, 0.5};
    evaluation.classifying = {7532, 13200000, 0.5, 0.25};
    evaluation.trained_labels = 20;
    evaluation.metrics.texts = 7532;
    evaluation.metrics.correct = 6226;
    evaluation.metrics.labels = 19;
    evaluation.metrics.accuracy = 0.82661;
    evaluation.metrics.macro_f1_top = 0.8;
    evaluation.metrics.confusions = {{"politics", "sport", 1082}, {"caf\u00E9,bar", "", 7}};
    evaluation.assignments = {0.5,
                              {0.875, 0.75, 0.807692},
                              {0.5, 0.25, 1.0},
                              {{"caf\u00E9", {3, 1, 9}}, {"a long name of a label", {5000, 0, 0}}}};
    evaluation.calibration = {0.03125, 0.00126, 1.5};
    evaluation.peak_memory_bytes = 112700000;
    return evaluation;
}

std::string report_of(const Evaluation& evaluation, std::size_t confusion_count,
                      bool lists_categories = false) {
    std::ostringstream out;
    print_report(evaluation, {confusion_count, lists_categories}, out);
    return out.str();
}

TEST(ReportTest, FiguresAreAlignedAndUnitsNamed) {
    EXPECT_EQ(report_of(printed_evaluation(), 10),
              "                     texts        size      labels\n"
              "training data       11,314    21.15 MB          20\n"
              "test data            7,532    13.20 MB          19\n"
              "\n"
              "accuracy           82.66 %  (6,226 of 7,532 texts)\n"
              "macro F1           80.00 %\n"
              "\n"
              "score >= 0.50    precision      recall          F1\n"
              "micro average      87.50 %     75.00 %     80.77 %\n"
              "macro average      50.00 %     25.00 %    100.00 %\n"
              "\n"
              "               ECE of best  ECE of all Brier score\n"
              "calibration         0.0312      0.0013      1.5000\n"
              "\n"
              "                  CPU time  of it text     texts/s        MB/s\n"
              "training            2.00 s      0.50 s       5,657        10.6\n"
              "classifying         0.50 s      0.25 s      15,064        26.4\n"
              "peak memory         113 MB\n"
              "\n"
              "worst confusions (texts: expected -> got)\n"
              "  1,082  politics -> sport\n"
              "      7  caf\u00E9,bar -> (no result)\n");
}

TEST(ReportTest, CostOfLoadingIsShownIfTheModelWasRead) {
    Evaluation evaluation = printed_evaluation();
    evaluation.training.reset();
    evaluation.loading = {10500000, 0.25};

    const std::string report = report_of(evaluation, 10);

    EXPECT_THAT(report, HasSubstr("size      labels\n"
                                  "model                         10.50 MB          20\n"
                                  "test data"));
    EXPECT_THAT(report, HasSubstr("MB/s\n"
                                  "loading             0.25 s\n"
                                  "classifying"));
    EXPECT_THAT(report, Not(HasSubstr("training")));
}

TEST(ReportTest, CalibrationWithoutTablesIsShownIfThereAreTables) {
    Evaluation evaluation = printed_evaluation();
    evaluation.raw_calibration = Calibration{0.25, 0.125, 2.0};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("calibration         0.0312      0.0013      1.5000\n"
                          "without tables      0.2500      0.1250      2.0000\n"));
}

TEST(ReportTest, EachLearnedBulkIsShown) {
    Evaluation evaluation = printed_evaluation();
    evaluation.learning = {{0, 0.5, {2, 12345, 4003, 2500}, 0.0},
                           {1000, 0.75, {3, 20000, 6000, 2000}, 1.25}};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("\n"
                          "learning             texts    accuracy    concepts per profile     "
                          "largest    CPU time\n"
                          "before                   0     50.00 %      12,345       2,001       "
                          "2,500      0.00 s\n"
                          "bulk 1               1,000     75.00 %      20,000       2,000       "
                          "2,000      1.25 s\n"));
    EXPECT_THAT(report_of(printed_evaluation(), 10), Not(HasSubstr("learning")));
}

TEST(ReportTest, RateOfATimeTooShortToMeasureIsADash) {
    Evaluation evaluation = printed_evaluation();
    evaluation.classifying.cpu_seconds = 0.0;
    evaluation.classifying.analysis_seconds = 0.0;

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("classifying         0.00 s      0.00 s           -           -\n"));
}

TEST(ReportTest, RequestedNumberOfConfusionsIsListed) {
    const std::string report = report_of(printed_evaluation(), 1);

    EXPECT_THAT(report, HasSubstr("  1,082  politics -> sport\n"));
    EXPECT_THAT(report, Not(HasSubstr("caf\u00E9")));
}

TEST(ReportTest, CategoriesAreListedIfRequested) {
    EXPECT_THAT(report_of(printed_evaluation(), 10), Not(HasSubstr("category")));
    EXPECT_THAT(
        report_of(printed_evaluation(), 10, true),
        HasSubstr("\n"
                  "category                     texts       given   precision      recall"
                  "          F1\n"
                  "caf\u00E9                             4          12     25.00 %     75.00 %"
                  "     37.50 %\n"
                  "a long name of a label       5,000       5,000    100.00 %    100.00 %"
                  "    100.00 %\n"
                  "\n"
                  "worst confusions"));
}

TEST(ReportTest, ExplanationComesLastIfThereIsOne) {
    Evaluation evaluation = printed_evaluation();
    evaluation.explanation = Explanation{"A goal", "sport", 0.75, {{"goal", 0.25, true, 1.5}}};

    EXPECT_THAT(report_of(evaluation, 10),
                EndsWith("(no result)\n"
                         "\n"
                         "A goal\n"
                         "  0.750  sport\n"
                         "    +0.2500  goal                      +1.5000\n"));
}

TEST(ReportTest, ConfusionsAreLeftOutIfThereAreNone) {
    Evaluation evaluation = printed_evaluation();
    evaluation.metrics.confusions.clear();

    EXPECT_THAT(report_of(evaluation, 10), Not(HasSubstr("confusions")));
}

TEST(ReportTest, ControlCharactersOfLabelsAreEscaped) {
    Evaluation evaluation = printed_evaluation();
    evaluation.metrics.confusions = {{"a\x1B[31m", "b\u202E", 12}, {"long enough", "c", 3}};
    evaluation.assignments.categories = {{"d\x7F", {3, 1, 9}}};

    const std::string report = report_of(evaluation, 10, true);

    EXPECT_THAT(report, HasSubstr("     12  a\\x1B[31m   -> b\\xE2\\x80\\xAE\n"
                                  "      3  long enough -> c\n"));
    EXPECT_THAT(report, HasSubstr("\nd\\x7F "));
    EXPECT_THAT(report, Not(HasSubstr("\x1B")));
}

// Two folds. Accuracies 0.5 and 1: mean 0.75, deviation sqrt(2 * 0.25^2) = 0.35355. The Brier
// scores 0.25 and 0.5 have the mean 0.375 and the deviation 0.17678. The figures without a value
// are 0.
Cross_validation printed_validation() {
    Cross_validation validation;
    validation.folds.resize(2);
    validation.folds[0].metrics.accuracy = 0.5;
    validation.folds[1].metrics.accuracy = 1.0;
    validation.folds[0].calibration.brier = 0.25;
    validation.folds[1].calibration.brier = 0.5;
    validation.all = printed_evaluation();
    return validation;
}

std::string report_of(const Cross_validation& validation, const Report_options& options) {
    std::ostringstream out;
    print_report(validation, options, out);
    return out.str();
}

TEST(ReportTest, FiguresOfFoldsHaveMeanAndSpread) {
    EXPECT_EQ(report_of(printed_validation(), {0, false}),
              "                       texts        size      labels\n"
              "data                   7,532    13.20 MB          19\n"
              "\n"
              "2 folds                 mean      spread   all texts\n"
              "accuracy             75.00 %     35.36 %     82.66 %\n"
              "macro F1              0.00 %      0.00 %     80.00 %\n"
              "\n"
              "score >= 0.50           mean      spread   all texts\n"
              "micro precision       0.00 %      0.00 %     87.50 %\n"
              "micro recall          0.00 %      0.00 %     75.00 %\n"
              "micro F1              0.00 %      0.00 %     80.77 %\n"
              "macro precision       0.00 %      0.00 %     50.00 %\n"
              "macro recall          0.00 %      0.00 %     25.00 %\n"
              "macro F1              0.00 %      0.00 %    100.00 %\n"
              "\n"
              "calibration             mean      spread   all texts\n"
              "ECE of best           0.0000      0.0000      0.0312\n"
              "ECE of all            0.0000      0.0000      0.0013\n"
              "Brier score           0.3750      0.1768      1.5000\n"
              "\n"
              "                  CPU time  of it text     texts/s        MB/s\n"
              "training            2.00 s      0.50 s       5,657        10.6\n"
              "classifying         0.50 s      0.25 s      15,064        26.4\n"
              "peak memory         113 MB\n");
}

TEST(ReportTest, FiguresWithoutTablesNeedAllFolds) {
    Cross_validation validation = printed_validation();
    validation.folds[0].raw_calibration = {0.125, 0.5, 1.0};
    validation.all.raw_calibration = {0.25, 0.5, 1.0};
    EXPECT_THAT(report_of(validation, {0, false}), Not(HasSubstr("without tables")));

    validation.folds[1].raw_calibration = {0.375, 0.5, 1.0};
    EXPECT_THAT(report_of(validation, {0, false}),
                HasSubstr("\nwithout tables          mean      spread   all texts\n"
                          "ECE of best           0.2500      0.1768      0.2500\n"));
}

TEST(ReportTest, CategoriesAndConfusionsOfAllFoldsAreListed) {
    const std::string report = report_of(printed_validation(), {1, true});

    EXPECT_THAT(report, HasSubstr("caf\u00E9                             4          12"));
    EXPECT_THAT(report, EndsWith("\n  1,082  politics -> sport\n"));
}

}  // namespace

}  // namespace zandrel::cli
