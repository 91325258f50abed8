#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/options/first_learner.h"
#include "tests/support/expect_qtx.h"

namespace {

const Learner_outcome& outcome_of_first_learner() {
    static const Learner_outcome outcome = load_and_make_learner(false, "GeomAverage = 1\n");
    return outcome;
}

TEST(GeomAverageGivenTest, FirstLearnerTurnsTheGeometricAverageOn) {
    EXPECT_TRUE(outcome_of_first_learner().is_geometric);
}

TEST(GeomAverageGivenTest, SwitchRemainsAfterTheMapIsDestroyed) {
    outcome_of_first_learner();

    EXPECT_EQ(g_test_zandrel_opts, nullptr);
    EXPECT_TRUE(g_use_geom_average);
}

TEST(GeomAverageGivenTest, LearnerReadsNoOtherSwitch) {
    const std::map<qtString, qtString> expected = {{"GeomAverage", "1"}};

    EXPECT_EQ(outcome_of_first_learner().map.options, expected);
}

}  // namespace
