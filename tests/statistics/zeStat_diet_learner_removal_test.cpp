// How the learner removes a category's part, and clears, deletes and adds categories. Where
// possible the numbers are powers of two, so most expected values are exact.
#include <string_view>

#include <gtest/gtest.h>

#include "tests/statistics/learner_fixture.h"

namespace {

// Removing a category's part. The three profiles weigh 8, 4 and 4, and their messages 16, 8 and 8.
// All messages weigh 16, so the sum over the categories is twice the total.
class zeStatDietLearnerRemovalTest : public Learner_fixture {
protected:
    zeStatDietLearnerRemovalTest() {
        AddProfile(8.0, 16.0).m_num_msgs = 4;
        AddProfile(4.0, 8.0).m_num_msgs = 2;
        AddProfile(4.0, 8.0);
        SetTotals(16.0, 16.0, 100.0);
        m_storage.m_num_msgs = 6;
        AddP(0, "x", 4.0);
        AddP(0, "y", 2.0);
        AddP(1, "x", 3.0);
        AddP(1, "z", 1.0);
        AddInfo("x", 10.0, 5.0, 2);
        AddInfo("y", 0.5, 4.0, 1);
        AddInfo("z", 8.0, 2.0, 1);
    }

    void Remove(int iprofile, bool remove_concepts) {
        m_learner.remove_influence_of_profile(iprofile, remove_concepts);
    }

    void ExpectInfo(std::string_view text, double weight, double rate, int num_Ps) {
        SCOPED_TRACE(text);
        EXPECT_EQ(info_of(m_storage, text).m_weight, weight);
        EXPECT_EQ(info_of(m_storage, text).m_rate, rate);
        EXPECT_EQ(info_of(m_storage, text).m_num_Ps, num_Ps);
    }
};

// Of the messages (32 - 16) / 2 remain. Of the weight (16 - 8) / 2 remains, a quarter of the old
// weight.
TEST_F(zeStatDietLearnerRemovalTest, TotalsAreReducedByTheShareOfTheCategory) {
    for (const bool remove_concepts : {false, true}) {
        SetTotals(16.0, 16.0, 100.0);

        Remove(0, remove_concepts);

        EXPECT_EQ(m_storage.m_total_msg_weight, 8.0);
        EXPECT_EQ(m_storage.m_total_weight, 4.0);
    }
}

TEST_F(zeStatDietLearnerRemovalTest, WeightsOfAllConceptsAreScaled) {
    Remove(0, false);

    ExpectInfo("x", 2.5, 5.0, 1);
    ExpectInfo("y", 0.125, 4.0, 0);
    ExpectInfo("z", 2.0, 2.0, 1);
}

// x loses 4 * 16 * 16 / (8 * 32 * 2) = 2. y would lose 1, which is more than it has.
TEST_F(zeStatDietLearnerRemovalTest, ConceptsOfTheCategoryAreRemovedIfRequested) {
    Remove(0, true);

    ExpectInfo("x", 2.0, 1.25, 1);
    ExpectInfo("y", 0.0, 1.0, 0);
    ExpectInfo("z", 2.0, 0.5, 1);
}

// x loses 3 * 16 * 8 / (4 * 32 * 2) = 1.5, z loses 0.5. A weight of (16 - 4) / 2 = 6 remains, 3 /
// 8.
TEST_F(zeStatDietLearnerRemovalTest, SmallerCategoryIsRemovedByItsOwnShare) {
    Remove(1, true);

    EXPECT_EQ(m_storage.m_total_msg_weight, 12.0);
    EXPECT_EQ(m_storage.m_total_weight, 6.0);
    ExpectInfo("x", 8.5 * 0.375, 5.0 * 0.375, 1);
    ExpectInfo("y", 0.5 * 0.375, 4.0 * 0.375, 1);
    ExpectInfo("z", 7.5 * 0.375, 2.0 * 0.375, 0);
}

TEST_F(zeStatDietLearnerRemovalTest, ProfilesAndOtherTotalsAreUnchanged) {
    Remove(0, true);

    EXPECT_EQ(m_storage.m_num_msgs, 6);
    EXPECT_EQ(m_storage.m_total_sml_weight, 100.0);
    EXPECT_EQ(m_storage.profile(0).m_weight, 8.0);
    EXPECT_EQ(m_storage.profile(0).m_msg_weight, 16.0);
    EXPECT_EQ(m_storage.profile(0).m_Ps.size(), 2U);
    EXPECT_EQ(m_storage.profile(1).m_weight, 4.0);
    EXPECT_EQ(m_storage.profile(1).m_msg_weight, 8.0);
    EXPECT_EQ(P_of(m_storage, 1, "x").m_weight, 3.0);
}

TEST_F(zeStatDietLearnerRemovalTest, NoConceptFallsBelowZeroAndUnknownOnesAreSkipped) {
    info_of(m_storage, "x").m_num_Ps = 0;
    AddP(0, "unknown", 4.0);

    Remove(0, false);

    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 0);
    EXPECT_FALSE(Knows("unknown"));
}

// Without weights of messages the category has no part in the totals. But its profile loses its
// concepts, so these count one profile less.
TEST_F(zeStatDietLearnerRemovalTest, NoWeightChangesWithoutWeight) {
    struct Row {
        const char* rule;
        double total_weight;
        double msg_weight;
        int profiles_of_x;
        int profiles_of_y;
    };

    for (const Row& row :
         {Row{"no total", 0.0, 8.0, 2, 1}, Row{"no weight of messages", 16.0, 0.0, 1, 0}}) {
        SCOPED_TRACE(row.rule);
        m_storage.m_total_weight = row.total_weight;
        for (const auto& profile : m_storage.m_profiles) {
            profile->m_msg_weight = row.msg_weight;
        }

        Remove(0, true);

        ExpectInfo("x", 10.0, 5.0, row.profiles_of_x);
        ExpectInfo("y", 0.5, 4.0, row.profiles_of_y);
        ExpectInfo("z", 8.0, 2.0, 1);
        EXPECT_EQ(m_storage.m_total_weight, row.total_weight);
        EXPECT_EQ(m_storage.m_total_msg_weight, 16.0);
    }
}

// We cannot know the part of a profile without weight, so the weights of its concepts are only
// scaled.
TEST_F(zeStatDietLearnerRemovalTest, ProfileWithoutWeightRemovesNothing) {
    m_storage.profile(0).m_weight = 0.0;

    Remove(0, true);

    // (8 - 0) / 2 of 16 remain.
    ExpectInfo("x", 2.5, 1.25, 1);
}

TEST_F(zeStatDietLearnerRemovalTest, LastCategoryRemovesAllWeight) {
    int other = 2;
    m_storage.delete_profile(other);
    other = 1;
    m_storage.delete_profile(other);
    SetTotals(8.0, 16.0);

    Remove(0, true);

    EXPECT_EQ(m_storage.m_total_weight, 0.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 0.0);
    ExpectInfo("x", 0.0, 0.0, 1);
}

// In a damaged model a profile may have a negative weight. Then less than nothing would remain of
// the totals.
TEST_F(zeStatDietLearnerRemovalTest, TotalsNeverFallBelowZero) {
    m_storage.profile(1).m_weight = -12.0;
    m_storage.profile(1).m_msg_weight = -12.0;

    Remove(0, false);

    EXPECT_EQ(m_storage.m_total_weight, 0.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 0.0);
}

// Clearing, deleting and adding.

TEST_F(zeStatDietLearnerRemovalTest, CategoryIsClearedWithItsInfluence) {
    zeNode* cat = Node(0);

    EXPECT_TRUE(m_learner.clear_cat(cat, true));

    EXPECT_EQ(m_storage.profile_count(), 3);
    EXPECT_EQ(m_storage.profile(0).m_weight, 0.0);
    EXPECT_EQ(m_storage.profile(0).m_msg_weight, 0.0);
    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 0);
    EXPECT_TRUE(m_storage.profile(0).m_Ps.empty());
    ExpectInfo("x", 2.0, 1.25, 1);
    EXPECT_EQ(m_storage.m_total_weight, 4.0);
}

TEST_F(zeStatDietLearnerRemovalTest, CategoryIsClearedButItsConceptsAreKept) {
    zeNode* cat = Node(0);

    EXPECT_TRUE(m_learner.clear_cat(cat, false));

    ExpectInfo("x", 2.5, 5.0, 1);
}

TEST_F(zeStatDietLearnerRemovalTest, CategoryIsDeletedWithItsInfluence) {
    zeNode* cat = Node(0);

    EXPECT_TRUE(m_learner.delete_cat(cat, true));

    ASSERT_EQ(m_storage.profile_count(), 2);
    EXPECT_EQ(m_storage.profile(0).m_node, Node(2));
    EXPECT_EQ(m_storage.get_profile(cat), 2);
    ExpectInfo("x", 2.0, 1.25, 1);
    EXPECT_EQ(m_storage.m_total_weight, 4.0);
}

TEST_F(zeStatDietLearnerRemovalTest, CategoryIsDeletedButItsConceptsAreKept) {
    zeNode* cat = Node(0);

    EXPECT_TRUE(m_learner.delete_cat(cat, false));

    ExpectInfo("x", 2.5, 5.0, 1);
}

TEST_F(zeStatDietLearnerRemovalTest, UnknownCategoryIsRefusedAndNothingChanges) {
    zeNode* cat = Node(5);

    EXPECT_FALSE(m_learner.delete_cat(cat, true));
    EXPECT_FALSE(m_learner.clear_cat(cat, true));

    EXPECT_EQ(m_storage.profile_count(), 3);
    EXPECT_EQ(m_storage.m_total_weight, 16.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 16.0);
    ExpectInfo("x", 10.0, 5.0, 2);
}

TEST_F(zeStatDietLearnerRemovalTest, EmptyCategoryIsAdded) {
    zeNode* cat = Node(5);

    EXPECT_TRUE(m_learner.add_cat(cat));

    ASSERT_EQ(m_storage.profile_count(), 4);
    EXPECT_EQ(m_storage.profile(3).m_node, cat);
    EXPECT_EQ(m_storage.profile(3).m_weight, 0.0);
}

TEST_F(zeStatDietLearnerRemovalTest, AddingAKnownCategoryEmptiesItAndKeepsItsInfluence) {
    zeNode* cat = Node(0);

    EXPECT_FALSE(m_learner.add_cat(cat));

    EXPECT_EQ(m_storage.profile_count(), 3);
    EXPECT_TRUE(m_storage.profile(0).m_Ps.empty());
    EXPECT_EQ(m_storage.profile(0).m_weight, 0.0);
    EXPECT_EQ(m_storage.m_total_weight, 16.0);
    ExpectInfo("x", 10.0, 5.0, 2);
}

}  // namespace
