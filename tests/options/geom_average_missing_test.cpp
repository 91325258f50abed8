#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/options/first_learner.h"
#include "tests/support/expect_qtx.h"

namespace {

// The program chooses the geometric average itself, and the map does not have the switch.
const Learner_outcome& outcome_of_first_learner() {
    static const Learner_outcome outcome = load_and_make_learner(true, "ClipValue = 3\n");
    return outcome;
}

TEST(GeomAverageMissingTest, LookUpAddsTheKeyWithAnEmptyValue) {
    const std::map<qtString, qtString> expected = {{"ClipValue", "3"}, {"GeomAverage", ""}};

    EXPECT_EQ(outcome_of_first_learner().map.options, expected);
}

TEST(GeomAverageMissingTest, MapWithoutTheSwitchTurnsTheProgramsChoiceOff) {
    EXPECT_FALSE(outcome_of_first_learner().is_geometric);
}

}  // namespace
