#include "cli/tune/Tuning_metric.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

// The labels of some texts. Answers refer to them.
class TuningMetricTest : public testing::Test {
protected:
    std::vector<Known_answer> Answers(const std::vector<std::int32_t>& best,
                                      const std::vector<double>& errors = {}) const {
        std::vector<Known_answer> answers;
        for (std::size_t i = 0; i < best.size(); ++i) {
            answers.push_back({&m_labels[i], {best[i], errors.empty() ? 0.0 : errors[i]}});
        }
        return answers;
    }

    std::vector<Label_numbers> m_labels = {{0}, {0}, {1}, {1}, {0, 1}};
};

// The example of Tuning_metric.cpp: right texts are 0 and 1 of five, then 0, 2 and 3.
TEST_F(TuningMetricTest, ErrorOfAccuracyIsThatOfTheMeanDifference) {
    const std::vector<Known_answer> defaults = Answers({0, 0, 0, 0, -1});
    const std::vector<Known_answer> other = Answers({0, 1, 1, 1, 2});

    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kAccuracy, defaults), 0.4);
    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kAccuracy, other), 0.6);
    const Tuning_gain gain = gain_over(Tuning_metric::kAccuracy, defaults, other);
    EXPECT_DOUBLE_EQ(gain.gain, 0.2);
    EXPECT_DOUBLE_EQ(gain.error, std::sqrt(2.8 / 20.0));
}

TEST_F(TuningMetricTest, OneOfSeveralLabelsIsRight) {
    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kAccuracy, Answers({1, 1, 0, 0, 1})), 0.2);
    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kAccuracy, Answers({1, 1, 0, 0, 0})), 0.2);
    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kAccuracy, Answers({1, 1, 0, 0, 2})), 0.0);
}

// Label 0: hits of the texts 0 and 4, a miss of text 1, no false alarm: F1 = 4 / (3 + 2) = 4/5.
// Label 1: hit of text 2, misses of 3 and 4, a false alarm of text 1: F1 = 2 / (3 + 2) = 2/5.
// Label 2 has no text, so it is not in the mean.
TEST_F(TuningMetricTest, MacroF1IsTheMeanOverTheLabelsOfTheTexts) {
    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kMacroF1, Answers({0, 1, 1, 2, 0})), 0.6);
}

// The jackknife, computed anew without each text.
TEST_F(TuningMetricTest, ErrorOfMacroF1IsThatOfTheJackknife) {
    const std::vector<Known_answer> defaults = Answers({0, 1, 1, 2, 0});
    const std::vector<Known_answer> other = Answers({0, 0, 1, -1, 1});
    double sum = 0.0;
    std::vector<double> gains;
    for (std::size_t left_out = 0; left_out < defaults.size(); ++left_out) {
        std::vector<Known_answer> before = defaults;
        std::vector<Known_answer> after = other;
        before.erase(before.begin() + static_cast<std::ptrdiff_t>(left_out));
        after.erase(after.begin() + static_cast<std::ptrdiff_t>(left_out));
        gains.push_back(value_of(Tuning_metric::kMacroF1, after) -
                        value_of(Tuning_metric::kMacroF1, before));
        sum += gains.back();
    }
    double squares = 0.0;
    for (const double gain : gains) {
        squares += (gain - sum / 5.0) * (gain - sum / 5.0);
    }

    const Tuning_gain gain = gain_over(Tuning_metric::kMacroF1, defaults, other);

    EXPECT_NEAR(gain.error, std::sqrt(4.0 / 5.0 * squares), 1e-12);
    EXPECT_GT(gain.error, 0.01);
    // Label 0: 2 hits, 1 miss: 4/5. Label 1: 2 hits, 1 miss: 4/5.
    EXPECT_NEAR(gain.gain, 0.8 - 0.6, 1e-12);
}

TEST_F(TuningMetricTest, LowerBrierScoreIsAGain) {
    const std::vector<Known_answer> defaults = Answers({0, 0, 0, 0, 0}, {0.5, 0.5, 0.5, 1.0, 0.5});
    const std::vector<Known_answer> other = Answers({0, 0, 0, 0, 0}, {0.5, 0.5, 0.0, 0.5, 0.5});

    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kBrier, defaults), 0.6);
    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kBrier, other), 0.4);
    const Tuning_gain gain = gain_over(Tuning_metric::kBrier, defaults, other);
    EXPECT_DOUBLE_EQ(gain.gain, 0.2);
    // The differences are 0, 0, 0.5, 0.5 and 0: 3 * 0.04 + 2 * 0.09 = 0.3.
    EXPECT_DOUBLE_EQ(gain.error, std::sqrt(0.3 / 20.0));
}

TEST_F(TuningMetricTest, SameAnswersHaveNoGain) {
    const std::vector<Known_answer> answers = Answers({0, 1, 1, 2, 0});

    for (const Tuning_metric metric :
         {Tuning_metric::kAccuracy, Tuning_metric::kMacroF1, Tuning_metric::kBrier}) {
        const Tuning_gain gain = gain_over(metric, answers, answers);
        EXPECT_EQ(gain.gain, 0.0);
        EXPECT_EQ(gain.error, 0.0);
        EXPECT_FALSE(gain.is_above(0.0)) << "no gain is not above 0";
    }
}

TEST_F(TuningMetricTest, OneTextHasNoError) {
    m_labels = {{0}};

    const Tuning_gain gain = gain_over(Tuning_metric::kAccuracy, Answers({1}), Answers({0}));

    EXPECT_EQ(gain.gain, 1.0);
    EXPECT_EQ(gain.error, 0.0);
}

}  // namespace

}  // namespace zandrel::cli
