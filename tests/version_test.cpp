#include "zandrel/version.h"

#include <gtest/gtest.h>

namespace {

TEST(VersionTest, WritesFiveNumbersPartedByDots) {
    char text[zandrel::kZandrelVersionTextSize] = "";

    GetZandrelVersion(text);

    EXPECT_STREQ(text, "1.0.0.13.0");
}

TEST(VersionTest, ShortNameWritesTheSameText) {
    char text[zandrel::kZandrelVersionTextSize] = "";

    GetZanVersion(text);

    EXPECT_STREQ(text, "1.0.0.13.0");
}

}  // namespace
