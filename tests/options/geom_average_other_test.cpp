#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/options/first_learner.h"
#include "tests/support/expect_qtx.h"

namespace {

const Learner_outcome& outcome_of_first_learner() {
    static const Learner_outcome outcome = load_and_make_learner(true, "GeomAverage = 11\n");
    return outcome;
}

TEST(GeomAverageOtherTest, EveryValueButOneTurnsTheGeometricAverageOff) {
    EXPECT_FALSE(outcome_of_first_learner().is_geometric);
}

TEST(GeomAverageOtherTest, ValueInTheMapIsUnchanged) {
    EXPECT_EQ(outcome_of_first_learner().map.options.at("GeomAverage"), "11");
}

}  // namespace
