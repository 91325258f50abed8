#include "text/wording/Key_value.h"

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

TEST(KeyValueTest, WordIsSplitAtItsFirstEqualsSign) {
    EXPECT_EQ(split_key_value("a=b=c"), (Key_value{"a", "b=c"}));
    EXPECT_EQ(split_key_value("=b"), (Key_value{"", "b"}));
    EXPECT_EQ(split_key_value("a="), (Key_value{"a", ""}));
    EXPECT_EQ(split_key_value(" a = b "), (Key_value{" a ", " b "}));
}

TEST(KeyValueTest, WordWithoutEqualsSignIsNoPair) {
    EXPECT_EQ(split_key_value("a"), std::nullopt);
    EXPECT_EQ(split_key_value(""), std::nullopt);
    EXPECT_EQ(split_trimmed(" a "), std::nullopt);
}

TEST(KeyValueTest, WhiteSpaceAtTheEndsOfKeyAndValueIsTrimmed) {
    EXPECT_EQ(split_trimmed(" \ta b\t=\n b c\r\n"), (Key_value{"a b", "b c"}));
    EXPECT_EQ(split_trimmed(" = "), (Key_value{"", ""}));
}

}  // namespace

}  // namespace zandrel::cli
