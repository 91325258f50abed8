#include "text/model/Walk.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/cli/routed_kc.h"
#include "tests/support/expect_qtx.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kAllLabels = -1;

qtPtrLight<zeMsg> word_message() {
    return MessageBuilder().bag({{"word", 1.0}}).make();
}

const Walk_child& child_of(const Walk_step& step, const zeNode* node) {
    for (const Walk_child& child : step.children) {
        if (child.node == node) {
            return child;
        }
    }
    throw std::out_of_range("no such child");
}

Child_outcome outcome_of(const Walk_step& step, const zeNode* node) {
    return child_of(step, node).outcome;
}

std::vector<std::pair<std::string, double>> steps_of(const Walk& walk) {
    std::vector<std::pair<std::string, double>> steps;
    for (const Walk_step& step : walk.steps) {
        steps.emplace_back(step.node->m_concept.view(), step.score);
    }
    return steps;
}

// root (rules) - urgent        rule: $size(n) > 10 | "fire"
//              - shop (stat)   rule: $size(n) > 5 ? 0.5 : 0
//                  refund 3/4, late 1/2, praise 1/4, and old, which has learned nothing
//              - rest          default
//
// The message has the pair size = 7. The threshold of shop is 0.2.
class ShopWalkTest : public testing::Test {
protected:
    ShopWalkTest() { m_msg->add_value("size", mlMessageConverter::kInteger, "7"); }

    Walk Follow(int wanted) { return follow_walk(m_kc.Manager(), *m_msg, wanted); }

    const Walk_child& Child(const Walk_step& step, unsigned int id) {
        return child_of(step, m_kc.Node(id));
    }

    Routed_kc m_kc{ZE_RULE};
    unsigned int m_urgent = m_kc.Add(m_kc.root, "urgent", ZE_LEAF, "$size(n) > 10 | \"fire\"");
    unsigned int m_shop = m_kc.Add(m_kc.root, "shop", ZE_STAT, "$size(n) > 5 ? 0.5 : 0", 0.2);
    unsigned int m_refund = m_kc.AddLearned(m_shop, "refund", kThreeQuarters);
    unsigned int m_late = m_kc.AddLearned(m_shop, "late", kHalf);
    unsigned int m_praise = m_kc.AddLearned(m_shop, "praise", kOneQuarter);
    unsigned int m_old = m_kc.Add(m_shop, "old");
    unsigned int m_rest = m_kc.Add(m_kc.root, "rest", ZE_LEAF, "default");
    qtPtrLight<zeMsg> m_msg = word_message();
};

TEST_F(ShopWalkTest, WalkForOneLabelEndsAtTheBestOne) {
    const Walk walk = Follow(1);

    EXPECT_THAT(steps_of(walk), ElementsAre(testing::Pair("root", 1.0), testing::Pair("shop", 0.5),
                                            testing::Pair("refund", 0.375)));
    EXPECT_TRUE(walk.has_enough);
    ASSERT_EQ(walk.results.size(), 1U);
    EXPECT_EQ(walk.results[0].node, m_kc.Node(m_refund));
    EXPECT_EQ(walk.steps[0].outcome, Step_outcome::kNotScored);
    EXPECT_EQ(walk.steps[2].outcome, Step_outcome::kResult);
    EXPECT_EQ(walk.steps[2].rank, 1U);
    EXPECT_EQ(walk.steps[0].parent, 0U);
    EXPECT_EQ(walk.steps[1].parent, 1U);
    EXPECT_EQ(walk.steps[2].parent, 2U);
    EXPECT_TRUE(walk.steps[1].is_asked);
    EXPECT_FALSE(walk.steps[2].is_asked);
}

TEST_F(ShopWalkTest, RulesAreGivenWithValuesAndParts) {
    const Walk walk = Follow(1);

    const Walk_child& urgent = Child(walk.steps[0], m_urgent);
    EXPECT_EQ(urgent.outcome, Child_outcome::kRuleNotPositive);
    EXPECT_EQ(urgent.factor, 0.0);
    EXPECT_FALSE(urgent.score);
    EXPECT_EQ(urgent.rule->text, "$size(n) > 10 | \"fire\"");
    EXPECT_EQ(urgent.rule->value, 0.0);
    EXPECT_EQ(urgent.rule->parts.size(), 6U);  // to number, or, greater, $size(n), 10, "fire"
    const Walk_child& shop = Child(walk.steps[0], m_shop);
    EXPECT_EQ(shop.outcome, Child_outcome::kTaken);
    EXPECT_EQ(shop.step, 2U);
    EXPECT_EQ(shop.rule->value, 0.5);
    const Walk_child& rest = Child(walk.steps[0], m_rest);
    EXPECT_EQ(rest.outcome, Child_outcome::kDefaultNotReached);
    EXPECT_EQ(rest.rule->text, "default");
    EXPECT_FALSE(rest.rule->value);
    EXPECT_FALSE(rest.factor);
}

// 0.5 * 3/4 is taken. 0.5 * 1/2 waits. 0.5 * 1/4 is below 0.2.
TEST_F(ShopWalkTest, StatisticalChildrenHaveScoresAndReasons) {
    const Walk_step step = Follow(1).steps[1];

    ASSERT_EQ(step.children.size(), 4U);
    const std::vector<std::tuple<unsigned int, double, double, Child_outcome>> expected = {
        {m_refund, 0.75, 0.375, Child_outcome::kTaken},
        {m_late, 0.5, 0.25, Child_outcome::kWaits},
        {m_praise, 0.25, 0.125, Child_outcome::kBelowThreshold},
        {m_old, 0.0, 0.0, Child_outcome::kNoScore}};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto& [id, factor, score, outcome] = expected[i];
        SCOPED_TRACE(i);
        EXPECT_EQ(step.children[i].node, m_kc.Node(id));
        EXPECT_EQ(step.children[i].factor, factor);
        EXPECT_EQ(step.children[i].score, score);
        EXPECT_EQ(step.children[i].outcome, outcome);
        EXPECT_FALSE(step.children[i].rule);
    }
}

TEST_F(ShopWalkTest, WalkForAllLabelsTakesTheWaitingOnesToo) {
    const Walk walk = Follow(kAllLabels);

    EXPECT_THAT(steps_of(walk),
                ElementsAre(testing::Pair("root", 1.0), testing::Pair("shop", 0.5),
                            testing::Pair("refund", 0.375), testing::Pair("late", 0.25)));
    EXPECT_FALSE(walk.has_enough);
    EXPECT_EQ(walk.steps[3].rank, 2U);
    EXPECT_EQ(Child(walk.steps[1], m_late).step, 4U);
    EXPECT_EQ(Child(walk.steps[1], m_praise).outcome, Child_outcome::kBelowThreshold);
}

TEST_F(ShopWalkTest, DefaultIsTakenIfNoRuleFires) {
    m_msg->add_value("size", mlMessageConverter::kInteger, "5");

    const Walk walk = Follow(1);

    EXPECT_THAT(steps_of(walk),
                ElementsAre(testing::Pair("root", 1.0), testing::Pair("rest", 1.0)));
    EXPECT_EQ(Child(walk.steps[0], m_rest).factor, 1.0);
    EXPECT_EQ(Child(walk.steps[0], m_shop).outcome, Child_outcome::kRuleNotPositive);
}

TEST_F(ShopWalkTest, TextWithoutWordsHasOnlyScoresOfZero) {
    m_msg = MessageBuilder().bag({}).make();
    m_msg->add_value("size", mlMessageConverter::kInteger, "7");

    const Walk walk = Follow(1);

    EXPECT_FALSE(walk.has_words);
    EXPECT_THAT(walk.results, IsEmpty());
    ASSERT_EQ(walk.steps.size(), 2U);
    for (const Walk_child& child : walk.steps[1].children) {
        EXPECT_EQ(child.outcome, Child_outcome::kNoScore);
    }
    EXPECT_TRUE(Follow(1).steps[1].is_asked);
    EXPECT_TRUE(follow_walk(m_kc.Manager(), *word_message(), 1).has_words);
}

// If shop is scored and one label is wanted, the walk ends there.
TEST_F(ShopWalkTest, ClassifierOfTheLastResultIsNotAsked) {
    m_kc.Score(m_shop);

    const Walk walk = Follow(1);

    ASSERT_EQ(walk.steps.size(), 2U);
    EXPECT_EQ(walk.steps[1].outcome, Step_outcome::kResult);
    EXPECT_FALSE(walk.steps[1].is_asked);
    EXPECT_THAT(walk.steps[1].children, IsEmpty());
}

TEST(WalkTest, ValuesOfRulesThatDoNotFireAreGiven) {
    Routed_kc kc(ZE_RULE);
    const unsigned int below = kc.Add(kc.root, "below", ZE_LEAF, "-2");
    const unsigned int zero = kc.Add(kc.root, "zero", ZE_LEAF, "0");
    const unsigned int above = kc.Add(kc.root, "above", ZE_LEAF, "2.5");

    const Walk walk = follow_walk(kc.Manager(), *word_message(), 1);

    EXPECT_EQ(child_of(walk.steps[0], kc.Node(below)).factor, -2.0);
    EXPECT_EQ(outcome_of(walk.steps[0], kc.Node(below)), Child_outcome::kRuleNotPositive);
    EXPECT_EQ(outcome_of(walk.steps[0], kc.Node(zero)), Child_outcome::kRuleNotPositive);
    EXPECT_EQ(outcome_of(walk.steps[0], kc.Node(above)), Child_outcome::kTaken);
    EXPECT_EQ(walk.results[0].score, 2.5);
}

// A child is compared with the threshold of its parent, not with its own.
TEST(WalkTest, ThresholdOfTheParentCounts) {
    Routed_kc kc(ZE_STAT);
    const unsigned int half = kc.AddLearned(kc.root, "half", kHalf);
    kc.AddLearned(kc.root, "quarter", kOneQuarter);
    kc.Node(half)->m_threshold = 0.9;

    EXPECT_EQ(outcome_of(follow_walk(kc.Manager(), *word_message(), 1).steps[0], kc.Node(half)),
              Child_outcome::kTaken);
    kc.Node(kc.root)->m_threshold = 0.6;
    EXPECT_EQ(outcome_of(follow_walk(kc.Manager(), *word_message(), 1).steps[0], kc.Node(half)),
              Child_outcome::kBelowThreshold);
}

// Two rules select leaves of one category below one node. Only the better one enters the frontier.
TEST(WalkTest, WorseLeafOfTheSameCategoryBelowOneNodeIsLeft) {
    Routed_kc kc(ZE_RULE);
    const unsigned int low = kc.Add(kc.root, "low", ZE_LEAF, "0.25");
    const unsigned int high = kc.Add(kc.root, "high", ZE_LEAF, "0.5");
    kc.SetCategory(low, "money");
    kc.SetCategory(high, "money");

    const Walk walk = follow_walk(kc.Manager(), *word_message(), kAllLabels);

    ASSERT_EQ(walk.steps.size(), 2U);
    const Walk_child& left = child_of(walk.steps[0], kc.Node(low));
    EXPECT_EQ(left.outcome, Child_outcome::kSameCategory);
    EXPECT_EQ(left.better, kc.Node(high));
    EXPECT_EQ(left.score, 0.25);
    EXPECT_EQ(outcome_of(walk.steps[0], kc.Node(high)), Child_outcome::kTaken);
}

// The walk takes the leaf below `first` too, but later, so this leaf is no result of its own.
TEST(WalkTest, LeafOfACategoryFoundUnderAnotherParentIsNoSecondResult) {
    Routed_kc kc(ZE_RULE);
    const unsigned int first = kc.Add(kc.root, "first", ZE_RULE, "0.5");
    const unsigned int second = kc.Add(kc.root, "second", ZE_RULE, "0.75");
    kc.Add(first, "money", ZE_LEAF, "1");
    const unsigned int better = kc.Add(second, "money", ZE_LEAF, "1");

    const Walk walk = follow_walk(kc.Manager(), *word_message(), 2);

    ASSERT_EQ(walk.steps.size(), 5U);
    ASSERT_EQ(walk.results.size(), 1U);
    EXPECT_EQ(walk.results[0].node, kc.Node(better));
    EXPECT_EQ(walk.steps[2].outcome, Step_outcome::kResult);
    EXPECT_EQ(walk.steps[2].node, kc.Node(better));
    EXPECT_EQ(walk.steps[4].outcome, Step_outcome::kSameCategory);
    EXPECT_EQ(walk.steps[4].rank, 1U);
    EXPECT_FALSE(walk.has_enough);
}

// A rule with a value above 1 can make a later leaf better than an earlier one.
TEST(WalkTest, BetterLeafOfTheSameCategoryThatComesLaterIsTheResult) {
    Routed_kc kc(ZE_RULE);
    const unsigned int early = kc.Add(kc.root, "money", ZE_LEAF, "0.75");
    const unsigned int group = kc.Add(kc.root, "group", ZE_RULE, "0.5");
    const unsigned int late = kc.Add(group, "money", ZE_LEAF, "4");

    const Walk walk = follow_walk(kc.Manager(), *word_message(), kAllLabels);

    EXPECT_THAT(steps_of(walk),
                ElementsAre(testing::Pair("root", 1.0), testing::Pair("money", 0.75),
                            testing::Pair("group", 0.5), testing::Pair("money", 2.0)));
    EXPECT_EQ(walk.steps[1].node, kc.Node(early));
    EXPECT_EQ(walk.steps[1].outcome, Step_outcome::kSameCategory);
    EXPECT_EQ(walk.steps[3].node, kc.Node(late));
    EXPECT_EQ(walk.steps[3].outcome, Step_outcome::kResult);
}

TEST(WalkTest, ProductTooSmallForANumberIsAScoreOfZero) {
    Routed_kc kc(ZE_RULE);
    const std::string small = "0." + std::string(200, '0') + "1";
    const unsigned int group = kc.Add(kc.root, "group", ZE_RULE, small);
    const unsigned int leaf = kc.Add(group, "leaf", ZE_LEAF, small);

    const Walk walk = follow_walk(kc.Manager(), *word_message(), 1);

    ASSERT_EQ(walk.steps.size(), 2U);
    EXPECT_EQ(outcome_of(walk.steps[1], kc.Node(leaf)), Child_outcome::kNoScore);
    EXPECT_EQ(child_of(walk.steps[1], kc.Node(leaf)).score, 0.0);
}

// Only a damaged tree has a child without a rule.
TEST(WalkTest, ChildThatItsClassifierDoesNotKnowIsReported) {
    Routed_kc kc(ZE_RULE);
    const unsigned int leaf = kc.Add(kc.root, "leaf", ZE_LEAF, "1");
    dynamic_cast<zeSwitcher&>(*kc.Node(kc.root)->m_classifier).m_rules.erase(kc.Node(leaf));

    const Walk walk = follow_walk(kc.Manager(), *word_message(), 1);

    ASSERT_EQ(walk.steps.size(), 1U);
    EXPECT_EQ(outcome_of(walk.steps[0], kc.Node(leaf)), Child_outcome::kUnknown);
    EXPECT_FALSE(walk.steps[0].children[0].rule);
}

TEST(WalkTest, ContainerWithoutARootIsRefused) {
    zeManager manager;

    EXPECT_QTX(follow_walk(manager, *word_message(), 1), zeWorkflow, 0,
               "Root classifier does not exist");
}

TEST(WalkTest, DeepTreeIsFollowedWithoutRecursion) {
    constexpr std::size_t kDepth = 20000;
    Routed_kc kc(ZE_RULE);
    unsigned int parent = kc.root;
    for (std::size_t level = 0; level < kDepth; ++level) {
        parent = kc.Add(parent, "n", ZE_RULE, "1");
    }

    EXPECT_EQ(follow_walk(kc.Manager(), *word_message(), kAllLabels).steps.size(), kDepth + 1);
}

// A random tree of rule and statistical nodes, and random messages. It has few names, so that
// categories repeat. Values of rules, additive terms and words are from short lists, so that scores
// are often equal.
class Random_kc {
public:
    explicit Random_kc(unsigned int seed) : m_random(seed), kc(Below(2) == 0 ? ZE_RULE : ZE_STAT) {
        AddBelow(kc.root, 0);
        for (const unsigned int id : m_statistical) {
            kc.Matcher(id).feed(kc.Storage(id), true);
        }
    }

    qtPtrLight<zeMsg> Message() {
        zeSml_feeder feeder;
        for (const char* const word : {"a", "b", "c"}) {
            if (Below(2) == 0) {
                feeder.add_concept(term(word), static_cast<double>(1 + Below(3)));
            }
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        if (Below(2) == 0) {
            msg->add_value("n", mlMessageConverter::kInteger, std::to_string(Below(4)));
        }
        return msg;
    }

private:
    std::size_t Below(std::size_t end) { return m_random() % end; }

    template <class T>
    T Any(const std::vector<T>& all) {
        return all[Below(all.size())];
    }

    std::string Rule(bool& has_default) {
        if (!has_default && Below(5) == 0) {
            has_default = true;
            return "default";
        }
        return Any<std::string>({"\"a\"", "\"b\" & $n(n) > 1", "$n(?) ? 0.5 : 0.25", "$n(n) / 4",
                                 "parent_score * 0.5", "2", "0.5", "-1", "$n(n) - 1"});
    }

    void AddBelow(unsigned int parent, std::size_t level) {
        const bool has_rules = kc.Node(parent)->m_classifier_type == ZE_RULE;
        if (!has_rules) {
            m_statistical.push_back(parent);
        }
        if (Below(3) == 0) {
            kc.Node(parent)->m_threshold = Any<double>({0.125, 0.25, 0.5});
        }
        bool has_default = false;
        const std::size_t count = Below(5) + (level == 0 ? 1 : 0);
        for (std::size_t i = 0; i < count; ++i) {
            const unsigned int type = level == 4 ? 0 : static_cast<unsigned int>(Below(3));
            const std::string name(1, static_cast<char>('k' + i));
            zeLogicalNode node =
                node_to_add(parent, name, has_rules ? Rule(has_default) : "", type);
            node.attributes = Below(2) == 0 ? zeNode::NoScore : 0;
            const unsigned int id = kc.Manager().m_logical_tree->AddLogicalNode(node);
            if (!has_rules) {
                Learn(parent, id);
            }
            if (type != ZE_LEAF) {
                AddBelow(id, level + 1);
            } else if (Below(2) == 0) {
                kc.SetCategory(id, Any<std::string>({"x", "y", "\xC3"}));
            }
        }
    }

    void Learn(unsigned int parent, unsigned int id) {
        kc.Learn(parent, id, Any<double>({-0.5, -0.25, 0.0, 0.25}));
        zeStat_storage& storage = kc.Storage(parent);
        zeStat_storage::Profile& profile = storage.profile(storage.get_profile(kc.Node(id)));
        profile.m_num_msgs = Below(6) == 0 ? 0 : 1;
        for (const char* const word : {"a", "b"}) {
            if (Below(2) == 0) {
                profile.m_weights.push_back({term(word), Any<float>({-1.0F, 0.5F, 2.0F})});
            }
        }
    }

    std::mt19937 m_random;
    std::vector<unsigned int> m_statistical;

public:
    Routed_kc kc;
};

// The id of each node and the bits of its score, so that scores are compared bit by bit.
std::vector<std::pair<unsigned int, std::uint64_t>> bits_of(const std::vector<zeResult>& results) {
    std::vector<std::pair<unsigned int, std::uint64_t>> bits;
    for (const zeResult& result : results) {
        std::uint64_t score = 0;
        std::memcpy(&score, &result.score, sizeof score);
        bits.emplace_back(result.node->m_node_id, score);
    }
    return bits;
}

std::vector<zeResult> nodes_of(const Walk& walk) {
    std::vector<zeResult> nodes;
    for (const Walk_step& step : walk.steps) {
        nodes.push_back({step.node, step.score});
    }
    return nodes;
}

std::vector<zeResult> engine_results(zeManager& manager, zeMsg& msg, int wanted) {
    zeResult_set results(0.0, wanted);
    manager.GetWorkflow()->classify(msg, results, true, false);
    results.eliminate_duplicated_results();
    if (results.count() > 0) {
        results.get_result(0);
    }
    return results.results;
}

// If all nodes are results and none is left out, the engine adds each node that its walk takes to
// the set, in the order of the walk.
std::vector<zeResult> engine_walk(zeManager& manager, zeMsg& msg) {
    zeResult_set results(0.0, kAllLabels);
    manager.GetWorkflow()->classify(msg, results, false, false);
    return results.results;
}

std::size_t asked_count(const Walk& walk) {
    return static_cast<std::size_t>(std::count_if(walk.steps.begin(), walk.steps.end(),
                                                  [](const auto& step) { return step.is_asked; }));
}

// Each step but the first is a taken child of an earlier step, and each child that entered the
// frontier was taken, unless the walk had enough.
void expect_linked(const Walk& walk) {
    std::size_t taken = 0;
    for (const Walk_step& step : walk.steps) {
        for (const Walk_child& child : step.children) {
            ASSERT_TRUE(child.outcome != Child_outcome::kWaits || walk.has_enough);
            if (child.outcome == Child_outcome::kTaken) {
                ++taken;
                const Walk_step& later = walk.steps.at(child.step - 1);
                ASSERT_EQ(later.node, child.node);
                ASSERT_EQ(later.score, *child.score);
                ASSERT_EQ(&walk.steps.at(later.parent - 1), &step);
            }
        }
    }
    ASSERT_EQ(taken + 1, walk.steps.size());
}

void expect_walk_of_engine(zeManager& manager, zeMsg& msg, int wanted) {
    const unsigned int asked_before = g_ClassifyCount;
    const std::vector<zeResult> results = engine_results(manager, msg, wanted);
    const unsigned int asked = g_ClassifyCount - asked_before;
    const Walk walk = follow_walk(manager, msg, wanted);
    std::vector<zeResult> nodes = engine_walk(manager, msg);
    ASSERT_LE(walk.steps.size(), nodes.size());
    nodes.resize(wanted < 0 ? nodes.size() : walk.steps.size());

    ASSERT_EQ(bits_of(nodes_of(walk)), bits_of(nodes));
    ASSERT_EQ(bits_of(walk.results), bits_of(results));
    ASSERT_EQ(asked_count(walk), asked);
    expect_linked(walk);
}

TEST(WalkRandomTest, StepsScoresAndResultsEqualThoseOfTheEngine) {
    std::size_t steps = 0;
    for (unsigned int seed = 1; seed <= 600; ++seed) {
        Random_kc random(seed);
        for (int i = 0; i < 6; ++i) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", message " + std::to_string(i));
            const qtPtrLight<zeMsg> msg = random.Message();
            for (const int wanted : {kAllLabels, 1, 2, 4}) {
                expect_walk_of_engine(random.kc.Manager(), *msg, wanted);
                ASSERT_FALSE(testing::Test::HasFatalFailure());
            }
            steps += follow_walk(random.kc.Manager(), *msg, kAllLabels).steps.size();
        }
    }
    EXPECT_GT(steps,
              600U * 6 * 4);  // the trees must have long walks, or the test would show little
}

}  // namespace

}  // namespace zandrel::cli
