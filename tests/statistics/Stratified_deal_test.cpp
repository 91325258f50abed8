#include "zandrel/statistics/Stratified_deal.h"

#include <cstddef>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"

#include "tests/support/bags.h"

namespace {

using testing::ElementsAre;

using Parts = std::vector<std::vector<unsigned int>>;

Parts dealt(const zandrel::detail::Stratified_deal& deal, std::size_t part_count) {
    Parts parts(part_count);
    deal.deal(part_count, [&parts](std::size_t part, unsigned int position) {
        parts[part].push_back(position);
    });
    return parts;
}

class StratifiedDealTest : public testing::Test {
protected:
    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeNode m_c{term("c")};
    zandrel::detail::Stratified_deal m_deal;
};

TEST_F(StratifiedDealTest, EmptyDealGivesEmptyParts) {
    EXPECT_THAT(dealt(m_deal, 2), ElementsAre(Parts::value_type(), Parts::value_type()));
}

TEST_F(StratifiedDealTest, NeighboursOfACategoryAreInDifferentParts) {
    for (const unsigned int position : {3U, 1U, 4U, 0U}) {
        m_deal.add(position, {&m_a});
    }

    EXPECT_THAT(dealt(m_deal, 3), ElementsAre(ElementsAre(3, 0), ElementsAre(1), ElementsAre(4)));
}

// Category a has the messages 0, 2 and 3, and b has 1 and 4. The first message of b goes to the
// part after the one that got the last message of a.
TEST_F(StratifiedDealTest, CategoriesAreDealtInTheOrderOfTheirFirstMessages) {
    m_deal.add(0, {&m_a});
    m_deal.add(1, {&m_b});
    m_deal.add(2, {&m_a});
    m_deal.add(3, {&m_a});
    m_deal.add(4, {&m_b});

    EXPECT_THAT(dealt(m_deal, 2), ElementsAre(ElementsAre(0, 3, 4), ElementsAre(2, 1)));
}

TEST_F(StratifiedDealTest, AddressesOfCategoriesHaveNoInfluence) {
    m_deal.add(0, {&m_c});
    m_deal.add(1, {&m_a});
    m_deal.add(2, {&m_b});
    m_deal.add(3, {&m_c});

    EXPECT_THAT(dealt(m_deal, 1), ElementsAre(ElementsAre(0, 3, 1, 2)));
}

// The counter is 0, 1, 2 and 3 at the four messages. Modulo the number of the message's categories,
// it is the index of the category for which the message counts: a, b, c and again b.
TEST_F(StratifiedDealTest, MessageOfSeveralCategoriesCountsForOneOfThemInTurn) {
    m_deal.add(0, {&m_a, &m_b});
    m_deal.add(1, {&m_a, &m_b});
    m_deal.add(2, {&m_a, &m_b, &m_c});
    m_deal.add(3, {&m_a, &m_b});

    EXPECT_THAT(dealt(m_deal, 1), ElementsAre(ElementsAre(0, 1, 3, 2)));
}

// The third message counts for b, since the second does not advance the counter.
TEST_F(StratifiedDealTest, UncategorisedMessagesDoNotAdvanceTheTurn) {
    m_deal.add(0, {&m_a});
    m_deal.add(1, {});
    m_deal.add(2, {&m_a, &m_b});
    m_deal.add(3, {&m_a});

    EXPECT_THAT(dealt(m_deal, 1), ElementsAre(ElementsAre(0, 3, 2, 1)));
}

TEST_F(StratifiedDealTest, UncategorisedMessagesAreDealtLastAndContinueTheDeal) {
    m_deal.add(0, {});
    m_deal.add(1, {&m_a});
    m_deal.add(2, {});
    m_deal.add(3, {});

    EXPECT_THAT(dealt(m_deal, 2), ElementsAre(ElementsAre(1, 2), ElementsAre(0, 3)));
}

TEST_F(StratifiedDealTest, LastPartsAreEmptyIfThereAreMorePartsThanMessages) {
    m_deal.add(7, {&m_a});
    m_deal.add(8, {&m_b});

    EXPECT_THAT(dealt(m_deal, 3), ElementsAre(ElementsAre(7), ElementsAre(8), Parts::value_type()));
}

TEST_F(StratifiedDealTest, DealCanBeRepeated) {
    m_deal.add(0, {&m_a});
    m_deal.add(1, {});
    const Parts first = dealt(m_deal, 2);

    EXPECT_EQ(dealt(m_deal, 2), first);
}

}  // namespace
