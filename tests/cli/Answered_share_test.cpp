#include "cli/evaluate/Answered_share.h"

#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

// The point for a share in percent.
Answered_point point_of(const std::vector<Answered_point>& points, std::size_t percent) {
    return points.at(points.size() - percent);
}

void expect_point(const Answered_point& point, double threshold, std::size_t right,
                  std::size_t answered) {
    EXPECT_EQ(point.threshold, threshold);
    EXPECT_EQ(point.right, right);
    EXPECT_EQ(point.answered, answered);
    EXPECT_EQ(point.texts, 4U);
}

TEST(AnsweredShareTest, ThresholdIsTheTrustOfTheLastTextThatIsNeeded) {
    Answered_share_counter counter;
    for (const Trusted_answer& answer :
         {Trusted_answer{0.4, false}, {0.8, false}, {0.9, true}, {0.8, true}}) {
        counter.add(answer);
    }

    const std::vector<Answered_point> points = counter.points();

    ASSERT_EQ(points.size(), 100U);
    expect_point(point_of(points, 1), 0.9, 1, 1);
    expect_point(point_of(points, 25), 0.9, 1, 1);
    expect_point(point_of(points, 26), 0.8, 2, 3);
    expect_point(point_of(points, 75), 0.8, 2, 3);
    expect_point(point_of(points, 76), 0.4, 2, 4);
    expect_point(points.front(), 0.4, 2, 4);
    EXPECT_EQ(points.front().wanted_share, 1.0);
    EXPECT_EQ(points.back().wanted_share, 0.01);
}

TEST(AnsweredShareTest, PointHasShareAndAccuracyWithInterval) {
    const Answered_point point = {0.5, 0.75, 10, 8, 40};

    EXPECT_EQ(point.share(), 0.25);
    EXPECT_EQ(point.accuracy(), 0.8);
    EXPECT_NEAR(point.accuracy_interval().low, 0.4902, 0.00005);
}

TEST(AnsweredShareTest, ThereAreNoPointsWithoutTexts) {
    EXPECT_TRUE(Answered_share_counter().points().empty());
}

TEST(AnsweredShareTest, TextAtTheThresholdIsAnswered) {
    const std::vector<Trusted_answer> answers = {
        {0.5, true}, {0.25, true}, {0.75, false}, {0.0, false}};

    expect_point(answered_at(0.5, answers), 0.5, 1, 2);
    EXPECT_EQ(answered_at(0.5, answers).wanted_share, 0.5);
    expect_point(answered_at(0.0, answers), 0.0, 2, 4);
    expect_point(answered_at(1.0, answers), 1.0, 0, 0);
}

}  // namespace

}  // namespace zandrel::cli
