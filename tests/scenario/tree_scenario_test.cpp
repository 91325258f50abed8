// A container from its creation through training and edits of its tree. After every edit,
// classification follows the current tree. Uses only public classes.
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// news (statistics): sport, food, travel; each message has two words of its category.
class TreeScenarioTest : public testing::Test {
protected:
    TreeScenarioTest() {
        Concept name = term("news");
        m_workflow = m_manager.InitWorkflow(name);
        m_sport = Add(kRoot, "sport");
        m_food = Add(kRoot, "food");
        m_travel = Add(kRoot, "travel");
        Train(kRoot);
    }

    zeLogicalTree& Tree() { return *m_manager.m_logical_tree; }

    unsigned int Add(unsigned int parent, std::string_view category, const char* rule = "") {
        zeLogicalNode node;
        node.parent = parent;
        node.category = term(category);
        node.rule = rule;
        return Tree().AddLogicalNode(node);
    }

    // Trains the classifier that decides the node's children, with messages of food and travel, and
    // of sport if requested.
    void Train(unsigned int id, bool with_sport = true) {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 4; ++i) {
            if (with_sport) {
                AddMessage(corpus, "goal", "match", "sport");
            }
            AddMessage(corpus, "soup", "salt", "food");
            AddMessage(corpus, "hotel", "train", "travel");
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&m_manager);
        zeClassifier* const matcher = Tree().GetRealParent(id);
        dynamic_cast<zeStat_matcher&>(*matcher).train(view);
    }

    static void AddMessage(zeCorpus& corpus, std::string_view often, std::string_view seldom,
                           std::string_view label) {
        MessageBuilder().bag({{often, 2.0}, {seldom, 1.0}}).labels({label}).add_to(corpus);
    }

    std::vector<std::string> Classify(zeMsg& msg, double threshold = 0.5) {
        zeResult_set results(threshold, -1);
        m_workflow->classify(msg, results, true, false);
        std::vector<std::string> names;
        for (int rank = 0; rank < results.count(); ++rank) {
            names.emplace_back(results.get_result(rank).node->m_concept.view());
        }
        return names;
    }

    std::vector<std::string> Classify(std::string_view word, double threshold = 0.5) {
        return Classify(*MessageBuilder().bag({{word, 1.0}}).make(), threshold);
    }

    static constexpr unsigned int kRoot = 1;

    zeManager m_manager;
    qtPtrLight<zeWorkflow> m_workflow;
    unsigned int m_sport = 0;
    unsigned int m_food = 0;
    unsigned int m_travel = 0;
};

TEST_F(TreeScenarioTest, TrainedTreeRanksItsCategories) {
    EXPECT_THAT(Classify("goal"), ElementsAre("sport"));
    EXPECT_THAT(Classify("soup"), ElementsAre("food"));
    EXPECT_THAT(Classify("hotel"), ElementsAre("travel"));
}

TEST_F(TreeScenarioTest, RenamedCategoryIsFoundUnderItsNewName) {
    zeLogicalNode changed = Tree().GetNode(m_sport);
    changed.category = term("games");
    Tree().ChangeLogicalNode(changed);

    EXPECT_THAT(Classify("goal"), ElementsAre("games"));
}

TEST_F(TreeScenarioTest, DeletedCategoryIsNoLongerAResultAndTheOthersAreUnchanged) {
    Tree().DelLogicalNode(m_sport, true);

    EXPECT_THAT(Classify("goal", 0.0), Not(Contains("sport")));
    EXPECT_THAT(Classify("soup"), ElementsAre("food"));
    EXPECT_THAT(Classify("hotel"), ElementsAre("travel"));
}

TEST_F(TreeScenarioTest, NestingCategoriesChangesNoResult) {
    Tree().MoveLogicalNode(m_food, m_travel);

    EXPECT_THAT(Classify("soup"), ElementsAre("food"));
    EXPECT_THAT(Classify("hotel"), ElementsAre("travel"));
}

TEST_F(TreeScenarioTest, CategoryMarkedNoScoreIsNoResult) {
    zeLogicalNode changed = Tree().GetNode(m_food);
    changed.attributes = zeNode::NoScore;
    Tree().ChangeLogicalNode(changed);

    EXPECT_THAT(Classify("soup"), IsEmpty());
}

TEST_F(TreeScenarioTest, RulesRouteBelowACategoryThatBecameARuleNode) {
    const unsigned int cup = Add(m_sport, "cup", "$cup(?)");
    Add(m_sport, "league", "default");
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 1.0}}).make();
    EXPECT_THAT(Classify(*msg), ElementsAre("league"));

    msg->add_value("cup", mlMessageConverter::kString, "final");
    EXPECT_THAT(Classify(*msg), ElementsAre("cup"));

    Tree().DelLogicalNode(cup, true);
    EXPECT_THAT(Classify(*msg), ElementsAre("league"));
}

TEST_F(TreeScenarioTest, RuleNodeWithoutChildrenIsACategoryAgain) {
    const unsigned int cup = Add(m_sport, "cup", "$cup(?)");
    EXPECT_THAT(Classify("goal"), IsEmpty());

    Tree().DelLogicalNode(cup, true);

    EXPECT_THAT(Classify("goal"), ElementsAre("sport"));
}

TEST_F(TreeScenarioTest, ChangedRuleFiresForOtherMessages) {
    const unsigned int cup = Add(m_sport, "cup", "$cup(?)");
    zeLogicalNode changed = Tree().GetNode(cup);
    changed.rule = "\"goal\"";
    Tree().ChangeLogicalNode(changed);

    EXPECT_THAT(Classify("goal"), ElementsAre("cup"));
}

TEST_F(TreeScenarioTest, MovedCategoryIsTrainedAgainInItsNewClassifier) {
    zeLogicalNode topics;
    topics.parent = kRoot;
    topics.category = term("topics");
    topics.type = ZE_STAT;
    topics.attributes = zeNode::NoScore;
    const unsigned int group = Tree().AddLogicalNode(topics);
    Tree().MoveLogicalNode(m_food, group);
    Tree().MoveLogicalNode(m_travel, group);
    EXPECT_THAT(Classify("soup", 0.0), Not(Contains("food")));

    Train(group, false);
    EXPECT_EQ(Tree().GetNode(m_food).physical_node->m_parent, Tree().GetNode(group).physical_node);

    Tree().MoveLogicalNode(m_food, kRoot);
    Tree().MoveLogicalNode(m_travel, kRoot);
    Train(kRoot);
    EXPECT_EQ(Tree().GetNode(group).type, ZE_LEAF);
    EXPECT_THAT(Classify("soup"), Contains("food"));
    EXPECT_THAT(Classify("hotel"), Contains("travel"));
}

TEST_F(TreeScenarioTest, RefusedEditChangesNoResult) {
    const std::vector<std::string> before = Classify("goal", 0.0);

    EXPECT_THROW(Add(kRoot, "sport"), qtX<zeLogicalTree>);
    EXPECT_THROW(Add(kRoot, "cup", "$cup(?)"), qtX<zeLogicalTree>);
    EXPECT_THROW(Tree().DelLogicalNode(kRoot, true), qtX<zeLogicalTree>);
    EXPECT_THROW(Tree().MoveLogicalNode(m_food, kRoot), qtX<zeLogicalTree>);

    EXPECT_EQ(Classify("goal", 0.0), before);
}

}  // namespace
