// A classifier that keeps learning while it is used, and forgets categories again. Uses only public
// classes.
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

using testing::ElementsAre;
using testing::Not;
using testing::UnorderedElementsAre;

// Trained on sport, food and money.
class LearnAndForgetTest : public testing::Test {
protected:
    LearnAndForgetTest() {
        m_manager.m_root =
            m_manager.m_physical_tree->MakeNode(term("root"), ZE_STAT, zeNode::NoScore, 0.0);
        zeMemoryCorpus corpus;
        for (int i = 0; i < 6; ++i) {
            MessageBuilder().bag({{"goal", 2.0}, {"team", 1.0}}).labels({"sport"}).add_to(corpus);
            MessageBuilder().bag({{"soup", 2.0}, {"salt", 1.0}}).labels({"food"}).add_to(corpus);
            MessageBuilder().bag({{"bank", 2.0}, {"loan", 1.0}}).labels({"money"}).add_to(corpus);
        }
        zeCorpus_view view = View(corpus);
        Matcher().train(view);
    }

    zeStat_matcher& Matcher() {
        return dynamic_cast<zeStat_matcher&>(*m_manager.GetRootClassifier());
    }

    zeCorpus_view View(zeMemoryCorpus& corpus) {
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&m_manager);
        return view;
    }

    // Learns six messages of one label.
    void Learn(Weighted_list words, std::string_view label) {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 6; ++i) {
            MessageBuilder().bag(words).labels({label}).add_to(corpus);
        }
        zeCorpus_view view = View(corpus);
        Matcher().learn(view, true);
    }

    zeNode* Category(std::string_view name) {
        return m_manager.m_physical_tree->GetLeafNodes(term(name)).at(0);
    }

    // Names and scores, best first.
    std::vector<std::pair<std::string, double>> Classify(Weighted_list words) {
        zeResult_set results(0.0, -1);
        m_manager.GetWorkflow()->classify(*MessageBuilder().bag(words).make(), results, true,
                                          false);
        std::vector<std::pair<std::string, double>> ranking;
        for (int rank = 0; rank < results.count(); ++rank) {
            const zeResult& result = results.get_result(rank);
            ranking.emplace_back(result.node->m_concept.view(), result.score);
        }
        return ranking;
    }

    std::string Best(Weighted_list words) {
        const auto ranking = Classify(words);
        return ranking.empty() ? "none" : ranking.front().first;
    }

    std::vector<std::string> Names(Weighted_list words) {
        std::vector<std::string> names;
        for (const auto& [name, score] : Classify(words)) {
            names.push_back(name);
        }
        return names;
    }

    void ExpectFirstTopics() {
        EXPECT_EQ(Best({{"goal", 1.0}}), "sport");
        EXPECT_EQ(Best({{"soup", 1.0}}), "food");
        EXPECT_EQ(Best({{"bank", 1.0}}), "money");
    }

    zeManager m_manager;
};

TEST_F(LearnAndForgetTest, NewWordsOfAKnownCategoryAreLearned) {
    ExpectFirstTopics();

    Learn({{"puck", 2.0}, {"ice", 1.0}}, "sport");

    EXPECT_EQ(Best({{"puck", 1.0}}), "sport");
    ExpectFirstTopics();
}

TEST_F(LearnAndForgetTest, NewCategoryIsLearned) {
    Learn({{"train", 2.0}, {"hotel", 1.0}}, "travel");

    EXPECT_EQ(Best({{"train", 1.0}}), "travel");
    EXPECT_THAT(Names({{"train", 1.0}}), UnorderedElementsAre("travel", "sport", "food", "money"));
    EXPECT_THAT(m_manager.m_root->m_children, testing::Contains(Category("travel")));
    ExpectFirstTopics();
}

// The word now belongs to another category. Sixty new messages outweigh the old ones, whose weight
// is limited.
TEST_F(LearnAndForgetTest, WordThatChangesItsMeaningIsLearnedAgain) {
    for (int bulk = 0; bulk < 10; ++bulk) {
        Learn({{"goal", 2.0}, {"budget", 1.0}}, "money");
    }

    EXPECT_EQ(Best({{"goal", 1.0}, {"budget", 1.0}}), "money");
    EXPECT_EQ(Best({{"team", 1.0}}), "sport");
}

TEST_F(LearnAndForgetTest, ClearedCategoryIsNoResultUntilItLearnsAgain) {
    zeNode* food = Category("food");

    Matcher().clear_cat(food, true, true);

    EXPECT_THAT(Names({{"soup", 1.0}}), UnorderedElementsAre("sport", "money"));
    EXPECT_THAT(m_manager.m_root->m_children, testing::Contains(food));
    EXPECT_EQ(Best({{"goal", 1.0}}), "sport");
    EXPECT_EQ(Best({{"bank", 1.0}}), "money");

    Learn({{"cake", 2.0}, {"oven", 1.0}}, "food");

    EXPECT_EQ(Best({{"cake", 1.0}}), "food");
    EXPECT_EQ(Best({{"goal", 1.0}}), "sport");
}

TEST_F(LearnAndForgetTest, DeletedCategoryIsRemovedAndTheOthersStay) {
    zeNode* sport = Category("sport");

    Matcher().delete_cat(sport, true, true);

    EXPECT_THAT(Names({{"goal", 1.0}}), UnorderedElementsAre("food", "money"));
    EXPECT_THAT(m_manager.m_root->m_children, Not(testing::Contains(sport)));
    EXPECT_EQ(Best({{"soup", 1.0}}), "food");
    EXPECT_EQ(Best({{"bank", 1.0}}), "money");
    EXPECT_QTX(Matcher().delete_cat(sport, true, true), zeStat_matcher, 1,
               "Deleted category \"sport\" does not exist.");
}

TEST_F(LearnAndForgetTest, LearningContinuesAfterForgetting) {
    zeNode* sport = Category("sport");
    zeNode* money = Category("money");
    Learn({{"train", 2.0}, {"hotel", 1.0}}, "travel");
    Matcher().clear_cat(money, false, false);
    Matcher().delete_cat(sport, true, false);

    Learn({{"tax", 2.0}, {"loan", 1.0}}, "money");

    EXPECT_EQ(Best({{"tax", 1.0}}), "money");
    EXPECT_EQ(Best({{"soup", 1.0}}), "food");
    EXPECT_EQ(Best({{"train", 1.0}}), "travel");
    EXPECT_THAT(Names({{"goal", 1.0}, {"soup", 1.0}}),
                UnorderedElementsAre("travel", "food", "money"));
}

TEST_F(LearnAndForgetTest, CategoriesCanBeAddedBeforeTheirMessages) {
    zeNode* travel = m_manager.m_physical_tree->MakeNode(term("travel"), ZE_LEAF, 0, 0.0);
    Matcher().add_cat(travel);
    EXPECT_THAT(Names({{"goal", 1.0}}), UnorderedElementsAre("sport", "food", "money"));

    Learn({{"train", 2.0}, {"hotel", 1.0}}, "travel");

    EXPECT_EQ(Best({{"train", 1.0}}), "travel");
    EXPECT_QTX(Matcher().add_cat(travel), zeStat_matcher, 0, "Category \"travel\" already exists.");
}

}  // namespace
