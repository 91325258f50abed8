// A whole tree is trained with one corpus. Each classifier gets the messages that the rules above
// it let pass, and the same rules decide in classification. Uses only public classes.
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/progress_log.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Ranking = std::vector<std::pair<std::string, double>>;

// Interrupts after `steps` classifiers are done.
class Stop_after : public Progress_log {
public:
    explicit Stop_after(std::size_t steps) : m_steps(steps) {}

    void Increment(unsigned int steps) override {
        Progress_log::Increment(steps);
        m_done += steps;
    }

    bool IsInterrupted() const override { return m_done >= m_steps; }

private:
    std::size_t m_steps;
    std::size_t m_done = 0;
};

// A news desk. Marks of a message decide which departments get it:
//
//     desk (statistics)
//       shop
//       press (rules)
//         home (statistics): sport, money      if the message is marked "home"
//         world (statistics): travel, food     if it is marked "world"
class Desk {
public:
    Desk() {
        Concept name = term("desk");
        m_workflow = manager.InitWorkflow(name);
        const unsigned int desk = 1;
        Add(desk, "shop", ZE_LEAF);
        const unsigned int press = Add(desk, "press", ZE_RULE);
        m_home = Add(press, "home", ZE_STAT, "$home(?)");
        Add(m_home, "sport", ZE_LEAF);
        Add(m_home, "money", ZE_LEAF);
        m_world = Add(press, "world", ZE_STAT, "$world(?)");
        Add(m_world, "travel", ZE_LEAF);
        Add(m_world, "food", ZE_LEAF);
    }

    static qtPtrLight<zeMsg> Message(std::string_view word, const std::vector<const char*>& marks) {
        // Training reads the bag of the text, bootstrapping the bag of the keywords.
        const qtPtrLight<zeMsg> msg =
            MessageBuilder().bag({{word, 2.0}}).bag_at(1, {{word, 2.0}}).make();
        for (const char* mark : marks) {
            msg->add_value(mark, mlMessageConverter::kString, "yes");
        }
        return msg;
    }

    static void AddTo(zeCorpus& corpus, std::string_view word,
                      const std::vector<const char*>& marks, std::string_view label) {
        qtPtrLight<zeMsg> msg = Message(word, marks);
        msg->categories.push_back(term(label));
        corpus.add_msg(msg);
    }

    // Four messages of each category.
    static void Fill(zeCorpus& corpus) {
        for (int i = 0; i < 4; ++i) {
            AddTo(corpus, "boot", {}, "shop");
            AddTo(corpus, "goal", {"home"}, "sport");
            AddTo(corpus, "bank", {"home"}, "money");
            AddTo(corpus, "hotel", {"world"}, "travel");
            AddTo(corpus, "soup", {"world"}, "food");
        }
    }

    zeCorpus_view View(zeCorpus& corpus) {
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&manager);
        return view;
    }

    void Train(CTProgress* progress = nullptr) {
        zeMemoryCorpus corpus;
        Fill(corpus);
        zeCorpus_view view = View(corpus);
        m_workflow->train(view, false, progress, false);
    }

    void Bootstrap(CTProgress* progress = nullptr) {
        zeMemoryCorpus corpus;
        Fill(corpus);
        zeCorpus_view view = View(corpus);
        m_workflow->bootstrap(view, false, progress, false);
    }

    void Learn(zeCorpus& corpus, CTProgress* progress = nullptr) {
        zeCorpus_view view = View(corpus);
        m_workflow->learn(view, progress, false, true);
    }

    void Clear() { m_workflow->clear_statistics(nullptr, nullptr); }

    Ranking Classify(std::string_view word, const std::vector<const char*>& marks) {
        zeResult_set results(0.0, -1);
        m_workflow->classify(*Message(word, marks), results, true, false);
        Ranking ranking;
        for (int rank = 0; rank < results.count(); ++rank) {
            const zeResult& result = results.get_result(rank);
            ranking.emplace_back(result.node->m_concept.view(), result.score);
        }
        return ranking;
    }

    std::string Best(std::string_view word, const std::vector<const char*>& marks) {
        const Ranking ranking = Classify(word, marks);
        return ranking.empty() ? "none" : ranking.front().first;
    }

    std::vector<Ranking> ClassifyAll() {
        std::vector<Ranking> rankings;
        for (const char* word : {"boot", "goal", "bank", "hotel", "soup"}) {
            rankings.push_back(Classify(word, {"home", "world"}));
        }
        return rankings;
    }

    // The numbers of messages that the classifiers of desk, home and world have counted.
    std::vector<int> Counts() { return {Count(1), Count(m_home), Count(m_world)}; }

    zeManager manager;

private:
    unsigned int Add(unsigned int parent, std::string_view category, unsigned char type,
                     const char* rule = "") {
        zeLogicalNode node;
        node.parent = parent;
        node.category = term(category);
        node.type = type;
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        node.rule = rule;
        return manager.m_logical_tree->AddLogicalNode(node);
    }

    int Count(unsigned int id) {
        zeClassifier* const matcher = manager.m_logical_tree->GetRealParent(id);
        return dynamic_cast<zeStat_matcher&>(*matcher).m_storage->m_num_msgs;
    }

    qtPtrLight<zeWorkflow> m_workflow;
    unsigned int m_home = 0;
    unsigned int m_world = 0;
};

void expect_to_know_its_topics(Desk& desk) {
    EXPECT_EQ(desk.Best("boot", {}), "shop");
    EXPECT_EQ(desk.Best("goal", {"home"}), "sport");
    EXPECT_EQ(desk.Best("bank", {"home"}), "money");
    EXPECT_EQ(desk.Best("hotel", {"world"}), "travel");
    EXPECT_EQ(desk.Best("soup", {"world"}), "food");
}

TEST(WholeTreeScenarioTest, EachClassifierIsTrainedOnItsPartOfOneCorpus) {
    Desk desk;
    Progress_log progress;

    desk.Train(&progress);

    EXPECT_THAT(progress.lines, ElementsAre("Preparing corpus", "total 3", "Training classifier(s)",
                                            "+1", "+1", "+1"));
    EXPECT_THAT(desk.Counts(), ElementsAre(20, 8, 8));
    expect_to_know_its_topics(desk);
}

TEST(WholeTreeScenarioTest, KeywordsBootstrapTheWholeTree) {
    Desk desk;
    Progress_log progress;

    desk.Bootstrap(&progress);

    EXPECT_THAT(progress.lines, ElementsAre("Preparing corpus", "total 3",
                                            "Initializing classifier(s)", "+1", "+1", "+1"));
    EXPECT_THAT(desk.Counts(), ElementsAre(20, 8, 8));
    expect_to_know_its_topics(desk);
}

TEST(WholeTreeScenarioTest, BootstrappedTreeContinuesLearning) {
    Desk desk;
    desk.Bootstrap();
    zeMemoryCorpus corpus;
    for (int i = 0; i < 4; ++i) {
        Desk::AddTo(corpus, "puck", {"home"}, "sport");
    }
    Progress_log progress;

    desk.Learn(corpus, &progress);

    // The classifier of world does not learn messages that do not reach it.
    EXPECT_THAT(progress.lines,
                ElementsAre("Preparing corpus", "total 2", "Training classifier(s)", "+1", "+1"));
    EXPECT_THAT(desk.Counts(), ElementsAre(24, 12, 8));
    EXPECT_EQ(desk.Best("puck", {"home"}), "sport");
    expect_to_know_its_topics(desk);
}

TEST(WholeTreeScenarioTest, BlockingRuleBlocksInTrainingAsInClassification) {
    Desk desk;
    desk.Train();
    zeMemoryCorpus corpus;
    Desk::AddTo(corpus, "goal", {}, "sport");
    Desk::AddTo(corpus, "goal", {"world"}, "sport");

    desk.Learn(corpus);

    EXPECT_THAT(desk.Counts(), ElementsAre(20, 8, 8));
    for (const auto& [name, score] : desk.Classify("goal", {"world"})) {
        EXPECT_NE(name, "sport");
    }
}

// The messages of money go to both departments, but their category is not below world. So for the
// classifier of world they count against travel, whose messages have the same word.
TEST(WholeTreeScenarioTest, WordOfOneDepartmentCountsAgainstTheOther) {
    Desk with;
    Desk without;
    without.manager.m_config.full_propogation = false;
    for (Desk* desk : {&with, &without}) {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 4; ++i) {
            Desk::AddTo(corpus, "fair", {"home", "world"}, "money");
            Desk::AddTo(corpus, "fair", {"world"}, "travel");
            Desk::AddTo(corpus, "soup", {"world"}, "food");
        }
        desk->Learn(corpus);
    }

    EXPECT_THAT(with.Counts(), ElementsAre(12, 4, 12));
    EXPECT_THAT(without.Counts(), ElementsAre(12, 4, 8));
    const Ranking warned = with.Classify("fair", {"world"});
    const Ranking unwarned = without.Classify("fair", {"world"});
    ASSERT_EQ(warned.front().first, "travel");
    ASSERT_EQ(unwarned.front().first, "travel");
    EXPECT_LT(warned.front().second, unwarned.front().second);
}

TEST(WholeTreeScenarioTest, InterruptionBetweenTwoClassifiersLeavesTheOthersUntrained) {
    Desk desk;
    Stop_after progress(2);

    EXPECT_QTX(desk.Train(&progress), zeWorkflow, 2, "Process interrupted");

    EXPECT_THAT(progress.lines,
                ElementsAre("Preparing corpus", "total 3", "Training classifier(s)", "+1", "+1"));
    EXPECT_THAT(desk.Counts(), ElementsAre(20, 8, 0));
    EXPECT_EQ(desk.manager.m_progress, &progress);
    desk.manager.m_progress = nullptr;
    EXPECT_EQ(desk.Best("goal", {"home"}), "sport");
    EXPECT_THAT(desk.Classify("hotel", {"world"}).front().first, "shop");
}

TEST(WholeTreeScenarioTest, TreeClearedAndTrainedAfterAnyInterruptionAnswersLikeANewOne) {
    Desk fresh;
    fresh.Train();
    const std::vector<Ranking> expected = fresh.ClassifyAll();
    for (std::size_t steps = 0; steps < 3; ++steps) {
        SCOPED_TRACE(steps);
        Desk desk;
        zeMemoryCorpus corpus;
        Desk::Fill(corpus);
        Stop_after progress(steps);
        EXPECT_QTX(desk.Train(&progress), zeWorkflow, 2, "Process interrupted");
        EXPECT_QTX(desk.Bootstrap(&progress), zeWorkflow, 2, "Process interrupted");
        EXPECT_QTX(desk.Learn(corpus, &progress), zeWorkflow, 2, "Process interrupted");
        desk.manager.m_progress = nullptr;

        desk.Clear();
        EXPECT_THAT(desk.Counts(), ElementsAre(0, 0, 0));
        EXPECT_THAT(desk.Classify("goal", {"home"}), IsEmpty());
        desk.Train();

        EXPECT_THAT(desk.Counts(), ElementsAre(20, 8, 8));
        EXPECT_EQ(desk.ClassifyAll(), expected);
    }
}

TEST(WholeTreeScenarioTest, CompactContainerCanBeTrainedAfterItIsCleared) {
    Desk desk;
    desk.Train();
    desk.manager.m_compact = true;
    EXPECT_QTX(desk.Train(), zeWorkflow, 3, "Operation cannot be performed on compact KB");

    desk.Clear();
    desk.Train();

    EXPECT_THAT(desk.Counts(), ElementsAre(20, 8, 8));
    expect_to_know_its_topics(desk);
}

}  // namespace
