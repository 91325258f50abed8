// The explanation of a category's score: the scores without each concept.
#include "zandrel/statistics/zeStat_matcher.h"

#include <cmath>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/match_rows.h"
#include "tests/support/small_model.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Concept_scores = std::vector<zeStat_matcher::Concept_score>;

constexpr double kHalfTurn = 3.141592653589793;

// The score of a match value that is already scaled and shifted.
double squashed(double x) {
    return 0.5 + std::atan(kHalfTurn * x) / kHalfTurn;
}

// The weights in the table are: for sport goal +1, match +0.5, bread -2; for food bread +1, match
// +0.25.
class zeStatMatcherExplainTest : public testing::Test {
protected:
    zeStatMatcherExplainTest() {
        AddProfile(m_sport, {{"goal", 1.0F}, {"match", 0.5F}, {"bread", -2.0F}});
        AddProfile(m_food, {{"bread", 1.0F}, {"match", 0.25F}});
        m_storage.m_num_msgs = 4;
    }

    void AddProfile(zeNode& node, const std::vector<std::pair<std::string, float>>& weights) {
        bool added = false;
        const int iprofile = m_storage.get_or_add_profile(&node, added);
        m_storage.profile(iprofile).m_num_msgs = 2;
        for (const auto& [text, weight] : weights) {
            m_storage.profile(iprofile).m_weights.push_back({term(text), weight});
        }
    }

    zeStat_matcher& Matcher() {
        if (m_matcher == nullptr) {
            m_matcher = std::make_unique<zeStat_matcher>(nullptr, nullptr, m_storage, false);
        }
        return *m_matcher;
    }

    double Explain(zeNode& category, Weighted_list bag) {
        zeNode* node = &category;
        zeMsg msg;
        msg.smls[0] = make_bag(bag);
        return Matcher().classify_concepts(msg, node, m_lines);
    }

    // The category's score in a classification.
    double Classify(zeNode& category, Weighted_list bag) {
        zeResult_set results(0.0, -1);
        zeMsg msg;
        msg.smls[0] = make_bag(bag);
        Matcher().classify(msg, results, 1.0, false);
        for (const zeResult& result : results.results) {
            if (result.node == &category) {
                return result.score;
            }
        }
        return 0.0;
    }

    std::vector<std::string> Concepts() const {
        std::vector<std::string> texts;
        for (const auto& line : m_lines) {
            texts.emplace_back(line.m_concept.view());
        }
        return texts;
    }

    // The score in the line of a concept; NaN if there is none.
    double Without(std::string_view text) const {
        for (const auto& line : m_lines) {
            if (line.m_concept.view() == text) {
                return line.m_score;
            }
        }
        return std::nan("");
    }

    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeNode m_sport{term("sport")};
    zeNode m_food{term("food")};
    Concept_scores m_lines;

private:
    std::unique_ptr<zeStat_matcher> m_matcher;
};

TEST_F(zeStatMatcherExplainTest, ScoreEqualsThatOfClassification) {
    const Weighted_list bag = {{"bread", 1.0}, {"goal", 2.0}, {"match", 1.0}};

    // (-2 + 2 + 0.5) / 4
    EXPECT_DOUBLE_EQ(Explain(m_sport, bag), squashed(0.125));
    EXPECT_DOUBLE_EQ(Classify(m_sport, bag), squashed(0.125));
}

TEST_F(zeStatMatcherExplainTest, EachConceptIsRemovedButTheTotalIsKept) {
    Explain(m_sport, {{"bread", 1.0}, {"goal", 2.0}, {"match", 1.0}});

    EXPECT_DOUBLE_EQ(Without("bread"), squashed(2.5 / 4));
    EXPECT_DOUBLE_EQ(Without("goal"), squashed(-1.5 / 4));
    EXPECT_DOUBLE_EQ(Without("match"), squashed(0.0));
}

TEST_F(zeStatMatcherExplainTest, AdditiveTermOfTheProfileIsIncluded) {
    m_storage.profile(0).m_M = -0.25;

    EXPECT_DOUBLE_EQ(Explain(m_sport, {{"goal", 1.0}}), squashed(0.75));
    EXPECT_DOUBLE_EQ(Without("goal"), squashed(-0.25));
}

TEST_F(zeStatMatcherExplainTest, EachConceptHasOneLineInTheBagsOrder) {
    m_lines = {{term("old"), 7.0}};

    Explain(m_food, {{"zebra", 1.0}, {"match", 1.0}, {"bread", 1.0}});

    EXPECT_THAT(Concepts(), ElementsAre("bread", "match", "zebra"));
}

TEST_F(zeStatMatcherExplainTest, ConceptOutsideTheTableHasTheCategorysOwnScore) {
    const double score = Explain(m_sport, {{"goal", 1.0}, {"zebra", 1.0}});

    EXPECT_DOUBLE_EQ(score, squashed(0.5));
    EXPECT_EQ(Without("zebra"), score);
}

TEST_F(zeStatMatcherExplainTest, ConceptOnlyOfOtherProfilesHasTheCategorysOwnScore) {
    const double score = Explain(m_food, {{"bread", 1.0}, {"goal", 1.0}});

    EXPECT_DOUBLE_EQ(score, squashed(0.5));
    EXPECT_EQ(Without("goal"), score);
}

TEST_F(zeStatMatcherExplainTest, BagIsClippedByTheModelsCeiling) {
    m_storage.m_clip_value = 2.0;

    // After clipping, goal weighs 2 of 3.
    EXPECT_DOUBLE_EQ(Explain(m_sport, {{"goal", 10.0}, {"zebra", 1.0}}), squashed(2.0 / 3));
    EXPECT_DOUBLE_EQ(Without("goal"), 0.5);
}

TEST_F(zeStatMatcherExplainTest, ScoresAreCorrectedByLikelihood) {
    m_storage.m_use_likelihood_in_match = true;
    m_storage.m_use_train_likelihood = true;
    m_storage.profile(0).m_likelihood.fill(0.25);
    m_storage.profile(0).m_likelihood_age = Zandrel::MAX_LIKELIHOOD_AGE;

    // The table is constant, and its share is 99 of 100.
    EXPECT_DOUBLE_EQ(Explain(m_sport, {{"goal", 1.0}}), 0.99 * 0.25 + 0.01 * squashed(1.0));
    EXPECT_DOUBLE_EQ(Without("goal"), 0.99 * 0.25 + 0.01 * 0.5);
}

TEST_F(zeStatMatcherExplainTest, MessageWithoutABagReturnsZeroAndKeepsTheLines) {
    m_lines = {{term("old"), 7.0}};
    zeNode* category = &m_sport;
    zeMsg msg;

    EXPECT_EQ(Matcher().classify_concepts(msg, category, m_lines), 0.0);

    EXPECT_THAT(Concepts(), ElementsAre("old"));
    EXPECT_EQ(Without("old"), 7.0);
}

TEST_F(zeStatMatcherExplainTest, MessageWithoutABagReturnsZeroEvenForAnUnknownCategory) {
    zeNode stranger(term("stranger"));
    zeNode* category = &stranger;
    zeMsg msg;

    EXPECT_EQ(Matcher().classify_concepts(msg, category, m_lines), 0.0);
}

TEST_F(zeStatMatcherExplainTest, EmptyBagEmptiesTheLines) {
    m_lines = {{term("old"), 7.0}};

    EXPECT_EQ(Explain(m_sport, {}), 0.0);

    EXPECT_THAT(Concepts(), IsEmpty());
}

TEST_F(zeStatMatcherExplainTest, ScoresBelowActivationAreZeroWithAndWithoutEachConcept) {
    m_storage.m_activation_inside = 3;

    EXPECT_EQ(Explain(m_sport, {{"goal", 1.0}, {"zebra", 1.0}}), 0.0);
    EXPECT_EQ(Without("goal"), 0.0);
    EXPECT_EQ(Without("zebra"), 0.0);
}

TEST_F(zeStatMatcherExplainTest, ScoresOfACategoryWithAllMessagesAreOneWithAndWithoutEachConcept) {
    m_storage.profile(0).m_num_msgs = 4;

    EXPECT_EQ(Explain(m_sport, {{"bread", 1.0}, {"goal", 1.0}}), 1.0);
    EXPECT_EQ(Without("bread"), 1.0);
    EXPECT_EQ(Without("goal"), 1.0);
}

TEST_F(zeStatMatcherExplainTest, AccumulatorsAreLeftEmpty) {
    Explain(m_sport, {{"bread", 1.0}, {"goal", 2.0}});

    EXPECT_EQ(m_storage.profile(0).m_match_value, 0.0);
    EXPECT_EQ(m_storage.profile(1).m_match_value, 0.0);
}

TEST_F(zeStatMatcherExplainTest, CategoryWithoutAProfileAsserts) {
    zeNode stranger(term("stranger"));

    EXPECT_ASSERTS(Explain(stranger, {{"goal", 1.0}}), "!m_storage->end(iprofile)");
}

TEST_F(zeStatMatcherExplainTest, AssertionLeavesLinesAndAccumulatorsUnchanged) {
    zeNode stranger(term("stranger"));
    m_lines = {{term("old"), 7.0}};
    m_storage.profile(0).m_match_value = 5.0;
    m_storage.profile(1).m_match_value = 6.0;

    EXPECT_ASSERTS(Explain(stranger, {{"goal", 1.0}}), "!m_storage->end(iprofile)");

    EXPECT_THAT(Concepts(), ElementsAre("old"));
    EXPECT_EQ(Without("old"), 7.0);
    EXPECT_EQ(m_storage.profile(0).m_match_value, 5.0);
    EXPECT_EQ(m_storage.profile(1).m_match_value, 6.0);
}

TEST_F(zeStatMatcherExplainTest, ActiveSlotIsRead) {
    zeNode* category = &m_sport;
    const qtPtrLight<zeMsg> msg = MessageBuilder()
                                      .bag({{"bread", 1.0}})
                                      .bag_at(2, {{"goal", 1.0}, {"zebra", 1.0}})
                                      .active(2)
                                      .make();

    EXPECT_DOUBLE_EQ(Matcher().classify_concepts(*msg, category, m_lines), squashed(0.5));

    EXPECT_THAT(Concepts(), ElementsAre("goal", "zebra"));
    EXPECT_EQ(Without("goal"), 0.5);
}

TEST_F(zeStatMatcherExplainTest, ScoresAreOneWithAndWithoutEachConceptIfThereIsOneProfile) {
    Matcher();
    int deleted = 1;
    m_storage.delete_profile(deleted);

    EXPECT_EQ(Explain(m_sport, {{"bread", 1.0}, {"zebra", 1.0}}), 1.0);

    EXPECT_THAT(Concepts(), ElementsAre("bread", "zebra"));
    EXPECT_EQ(Without("bread"), 1.0);
    EXPECT_EQ(Without("zebra"), 1.0);
}

TEST_F(zeStatMatcherExplainTest, OnlyTheFirstPairOfAProfileIsRemoved) {
    set_row(Matcher().m_table, term("goal"), {{8.0F, 1}, {1.0F, 0}, {4.0F, 0}});

    EXPECT_DOUBLE_EQ(Explain(m_sport, {{"goal", 1.0}}), squashed(1.0));

    EXPECT_EQ(Without("goal"), 0.5);
}

}  // namespace
