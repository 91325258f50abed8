#include "cli/tune/Halving.h"

#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t kTextsOfPart = 10;

// Has the outcomes of all trials. Each part tests ten texts with the label 0, and a model with N
// right texts has the first N right. So two models differ in as many texts as their numbers differ.
class Fake_trials : public Trials {
public:
    // (setting, divisor, fold)
    using Key = std::tuple<std::size_t, std::size_t, std::size_t>;

    std::map<Key, std::size_t> right_texts;
    std::map<std::size_t, std::size_t> sizes;  // of the models of a setting; 100 if missing
    std::size_t trials_in_time = 1000;
    double error_of_wrong = 1.0;  // the square error; that of right texts is 0

    std::vector<Key> made;
    std::vector<std::string> rounds;

    bool run(const std::string& round, const std::vector<Trial>& trials,
             const Take& take) override {
        rounds.push_back(round);
        for (std::size_t i = 0; i < trials.size(); ++i) {
            if (made.size() == trials_in_time) {
                return false;
            }
            const Trial& trial = trials[i];
            made.emplace_back(trial.setting, trial.part.divisor, trial.part.fold);
            take(i, outcome(made.back()));
        }
        return true;
    }

    const std::vector<Label_numbers>& labels(const Tuning_part& /*part*/) override {
        return m_labels;
    }

private:
    Trial_outcome outcome(const Key& key) const {
        Trial_outcome outcome;
        for (std::size_t i = 0; i < kTextsOfPart; ++i) {
            const bool is_right = i < right_texts.at(key);
            outcome.answers.push_back({is_right ? 0 : 1, is_right ? 0.0 : error_of_wrong});
        }
        const auto size = sizes.find(std::get<0>(key));
        outcome.model_size = size == sizes.end() ? 100 : size->second;
        outcome.cpu_seconds = 0.5;
        return outcome;
    }

    std::vector<Label_numbers> m_labels = std::vector<Label_numbers>(kTextsOfPart, {0});
};

// The round of all settings with all folds.
std::vector<Tuning_round> one_round(std::size_t settings) {
    return {{1, 3, settings}};
}

// Gives all folds of a setting so many right texts.
void set_right(Fake_trials& trials, std::size_t setting, std::size_t right) {
    for (std::size_t fold = 0; fold < kTuningFolds; ++fold) {
        trials.right_texts[{setting, 1, fold}] = right;
    }
}

// The example of Halving.cpp, with a tenth of its values.
TEST(HalvingTest, BetterHalfGoesOnWithTheDefaults) {
    Fake_trials trials;
    const std::size_t first_round[] = {5, 6, 4, 7, 3, 6, 8, 2};
    for (std::size_t i = 0; i < 8; ++i) {
        trials.right_texts[{i, 2, 0}] = first_round[i];
    }
    trials.right_texts[{0, 1, 0}] = 5;
    trials.right_texts[{1, 1, 0}] = 6;
    trials.right_texts[{3, 1, 0}] = 9;
    trials.right_texts[{6, 1, 0}] = 7;
    for (const std::size_t fold : {1U, 2U}) {
        trials.right_texts[{0, 1, fold}] = 5;
        trials.right_texts[{3, 1, fold}] = 8;
    }

    const Halving_result result =
        halve({8}, {{2, 1, 8}, {1, 1, 4}, {1, 3, 2}}, Tuning_metric::kAccuracy, trials);

    using Key = Fake_trials::Key;
    ASSERT_THAT(trials.made, SizeIs(16));
    EXPECT_THAT(std::vector<Key>(trials.made.begin() + 8, trials.made.end()),
                ElementsAre(Key(0, 1, 0), Key(6, 1, 0), Key(3, 1, 0), Key(1, 1, 0), Key(0, 1, 1),
                            Key(0, 1, 2), Key(3, 1, 1), Key(3, 1, 2)))
        << "the best ones of the last round first";
    EXPECT_THAT(trials.rounds, ElementsAre("Round 1 of 3: 8 settings", "Round 2 of 3: 4 settings",
                                           "Round 3 of 3: 2 settings"));
    EXPECT_EQ(result.chosen, 3U);
    EXPECT_TRUE(result.is_complete);
    EXPECT_EQ(result.figures[3].rounds, 3U);
    EXPECT_EQ(result.figures[3].texts, 30U);
    EXPECT_DOUBLE_EQ(result.figures[3].value, 25.0 / 30.0);
    EXPECT_DOUBLE_EQ(result.figures[3].cpu_seconds, 2.0) << "of four trials";
    EXPECT_EQ(result.figures[6].rounds, 2U);
    EXPECT_DOUBLE_EQ(result.figures[6].value, 0.7);
    EXPECT_DOUBLE_EQ(result.defaults.value, 0.5);
}

TEST(HalvingTest, WorstDefaultsTakePartInEachRound) {
    Fake_trials trials;
    for (std::size_t setting = 0; setting < 4; ++setting) {
        trials.right_texts[{setting, 2, 0}] = setting;
        set_right(trials, setting, setting);
    }

    const Halving_result result =
        halve({4}, {{2, 1, 4}, {1, 3, 2}}, Tuning_metric::kAccuracy, trials);

    EXPECT_EQ(result.figures[0].rounds, 2U);
    EXPECT_EQ(result.figures[3].rounds, 2U);
    EXPECT_EQ(result.figures[2].rounds, 1U);
}

// Of 30 texts three are right in addition: the gain is 3/30, and the standard error sqrt(3) / 30.
// So the gain is sqrt(3) = 1.73 standard errors. With six texts it is sqrt(6) = 2.45 standard
// errors.
TEST(HalvingTest, OnlyAGainOfMoreThanTwoStandardErrorsReplacesTheDefaults) {
    Fake_trials trials;
    set_right(trials, 0, 5);
    set_right(trials, 1, 6);

    Halving_result result = halve({2}, one_round(2), Tuning_metric::kAccuracy, trials);

    EXPECT_EQ(result.chosen, 0U);
    EXPECT_NEAR(result.figures[1].gain.gain, 0.1, 1e-12);
    EXPECT_NEAR(result.figures[1].gain.error, 0.057735, 1e-6);

    set_right(trials, 1, 7);
    result = halve({2}, one_round(2), Tuning_metric::kAccuracy, trials);

    EXPECT_EQ(result.chosen, 1U);
    EXPECT_NEAR(result.figures[1].gain.error, 0.081650, 1e-6);
}

TEST(HalvingTest, SmallestModelIsChosenAmongEquallyGoodSettings) {
    Fake_trials trials;
    set_right(trials, 0, 2);
    for (const std::size_t setting : {1U, 2U, 3U}) {
        set_right(trials, setting, 9);
    }
    trials.sizes = {{1, 80}, {2, 60}, {3, 70}};

    EXPECT_EQ(halve({4}, one_round(4), Tuning_metric::kAccuracy, trials).chosen, 2U);
}

// The best setting has 29 right texts, and the smaller ones 28 and 27. One text of 30 is a distance
// of one standard error, four times as much as may be neglected.
TEST(HalvingTest, SmallerModelIsNotChosenIfItIsWorse) {
    Fake_trials trials;
    set_right(trials, 0, 2);
    set_right(trials, 1, 9);
    set_right(trials, 2, 9);
    trials.right_texts[{1, 1, 0}] = 10;
    trials.right_texts[{1, 1, 1}] = 10;
    trials.right_texts[{2, 1, 0}] = 10;
    trials.sizes = {{2, 1}};

    EXPECT_EQ(halve({3}, one_round(3), Tuning_metric::kAccuracy, trials).chosen, 1U);
}

TEST(HalvingTest, FirstOfEqualSettingsIsChosen) {
    Fake_trials trials;
    set_right(trials, 0, 2);
    set_right(trials, 1, 9);
    set_right(trials, 2, 9);

    EXPECT_EQ(halve({3}, one_round(3), Tuning_metric::kAccuracy, trials).chosen, 1U);
}

TEST(HalvingTest, LowerBrierScoreIsBetter) {
    Fake_trials trials;
    set_right(trials, 0, 5);
    set_right(trials, 1, 2);
    set_right(trials, 2, 8);
    trials.error_of_wrong = 0.5;

    const Halving_result result = halve({3}, {{1, 1, 3}, {1, 3, 2}}, Tuning_metric::kBrier, trials);

    EXPECT_EQ(result.chosen, 2U);
    EXPECT_EQ(result.figures[1].rounds, 1U);
    EXPECT_DOUBLE_EQ(result.figures[1].value, 0.4);
    EXPECT_DOUBLE_EQ(result.figures[1].gain.gain, -0.15);
    EXPECT_DOUBLE_EQ(result.figures[2].value, 0.1);
}

// Three trials of the first round are made, so the last setting of the four has no figures. Setting
// 2 gets 6 of 10 texts right, and none is lost: 6 is more than 2 * sqrt(6).
TEST(HalvingTest, SettingsThatWereNotTriedInTimeHaveNoFigures) {
    Fake_trials trials;
    for (const std::size_t setting : {0U, 1U, 2U, 3U}) {
        trials.right_texts[{setting, 2, 0}] = 3 * setting;
        set_right(trials, setting, 3 * setting);
    }
    trials.trials_in_time = 3;

    const Halving_result result =
        halve({4}, {{2, 1, 4}, {1, 3, 2}}, Tuning_metric::kAccuracy, trials);

    EXPECT_FALSE(result.is_complete);
    EXPECT_EQ(result.figures[3].rounds, 0U);
    EXPECT_EQ(result.chosen, 2U);
    EXPECT_EQ(result.compared, 2U);
    EXPECT_EQ(result.defaults.texts, 10U);
}

// In the second round there is time for the defaults only, then for one fold of the other setting.
TEST(HalvingTest, EarlierRoundDecidesIfNothingIsComparedInTheLastOne) {
    Fake_trials trials;
    for (const std::size_t setting : {0U, 1U, 2U}) {
        trials.right_texts[{setting, 2, 0}] = 4 * setting;
        set_right(trials, setting, 1);
    }
    for (const std::size_t in_time : {6U, 7U, 8U}) {
        SCOPED_TRACE(in_time);
        trials.made.clear();
        trials.trials_in_time = in_time;

        const Halving_result result =
            halve({3}, {{2, 1, 3}, {1, 3, 2}}, Tuning_metric::kAccuracy, trials);

        EXPECT_FALSE(result.is_complete);
        EXPECT_EQ(result.chosen, 2U);
        EXPECT_EQ(result.defaults.texts, 10U) << "of the round that decided";
        EXPECT_EQ(result.figures[2].texts, 10U);
    }
}

TEST(HalvingTest, DefaultsRemainIfThereIsNoTimeAtAll) {
    Fake_trials trials;
    trials.trials_in_time = 0;

    const Halving_result result = halve({3}, one_round(3), Tuning_metric::kAccuracy, trials);

    EXPECT_EQ(result.chosen, 0U);
    EXPECT_EQ(result.defaults.rounds, 0U);
    EXPECT_FALSE(result.is_complete);
    EXPECT_THAT(trials.made, IsEmpty());
}

// Setting 4 is the best of the first round, and is tried before setting 1 in the second one.
TEST(HalvingTest, BestSettingsOfTheLastRoundAreComparedIfTheTimeIsOver) {
    Fake_trials trials;
    const std::size_t first_round[] = {2, 4, 3, 1, 9};
    for (std::size_t setting = 0; setting < 5; ++setting) {
        trials.right_texts[{setting, 2, 0}] = first_round[setting];
        set_right(trials, setting, first_round[setting]);
    }
    trials.trials_in_time = 11;

    const Halving_result result =
        halve({5}, {{2, 1, 5}, {1, 3, 3}}, Tuning_metric::kAccuracy, trials);

    EXPECT_FALSE(result.is_complete);
    EXPECT_EQ(result.chosen, 4U);
    EXPECT_EQ(result.compared, 1U);
    EXPECT_EQ(result.figures[4].rounds, 2U);
    EXPECT_EQ(result.figures[1].rounds, 1U);
}

TEST(HalvingTest, FirstRoundIsInTheGivenOrder) {
    Fake_trials trials;
    for (std::size_t setting = 0; setting < 4; ++setting) {
        set_right(trials, setting, setting == 2 ? 9 : 3);
    }
    trials.trials_in_time = 6;

    const Halving_result result =
        halve({4, {0, 2, 1, 3}}, one_round(4), Tuning_metric::kAccuracy, trials);

    EXPECT_EQ(result.chosen, 2U);
    EXPECT_EQ(result.compared, 1U);
    EXPECT_EQ(result.figures[1].rounds, 0U);
}

// Setting 2 gives no probabilities. It has to win more than 2 * sqrt(wins) texts against setting 1:
// 3 of 30 are not enough, and 6 are.
TEST(HalvingTest, SettingWithoutProbabilitiesIsChosenOnlyIfItIsClearlyBetterThanOthers) {
    Fake_trials trials;
    set_right(trials, 0, 1);
    set_right(trials, 1, 6);
    set_right(trials, 2, 7);

    EXPECT_EQ(halve({3}, one_round(3), Tuning_metric::kAccuracy, trials).chosen, 2U);
    const Halving_settings settings = {3, {}, {2}};
    EXPECT_EQ(halve(settings, one_round(3), Tuning_metric::kAccuracy, trials).chosen, 1U);

    set_right(trials, 2, 8);
    EXPECT_EQ(halve(settings, one_round(3), Tuning_metric::kAccuracy, trials).chosen, 2U);
}

TEST(HalvingTest, SettingWithoutProbabilitiesReplacesDefaultsThatAreClearlyWorse) {
    Fake_trials trials;
    set_right(trials, 0, 5);
    set_right(trials, 1, 6);

    EXPECT_EQ(halve({2, {}, {1}}, one_round(2), Tuning_metric::kAccuracy, trials).chosen, 0U);

    set_right(trials, 1, 7);
    EXPECT_EQ(halve({2, {}, {1}}, one_round(2), Tuning_metric::kAccuracy, trials).chosen, 1U);
}

// With one fold of a few texts, all settings can be equal, and the first of the list would go on.
TEST(HalvingTest, AllSettingsAreTriedWithAllFoldsOfVeryFewTexts) {
    const std::vector<Tuning_round> rounds = tuning_rounds(36, 99, 1000);

    ASSERT_THAT(rounds, SizeIs(1));
    EXPECT_EQ(rounds[0].settings, 36U);
    EXPECT_EQ(rounds[0].folds, kTuningFolds);
    EXPECT_EQ(tuning_rounds(36, 100, 1000).front().folds, 1U);
}

// Each part has ten texts, of which 5 are right: Wilson's interval of 15 of 30.
TEST(HalvingTest, FiguresHaveTheIntervalOfTheValue) {
    Fake_trials trials;
    set_right(trials, 0, 5);

    const Halving_result result = halve({1}, one_round(1), Tuning_metric::kAccuracy, trials);

    EXPECT_NEAR(result.defaults.interval.low, 0.3315, 1e-4);
    EXPECT_NEAR(result.defaults.interval.high, 0.6685, 1e-4);
    EXPECT_EQ(result.compared, 0U);
}

// One unit is the training of all texts with the defaults. Testing takes about a quarter of it. A
// round costs settings * folds / divisor * (2/3 + 1/3 * 1/4) units, less the trials of an earlier
// round.
double cost_of(const std::vector<Tuning_round>& rounds) {
    double cost = 0.0;
    std::size_t full_folds_before = 0;
    for (const Tuning_round& round : rounds) {
        const std::size_t again = round.divisor == 1 ? full_folds_before : 0;
        cost += static_cast<double>(round.settings * (round.folds - again)) /
                static_cast<double>(round.divisor) * 0.75;
        full_folds_before = round.divisor == 1 ? round.folds : 0;
    }
    return cost;
}

TEST(HalvingTest, SearchCostsLessThanSixtyTrainings) {
    for (const std::size_t texts : {100U, 1999U, 2000U, 100000U}) {
        for (const std::size_t bytes : {1000U, 4000000U, 4000001U}) {
            SCOPED_TRACE(testing::Message() << texts << " texts, " << bytes << " bytes");
            const std::vector<Tuning_round> rounds = tuning_rounds(36, texts, bytes);
            EXPECT_EQ(rounds.front().settings, 36U);
            EXPECT_EQ(rounds.back().divisor, 1U);
            EXPECT_EQ(rounds.back().folds, kTuningFolds);
            EXPECT_LT(cost_of(rounds), 60.0);
        }
    }
    EXPECT_LT(cost_of(tuning_rounds(36, 100000, 4000001)), 30.0);
}

}  // namespace

}  // namespace zandrel::cli
