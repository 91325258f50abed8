#include "zandrel/classification/zeResult_set.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"
#include "tests/support/tree_builder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr double kBarelyAboveHalf = 0.5 + 0x1p-53;
constexpr double kBarelyBelowHalf = 0.5 - 0x1p-54;

// Makes nodes for the sets.
class zeResultSetTest : public testing::Test {
protected:
    zeNode* Leaf(std::string_view name) { return tree.MakeNode(term(name), ZE_LEAF, 0, 0.0); }

    zeNode* Inner(std::string_view name) {
        zeNode* const node = Leaf(name);
        tree.ChangeType(node, ZE_STAT);
        return node;
    }

    zePhysicalTree tree{nullptr};
};

TEST_F(zeResultSetTest, StartsEmptySortedAndNotDeduplicated) {
    const zeResult_set set(0.25, 7);

    EXPECT_THAT(set.results, IsEmpty());
    EXPECT_EQ(set.threshold, 0.25);
    EXPECT_EQ(set.max_results, 7);
    EXPECT_TRUE(set.sorted);
    EXPECT_TRUE(set.sort_results);
    EXPECT_FALSE(set.deduplicated);
    EXPECT_EQ(set.count(), 0);
}

TEST_F(zeResultSetTest, NewResultIsEmpty) {
    const zeResult result;

    EXPECT_EQ(result.node, nullptr);
    EXPECT_EQ(result.score, 0.0);
}

TEST_F(zeResultSetTest, AcceptsNonZeroScoresAtOrAboveTheThreshold) {
    const struct {
        double threshold;
        double score;
        bool accepted;
    } rows[] = {
        {0.5, kBarelyAboveHalf, true},
        {0.5, 0.5, true},
        {0.5, kBarelyBelowHalf, false},
        {0.0, 0.0, false},
        {0.0, 0x1p-1074, true},
        {0.0, -0.5, false},
        {-0.5, 0.0, true},
        {-0.5, -0.25, true},
        {-0.5, -0.5, false},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.threshold) + " " +
                     testing::PrintToString(row.score));

        EXPECT_EQ(zeResult_set(row.threshold, -1).accepts(row.score), row.accepted);
    }
}

TEST_F(zeResultSetTest, AddAppendsAnyScoreAndClearsTheFlags) {
    zeNode* const a = Leaf("a");
    zeResult_set set(0.5, -1);
    set.deduplicated = true;

    set.add(a, 0.75);
    set.add(a, 0.25);

    ASSERT_EQ(set.results.size(), 2U);
    EXPECT_EQ(set.results[0].node, a);
    EXPECT_EQ(set.results[0].score, 0.75);
    EXPECT_EQ(set.results[1].score, 0.25);
    EXPECT_FALSE(set.sorted);
    EXPECT_FALSE(set.deduplicated);
}

TEST_F(zeResultSetTest, CountIsLimitedByTheMaximumUnlessThatIsNegative) {
    const struct {
        int max_results;
        int held;
        int count;
    } rows[] = {
        {-1, 3, 3}, {-7, 3, 3}, {0, 3, 0}, {1, 3, 1}, {3, 3, 3}, {4, 3, 3}, {2, 0, 0},
    };

    zeNode* const a = Leaf("a");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.max_results);
        zeResult_set set(0.0, row.max_results);
        for (int i = 0; i < row.held; ++i) {
            set.add(a, 0.5);
        }

        EXPECT_EQ(set.count(), row.count);
    }
}

TEST_F(zeResultSetTest, EliminateKeepsTheBestOfEachCategory) {
    zeNode* const first_a = Leaf("a");
    zeNode* const second_a = Leaf("a");
    zeNode* const b = Leaf("b");
    zeResult_set set(0.0, -1);
    set.add(first_a, 0.5);
    set.add(b, 0.25);
    set.add(second_a, 0.75);
    set.add(first_a, 0.625);

    set.eliminate_duplicated_results();

    EXPECT_TRUE(set.deduplicated);
    EXPECT_EQ(set.results.size(), 2U);
    EXPECT_THAT(listing_of(set), ElementsAre(Pair("a", 0.75), Pair("b", 0.25)));
    EXPECT_EQ(set.get_result(0).node, second_a);
}

// Each letter of a text is a leaf of that category, with scores that fall from left to right. For
// each letter only the first leaf must remain, wherever its duplicates are.
TEST_F(zeResultSetTest, EliminateFindsDuplicatesAtAllPositions) {
    const struct {
        const char* leaves;
        std::vector<Named_score> expected;
    } rows[] = {
        {"aa", {{"a", 1.0}}},
        {"aaaaa", {{"a", 1.0}}},
        {"abab", {{"a", 1.0}, {"b", 0.5}}},
        {"abba", {{"a", 1.0}, {"b", 0.5}}},
        {"aabbcc", {{"a", 1.0}, {"b", 0.25}, {"c", 0.0625}}},
        {"abcabc", {{"a", 1.0}, {"b", 0.5}, {"c", 0.25}}},
        {"abccc", {{"a", 1.0}, {"b", 0.5}, {"c", 0.25}}},
        {"aaabc", {{"a", 1.0}, {"b", 0.125}, {"c", 0.0625}}},
        {"abcd", {{"a", 1.0}, {"b", 0.5}, {"c", 0.25}, {"d", 0.125}}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.leaves);
        zeResult_set set(0.0, -1);
        double score = 1.0;
        for (const char letter : std::string(row.leaves)) {
            set.add(Leaf(std::string(1, letter)), score);
            score /= 2;
        }

        set.eliminate_duplicated_results();

        EXPECT_EQ(listing_of(set), row.expected);
    }
}

TEST_F(zeResultSetTest, EliminateKeepsTheOlderOfEqualDuplicates) {
    for (const bool older_first : {true, false}) {
        SCOPED_TRACE(older_first);
        zeNode* const older = Leaf("a");
        zeNode* const newer = Leaf("a");
        zeResult_set set(0.0, -1);
        set.add(older_first ? older : newer, 0.5);
        set.add(older_first ? newer : older, 0.5);

        set.eliminate_duplicated_results();

        ASSERT_EQ(set.results.size(), 1U);
        EXPECT_EQ(set.results[0].node, older);
        EXPECT_EQ(set.results[0].score, 0.5);
    }
}

TEST_F(zeResultSetTest, EliminateComparesInnerNodesByNode) {
    zeNode* const first = Inner("a");
    zeNode* const second = Inner("a");
    zeNode* const leaf = Leaf("a");
    zeResult_set set(0.0, -1);
    set.add(first, 0.5);
    set.add(second, 0.25);
    set.add(leaf, 0.125);
    set.add(first, 0.75);

    set.eliminate_duplicated_results();

    ASSERT_EQ(set.results.size(), 3U);
    EXPECT_EQ(set.get_result(0).node, first);
    EXPECT_EQ(set.get_result(0).score, 0.75);
    EXPECT_EQ(set.get_result(1).node, second);
    EXPECT_EQ(set.get_result(2).node, leaf);
}

TEST_F(zeResultSetTest, EliminateKeepsTheSortedFlagWithFewerThanTwoResults) {
    for (const int held : {0, 1}) {
        for (const bool sorted : {false, true}) {
            SCOPED_TRACE(testing::PrintToString(held) + (sorted ? " sorted" : " raw"));
            zeResult_set set(0.0, -1);
            set.results.resize(static_cast<std::size_t>(held), {Leaf("a"), 0.5});
            set.sorted = sorted;

            set.eliminate_duplicated_results();

            EXPECT_TRUE(set.deduplicated);
            EXPECT_EQ(set.sorted, sorted);
            EXPECT_EQ(set.count(), held);
        }
    }
}

TEST_F(zeResultSetTest, EliminateClearsTheSortedFlagWithTwoResults) {
    zeResult_set set(0.0, -1);
    set.add(Leaf("b"), 0.5);
    set.add(Leaf("a"), 0.25);
    set.sorted = true;

    set.eliminate_duplicated_results();

    EXPECT_FALSE(set.sorted);
}

TEST_F(zeResultSetTest, GetResultSortsByScoreDescending) {
    zeResult_set set(0.0, -1);
    set.add(Leaf("a"), 0.25);
    set.add(Leaf("b"), 0.75);
    set.add(Leaf("c"), 0.5);

    EXPECT_EQ(set.get_result(0).score, 0.75);
    EXPECT_EQ(set.get_result(1).score, 0.5);
    EXPECT_EQ(set.get_result(2).score, 0.25);
    EXPECT_TRUE(set.sorted);
    EXPECT_TRUE(set.deduplicated);
}

// Names are compared as unsigned bytes. If one name begins with the other, the longer is greater.
TEST_F(zeResultSetTest, GetResultSortsEqualScoresByGreatestName) {
    zeResult_set set(0.0, -1);
    for (const char* const name : {"ab", "z", "a", "\xC3\xA4", "abc", "B"}) {
        set.add(Leaf(name), 0.5);
    }

    EXPECT_THAT(listing_of(set),
                ElementsAre(Pair("\xC3\xA4", 0.5), Pair("z", 0.5), Pair("abc", 0.5),
                            Pair("ab", 0.5), Pair("a", 0.5), Pair("B", 0.5)));
}

TEST_F(zeResultSetTest, GetResultSortsInnerNodesOfEqualNameAndScoreOldestFirst) {
    zeNode* const oldest = Inner("a");
    zeNode* const middle = Inner("a");
    zeNode* const newest = Inner("a");
    zeResult_set set(0.0, -1);
    set.add(middle, 0.5);
    set.add(newest, 0.5);
    set.add(oldest, 0.5);

    EXPECT_EQ(set.get_result(0).node, oldest);
    EXPECT_EQ(set.get_result(1).node, middle);
    EXPECT_EQ(set.get_result(2).node, newest);
}

TEST_F(zeResultSetTest, GetResultErasesResultsBeyondTheMaximum) {
    zeResult_set set(0.0, 2);
    set.add(Leaf("a"), 0.25);
    set.add(Leaf("b"), 0.5);
    set.add(Leaf("c"), 0.125);
    set.add(Leaf("d"), 0.75);

    EXPECT_EQ(set.get_result(1).score, 0.5);

    EXPECT_EQ(set.results.size(), 2U);
    set.max_results = -1;
    EXPECT_THAT(listing_of(set), ElementsAre(Pair("d", 0.75), Pair("b", 0.5)));
}

TEST_F(zeResultSetTest, GetResultRemovesDuplicatesBeforeItErases) {
    zeResult_set set(0.0, 2);
    set.add(Leaf("a"), 0.75);
    set.add(Leaf("a"), 0.5);
    set.add(Leaf("b"), 0.25);

    EXPECT_EQ(set.get_result(1).score, 0.25);
}

TEST_F(zeResultSetTest, GetResultKeepsAllUpToTheMaximum) {
    for (const int max_results : {3, 4}) {
        SCOPED_TRACE(max_results);
        zeResult_set set(0.0, max_results);
        set.add(Leaf("a"), 0.25);
        set.add(Leaf("b"), 0.5);
        set.add(Leaf("c"), 0.75);

        EXPECT_EQ(set.get_result(0).score, 0.75);

        EXPECT_EQ(set.results.size(), 3U);
        EXPECT_EQ(set.get_result(2).score, 0.25);
    }
}

TEST_F(zeResultSetTest, GetResultWithoutSortingReturnsTheEntryAtTheIndex) {
    zeResult_set set(0.0, 1);
    set.add(Leaf("a"), 0.25);
    set.add(Leaf("b"), 0.75);
    set.deduplicated = true;
    set.sort_results = false;

    EXPECT_EQ(set.get_result(0).score, 0.25);

    EXPECT_FALSE(set.sorted);
    EXPECT_EQ(set.results.size(), 2U);
}

TEST_F(zeResultSetTest, GetResultTrustsTheSortedFlag) {
    zeResult_set set(0.0, 1);
    set.add(Leaf("a"), 0.25);
    set.add(Leaf("b"), 0.75);
    set.deduplicated = true;
    set.sorted = true;

    EXPECT_EQ(set.get_result(0).score, 0.25);

    EXPECT_EQ(set.results.size(), 2U);
}

TEST_F(zeResultSetTest, GetResultRemovesDuplicatesWithoutSorting) {
    zeResult_set set(0.0, -1);
    set.add(Leaf("a"), 0.25);
    set.add(Leaf("a"), 0.75);
    set.sort_results = false;

    EXPECT_EQ(set.get_result(0).score, 0.75);

    EXPECT_EQ(set.results.size(), 1U);
    EXPECT_FALSE(set.sorted);
}

TEST_F(zeResultSetTest, GetResultReturnsAReferenceToTheEntry) {
    zeResult_set set(0.0, -1);
    set.add(Leaf("a"), 0.25);

    set.get_result(0).score = 0.5;

    EXPECT_EQ(set.results[0].score, 0.5);
}

TEST_F(zeResultSetTest, AddingAfterSortingClearsTheFlags) {
    zeResult_set set(0.0, -1);
    set.add(Leaf("a"), 0.25);
    set.add(Leaf("b"), 0.5);
    set.get_result(0);

    set.add(Leaf("a"), 0.75);

    EXPECT_FALSE(set.sorted);
    EXPECT_FALSE(set.deduplicated);
    EXPECT_THAT(listing_of(set), ElementsAre(Pair("a", 0.75), Pair("b", 0.5)));
}

TEST_F(zeResultSetTest, GreaterCatOrdersOneIdentityByScoreDescending) {
    zeNode* const first = Leaf("a");
    zeNode* const second = Leaf("a");

    EXPECT_TRUE(greater_cat({first, 0.75}, {second, 0.5}));
    EXPECT_FALSE(greater_cat({first, 0.5}, {second, 0.75}));
    EXPECT_FALSE(greater_cat({first, 0.5}, {second, 0.5}));
}

TEST_F(zeResultSetTest, GreaterCatOrdersIdentitiesByAddressDescending) {
    std::vector<zeNode> row(2, zeNode(term("a")));
    row[0].m_classifier_type = ZE_STAT;
    row[1].m_classifier_type = ZE_STAT;

    for (const double score : {0.25, 0.5, 0.75}) {
        SCOPED_TRACE(score);

        EXPECT_TRUE(greater_cat({&row[1], score}, {&row[0], 0.5}));
        EXPECT_FALSE(greater_cat({&row[0], score}, {&row[1], 0.5}));
    }
}

TEST_F(zeResultSetTest, GreaterCatIdentifiesALeafByItsConcept) {
    zeNode* const a = Leaf("a");
    zeNode* const b = Leaf("b");
    const auto address = [](std::string_view name) {
        return reinterpret_cast<std::uintptr_t>(term(name).identity());
    };

    EXPECT_EQ(greater_cat({a, 0.5}, {b, 0.5}), address("a") > address("b"));
    EXPECT_EQ(greater_cat({b, 0.5}, {a, 0.5}), address("b") > address("a"));
}

}  // namespace
