// Clearing the statistics of classifiers.
#include "zandrel/classification/zeWorkflow.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/progress_log.h"
#include "tests/support/trained_tree.h"

namespace {

using testing::ElementsAre;

// The tree is trained, and its container is marked as unmodified.
class zeWorkflowClearTest : public testing::Test, protected Trained_tree {
protected:
    zeWorkflowClearTest() {
        zeWorkflow(&manager).train(corpus.view, false, nullptr, false);
        manager.m_modified = false;
    }

    void Clear(zeNode* node, CTProgress* progress = nullptr) {
        zeWorkflow(&manager).clear_statistics(node, progress);
    }

    zeSwitcher& Switcher() { return dynamic_cast<zeSwitcher&>(*rule->m_classifier); }
};

TEST_F(zeWorkflowClearTest, ClearWithoutANodeClearsTheWholeTree) {
    Clear(nullptr);

    EXPECT_THAT(all_msgs(), ElementsAre(0, 0, 0));
    EXPECT_TRUE(matcher(root).m_table.empty());
    EXPECT_TRUE(matcher(news).m_table.empty());
    EXPECT_TRUE(matcher(shop).m_table.empty());
}

TEST_F(zeWorkflowClearTest, ClearKeepsTheCategories) {
    Clear(nullptr);

    EXPECT_THAT(root->m_children, ElementsAre(news, shop, rule));
    EXPECT_THAT(news->m_children, ElementsAre(sport, money));
    EXPECT_EQ(msgs_for(news, sport), 0);
}

TEST_F(zeWorkflowClearTest, OnlyClassifiersAtAndBelowTheNodeAreCleared) {
    Clear(news);

    EXPECT_THAT(all_msgs(), ElementsAre(3, 0, 1));
}

TEST_F(zeWorkflowClearTest, EachClassifierIsReportedAlsoThoseOfRules) {
    Progress_log progress;

    Clear(nullptr, &progress);

    EXPECT_THAT(progress.lines,
                ElementsAre("total 4", "+1", "+1", "+1", "+1", "next phase, completed"));
    EXPECT_EQ(progress.polls, 4);
}

TEST_F(zeWorkflowClearTest, CompactContainerBecomesTrainable) {
    manager.m_compact = true;

    Clear(nullptr);

    EXPECT_FALSE(manager.m_compact);
    EXPECT_TRUE(manager.m_modified);
    zeWorkflow(&manager).train(corpus.view, false, nullptr, false);
    EXPECT_THAT(all_msgs(), ElementsAre(3, 2, 1));
}

TEST_F(zeWorkflowClearTest, ClearOfALeafClearsNothingButTheCompactFlag) {
    manager.m_compact = true;
    Progress_log progress;

    Clear(sport, &progress);

    EXPECT_THAT(progress.lines, ElementsAre("total 0", "next phase, completed"));
    EXPECT_EQ(progress.polls, 0);
    EXPECT_FALSE(manager.m_compact);
    EXPECT_TRUE(manager.m_modified);
    EXPECT_THAT(all_msgs(), ElementsAre(3, 2, 1));
}

TEST_F(zeWorkflowClearTest, TimeOfTheLastTrainingAndProgressAreKept) {
    Interrupt_at before(0);
    manager.m_progress = &before;
    manager.m_config.last_trained = qtTimeDate(1);
    Progress_log progress;

    Clear(nullptr, &progress);

    EXPECT_EQ(last_trained(), 1);
    EXPECT_EQ(before.polls, 0);
    EXPECT_EQ(manager.m_progress, &before);
    manager.m_progress = nullptr;
}

TEST_F(zeWorkflowClearTest, ClassifierCountsAsDoneWhenItIsCleared) {
    std::vector<std::vector<int>> msgs_left;
    Watching_progress progress(Watching_progress::Moment::kStep,
                               [&] { msgs_left.push_back(all_msgs()); });

    Clear(nullptr, &progress);

    EXPECT_THAT(msgs_left, ElementsAre(ElementsAre(0, 2, 1), ElementsAre(0, 0, 1),
                                       ElementsAre(0, 0, 0), ElementsAre(0, 0, 0)));
}

// An interrupted training leaves its progress object in the manager. The caller may have destroyed
// the object since.
TEST_F(zeWorkflowClearTest, ProgressLeftByAnInterruptedTrainingIsNotAsked) {
    {
        Interrupt_at gone(1);
        EXPECT_QTX(zeWorkflow(&manager).train(corpus.view, false, &gone, false), zeWorkflow, 2,
                   "Process interrupted");
    }

    Clear(nullptr);
    manager.m_progress = nullptr;

    EXPECT_THAT(all_msgs(), ElementsAre(0, 0, 0));
}

TEST_F(zeWorkflowClearTest, ClearingBreaksOffAfterAnyClassifierInTheOrderOfNodeIds) {
    const std::vector<std::vector<int>> msgs_left = {{0, 2, 1}, {0, 0, 1}, {0, 0, 0}, {0, 0, 0}};
    manager.m_compact = true;
    for (int poll = 4; poll >= 1; --poll) {
        SCOPED_TRACE(poll);
        manager.m_compact = false;
        Clear(nullptr);
        zeWorkflow(&manager).train(corpus.view, false, nullptr, false);
        manager.m_compact = true;
        manager.m_modified = false;
        Progress_log progress(poll);

        EXPECT_QTX_ARGS(Clear(nullptr, &progress), zeWorkflow, 2, "Process interrupted", {});

        EXPECT_EQ(all_msgs(), msgs_left[static_cast<std::size_t>(poll) - 1]);
        EXPECT_EQ(progress.lines.size(), 1U + static_cast<std::size_t>(poll));
        EXPECT_EQ(progress.lines.back(), "+1");
        EXPECT_TRUE(manager.m_compact);
        EXPECT_TRUE(manager.m_modified);
        EXPECT_EQ(manager.m_progress, nullptr);
    }
}

TEST_F(zeWorkflowClearTest, MissingClassifierBreaksTheInvariant) {
    manager.m_physical_tree->release_classifier(news, nullptr);
    manager.m_compact = true;

    EXPECT_ASSERTS(Clear(nullptr), "stat_matcher");

    EXPECT_EQ(msgs_at(root), 0);
    EXPECT_EQ(msgs_at(shop), 1);
    EXPECT_TRUE(manager.m_compact);
    EXPECT_EQ(manager.m_physical_tree.use_count(), 1U);
}

// One classifier.

TEST_F(zeWorkflowClearTest, ClearOfOneClassifierClearsOnlyThatOne) {
    zeWorkflow(&manager).clear_classifier(root);

    EXPECT_THAT(all_msgs(), ElementsAre(0, 2, 1));
    EXPECT_TRUE(manager.m_modified);
}

TEST_F(zeWorkflowClearTest, RuleNodeAndLeafAreNotChanged) {
    zeWorkflow workflow(&manager);
    Switcher().m_dirty = false;

    workflow.clear_classifier(rule);
    workflow.clear_classifier(sport);

    EXPECT_THAT(rule->m_children, ElementsAre(bin));
    EXPECT_EQ(Switcher().get_rule(bin), "1");
    EXPECT_FALSE(Switcher().m_dirty);
    EXPECT_EQ(sport->m_parent, news);
    EXPECT_FALSE(manager.m_modified);
}

}  // namespace
