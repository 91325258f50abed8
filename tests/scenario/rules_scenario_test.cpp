// Rules and statistics in one classification. Uses only public classes.
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Ranking = std::vector<std::pair<std::string, double>>;

// A help desk:
//
//     desk (rules)
//       topics (statistics): sport, food      if the message is in English
//       money (rules): refund, invoice        if it has an amount, with the score 0.5
//       rest                                  the default
class RulesScenarioTest : public testing::Test {
protected:
    RulesScenarioTest() {
        m_manager.m_root = m_desk;
        Route(m_desk, m_topics, "$language(s) == 'en'");
        Route(m_desk, m_money, "$amount(?) ? 0.5 : 0");
        Route(m_desk, m_rest, "default");
        Route(m_money, m_refund, "$amount(n) < 0");
        Route(m_money, m_invoice, "$amount(n) > 0 & \"invoice\"");
        Train();
    }

    zeNode* Node(std::string_view name, unsigned int type) {
        const unsigned int flags = type == ZE_LEAF ? 0 : zeNode::NoScore;
        return m_manager.m_physical_tree->MakeNode(term(name), type, flags, 0.0);
    }

    void Route(zeNode* from, zeNode* to, const char* rule) {
        dynamic_cast<zeSwitcher&>(*m_manager.m_physical_tree->get_classifier(from))
            .add_rule(to, rule);
    }

    void Train() {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 4; ++i) {
            MessageBuilder().bag({{"goal", 2.0}, {"match", 1.0}}).labels({"sport"}).add_to(corpus);
            MessageBuilder().bag({{"soup", 2.0}, {"salt", 1.0}}).labels({"food"}).add_to(corpus);
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&m_manager);
        auto& matcher =
            dynamic_cast<zeStat_matcher&>(*m_manager.m_physical_tree->get_classifier(m_topics));
        // With so few messages the likelihood of scores cannot be learned, so we turn the
        // correction off.
        matcher.m_storage->set_use_train_likelihood(false);
        matcher.train(view);
    }

    static void SetPair(zeMsg& msg, const char* name, const char* value) {
        msg.add_value(name, mlMessageConverter::kString, value);
    }

    Ranking Classify(zeMsg& msg, double threshold = 0.0) {
        zeResult_set results(threshold, -1);
        m_manager.GetWorkflow()->classify(msg, results, true, false);
        Ranking ranking;
        for (int rank = 0; rank < results.count(); ++rank) {
            const zeResult& result = results.get_result(rank);
            ranking.emplace_back(result.node->m_concept.view(), result.score);
        }
        return ranking;
    }

    std::vector<zeStat_matcher::Concept_score> Explain(zeMsg& msg, std::string_view category) {
        std::vector<zeStat_matcher::Concept_score> lines;
        m_manager.GetWorkflow()->classify_concepts(
            msg, m_manager.m_physical_tree->GetLeafNodes(term(category)), lines);
        return lines;
    }

    zeManager m_manager;
    zeNode* m_desk = Node("desk", ZE_RULE);
    zeNode* m_topics = Node("topics", ZE_STAT);
    zeNode* m_money = Node("money", ZE_RULE);
    zeNode* m_rest = Node("rest", ZE_LEAF);
    zeNode* m_refund = Node("refund", ZE_LEAF);
    zeNode* m_invoice = Node("invoice", ZE_LEAF);
    qtPtrLight<zeMsg> m_sport = MessageBuilder().bag({{"goal", 1.0}, {"match", 1.0}}).make();
};

TEST_F(RulesScenarioTest, DefaultIsTakenIfNoRuleFires) {
    EXPECT_THAT(Classify(*m_sport), ElementsAre(Pair("rest", 1.0)));
}

TEST_F(RulesScenarioTest, RuleOpensTheWayToTheStatistics) {
    SetPair(*m_sport, "language", "en");

    const Ranking ranking = Classify(*m_sport);

    ASSERT_FALSE(ranking.empty());
    EXPECT_EQ(ranking.front().first, "sport");
    EXPECT_GT(ranking.front().second, 0.5);
    EXPECT_LE(ranking.front().second, 1.0);
}

TEST_F(RulesScenarioTest, ScoresOfRulesMultiplyAlongThePath) {
    zeMsg refund;
    SetPair(refund, "amount", "-20");
    EXPECT_THAT(Classify(refund), ElementsAre(Pair("refund", 0.5)));
    EXPECT_THAT(Classify(refund, 0.5), ElementsAre(Pair("refund", 0.5)));
    EXPECT_THAT(Classify(refund, 0.6), IsEmpty());
}

TEST_F(RulesScenarioTest, RulesReadPairsAndWords) {
    const qtPtrLight<zeMsg> invoice = MessageBuilder().bag({{"invoice", 1.0}}).make();
    SetPair(*invoice, "amount", "20");
    SetPair(*m_sport, "amount", "20");

    EXPECT_THAT(Classify(*invoice), ElementsAre(Pair("invoice", 0.5)));
    EXPECT_THAT(Classify(*m_sport), IsEmpty());
}

TEST_F(RulesScenarioTest, OneWalkRanksBothKindsOfClassifier) {
    SetPair(*m_sport, "language", "en");
    const Ranking topics_alone = Classify(*m_sport);
    SetPair(*m_sport, "amount", "-20");

    const Ranking both = Classify(*m_sport);

    EXPECT_EQ(both.size(), topics_alone.size() + 1);
    EXPECT_THAT(both, testing::Contains(Pair("refund", 0.5)));
    EXPECT_THAT(both, testing::IsSupersetOf(topics_alone));
    EXPECT_EQ(both.front(), topics_alone.front());
}

TEST_F(RulesScenarioTest, BlockingFollowsTheRulesOfTheNode) {
    zePhysicalTree& tree = *m_manager.m_physical_tree;
    EXPECT_TRUE(tree.is_cat_blocked(m_desk, m_topics, *m_sport));
    EXPECT_FALSE(tree.is_cat_blocked(m_desk, m_rest, *m_sport));

    SetPair(*m_sport, "language", "en");

    EXPECT_FALSE(tree.is_cat_blocked(m_desk, m_topics, *m_sport));
    EXPECT_TRUE(tree.is_cat_blocked(m_desk, m_rest, *m_sport));
}

TEST_F(RulesScenarioTest, ExplanationPassesAnOpenRule) {
    SetPair(*m_sport, "language", "en");

    const auto lines = Explain(*m_sport, "sport");

    ASSERT_EQ(lines.size(), 2U);
    EXPECT_GT(lines[0].m_score, 0.0);
}

// On a blocked path the score without a concept is 0, whichever concept it is. So each line has the
// whole score, which is computed without the rule above.
TEST_F(RulesScenarioTest, ExplanationOfABlockedPathGivesEachConceptTheWholeScore) {
    SetPair(*m_sport, "language", "en");
    const Ranking ranking = Classify(*m_sport);
    ASSERT_FALSE(ranking.empty());
    ASSERT_EQ(ranking.front().first, "sport");
    SetPair(*m_sport, "language", "fr");

    const auto lines = Explain(*m_sport, "sport");

    ASSERT_EQ(lines.size(), 2U);
    EXPECT_DOUBLE_EQ(lines[0].m_score, ranking.front().second);
    EXPECT_DOUBLE_EQ(lines[1].m_score, ranking.front().second);
}

TEST_F(RulesScenarioTest, ExplanationWithoutStatisticsOnThePathIsEmpty) {
    SetPair(*m_sport, "amount", "-20");

    EXPECT_THAT(Explain(*m_sport, "refund"), IsEmpty());
}

}  // namespace
