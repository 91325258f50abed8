// Reading and writing numbers in a process whose locale has a decimal comma.
#include "zandrel/foundation/qtText.h"

#include <array>
#include <cstdlib>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/comma_locale.h"

using zandrel::qtConvertStringToDouble;

TEST(qtTextLocaleTest, ReadsNumbersWithPoint) {
    const Comma_locale locale;
    ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);

    EXPECT_EQ(qtConvertStringToDouble("1.5"), 1.5);
    EXPECT_EQ(qtConvertStringToDouble("1,5"), 1.0);
    EXPECT_EQ(qtConvertStringToDouble("-2.5e1"), -25.0);
}

TEST(qtTextLocaleTest, WritesNumbersWithPoint) {
    const Comma_locale locale;
    std::array<char, 8> with_comma{};
    ASSERT_EQ(qtSnprintf(with_comma.data(), with_comma.size(), "%.1f", 1.5), 3U);
    ASSERT_EQ(std::string_view(with_comma.data()), "1,5");

    EXPECT_EQ(qtConvertDoubleToString(1.5).view(), "1.5");
    EXPECT_EQ(qtConvertDoubleToString(-1234567.25).view(), "-1234567.25");
    EXPECT_EQ(qtConvertLongToString(1234567).view(), "1234567");
}
