#include "text/confidence/Confidence_map.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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

private:
    std::uint64_t m_state = 1;
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
// The last two are in the wrong order. Together they have (82.741 + 77.744) / 240 = 0.66868, at the
// index 1.3125. The score 0.5 has the index 0, which is 0.9375 / 2.25 = 0.41667 of the way from the
// first knot to the second one: 0.29689 + 0.41667 * 0.37179 = 0.45180. The confidence is
// 0.9 * 0.45180 + 0.1 * 0.5 = 0.45662.
TEST(ConfidenceMapTest, CurveIsThatOfTheExampleWorkedOutByHand) {
    const auto map =
        Confidence_map::parse("1 300 0 10000 0 24:30000:70000 36:70000:30000 48:60000:40000");
    ASSERT_TRUE(map.has_value());

    EXPECT_NEAR(map->of({0.5, 0.1}), 0.4566, 0.0001);
    // 1 / (1 + e^-1.3125) = 0.78791 is the score with the index of the second knot.
    EXPECT_NEAR(map->of({0.78791, 0.1}), 0.9 * 0.66868 + 0.1 * 0.78791, 0.0001);
    // The index 2.3125 is 1 beyond it. The chance 0.66868 has the index 0.70222, and the index
    // 1.70222 has the chance 0.84583.
    EXPECT_NEAR(map->of({0.90990, 0.1}), 0.9 * 0.84583 + 0.1 * 0.90990, 0.0001);
    // The index -1.9375 is 1 before the first knot, whose chance has the index -0.86217. The index
    // -1.86217 has the chance 0.13445.
    EXPECT_NEAR(map->of({0.12591, 0.1}), 0.9 * 0.13445 + 0.1 * 0.12591, 0.0001);
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
    const Confidence_map map = Confidence_map::fit(same_answers({0.5, 0.3}, 3, 3));

    EXPECT_GT(map.of({0.5, 0.3}), 0.5);
    EXPECT_LT(map.of({0.5, 0.3}), 0.8);
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

    EXPECT_LE(map.text().size(), 2000U);
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
    EXPECT_TRUE(Confidence_map::parse("1 2 0 10000 0 31:1000:1000").has_value());
    EXPECT_TRUE(Confidence_map::parse("1 9007199254740992 0 10000 0 31:1000:1000").has_value());
    for (const char* const damaged : {"",
                                      " ",
                                      "1",
                                      "1 2",
                                      "2 2 0 10000 0 31:1000:1000",
                                      "1 2 0 10000 0 31:1000",
                                      "1 2 0 10000 0 31:1000:",
                                      "1 2 0 10000 0 31:1000:1000 ",
                                      "1 2 0 10000 0  31:1000:1000",
                                      "1 2 0 10000 0 31:1000:-1000",
                                      "1 2 0 10000 0 31:-1:1000",
                                      "1 2 0 10000 0 96:1000:1000",
                                      "1 2 0 10000 0 31:1000:1000 30:0:0",
                                      "1 2 0 10000 0 31:0:0",
                                      "1 9 0 10000 0 31:1000:1000 30:1000:1000",
                                      "1 9 0 10000 0 31:1000:1000 31:1000:1000",
                                      "1 2 0 -1 0 31:1000:1000",
                                      "1 2 0 10000 -1 31:1000:1000",
                                      "1 2 10000001 10000 0 31:1000:1000",
                                      "1 2 0 10000001 0 31:1000:1000",
                                      "1 2 0 10000 99999999999999999999 31:1000:1000",
                                      "1 2 00 10000 0 31:1000:1000",
                                      "1 2 0 1e4 0 31:1000:1000",
                                      "1 2 0 10000 0 31:7000:9000",
                                      "x 2 0 10000 0 31:1000:1000",
                                      "1 9007199254740993 0 10000 0 31:1000:1000",
                                      "1 9999 0 10000 0 31:6000001:0",
                                      "1 2 0 10000 0 31;1000;1000",
                                      "1 -2 0 10000 0 31:1000:1000"}) {
        EXPECT_FALSE(Confidence_map::parse(damaged).has_value()) << damaged;
    }
}

}  // namespace

}  // namespace zandrel
