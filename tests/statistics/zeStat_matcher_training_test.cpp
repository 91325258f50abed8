// Training of a matcher, as the manager makes it.
#include "zandrel/statistics/zeStat_matcher.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;

// A manager with a statistical root, and three messages of two categories in its tree.
class zeStatMatcherTrainingTest : public testing::Test {
protected:
    zeStatMatcherTrainingTest() {
        m_manager.m_defaults = plain_settings();
        m_manager.m_root = m_tree->MakeNode(term("root"), ZE_STAT, zeNode::NoScore, 0.0);
        zeNode* const a = m_tree->MakeNode(term("a"), ZE_LEAF, 0, 0.0);
        zeNode* const b = m_tree->MakeNode(term("b"), ZE_LEAF, 0, 0.0);
        m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"u", 1.0}}), {a});
        m_corpus.add(MessageBuilder().bag({{"y", 1.0}, {"u", 1.0}}), {b});
        m_corpus.add(MessageBuilder().bag({{"y", 3.0}, {"v", 1.0}}), {b});
    }

    zeStat_matcher& Matcher() {
        return dynamic_cast<zeStat_matcher&>(*m_manager.GetRootClassifier());
    }

    // The table as an ordered list: concept, index of a profile, and weight.
    std::vector<std::tuple<std::string, int, float>> Table() {
        std::vector<std::tuple<std::string, int, float>> rows;
        for (const auto& [known, pairs] : Matcher().m_table) {
            for (const zeStat_matcher::Concept_weight& pair : pairs) {
                rows.emplace_back(known.view(), pair.m_iprofile, pair.m_weight);
            }
        }
        std::sort(rows.begin(), rows.end());
        return rows;
    }

    std::vector<double> Scores() {
        zeResult_set results(0.0, -1);
        Matcher().classify(*m_corpus.corpus.msgs[1], results, 1.0, false);
        std::vector<double> scores;
        for (const zeResult& result : results.results) {
            scores.push_back(result.score);
        }
        return scores;
    }

    zeManager m_manager;
    qtPtrLight<zePhysicalTree> m_tree = m_manager.m_physical_tree;
    Small_corpus m_corpus;
};

TEST_F(zeStatMatcherTrainingTest, TrainingCountsAndCompiles) {
    const Trace_capture trace;

    Matcher().train(m_corpus.view);

    EXPECT_THAT(trace.texts(),
                ElementsAre("Calculating global concept data", "Training completed",
                            "Performing feature selection (num profiles: 2)",
                            "Collecting data for matching table", "Matching table completed"));
    EXPECT_EQ(m_manager.m_root->m_children.size(), 2U);
    const std::vector<double> scores = Scores();
    ASSERT_EQ(scores.size(), 2U);
    EXPECT_LT(scores[0], 0.5);
    EXPECT_GT(scores[1], 0.5);
}

// Three messages and two profiles: five polls.
TEST_F(zeStatMatcherTrainingTest, TrainingInterruptedAtAnyPollCanBeRepeated) {
    Matcher().train(m_corpus.view);
    const std::vector<double> expected = Scores();
    for (int poll = 1; poll <= 5; ++poll) {
        SCOPED_TRACE(poll);
        Matcher().m_storage->create_skeleton();
        Interrupt_at progress(poll);
        m_manager.m_progress = &progress;

        EXPECT_QTX(Matcher().train(m_corpus.view), zeWorkflow, 2, "Process interrupted");

        m_manager.m_progress = nullptr;
        EXPECT_EQ(Matcher().m_storage->m_num_msgs, poll < 3 ? poll : 3);
        EXPECT_NO_THROW(Scores());
        Matcher().m_storage->create_skeleton();
        Matcher().train(m_corpus.view);
        EXPECT_EQ(Scores(), expected);
    }
}

TEST_F(zeStatMatcherTrainingTest, ThereIsOnePollForEachMessageAndProfile) {
    Interrupt_at progress(6);
    m_manager.m_progress = &progress;

    Matcher().train(m_corpus.view);

    EXPECT_EQ(progress.polls, 5);
}

TEST_F(zeStatMatcherTrainingTest, InterruptedSelectionKeepsTheOldTable) {
    Matcher().train(m_corpus.view);
    const std::vector<double> expected = Scores();
    Interrupt_at progress(1);
    m_manager.m_progress = &progress;

    EXPECT_QTX(Matcher().feed(*Matcher().m_storage, true), zeWorkflow, 2, "Process interrupted");

    EXPECT_EQ(Scores(), expected);
    EXPECT_EQ(m_manager.m_root->m_children.size(), 2U);
}

// The weights of the profiles before the interruption must not be taken as a complete selection.
TEST_F(zeStatMatcherTrainingTest, InterruptedSelectionIsRepeated) {
    Matcher().train(m_corpus.view);
    const auto table = Table();
    const std::vector<double> scores = Scores();
    for (int poll = 1; poll <= 2; ++poll) {
        SCOPED_TRACE(poll);
        Interrupt_at progress(poll);
        m_manager.m_progress = &progress;
        EXPECT_QTX(Matcher().feed(*Matcher().m_storage, true), zeWorkflow, 2,
                   "Process interrupted");
        m_manager.m_progress = nullptr;

        Matcher().feed(*Matcher().m_storage, true);

        EXPECT_EQ(Table(), table);
        EXPECT_EQ(Scores(), scores);
    }
}

// Three polls of counting come before the two of selection.
TEST_F(zeStatMatcherTrainingTest, MessagesCountedBeforeAnInterruptedSelectionAreCompiled) {
    Matcher().train(m_corpus.view);
    const auto table = Table();
    const std::vector<double> scores = Scores();
    for (int poll = 4; poll <= 5; ++poll) {
        SCOPED_TRACE(poll);
        Matcher().m_storage->create_skeleton();
        Interrupt_at progress(poll);
        m_manager.m_progress = &progress;
        EXPECT_QTX(Matcher().train(m_corpus.view), zeWorkflow, 2, "Process interrupted");
        m_manager.m_progress = nullptr;

        Matcher().feed(*Matcher().m_storage, true);

        EXPECT_EQ(Table(), table);
        EXPECT_EQ(Scores(), scores);
    }
}

}  // namespace
