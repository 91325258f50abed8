#include "cli/evaluate/Tally.h"

#include <string_view>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

TEST(TallyTest, HitsAreDividedByTextsAndByPredictions) {
    const struct {
        std::string_view rule;
        Tally tally;
        double precision;
        double recall;
        double f1;
    } rows[] = {
        {"some of each", {3, 1, 9}, 0.25, 0.75, 0.375}, {"all right", {5, 0, 0}, 1.0, 1.0, 1.0},
        {"nothing counted", {0, 0, 0}, 0.0, 0.0, 0.0},  {"never given", {0, 4, 0}, 0.0, 0.0, 0.0},
        {"no text has it", {0, 0, 4}, 0.0, 0.0, 0.0},   {"always wrong", {0, 2, 3}, 0.0, 0.0, 0.0},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(row.tally.precision(), row.precision);
        EXPECT_EQ(row.tally.recall(), row.recall);
        EXPECT_EQ(row.tally.f1(), row.f1);
    }
}

TEST(TallyTest, TalliesAreAdded) {
    Tally sum = {1, 2, 3};
    sum += Tally{10, 20, 30};

    EXPECT_EQ(sum.hits, 11U);
    EXPECT_EQ(sum.misses, 22U);
    EXPECT_EQ(sum.false_alarms, 33U);
}

TEST(TallyTest, DivisionByZeroGivesZero) {
    EXPECT_EQ(ratio(3.0, 4), 0.75);
    EXPECT_EQ(ratio(3.0, 0), 0.0);
}

}  // namespace

}  // namespace zandrel::cli
