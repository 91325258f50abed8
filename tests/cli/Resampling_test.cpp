#include "cli/evaluate/Resampling.h"

#include <cmath>
#include <cstddef>

#include <gtest/gtest.h>

#include "cli/evaluate/Tally_rounds.h"

namespace zandrel::cli {

namespace {

// The first number of the generator is 0xE220A8397B1DCDAF. Its lowest 16 bits, 0xCDAF = 52655, are
// from 48219 to 60272: 2 times. 0x7B1D = 31517 and 0xA839 = 43065: once; 0xE220 = 57888: 2 times.
TEST(ResamplingTest, SamplesAreTheSameOnEveryMachine) {
    Resampling resampling;

    const Round_weights& weights = resampling.next();

    EXPECT_EQ(weights[0], 2U);
    EXPECT_EQ(weights[1], 1U);
    EXPECT_EQ(weights[2], 1U);
    EXPECT_EQ(weights[3], 2U);
}

TEST(ResamplingTest, TwoObjectsMakeTheSameSamples) {
    Resampling first;
    Resampling second;

    for (int text = 0; text < 10; ++text) {
        EXPECT_EQ(first.next(), second.next());
    }
}

// A Poisson distribution with the mean 1 has the variance 1, and 0 with the share 0.3679.
TEST(ResamplingTest, TextIsInASampleOnceOnAverage) {
    Resampling resampling;
    constexpr std::size_t kTexts = 2000;
    double sum = 0.0;
    double square_sum = 0.0;
    double zeros = 0.0;
    for (std::size_t text = 0; text < kTexts; ++text) {
        for (const std::uint32_t weight : resampling.next()) {
            sum += weight;
            square_sum += (weight - 1.0) * (weight - 1.0);
            zeros += weight == 0 ? 1 : 0;
        }
    }

    // 400,000 weights, so the deviation of their mean is 0.0016.
    EXPECT_NEAR(sum / (kTexts * kRoundCount), 1.0, 0.008);
    EXPECT_NEAR(square_sum / (kTexts * kRoundCount), 1.0, 0.02);
    EXPECT_NEAR(zeros / (kTexts * kRoundCount), 0.3679, 0.004);
}

TEST(ResamplingTest, SumsAndCountsAreWeighted) {
    Resampling resampling;
    Round_sums sums;
    Round_counts counts;
    const Round_weights first = resampling.next();
    const Round_weights second = resampling.next();

    sums.add(first, 0.5);
    sums.add(second, 0.25);
    counts.add(first);
    counts.add(second);

    for (std::size_t round = 0; round < kRoundCount; ++round) {
        EXPECT_EQ(sums[round], first[round] * 0.5 + second[round] * 0.25);
        EXPECT_EQ(counts[round], first[round] + second[round]);
    }
}

// The values 0 and 1 in turn: mean 1/2, variance (200 * 1/4) / 199.
TEST(ResamplingTest, FigureHasTheMeanAndVarianceOverTheSamples) {
    const Sampled_figure figure =
        sampled_figure([](std::size_t round) { return static_cast<double>(round % 2); });

    EXPECT_DOUBLE_EQ(figure.mean, 0.5);
    EXPECT_NEAR(figure.variance, 50.0 / 199, 1e-12);
}

// One label for all texts, of which `hit_count` get it and the others nothing. The recall is a
// plain share, so its interval must be about that of Wilson.
TEST(TallyRoundsTest, RecallOfOneLabelHasAboutTheIntervalOfAShare) {
    Tally_rounds rounds;
    for (int text = 0; text < 1000; ++text) {
        rounds.begin_text();
        if (text % 10 < 8) {
            rounds.add_hit("golf");
        } else {
            rounds.add_miss("golf");
        }
    }
    const Averages averages = averages_of({800, 200, 0});

    const Interval expected = share_interval(800, 1000);
    for (const Interval& interval :
         {rounds.micro_intervals(averages).recall, rounds.macro_intervals(averages).recall}) {
        EXPECT_NEAR(interval.low, expected.low, 0.005);
        EXPECT_NEAR(interval.high, expected.high, 0.005);
    }
    // Nothing was given wrongly.
    EXPECT_EQ(rounds.micro_intervals(averages).precision.high, 1.0);
    EXPECT_EQ(rounds.micro_intervals(averages).precision.low, share_interval(1000, 1000).low);
}

// 900 texts of golf, all right, and 10 of chess, half of them right: the macro recall 0.75 depends
// on 10 texts. Its deviation is half of that of a share of 10: sqrt(0.25 / 10) / 2 = 0.079, and
// 0.75 * 0.25 / 0.079^2 = 30 texts have the same: 0.57 to 0.87.
TEST(TallyRoundsTest, MacroAverageIsAsUncertainAsItsSmallLabels) {
    Tally_rounds rounds;
    for (int text = 0; text < 910; ++text) {
        rounds.begin_text();
        if (text >= 900 && text % 2 == 0) {
            rounds.add_miss("chess");
            rounds.add_false_alarm("golf");
        } else {
            rounds.add_hit(text >= 900 ? "chess" : "golf");
        }
    }

    const Interval macro = rounds.macro_intervals({0.0, 0.75, 0.0}).recall;
    const Interval micro = rounds.micro_intervals({0.0, 905.0 / 910, 0.0}).recall;

    EXPECT_NEAR(macro.low, 0.57, 0.05);
    EXPECT_NEAR(macro.high, 0.87, 0.03);
    EXPECT_GT(micro.low, 0.98);
}

}  // namespace

}  // namespace zandrel::cli
