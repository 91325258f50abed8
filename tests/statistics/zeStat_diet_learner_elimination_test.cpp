// The steps of learning that remove concepts: the diet, the upper bound and the sweep.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/statistics/learner_fixture.h"
#include "tests/support/expect_qtx.h"

namespace {

using testing::UnorderedElementsAre;

// One profile. The total weight is 8, the bags weigh 4 and the factor is 2. So a concept is light
// below 8 / (2 * 4) = 1.
class zeStatDietLearnerEliminationTest : public Learner_fixture {
protected:
    zeStatDietLearnerEliminationTest() {
        AddProfile(8.0, 8.0);
        m_storage.profile(0).m_selection_mark = 5;
        SetTotals(8.0, 8.0, 4.0);
        m_storage.m_delete_P_factor = 2.0;
        SetBounds(0, 1000);
    }

    void SetBounds(int least, int most) {
        m_storage.m_min_Ps_size = least;
        m_storage.m_max_Ps_size = most;
    }

    // Adds an unselected concept to the profile and to the model's table of concepts.
    zeStat_storage::P& Add(std::string_view text, double weight, int iprofile = 0) {
        zeStat_storage::P& P = AddP(iprofile, text, weight);
        zeStat_storage::Concept_info& info = m_storage.m_concept_infos[term(text)];
        info.m_weight += 8.0;
        info.m_rate += 1.0;
        info.m_num_Ps += 1;
        return P;
    }

    void Select(zeStat_storage::P& P) { P.m_selected = m_storage.profile(0).m_selection_mark; }

    std::vector<std::string> Left(int iprofile = 0) {
        std::vector<std::string> texts;
        for (const auto& [word, P] : m_storage.profile(iprofile).m_Ps) {
            texts.emplace_back(word.view());
        }
        return texts;
    }

    void Eliminate(bool only_touched = false) { m_learner.eliminate_features(only_touched); }
};

// The diet.

TEST_F(zeStatDietLearnerEliminationTest, LightUnprotectedUnselectedConceptsAreRemoved) {
    struct Row {
        const char* rule;
        double weight;
        unsigned char life;
        unsigned char selected;
        bool stays;
    };

    for (const Row& row : {
             Row{"light", 0.5, 0, 0, false},
             Row{"selected by an earlier selection", 0.5, 0, 4, false},
             Row{"as heavy as the floor", 1.0, 0, 0, true},
             Row{"heavy", 2.0, 0, 0, true},
             Row{"protected", 0.5, 1, 0, true},
             Row{"selected", 0.5, 0, 5, true},
             Row{"selected, without life and weight", 0.0, 0, 5, true},
         }) {
        SCOPED_TRACE(row.rule);
        zeStat_storage::P& P = Add("x", row.weight);
        P.m_life = row.life;
        P.m_selected = row.selected;

        Eliminate();

        EXPECT_EQ(KnowsP(0, "x"), row.stays);
    }
}

TEST_F(zeStatDietLearnerEliminationTest, WeightHasNoInfluenceWithoutAFactor) {
    m_storage.m_delete_P_factor = 0.0;
    Add("heavy", 100.0);
    Add("protected", 0.0).m_life = 1;

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("protected"));
}

TEST_F(zeStatDietLearnerEliminationTest, DietStopsAtTheLowerBound) {
    SetBounds(2, 1000);
    Add("a", 0.5);
    Add("b", 0.25);
    Add("c", 0.125);
    Add("d", 0.0);

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("a", "b"));
}

TEST_F(zeStatDietLearnerEliminationTest, ProfileAtTheLowerBoundIsUnchanged) {
    SetBounds(2, 1000);
    Add("a", 0.0);
    Add("b", 0.0);

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("a", "b"));
}

TEST_F(zeStatDietLearnerEliminationTest, LowerBoundCountsConceptsThatCannotBeRemoved) {
    SetBounds(3, 1000);
    Select(Add("selected", 0.0));
    Add("heavy", 4.0);
    Add("light", 0.5);
    Add("lighter", 0.25);

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("selected", "heavy", "light"));
}

TEST_F(zeStatDietLearnerEliminationTest, SmallerTextIsRemovedFirstIfWeightsAreEqual) {
    SetBounds(1, 1000);
    Add("b", 0.5);
    Add("a", 0.5);

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("b"));
}

// The upper bound.

TEST_F(zeStatDietLearnerEliminationTest, UpperBoundRemovesUnselectedConceptsLightestFirst) {
    SetBounds(0, 3);
    Select(Add("selected", 0.0));
    Add("heavy", 100.0);
    Add("middle", 50.0);
    Add("protected", 2.0).m_life = 200;
    Add("alike", 2.0).m_life = 200;

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("selected", "heavy", "middle"));
}

TEST_F(zeStatDietLearnerEliminationTest, ProfileAtTheUpperBoundIsUnchanged) {
    SetBounds(0, 2);
    Add("a", 4.0);
    Add("b", 4.0);

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("a", "b"));
}

TEST_F(zeStatDietLearnerEliminationTest, SelectedConceptsStayBeyondTheUpperBound) {
    SetBounds(0, 1);
    Select(Add("a", 0.0));
    Select(Add("b", 0.0));
    Add("c", 100.0);

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("a", "b"));
}

TEST_F(zeStatDietLearnerEliminationTest, UpperBoundIsNeverBelowTheLower) {
    SetBounds(2, 1);
    Add("a", 4.0);
    Add("b", 3.0);
    Add("c", 2.0);

    Eliminate();

    EXPECT_THAT(Left(), UnorderedElementsAre("a", "b"));
}

TEST_F(zeStatDietLearnerEliminationTest, BothPassesRemoveFromOneProfile) {
    SetBounds(1, 2);
    Add("light", 0.5);
    Add("protected", 0.5).m_life = 1;
    Add("heavy", 4.0);
    Add("heavier", 5.0);

    Eliminate();

    // The diet removes the light concept, and then the bound removes the lightest of the others.
    EXPECT_THAT(Left(), UnorderedElementsAre("heavy", "heavier"));
}

TEST_F(zeStatDietLearnerEliminationTest, NegativeBoundsCountAsZero) {
    SetBounds(-2, -1);
    Add("light", 0.5);
    Add("heavy", 4.0);

    Eliminate();

    EXPECT_TRUE(Left().empty());
}

// Each profile.

TEST_F(zeStatDietLearnerEliminationTest, EachProfileHasItsOwnMark) {
    AddProfile(8.0, 8.0).m_selection_mark = 7;
    Add("x", 0.5, 0).m_selected = 5;
    Add("x", 0.5, 1).m_selected = 5;

    Eliminate();

    EXPECT_TRUE(KnowsP(0, "x"));
    EXPECT_FALSE(KnowsP(1, "x"));
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 1);
}

TEST_F(zeStatDietLearnerEliminationTest, ProfilesWithoutMessagesAreSkippedIfRequested) {
    for (const bool only_touched : {true, false}) {
        SCOPED_TRACE(only_touched);
        m_storage.clear();
        AddProfile(4.0, 4.0);
        AddProfile(4.0, 4.0);
        SetTotals(8.0, 8.0, 4.0);
        Add("x", 0.5, 0);
        Add("x", 0.5, 1);
        SetBulk({0, 1});

        Eliminate(only_touched);

        EXPECT_EQ(KnowsP(0, "x"), only_touched);
        EXPECT_FALSE(KnowsP(1, "x"));
    }
}

// A category that had no profile when the messages were counted has no count. Its profile was added
// afterwards, by training.
TEST_F(zeStatDietLearnerEliminationTest, ProfileAddedByTheBulkIsProcessed) {
    Add("x", 0.5, 0);
    SetBulk({});

    Eliminate(true);

    EXPECT_FALSE(KnowsP(0, "x"));
}

TEST_F(zeStatDietLearnerEliminationTest, PollComesBeforeEachProfile) {
    AddProfile(8.0, 8.0);
    for (int poll = 1; poll <= 3; ++poll) {
        SCOPED_TRACE(poll);
        Add("x", 0.5, 0);
        Add("x", 0.5, 1);
        zeManager manager;
        Interrupt_at progress(poll);
        manager.m_progress = &progress;
        m_learner.m_manager = &manager;

        if (poll <= 2) {
            EXPECT_QTX(Eliminate(), zeWorkflow, 2, "Process interrupted");
        } else {
            Eliminate();
        }

        EXPECT_EQ(KnowsP(0, "x"), poll == 1);
        EXPECT_EQ(KnowsP(1, "x"), poll <= 2);
    }
}

// Deleting candidates.

TEST_F(zeStatDietLearnerEliminationTest, CountsOfDeletedConceptsAreReducedDownToZero) {
    Add("x", 0.5);
    Add("y", 0.5);
    info_of(m_storage, "x").m_num_Ps = 3;
    info_of(m_storage, "y").m_num_Ps = 0;
    AddP(0, "unknown", 0.5);

    Eliminate();

    EXPECT_TRUE(Left().empty());
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 2);
    EXPECT_EQ(info_of(m_storage, "y").m_num_Ps, 0);
    EXPECT_FALSE(Knows("unknown"));
}

TEST_F(zeStatDietLearnerEliminationTest, NoMoreCandidatesThanTheLimitAreDeleted) {
    for (const int limit : {0, 1, 2, 3, 4}) {
        SCOPED_TRACE(limit);
        Add("a", 3.0);
        Add("b", 2.0);
        Add("c", 1.0);
        std::vector<zeStat_diet_learner::Concept_info> candidates;
        for (const char* const text : {"a", "b"}) {
            candidates.emplace_back(&m_storage, m_storage.profile(0).m_Ps.find(term(text)));
        }
        int iprofile = 0;

        m_learner.delete_Ps(iprofile, candidates, limit);

        // Two of the three concepts are candidates, and b is the lighter one.
        EXPECT_EQ(KnowsP(0, "a"), limit >= 2);
        EXPECT_EQ(KnowsP(0, "b"), limit >= 3);
        EXPECT_TRUE(KnowsP(0, "c"));
    }
}

TEST_F(zeStatDietLearnerEliminationTest, CandidatesAreOrderedByWeightThenText) {
    AddP(0, "a", 2.0);
    AddP(0, "b", 1.0);
    AddP(0, "\xff", 1.0);
    const auto candidate = [this](const char* text) {
        return zeStat_diet_learner::Concept_info(&m_storage,
                                                 m_storage.profile(0).m_Ps.find(term(text)));
    };

    EXPECT_TRUE(candidate("b") < candidate("a"));
    EXPECT_FALSE(candidate("a") < candidate("b"));
    EXPECT_TRUE(candidate("b") < candidate("\xff"));  // bytes are compared as unsigned
    EXPECT_FALSE(candidate("\xff") < candidate("b"));
    EXPECT_FALSE(candidate("a") < candidate("a"));
}

TEST_F(zeStatDietLearnerEliminationTest, CandidateHasItsWeightAndItsStorage) {
    AddP(0, "a", 2.0);
    zeStat_storage other(nullptr, m_settings);
    zeStat_diet_learner::Concept_info::m_storage = &other;

    const zeStat_diet_learner::Concept_info candidate(&m_storage,
                                                      m_storage.profile(0).m_Ps.begin());
    P_of(m_storage, 0, "a").m_weight = 3.0;

    EXPECT_EQ(candidate.m_weight, 2.0);
    EXPECT_EQ(zeStat_diet_learner::Concept_info::m_storage, &m_storage);
}

// The sweep removes concepts that are in no profile and are rarer than a concept seen once. In
// these tests that limit is a weight of 8 / 4 = 2.

TEST_F(zeStatDietLearnerEliminationTest, RareConceptsWithoutAProfileAreSwept) {
    struct Row {
        const char* rule;
        double weight;
        int num_Ps;
        bool stays;
    };

    for (const Row& row : {
             Row{"rare and in no profile", 1.5, 0, false},
             Row{"rare, count below nothing", 1.5, -1, false},
             Row{"as frequent as one seen once", 2.0, 0, true},
             Row{"frequent", 7.0, 0, true},
             Row{"rare but in a profile", 0.0, 1, true},
         }) {
        SCOPED_TRACE(row.rule);
        AddInfo("x", row.weight, 1.0, row.num_Ps);

        Eliminate();

        EXPECT_EQ(Knows("x"), row.stays);
    }
}

TEST_F(zeStatDietLearnerEliminationTest, ConceptsThatTheDietRemovedFromAllProfilesAreSwept) {
    Add("x", 0.5);
    info_of(m_storage, "x").m_weight = 0.5;

    Eliminate();

    EXPECT_FALSE(KnowsP(0, "x"));
    EXPECT_FALSE(Knows("x"));
}

TEST_F(zeStatDietLearnerEliminationTest, SweepIsTheSameIfOnlyProfilesWithMessagesAreDieted) {
    AddInfo("x", 1.5, 1.0, 0);
    SetBulk({0});

    Eliminate(true);

    EXPECT_FALSE(Knows("x"));
}

TEST_F(zeStatDietLearnerEliminationTest, ModelWithoutWeightLosesNothing) {
    SetTotals(0.0, 0.0, 0.0);
    AddInfo("x", 0.0, 1.0, 0);
    Add("y", 0.0);

    Eliminate();

    EXPECT_TRUE(Knows("x"));
    EXPECT_TRUE(KnowsP(0, "y"));
}

}  // namespace
