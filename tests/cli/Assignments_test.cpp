#include "cli/evaluate/Assignments.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Each category as "label hits/misses/false alarms".
std::vector<std::string> lines_of(const Assignments& assignments) {
    std::vector<std::string> lines;
    for (const auto& [label, tally] : assignments.categories) {
        lines.push_back(label + " " + std::to_string(tally.hits) + "/" +
                        std::to_string(tally.misses) + "/" + std::to_string(tally.false_alarms));
    }
    return lines;
}

// Five texts, some with several labels, at the threshold 0.5. Counted by hand as hits / misses /
// false alarms: a 2/1/1, b 1/2/0, d 0/0/1, x 0/1/0. The label c belongs to the model, but to no
// text.
Assignments five_texts() {
    Assignment_counter counter(0.5, {"d", "c", "b", "a"});
    counter.add({"a", "b"}, {{"b", 0.75}, {"a", 0.5}, {"c", 0.25}});
    counter.add({"a"}, {{"a", 1.0}, {"d", 0.625}});
    counter.add({"b"}, {{"a", 0.5}, {"b", 0.4375}});
    counter.add({"a", "x"}, {{"b", 0.25}});
    counter.add({"b"}, {});
    return counter.assignments();
}

TEST(AssignmentsTest, TalliesEachLabelOfModelAndTexts) {
    EXPECT_THAT(lines_of(five_texts()),
                ElementsAre("a 2/1/1", "b 1/2/0", "c 0/0/0", "d 0/0/1", "x 0/1/0"));
}

TEST(AssignmentsTest, AveragesAllDecisionsInOneTally) {
    const Assignments assignments = five_texts();

    // All labels together have 3 hits, 4 misses and 2 false alarms.
    EXPECT_DOUBLE_EQ(assignments.micro.precision, 3.0 / 5);
    EXPECT_DOUBLE_EQ(assignments.micro.recall, 3.0 / 7);
    EXPECT_DOUBLE_EQ(assignments.micro.f1, 6.0 / 12);
}

TEST(AssignmentsTest, AveragesOverTheLabelsThatTextsHave) {
    const Assignments assignments = five_texts();

    // Only a, b and x are labels of texts. Their precisions are 2/3, 1 and 0, their recalls 2/3,
    // 1/3 and 0, and their F1 values 4/6, 2/4 and 0.
    EXPECT_DOUBLE_EQ(assignments.macro.precision, 5.0 / 9);
    EXPECT_DOUBLE_EQ(assignments.macro.recall, 1.0 / 3);
    EXPECT_DOUBLE_EQ(assignments.macro.f1, 7.0 / 18);
}

TEST(AssignmentsTest, ScoreEqualToTheThresholdAssignsTheLabel) {
    const struct {
        double threshold;
        std::string expected;
    } rows[] = {{0.75, "a 1/0/0"}, {0.7500001, "a 0/1/0"}, {0.0, "a 1/0/0"}, {1.0, "a 0/1/0"}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.threshold);
        Assignment_counter counter(row.threshold, {});
        counter.add({"a"}, {{"a", 0.75}});
        EXPECT_THAT(lines_of(counter.assignments()), ElementsAre(row.expected));
    }
}

TEST(AssignmentsTest, LabelWithoutResultIsNeverAssigned) {
    Assignment_counter counter(0.0, {"a", "b"});
    counter.add({"a"}, {});

    EXPECT_THAT(lines_of(counter.assignments()), ElementsAre("a 0/1/0", "b 0/0/0"));
}

TEST(AssignmentsTest, WithoutTextsAllValuesAreZero) {
    const Assignments assignments = Assignment_counter(0.5, {"a"}).assignments();

    EXPECT_EQ(assignments.threshold, 0.5);
    EXPECT_EQ(assignments.micro.precision, 0.0);
    EXPECT_EQ(assignments.micro.recall, 0.0);
    EXPECT_EQ(assignments.micro.f1, 0.0);
    EXPECT_EQ(assignments.macro.precision, 0.0);
    EXPECT_EQ(assignments.macro.recall, 0.0);
    EXPECT_EQ(assignments.macro.f1, 0.0);
}

TEST(AssignmentsTest, WithoutModelAndTextsThereIsNoCategory) {
    EXPECT_THAT(Assignment_counter(0.5, {}).assignments().categories, IsEmpty());
}

TEST(AssignmentsTest, AllRightGivesTheValueOne) {
    Assignment_counter counter(0.5, {"a", "b", "c"});
    counter.add({"b", "a"}, {{"a", 0.875}, {"b", 0.75}});
    counter.add({"b"}, {{"b", 0.5}, {"a", 0.25}});
    const Assignments assignments = counter.assignments();

    EXPECT_EQ(assignments.micro.f1, 1.0);
    EXPECT_EQ(assignments.macro.f1, 1.0);
}

}  // namespace

}  // namespace zandrel::cli
