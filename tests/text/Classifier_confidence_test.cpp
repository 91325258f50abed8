// The confidence of answers: Classifier_test compares it with that of the program's model.
#include "zandrel/text/Classifier.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/text/Records.h"

#include "tests/cli/scratch_folder.h"
#include "tests/text/desk_texts.h"
#include "tests/text/library_test_help.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kept_confidence.h"
#include "text/kc/Stored_model.h"
#include "text/model/Text_model.h"

namespace zandrel::tests {

namespace {

Train_options calibrating() {
    Train_options options;
    options.calibrate = true;
    return options;
}

Classifier calibrated_shop() {
    Records records = Records::open(ZANDREL_SHOP_DATA ".train.tsv");
    return Classifier::train(records, calibrating());
}

std::vector<Example> shop_tests() {
    Records records = Records::open(ZANDREL_SHOP_DATA ".test.tsv");
    std::vector<Example> tests;
    for (Example example; records.next(example);) {
        tests.push_back(example);
    }
    return tests;
}

TEST(ClassifierConfidenceTest, OnlyTheBestLabelHasAConfidence) {
    const Classifier classifier = Classifier::train(desk_examples(), calibrating());

    EXPECT_TRUE(classifier.is_calibrated());
    const std::vector<Label> labels = classifier.classify("my money", {-1});
    ASSERT_EQ(labels.size(), 3U);
    ASSERT_TRUE(labels[0].confidence.has_value());
    EXPECT_GE(*labels[0].confidence, 0.0);
    EXPECT_LE(*labels[0].confidence, 1.0);
    EXPECT_FALSE(labels[1].confidence.has_value());
    EXPECT_FALSE(labels[2].confidence.has_value());
    EXPECT_TRUE(classifier.classify("", {-1}).empty());
}

// No rule of the tree has a value above 1, so the best label does not depend on the number either.
// rated_walk_test has such a rule.
TEST(ClassifierConfidenceTest, ConfidenceDoesNotDependOnTheNumberOfLabels) {
    int answered = 0;
    for (const std::string& tree : {std::string(), desk_tree()}) {
        Train_options options = calibrating();
        options.tree = tree;
        const Classifier classifier = Classifier::train(desk_examples(), options);
        for (const std::string& question : desk_questions()) {
            const std::vector<Label> one = classifier.classify(question, {1});
            const std::vector<Label> two = classifier.classify(question, {2});
            ASSERT_EQ(one.empty(), two.empty()) << question;
            if (!one.empty()) {
                EXPECT_EQ(one.size(), 1U);
                EXPECT_EQ(one[0].path, two[0].path) << question;
                EXPECT_EQ(one[0].confidence, two[0].confidence) << question;
                ++answered;
            }
        }
    }
    EXPECT_EQ(answered, 14);  // of two trees; the empty text has no answer
}

// A confidence of 0.8 or more is right more often than one below. The mean confidence is near the
// share of right answers; by chance both differ by up to 0.1 for so few texts.
TEST(ClassifierConfidenceTest, ConfidenceIsTheChanceThatTheAnswerIsRight) {
    const Classifier classifier = calibrated_shop();
    double confidence = 0.0;
    double right = 0.0;
    double answers[2] = {};
    double right_answers[2] = {};
    const std::vector<Example> tests = shop_tests();
    for (const Example& test : tests) {
        const std::vector<Label> labels = classifier.classify(test.text);
        if (labels.empty()) {
            continue;
        }
        const double given = labels[0].confidence.value();
        const bool is_right =
            std::find(test.labels.begin(), test.labels.end(), labels[0].name) != test.labels.end();
        const std::size_t group = given >= 0.8 ? 1 : 0;
        answers[group] += 1.0;
        right_answers[group] += is_right ? 1.0 : 0.0;
        confidence += given;
        right += is_right ? 1.0 : 0.0;
    }
    const auto count = static_cast<double>(tests.size());
    EXPECT_NEAR(confidence / count, right / count, 0.1);
    ASSERT_GT(answers[0], 5.0);
    ASSERT_GT(answers[1], 5.0);
    EXPECT_GT(right_answers[1] / answers[1], right_answers[0] / answers[0]);
}

TEST(ClassifierConfidenceTest, AnswersBelowTheLeastConfidenceHaveNoLabels) {
    const Classifier classifier = calibrated_shop();
    int rejected = 0;
    for (const Example& test : shop_tests()) {
        const std::vector<Label> all = classifier.classify(test.text, {-1});
        if (all.empty()) {
            continue;
        }
        const double confidence = all[0].confidence.value();
        EXPECT_EQ(classifier.classify(test.text, {-1, 0.0, confidence}).size(), all.size());
        if (confidence < 0.99) {
            EXPECT_TRUE(classifier.classify(test.text, {-1, 0.0, confidence + 0.01}).empty());
            ++rejected;
        }
    }
    EXPECT_GT(rejected, 10);
}

TEST(ClassifierConfidenceTest, LeastConfidenceNeedsAMapAndIsAShare) {
    const Classifier plain = Classifier::train(desk_examples());
    EXPECT_FALSE(plain.is_calibrated());
    EXPECT_FALSE(plain.classify("my money").at(0).confidence.has_value());
    for (const int count : {0, 1, -1}) {
        EXPECT_ERROR(plain.classify("my money", {count, 0.0, 0.5}), Error_code::invalid_argument,
                     "the container has no confidence map; training with the option calibrate "
                     "makes one");
    }
    const Classifier calibrated = Classifier::train(desk_examples(), calibrating());
    for (const double confidence : {-0.1, 1.1, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_ERROR(calibrated.classify("my money", {1, 0.0, confidence}),
                     Error_code::invalid_argument, "the least confidence is not between 0 and 1");
    }
}

TEST(ClassifierConfidenceTest, OptionsAreCheckedAlsoWithoutTexts) {
    const Classifier plain = Classifier::train(desk_examples());
    EXPECT_ERROR(plain.classify(std::span<const Text>(), {1, 0.0, 0.5}),
                 Error_code::invalid_argument,
                 "the container has no confidence map; training with the option calibrate makes "
                 "one");
    EXPECT_ERROR(plain.classify(std::span<const Text>(), {1, 2.0}), Error_code::invalid_argument,
                 "the threshold is not between 0 and 1");
    EXPECT_TRUE(plain.classify(std::span<const Text>(), {1}).empty());
}

TEST(ClassifierConfidenceTest, DamagedMapIsNamed) {
    const cli::Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    // An edit would put a map that can be read back.
    Classifier::train(desk_examples()).save(path);
    edit_kc(path, {}, [](qtPtrLight<zeManager>& manager) {
        manager->m_config.set_optional(kConfidenceKey, "damaged");
        return true;
    });
    const Classifier opened = Classifier::open(path);

    EXPECT_FALSE(opened.is_calibrated());
    EXPECT_ERROR(opened.classify("my money", {1, 0.0, 0.5}), Error_code::invalid_argument,
                 path +
                     ": the confidence map is damaged; training with the option calibrate makes "
                     "one");
}

TEST(ClassifierConfidenceTest, SavingAndOpeningKeepTheMap) {
    const cli::Scratch_folder folder;
    Classifier trained = Classifier::train(desk_examples(), calibrating());
    trained.save(folder.file("a.kc"));
    const Classifier opened = Classifier::open(folder.file("a.kc"));

    EXPECT_TRUE(opened.is_calibrated());
    for (const std::string& question : desk_questions()) {
        const std::vector<Label> expected = trained.classify(question);
        const std::vector<Label> labels = opened.classify(question);
        ASSERT_EQ(labels.size(), expected.size());
        if (!labels.empty()) {
            EXPECT_EQ(labels[0].confidence, expected[0].confidence);
        }
    }
}

// The map after learning is the map before, updated by the answers that the container gave before.
TEST(ClassifierConfidenceTest, LearningUpdatesTheMapByTheAnswersBefore) {
    const cli::Scratch_folder folder;
    Classifier classifier = calibrated_shop();
    classifier.save(folder.file("before.kc"));
    const std::unique_ptr<Text_model> model = read_model(folder.file("before.kc"), {}, nullptr);
    const std::vector<Example> tests = shop_tests();
    std::vector<Judged_answer> judged;
    for (const Example& test : tests) {
        judged.push_back(model->judge(Labelled_text{test.labels, test.text}));
    }
    Confidence_map map = *model->confidence();
    const std::string before = map.text();
    map.update(judged);

    classifier.learn(tests);
    classifier.save(folder.file("after.kc"));

    const std::unique_ptr<Text_model> learned = read_model(folder.file("after.kc"), {}, nullptr);
    EXPECT_EQ(learned->confidence()->text(), map.text());
    EXPECT_NE(map.text(), before);
}

// Analysing ends at 0.25 of the work, and judging the texts at 0.45. The progress function is
// called every 50 ms, so each part needs many texts.
TEST(ClassifierConfidenceTest, InterruptedLearningLeavesTheMapAsItWas) {
    const cli::Scratch_folder folder;
    const Same_identity same;
    Classifier classifier = calibrated_shop();
    classifier.save(folder.file("before.kc"));
    const std::vector<Example> tests = shop_tests();
    std::vector<Example> many;
    for (int i = 0; i < 80; ++i) {
        many.insert(many.end(), tests.begin(), tests.end());
    }
    for (const double share : {0.0, 0.26, 0.46}) {
        double last = -1.0;
        Learn_options options;
        options.progress = [&](double done) {
            last = done;
            return done < share;
        };
        EXPECT_ERROR(classifier.learn(many, options), Error_code::interrupted,
                     "the work was interrupted");
        EXPECT_GE(last, share);
        EXPECT_TRUE(classifier.is_calibrated());
        classifier.save(folder.file("after.kc"));
        EXPECT_TRUE(bytes_of(folder.file("after.kc")) == bytes_of(folder.file("before.kc")));
    }
}

TEST(ClassifierConfidenceTest, ProgressOfCalibratingRisesToOneAndInterrupts) {
    std::vector<double> done;
    Train_options options = calibrating();
    options.progress = [&](double share) {
        done.push_back(share);
        return true;
    };
    Classifier classifier = Classifier::train(desk_examples(), options);
    EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
    ASSERT_FALSE(done.empty());
    EXPECT_EQ(done.back(), 1.0);

    done.clear();
    Learn_options learning;
    learning.progress = options.progress;
    classifier.learn(desk_examples(), learning);
    EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
    EXPECT_EQ(done.back(), 1.0);

    options.progress = [](double) { return false; };
    EXPECT_ERROR(Classifier::train(desk_examples(), options), Error_code::interrupted,
                 "the work was interrupted");
}

TEST(ClassifierConfidenceTest, ClosedClassifierRefusesTheQuestion) {
    Classifier classifier = Classifier::train(desk_examples(), calibrating());
    classifier.close();
    EXPECT_ERROR(classifier.is_calibrated(), Error_code::closed, "the classifier is closed");
}

}  // namespace

}  // namespace zandrel::tests
