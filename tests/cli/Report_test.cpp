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
    evaluation.assignments.micro_intervals = {{0.86, 0.89}, {0.73, 0.77}, {0.79, 0.82}};
    evaluation.assignments.macro_intervals = {{0.0, 0.99}, {0.2, 0.3}, {0.9, 1.0}};
    evaluation.metrics.macro_f1_interval = {0.78, 0.815};
    evaluation.calibration = {0.03125, 0.00126, 1.5};
    evaluation.calibration.best.interval = {0.025, 0.0375};
    evaluation.calibration.intervals = {{0.001, 0.002}, {1.25, 1.75}};
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
              "best label                       95 % interval             texts\n"
              "accuracy             82.66 %   81.79 - 83.50 %    6,226 of 7,532\n"
              "macro F1             80.00 %   78.00 - 81.50 %             7,532\n"
              "\n"
              "score >= 0.50                    95 % interval             texts\n"
              "micro precision      87.50 %   86.00 - 89.00 %             7,532\n"
              "micro recall         75.00 %   73.00 - 77.00 %             7,532\n"
              "micro F1             80.77 %   79.00 - 82.00 %             7,532\n"
              "macro precision      50.00 %    0.00 - 99.00 %             7,532\n"
              "macro recall         25.00 %   20.00 - 30.00 %             7,532\n"
              "macro F1            100.00 %  90.00 - 100.00 %             7,532\n"
              "\n"
              "calibration                      95 % interval             texts\n"
              "ECE of best           0.0312   0.0250 - 0.0375             7,532\n"
              "ECE of all            0.0013   0.0010 - 0.0020             7,532\n"
              "Brier score           1.5000   1.2500 - 1.7500             7,532\n"
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
                HasSubstr("\nwithout tables                   95 % interval             texts\n"
                          "ECE of best           0.2500                               7,532\n"
                          "ECE of all            0.1250                               7,532\n"
                          "Brier score           2.0000                               7,532\n"));
}

TEST(ReportTest, CalibrationOfConfidencesIsShownIfThereAreAny) {
    Evaluation evaluation = printed_evaluation();
    evaluation.confidence = Best_calibration{0.0125, {}, Interval{0.01, 0.015}};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("\nconfidence                       95 % interval             texts\n"
                          "ECE of best           0.0125   0.0100 - 0.0150             7,532\n"));
    EXPECT_THAT(report_of(printed_evaluation(), 10), Not(HasSubstr("confidence")));
}

// Of 1,000 texts, the thresholds of 61 % to 95 % answer the same 950 texts, so 90, 80 and 70 % have
// no row. 900 of 950: 0.947, with the interval 93.13 to 95.99.
TEST(ReportTest, AccuracyAgainstTheShareAnsweredHasOneRowForEachThreshold) {
    Evaluation evaluation = printed_evaluation();
    for (std::size_t percent = 100; percent > 0; --percent) {
        const double share = static_cast<double>(percent) / 100;
        evaluation.answered.points.push_back(
            percent > 95   ? Answered_point{share, 0.125, 1000, 910, 1000}
            : percent > 60 ? Answered_point{share, 0.5, 950, 900, 1000}
                           : Answered_point{share, 0.875, 600, 600, 1000});
    }

    EXPECT_THAT(
        report_of(evaluation, 10),
        HasSubstr("\n"
                  "answered               score    accuracy     95 % interval             texts\n"
                  "100.00 %              0.1250     91.00 %   89.07 - 92.62 %      910 of 1,000\n"
                  "95.00 %               0.5000     94.74 %   93.13 - 95.99 %        900 of 950\n"
                  "60.00 %               0.8750    100.00 %  99.36 - 100.00 %        600 of 600\n"
                  "\n"
                  "                  CPU time"));
    evaluation.answered.is_confidence = true;
    EXPECT_THAT(report_of(evaluation, 10), HasSubstr("\nanswered          confidence    accuracy"));
}

TEST(ReportTest, AnsweredTextsAreTheFirstFigureIfSomeAreRejected) {
    Evaluation evaluation = printed_evaluation();
    evaluation.rejection = {0.75, 10, 8};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("\n\nreject 0.7500                    95 % interval             texts\n"
                          "answered             80.00 %   49.02 - 94.33 %           8 of 10\n"
                          "\nbest label"));
}

TEST(ReportTest, FiguresOfNoAnsweredTextAreDashes) {
    Evaluation evaluation = printed_evaluation();
    evaluation.rejection = {1.0, 10, 0};
    evaluation.metrics = {};

    const std::string report = report_of(evaluation, 10);

    EXPECT_THAT(report,
                HasSubstr("answered              0.00 %    0.00 - 27.75 %           0 of 10\n"));
    EXPECT_THAT(report,
                HasSubstr("\naccuracy                   -                              0 of 0\n"));
    EXPECT_THAT(report,
                HasSubstr("\nECE of best                -                                   0\n"));
}

TEST(ReportTest, ThresholdOfAWantedPrecisionIsShownWithTheFiguresOfTheTestTexts) {
    Evaluation evaluation = printed_evaluation();
    evaluation.wanted_precision = {0.95, true, 0.625, 12000, 0, 1000, 600, 600};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("\nwanted precision 95.00 %: confidence >= 0.6250, chosen from 12,000 "
                          "training texts\n"
                          "test texts                       95 % interval             texts\n"
                          "precision           100.00 %  99.36 - 100.00 %        600 of 600\n"
                          "answered             60.00 %   56.93 - 62.99 %      600 of 1,000\n"));
}

TEST(ReportTest, FoldsOfTestTextsAreNamedIfTheyHaveChosenTheThreshold) {
    Evaluation evaluation = printed_evaluation();
    evaluation.wanted_precision = {0.95, false, 0.625, 1000, 5, 1000, 600, 600};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("score >= 0.6250, chosen from 1,000 test texts\n"
                          "5 folds                          95 % interval"));
}

TEST(ReportTest, PrecisionThatCannotBeReachedHasNoThreshold) {
    Evaluation evaluation = printed_evaluation();
    evaluation.wanted_precision = {0.999, true, {}, 1000, 5, 1000, 0, 0};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("\nwanted precision 99.90 %: no threshold of the confidence can be "
                          "proved to reach it (1,000 test texts)\n\n"));
}

TEST(ReportTest, EachLearnedBulkIsShown) {
    Evaluation evaluation = printed_evaluation();
    evaluation.learning = {{0, 0.5, {2, 12345, 4003, 2500}, 0.0, 50, 100},
                           {1000, 0.75, {3, 20000, 6000, 2000}, 1.25, 75, 100}};

    EXPECT_THAT(report_of(evaluation, 10),
                HasSubstr("\n"
                          "learning             texts    accuracy        95 %    concepts per "
                          "profile     largest    CPU time\n"
                          "before                   0     50.00 %   40.4-59.6      12,345       "
                          "2,001       2,500      0.00 s\n"
                          "bulk 1               1,000     75.00 %   65.7-82.5      20,000       "
                          "2,000       2,000      1.25 s\n"));
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
                  "category                     texts       given   precision        95 %"
                  "      recall        95 %          F1        95 %\n"
                  "caf\u00E9                             4          12     25.00 %    8.9-53.2"
                  "     75.00 %   30.1-95.4     37.50 %   15.1-66.9\n"
                  "a long name of a label       5,000       5,000    100.00 %  99.9-100.0"
                  "    100.00 %  99.9-100.0    100.00 % 100.0-100.0\n"
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
    EXPECT_EQ(
        report_of(printed_validation(), {0, false}),
        "                       texts        size      labels\n"
        "data                   7,532    13.20 MB          19\n"
        "\n"
        "2 folds                 mean      spread   all texts     95 % interval             texts\n"
        "accuracy             75.00 %     35.36 %     82.66 %   81.79 - 83.50 %    6,226 of 7,532\n"
        "macro F1              0.00 %      0.00 %     80.00 %   78.00 - 81.50 %             7,532\n"
        "\n"
        "score >= 0.50           mean      spread   all texts     95 % interval             texts\n"
        "micro precision       0.00 %      0.00 %     87.50 %   86.00 - 89.00 %             7,532\n"
        "micro recall          0.00 %      0.00 %     75.00 %   73.00 - 77.00 %             7,532\n"
        "micro F1              0.00 %      0.00 %     80.77 %   79.00 - 82.00 %             7,532\n"
        "macro precision       0.00 %      0.00 %     50.00 %    0.00 - 99.00 %             7,532\n"
        "macro recall          0.00 %      0.00 %     25.00 %   20.00 - 30.00 %             7,532\n"
        "macro F1              0.00 %      0.00 %    100.00 %  90.00 - 100.00 %             7,532\n"
        "\n"
        "calibration             mean      spread   all texts     95 % interval             texts\n"
        "ECE of best           0.0000      0.0000      0.0312   0.0250 - 0.0375             7,532\n"
        "ECE of all            0.0000      0.0000      0.0013   0.0010 - 0.0020             7,532\n"
        "Brier score           0.3750      0.1768      1.5000   1.2500 - 1.7500             7,532\n"
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
                HasSubstr("\nwithout tables          mean      spread   all texts"
                          "     95 % interval             texts\n"
                          "ECE of best           0.2500      0.1768      0.2500 "));
}

TEST(ReportTest, CategoriesAndConfusionsOfAllFoldsAreListed) {
    const std::string report = report_of(printed_validation(), {1, true});

    EXPECT_THAT(report, HasSubstr("caf\u00E9                             4          12"));
    EXPECT_THAT(report, EndsWith("\n  1,082  politics -> sport\n"));
}

}  // namespace

}  // namespace zandrel::cli
