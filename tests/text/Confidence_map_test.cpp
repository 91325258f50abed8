#include "text/confidence/Confidence_map.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "text/confidence/Answer_index.h"
#include "text/confidence/Top_scores.h"

namespace zandrel {

namespace {

using Answers = std::vector<Judged_answer>;

// So many answers with these scores, of which the first `right` are right.
Answers same_answers(Top_scores scores, int count, int right) {
    Answers answers;
    for (int i = 0; i < count; ++i) {
        answers.push_back({scores, i < right});
    }
    return answers;
}

void append(const Answers& more, Answers& answers) {
    answers.insert(answers.end(), more.begin(), more.end());
}

// Pseudo-random numbers from 0 to 1, the same on every machine.
class Numbers {
public:
    double next() {
        m_state = m_state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<double>(m_state >> 11U) / 9007199254740992.0;
    }

    explicit Numbers(std::uint64_t seed = 1) : m_state(seed) {}

private:
    std::uint64_t m_state;
};

// Answers whose best score is too low: an answer with the score s is right with the chance
// `right_at_0` + (1 - `right_at_0`) * s.
Answers underrated_answers(int count, double right_at_0) {
    Numbers numbers;
    Answers answers;
    for (int i = 0; i < count; ++i) {
        const double best = numbers.next();
        const double second = best * numbers.next();
        const double chance = right_at_0 + (1.0 - right_at_0) * best;
        answers.push_back({{best, second}, numbers.next() < chance});
    }
    return answers;
}

void expect_non_decreasing(const Confidence_map& map) {
    constexpr int kSteps = 60;
    const auto at = [&map](int best, int lead) {
        const double score = static_cast<double>(best) / kSteps;
        return map.of({score, score - static_cast<double>(lead) / kSteps});
    };
    for (int best = 0; best <= kSteps; ++best) {
        for (int lead = 0; lead <= best; ++lead) {
            const double confidence = at(best, lead);
            EXPECT_GE(confidence, 0.0);
            EXPECT_LE(confidence, 1.0);
            if (best > lead) {
                EXPECT_LE(at(best - 1, lead), confidence) << best << ' ' << lead;
            }
            if (lead > 0) {
                EXPECT_LE(at(best, lead - 1), confidence) << best << ' ' << lead;
            }
        }
    }
}

TEST(ConfidenceMapTest, NoAnswersGiveTheBestScore) {
    const Confidence_map map = Confidence_map::fit({});

    EXPECT_EQ(map.answer_count(), 0U);
    EXPECT_DOUBLE_EQ(map.of({0.37, 0.2}), 0.37);
    EXPECT_DOUBLE_EQ(map.of({0.9, 0.0}), 0.9);
}

TEST(ConfidenceMapTest, TextWithoutAnAnswerHasNoConfidence) {
    const Confidence_map map = Confidence_map::fit(same_answers({0.5, 0.1}, 100, 100));

    EXPECT_EQ(map.of({0.0, 0.0}), 0.0);
}

// The form, 300 answers, the index ln(best / (1 - best)), and three cells of 100 answers: the cells
// 24 (index -1 to -0.875, middle -0.9375), 36 (middle 0.5625) and 48 (middle 2.0625).
//
// With 20 more answers of the chance of their index, 0.281, 0.637 and 0.887:
//   (30 + 5.627) / 120 = 0.29689
//   (70 + 12.741) / 120 = 0.68950
//   (60 + 17.744) / 120 = 0.64787
// The last two are in the wrong order. Together they have (82.741 + 77.744) / 240 = 0.66868, from
// the index 0.5625 to 2.0625.
//
// Each cell is a part for the evidence. Their mean scores are 0.7, 0.5 and 0.9:
//   40^2 / 21 + 20^2 / 25 + 30^2 / 9 = 76.190 + 16 + 100 = 192.190
// That is more than 16, so the share of the curve is 0.9.
TEST(ConfidenceMapTest, CurveIsThatOfTheExampleWorkedOutByHand) {
    const auto map = Confidence_map::parse(
        "1 300 0 10000 0 24:30000:70000:70000 36:70000:30000:50000 48:60000:40000:90000");
    ASSERT_TRUE(map.has_value());
    const auto expected = [](double score, double chance) {
        return score + 0.9 * (chance - score);
    };

    // The score 0.5 has the index 0, which is 0.9375 / 1.5 = 0.625 of the way from the first knot
    // to the second one: 0.29689 + 0.625 * 0.37179 = 0.52926.
    EXPECT_NEAR(map->of({0.5, 0.1}), expected(0.5, 0.52926), 0.0001);
    // The score 0.73106 has the index 1, and the score 0.85 has the index 1.73.
    EXPECT_NEAR(map->of({0.73106, 0.1}), expected(0.73106, 0.66868), 0.0001);
    EXPECT_NEAR(map->of({0.85, 0.1}), expected(0.85, 0.66868), 0.0001);
    // The index 3.0625 is 1 beyond the last knot. The chance 0.66868 has the index 0.70222, and the
    // index 0.70222 + 0.25 has the chance 0.72156.
    EXPECT_NEAR(map->of({0.95532, 0.1}), expected(0.95532, 0.72156), 0.0001);
    // The index -1.9375 is 1 before the first knot, whose chance has the index -0.86217. The index
    // -1.86217 has the chance 0.13445.
    EXPECT_NEAR(map->of({0.12591, 0.1}), expected(0.12591, 0.13445), 0.0001);
}

// 100 answers with the mean score 0.8 in one cell: 44 (index 1.5 to 1.625, middle 1.5625, whose
// chance is 0.82670). The score 0.82670 is in the middle of the cell.
TEST(ConfidenceMapTest, EvidenceDecidesAboutTheShareOfTheCurve) {
    const auto confidence = [](const std::string& counts) {
        const auto map = Confidence_map::parse("1 1000 0 10000 0 44:" + counts);
        return map ? map->of({0.82670, 0.1}) : -1.0;
    };

    // 91 right: 11^2 / 16 = 7.56 is below 8.
    EXPECT_NEAR(confidence("91000:9000:80000"), 0.8267, 0.0001);
    // 92 right: 12^2 / 16 = 9, so the share is 0.9 * (9 - 8) / 8 = 0.1125. The curve has
    // (92 + 20 * 0.82670) / 120 = 0.90445.
    EXPECT_NEAR(confidence("92000:8000:80000"), 0.8267 + 0.1125 * (0.90445 - 0.8267), 0.0001);
    // 920 of 1,000 right: 120^2 / 160 = 90, so the share is 0.9. The curve has
    // (920 + 16.534) / 1020 = 0.91817.
    EXPECT_NEAR(confidence("920000:80000:800000"), 0.8267 + 0.9 * (0.91817 - 0.8267), 0.0001);
    // All scores are 1, and 90 of 100 are right: 10^2 / 0.25 = 400, so the share is 0.9. The
    // curve has (90 + 16.534) / 120 = 0.88778.
    EXPECT_NEAR(confidence("90000:10000:100000"), 0.8267 + 0.9 * (0.88778 - 0.8267), 0.0001);
}

// The expected calibration error with 15 bins, for true chances that are known instead of right and
// wrong answers. `chance`: the true chance of a best score.
template <class Confidence, class Chance>
double calibration_error(const Answers& answers, const Confidence& confidence,
                         const Chance& chance) {
    constexpr int kBins = 15;
    double sums[kBins] = {};
    for (const Judged_answer& answer : answers) {
        const double value = confidence(answer.scores);
        sums[std::min(static_cast<int>(value * kBins), kBins - 1)] +=
            value - chance(answer.scores.best);
    }
    double error = 0.0;
    for (const double sum : sums) {
        error += std::abs(sum);
    }
    return error / static_cast<double>(answers.size());
}

// Most scores are high, as those of a classifier, and an answer with the score s is right with
// `chance(s)`.
template <class Chance>
Answers answers_of_chance(int count, std::uint64_t seed, const Chance& chance) {
    Numbers numbers(seed * 1000003);
    Answers answers;
    for (int i = 0; i < count; ++i) {
        const double index =
            2.0 + 2.0 * (numbers.next() + numbers.next() + numbers.next() + numbers.next() - 2.0) *
                      std::sqrt(3.0);
        const double best = chance_of_index(index);
        const double second = (1.0 - best) * numbers.next();
        answers.push_back({{best, second}, numbers.next() < chance(best)});
    }
    return answers;
}

TEST(ConfidenceMapTest, FewAnswersDoNotMakeTrueScoresWorse) {
    const auto truth = [](double score) { return score; };
    const Answers tested = answers_of_chance(4000, 99, truth);
    constexpr std::uint64_t kMaps = 20;
    for (const int count : {10, 30, 100, 300, 1000, 3000, 6000}) {
        double sum = 0.0;
        for (std::uint64_t seed = 1; seed <= kMaps; ++seed) {
            const Confidence_map map = Confidence_map::fit(answers_of_chance(count, seed, truth));
            const auto confidence = [&map](const Top_scores& scores) { return map.of(scores); };
            const double error = calibration_error(tested, confidence, truth);
            sum += error;
            if (count >= 1000) {
                EXPECT_LE(error, 0.012) << count << ' ' << seed;
            }
        }
        EXPECT_LE(sum / static_cast<double>(kMaps), 0.005) << count;
    }
}

// The share `right_at_0` makes the scores too low, which 300 answers are enough to see.
TEST(ConfidenceMapTest, ScoresThatAreTooLowAreCorrectedByFewAnswers) {
    const auto truth = [](double score) { return 0.5 + 0.5 * score; };
    const Answers tested = answers_of_chance(4000, 99, truth);
    const auto score = [](const Top_scores& scores) { return scores.best; };
    const double error_of_score = calibration_error(tested, score, truth);
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const Confidence_map map = Confidence_map::fit(answers_of_chance(300, seed, truth));
        const auto confidence = [&map](const Top_scores& scores) { return map.of(scores); };
        EXPECT_LE(calibration_error(tested, confidence, truth), 0.6 * error_of_score) << seed;
    }
}

// One label in ten is wrong, so the chance is never above 0.9.
TEST(ConfidenceMapTest, WrongLabelsAreACeilingForTheSurestAnswers) {
    const auto truth = [](double score) { return 0.9 * score; };
    constexpr std::uint64_t kMaps = 20;
    double sum = 0.0;
    for (std::uint64_t seed = 1; seed <= kMaps; ++seed) {
        const Confidence_map map = Confidence_map::fit(answers_of_chance(3000, seed, truth));
        sum += map.of({0.996, 0.001}) - truth(0.996);
    }
    EXPECT_LE(sum / static_cast<double>(kMaps), 0.025);
}

TEST(ConfidenceMapTest, LastBitsOfAnIndexDoNotChangeItsCell) {
    Confidence_map exact = Confidence_map::fit({});
    Confidence_map inexact = exact;

    // The index of 0.5 is 0, where a cell begins.
    exact.update(same_answers({0.5, 0.1}, 1, 1));
    inexact.update(same_answers({0.5 - 1e-12, 0.1}, 1, 1));

    EXPECT_EQ(exact.text(), "1 1 0 10000 0 32:1000:0:500");
    EXPECT_EQ(inexact.text(), exact.text());
}

TEST(ConfidenceMapTest, ScoresThatAreTooLowGetTheShareOfRightAnswers) {
    const Answers answers = underrated_answers(4000, 0.6);
    const Confidence_map map = Confidence_map::fit(answers);

    // In the middle the score is 0.5 and the share of right answers 0.8.
    EXPECT_NEAR(map.of({0.5, 0.25}), 0.9 * 0.8 + 0.1 * 0.5, 0.03);
    double sum = 0.0;
    double right = 0.0;
    for (const Judged_answer& answer : answers) {
        sum += (map.of(answer.scores) - 0.1 * answer.scores.best) / 0.9;
        right += answer.is_right ? 1.0 : 0.0;
    }
    EXPECT_NEAR(sum / 4000.0, right / 4000.0, 0.005);
}

TEST(ConfidenceMapTest, FewAnswersChangeTheScoreOnlyALittle) {
    const Confidence_map three = Confidence_map::fit(same_answers({0.5, 0.3}, 3, 3));
    const Confidence_map ten = Confidence_map::fit(same_answers({0.5, 0.3}, 10, 10));

    EXPECT_EQ(three.of({0.5, 0.3}), 0.5);
    EXPECT_GT(ten.of({0.5, 0.3}), 0.5);
    EXPECT_LT(ten.of({0.5, 0.3}), 0.6);
}

TEST(ConfidenceMapTest, ConfidenceGrowsWithScoreAndLead) {
    Answers contrary;  // the higher the score, the worse
    for (int tenth = 1; tenth < 10; ++tenth) {
        append(same_answers({tenth / 10.0, 0.05}, 50, 55 - tenth * 5), contrary);
    }
    for (const Answers& answers :
         {underrated_answers(3000, 0.3), underrated_answers(40, 0.9), contrary, Answers()}) {
        Confidence_map map = Confidence_map::fit(answers);
        expect_non_decreasing(map);
        map.update(contrary);
        expect_non_decreasing(map);
    }
}

// Maps with random weights and counts, as no answers would make them.
TEST(ConfidenceMapTest, ConfidenceOfAnyCountsGrowsWithScoreAndLead) {
    Numbers numbers;
    const auto number = [&numbers](int end) {
        return static_cast<std::int64_t>(numbers.next() * end);
    };
    for (int i = 0; i < 60; ++i) {
        std::string text = "1 6000 " + std::to_string(number(40000) - 20000) + ' ' +
                           std::to_string(number(30000)) + ' ' + std::to_string(number(50000));
        for (std::int64_t cell = number(20); cell < 96; cell += 1 + number(20)) {
            const std::int64_t right = number(50000);
            const std::int64_t wrong = number(50000);
            text += ' ' + std::to_string(cell) + ':' + std::to_string(right) + ':' +
                    std::to_string(wrong) + ':' + std::to_string(number(50000) % (right + 1));
        }
        const auto map = Confidence_map::parse(text);
        ASSERT_TRUE(map.has_value()) << text;
        expect_non_decreasing(*map);
    }
}

TEST(ConfidenceMapTest, SameAnswersGiveTheSameText) {
    const Answers answers = underrated_answers(500, 0.5);

    EXPECT_EQ(Confidence_map::fit(answers).text(), Confidence_map::fit(answers).text());
}

TEST(ConfidenceMapTest, UpdatesMoveTheMapToNewerAnswers) {
    Confidence_map map = Confidence_map::fit(same_answers({0.5, 0.1}, 6000, 5400));
    EXPECT_NEAR(map.of({0.5, 0.1}), 0.9 * 0.9 + 0.1 * 0.5, 0.01);

    const Answers worse = same_answers({0.5, 0.1}, 1000, 300);
    for (int i = 0; i < 60; ++i) {
        map.update(worse);
    }

    EXPECT_NEAR(map.of({0.5, 0.1}), 0.9 * 0.3 + 0.1 * 0.5, 0.01);
    EXPECT_EQ(map.answer_count(), 66000U);
}

TEST(ConfidenceMapTest, AnswersOneByOneMoveTheMapAsABulkDoes) {
    const Answers first = underrated_answers(2000, 0.6);
    const Answers more = underrated_answers(3000, 0.2);
    Confidence_map bulk = Confidence_map::fit(first);
    Confidence_map single = bulk;

    bulk.update(more);
    for (const Judged_answer& answer : more) {
        single.update({&answer, 1});
    }

    EXPECT_EQ(single.text(), bulk.text());
}

TEST(ConfidenceMapTest, TextStaysSmallForEver) {
    Answers answers = underrated_answers(9000, 0.5);
    Confidence_map map = Confidence_map::fit(answers);
    for (int i = 0; i < 100; ++i) {
        map.update(answers);
    }

    EXPECT_LE(map.text().size(), 2500U);
    EXPECT_NEAR(map.of({0.5, 0.25}), 0.9 * 0.75 + 0.1 * 0.5, 0.04);
}

TEST(ConfidenceMapTest, TextIsReadBackExactly) {
    for (const Answers& answers : {Answers(), underrated_answers(1, 0.5),
                                   underrated_answers(777, 0.1), underrated_answers(20000, 0.9)}) {
        Confidence_map map = Confidence_map::fit(answers);
        map.update(underrated_answers(100, 0.0));
        const auto read = Confidence_map::parse(map.text());
        ASSERT_TRUE(read.has_value());
        EXPECT_EQ(read->text(), map.text());
        EXPECT_EQ(read->answer_count(), map.answer_count());
        for (int i = 0; i <= 100; ++i) {
            EXPECT_EQ(read->of({i / 100.0, i / 300.0}), map.of({i / 100.0, i / 300.0}));
        }
    }
}

TEST(ConfidenceMapTest, DamagedTextIsRefused) {
    EXPECT_TRUE(Confidence_map::parse("1 2 0 10000 0 31:1000:1000:900").has_value());
    EXPECT_TRUE(Confidence_map::parse("1 9007199254740992 0 10000 0 31:1000:1000:900").has_value());
    for (const char* const damaged : {"",
                                      " ",
                                      "1",
                                      "1 2",
                                      "2 2 0 10000 0 31:1000:1000:900",
                                      "1 2 0 10000 0 31:1000:1000",
                                      "1 2 0 10000 0 31:1000:1000:",
                                      "1 2 0 10000 0 31:1000:1000:900 ",
                                      "1 2 0 10000 0  31:1000:1000:900",
                                      "1 2 0 10000 0 31:1000:-1000:0",
                                      "1 2 0 10000 0 31:-1:1000:900",
                                      "1 2 0 10000 0 96:1000:1000:900",
                                      "1 2 0 10000 0 31:1000:1000:900 30:0:0:0",
                                      "1 2 0 10000 0 31:0:0:0",
                                      "1 9 0 10000 0 31:1000:1000:900 30:1000:1000:900",
                                      "1 9 0 10000 0 31:1000:1000:900 31:1000:1000:900",
                                      "1 2 0 -1 0 31:1000:1000:900",
                                      "1 2 0 10000 -1 31:1000:1000:900",
                                      "1 2 10000001 10000 0 31:1000:1000:900",
                                      "1 2 0 10000001 0 31:1000:1000:900",
                                      "1 2 0 10000 99999999999999999999 31:1000:1000:900",
                                      "1 2 00 10000 0 31:1000:1000:900",
                                      "1 2 0 1e4 0 31:1000:1000:900",
                                      "1 2 0 10000 0 31:7000:9000:900",
                                      "x 2 0 10000 0 31:1000:1000:900",
                                      "1 9007199254740993 0 10000 0 31:1000:1000:900",
                                      "1 9999 0 10000 0 31:6000001:0:900",
                                      "1 2 0 10000 0 31;1000;1000;900",
                                      "1 2 0 10000 0 31:1000:1000:-1",
                                      "1 2 0 10000 0 31:1000:1000:2001",
                                      "1 2 0 10000 0 31:1000:1000:900:7",
                                      "1 -2 0 10000 0 31:1000:1000:900"}) {
        EXPECT_FALSE(Confidence_map::parse(damaged).has_value()) << damaged;
    }
}

}  // namespace

}  // namespace zandrel
