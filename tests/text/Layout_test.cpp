#include "text/wording/Layout.h"

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

TEST(LayoutTest, DigitsAreGroupedByThousands) {
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1000), "1,000");
    EXPECT_EQ(grouped(100000), "100,000");
    EXPECT_EQ(grouped(1234567), "1,234,567");
}

TEST(LayoutTest, NounOfACountIsSingularOnlyForOne) {
    EXPECT_EQ(counted(0, "node"), "0 nodes");
    EXPECT_EQ(counted(1, "node"), "1 node");
    EXPECT_EQ(counted(2, "node"), "2 nodes");
    EXPECT_EQ(counted(1000, "held-out text"), "1,000 held-out texts");
}

TEST(LayoutTest, NumbersAreRoundedToDecimals) {
    EXPECT_EQ(with_decimals(82.658, 2), "82.66");
    EXPECT_EQ(with_decimals(0.0, 2), "0.00");
    EXPECT_EQ(with_decimals(99.96, 1), "100.0");
    EXPECT_EQ(with_decimals(112.7, 0), "113");
}

TEST(LayoutTest, SharesArePercentWithTwoDecimals) {
    EXPECT_EQ(percent(0.82658), "82.66 %");
    EXPECT_EQ(percent(0.0), "0.00 %");
    EXPECT_EQ(percent(1.0), "100.00 %");
}

TEST(LayoutTest, GreatNumbersAreWrittenInFull) {
    EXPECT_EQ(with_decimals(1e300, 20).size(), 301U + 1U + 20U);
}

TEST(LayoutTest, CharactersAreCountedNotBytes) {
    EXPECT_EQ(width_of("abc"), 3U);
    EXPECT_EQ(width_of("\u00E9\u4E2D\U0001F600"), 3U);
}

TEST(LayoutTest, TextIsFilledUpToTheWidth) {
    EXPECT_EQ(left_aligned("\u00E9", 3), "\u00E9  ");
    EXPECT_EQ(right_aligned("\u00E9", 3), "  \u00E9");
    EXPECT_EQ(left_aligned("long", 3), "long");
    EXPECT_EQ(right_aligned("long", 3), "long");
}

TEST(LayoutTest, NamesThatAreLeftOutAreCounted) {
    EXPECT_EQ(short_list({"a"}, 1), "a");
    EXPECT_EQ(short_list({"a", "b"}, 2), "a, b");
    EXPECT_EQ(short_list({"a", "b"}, 3), "a, b and 1 more");
    EXPECT_EQ(short_list({"a", "b"}, 1236), "a, b and 1,234 more");
}

}  // namespace

}  // namespace zandrel::cli
