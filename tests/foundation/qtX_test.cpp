#include "zandrel/foundation/qtX.h"

#include <exception>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"

namespace {

class Reader;
class Writer;

// Returns whether a handler for `Handled` catches an error of type `Raised`.
template <class Handled, class Raised>
bool is_caught_as(const Raised& raised) {
    try {
        throw raised;
    } catch (const Handled&) {
        return true;
    } catch (...) {
        return false;
    }
}

TEST(qtXTest, MessageNumberAndArgumentsAreKept) {
    const qtX<Reader> raised(7, "Cannot read", {"file", "12"});

    EXPECT_EQ(raised.message(), "Cannot read");
    EXPECT_STREQ(raised.what(), "Cannot read");
    EXPECT_EQ(raised.number(), 7);
    EXPECT_EQ(raised.arguments(), (std::vector<qtString>{"file", "12"}));
}

TEST(qtXTest, DefaultHasNoArguments) {
    EXPECT_TRUE(qtX<Reader>(0, "Cannot read").arguments().empty());
    EXPECT_TRUE(qtXbase("Cannot read").arguments().empty());
}

TEST(qtXTest, NegativeNumbersAreKept) {
    EXPECT_EQ(qtX<Reader>(-3, "Cannot read").number(), -3);
}

TEST(qtXTest, CategoryIsTwoAndSeverityOne) {
    const qtX<Reader> raised(5, "Cannot read");
    const qtXbase plain("Cannot read");

    EXPECT_EQ(raised.category(), 2);
    EXPECT_EQ(raised.severity(), 1);
    EXPECT_EQ(plain.category(), 2);
    EXPECT_EQ(plain.severity(), 1);
}

TEST(qtXTest, ErrorIsCaughtAsItsTypeAndAsAllBases) {
    const qtX<Reader> raised(5, "Cannot read");

    EXPECT_TRUE(is_caught_as<qtX<Reader>>(raised));
    EXPECT_TRUE(is_caught_as<qtXbase>(raised));
    EXPECT_TRUE(is_caught_as<qtxAll>(raised));
    EXPECT_TRUE(is_caught_as<std::exception>(raised));
}

TEST(qtXTest, ErrorOfAnotherClassIsNotCaught) {
    EXPECT_FALSE(is_caught_as<qtX<Writer>>(qtX<Reader>(5, "Cannot read")));
    EXPECT_FALSE(is_caught_as<qtX<Reader>>(qtX<Writer>(5, "Cannot write")));
}

TEST(qtXTest, PlainErrorBelongsToNoClass) {
    const qtXbase raised("Cannot read");

    EXPECT_TRUE(is_caught_as<qtXbase>(raised));
    EXPECT_FALSE(is_caught_as<qtX<Reader>>(raised));
    EXPECT_EQ(raised.number(), 0);
}

TEST(qtXTest, HandlerOfTheBaseGetsTheWholeError) {
    try {
        throw qtX<Reader>(9, "Cannot read", {"file"});
    } catch (const qtXbase& raised) {
        EXPECT_EQ(raised.number(), 9);
        EXPECT_EQ(raised.message(), "Cannot read");
        EXPECT_EQ(raised.arguments(), (std::vector<qtString>{"file"}));
    }
}

TEST(qtXTest, CopiesAreComplete) {
    const qtX<Reader> raised(9, "Cannot read", {"file"});
    qtX<Reader> copy(0, "another");

    copy = raised;

    EXPECT_EQ(copy.number(), 9);
    EXPECT_EQ(copy.message(), "Cannot read");
    EXPECT_EQ(copy.arguments(), (std::vector<qtString>{"file"}));
}

struct Length_row {
    std::size_t given;
    std::size_t kept;
};

TEST(qtXTest, MessagesAreCutAt1023Bytes) {
    const Length_row rows[] = {{0, 0}, {1022, 1022}, {1023, 1023}, {1024, 1023}, {5000, 1023}};
    for (const Length_row& row : rows) {
        SCOPED_TRACE(row.given);
        const std::string message(row.given, 'm');

        const qtX<Reader> raised(1, message);

        EXPECT_EQ(raised.message().size(), row.kept);
        EXPECT_EQ(raised.what(), std::string(row.kept, 'm'));
    }
}

TEST(qtXTest, CutMessageKeepsItsBeginning) {
    const std::string kept = std::string(1022, 'a') + "b";

    EXPECT_EQ(qtX<Reader>(1, kept + "c").message(), kept);
    EXPECT_EQ(qtxAll(kept + "c", 1, 1).message(), kept);
}

TEST(qtXTest, ArgumentsAreNotCut) {
    const std::string long_argument(3000, 'a');

    const qtX<Reader> raised(1, "Cannot read", {long_argument});

    EXPECT_EQ(raised.arguments()[0].size(), 3000U);
}

TEST(qtxAllTest, CategoryAndSeverityAreKept) {
    const qtxAll raised("Out of order", 4, 9);

    EXPECT_EQ(raised.message(), "Out of order");
    EXPECT_EQ(raised.category(), 4);
    EXPECT_EQ(raised.severity(), 9);
}

TEST(qtxAllTest, ErrorIsNotCaughtAsAnErrorOfUsers) {
    const qtxAll raised("Out of order", 4, 9);

    EXPECT_TRUE(is_caught_as<qtxAll>(raised));
    EXPECT_TRUE(is_caught_as<std::exception>(raised));
    EXPECT_FALSE(is_caught_as<qtXbase>(raised));
}

}  // namespace
