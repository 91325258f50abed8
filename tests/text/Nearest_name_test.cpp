#include "text/wording/Nearest_name.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

const std::vector<std::string> kNames = {"evaluate", "train", "learn", "move", "rename"};

TEST(NearestNameTest, DistanceCountsInsertedRemovedReplacedAndSwappedLetters) {
    const struct {
        const char* left;
        const char* right;
        std::size_t distance;
    } rows[] = {
        {"", "", 0},
        {"", "abc", 3},
        {"abc", "", 3},
        {"move", "move", 0},
        {"mov", "move", 1},
        {"moove", "move", 1},
        {"mofe", "move", 1},
        {"mvoe", "move", 1},
        {"omve", "move", 1},
        {"vmoe", "move", 2},
        {"kitten", "sitting", 3},
        // Exchanged letters are not changed again. Otherwise two steps would be enough: "ca" to
        // "ac", and "ac" to "abc".
        {"ca", "abc", 3},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.left) + " " + row.right);
        EXPECT_EQ(spelling_distance(row.left, row.right), row.distance);
        EXPECT_EQ(spelling_distance(row.right, row.left), row.distance);
    }
}

TEST(NearestNameTest, MisspeltWordFindsItsName) {
    EXPECT_EQ(nearest_name("trian", kNames), "train");
    EXPECT_EQ(nearest_name("evaulate", kNames), "evaluate");
    EXPECT_EQ(nearest_name("MVOE", kNames), "move");
    EXPECT_EQ(nearest_name("lern", kNames), "learn");
}

TEST(NearestNameTest, BeginningOfANameFindsIt) {
    EXPECT_EQ(nearest_name("eval", kNames), "evaluate");
    EXPECT_EQ(nearest_name("tr", kNames), "train");
}

TEST(NearestNameTest, FirstOfEquallyNearNamesIsFound) {
    EXPECT_EQ(nearest_name("nove", {"note", "move", "nope"}), "note");
}

TEST(NearestNameTest, WordFarFromAllNamesFindsNothing) {
    EXPECT_EQ(nearest_name("fly", kNames), "");
    EXPECT_EQ(nearest_name("", kNames), "");
    EXPECT_EQ(nearest_name("e", kNames), "");
    EXPECT_EQ(nearest_name("shop.kc", kNames), "");
    EXPECT_EQ(nearest_name("move", {}), "");
}

// One letter and a quarter of the length may differ, so three of ten letters.
TEST(NearestNameTest, LongerWordsMayDifferInMoreLetters) {
    EXPECT_EQ(nearest_name("abcdefg123", {"abcdefghij"}), "abcdefghij");
    EXPECT_EQ(nearest_name("abcdef1234", {"abcdefghij"}), "");
}

// Only the first letters of a long word are compared (kLongestWord), so this test takes little
// time.
TEST(NearestNameTest, WordOfMegabytesFindsNothing) {
    EXPECT_EQ(nearest_name(std::string(10'000'000, 'a'), kNames), "");
}

TEST(NearestNameTest, QuestionNamesTheNearestName) {
    EXPECT_EQ(nearest_name_question("mvoe", kNames), "; did you mean \"move\"?");
    EXPECT_EQ(nearest_name_question("mvoe", kNames, "tree "), "; did you mean \"tree move\"?");
    EXPECT_EQ(nearest_name_question("fly", kNames, "tree "), "");
}

}  // namespace

}  // namespace zandrel::cli
