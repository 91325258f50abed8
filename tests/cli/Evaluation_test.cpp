#include "cli/evaluate/Evaluation.h"

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/evaluate/Evaluation_observer.h"
#include "cli/evaluate/Report_json.h"
#include "tests/cli/Typed_input.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"
#include "text/train/Training.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

// Each process has its own files, since tests run in parallel.
class EvaluationTest : public testing::Test {
protected:
    EvaluationTest() {
        m_options.train_file = m_base + ".train.tsv";
        m_options.test_file = m_base + ".test.tsv";
        m_options.model.analysis = {Analysis_kind::kWords};
    }

    ~EvaluationTest() override {
        std::remove(m_options.train_file.c_str());
        std::remove(m_options.test_file.c_str());
        std::remove(m_learn_file.c_str());
    }

    static void Write(const std::string& path, const std::string& data) {
        std::ofstream(path, std::ios::binary) << data;
    }

    void Train(const std::string& data) { Write(m_options.train_file, data); }

    void Test(const std::string& data) { Write(m_options.test_file, data); }

    void Learn(const std::string& data, std::size_t bulk_size) {
        Write(m_learn_file, data);
        m_options.learn_file = m_learn_file;
        m_options.bulk_size = bulk_size;
    }

    std::string m_base = testing::TempDir() + "zandrel_evaluation_" + std::to_string(::getpid());
    std::string m_learn_file = m_base + ".learn.tsv";
    Evaluation_options m_options;
};

std::string times(int count, const std::string& line) {
    std::string lines;
    for (int i = 0; i < count; ++i) {
        lines += line;
    }
    return lines;
}

TEST_F(EvaluationTest, EachTextIsCountedForAnyNumberOfTexts) {
    Train("sport\tgoal\nfood\tbread\n");
    for (const int count : {1, 255, 256, 257, 512, 700}) {
        SCOPED_TRACE(count);
        Test(times(count, "sport\tgoal\n") + "sport\tbread\n");

        const Evaluation evaluation = evaluate(m_options);

        EXPECT_EQ(evaluation.classifying.texts, static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(evaluation.metrics.texts, static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(evaluation.metrics.correct, static_cast<std::size_t>(count));
    }
}

TEST_F(EvaluationTest, TrainingDataAndTestDataAreWarnedOf) {
    std::vector<std::string> warnings;
    m_options.warn = [&warnings](const std::string& text) { warnings.push_back(text); };
    Train(times(10, "sport\tgoal\nfood\tbread\n") + "food\t\xFF\n");
    Test(times(10, "Sport\tgoal\n"));

    evaluate(m_options);

    EXPECT_THAT(warnings, ElementsAre(StartsWith(m_options.train_file + ": 1 byte in 1 line"),
                                      StartsWith(m_options.test_file + ": the model knows none"),
                                      EndsWith(": \"Sport\", \"sport\"")));
}

TEST_F(EvaluationTest, DataForAContainerAreWarnedOf) {
    const Scratch_folder folder;
    Train(times(10, "sport\tgoal\nfood\tbread\n"));
    Test(times(10, "Sport\tgoal\n"));
    train_kc({folder.file("a.kc"), {m_options.train_file}, m_options.model});
    std::vector<std::string> warnings;
    Evaluation_options options;
    options.kc_file = folder.file("a.kc");
    options.test_file = m_options.test_file;
    options.warn = [&warnings](const std::string& text) { warnings.push_back(text); };

    evaluate(options);

    EXPECT_THAT(warnings, ElementsAre(StartsWith(options.test_file + ": the model knows none"),
                                      EndsWith(": \"Sport\", \"sport\"")));
}

TEST_F(EvaluationTest, EachFileMayBeStandardInput) {
    const std::string data = "sport\tgoal\nfood\tbread\n";
    Train(data);
    Test(data);
    Learn(data, 1);
    const Evaluation_options files = m_options;
    Evaluation_options rows[] = {files, files, files};
    rows[0].train_file = "-";
    rows[1].test_file = "-";
    rows[2].learn_file = "-";

    for (const Evaluation_options& options : rows) {
        const Typed_input typed(data);
        const Evaluation evaluation = evaluate(options);
        EXPECT_EQ(evaluation.training->texts, 2U);
        EXPECT_EQ(evaluation.metrics.correct, 2U);
        EXPECT_EQ(evaluation.learning.size(), 3U);
    }
}

TEST_F(EvaluationTest, StandardInputNamedTwiceIsRefused) {
    m_options.train_file = m_options.test_file = "-";
    const Typed_input typed("sport\tgoal\n");

    EXPECT_THROW(evaluate(m_options), Usage_error);
}

TEST_F(EvaluationTest, SizesAndLabelsAreReported) {
    Train("sport\tgoal\nfood,drink\tbread\n");
    Test("sport\tgoals\n");

    const Evaluation evaluation = evaluate(m_options);

    EXPECT_EQ(evaluation.training->texts, 2U);
    EXPECT_EQ(evaluation.training->bytes, 9U);
    EXPECT_EQ(evaluation.trained_labels, 3U);
    EXPECT_EQ(evaluation.classifying.bytes, 5U);
    EXPECT_EQ(evaluation.metrics.labels, 1U);
    EXPECT_GT(evaluation.peak_memory_bytes, 0U);
}

TEST_F(EvaluationTest, LabelsOfModelAndTestDataAreListed) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport,travel\tgoal\n");

    std::vector<std::string> labels;
    for (const Category_tally& category : evaluate(m_options).assignments.categories) {
        labels.push_back(category.label);
    }

    EXPECT_THAT(labels, ElementsAre("food", "sport", "travel"));
}

// A text without a word has no result, so all its labels have the score 0.
TEST_F(EvaluationTest, TextWithoutResultIsMeasured) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport,travel\t:-)\n");

    const Evaluation evaluation = evaluate(m_options);

    EXPECT_EQ(evaluation.metrics.accuracy, 0.0);
    EXPECT_EQ(evaluation.calibration.ece_top, 0.0);
    EXPECT_DOUBLE_EQ(evaluation.calibration.ece_pairs, 2.0 / 3);
    EXPECT_DOUBLE_EQ(evaluation.calibration.brier, 2.0);
}

TEST_F(EvaluationTest, LabelsAreAssignedByTheThreshold) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport\tgoal\n");

    m_options.threshold = 0.0;
    EXPECT_EQ(evaluate(m_options).assignments.micro.recall, 1.0);
    EXPECT_EQ(evaluate(m_options).assignments.micro.precision, 0.5);
    m_options.threshold = 1.0;
    EXPECT_EQ(evaluate(m_options).assignments.micro.recall, 0.0);
}

TEST_F(EvaluationTest, TextIsExplainedIfRequested) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport\tgoal\n");

    EXPECT_FALSE(evaluate(m_options).explanation.has_value());
    m_options.text_to_explain = "Goal!";
    const Evaluation evaluation = evaluate(m_options);
    ASSERT_TRUE(evaluation.explanation.has_value());
    EXPECT_EQ(evaluation.explanation->label, "sport");
    EXPECT_EQ(evaluation.explanation->concepts.front().concept_text, "goal");
}

TEST_F(EvaluationTest, LearnsInBulksAndMeasuresAfterEach) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport\tgoal\nfood\tbread\ntravel\ttrain\n");
    Learn("sport\tmatch\nfood\tbread\ntravel\ttrain coast\ntravel\ttrain\nfood\tcheese\n", 2);

    const std::vector<Learning_step> steps = evaluate(m_options).learning;

    ASSERT_EQ(steps.size(), 4U);
    EXPECT_EQ(steps[0].texts, 0U);
    EXPECT_EQ(steps[1].texts, 2U);
    EXPECT_EQ(steps[2].texts, 2U);
    EXPECT_EQ(steps[3].texts, 1U);
    EXPECT_DOUBLE_EQ(steps[0].accuracy, 2.0 / 3);
    EXPECT_DOUBLE_EQ(steps[3].accuracy, 1.0);
    EXPECT_EQ(steps[0].correct, 2U);
    EXPECT_EQ(steps[0].accuracy_interval().high, share_interval(2, 3).high);
    EXPECT_EQ(steps[3].accuracy_interval().low, share_interval(3, 3).low);
    EXPECT_EQ(steps[0].size.profiles, 2U);
    EXPECT_EQ(steps[0].size.concepts, 2U);
    EXPECT_EQ(steps[0].size.entries, 2U);
    EXPECT_EQ(steps[0].size.largest, 1U);
    EXPECT_EQ(steps[1].size.concepts, 3U);  // goal, bread, match
    EXPECT_EQ(steps[1].size.largest, 2U);
    EXPECT_EQ(steps[2].size.profiles, 3U);
    EXPECT_EQ(steps[2].size.entries, 5U);
}

TEST_F(EvaluationTest, ModelIsMeasuredBeforeItLearns) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("food\tcheese\nfood\tbread\n");
    const double accuracy = evaluate(m_options).metrics.accuracy;
    Learn(times(5, "food\tcheese\n"), 5);

    const Evaluation evaluation = evaluate(m_options);

    EXPECT_EQ(evaluation.metrics.accuracy, accuracy);
    EXPECT_EQ(evaluation.learning.front().accuracy, accuracy);
    EXPECT_EQ(evaluation.learning.back().accuracy, 1.0);
}

TEST_F(EvaluationTest, BadLineOfTextsToLearnRaisesBeforeAnyWork) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport\tgoal\n");
    Learn("sport\tgoal\nbad\n", 1);

    EXPECT_THROW(evaluate(m_options), Data_error);
}

TEST_F(EvaluationTest, BootstrapUsesOnlyTitlesAndKeywords) {
    Train("sport\tbread\tgoal\tmatch\nfood\tmatch\tbread\tcheese\n");
    Test("sport\tgoal\nsport\tmatch\nfood\tbread\nfood\tcheese\n");
    m_options.bootstraps = true;

    EXPECT_EQ(evaluate(m_options).metrics.accuracy, 1.0);
}

// The scores without tables must be those of a model that is set to use no tables.
TEST_F(EvaluationTest, CalibrationIsAlsoMeasuredWithoutTables) {
    const std::string texts =
        "sport\tgoal bread\nfood\tbread\nsport\tgoal match\nfood\tbread match\n";
    Train(times(5, texts));
    Test(texts);
    const Evaluation corrected = evaluate(m_options);
    Engine_settings raw_settings;
    raw_settings.set({"UseLikelihoodInMatch=0"});
    m_options.model.settings = &raw_settings;
    const Evaluation raw = evaluate(m_options);

    ASSERT_TRUE(corrected.raw_calibration.has_value());
    EXPECT_EQ(corrected.raw_calibration->ece_top, raw.calibration.ece_top);
    EXPECT_EQ(corrected.raw_calibration->ece_pairs, raw.calibration.ece_pairs);
    EXPECT_EQ(corrected.raw_calibration->brier, raw.calibration.brier);
    EXPECT_NE(corrected.calibration.brier, raw.calibration.brier);
    EXPECT_FALSE(raw.raw_calibration.has_value());
}

// The quality part of a report as text, without times and sizes.
std::string quality_of(const Evaluation& evaluation) {
    nlohmann::ordered_json json = report_json(evaluation, 1000);
    for (const char* const key : {"training", "loading", "test", "peak_memory_bytes"}) {
        json.erase(key);
    }
    return json.dump();
}

TEST_F(EvaluationTest, StoredModelIsMeasuredLikeTheOneInMemory) {
    const Scratch_folder folder;
    const std::string shop = ZANDREL_SHOP_DATA;
    Evaluation_options options;  // the fixture would remove its own files
    options.test_file = shop + ".test.tsv";
    options.text_to_explain = "Where is my parcel?";
    options.kc_file = folder.file("a.kc");
    train_kc({options.kc_file, {shop + ".train.tsv"}});
    const Evaluation stored = evaluate(options);
    options.kc_file.clear();
    options.train_file = shop + ".train.tsv";
    const Evaluation in_memory = evaluate(options);

    EXPECT_EQ(quality_of(stored), quality_of(in_memory));
    EXPECT_EQ(stored.metrics.texts, 239U);
    EXPECT_FALSE(stored.training.has_value());
    ASSERT_TRUE(stored.loading.has_value());
    EXPECT_GT(stored.loading->bytes, 0U);
    EXPECT_FALSE(in_memory.loading.has_value());
}

TEST_F(EvaluationTest, StoredModelLearnsOnlyInMemory) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("food\tcheese\n");
    Learn(times(5, "food\tcheese\n"), 5);
    const Scratch_folder folder;
    const std::string kc = folder.file("a.kc");
    train_kc({kc, {m_options.train_file}, m_options.model});
    m_options.kc_file = kc;
    const double first = evaluate(m_options).learning.back().accuracy;
    const double again = evaluate(m_options).learning.front().accuracy;
    train_kc({.kc_file = kc,
              .data_files = {m_options.train_file},
              .model = m_options.model,
              .compact = true,
              .replaces = true});
    EXPECT_THROW(evaluate(m_options), Data_error);

    EXPECT_EQ(first, 1.0);
    EXPECT_EQ(again, 0.0);
}

TEST_F(EvaluationTest, BadLineRaises) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport\tgoal\nbad\n");

    EXPECT_THROW(evaluate(m_options), Data_error);
}

TEST_F(EvaluationTest, BadLinesOfBothFilesAreSkippedIfRequested) {
    Train("sport\tgoal\nbad\nfood\tbread\n");
    Test("\tbad\nsport\tgoal\nbad\n");
    m_options.skips_bad_lines = true;

    const Evaluation evaluation = evaluate(m_options);

    EXPECT_EQ(evaluation.training->texts, 2U);
    EXPECT_EQ(evaluation.classifying.texts, 1U);
    EXPECT_EQ(evaluation.skipped.count, 3U);
    EXPECT_THAT(evaluation.skipped.first, EndsWith(".train.tsv:2: no tab between label and text"));
}

TEST_F(EvaluationTest, FileWithOnlyBadLinesIsRefused) {
    Train("sport\tgoal\n");
    Test("bad\n");
    m_options.skips_bad_lines = true;

    try {
        evaluate(m_options);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_THAT(error.what(), EndsWith(".test.tsv: no good data line"));
    }
}

// The texts of an evaluation, as "LABEL: BEST LABEL", and the answer of the model at its end.
class Text_recorder : public Evaluation_observer {
public:
    void add(const Evaluated_text& text) override {
        EXPECT_EQ(text.index, texts.size());
        texts.push_back(text.text.labels.front() + ": " +
                        (text.ranking.empty() ? "" : std::string(text.ranking.front().label)));
        confidences.push_back(text.confidence);
        answered.push_back(text.is_answered);
    }

    void end_model(Text_model& model) override {
        ++end_count;
        explained = model.explain("goal").label;
        label_count = model.labels().size();
    }

    std::vector<std::string> texts;
    std::vector<std::optional<double>> confidences;
    std::vector<bool> answered;
    std::size_t end_count = 0;
    std::string explained;
    std::size_t label_count = 0;
};

TEST_F(EvaluationTest, ObserverGetsTheTextsInOrderForAnyNumberOfJobs) {
    Train("sport\tgoal\nfood\tbread\n");
    Test(times(300, "sport\tgoal\nfood\tbread\n") + "tax\tgoal\nsport\t:-)\n");
    for (const std::size_t jobs : {1U, 3U}) {
        SCOPED_TRACE(jobs);
        Text_recorder recorder;
        m_options.observer = &recorder;
        m_options.jobs = jobs;

        evaluate(m_options);

        ASSERT_EQ(recorder.texts.size(), 602U);
        EXPECT_EQ(recorder.texts[0], "sport: sport");
        EXPECT_EQ(recorder.texts[599], "food: food");
        EXPECT_EQ(recorder.texts[600], "tax: sport");
        EXPECT_EQ(recorder.texts[601], "sport: ");
        EXPECT_FALSE(recorder.confidences[0].has_value());
        EXPECT_TRUE(recorder.answered[601]);
        EXPECT_EQ(recorder.end_count, 1U);
        EXPECT_EQ(recorder.explained, "sport");
    }
}

TEST_F(EvaluationTest, ObserverSeesTheModelBeforeItLearns) {
    Train("sport\tgoal\nfood\tbread\n");
    Test("sport\tgoal\n");
    Learn("tax\tmoney\n", 1);
    Text_recorder recorder;
    m_options.observer = &recorder;

    evaluate(m_options);

    EXPECT_EQ(recorder.end_count, 1U);
    EXPECT_EQ(recorder.label_count, 2U);
}

// Each word has one label in them. A text with a word of each label is uncertain.
constexpr const char* kClearTexts = "sport\tgoal ball\nfood\tbread soup\n";

// The same texts so many times, each with a word of its own: calibration keeps copies of a text
// together.
std::string different_clear_texts(int count) {
    std::string lines;
    for (int i = 0; i < count; ++i) {
        const std::string word(static_cast<std::size_t>(i + 1), 'x');
        lines += "sport\tgoal ball " + word + "\nfood\tbread soup " + word + "\n";
    }
    return lines;
}

TEST_F(EvaluationTest, TextsOfLowConfidenceAreNotAnsweredIfRequested) {
    Train(different_clear_texts(30));
    Test(times(20, kClearTexts) + times(10, "sport\tgoal bread\n"));
    m_options.calibrates = true;
    Text_recorder recorder;
    m_options.observer = &recorder;
    m_options.least_confidence = 0.9;

    const Evaluation evaluation = evaluate(m_options);

    ASSERT_TRUE(evaluation.rejection.has_value());
    EXPECT_EQ(evaluation.rejection->texts, 50U);
    EXPECT_EQ(evaluation.rejection->answered, evaluation.metrics.texts);
    std::size_t answered = 0;
    for (std::size_t i = 0; i < recorder.answered.size(); ++i) {
        ASSERT_TRUE(recorder.confidences[i].has_value());
        EXPECT_EQ(recorder.answered[i], *recorder.confidences[i] >= 0.9);
        answered += recorder.answered[i] ? 1U : 0U;
    }
    EXPECT_EQ(evaluation.rejection->answered, answered);
    EXPECT_LT(answered, 50U);
    EXPECT_GT(answered, 0U);
    EXPECT_EQ(evaluation.answered.points.front().texts, 50U);
    EXPECT_EQ(evaluation.raw_calibration.has_value(), true);
}

TEST_F(EvaluationTest, WithoutAMapThereIsNoConfidence) {
    Train(times(10, kClearTexts));
    Test(kClearTexts);

    const Evaluation evaluation = evaluate(m_options);

    EXPECT_FALSE(evaluation.confidence.has_value());
    EXPECT_FALSE(evaluation.answered.is_confidence);
    EXPECT_FALSE(evaluation.rejection.has_value());
    EXPECT_FALSE(evaluation.wanted_precision.has_value());
}

TEST_F(EvaluationTest, CalibratedContainerHasTheConfidencesOfACalibratedEvaluation) {
    const Scratch_folder folder;
    Train(times(30, kClearTexts) + times(5, "sport\tbread ball\n"));
    Test(times(20, kClearTexts) + times(10, "sport\tgoal bread\n"));
    m_options.calibrates = true;
    const Evaluation trained = evaluate(m_options);
    Training_options training = {folder.file("a.kc"), {m_options.train_file}, m_options.model};
    training.calibrates = true;
    train_kc(training);
    Evaluation_options options;
    options.kc_file = folder.file("a.kc");
    options.test_file = m_options.test_file;
    options.wanted_precision = 0.5;
    const Evaluation loaded = evaluate(options);

    ASSERT_TRUE(trained.confidence.has_value());
    ASSERT_TRUE(loaded.confidence.has_value());
    EXPECT_EQ(loaded.confidence->ece, trained.confidence->ece);
    EXPECT_TRUE(loaded.answered.is_confidence);
    EXPECT_EQ(loaded.wanted_precision->fold_count, 5U);
    EXPECT_EQ(loaded.wanted_precision->chosen_from, 50U);
    EXPECT_TRUE(loaded.wanted_precision->is_confidence);
}

TEST_F(EvaluationTest, RejectionNeedsAContainerWithConfidences) {
    const Scratch_folder folder;
    Train(kClearTexts);
    Test(kClearTexts);
    train_kc({folder.file("a.kc"), {m_options.train_file}, m_options.model});
    Evaluation_options options;
    options.kc_file = folder.file("a.kc");
    options.test_file = m_options.test_file;
    options.least_confidence = 0.5;

    try {
        evaluate(options);
        ADD_FAILURE() << "no error";
    } catch (const Usage_error& error) {
        EXPECT_EQ(error.what(),
                  "--reject: " + folder.file("a.kc") +
                      " has no confidence map; zandrel train --keep-tree --calibrate makes one");
    }
}

TEST_F(EvaluationTest, TrainingTextsChooseTheThresholdByScoreWithoutAMap) {
    Train(different_clear_texts(30));
    Test(times(20, kClearTexts));
    m_options.wanted_precision = 0.9;

    const Evaluation evaluation = evaluate(m_options);

    ASSERT_TRUE(evaluation.wanted_precision.has_value());
    EXPECT_FALSE(evaluation.wanted_precision->is_confidence);
    EXPECT_EQ(evaluation.wanted_precision->fold_count, 0U);
    EXPECT_EQ(evaluation.wanted_precision->chosen_from, 60U);
    EXPECT_EQ(evaluation.wanted_precision->texts, 40U);
    EXPECT_EQ(evaluation.wanted_precision->precision(), 1.0);
}

TEST_F(EvaluationTest, EachTextIsInOneBinOfTheCalibration) {
    Train(times(10, kClearTexts));
    Test(times(5, kClearTexts) + "sport\t:-)\n");

    const std::vector<Calibration_bin> bins = evaluate(m_options).calibration.best.bins;

    ASSERT_EQ(bins.size(), 15U);
    std::size_t texts = 0;
    std::size_t right = 0;
    for (const Calibration_bin& bin : bins) {
        EXPECT_TRUE(bin.count == 0 || (bin.low <= bin.mean_score && bin.mean_score <= bin.high));
        texts += bin.count;
        right += bin.right;
    }
    EXPECT_EQ(texts, 11U);
    EXPECT_EQ(right, 10U);
    EXPECT_EQ(bins[0].right, 0U);
}

}  // namespace

}  // namespace zandrel::cli
