#include <map>

#include <gtest/gtest.h>

#include "tests/options/first_trainer.h"
#include "tests/support/expect_qtx.h"

namespace {

struct Outcome {
    bool positive_method;
    zeOptMap map;
};

// The program chooses the positive method itself, a map without the switch is loaded, and then the
// first trainer is made.
const Outcome& outcome_of_first_trainer() {
    static const Outcome outcome = [] {
        g_use_positive_method = true;
        zeOptMap map;
        load_options(map, "ClipValue = 3\n");
        make_trainer();
        return Outcome{g_use_positive_method, map};
    }();
    return outcome;
}

TEST(InitOptionalFlagsMissingTest, LookUpAddsTheKeyWithAnEmptyValue) {
    const std::map<qtString, qtString> expected = {{"ClipValue", "3"}, {"PositiveMethod", ""}};

    EXPECT_EQ(outcome_of_first_trainer().map.options, expected);
}

TEST(InitOptionalFlagsMissingTest, MapWithoutTheSwitchKeepsTheProgramsChoice) {
    EXPECT_TRUE(outcome_of_first_trainer().positive_method);
}

}  // namespace
