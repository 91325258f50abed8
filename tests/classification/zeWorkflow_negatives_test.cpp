// Messages that also reach the nodes below the rule nodes on their way, without a label; the test
// for an open way; and the interruption of a distribution.
#include "zandrel/classification/zeWorkflow.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/distribution.h"
#include "tests/support/expect_qtx.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// root (rule) - news (stat) - sport, food
//             - shop (stat) - shoes
//             - deep (rule) - hall (stat) - chairs
//                           - other
//             - blank
class zeWorkflowNegativesTest : public Distributing {
protected:
    zeWorkflowNegativesTest() {
        Propagate();
        m_root = m_tree.RuleRoot("root");
        m_news = m_tree.Inner(m_root, "news", 1.0);
        m_shop = m_tree.Inner(m_root, "shop", 1.0);
        m_deep = m_tree.Rule(m_root, "deep");
        m_hall = m_tree.Inner(m_deep, "hall", 1.0);
        m_sport = m_tree.Leaf(m_news, "sport", 1.0);
        m_shoes = m_tree.Leaf(m_shop, "shoes", 1.0);
        m_chairs = m_tree.Leaf(m_hall, "chairs", 1.0);
        m_other = m_tree.Leaf(m_deep, "other", 1.0);
        m_blank = m_tree.Leaf(m_root, "blank", 1.0);
    }

    zeNode* m_root;
    zeNode* m_news;
    zeNode* m_shop;
    zeNode* m_deep;
    zeNode* m_hall;
    zeNode* m_sport;
    zeNode* m_shoes;
    zeNode* m_chairs;
    zeNode* m_other;
    zeNode* m_blank;
};

TEST_F(zeWorkflowNegativesTest, StatisticalNodesBelowARuleNodeAreReachedWithoutALabel) {
    Add({m_sport});

    Distribute();

    EXPECT_EQ(
        Distributed(),
        (Routed_by_name{{"news", {{0, {"sport"}}}}, {"shop", {{0, {}}}}, {"hall", {{0, {}}}}}));
}

TEST_F(zeWorkflowNegativesTest, WithoutTheSettingNoMessageIsUnlabelled) {
    m_tree.Manager().m_config.full_propogation = false;
    Add({m_sport});

    Distribute();

    EXPECT_EQ(Distributed(), (Routed_by_name{{"news", {{0, {"sport"}}}}}));
}

TEST_F(zeWorkflowNegativesTest, BlockedNodesBelowARuleNodeAreNotReached) {
    m_tree.Block(m_root, m_shop);
    m_tree.Block(m_deep, m_hall);
    Add({m_sport});

    Distribute();

    EXPECT_EQ(Distributed(), (Routed_by_name{{"news", {{0, {"sport"}}}}}));
}

// `deep` does not block the message, but all its children are blocked. So `deep` counts as blocked
// too.
TEST_F(zeWorkflowNegativesTest, NestedRuleNodeWithOnlyBlockedChildrenIsNotReached) {
    m_tree.Block(m_deep, m_hall);
    m_tree.Block(m_deep, m_other);
    Add({m_sport});

    Distribute();

    // Only the test for an open way asks the classifier of `deep`; the walk does not enter the
    // node.
    EXPECT_THAT(m_tree.Classifier(m_deep).asked_children, ElementsAre(m_hall, m_other));
    EXPECT_EQ(m_distribution.count(m_hall), 0U);
}

TEST_F(zeWorkflowNegativesTest, NodesBelowAStatisticalNodeAreNotReached) {
    zeNode* const below = m_tree.Rule(m_shop, "below");
    zeNode* const cellar = m_tree.Inner(below, "cellar", 1.0);
    m_tree.Leaf(cellar, "wine", 1.0);
    Add({m_sport});

    Distribute();

    EXPECT_EQ(m_distribution.count(m_shop), 1U);
    EXPECT_EQ(m_distribution.count(cellar), 0U);
}

TEST_F(zeWorkflowNegativesTest, MessageOfALeafBelowARuleNodeReachesTheStatisticalNodesBesideIt) {
    Add({m_blank});

    Distribute();

    EXPECT_EQ(Distributed(),
              (Routed_by_name{{"news", {{0, {}}}}, {"shop", {{0, {}}}}, {"hall", {{0, {}}}}}));
}

TEST_F(zeWorkflowNegativesTest, MessageThatIsAlreadyInTheViewKeepsItsLabels) {
    Add({m_sport, m_shoes, m_chairs});
    Add({m_chairs});

    Distribute();

    EXPECT_EQ(Distributed(), (Routed_by_name{{"news", {{0, {"sport"}}, {1, {}}}},
                                             {"shop", {{0, {"shoes"}}, {1, {}}}},
                                             {"hall", {{0, {"chairs"}}, {1, {"chairs"}}}}}));
}

TEST_F(zeWorkflowNegativesTest, RuleNodesOfTheMessageBeforeAreForgotten) {
    zeNode* const top = m_tree.Root("top");
    top->add_child(m_root);
    Add({m_sport});
    Add({m_tree.Leaf(top, "elsewhere", 1.0)});

    Distribute();

    EXPECT_EQ(listing_of(m_distribution.at(m_shop)), (std::vector<Routed>{{0, {}}}));
}

TEST_F(zeWorkflowNegativesTest, RuleNodesOfABlockedWayAreNotUsed) {
    m_tree.Block(m_root, m_deep);
    Add({m_other});

    Distribute();

    EXPECT_THAT(Distributed(), IsEmpty());
}

// The nodes get their ids in the order of creation. Each rule node is below the one created after
// it. The order of processing must not depend on the addresses of the nodes.
TEST_F(zeWorkflowNegativesTest, RuleNodesAreProcessedInTheOrderOfTheirIds) {
    constexpr int kLevels = 40;
    std::vector<zeNode*> rules;
    std::vector<zeNode*> stats;
    zePhysicalTree& tree = m_tree.Tree();
    for (int i = 0; i < kLevels; ++i) {
        zeNode* const rule = m_tree.RuleRoot("rule" + std::to_string(i));
        zeNode* const stat = tree.MakeNode(term("stat" + std::to_string(i)), ZE_STAT, 0, 0.0);
        rule->add_child(stat);
        if (i > 0) {
            rule->add_child(rules.back());
        }
        rules.push_back(rule);
        stats.push_back(stat);
    }
    Add({m_tree.Leaf(rules.front(), "leaf", 1.0)});
    std::vector<zeNode*> went_down;
    for (std::size_t i = 0; i < rules.size(); ++i) {
        m_tree.Classifier(rules[i]).on_blocked = [&, i] {
            const std::vector<zeNode*>& asked = m_tree.Classifier(rules[i]).asked_children;
            // On the way up, a classifier is asked about the node below. The test for an open way
            // asks about rule nodes. So this call is from the way down.
            if (asked.back() == stats[i] && m_distribution.count(stats[i]) == 0) {
                went_down.push_back(rules[i]);
            }
        };
    }

    Distribute();

    EXPECT_EQ(went_down, rules);
}

// Each rule node has a child that is a rule node with one closed leaf, and the next one. For one
// message each rule is asked once on the way up, and at most twice on the way down: by the look
// ahead and by the step. Without its notes a look ahead would ask 40 * 41 * 42 / 6 times.
TEST_F(zeWorkflowNegativesTest, NestedRuleNodesAreAskedAtMostThreeTimesPerMessage) {
    constexpr int kLevels = 40;
    std::vector<zeNode*> rules = {m_root};
    for (int i = 0; i < kLevels; ++i) {
        rules.push_back(m_tree.Rule(rules.back(), "rule" + std::to_string(i)));
        zeNode* const closed = m_tree.Rule(rules.back(), "closed" + std::to_string(i));
        m_tree.Block(closed, m_tree.Leaf(closed, "end" + std::to_string(i), 1.0));
    }
    Add({m_tree.Leaf(rules.back(), "leaf", 1.0)});

    Distribute();

    EXPECT_EQ(m_distribution.count(m_hall), 1U);
    for (zeNode* const rule : rules) {
        for (zeNode* const child : rule->m_children) {
            const std::vector<zeNode*>& asked = m_tree.Classifier(rule).asked_children;
            EXPECT_LE(std::count(asked.begin(), asked.end(), child), 3);
        }
    }
}

// The notes of the first message say that `deep` is open.
TEST_F(zeWorkflowNegativesTest, AnswersForTheMessageBeforeAreForgotten) {
    Add({m_sport});
    Add({m_sport});
    m_tree.Classifier(m_root).on_blocked = [this] {
        if (m_distribution.count(m_hall) != 0) {
            m_tree.Classifier(m_deep).blocked_children = {m_hall, m_other};
        }
    };

    Distribute();

    EXPECT_EQ(listing_of(m_distribution.at(m_hall)), (std::vector<Routed>{{0, {}}}));
    EXPECT_EQ(listing_of(m_distribution.at(m_shop)), (std::vector<Routed>{{0, {}}, {1, {}}}));
}

// The test for an open way.

TEST_F(zeWorkflowNegativesTest, WayIsBlockedIfAllItsEndsAreBlocked) {
    zeWorkflow workflow(&m_tree.Manager());
    const qtPtrLight<zeMsg> msg = MessageBuilder().make();
    EXPECT_FALSE(workflow.is_cat_blocked(m_root, m_deep, *msg));

    m_tree.Block(m_deep, m_hall);
    EXPECT_FALSE(workflow.is_cat_blocked(m_root, m_deep, *msg));

    m_tree.Block(m_deep, m_other);
    EXPECT_TRUE(workflow.is_cat_blocked(m_root, m_deep, *msg));
    EXPECT_FALSE(m_tree.Tree().is_cat_blocked(m_root, m_deep, *msg));
}

TEST_F(zeWorkflowNegativesTest, WayToANodeWithoutChildrenIsOpen) {
    zeWorkflow workflow(&m_tree.Manager());
    const qtPtrLight<zeMsg> msg = MessageBuilder().make();

    EXPECT_FALSE(workflow.is_cat_blocked(m_root, m_blank, *msg));
    EXPECT_FALSE(workflow.is_cat_blocked(m_root, m_tree.Rule(m_root, "bare"), *msg));
}

TEST_F(zeWorkflowNegativesTest, WayIsBlockedByItsFirstRuleAndBelowALeaf) {
    zeWorkflow workflow(&m_tree.Manager());
    const qtPtrLight<zeMsg> msg = MessageBuilder().make();
    m_tree.Block(m_root, m_deep);

    EXPECT_TRUE(workflow.is_cat_blocked(m_root, m_deep, *msg));
    EXPECT_THAT(m_tree.Classifier(m_deep).asked_children, IsEmpty());
    EXPECT_TRUE(workflow.is_cat_blocked(m_blank, m_sport, *msg));
}

TEST_F(zeWorkflowNegativesTest, TestForAnOpenWayStopsAtTheFirstOpenEnd) {
    zeWorkflow workflow(&m_tree.Manager());
    const qtPtrLight<zeMsg> msg = MessageBuilder().make();
    m_tree.Block(m_deep, m_hall);

    workflow.is_cat_blocked(m_root, m_deep, *msg);

    EXPECT_THAT(m_tree.Classifier(m_deep).asked_children, ElementsAre(m_hall, m_other));
    m_tree.Classifier(m_deep).blocked_children.clear();
    m_tree.Classifier(m_deep).asked_children.clear();
    workflow.is_cat_blocked(m_root, m_deep, *msg);
    EXPECT_THAT(m_tree.Classifier(m_deep).asked_children, ElementsAre(m_hall));
}

// Interruption.

// There is one poll at each label, and one at each rule node from which a message is distributed
// down.
TEST_F(zeWorkflowNegativesTest, EachLabelAndEachRuleNodeIsPolled) {
    Add({m_sport, m_chairs});  // 2 labels, and the rule nodes root and deep
    Add({});
    Add({m_blank});  // 1 label, root
    Interrupt_at progress(0);
    m_tree.Manager().m_progress = &progress;

    Distribute();

    EXPECT_EQ(progress.polls, 6);
}

TEST_F(zeWorkflowNegativesTest, EachPollCanInterrupt) {
    Add({m_sport, m_chairs});
    Add({m_blank});
    for (int poll = 1; poll <= 6; ++poll) {
        SCOPED_TRACE(poll);
        Interrupt_at progress(poll);
        m_tree.Manager().m_progress = &progress;
        m_distribution.clear();

        EXPECT_QTX_ARGS(Distribute(), zeWorkflow, 2, "Process interrupted", {});

        EXPECT_EQ(progress.polls, poll);
        EXPECT_EQ(m_tree.Manager().m_progress, &progress);
        EXPECT_EQ(m_tree.Manager().m_physical_tree.use_count(), 1U);
    }
    m_tree.Manager().m_progress = nullptr;
}

TEST_F(zeWorkflowNegativesTest, PollComesBeforeTheLabelIsUsed) {
    Add({Stray("stray")});
    Interrupt_at progress(1);
    m_tree.Manager().m_progress = &progress;

    EXPECT_QTX(Distribute(), zeWorkflow, 2, "Process interrupted");

    m_tree.Manager().m_progress = nullptr;
}

}  // namespace
