#include "cli/tune/Tuning_metric.h"

#include <algorithm>
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
TEST_F(TuningMetricTest, ErrorOfAccuracyCountsTheTextsThatDiffer) {
    const std::vector<Known_answer> defaults = Answers({0, 0, 0, 0, -1});
    const std::vector<Known_answer> other = Answers({0, 1, 1, 1, 2});

    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kAccuracy, defaults), 0.4);
    EXPECT_DOUBLE_EQ(value_of(Tuning_metric::kAccuracy, other), 0.6);
    const Tuning_gain gain = gain_over(Tuning_metric::kAccuracy, defaults, other);
    EXPECT_DOUBLE_EQ(gain.gain, 0.2);
    EXPECT_DOUBLE_EQ(gain.error, std::sqrt(3.0) / 5.0);
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

TEST_F(TuningMetricTest, OneTextIsNoClearGain) {
    m_labels = {{0}};

    const Tuning_gain gain = gain_over(Tuning_metric::kAccuracy, Answers({1}), Answers({0}));

    EXPECT_EQ(gain.gain, 1.0);
    EXPECT_EQ(gain.error, 1.0);
}

// A sign test of four texts has a chance of 1/8 on both sides, of five texts 1/16.
TEST_F(TuningMetricTest, FourTextsWonAreNoClearGainAndFiveAre) {
    for (const std::size_t texts : {4U, 5U, 10U, 100U, 1000U}) {
        SCOPED_TRACE(texts);
        m_labels.assign(texts, {0});
        const std::vector<std::int32_t> wrong(texts, 1);
        std::vector<std::int32_t> best = wrong;
        std::fill_n(best.begin(), 4, 0);

        EXPECT_FALSE(
            gain_over(Tuning_metric::kAccuracy, Answers(wrong), Answers(best)).is_above(2.0));
        if (texts > 4) {
            best[4] = 0;
            EXPECT_TRUE(
                gain_over(Tuning_metric::kAccuracy, Answers(wrong), Answers(best)).is_above(2.0));
        }
    }
}

// Wilson's interval of 2 of 5: (0.4 + 0.38415 +- 1.96 sqrt(0.048 + 0.038415)) / 1.76829.
TEST_F(TuningMetricTest, IntervalOfAccuracyIsThatOfWilson) {
    const Interval interval = interval_of(Tuning_metric::kAccuracy, Answers({0, 0, 0, 0, -1}));

    EXPECT_NEAR(interval.low, 0.1176, 1e-4);
    EXPECT_NEAR(interval.high, 0.7693, 1e-4);
}

// The errors 0.5, 0.5, 0, 0.5 and 0.5 have the mean 0.4, and the squared distances 4 * 0.01 + 0.16
// = 0.2. So the standard error is sqrt(0.2 / 20) = 0.1.
TEST_F(TuningMetricTest, IntervalOfBrierScoreIsAlmostTwoStandardErrors) {
    const Interval interval =
        interval_of(Tuning_metric::kBrier, Answers({0, 0, 0, 0, 0}, {0.5, 0.5, 0.0, 0.5, 0.5}));

    EXPECT_NEAR(interval.low, 0.4 - 0.1959964, 1e-6);
    EXPECT_NEAR(interval.high, 0.4 + 0.1959964, 1e-6);
    EXPECT_EQ(
        interval_of(Tuning_metric::kBrier, Answers({0, 0, 0, 0, 0}, {0.0, 0.0, 0.0, 0.1, 0.0})).low,
        0.0);
}

// The jackknife, computed anew without each text.
TEST_F(TuningMetricTest, IntervalOfMacroF1HasTheVarianceOfTheJackknife) {
    const std::vector<Known_answer> answers = Answers({0, 1, 1, 2, 0});
    std::vector<double> values;
    double mean = 0.0;
    for (std::size_t left_out = 0; left_out < answers.size(); ++left_out) {
        std::vector<Known_answer> rest = answers;
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(left_out));
        values.push_back(value_of(Tuning_metric::kMacroF1, rest));
        mean += values.back() / 5.0;
    }
    double variance = 0.0;
    for (const double value : values) {
        variance += 4.0 / 5.0 * (value - mean) * (value - mean);
    }
    const Interval expected = mean_share_interval(0.6, variance, 5);

    const Interval interval = interval_of(Tuning_metric::kMacroF1, answers);

    EXPECT_NEAR(interval.low, expected.low, 1e-12);
    EXPECT_NEAR(interval.high, expected.high, 1e-12);
    EXPECT_LT(interval.low, 0.6);
    EXPECT_GT(interval.high, 0.6);
}

}  // namespace

}  // namespace zandrel::cli
