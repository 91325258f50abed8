#include "text/model/Training_progress.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/model/Engine_settings.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

// Records the calls; consecutive steps are one line.
class Log : public CTProgress {
public:
    void SetStatus(const char* status) override { lines.emplace_back(status); }

    void SetTotal(int total) override { lines.push_back("of " + std::to_string(total)); }

    void Increment(unsigned int steps) override {
        lines.push_back("+" + std::to_string(steps));
        increments.push_back(static_cast<int>(steps));
    }

    void NextPhase(bool) override { lines.emplace_back("next"); }

    bool IsInterrupted() const override { return is_interrupted; }

    std::vector<std::string> lines;
    std::vector<int> increments;
    bool is_interrupted = false;
};

// The work of the first classifier is two messages of weight 1 and a category of weight 2, which is
// 4. The work of the second one is 1. So the first one has 4 / 5 of all work.
TEST(TrainingProgressTest, PollsCountAsSharesOfTheExpectedWork) {
    Log log;
    Training_progress progress(log, {{{2, 1.0}, {1, 2.0}}, {{1, 1.0}}});
    EXPECT_FALSE(progress.IsInterrupted());  // before the training
    progress.SetTotal(2);
    progress.SetStatus("Training");
    for (int poll = 0; poll < 3; ++poll) {
        EXPECT_FALSE(progress.IsInterrupted());
    }
    progress.Increment(1);
    EXPECT_FALSE(progress.IsInterrupted());
    progress.Increment(1);
    progress.NextPhase(true);

    EXPECT_THAT(log.lines,
                ElementsAre("of 10000", "Training", "+2000", "+2000", "+4000", "+2000", "next"));
}

TEST(TrainingProgressTest, ClassifierThatEndsEarlyCountsInFull) {
    Log log;
    Training_progress progress(log, {{{4, 1.0}}, {{0, 7.0}, {4, 1.0}}});
    progress.SetTotal(2);
    progress.IsInterrupted();
    progress.Increment(1);

    EXPECT_THAT(log.increments, ElementsAre(1250, 3750));
}

TEST(TrainingProgressTest, PollsBeyondTheExpectedWorkAreIgnored) {
    Log log;
    Training_progress progress(log, {{{0, 7.0}, {4, 1.0}}});
    progress.SetTotal(1);
    for (int poll = 0; poll < 6; ++poll) {
        progress.IsInterrupted();
    }
    progress.Increment(1);

    EXPECT_THAT(log.increments, ElementsAre(2500, 2500, 2500, 2500));
}

TEST(TrainingProgressTest, InterruptionIsPassedOn) {
    Log log;
    log.is_interrupted = true;
    const Training_progress progress(log, {});

    EXPECT_TRUE(progress.IsInterrupted());
}

// With 600 texts, no step is more than a tenth of the work. The largest step is the selection of
// features for one of the three categories, 200 of 2400. If the engine polls less often than
// expected, the rest is reported as one step at the end.
class TrainingWorkTest : public testing::Test {
protected:
    static std::vector<Labelled_text> Texts() {
        std::vector<Labelled_text> texts;
        for (int i = 0; i < 200; ++i) {
            texts.push_back({{"sport"}, "the goal of the match", "goal", "match"});
            texts.push_back({{"food"}, "the bread and the cheese", "bread", "cheese"});
            texts.push_back({{"travel"}, "the train to the coast", "train", "coast"});
        }
        return texts;
    }

    // The steps reported since the classifiers began.
    static std::vector<int> StepsOfTraining(const Log& log) {
        const auto begin = std::find(log.lines.rbegin(), log.lines.rend(), "of 10000").base();
        std::vector<int> steps;
        for (auto line = begin; line != log.lines.end(); ++line) {
            if (line->front() == '+') {
                steps.push_back(std::stoi(*line));
            }
        }
        return steps;
    }

    static void ExpectEvenSteps(const Log& log) {
        const std::vector<int> steps = StepsOfTraining(log);
        int sum = 0;
        int greatest = 0;
        for (const int step : steps) {
            sum += step;
            greatest = std::max(greatest, step);
        }
        EXPECT_EQ(sum, Training_progress::kSteps);
        EXPECT_LE(greatest, Training_progress::kSteps / 10);
    }
};

TEST_F(TrainingWorkTest, ProgressAdvancesWhileClassifiersTrain) {
    const std::vector<Labelled_text> texts = Texts();

    const struct {
        std::string setting;
        Label_groups groups;
    } rows[] = {
        {"NumberOfSlices=10", {}},
        {"NumberOfSlices=2", {}},
        {"UseOmitMethod=0", {}},
        {"NumberOfSlices=10", {"", {{"out", {"sport", "travel"}, 1}}}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.setting);
        Engine_settings settings;
        settings.set({row.setting});
        Text_model model(Model_options{{Analysis_kind::kWords}, &settings, row.groups});
        Log log;
        model.train(texts, &log);
        ExpectEvenSteps(log);
    }
}

TEST_F(TrainingWorkTest, ProgressAdvancesInBootstrapAndLearning) {
    Text_model started(Model_options{{Analysis_kind::kWords}});
    Log log;
    started.bootstrap(Texts(), &log);
    EXPECT_GT(StepsOfTraining(log).size(), 100U);

    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(Texts());
    Log learning;
    model.learn(Texts(), &learning);
    EXPECT_GT(StepsOfTraining(learning).size(), 100U);
}

TEST_F(TrainingWorkTest, TextsAreCountedWhileTheyAreAnalysed) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    Log log;
    model.train({{{"sport"}, "goal"}, {{"food"}, "bread"}}, &log);

    log.lines.resize(4);
    EXPECT_THAT(log.lines, ElementsAre("Analysing the texts", "of 2", "+1", "+1"));
}

}  // namespace

}  // namespace zandrel::cli
