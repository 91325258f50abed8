#include "zandrel/classification/Frontier.h"

#include <cmath>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeNode.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class FrontierTest : public testing::Test {
protected:
    zeNode* Node(const char* name, unsigned char type = ZE_LEAF) {
        zeNode& made = m_nodes.emplace_back(Concept::insert(name));
        made.m_node_id = static_cast<unsigned int>(m_nodes.size());
        made.m_classifier_type = type;
        return &made;
    }

    void Answer(const std::vector<zeResult>& results, double score = 1.0, double threshold = 0.0) {
        zeResult_set answers(0.0, -1);
        for (const zeResult& result : results) {
            answers.add(result.node, result.score);
        }
        m_frontier.push_answers({m_from, score}, answers, threshold);
    }

    // The ids and scores of all entries, in the order in which the frontier returns them.
    std::vector<std::pair<unsigned int, double>> TakeAll() {
        std::vector<std::pair<unsigned int, double>> taken;
        while (const zandrel::detail::Node_score* const best = m_frontier.best()) {
            taken.emplace_back(best->node->m_node_id, best->score);
            m_frontier.pop();
        }
        return taken;
    }

    std::deque<zeNode> m_nodes;
    zeNode* m_from = Node("from", ZE_STAT);  // id 1
    zandrel::detail::Frontier m_frontier;
};

TEST_F(FrontierTest, BestOfAnEmptyFrontierDoesNotExist) {
    EXPECT_EQ(m_frontier.best(), nullptr);
    Answer({});
    EXPECT_EQ(m_frontier.best(), nullptr);
}

TEST_F(FrontierTest, AnswersOfSeveralClassifiersAreTakenBestFirst) {
    Answer({{Node("a"), 0.25}, {Node("b"), 0.75}, {Node("c"), 0.5}});
    Answer({{Node("d"), 1.0}, {Node("e"), 0.25}}, 0.625);

    EXPECT_THAT(TakeAll(), ElementsAre(Pair(3, 0.75), Pair(5, 0.625), Pair(4, 0.5), Pair(2, 0.25),
                                       Pair(6, 0.15625)));
}

TEST_F(FrontierTest, EqualScoresAreTakenByGreatestNameThenByOldestNode) {
    zeNode* const younger_b = Node("b", ZE_STAT);
    zeNode* const a = Node("a");
    zeNode* const oldest_b = Node("b", ZE_STAT);
    std::swap(younger_b->m_node_id, oldest_b->m_node_id);
    Answer({{younger_b, 0.5}, {a, 0.5}, {oldest_b, 0.5}});

    EXPECT_THAT(TakeAll(), ElementsAre(Pair(2, 0.5), Pair(4, 0.5), Pair(3, 0.5)));
}

TEST_F(FrontierTest, AllAnswersAreFetchedWhenASecondOneIsTaken) {
    zeNode* const a = Node("a");
    zeNode* const b = Node("b");
    int asked = 0;
    zeResult_set best(0.0, -1);
    best.add(a, 0.75);
    m_frontier.push_answers({m_from, 0.5}, best, 0.0, [&] {
        ++asked;
        return std::vector<zeResult>{{b, 0.5}, {a, 0.75}, {b, 0.25}};
    });

    ASSERT_NE(m_frontier.best(), nullptr);
    EXPECT_EQ(m_frontier.best()->node, a);
    EXPECT_EQ(asked, 0);
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(a->m_node_id, 0.375), Pair(b->m_node_id, 0.25)));
    EXPECT_EQ(asked, 1);
}

TEST_F(FrontierTest, AllAnswersAreFetchedIfTheBestHaveEqualScores) {
    zeNode* const younger = Node("a");
    zeNode* const older = Node("a");
    std::swap(younger->m_node_id, older->m_node_id);
    zeResult_set best(0.0, -1);
    best.add(younger, 0.5);
    best.add(older, 0.5);
    m_frontier.push_answers({m_from, 1.0}, best, 0.0, [&] {
        return std::vector<zeResult>{{younger, 0.5}, {older, 0.5}, {Node("b"), 0.25}};
    });

    EXPECT_THAT(TakeAll(), ElementsAre(Pair(older->m_node_id, 0.5), Pair(4, 0.25)));
}

TEST_F(FrontierTest, AllAnswersAreNotFetchedIfTheBestIsNotFollowed) {
    zeNode* const a = Node("a");
    zeNode* const b = Node("b");
    const std::vector<std::vector<zeResult>> rows = {
        {}, {{a, 0.0}}, {{a, 0.4375}}, {{a, 0.4375}, {b, 0.4375}}};
    for (const std::vector<zeResult>& row : rows) {
        zeResult_set best(0.0, -1);
        best.results = row;
        int asked = 0;
        m_frontier.push_answers({m_from, 0.5}, best, 0.25, [&] {
            ++asked;
            return row;
        });

        EXPECT_THAT(TakeAll(), IsEmpty());
        EXPECT_EQ(asked, 0);
    }
}

TEST_F(FrontierTest, ProductBelowAThresholdIsDropped) {
    m_from->m_threshold = 0.25;
    Answer({{Node("a"), 0.5}, {Node("b"), 0.49}, {Node("c"), 0.9}}, 0.5, 0.125);
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(4, 0.45), Pair(2, 0.25)));

    m_from->m_threshold = 0.0;
    Answer({{Node("a"), 0.5}, {Node("b"), 0.49}}, 0.5, 0.25);
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(5, 0.25)));
}

TEST_F(FrontierTest, ProductOfZeroIsDropped) {
    Answer({{Node("a"), 0.0}, {Node("b"), 0.5}, {Node("c"), -0.5}}, 1.0, -1.0);
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(3, 0.5)));
}

TEST_F(FrontierTest, CategoryAnsweredTwiceByOneClassifierCountsOnceWithItsBestScore) {
    Answer({{Node("a"), 0.25}, {Node("b"), 0.5}, {Node("a"), 0.75}, {Node("b"), 0.5}});
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(4, 0.75), Pair(3, 0.5)));
}

TEST_F(FrontierTest, CategoryAnsweredByTwoClassifiersCountsTwice) {
    zeNode* const a = Node("a");
    Answer({{a, 0.25}});
    Answer({{a, 0.5}});
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(2, 0.5), Pair(2, 0.25)));
}

TEST_F(FrontierTest, InnerNodesOfTheSameNameAreDifferent) {
    Answer({{Node("a", ZE_STAT), 0.5}, {Node("a", ZE_STAT), 0.5}});
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(2, 0.5), Pair(3, 0.5)));
}

// Multiplied by 0.3, two neighbouring doubles have the same product. Of the two leaves of one
// category the one with the higher score remains, although its id is higher. The inner node of the
// same name is no duplicate. It comes first because its id is lower.
TEST_F(FrontierTest, HigherScoreRemainsIfTheProductsOfACategoryAreEqual) {
    double high = 0.9;
    while (0.3 * high != 0.3 * std::nextafter(high, 0.0)) {
        high = std::nextafter(high, 0.0);
    }
    const double low = std::nextafter(high, 0.0);
    Answer({{Node("a"), low}, {Node("a", ZE_STAT), low}, {Node("a"), high}}, 0.3);

    EXPECT_THAT(TakeAll(), ElementsAre(Pair(3, 0.3 * low), Pair(4, 0.3 * high)));
}

// If the threshold is below 0, a node with a negative score may be expanded. The answer with the
// highest factor then has the lowest product.
TEST_F(FrontierTest, NegativeProductsAreTakenUpToTheFirstBelowTheThreshold) {
    m_from->m_threshold = -1.0;
    Answer({{Node("a"), 0.5}, {Node("b"), 0.25}, {Node("a"), 0.125}}, -0.5, -1.0);
    EXPECT_THAT(TakeAll(), ElementsAre(Pair(3, -0.125), Pair(2, -0.25)));

    m_from->m_threshold = -0.125;
    Answer({{Node("a"), 0.5}, {Node("b"), 0.25}}, -0.5, -1.0);
    EXPECT_THAT(TakeAll(), IsEmpty());
}

// The flag `deduplicated` of the result set says that its answers contain no duplicates.
TEST_F(FrontierTest, AnswersMarkedAsDeduplicatedAreNotChecked) {
    zeNode* const a = Node("a");
    zeResult_set answers(0.0, -1);
    answers.add(a, 0.5);
    answers.add(a, 0.25);
    answers.deduplicated = true;

    m_frontier.push_answers({m_from, 1.0}, answers, 0.0);

    EXPECT_THAT(TakeAll(), ElementsAre(Pair(2, 0.5), Pair(2, 0.25)));
}

}  // namespace
