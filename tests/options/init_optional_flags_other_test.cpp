#include <gtest/gtest.h>

#include "tests/options/first_trainer.h"

namespace {

struct Outcome {
    bool positive_method;
    zeOptMap map;
};

// A map with another value than "1" is loaded, then the first trainer is made.
const Outcome& outcome_of_first_trainer() {
    static const Outcome outcome = [] {
        zeOptMap map;
        load_options(map, "PositiveMethod = 11\n");
        make_trainer();
        return Outcome{g_use_positive_method, map};
    }();
    return outcome;
}

TEST(InitOptionalFlagsOtherTest, OnlyTheValueOneTurnsThePositiveMethodOn) {
    EXPECT_FALSE(outcome_of_first_trainer().positive_method);
}

TEST(InitOptionalFlagsOtherTest, ValueInTheMapIsUnchanged) {
    EXPECT_EQ(outcome_of_first_trainer().map.Get("PositiveMethod"), "11");
}

}  // namespace
