// Explanations of a result: the part that each concept adds to the best path score.
#include "zandrel/classification/zeWorkflow.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/match_rows.h"
#include "tests/support/small_model.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Concept_scores = std::vector<zeStat_matcher::Concept_score>;
using Weights = std::vector<std::pair<std::string, float>>;

constexpr double kPi = 3.141592653589793;

// The score of a match value that is already scaled.
double squashed(double x) {
    return 0.5 + std::atan(kPi * x) / kPi;
}

// Makes trees whose statistical classifiers have tables written by the test.
class Explained_tree {
public:
    Explained_tree() {
        m_manager.m_defaults = plain_settings();
        m_root = MakeNode("root", ZE_STAT);
        m_manager.m_root = m_root;
    }

    zeNode* Root() { return m_root; }

    zeManager& Manager() { return m_manager; }

    // A category below a statistical node, with its weights in that node's table.
    zeNode* Leaf(zeNode* parent, std::string_view name, const Weights& weights) {
        return Attach(parent, MakeNode(name, ZE_LEAF), weights);
    }

    // An inner statistical node below another one.
    zeNode* Inner(zeNode* parent, std::string_view name, const Weights& weights) {
        return Attach(parent, MakeNode(name, ZE_STAT), weights);
    }

    // A rule node that is in no list of children.
    zeNode* Rule(std::string_view name) { return Fake(name, ZE_RULE); }

    // A node with a fake classifier of this type.
    zeNode* Fake(std::string_view name, unsigned int type) {
        zeNode* const node = MakeNode(name, ZE_LEAF);
        m_manager.m_physical_tree->set_classifier(node, new FakeClassifier(&m_manager, node, type));
        return node;
    }

    zeNode* MakeNode(std::string_view name, unsigned int type) {
        return m_manager.m_physical_tree->MakeNode(term(name), type, zeNode::NoScore, 0.0);
    }

    // Makes a rule node block a child.
    void Block(zeNode* rule, zeNode* child) {
        dynamic_cast<FakeClassifier&>(*rule->m_classifier).blocked_children.insert(child);
    }

    zeStat_matcher& Matcher(zeNode* node) {
        return dynamic_cast<zeStat_matcher&>(*node->m_classifier);
    }

    Concept_scores Explain(zeMsg& msg, const std::vector<zeNode*>& nodes) {
        Concept_scores lines = {{term("old"), 7.0}};
        m_manager.GetWorkflow()->classify_concepts(msg, nodes, lines);
        return lines;
    }

    Concept_scores Explain(Weighted_list bag, const std::vector<zeNode*>& nodes) {
        zeMsg msg;
        msg.smls[0] = make_bag(bag);
        return Explain(msg, nodes);
    }

    Concept_scores ExplainInLogOdds(Weighted_list bag, const std::vector<zeNode*>& nodes) {
        zeMsg msg;
        msg.smls[0] = make_bag(bag);
        Concept_scores lines = {{term("old"), 7.0}};
        m_manager.GetWorkflow()->classify_concepts_in_log_odds(msg, nodes, lines);
        return lines;
    }

    // The score of a category in the results of the walk; 0 if it is not among them.
    double Score(zeMsg& msg, const zeNode* category) {
        zeResult_set results(0.0, -1);
        m_manager.GetWorkflow()->classify(msg, results, false, false);
        for (const zeResult& result : results.results) {
            if (result.node == category) {
                return result.score;
            }
        }
        return 0.0;
    }

private:
    // Two of the four messages belong to the child, so the counts by themselves favour no category.
    // We write the weights directly into the matching table, as compiling a model would.
    zeNode* Attach(zeNode* parent, zeNode* child, const Weights& weights) {
        zeStat_matcher& matcher = Matcher(parent);
        zeStat_storage& storage = *matcher.m_storage;
        bool added = false;
        const int iprofile = storage.get_or_add_profile(child, added);
        storage.m_num_msgs = 4;
        storage.profile(iprofile).m_num_msgs = 2;
        for (const auto& [text, weight] : weights) {
            Row row = row_of(matcher.m_table, term(text));
            row.push_back({weight, iprofile});
            set_row(matcher.m_table, term(text), row);
        }
        parent->add_child(child);
        return child;
    }

    zeManager m_manager;
    zeNode* m_root = nullptr;
};

// The lines as (concept, score rounded to 9 decimals), in their order.
std::vector<std::pair<std::string, double>> listing_of(const Concept_scores& lines) {
    std::vector<std::pair<std::string, double>> listing;
    for (const auto& line : lines) {
        listing.emplace_back(line.m_concept.view(), std::round(line.m_score * 1e9) / 1e9);
    }
    return listing;
}

std::pair<std::string, double> line(const std::string& text, double score) {
    return {text, std::round(score * 1e9) / 1e9};
}

// A tree of one level. The weights of sport are goal +1 and bread -2; food has bread +1.
class zeWorkflowExplainTest : public testing::Test {
protected:
    Explained_tree m_tree;
    zeNode* m_sport = m_tree.Leaf(m_tree.Root(), "sport", {{"goal", 1.0F}, {"bread", -2.0F}});
    zeNode* m_food = m_tree.Leaf(m_tree.Root(), "food", {{"bread", 1.0F}});
};

TEST_F(zeWorkflowExplainTest, EachConceptHasItsPartOfTheScore) {
    const Concept_scores lines = m_tree.Explain({{"bread", 1.0}, {"goal", 3.0}}, {m_sport});

    // The match value is (3 - 2) / 4. Without goal it is -2 / 4, and without bread 3 / 4.
    EXPECT_THAT(listing_of(lines), ElementsAre(line("goal", squashed(0.25) - squashed(-0.5)),
                                               line("bread", squashed(0.25) - squashed(0.75))));
}

double log_odds(double score) {
    return std::log(score / (1.0 - score));
}

TEST_F(zeWorkflowExplainTest, EachConceptHasItsPartOfTheLogOdds) {
    const Concept_scores lines =
        m_tree.ExplainInLogOdds({{"bread", 1.0}, {"goal", 3.0}, {"zebra", 1.0}}, {m_sport});

    const double all = log_odds(squashed(0.2));
    EXPECT_THAT(listing_of(lines),
                ElementsAre(line("goal", all - log_odds(squashed(-0.4))),
                            line("bread", all - log_odds(squashed(0.6))), line("zebra", 0.0)));
}

TEST_F(zeWorkflowExplainTest, LogOddsAreThoseOfTheProductOfALongerWay) {
    zeNode* const inner = m_tree.Inner(m_tree.Root(), "inner", {{"goal", 2.0F}});
    zeNode* const leaf = m_tree.Leaf(inner, "leaf", {{"goal", 1.0F}, {"rain", 1.0F}});
    m_tree.Leaf(inner, "other", {});  // the only child of a node would score 1

    const Concept_scores lines = m_tree.ExplainInLogOdds({{"goal", 1.0}, {"rain", 1.0}}, {leaf});

    const double all = log_odds(squashed(1.0) * squashed(1.0));
    EXPECT_THAT(listing_of(lines),
                ElementsAre(line("goal", all - log_odds(squashed(0.0) * squashed(0.5))),
                            line("rain", all - log_odds(squashed(1.0) * squashed(0.5)))));
}

TEST_F(zeWorkflowExplainTest, LogOddsEndAtOneMillionth) {
    zeNode* const sure = m_tree.Leaf(m_tree.Root(), "sure", {{"goal", 1e9F}});
    zeNode* const unlikely = m_tree.Leaf(m_tree.Root(), "unlikely", {{"goal", -1e9F}});

    EXPECT_THAT(listing_of(m_tree.ExplainInLogOdds({{"goal", 1.0}}, {sure})),
                ElementsAre(line("goal", std::log(0.999999 / 0.000001))));
    EXPECT_THAT(listing_of(m_tree.ExplainInLogOdds({{"goal", 1.0}}, {unlikely})),
                ElementsAre(line("goal", -std::log(0.999999 / 0.000001))));
}

// The table is flat from 0.5 on, so the score hardly depends on the words.
TEST_F(zeWorkflowExplainTest, LogOddsDoNotDependOnLikelihoodTables) {
    const Weighted_list bag = {{"bread", 1.0}, {"goal", 9.0}};
    const Concept_scores without = m_tree.ExplainInLogOdds(bag, {m_sport});
    zeStat_matcher& matcher = m_tree.Matcher(m_tree.Root());
    zeStat_storage& storage = *matcher.m_storage;
    storage.m_use_train_likelihood = true;
    storage.m_use_likelihood_in_match = true;
    zeStat_storage::Profile& profile = storage.profile(storage.get_profile(m_sport));
    profile.m_likelihood_age = Zandrel::MAX_LIKELIHOOD_AGE;
    std::fill(profile.m_likelihood.begin() + Zandrel::LIKELIHOOD_SIZE / 2,
              profile.m_likelihood.end(), 1.0);

    const Concept_scores scores = m_tree.Explain(bag, {m_sport});
    const Concept_scores with = m_tree.ExplainInLogOdds(bag, {m_sport});

    EXPECT_THAT(listing_of(scores), ElementsAre(testing::Pair("goal", testing::Gt(0.1)),
                                                testing::Pair("bread", testing::Gt(-0.01))));
    EXPECT_EQ(listing_of(with), listing_of(without));
    EXPECT_LT(with[1].m_score, -0.2);
}

TEST_F(zeWorkflowExplainTest, MessageWithoutABagChangesNoLogOdds) {
    zeMsg msg;
    Concept_scores lines = {{term("old"), 7.0}};
    m_tree.Manager().GetWorkflow()->classify_concepts_in_log_odds(msg, {m_sport}, lines);

    EXPECT_THAT(listing_of(lines), ElementsAre(line("old", 7.0)));
}

TEST_F(zeWorkflowExplainTest, ConceptAgainstTheNodeHasANegativeScore) {
    const Concept_scores lines = m_tree.Explain({{"bread", 1.0}}, {m_sport});

    EXPECT_THAT(listing_of(lines), ElementsAre(line("bread", squashed(-2.0) - 0.5)));
    EXPECT_LT(lines.front().m_score, 0.0);
}

TEST_F(zeWorkflowExplainTest, UnknownConceptHasScoreZero) {
    const Concept_scores lines = m_tree.Explain({{"goal", 1.0}, {"zebra", 1.0}}, {m_sport});

    EXPECT_THAT(listing_of(lines),
                ElementsAre(line("goal", squashed(0.5) - 0.5), line("zebra", 0.0)));
}

TEST_F(zeWorkflowExplainTest, ListIsReplaced) {
    EXPECT_EQ(m_tree.Explain({{"goal", 1.0}}, {m_sport}).size(), 1U);
}

TEST_F(zeWorkflowExplainTest, ActiveBagIsRead) {
    zeMsg msg;
    msg.smls[0] = make_bag({{"goal", 1.0}});
    msg.smls[2] = make_bag({{"bread", 1.0}});
    msg.active_sml = 2;

    EXPECT_THAT(listing_of(m_tree.Explain(msg, {m_food})),
                ElementsAre(line("bread", squashed(1.0) - 0.5)));
}

TEST_F(zeWorkflowExplainTest, MessageWithoutABagLeavesTheListUnchanged) {
    zeMsg msg;

    EXPECT_THAT(listing_of(m_tree.Explain(msg, {m_sport})), ElementsAre(line("old", 7.0)));
}

TEST_F(zeWorkflowExplainTest, EmptyBagGivesAnEmptyList) {
    EXPECT_THAT(m_tree.Explain(Weighted_list{}, {m_sport}), IsEmpty());
}

TEST_F(zeWorkflowExplainTest, NoNodesGiveAnEmptyList) {
    EXPECT_THAT(m_tree.Explain({{"goal", 1.0}}, {}), IsEmpty());
}

TEST_F(zeWorkflowExplainTest, BestPathOfAllNodesIsTakenForEachConcept) {
    const Concept_scores lines = m_tree.Explain({{"bread", 1.0}, {"goal", 3.0}}, {m_sport, m_food});

    // The match value of both nodes is 1 / 4. Without goal, food keeps 1 / 4. Without bread, the
    // match value of sport rises to 3 / 4.
    EXPECT_THAT(listing_of(lines),
                ElementsAre(line("bread", squashed(0.25) - squashed(0.75)), line("goal", 0.0)));
}

TEST_F(zeWorkflowExplainTest, OrderOfTheNodesDoesNotMatter) {
    const Weighted_list bag = {{"bread", 2.0}, {"goal", 3.0}, {"zebra", 1.0}};

    EXPECT_EQ(listing_of(m_tree.Explain(bag, {m_sport, m_food})),
              listing_of(m_tree.Explain(bag, {m_food, m_sport})));
}

TEST_F(zeWorkflowExplainTest, ScoresAlongThePathAreMultiplied) {
    zeNode* const news = m_tree.Inner(m_tree.Root(), "news", {{"today", 1.0F}, {"goal", 0.5F}});
    zeNode* const soccer = m_tree.Leaf(news, "soccer", {{"goal", 1.0F}});
    m_tree.Leaf(news, "politics", {});

    const Concept_scores lines = m_tree.Explain({{"goal", 2.0}, {"today", 2.0}}, {soccer});

    // The match values are (2 + 1) / 4 for news and 2 / 4 for soccer. Without goal they are 2 / 4
    // and 0, and without today 1 / 4 and 2 / 4.
    const double score = squashed(0.75) * squashed(0.5);
    EXPECT_THAT(listing_of(lines),
                ElementsAre(line("goal", score - squashed(0.5) * 0.5),
                            line("today", score - squashed(0.25) * squashed(0.5))));
}

TEST_F(zeWorkflowExplainTest, InnerNodeIsExplainedOnlyByTheClassifiersAboveIt) {
    zeNode* const news = m_tree.Inner(m_tree.Root(), "news", {{"today", 1.0F}});
    m_tree.Leaf(news, "soccer", {{"goal", 1.0F}});
    m_tree.Leaf(news, "politics", {});

    EXPECT_THAT(listing_of(m_tree.Explain({{"goal", 1.0}, {"today", 1.0}}, {news})),
                ElementsAre(line("today", squashed(0.5) - 0.5), line("goal", 0.0)));
}

TEST_F(zeWorkflowExplainTest, OpenRuleNodeDoesNotChangeTheScore) {
    zeNode* const rule = m_tree.Rule("rule");
    m_tree.Manager().m_root = rule;
    rule->add_child(m_tree.Root());

    EXPECT_THAT(listing_of(m_tree.Explain({{"goal", 1.0}}, {m_sport})),
                ElementsAre(line("goal", squashed(1.0) - 0.5)));
}

TEST_F(zeWorkflowExplainTest, EachConceptOfABlockedPathHasTheWholePathScore) {
    zeNode* const rule = m_tree.Rule("rule");
    m_tree.Manager().m_root = rule;
    rule->add_child(m_tree.Root());
    m_tree.Block(rule, m_tree.Root());

    // The path had its score before the rule blocked it. Without any concept its score is 0.
    EXPECT_THAT(listing_of(m_tree.Explain({{"goal", 1.0}, {"zebra", 1.0}}, {m_sport})),
                ElementsAre(line("zebra", squashed(0.5)), line("goal", squashed(0.5))));
}

TEST_F(zeWorkflowExplainTest, NoConceptOfABlockedPathChangesTheLogOdds) {
    zeNode* const rule = m_tree.Rule("rule");
    m_tree.Manager().m_root = rule;
    rule->add_child(m_tree.Root());
    m_tree.Block(rule, m_tree.Root());

    EXPECT_THAT(listing_of(m_tree.ExplainInLogOdds({{"goal", 1.0}, {"zebra", 1.0}}, {m_sport})),
                UnorderedElementsAre(line("goal", 0.0), line("zebra", 0.0)));
}

TEST_F(zeWorkflowExplainTest, OnlyAnOpenPathCountsForTheLogOdds) {
    zeNode* const rule = m_tree.Rule("rule");
    zeNode* const item = m_tree.MakeNode("item", ZE_LEAF);
    rule->add_child(item);
    m_tree.Block(rule, item);

    EXPECT_THAT(listing_of(m_tree.ExplainInLogOdds({{"goal", 1.0}}, {item, m_sport})),
                ElementsAre(line("goal", log_odds(squashed(1.0)) - log_odds(squashed(0.0)))));
}

TEST_F(zeWorkflowExplainTest, ClassifiersAboveTheBlockAreNotAsked) {
    zeNode* const rule = m_tree.Rule("rule");
    zeNode* const news = m_tree.MakeNode("news", ZE_STAT);
    m_tree.Leaf(m_tree.Root(), "lead", {{"goal", 1.0F}});
    rule->add_child(news);
    // The root has no profile of this rule node, so an assertion would fail if the root were asked.
    m_tree.Root()->add_child(rule);
    zeNode* const soccer = m_tree.Leaf(news, "soccer", {{"goal", 1.0F}});
    m_tree.Leaf(news, "politics", {});
    m_tree.Block(rule, news);

    EXPECT_THAT(listing_of(m_tree.Explain({{"goal", 1.0}}, {soccer})),
                ElementsAre(line("goal", squashed(1.0))));
}

TEST_F(zeWorkflowExplainTest, BlockedPathCountsForTheBestPathScore) {
    zeNode* const rule = m_tree.Rule("rule");
    zeNode* const item = m_tree.MakeNode("item", ZE_LEAF);
    rule->add_child(item);
    m_tree.Block(rule, item);

    // The blocked path keeps the score 1, since no classifier scored it before. Without goal only
    // sport has a score.
    EXPECT_THAT(listing_of(m_tree.Explain({{"goal", 1.0}}, {m_sport, item})),
                ElementsAre(line("goal", 1.0 - 0.5)));
}

TEST_F(zeWorkflowExplainTest, PathBelowALeafIsBlocked) {
    zeNode* const below = m_tree.MakeNode("below", ZE_LEAF);
    m_sport->add_child(below);

    EXPECT_THAT(m_tree.Explain({{"goal", 1.0}}, {below}), IsEmpty());
}

TEST_F(zeWorkflowExplainTest, PathsWithoutAStatisticalClassifierGiveAnEmptyList) {
    zeNode* const rule = m_tree.Rule("rule");
    zeNode* const item = m_tree.MakeNode("item", ZE_LEAF);
    rule->add_child(item);

    EXPECT_THAT(m_tree.Explain({{"goal", 1.0}}, {item}), IsEmpty());
}

TEST_F(zeWorkflowExplainTest, PathWithoutAStatisticalClassifierScoresOneWithAndWithoutEachConcept) {
    zeNode* const rule = m_tree.Rule("rule");
    zeNode* const item = m_tree.MakeNode("item", ZE_LEAF);
    rule->add_child(item);

    EXPECT_THAT(listing_of(m_tree.Explain({{"goal", 1.0}}, {m_sport, item})),
                ElementsAre(line("goal", 0.0)));
}

TEST_F(zeWorkflowExplainTest, NodeWithoutAParentHasScoreZero) {
    EXPECT_THAT(m_tree.Explain({{"goal", 1.0}}, {m_tree.Root()}), IsEmpty());
    EXPECT_EQ(listing_of(m_tree.Explain({{"goal", 1.0}}, {m_tree.Root(), m_sport})),
              listing_of(m_tree.Explain({{"goal", 1.0}}, {m_sport})));
}

TEST_F(zeWorkflowExplainTest, StatisticalNodeWithoutAMatcherAsserts) {
    zeNode* const fake = m_tree.Fake("fake", ZE_STAT);
    zeNode* const item = m_tree.MakeNode("item", ZE_LEAF);
    fake->add_child(item);

    EXPECT_ASSERTS(m_tree.Explain({{"goal", 1.0}}, {item}), "stat_matcher");
}

TEST_F(zeWorkflowExplainTest, AssertionForAMissingProfileIsPassedOn) {
    zeNode* const stranger = m_tree.MakeNode("stranger", ZE_LEAF);
    m_tree.Root()->add_child(stranger);

    EXPECT_ASSERTS(m_tree.Explain({{"goal", 1.0}}, {stranger}), "!m_storage->end(iprofile)");
}

TEST_F(zeWorkflowExplainTest, LinesAreOrderedByAbsoluteScoreThenByGreaterConcept) {
    m_tree.Leaf(m_tree.Root(), "mixed", {{"a", 1.0F}, {"b", 1.0F}, {"c", -3.0F}, {"d", 0.25F}});
    zeNode* const mixed = m_tree.Root()->m_children.back();

    const Concept_scores lines = m_tree.Explain(
        {{"a", 1.0}, {"b", 1.0}, {"c", 1.0}, {"d", 1.0}, {"x", 1.0}, {"y", 1.0}}, {mixed});

    std::vector<std::string> order;
    for (const auto& entry : lines) {
        order.emplace_back(entry.m_concept.view());
    }
    EXPECT_THAT(order, ElementsAre("c", "b", "a", "d", "y", "x"));
    EXPECT_LT(lines[0].m_score, 0.0);
    EXPECT_GT(lines[1].m_score, 0.0);
}

TEST(GreaterConceptScoresTest, ComparesAbsoluteScoreThenText) {
    constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

    const struct {
        std::string_view rule;
        std::string_view left;
        double left_score;
        std::string_view right;
        double right_score;
        bool is_greater;
    } rows[] = {
        {"greater score first", "a", 0.5, "b", 0.25, true},
        {"lesser score behind", "b", 0.25, "a", 0.5, false},
        {"the sign does not count", "a", -0.5, "b", 0.25, true},
        {"nor on the right", "b", 0.25, "a", -0.5, false},
        {"greater text first at equal scores", "b", 0.5, "a", 0.5, true},
        {"lesser text behind at equal scores", "a", 0.5, "b", 0.5, false},
        {"opposite scores are equal", "b", -0.5, "a", 0.5, true},
        {"opposite scores are equal, lesser text", "a", -0.5, "b", 0.5, false},
        {"the longer text is greater if one begins with the other", "ab", 0.5, "a", 0.5, true},
        {"the shorter text is lesser", "a", 0.5, "ab", 0.5, false},
        {"bytes above 127 are greater than ASCII", "\xFF", 0.5, "z", 0.5, true},
        {"an entry is not greater than itself", "a", 0.5, "a", 0.5, false},
        {"what is no number comes last", "b", kNoNumber, "a", 0.0, false},
        {"any number goes before it", "a", 0.0, "b", kNoNumber, true},
        {"greater text first where neither is a number", "b", kNoNumber, "a", -kNoNumber, true},
        {"lesser text behind where neither is a number", "a", kNoNumber, "b", kNoNumber, false},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        EXPECT_EQ(greater_concept_scores({term(row.left), row.left_score},
                                         {term(row.right), row.right_score}),
                  row.is_greater);
    }
}

// A random tree of two levels. The tests compare explanations with the scores of the walk: the walk
// classifies the message without one concept, while its bag keeps its total.
class Random_tree {
public:
    explicit Random_tree(unsigned int seed) : m_random(seed) {
        for (int i = 0; i < 4; ++i) {
            zeNode* const inner =
                m_tree.Inner(m_tree.Root(), "inner" + std::to_string(i), RandomWeights());
            for (int k = 0; k < 3; ++k) {
                const std::string name = "leaf" + std::to_string(3 * i + k);
                m_leaves.push_back(m_tree.Leaf(inner, name, RandomWeights()));
            }
        }
    }

    Explained_tree& Tree() { return m_tree; }

    zeNode* RandomLeaf() { return m_leaves[Index(m_leaves.size())]; }

    // Returns a message with at most eight concepts.
    qtPtrLight<zeMsg> RandomMsg() {
        zeSml_feeder feeder;
        for (int i = 0; i < 8; ++i) {
            feeder.add_concept(term(RandomWord()), Uniform(0.5, 3.0));
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        return msg;
    }

private:
    std::size_t Index(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_random);
    }

    double Uniform(double from, double to) {
        return std::uniform_real_distribution<double>(from, to)(m_random);
    }

    std::string RandomWord() { return "w" + std::to_string(Index(20)); }

    // Returns weights for about half of the words.
    Weights RandomWeights() {
        Weights weights;
        for (int word = 0; word < 20; ++word) {
            if (Index(2) == 0) {
                weights.emplace_back("w" + std::to_string(word),
                                     static_cast<float>(Uniform(-2.0, 2.0)));
            }
        }
        return weights;
    }

    Explained_tree m_tree;
    std::vector<zeNode*> m_leaves;
    std::mt19937 m_random;
};

// The message without one concept; the total of its bag is unchanged.
qtPtrLight<zeMsg> without(const zeMsg& msg, const Concept& removed) {
    qtPtrLight<zeMsg> rest(new zeMsg);
    rest->smls[0] = qtPtrLight<zeSml>(new zeSml(*msg.active_bag(), 0.0));
    std::erase_if(rest->smls[0]->m_concepts,
                  [&](const zeSml::Concept_info& entry) { return entry.m_concept == removed; });
    return rest;
}

TEST(zeWorkflowExplainRandomTest, ExplanationEqualsScoringWithoutTheConcept) {
    for (unsigned int seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_tree random(seed);
        Explained_tree& tree = random.Tree();
        zeNode* const leaf = random.RandomLeaf();
        const qtPtrLight<zeMsg> msg = random.RandomMsg();

        const Concept_scores lines = tree.Explain(*msg, {leaf});

        ASSERT_EQ(lines.size(), msg->active_bag()->m_concepts.size());
        for (const auto& entry : lines) {
            const double rest = tree.Score(*without(*msg, entry.m_concept), leaf);
            // The explanation subtracts a weight from the sum, while scoring sums all other
            // weights. The results differ by rounding.
            EXPECT_NEAR(entry.m_score, tree.Score(*msg, leaf) - rest, 1e-12)
                << entry.m_concept.view();
        }
    }
}

TEST(zeWorkflowExplainRandomTest, ExplanationOfSeveralNodesEqualsTheBestScoreWithoutTheConcept) {
    for (unsigned int seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_tree random(seed);
        Explained_tree& tree = random.Tree();
        const std::vector<zeNode*> nodes = {random.RandomLeaf(), random.RandomLeaf(),
                                            random.RandomLeaf()};
        const qtPtrLight<zeMsg> msg = random.RandomMsg();
        const auto best_score = [&](zeMsg& scored) {
            double best = 0.0;
            for (const zeNode* node : nodes) {
                best = std::max(best, tree.Score(scored, node));
            }
            return best;
        };

        for (const auto& entry : tree.Explain(*msg, nodes)) {
            const double rest = best_score(*without(*msg, entry.m_concept));
            EXPECT_NEAR(entry.m_score, best_score(*msg) - rest, 1e-12) << entry.m_concept.view();
        }
    }
}

}  // namespace
