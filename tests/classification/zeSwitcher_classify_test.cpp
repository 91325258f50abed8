// The answers of zeSwitcher for a message: classify and is_cat_blocked.
#include "zandrel/classification/zeSwitcher.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/rule_node.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class zeSwitcherClassifyTest : public testing::Test {
protected:
    // The results for a message without content, as pairs of node and score.
    std::vector<std::pair<zeNode*, double>> Classify(double threshold, bool use_thresholds = false,
                                                     double node_score = 1.0) {
        zeResult_set results(threshold, -1);
        rules.switcher.classify(msg, results, node_score, use_thresholds);
        std::vector<std::pair<zeNode*, double>> found;
        for (const zeResult& result : results.results) {
            found.emplace_back(result.node, result.score);
        }
        return found;
    }

    bool IsBlocked(zeNode* child) { return rules.switcher.is_cat_blocked(child, msg); }

    // Sets the pair that `$v(n)` reads.
    void SetNumber(const char* number) { msg.add_value("v", mlMessageConverter::kString, number); }

    Rule_node rules;
    zeSwitcher& switcher = rules.switcher;
    zeMsg msg;
};

// classify. The child "ruled" has the rule, and another child is the default.

TEST_F(zeSwitcherClassifyTest, ClassifyDecidesByTheThresholdsOfNodeAndResults) {
    struct Row {
        const char* rule;
        bool use_thresholds;
        double node_threshold;
        double results_threshold;
        bool yields_ruled;
        bool yields_default;
    };

    zeNode* const ruled = rules.leaf("ruled", "1");
    zeNode* const fallback = rules.leaf("fallback", "default");
    for (const Row& row : {
             // Without thresholds a value above 0 fires.
             Row{"0.3", false, 0.0, 0.0, true, false},
             Row{"0.3", false, 0.9, 0.0, true, false},
             Row{"0", false, 0.0, 0.0, false, true},
             Row{"0", false, -1.0, 0.0, false, true},
             Row{"-0.5", false, 0.0, 0.0, false, true},
             Row{"-0.5", false, -1.0, -1.0, false, true},
             // With thresholds a value at or above the node's threshold fires.
             Row{"0.4", true, 0.5, 0.0, false, true},
             Row{"0.5", true, 0.5, 0.0, true, false},
             Row{"0.6", true, 0.5, 0.0, true, false},
             Row{"0", true, 0.0, 0.0, false, false},
             Row{"-0.5", true, -0.5, 0.0, false, false},
             Row{"-0.5", true, -0.5, -1.0, true, false},
             // A value equal to the threshold of the results is accepted only if it is above 0.
             Row{"-0.5", true, -0.5, -0.5, false, false},
             Row{"0", true, 0.0, -1.0, true, false},
             // A rule has fired even if the results refuse its value, so the default is not a
             // result.
             Row{"0.3", false, 0.0, 0.5, false, false},
             Row{"0.5", false, 0.0, 0.5, true, false},
             Row{"0.3", true, 0.2, 0.5, false, false},
             // The default needs a threshold of at most 1.
             Row{"0", false, 0.0, 1.0, false, true},
             Row{"0", false, 0.0, 1.001, false, false},
             // Values above 1 are not limited.
             Row{"2.5", false, 0.0, 2.0, true, false},
         }) {
        SCOPED_TRACE(testing::Message() << row.rule << ' ' << row.use_thresholds << ' '
                                        << row.node_threshold << ' ' << row.results_threshold);
        rules.change(ruled, row.rule);
        rules.node->m_threshold = row.node_threshold;
        std::vector<std::pair<zeNode*, double>> expected;
        if (row.yields_ruled) {
            expected.emplace_back(ruled, std::stod(row.rule));
        }
        if (row.yields_default) {
            expected.emplace_back(fallback, 1.0);
        }

        EXPECT_EQ(Classify(row.results_threshold, row.use_thresholds), expected);
    }
}

TEST_F(zeSwitcherClassifyTest, ClassifyIgnoresTheScoreAndTheChildsThreshold) {
    zeNode* const child = rules.leaf("a", "0.5");
    child->m_threshold = 0.9;
    rules.node->m_threshold = 0.5;

    EXPECT_THAT(Classify(0.0, true, 0.1), ElementsAre(Pair(child, 0.5)));
}

TEST_F(zeSwitcherClassifyTest, ClassifyPassesTheScoreToTheRules) {
    zeNode* const child = rules.leaf("a", "parent_score");

    EXPECT_THAT(Classify(0.0, false, 0.25), ElementsAre(Pair(child, 0.25)));
}

TEST_F(zeSwitcherClassifyTest, ClassifySelectsEveryChildWhoseRuleFires) {
    zeNode* const first = rules.leaf("a", "0.5");
    rules.leaf("b", "0");
    zeNode* const third = rules.leaf("c", "true");
    rules.leaf("d", "0.1");
    rules.leaf("e", "default");

    EXPECT_THAT(Classify(0.2), UnorderedElementsAre(Pair(first, 0.5), Pair(third, 1.0)));
}

TEST_F(zeSwitcherClassifyTest, ClassifyReturnsTheDefaultWithoutAnyRule) {
    zeNode* const fallback = rules.leaf("a", "default");

    EXPECT_THAT(Classify(1.0), ElementsAre(Pair(fallback, 1.0)));
    EXPECT_THAT(Classify(1.5), IsEmpty());
}

// The workflow multiplies the score of the default by that of the node, so the switcher must not do
// it too.
TEST_F(zeSwitcherClassifyTest, ClassifyReturnsTheDefaultWithScoreOneForAnyScore) {
    zeNode* const fallback = rules.leaf("a", "default");

    EXPECT_THAT(Classify(0.0, false, 0.25), ElementsAre(Pair(fallback, 1.0)));
    EXPECT_THAT(Classify(0.5, true, 0.25), ElementsAre(Pair(fallback, 1.0)));
}

TEST_F(zeSwitcherClassifyTest, ClassifyReturnsNothingWithoutRulesAndDefault) {
    EXPECT_THAT(Classify(0.0), IsEmpty());
    EXPECT_THAT(Classify(0.0, true), IsEmpty());
}

TEST_F(zeSwitcherClassifyTest, RuleWithTheValueNaNDoesNotFire) {
    rules.leaf("a", "$v(n)");
    zeNode* const fallback = rules.leaf("b", "default");
    SetNumber("nan");
    for (const bool use_thresholds : {false, true}) {
        SCOPED_TRACE(use_thresholds);

        EXPECT_THAT(Classify(0.0, use_thresholds), ElementsAre(Pair(fallback, 1.0)));
    }
}

TEST_F(zeSwitcherClassifyTest, ClassifyMarksTheResultsAsUnsortedIfItAdds) {
    struct Row {
        const char* first_rule;
        const char* second_rule;
        bool adds;
    };

    zeNode* const first = rules.leaf("a", "1");
    zeNode* const second = rules.leaf("b", "1");
    for (const Row& row : {Row{"1", "0", true}, Row{"0", "default", true}, Row{"0", "0", false}}) {
        SCOPED_TRACE(row.second_rule);
        rules.change(first, row.first_rule);
        rules.change(second, row.second_rule);
        zeResult_set results(0.0, -1);
        results.sorted = true;
        results.deduplicated = true;

        switcher.classify(msg, results, 1.0, false);

        EXPECT_EQ(results.sorted, !row.adds);
        EXPECT_EQ(results.deduplicated, !row.adds);
    }
}

TEST_F(zeSwitcherClassifyTest, ClassifyKeepsEarlierResults) {
    zeNode* const child = rules.leaf("a", "1");
    zeNode* const earlier = rules.leaf("b");
    zeResult_set results(0.0, -1);
    results.add(earlier, 0.5);

    switcher.classify(msg, results, 1.0, false);

    ASSERT_EQ(results.results.size(), 2U);
    EXPECT_EQ(results.results[0].node, earlier);
    EXPECT_EQ(results.results[1].node, child);
}

TEST_F(zeSwitcherClassifyTest, ClassifyLeavesTheSwitcherClean) {
    rules.leaf("a", "1");
    switcher.m_dirty = false;

    Classify(0.0);

    EXPECT_FALSE(switcher.m_dirty);
}

// Eight of ten rules fire, with and without thresholds.
TEST_F(zeSwitcherClassifyTest, ClassifyAllocatesOnlyForTheResults) {
    rules.leaf("fallback", "default");
    for (int i = 0; i < 10; ++i) {
        rules.leaf("child" + std::to_string(i),
                   i < 8 ? "$v(n) > 0.5 ? parent_score : 0" : "\"an absent concept\"");
    }
    SetNumber("0.75");
    rules.node->m_threshold = 0.5;
    for (const bool use_thresholds : {false, true}) {
        SCOPED_TRACE(use_thresholds);
        zeResult_set results(0.0, -1);
        results.results.reserve(8);

        const Allocation_meter meter;
        switcher.classify(msg, results, 0.75, use_thresholds);

        EXPECT_EQ(meter.bytes(), 0U);
        EXPECT_EQ(results.results.size(), 8U);
    }
}

// is_cat_blocked.

TEST_F(zeSwitcherClassifyTest, ChildIsBlockedUnlessItsValueIsAboveZero) {
    struct Row {
        const char* number;
        bool is_blocked;
    };

    zeNode* const child = rules.leaf("a", "$v(n)");
    zeNode* const fallback = rules.leaf("b", "default");
    for (const Row& row : {Row{"0.001", false}, Row{"7", false}, Row{"0", true}, Row{"-0", true},
                           Row{"-3", true}, Row{"nan", true}, Row{"inf", false}}) {
        SCOPED_TRACE(row.number);
        SetNumber(row.number);

        EXPECT_EQ(IsBlocked(child), row.is_blocked);
        EXPECT_EQ(IsBlocked(fallback), !row.is_blocked);
    }
}

TEST_F(zeSwitcherClassifyTest, ThresholdsDoNotInfluenceBlocking) {
    zeNode* const child = rules.leaf("a", "0.1");
    zeNode* const other = rules.leaf("b", "0");
    zeNode* const fallback = rules.leaf("c", "default");
    rules.node->m_threshold = 0.5;
    child->m_threshold = 0.5;
    other->m_threshold = -1.0;

    EXPECT_FALSE(IsBlocked(child));
    EXPECT_TRUE(IsBlocked(other));
    EXPECT_TRUE(IsBlocked(fallback));
}

TEST_F(zeSwitcherClassifyTest, BlockingEvaluatesRulesWithScoreOne) {
    zeNode* const exact = rules.leaf("a", "parent_score == 1");
    zeNode* const other = rules.leaf("b", "parent_score < 1");

    EXPECT_FALSE(IsBlocked(exact));
    EXPECT_TRUE(IsBlocked(other));
}

TEST_F(zeSwitcherClassifyTest, DefaultIsBlockedIfAnyRuleFires) {
    zeNode* const fallback = rules.leaf("a", "default");
    rules.leaf("b", "0");
    rules.leaf("c", "-1");
    EXPECT_FALSE(IsBlocked(fallback));

    rules.leaf("d", "0.1");

    EXPECT_TRUE(IsBlocked(fallback));
}

TEST_F(zeSwitcherClassifyTest, DefaultIsNeverBlockedWithoutRules) {
    EXPECT_FALSE(IsBlocked(rules.leaf("a", "default")));
}

TEST_F(zeSwitcherClassifyTest, ChildWithoutARuleIsBlocked) {
    zeNode* const linked = rules.leaf("a");
    rules.node->add_child(linked);
    zeNode* const nobody = nullptr;

    EXPECT_TRUE(IsBlocked(linked));
    EXPECT_TRUE(IsBlocked(nobody));
}

TEST_F(zeSwitcherClassifyTest, BlockingAllocatesNothing) {
    zeNode* const child = rules.leaf("a", "\"an absent concept\" | $v(n) > 0.5");
    zeNode* const fallback = rules.leaf("b", "default");
    SetNumber("0.25");

    const Allocation_meter meter;
    const bool child_is_blocked = IsBlocked(child);
    const bool fallback_is_blocked = IsBlocked(fallback);

    EXPECT_EQ(meter.bytes(), 0U);
    EXPECT_TRUE(child_is_blocked);
    EXPECT_FALSE(fallback_is_blocked);
}

}  // namespace
