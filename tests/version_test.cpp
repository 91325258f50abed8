#include "zandrel/version.h"

#include <gtest/gtest.h>

namespace {

TEST(VersionTest, WritesFiveNumbersPartedByDots) {
    char text[kZandrelVersionTextSize] = "";

    GetZandrelVersion(text);

    EXPECT_STREQ(text, "1.0.0.13.0");
}

TEST(VersionTest, ShortNameWritesTheSameText) {
    char text[kZandrelVersionTextSize] = "";

    GetZanVersion(text);

    EXPECT_STREQ(text, "1.0.0.13.0");
}

}  // namespace
