#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/options/first_trainer.h"
#include "tests/support/expect_qtx.h"

namespace {

// Makes the first trainer, then loads a map, then makes another trainer.
void load_after_first_trainer(zeOptMap& map, std::string_view content) {
    make_trainer();
    load_options(map, content);
    make_trainer();
}

TEST(InitOptionalFlagsLateTest, MapLoadedAfterTheFirstTrainerChangesNothing) {
    zeOptMap map;

    load_after_first_trainer(map, "PositiveMethod = 1\n");

    EXPECT_FALSE(g_use_positive_method);
}

TEST(InitOptionalFlagsLateTest, MapLoadedAfterTheFirstTrainerIsNotRead) {
    zeOptMap map;

    load_after_first_trainer(map, "");

    EXPECT_THAT(map.options, testing::IsEmpty());
}

TEST(InitOptionalFlagsLateTest, FurtherCallsReadNoMap) {
    zeOptMap map;
    load_after_first_trainer(map, "PositiveMethod = 1\n");

    init_optional_flags();

    EXPECT_FALSE(g_use_positive_method);
}

}  // namespace
