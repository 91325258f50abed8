#include "cli/report/Neighbour_order.h"

#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using Neighbours = std::vector<std::size_t>;

TEST(NeighbourOrderTest, WithoutConfusionsTheOrderIsThatOfTheCategories) {
    EXPECT_EQ(neighbour_order({5, 5, 5}, {}), (Neighbours{0, 1, 2}));
    EXPECT_EQ(neighbour_order({}, {}), Neighbours());
}

TEST(NeighbourOrderTest, RightAnswersJoinNothing) {
    EXPECT_EQ(neighbour_order({5, 5}, {{1, 1, 5}}), (Neighbours{0, 1}));
}

// The example at the top of the source: golf 0, rent 1, chess 2, tax 3, tennis 4.
TEST(NeighbourOrderTest, ChainsOfTheClosestPairsAreJoined) {
    EXPECT_EQ(neighbour_order({10, 10, 10, 10, 5},
                              {{0, 4, 2}, {4, 0, 1}, {4, 2, 1}, {2, 4, 1}, {0, 2, 1}, {3, 1, 2}}),
              (Neighbours{0, 4, 2, 1, 3}));
}

// 3 of 4 is closer than 5 of 100, although it is fewer texts.
TEST(NeighbourOrderTest, ClosenessIsAShareOfTheTextsOfACategory) {
    EXPECT_EQ(neighbour_order({100, 100, 4}, {{0, 1, 5}, {2, 0, 3}}), (Neighbours{1, 0, 2}));
}

// Both ends of the chain 1 0 2 are taken, so 3 cannot be beside 0.
TEST(NeighbourOrderTest, CategoryHasAtMostTwoNeighboursByConfusion) {
    EXPECT_EQ(neighbour_order({10, 10, 10, 10}, {{0, 1, 3}, {0, 2, 2}, {0, 3, 1}}),
              (Neighbours{1, 0, 2, 3}));
}

TEST(NeighbourOrderTest, EqualPairsAreTakenInTheOrderOfTheirCategories) {
    EXPECT_EQ(neighbour_order({10, 10, 10}, {{1, 2, 1}, {0, 2, 1}}), (Neighbours{0, 2, 1}));
}

}  // namespace

}  // namespace zandrel::cli
