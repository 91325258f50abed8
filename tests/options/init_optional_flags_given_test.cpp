#include <gtest/gtest.h>

#include "tests/options/first_trainer.h"

namespace {

// A map with the switch is loaded, then the first trainer is made.
bool positive_method_after_first_trainer() {
    static const bool outcome = [] {
        zeOptMap map;
        load_options(map, "PositiveMethod = 1\n");
        make_trainer();
        return g_use_positive_method;
    }();
    return outcome;
}

TEST(InitOptionalFlagsGivenTest, FirstTrainerTurnsThePositiveMethodOn) {
    EXPECT_TRUE(positive_method_after_first_trainer());
}

TEST(InitOptionalFlagsGivenTest, SwitchRemainsAfterTheMapIsDestroyed) {
    positive_method_after_first_trainer();

    EXPECT_EQ(g_test_zandrel_opts, nullptr);
    EXPECT_TRUE(g_use_positive_method);
}

}  // namespace
