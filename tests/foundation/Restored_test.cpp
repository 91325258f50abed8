#include "zandrel/foundation/Restored.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

using zandrel::detail::Restored;

TEST(RestoredTest, VariableKeepsItsValueUntilItIsAssigned) {
    std::string text = "old";
    {
        const Restored<std::string> at_end(text);
        EXPECT_EQ(text, "old");
        text = "new";
    }
    EXPECT_EQ(text, "old");
}

TEST(RestoredTest, VariableHasTheGivenValueInTheScope) {
    std::string text = "old";
    {
        const Restored<std::string> at_end(text, "new");
        EXPECT_EQ(text, "new");
    }
    EXPECT_EQ(text, "old");
}

TEST(RestoredTest, ExceptionRestoresTheVariable) {
    int number = 1;
    try {
        const Restored<int> at_end(number, 2);
        throw std::runtime_error("a failure");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(number, 1);
        return;
    }
    FAIL() << "the exception is lost";
}

TEST(RestoredTest, TwoScopesRestoreOneVariableInReverse) {
    int number = 1;
    {
        const Restored<int> outer(number, 2);
        {
            const Restored<int> inner(number, 3);
            EXPECT_EQ(number, 3);
        }
        EXPECT_EQ(number, 2);
    }
    EXPECT_EQ(number, 1);
}

}  // namespace
