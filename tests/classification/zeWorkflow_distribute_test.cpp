// Distribution of labelled messages: which classifiers a message reaches, and its labels there.
#include "zandrel/classification/zeWorkflow.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/distribution.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/progress_log.h"
#include "tests/support/trace_capture.h"

using zandrel::kTraceWarning;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class zeWorkflowDistributeTest : public Distributing {
protected:
    // First: this way is open. Second: an open way was found for the message.
    using Climbed = std::pair<bool, bool>;

    // Follows the way up from `child` for the first message of the view. Unknown categories are
    // left out.
    Climbed Climb(zeNode* node, zeNode* child, bool found = false) {
        zeWorkflow::Node_set negatives;
        const bool is_open =
            zeWorkflow(&m_tree.Manager())
                .distribute_positive_msg2ancestors(node, child, m_distribution, m_corpus.view, 0,
                                                   found, negatives, true);
        return {is_open, found};
    }
};

std::string blocked_text(int position) {
    return "All the matching paths to the categories of message no. " + std::to_string(position) +
           " are blocked";
}

// The way up.

TEST_F(zeWorkflowDistributeTest, EachAncestorGetsTheChildOnTheWayAsTheLabel) {
    zeNode* const root = m_tree.Root("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    Add({m_tree.Leaf(news, "sport", 1.0)});

    Distribute();

    EXPECT_EQ(Distributed(),
              (Routed_by_name{{"root", {{0, {"news"}}}}, {"news", {{0, {"sport"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, MessagesAreReadFromTheCorpusOfTheView) {
    zeNode* const root = m_tree.Root("root");
    Add({m_tree.Leaf(root, "sport", 1.0)});

    Distribute();

    EXPECT_EQ(m_distribution.at(root).corpus, &m_corpus.corpus);
}

TEST_F(zeWorkflowDistributeTest, OrderOfTheViewIsKept) {
    zeNode* const root = m_tree.Root("root");
    zeNode* const sport = m_tree.Leaf(root, "sport", 1.0);
    for (int i = 0; i < 3; ++i) {
        Add({sport});
    }
    std::swap(m_corpus.view.msgs[0], m_corpus.view.msgs[2]);

    Distribute();

    EXPECT_EQ(Distributed(),
              (Routed_by_name{{"root", {{2, {"sport"}}, {1, {"sport"}}, {0, {"sport"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, MessageOfTwoCategoriesIsEnteredOnceAtTheirCommonAncestor) {
    zeNode* const root = m_tree.Root("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    zeNode* const sport = m_tree.Leaf(news, "sport", 1.0);
    zeNode* const money = m_tree.Leaf(root, "money", 1.0);
    Add({sport, money});

    Distribute();

    EXPECT_EQ(Distributed(),
              (Routed_by_name{{"root", {{0, {"news", "money"}}}}, {"news", {{0, {"sport"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, ChildIsALabelOnceForTwoCategoriesBelowIt) {
    zeNode* const root = m_tree.Root("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    zeNode* const sport = m_tree.Leaf(news, "sport", 1.0);
    zeNode* const money = m_tree.Leaf(news, "money", 1.0);
    Add({sport, money});

    Distribute();

    EXPECT_EQ(Distributed(),
              (Routed_by_name{{"root", {{0, {"news"}}}}, {"news", {{0, {"sport", "money"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, RuleNodeOnTheWayIsALabelAboveButHasNoView) {
    zeNode* const root = m_tree.Root("root");
    zeNode* const rule = m_tree.Rule(root, "rule");
    zeNode* const news = m_tree.Inner(rule, "news", 1.0);
    Add({m_tree.Leaf(news, "sport", 1.0)});

    Distribute();

    EXPECT_EQ(Distributed(),
              (Routed_by_name{{"root", {{0, {"rule"}}}}, {"news", {{0, {"sport"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, RuleRootHasNoView) {
    zeNode* const root = m_tree.RuleRoot("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    Add({m_tree.Leaf(news, "sport", 1.0), m_tree.Leaf(root, "other", 1.0)});

    Distribute();

    EXPECT_EQ(Distributed(), (Routed_by_name{{"news", {{0, {"sport"}}}}}));
}

// The way is stat - rule - stat - rule - leaf, and one of its rules blocks.
TEST_F(zeWorkflowDistributeTest, BlockingRuleKeepsTheMessageFromAllNodesOfItsWay) {
    zeNode* const root = m_tree.Root("root");
    zeNode* const upper = m_tree.Rule(root, "upper");
    zeNode* const news = m_tree.Inner(upper, "news", 1.0);
    zeNode* const lower = m_tree.Rule(news, "lower");
    zeNode* const sport = m_tree.Leaf(lower, "sport", 1.0);
    Add({sport});

    struct Row {
        zeNode* rule;
        zeNode* child;
    };

    for (const Row& row : {Row{upper, news}, Row{lower, sport}}) {
        SCOPED_TRACE(row.rule->m_concept.c_str());
        m_tree.Block(row.rule, row.child);
        const Trace_capture traced;

        Distribute();

        EXPECT_TRUE(traced.has(kTraceWarning, blocked_text(0)));
        EXPECT_THAT(Distributed(), IsEmpty());
        m_tree.Classifier(row.rule).blocked_children.clear();
    }
}

TEST_F(zeWorkflowDistributeTest, OneOpenWayIsEnough) {
    zeNode* const root = m_tree.RuleRoot("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    zeNode* const shop = m_tree.Inner(root, "shop", 1.0);
    zeNode* const sport = m_tree.Leaf(news, "sport", 1.0);
    zeNode* const shoes = m_tree.Leaf(shop, "shoes", 1.0);
    m_tree.Block(root, news);
    Add({sport, shoes});
    const Trace_capture traced(kTraceWarning);

    Distribute();

    EXPECT_THAT(traced.texts(), IsEmpty());
    EXPECT_EQ(Distributed(), (Routed_by_name{{"shop", {{0, {"shoes"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, RulesAreAskedFromTheCategoryUpToTheFirstThatBlocks) {
    std::vector<std::string> asked;
    zeNode* const root = m_tree.RuleRoot("root");
    zeNode* const middle = m_tree.Rule(root, "middle");
    zeNode* const low = m_tree.Rule(middle, "low");
    for (zeNode* node : {root, middle, low}) {
        m_tree.Classifier(node).on_blocked = [&asked, node] {
            asked.push_back(node->m_concept.text().str());
        };
    }
    m_tree.Block(middle, low);
    Add({m_tree.Leaf(low, "sport", 1.0)});

    Distribute();

    EXPECT_THAT(asked, ElementsAre("low", "middle"));
}

TEST_F(zeWorkflowDistributeTest, WayUpMayHaveAnyNumberOfLevels) {
    constexpr int kLevels = 200000;
    zePhysicalTree& tree = m_tree.Tree();
    zeNode* node = m_tree.Root("root");
    for (int level = 0; level < kLevels; ++level) {
        zeNode* const child = tree.MakeNode(term("level"), ZE_LEAF, 0, 0.0);
        node->add_child(child);
        child->m_classifier_type = level + 1 < kLevels ? ZE_STAT : ZE_LEAF;
        node = child;
    }
    Add({node});

    Distribute();

    EXPECT_EQ(m_distribution.size(), static_cast<std::size_t>(kLevels));
}

// Messages that reach no node.

TEST_F(zeWorkflowDistributeTest, MessageWithoutCategoriesIsLeftOutAsBlocked) {
    zeNode* const root = m_tree.Root("root");
    Add({});
    Add({m_tree.Leaf(root, "sport", 1.0)});
    const Trace_capture traced;

    Distribute();

    EXPECT_TRUE(traced.has(kTraceWarning, blocked_text(0)));
    EXPECT_EQ(Distributed(), (Routed_by_name{{"root", {{1, {"sport"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, BlockedMessageIsNamedByItsPositionInTheView) {
    m_tree.Root("root");
    Add({});
    Add({});
    m_corpus.view.msgs.erase(m_corpus.view.msgs.begin());
    const Trace_capture traced(kTraceWarning);

    Distribute();

    EXPECT_THAT(traced.texts(), ElementsAre(blocked_text(0)));
}

TEST_F(zeWorkflowDistributeTest, MessageThatItsCorpusCannotReadIsLeftOut) {
    zeNode* const root = m_tree.Root("root");
    m_corpus.add(qtPtrLight<zeMsg>(), {m_tree.Leaf(root, "sport", 1.0)});
    const Trace_capture traced(kTraceWarning);

    Distribute();

    EXPECT_THAT(traced.texts(), ElementsAre(blocked_text(0)));
    EXPECT_THAT(Distributed(), IsEmpty());
}

TEST_F(zeWorkflowDistributeTest, BeginningAndEndAreTraced) {
    zeNode* const root = m_tree.Root("root");
    Add({m_tree.Leaf(root, "sport", 1.0)});
    Add({});
    const Trace_capture traced;

    Distribute();

    EXPECT_THAT(traced.texts(), ElementsAre("Starting distribution of a corpus (2 msgs)",
                                            blocked_text(1), "Distribution finished"));
    EXPECT_EQ(traced.lines.front().level, zandrel::kTraceDebug);
    EXPECT_EQ(traced.lines.back().level, zandrel::kTraceDebug);
}

// Categories that are in no tree.

TEST_F(zeWorkflowDistributeTest, CategoryWithoutAParentIsRefused) {
    m_tree.Root("root");
    Add({});
    Add({Stray("100% stray")});
    m_corpus.view.msgs.erase(m_corpus.view.msgs.begin());
    const Trace_capture traced(kTraceWarning);

    EXPECT_QTX_ARGS(
        Distribute(), zeWorkflow, 1,
        "The KB doesn't contain a category \"100% stray\" that appears in msg no. 1 of the corpus",
        {"100% stray", "1"});

    EXPECT_THAT(traced.texts(),
                ElementsAre("The KB doesn't contain a category \"100% stray\" that appears in msg "
                            "no. 1 of the corpus"));
    EXPECT_THAT(Distributed(), IsEmpty());
}

TEST_F(zeWorkflowDistributeTest, RootAsACategoryIsRefused) {
    zeNode* const root = m_tree.Root("root");
    Add({root});

    EXPECT_QTX_ARGS(
        Distribute(), zeWorkflow, 1,
        "The KB doesn't contain a category \"root\" that appears in msg no. 0 of the corpus",
        {"root", "0"});
}

TEST_F(zeWorkflowDistributeTest, CategoryBelowAnotherRootIsRefused) {
    zeNode* const old_root = m_tree.Root("old root");
    Add({});
    Add({m_tree.Leaf(old_root, "sport", 1.0)});
    m_corpus.view.msgs.erase(m_corpus.view.msgs.begin());
    m_tree.Root("root");

    EXPECT_QTX_ARGS(
        Distribute(), zeWorkflow, 1,
        "The KB doesn't contain a category \"old root\" that appears in msg no. 1 of the corpus",
        {"old root", "1"});

    EXPECT_THAT(Distributed(), IsEmpty());
}

// A wrong label is an error regardless of rules, so the error is raised even if no way is open.
TEST_F(zeWorkflowDistributeTest, BlockingOtherRootIsRefusedToo) {
    zeNode* const old_root = m_tree.RuleRoot("old root");
    zeNode* const sport = m_tree.Leaf(old_root, "sport", 1.0);
    m_tree.Block(old_root, sport);
    Add({sport});
    m_tree.Root("root");

    EXPECT_QTX(
        Distribute(), zeWorkflow, 1,
        "The KB doesn't contain a category \"old root\" that appears in msg no. 0 of the corpus");
}

TEST_F(zeWorkflowDistributeTest, BlockedWayBelowAnotherRootIsNoUnknownCategory) {
    zeNode* const old_root = m_tree.Root("old root");
    zeNode* const rule = m_tree.Rule(old_root, "rule");
    zeNode* const sport = m_tree.Leaf(rule, "sport", 1.0);
    m_tree.Block(rule, sport);
    Add({sport});
    m_tree.Root("root");
    const Trace_capture traced(kTraceWarning);

    Distribute();

    EXPECT_THAT(traced.texts(), ElementsAre(blocked_text(0)));
}

TEST_F(zeWorkflowDistributeTest, UnknownCategoryIsLeftOutIfRequested) {
    zeNode* const root = m_tree.Root("root");
    zeNode* const stray = Stray("stray");
    Add({stray});
    Add({stray, m_tree.Leaf(root, "sport", 1.0)});
    const Trace_capture traced(kTraceWarning);

    Distribute(true);

    const std::string unknown = "The KB doesn't contain a category \"stray\" that appears in msg ";
    EXPECT_THAT(traced.texts(), ElementsAre(unknown + "no. 0 of the corpus", blocked_text(0),
                                            unknown + "no. 1 of the corpus"));
    EXPECT_EQ(Distributed(), (Routed_by_name{{"root", {{1, {"sport"}}}}}));
}

TEST_F(zeWorkflowDistributeTest, CategoryOfAnotherRootIsLeftOutIfRequested) {
    zeNode* const old_root = m_tree.Root("old root");
    Add({m_tree.Leaf(old_root, "sport", 1.0)});
    m_tree.Root("root");
    const Trace_capture traced(kTraceWarning);

    Distribute(true);

    EXPECT_TRUE(traced.has(kTraceWarning, blocked_text(0)));
    EXPECT_THAT(Distributed(), IsEmpty());
}

TEST_F(zeWorkflowDistributeTest, TextOfALongNameIsCutButNotTheArgument) {
    const std::string name(2000, 'x');
    m_tree.Root("root");
    zeNode* const stray = Stray(name);
    const std::string begin = "The KB doesn't contain a category \"";
    const std::string cut = begin + std::string(1023 - begin.size(), 'x');
    const Trace_capture traced;

    EXPECT_QTX_ARGS(zeWorkflow(&m_tree.Manager()).report_invalid_node(stray, 7, false), zeWorkflow,
                    1, cut, {qtString(name), "7"});

    EXPECT_THAT(traced.texts(), ElementsAre(cut));
}

// Errors during distribution.

class Unreadable_corpus : public zeMemoryCorpus {
public:
    using zeMemoryCorpus::get_msg;

    qtPtrLight<zeMsg> get_msg(const iMsg& /*position*/) const override {
        throw std::runtime_error("cannot be read");
    }
};

TEST_F(zeWorkflowDistributeTest, ErrorOfTheCorpusIsPassedOnAndTheTreeReleased) {
    zeNode* const root = m_tree.Root("root");
    Unreadable_corpus corpus;
    MessageBuilder().add_to(corpus);
    m_corpus.view.set_corpus(&corpus);
    m_corpus.view.add_msg(0);
    m_corpus.view.add_cat2msg(0, m_tree.Leaf(root, "sport", 1.0));

    EXPECT_THROW(Distribute(), std::runtime_error);

    EXPECT_EQ(m_tree.Manager().m_physical_tree.use_count(), 1U);
}

TEST_F(zeWorkflowDistributeTest, WalkContinuesInTheTreeThatTheManagerReplaces) {
    zeNode* const root = m_tree.RuleRoot("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    Add({m_tree.Leaf(news, "sport", 1.0)});
    m_tree.Classifier(root).on_blocked = [&] {
        m_tree.Manager().m_physical_tree =
            qtPtrLight<zePhysicalTree>(new zePhysicalTree(&m_tree.Manager()));
    };

    Distribute();

    EXPECT_EQ(m_distribution.size(), 1U);
    EXPECT_EQ(m_tree.Manager().m_physical_tree.use_count(), 1U);
}

// The classifier of a rule node, and the progress object at each poll between two labels, may call
// code that replaces the manager's tree.
TEST_F(zeWorkflowDistributeTest, TreeIsKeptUntilTheWalkEnds) {
    zeNode* const root = m_tree.RuleRoot("root");
    zeNode* const sport = m_tree.Leaf(root, "sport", 1.0);
    Add({sport});
    const qtPtrLight<zePhysicalTree>& tree = m_tree.Manager().m_physical_tree;
    zeWorkflow workflow(&m_tree.Manager());
    std::vector<std::size_t> held;
    const auto look = [&] { held.push_back(tree.use_count()); };
    m_tree.Classifier(root).on_blocked = look;
    Watching_progress progress(Watching_progress::Moment::kPoll, look);

    workflow.is_cat_blocked(root, sport, *MessageBuilder().make());
    Climb(root, sport);
    m_tree.Manager().m_progress = &progress;
    Distribute();
    m_tree.Manager().m_progress = nullptr;

    EXPECT_THAT(held, ElementsAre(2U, 2U, 2U, 3U));
}

// A corpus that fails after some reads, as one stored on a disk may.
class Fading_corpus : public zeMemoryCorpus {
public:
    explicit Fading_corpus(int reads) : m_reads(reads) {}

    using zeMemoryCorpus::get_msg;

    qtPtrLight<zeMsg> get_msg(const iMsg& position) const override {
        return m_reads-- > 0 ? zeMemoryCorpus::get_msg(position) : qtPtrLight<zeMsg>();
    }

private:
    mutable int m_reads;
};

TEST_F(zeWorkflowDistributeTest, MessageThatCanNoLongerBeReadIsNotDistributedFurther) {
    Propagate();
    zeNode* const root = m_tree.RuleRoot("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    zeNode* const sport = m_tree.Leaf(news, "sport", 1.0);
    m_tree.Inner(root, "shop", 1.0);
    const std::vector<Routed_by_name> expected = {
        {},                            // the first read fails
        {},                            // the read on the way from sport to news fails
        {},                            // the read on the way from news to the root fails
        {{"news", {{0, {"sport"}}}}},  // the read on the way down to news fails
        {{"news", {{0, {"sport"}}}}},  // the read on the way down to shop fails
        {{"news", {{0, {"sport"}}}}, {"shop", {{0, {}}}}},
    };
    for (std::size_t reads = 0; reads < expected.size(); ++reads) {
        SCOPED_TRACE(reads);
        Fading_corpus corpus(static_cast<int>(reads));
        MessageBuilder().add_to(corpus);
        zeCorpus_view view(&corpus);
        view.add_msg(0);
        view.add_cat2msg(0, sport);
        m_distribution.clear();

        zeWorkflow(&m_tree.Manager()).distribute_corpus(m_distribution, view, false);

        EXPECT_EQ(Distributed(), expected[reads]);
    }
}

// A single way up.

TEST_F(zeWorkflowDistributeTest, ClimbReturnsWhetherTheWayIsOpen) {
    zeNode* const root = m_tree.RuleRoot("root");
    zeNode* const news = m_tree.Inner(root, "news", 1.0);
    zeNode* const sport = m_tree.Leaf(news, "sport", 1.0);
    Add({sport});

    EXPECT_EQ(Climb(news, sport), (Climbed{true, true}));
    m_tree.Block(root, news);
    EXPECT_EQ(Climb(news, sport), (Climbed{false, false}));
    // an open way was found before, for another label
    EXPECT_EQ(Climb(news, sport, true), (Climbed{false, true}));
}

TEST_F(zeWorkflowDistributeTest, WayToAnotherRootIsNotOpen) {
    zeNode* const old_root = m_tree.Root("old root");
    zeNode* const sport = m_tree.Leaf(old_root, "sport", 1.0);
    Add({sport});
    m_tree.Root("root");

    EXPECT_EQ(Climb(old_root, sport), (Climbed{false, false}));
    EXPECT_THAT(Distributed(), IsEmpty());
}

// The view of a node.

TEST_F(zeWorkflowDistributeTest, ViewIsMadeForANodeThatHasNone) {
    zeNode* const root = m_tree.Root("root");
    Add({});

    zeCorpus_view& made = zeWorkflow(&m_tree.Manager())
                              .add_msg2distribution_map(m_distribution, root, m_corpus.view, 0);

    EXPECT_EQ(&made, &m_distribution.at(root));
    EXPECT_EQ(listing_of(made), (std::vector<Routed>{{0, {}}}));
}

TEST_F(zeWorkflowDistributeTest, SameMessageIsAddedAgainOnlyAfterAnotherOne) {
    zeNode* const root = m_tree.Root("root");
    Add({});
    Add({});
    zeWorkflow workflow(&m_tree.Manager());

    for (const int index : {0, 0, 1, 1, 0}) {
        workflow.add_msg2distribution_map(m_distribution, root, m_corpus.view, index);
    }

    EXPECT_EQ(Distributed(), (Routed_by_name{{"root", {{0, {}}, {1, {}}, {0, {}}}}}));
}

}  // namespace
