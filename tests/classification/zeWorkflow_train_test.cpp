// Training: which classifiers are trained, what is reported, and the state after an interruption.
#include "zandrel/classification/zeWorkflow.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeLogicalTree.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/progress_log.h"
#include "tests/support/trained_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// An operation that trains a tree, or its root, on the tree's corpus.
struct Operation {
    const char* name;
    void (*run)(Trained_tree& tree, CTProgress* progress);
};

const std::vector<Operation>& distributing_operations() {
    static const std::vector<Operation> operations = {
        {"train",
         [](Trained_tree& tree, CTProgress* progress) {
             zeWorkflow(&tree.manager).train(tree.corpus.view, false, progress, false);
         }},
        {"bootstrap",
         [](Trained_tree& tree, CTProgress* progress) {
             zeWorkflow(&tree.manager).bootstrap(tree.corpus.view, false, progress, false);
         }},
        {"learn",
         [](Trained_tree& tree, CTProgress* progress) {
             zeWorkflow(&tree.manager).learn(tree.corpus.view, progress, false, true);
         }},
    };
    return operations;
}

// Trains only the root; the messages are labelled for it.
const Operation& train_root() {
    static const Operation operation = {
        "train root", [](Trained_tree& tree, CTProgress* progress) {
            for (zeCorpus_view::Msg& msg : tree.corpus.view.msgs) {
                msg.cats = {msg.cats.front()->m_parent};
            }
            zeWorkflow(&tree.manager).train(tree.corpus.view, true, progress, false);
        }};
    return operation;
}

int polls_of(const Operation& operation) {
    Trained_tree tree;
    Interrupt_at counting(0);
    operation.run(tree, &counting);
    return counting.polls;
}

// Interrupts the operation at a poll. Afterwards the container must be usable: cleared and trained
// again.
void expect_to_break_off(const Operation& operation, int poll) {
    SCOPED_TRACE(std::string(operation.name) + " " + std::to_string(poll));
    Trained_tree tree;
    {
        Interrupt_at progress(poll);

        EXPECT_QTX_ARGS(operation.run(tree, &progress), zeWorkflow, 2, "Process interrupted", {});

        EXPECT_EQ(tree.manager.m_progress, &progress);
    }
    tree.manager.m_progress = nullptr;
    EXPECT_EQ(tree.last_trained(), 1);
    EXPECT_EQ(tree.manager.m_physical_tree.use_count(), 1U);
    EXPECT_TRUE(tree.manager.m_logical_tree->nodes.empty());

    zeWorkflow workflow(&tree.manager);
    zeResult_set results(0.0, -1);
    const qtPtrLight<zeMsg> msg = Trained_tree::message({{"goal", 1.0}}).make();
    EXPECT_NO_THROW(workflow.classify(*msg, results, false, false));
    workflow.clear_statistics(nullptr, nullptr);
    tree.make_corpus();
    workflow.train(tree.corpus.view, false, nullptr, false);
    EXPECT_THAT(tree.all_msgs(), ElementsAre(3, 2, 1));
}

class zeWorkflowTrainTest : public testing::Test, protected Trained_tree {
protected:
    void Train(CTProgress* progress = nullptr) {
        zeWorkflow(&manager).train(corpus.view, false, progress, false);
    }

    void Bootstrap(CTProgress* progress = nullptr) {
        zeWorkflow(&manager).bootstrap(corpus.view, false, progress, false);
    }

    void TrainRoot(CTProgress* progress = nullptr) {
        zeWorkflow(&manager).train(corpus.view, true, progress, false);
    }

    void Learn(CTProgress* progress = nullptr, bool learn_flag = true) {
        zeWorkflow(&manager).learn(corpus.view, progress, false, learn_flag);
    }

    // Adds a message whose category is in no tree.
    void AddStray() { corpus.add(message({{"odd", 1.0}}), {leaf("stray")}); }

    // Returns the numbers of polls of root, news and shop while each learns the messages that reach
    // it.
    std::vector<int> PollsOfLearners() {
        zeWorkflow::Distribution distribution;
        zeWorkflow(&manager).distribute_corpus(distribution, corpus.view, false);
        std::vector<int> polls;
        Trained_tree other;
        for (zeNode* node : {root, news, shop}) {
            zeCorpus_view view(&corpus.corpus);
            for (const zeCorpus_view::Msg& entry : distribution.at(node).msgs) {
                view.add_msg(entry.index);
                zeNode* const cat = entry.cats.front();
                view.add_cat2msg(static_cast<int>(view.msgs.size()) - 1,
                                 other.manager.m_physical_tree->GetNode(cat->m_node_id));
            }
            Interrupt_at counting(0);
            other.manager.m_progress = &counting;
            other.matcher(other.manager.m_physical_tree->GetNode(node->m_node_id))
                .learn(view, true);
            other.manager.m_progress = nullptr;
            polls.push_back(counting.polls);
        }
        return polls;
    }

    // Labels the view with the root's own categories.
    void LabelForRoot() {
        corpus.view.msgs[0].cats = {news};
        corpus.view.msgs[1].cats = {news};
        corpus.view.msgs[2].cats = {shop};
    }

    double WeightOf(zeNode* node, zeNode* child) {
        return storage(node).profile(storage(node).get_profile(child)).m_weight;
    }

    Stopped_clock m_clock;
};

// All classifiers.

TEST_F(zeWorkflowTrainTest, EachClassifierIsTrainedOnTheMessagesThatReachIt) {
    Train();

    EXPECT_THAT(all_msgs(), ElementsAre(3, 2, 1));
    EXPECT_EQ(msgs_for(root, news), 2);
    EXPECT_EQ(msgs_for(root, shop), 1);
    EXPECT_EQ(msgs_for(root, rule), 0);
    EXPECT_EQ(msgs_for(news, sport), 1);
    EXPECT_EQ(msgs_for(news, money), 1);
    EXPECT_EQ(msgs_for(shop, shoes), 1);
}

TEST_F(zeWorkflowTrainTest, TrainedTreeClassifiesAMessageIntoItsCategory) {
    Train();

    zeResult_set results(0.6, -1);
    const qtPtrLight<zeMsg> msg = message({{"bank", 1.0}}).make();
    zeWorkflow(&manager).classify(*msg, results, true, false);
    ASSERT_EQ(results.count(), 1);
    EXPECT_EQ(results.get_result(0).node, money);
}

TEST_F(zeWorkflowTrainTest, TrainingAgainAddsToTheCounts) {
    Train();
    Train();

    EXPECT_THAT(all_msgs(), ElementsAre(6, 4, 2));
}

TEST_F(zeWorkflowTrainTest, StepsAreReportedInOrder) {
    Progress_log progress;

    Train(&progress);

    EXPECT_THAT(progress.lines, ElementsAre("Preparing corpus", "total 3", "Training classifier(s)",
                                            "+1", "+1", "+1"));
}

TEST_F(zeWorkflowTrainTest, BootstrapReportsTheSameStepsWithItsOwnTexts) {
    Progress_log progress;

    Bootstrap(&progress);

    EXPECT_THAT(progress.lines, ElementsAre("Preparing corpus", "total 3",
                                            "Initializing classifier(s)", "+1", "+1", "+1"));
}

TEST_F(zeWorkflowTrainTest, ClassifierCountsAsDoneWhenItIsTrained) {
    for (const Operation& operation : distributing_operations()) {
        SCOPED_TRACE(operation.name);
        Trained_tree tree;
        std::vector<std::vector<int>> msgs;
        Watching_progress progress(Watching_progress::Moment::kStep,
                                   [&] { msgs.push_back(tree.all_msgs()); });

        operation.run(tree, &progress);

        EXPECT_THAT(msgs,
                    ElementsAre(ElementsAre(3, 0, 0), ElementsAre(3, 2, 0), ElementsAre(3, 2, 1)));
    }
}

// The code that receives the progress may replace the manager's tree.
TEST_F(zeWorkflowTrainTest, TreeIsKeptUntilTheTrainingEnds) {
    std::vector<Operation> operations = distributing_operations();
    operations.push_back(train_root());
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        Trained_tree tree;
        std::size_t held = 0;
        Watching_progress progress(Watching_progress::Moment::kStep,
                                   [&] { held = tree.manager.m_physical_tree.use_count(); });

        operation.run(tree, &progress);

        EXPECT_EQ(held, 2U);
    }
}

// Bootstrapping counts each message once for the keywords, once for the title and once for the
// canned text. These messages have only keywords.
TEST_F(zeWorkflowTrainTest, BootstrapTrainsEachClassifierFromKeywords) {
    Bootstrap();

    EXPECT_THAT(all_msgs(), ElementsAre(3, 2, 1));
    EXPECT_EQ(storage(root).m_concept_infos.at(term("goal")).m_rate, 10.0);
}

TEST_F(zeWorkflowTrainTest, InitialViewIsUsedIfThereIsNoOther) {
    zeWorkflow(&manager).train(nullptr, &corpus.view, false, nullptr, false);

    EXPECT_EQ(storage(root).m_concept_infos.at(term("goal")).m_rate, 10.0);
}

TEST_F(zeWorkflowTrainTest, TrainingSetsItsTimeAndTheModifiedFlag) {
    Train();

    EXPECT_EQ(last_trained(), Stopped_clock::kNow);
    EXPECT_TRUE(manager.m_modified);
}

TEST_F(zeWorkflowTrainTest, TrainingWithoutMessagesSetsOnlyItsTimeAndTheModifiedFlag) {
    corpus.view.msgs.clear();
    Progress_log progress;

    Train(&progress);

    EXPECT_THAT(progress.lines,
                ElementsAre("Preparing corpus", "total 0", "Training classifier(s)"));
    EXPECT_THAT(all_msgs(), ElementsAre(0, 0, 0));
    EXPECT_EQ(last_trained(), Stopped_clock::kNow);
    EXPECT_TRUE(manager.m_modified);
}

TEST_F(zeWorkflowTrainTest, ManagersProgressIsReplacedDuringTheTraining) {
    Interrupt_at old_progress(0);
    manager.m_progress = &old_progress;
    Interrupt_at progress(0);

    Train(&progress);

    EXPECT_GT(progress.polls, 0);
    EXPECT_EQ(old_progress.polls, 0);
    EXPECT_EQ(manager.m_progress, &old_progress);
}

TEST_F(zeWorkflowTrainTest, TrainingWithoutAProgressIsNotInterrupted) {
    Interrupt_at old_progress(1);
    manager.m_progress = &old_progress;

    Train();
    TrainRoot();
    Learn();

    EXPECT_EQ(old_progress.polls, 0);
    EXPECT_EQ(manager.m_progress, &old_progress);
}

// Refusals.

TEST_F(zeWorkflowTrainTest, CompactContainerIsRefusedBeforeAnythingElse) {
    manager.m_compact = true;
    AddStray();
    Progress_log progress;
    zeWorkflow workflow(&manager);
    const std::string text = "Operation cannot be performed on compact KB";

    EXPECT_QTX_ARGS(workflow.train(corpus.view, false, &progress, false), zeWorkflow, 3, text, {});
    EXPECT_QTX_ARGS(workflow.train(corpus.view, true, &progress, false), zeWorkflow, 3, text, {});
    EXPECT_QTX_ARGS(workflow.bootstrap(corpus.view, false, &progress, false), zeWorkflow, 3,
                    "Operation cannot be performed on compact KB", {});
    EXPECT_QTX_ARGS(workflow.learn(corpus.view, &progress, false, true), zeWorkflow, 3, text, {});

    EXPECT_THAT(progress.lines, IsEmpty());
    EXPECT_EQ(manager.m_progress, nullptr);
    EXPECT_FALSE(manager.m_modified);
    EXPECT_EQ(last_trained(), 1);
    EXPECT_TRUE(manager.m_compact);
}

TEST_F(zeWorkflowTrainTest, UnknownCategoryIsRefusedBeforeAnythingIsTrained) {
    AddStray();
    for (const Operation& operation : distributing_operations()) {
        SCOPED_TRACE(operation.name);
        Progress_log progress;

        EXPECT_QTX_ARGS(
            operation.run(*this, &progress), zeWorkflow, 1,
            "The KB doesn't contain a category \"stray\" that appears in msg no. 3 of the corpus",
            {"stray", "3"});

        EXPECT_THAT(progress.lines, ElementsAre("Preparing corpus"));
        EXPECT_THAT(all_msgs(), ElementsAre(0, 0, 0));
        EXPECT_EQ(last_trained(), 1);
        EXPECT_FALSE(manager.m_modified);
        EXPECT_EQ(manager.m_progress, &progress);
        manager.m_progress = nullptr;
    }
}

TEST_F(zeWorkflowTrainTest, UnknownCategoryIsLeftOutIfRequested) {
    AddStray();

    zeWorkflow(&manager).train(corpus.view, false, nullptr, true);
    zeWorkflow(&manager).learn(corpus.view, nullptr, true, true);

    EXPECT_THAT(all_msgs(), ElementsAre(6, 4, 2));
}

TEST_F(zeWorkflowTrainTest, StatisticalNodeWithoutItsClassifierBreaksTheInvariant) {
    manager.m_physical_tree->release_classifier(news, nullptr);

    EXPECT_ASSERTS(Train(), "stat_matcher");
    EXPECT_ASSERTS(Learn(), "stat_matcher");

    EXPECT_EQ(msgs_at(root), 6);
    EXPECT_EQ(msgs_at(shop), 0);
    EXPECT_EQ(last_trained(), 1);
    EXPECT_EQ(manager.m_physical_tree.use_count(), 1U);
}

// Interruption.

TEST_F(zeWorkflowTrainTest, PollFollowsEachClassifier) {
    Interrupt_at progress(0);

    Train(&progress);

    // 3 labels are polled as they are distributed. Then root, news and shop are polled after each
    // of their messages (3, 2 and 1), for each of their profiles while the matching table is built
    // (3, 2 and 1), and once each by the workflow.
    EXPECT_EQ(progress.polls, 3 + (3 + 3 + 1) + (2 + 2 + 1) + (1 + 1 + 1));
}

// There is one poll for each distributed label, and then the polls of the learners. There are no
// polls between classifiers.
TEST_F(zeWorkflowTrainTest, LearningDoesNotPollBetweenTwoClassifiers) {
    const std::vector<int> at_learners = PollsOfLearners();
    Interrupt_at progress(0);

    Learn(&progress);

    EXPECT_EQ(progress.polls, 3 + at_learners[0] + at_learners[1] + at_learners[2]);
}

TEST_F(zeWorkflowTrainTest, TrainingInterruptedAtAnyPollCanBeRepeated) {
    for (const Operation& operation : distributing_operations()) {
        const int poll_count = polls_of(operation);
        ASSERT_GT(poll_count, 15);
        for (int poll = 1; poll <= poll_count; ++poll) {
            expect_to_break_off(operation, poll);
        }
    }
}

TEST_F(zeWorkflowTrainTest, TrainingOnlyTheRootCanBeInterruptedAtAnyPoll) {
    const int poll_count = polls_of(train_root());

    EXPECT_EQ(poll_count, 3 + 3);  // its messages and its profiles; no other polls
    for (int poll = 1; poll <= poll_count; ++poll) {
        expect_to_break_off(train_root(), poll);
    }
}

TEST_F(zeWorkflowTrainTest, ClassifiersTrainedBeforeAnInterruptionStayTrained) {
    Progress_log progress(3 + 3 + 3 + 1);  // after the root

    EXPECT_QTX(Train(&progress), zeWorkflow, 2, "Process interrupted");

    EXPECT_THAT(progress.lines,
                ElementsAre("Preparing corpus", "total 3", "Training classifier(s)", "+1"));
    EXPECT_THAT(all_msgs(), ElementsAre(3, 0, 0));
    EXPECT_EQ(last_trained(), 1);
    EXPECT_TRUE(manager.m_modified);
    manager.m_progress = nullptr;
}

TEST_F(zeWorkflowTrainTest, InterruptedDistributionLeavesTheContainerUnmodified) {
    Progress_log progress(3);

    EXPECT_QTX(Train(&progress), zeWorkflow, 2, "Process interrupted");

    EXPECT_THAT(progress.lines, ElementsAre("Preparing corpus"));
    EXPECT_FALSE(manager.m_modified);
    manager.m_progress = nullptr;
}

// Only the root.

TEST_F(zeWorkflowTrainTest, RootIsTrainedOnTheUnchangedView) {
    LabelForRoot();

    TrainRoot();

    EXPECT_THAT(all_msgs(), ElementsAre(3, 0, 0));
    EXPECT_EQ(msgs_for(root, news), 2);
    EXPECT_EQ(msgs_for(root, shop), 1);
    EXPECT_EQ(last_trained(), Stopped_clock::kNow);
    EXPECT_TRUE(manager.m_modified);
}

TEST_F(zeWorkflowTrainTest, RootIsBootstrapped) {
    LabelForRoot();

    zeWorkflow(&manager).bootstrap(corpus.view, true, nullptr, false);

    EXPECT_THAT(all_msgs(), ElementsAre(3, 0, 0));
    EXPECT_EQ(storage(root).m_concept_infos.at(term("goal")).m_rate, 10.0);
}

TEST_F(zeWorkflowTrainTest, RootIsReportedInTheSingular) {
    Progress_log training;
    Progress_log bootstrapping;

    TrainRoot(&training);
    zeWorkflow(&manager).bootstrap(corpus.view, true, &bootstrapping, false);

    EXPECT_THAT(training.lines, ElementsAre("total 1", "Training classifier", "+1"));
    EXPECT_THAT(bootstrapping.lines, ElementsAre("total 1", "Initializing classifier", "+1"));
}

TEST_F(zeWorkflowTrainTest, NewCategoryBecomesAChildOfTheRootAndEntersTheLogicalTree) {
    zeLogicalTree& logical = *manager.m_logical_tree;
    logical.KCE_Add(root, nullptr);
    AddStray();
    zeNode* const stray = corpus.view.msgs.back().cats.front();

    TrainRoot();

    EXPECT_EQ(stray->m_parent, root);
    const zeLogicalNode& mirrored = logical.nodes.at(logical.finder.at(stray));
    EXPECT_EQ(mirrored.category, term("stray"));
    EXPECT_EQ(mirrored.parent, 1U);
    EXPECT_EQ(logical.nodes.at(1).children.size(), storage(root).m_profiles.size());
}

TEST_F(zeWorkflowTrainTest, ProfilesAreMirroredOnceAndInTheirOrder) {
    LabelForRoot();

    TrainRoot();
    TrainRoot();

    zeLogicalTree& logical = *manager.m_logical_tree;
    EXPECT_EQ(logical.nodes.size(), 3U);
    EXPECT_EQ(logical.finder.at(news), 1U);
    EXPECT_EQ(logical.finder.at(shop), 2U);
    EXPECT_EQ(logical.finder.at(rule), 3U);
    EXPECT_EQ(logical.nodes.at(1).parent, 0U);  // the root itself is not mirrored
}

TEST_F(zeWorkflowTrainTest, ProfileWithoutItsNodeIsNotMirrored) {
    LabelForRoot();
    std::map<zeNode*, zeNode*> without_rule = {{news, news}, {shop, shop}};
    storage(root).global_replace(without_rule);

    TrainRoot();

    EXPECT_EQ(manager.m_logical_tree->nodes.size(), 2U);
}

TEST_F(zeWorkflowTrainTest, RuleRootIsNotTrainedButTheTimeIsSet) {
    manager.m_root = rule;
    Progress_log progress;

    TrainRoot(&progress);

    EXPECT_THAT(progress.lines, IsEmpty());
    EXPECT_EQ(progress.polls, 0);
    EXPECT_EQ(last_trained(), Stopped_clock::kNow);
    EXPECT_TRUE(manager.m_modified);
    EXPECT_TRUE(manager.m_logical_tree->nodes.empty());
    EXPECT_EQ(manager.m_progress, nullptr);
}

// Learning.

TEST_F(zeWorkflowTrainTest, LearningUpdatesEachClassifierWithTheMessagesThatReachIt) {
    Train();
    manager.m_config.last_trained = qtTimeDate(1);
    manager.m_modified = false;

    Learn();

    EXPECT_THAT(all_msgs(), ElementsAre(6, 4, 2));
    EXPECT_EQ(last_trained(), Stopped_clock::kNow);
    EXPECT_TRUE(manager.m_modified);
}

TEST_F(zeWorkflowTrainTest, LearningReportsItsStepsInOrder) {
    Progress_log progress;

    Learn(&progress);

    EXPECT_THAT(progress.lines, ElementsAre("Preparing corpus", "total 3", "Training classifier(s)",
                                            "+1", "+1", "+1"));
    EXPECT_EQ(manager.m_progress, nullptr);
}

// If its flag is set, learning first limits the weights. Here a category's weight is limited to 1
// before 1 is added.
TEST_F(zeWorkflowTrainTest, LearningPassesOnItsFlagForTheFirstStep) {
    storage(news).m_min_Rlimit = 1.0;
    storage(news).m_average_Rlimit = 1.0;
    storage(news).m_max_Rlimit = 1.0;
    Train();
    Train();
    ASSERT_EQ(WeightOf(news, sport), 2.0);

    Learn(nullptr, false);
    EXPECT_EQ(WeightOf(news, sport), 3.0);

    Learn(nullptr, true);
    EXPECT_EQ(WeightOf(news, sport), 2.0);
}

}  // namespace
