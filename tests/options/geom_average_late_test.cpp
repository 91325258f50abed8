#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/options/first_learner.h"
#include "tests/support/expect_qtx.h"

namespace {

// The program chooses the geometric average itself. The first learner is made without a map, and
// another one after a map is loaded.
const Learner_outcome& outcome_of_later_learner() {
    static const Learner_outcome outcome = [] {
        g_use_geom_average = true;
        geom_average_after_learner();
        return load_and_make_learner(g_use_geom_average, "GeomAverage = 0\n");
    }();
    return outcome;
}

TEST(GeomAverageLateTest, ProgramsChoiceRemainsWithoutAMap) {
    EXPECT_TRUE(outcome_of_later_learner().is_geometric);
}

TEST(GeomAverageLateTest, MapLoadedAfterTheFirstLearnerIsNotRead) {
    const std::map<qtString, qtString> expected = {{"GeomAverage", "0"}};

    EXPECT_EQ(outcome_of_later_learner().map.options, expected);
}

}  // namespace
