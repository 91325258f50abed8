// Explanations: the walk to the root keeps the physical tree alive until it ends, and asserts if
// the message's bag gets another size meanwhile.
#include "zandrel/classification/zeWorkflow.h"

#include <cstddef>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_classifier.h"

namespace {

// The path root - rule - item: a statistical root with a profile of the rule node, and a rule node
// with a fake classifier. The rule node's classifier is asked before the root's.
class zeWorkflowExplainPathsTest : public testing::Test {
protected:
    zeWorkflowExplainPathsTest() {
        m_root = Tree()->MakeNode(term("root"), ZE_STAT, zeNode::NoScore, 0.0);
        m_manager.m_root = m_root;
        m_rule = Leaf("rule");
        m_rule_classifier = new FakeClassifier(&m_manager, m_rule, ZE_RULE);
        Tree()->set_classifier(m_rule, m_rule_classifier);
        m_item = Leaf("item");
        m_rule->add_child(m_item);
        m_root->add_child(m_rule);
        bool added = false;
        dynamic_cast<zeStat_matcher&>(*m_root->m_classifier)
            .m_storage->get_or_add_profile(m_rule, added);
    }

    qtPtrLight<zePhysicalTree>& Tree() { return m_manager.m_physical_tree; }

    zeNode* Leaf(std::string_view name) { return Tree()->MakeNode(term(name), ZE_LEAF, 0, 0.0); }

    void Explain() { m_manager.GetWorkflow()->classify_concepts(*m_msg, {m_item}, m_lines); }

    zeManager m_manager;
    zeNode* m_root = nullptr;
    zeNode* m_rule = nullptr;
    zeNode* m_item = nullptr;
    FakeClassifier* m_rule_classifier = nullptr;
    qtPtrLight<zeMsg> m_msg = MessageBuilder().bag({{"goal", 1.0}, {"match", 1.0}}).make();
    std::vector<zeStat_matcher::Concept_score> m_lines;
};

// The tree that the walk keeps.

TEST_F(zeWorkflowExplainPathsTest, TreeIsKeptOnlyDuringTheWalk) {
    std::size_t use_count = 0;
    m_rule_classifier->on_blocked = [&] { use_count = Tree().use_count(); };

    Explain();

    EXPECT_EQ(use_count, 2U);
    EXPECT_EQ(Tree().use_count(), 1U);
}

TEST_F(zeWorkflowExplainPathsTest, WalkContinuesInTheTreeThatTheManagerReplaces) {
    m_rule_classifier->on_blocked = [&] {
        Tree() = qtPtrLight<zePhysicalTree>(new zePhysicalTree(&m_manager));
    };

    Explain();

    EXPECT_EQ(m_lines.size(), 2U);
    EXPECT_EQ(Tree().use_count(), 1U);
}

TEST_F(zeWorkflowExplainPathsTest, TreeIsReleasedAfterAnAssertion) {
    Tree()->release_classifier(m_root, nullptr);

    EXPECT_ASSERTS(Explain(), "stat_matcher");

    EXPECT_EQ(Tree().use_count(), 1U);
}

// A message that changes during the walk.

TEST_F(zeWorkflowExplainPathsTest, ChangeOfTheBagsSizeAsserts) {
    const struct {
        std::string_view rule;
        Weighted_list bag;
    } rows[] = {
        {"shorter", {{"goal", 1.0}}},
        {"longer", {{"goal", 1.0}, {"match", 1.0}, {"team", 1.0}}},
        {"empty", {}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        m_msg->active_sml = 0;
        m_msg->smls[1] = make_bag(row.bag);
        m_rule_classifier->on_blocked = [&] { m_msg->active_sml = 1; };

        EXPECT_ASSERTS(Explain(), "concept_scores[i].size() == result_concept_scores.size()");

        EXPECT_EQ(Tree().use_count(), 1U);
    }
}

TEST_F(zeWorkflowExplainPathsTest, BagRemovedBeforeTheNextNodeAsserts) {
    m_rule_classifier->blocked_children.insert(m_item);
    m_rule_classifier->on_blocked = [&] { m_msg->active_sml = 1; };

    const std::vector<zeNode*> nodes = {m_item, m_item};
    EXPECT_ASSERTS(m_manager.GetWorkflow()->classify_concepts(*m_msg, nodes, m_lines),
                   "concept_scores[i].size() == result_concept_scores.size()");

    EXPECT_EQ(Tree().use_count(), 1U);
}

TEST_F(zeWorkflowExplainPathsTest, AnotherBagOfTheSameSizeIsAccepted) {
    m_msg->smls[1] = make_bag({{"goal", 2.0}, {"team", 1.0}});
    m_rule_classifier->on_blocked = [&] { m_msg->active_sml = 1; };

    EXPECT_NO_THROW(Explain());

    EXPECT_EQ(m_lines.size(), 2U);
}

}  // namespace
