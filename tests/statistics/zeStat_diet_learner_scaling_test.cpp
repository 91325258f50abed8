// How the learner makes room for new messages. Where possible the numbers are powers of two, so
// most expected values are exact.
#include <cmath>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/statistics/learner_fixture.h"
#include "tests/support/expect_qtx.h"

namespace {

class zeStatDietLearnerScalingTest : public Learner_fixture {
protected:
    void Prepare(bool first) {
        m_learner.m_num_msgs4profile.resize(m_storage.m_profiles.size());
        m_learner.prepare4training(first);
    }

    // Profiles far above any limit, so that each is reduced to its limit.
    void AddSizes(const std::vector<double>& sizes) {
        double sum = 0.0;
        for (const double size : sizes) {
            AddProfile(1e6, size);
            sum += size;
        }
        SetTotals(sum, sum);
    }

    std::vector<double> Weights() const {
        std::vector<double> weights;
        for (const auto& profile : m_storage.m_profiles) {
            weights.push_back(profile->m_weight);
        }
        return weights;
    }

    std::vector<double> Limits(const std::vector<double>& sizes) {
        AddSizes(sizes);
        Prepare(true);
        return Weights();
    }

    // Expects the assertion, and that nothing is scaled and no concept ages.
    void ExpectRefusal(const char* assertion) {
        AddP(0, "x", 4.0).m_life = 3;
        AddInfo("x", 8.0, 2.0, 1);
        SetBulk({1, 1});
        const double total_weight = m_storage.m_total_weight;
        const double total_msg_weight = m_storage.m_total_msg_weight;
        m_storage.m_total_sml_weight = 64.0;

        EXPECT_ASSERTS(Prepare(true), assertion);

        EXPECT_THAT(Weights(), testing::ElementsAre(1e6, 1e6));
        EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 4.0);
        EXPECT_EQ(P_of(m_storage, 0, "x").m_life, 3);
        EXPECT_EQ(info_of(m_storage, "x").m_weight, 8.0);
        EXPECT_EQ(info_of(m_storage, "x").m_rate, 2.0);
        EXPECT_EQ(m_storage.m_total_weight, total_weight);
        EXPECT_EQ(m_storage.m_total_msg_weight, total_msg_weight);
        EXPECT_EQ(m_storage.m_total_sml_weight, 64.0);
    }

    // Two profiles with limits of half their weights. With sizes of 48 and 16 the average size is
    // 32 and has the limit 16, so the limits are 48 * 16 / 32 and 16 * 16 / 32.
    void AddHalved() {
        AddProfile(48.0, 48.0);
        AddProfile(16.0, 16.0);
        SetTotals(64.0, 64.0, 256.0);
    }
};

using testing::ElementsAre;

// Ageing.

TEST_F(zeStatDietLearnerScalingTest, MessagesOfACategoryUseUpTheProtectionOfItsConcepts) {
    struct Row {
        int life;
        int msgs;
        int left;
    };

    AddProfile(0.0, 0.0);
    for (const bool first : {false, true}) {
        if (first) {
            m_storage.profile(0).m_msg_weight = 1.0;
            m_storage.m_total_msg_weight = 1.0;
        }
        for (const Row& row : {Row{3, 5, 0}, Row{3, 3, 0}, Row{3, 2, 1}, Row{3, 0, 3}, Row{0, 5, 0},
                               Row{255, 1, 254}, Row{255, 1000, 0}}) {
            SCOPED_TRACE(testing::Message() << row.life << " after " << row.msgs << ", " << first);
            zeStat_storage::P& P = AddP(0, "x", 1.0);
            P.m_life = static_cast<unsigned char>(row.life);
            SetBulk({row.msgs});

            Prepare(first);

            EXPECT_EQ(P.m_life, row.left);
        }
    }
}

TEST_F(zeStatDietLearnerScalingTest, EachProfileAgesByItsOwnMessages) {
    AddHalved();
    AddP(0, "x", 1.0).m_life = 9;
    AddP(1, "x", 1.0).m_life = 9;
    SetBulk({2, 5});

    Prepare(false);

    EXPECT_EQ(P_of(m_storage, 0, "x").m_life, 7);
    EXPECT_EQ(P_of(m_storage, 1, "x").m_life, 4);
}

TEST_F(zeStatDietLearnerScalingTest, LaterBulkChangesNoWeight) {
    AddHalved();
    AddP(0, "x", 3.0);
    AddInfo("x", 3.0, 2.0, 1);

    Prepare(false);

    EXPECT_THAT(Weights(), ElementsAre(48.0, 16.0));
    EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 3.0);
    EXPECT_EQ(info_of(m_storage, "x").m_weight, 3.0);
    EXPECT_EQ(m_storage.m_total_weight, 64.0);
    EXPECT_EQ(m_storage.m_total_sml_weight, 256.0);
}

// Nothing to scale.

TEST_F(zeStatDietLearnerScalingTest, ModelWithoutProfilesIsUnchanged) {
    SetTotals(4.0, 4.0, 4.0);

    Prepare(true);

    EXPECT_EQ(m_storage.m_total_weight, 4.0);
}

TEST_F(zeStatDietLearnerScalingTest, NothingIsReducedOrAgedIfMessagesHaveNoWeight) {
    struct Row {
        const char* rule;
        double msg_weight;
        double total;
    };

    for (const Row& row :
         {Row{"no total", 16.0, 0.0}, Row{"no profile with a weight", 0.0, 16.0}}) {
        SCOPED_TRACE(row.rule);
        m_storage.clear();
        AddProfile(100.0, row.msg_weight);
        SetTotals(100.0, row.total);
        AddP(0, "x", 1.0).m_life = 3;
        SetBulk({2});

        Prepare(true);

        EXPECT_EQ(m_storage.profile(0).m_weight, 100.0);
        EXPECT_EQ(P_of(m_storage, 0, "x").m_life, 3);
        EXPECT_EQ(m_storage.m_total_weight, 100.0);
    }
}

// Limits. The mean of the six sizes is 16: (64 + 16 + 4 * 4) / 6.

TEST_F(zeStatDietLearnerScalingTest, LinearLimitsAreProportionalToTheSize) {
    m_storage.m_average_Rlimit = 10.0;

    EXPECT_THAT(Limits({64, 16, 4, 4, 4, 4}), ElementsAre(40.0, 10.0, 2.5, 2.5, 2.5, 2.5));
}

TEST_F(zeStatDietLearnerScalingTest, SqrtLimitsAreProportionalToTheRootOfTheSize) {
    m_storage.m_average_Rlimit = 10.0;
    m_storage.m_learn_speed_scale = 0;

    EXPECT_THAT(Limits({64, 16, 4, 4, 4, 4}), ElementsAre(20.0, 10.0, 5.0, 5.0, 5.0, 5.0));
}

TEST_F(zeStatDietLearnerScalingTest, EveryScaleButOneIsSqrt) {
    m_storage.m_average_Rlimit = 10.0;
    m_storage.m_learn_speed_scale = 2;

    EXPECT_THAT(Limits({64, 16, 4, 4, 4, 4}), ElementsAre(20.0, 10.0, 5.0, 5.0, 5.0, 5.0));
}

TEST_F(zeStatDietLearnerScalingTest, LimitsAreBetweenTheClamps) {
    m_storage.m_average_Rlimit = 10.0;
    m_storage.m_min_Rlimit = 3.0;
    m_storage.m_max_Rlimit = 30.0;

    EXPECT_THAT(Limits({64, 16, 4, 4, 4, 4}), ElementsAre(30.0, 10.0, 3.0, 3.0, 3.0, 3.0));
}

TEST_F(zeStatDietLearnerScalingTest, UpperClampIsAppliedLast) {
    m_storage.m_average_Rlimit = 10.0;
    m_storage.m_min_Rlimit = 30.0;
    m_storage.m_max_Rlimit = 8.0;

    EXPECT_THAT(Limits({64, 16, 4, 4, 4, 4}), testing::Each(8.0));
}

// A profile without messages counts in the number of profiles for the first mean, but nowhere else.
TEST_F(zeStatDietLearnerScalingTest, ProfileWithoutMessagesDoesNotChangeTheAverage) {
    EXPECT_THAT(Limits({48, 16, 0}), ElementsAre(24.0, 8.0, 0.0));
}

// The mean is 32, so the damping factors are 0.5 * 48 / 32 and 0.5 * 16 / 32; their sum is 1. The
// average is 48 * 0.75 + 16 * 0.25.
TEST_F(zeStatDietLearnerScalingTest, DampingReducesTheWeightOfSmallCategories) {
    m_storage.m_average_Rlimit = 20.0;
    m_storage.m_weaken_small_cats_factor = 0.5;

    EXPECT_THAT(Limits({48, 16}), ElementsAre(24.0, 8.0));
}

// With two more profiles, which have no messages, the mean is 64 / 4 = 16. The damping factors are
// 0.25 * 48 / 16 and 0.25 * 16 / 16.
TEST_F(zeStatDietLearnerScalingTest, DampingUsesTheMeanOfAllProfilesThatCount) {
    m_storage.m_average_Rlimit = 20.0;
    m_storage.m_weaken_small_cats_factor = 0.25;

    EXPECT_THAT(Limits({48, 16, 0, 0}), ElementsAre(24.0, 8.0, 0.0, 0.0));
}

TEST_F(zeStatDietLearnerScalingTest, DampingNeverIncreasesAWeight) {
    m_storage.m_weaken_small_cats_factor = 2.0;

    EXPECT_THAT(Limits({48, 16}), ElementsAre(24.0, 8.0));
}

TEST_F(zeStatDietLearnerScalingTest, FactorNotAboveZeroMeansNoDamping) {
    m_storage.m_weaken_small_cats_factor = -0.5;

    EXPECT_THAT(Limits({48, 16}), ElementsAre(24.0, 8.0));
}

// The geometric average of 16 and 4 is 8, the arithmetic one is 10.
TEST_F(zeStatDietLearnerScalingTest, GeometricAverageIsUsedIfRequested) {
    m_storage.m_average_Rlimit = 10.0;
    g_use_geom_average = true;

    const std::vector<double> limits = Limits({16, 4});

    EXPECT_NEAR(limits[0], 20.0, 1e-12);
    EXPECT_NEAR(limits[1], 5.0, 1e-12);
}

// 48^0.75 * 16^0.25 = 16 * 3^0.75.
TEST_F(zeStatDietLearnerScalingTest, GeometricAverageIsDampedByPowers) {
    m_storage.m_weaken_small_cats_factor = 0.5;
    m_storage.m_average_Rlimit = 16 * std::sqrt(3.0) * std::sqrt(std::sqrt(3.0));
    g_use_geom_average = true;

    const std::vector<double> limits = Limits({48, 16});

    EXPECT_NEAR(limits[0], 48.0, 1e-11);
    EXPECT_NEAR(limits[1], 16.0, 1e-11);
}

// The limits before a bulk.

// With sizes of 48 and 16 the average is 32, so the limits are 48 * 16 / 32 and 16 * 16 / 32.
TEST_F(zeStatDietLearnerScalingTest, LimitsEqualThoseOfAFirstBulkAndAskingChangesNothing) {
    AddProfile(1000.0, 48.0);
    AddProfile(2.0, 16.0);
    SetTotals(1002.0, 64.0);

    EXPECT_THAT(m_learner.limits(), ElementsAre(24.0, 8.0));
    EXPECT_THAT(Weights(), ElementsAre(1000.0, 2.0));
    Prepare(true);
    EXPECT_THAT(Weights(), ElementsAre(24.0, 2.0));
}

TEST_F(zeStatDietLearnerScalingTest, ModelThatCountedNothingHasNoLimits) {
    EXPECT_THAT(m_learner.limits(), ElementsAre());
    AddProfile(0.0, 0.0);
    EXPECT_THAT(m_learner.limits(), ElementsAre()) << "no messages in all";
    m_storage.m_total_msg_weight = 1.0;
    EXPECT_THAT(m_learner.limits(), ElementsAre()) << "none of a category";
}

// The sizes -1 and 3 have no geometric average, since -1 has no logarithm. So `m_average_Rlimit` is
// used instead.
TEST_F(zeStatDietLearnerScalingTest, AverageNotAboveZeroIsReplacedByTheAverageLimit) {
    m_storage.m_average_Rlimit = 8.0;
    g_use_geom_average = true;

    EXPECT_THAT(Limits({-1, 3}), ElementsAre(0.0, 3.0));
}

// The mean of -1 and 2 is 0.5. Then the damping of -1 is infinite and the arithmetic average is
// NaN.
TEST_F(zeStatDietLearnerScalingTest, AverageThatIsNaNIsReplacedByTheAverageLimit) {
    m_storage.m_average_Rlimit = 8.0;
    m_storage.m_weaken_small_cats_factor = 1e308;

    EXPECT_THAT(Limits({-1, 2}), ElementsAre(0.0, 2.0));
}

TEST_F(zeStatDietLearnerScalingTest, GeometricAverageOfZeroAsserts) {
    m_storage.m_average_Rlimit = 0.0;
    AddSizes({-1, 3});

    ExpectRefusal("geom_average");
}

// The sizes are again -1 and 2, so the arithmetic average is NaN. The geometric average exists and
// is 1, since -1 to an infinite power is 1.
TEST_F(zeStatDietLearnerScalingTest, ArithmeticAverageOfZeroAsserts) {
    m_storage.m_average_Rlimit = 0.0;
    m_storage.m_weaken_small_cats_factor = 1e308;
    AddSizes({-1, 2});

    ExpectRefusal("arithm_average");
}

// Junk. A plain category of 32 and a junk category of 96: the average is 32, so the limits are 8
// and 24. The plain category then weighs 8 and has a quarter of the messages, so the total is 32.

TEST_F(zeStatDietLearnerScalingTest, JunkIsLimitedByTheAverageOfTheOthers) {
    m_storage.m_average_Rlimit = 8.0;
    m_nodes[1].m_flags = zeNode::Junk;
    AddProfile(32.0, 32.0);
    AddProfile(96.0, 96.0);
    SetTotals(128.0, 128.0, 512.0);

    Prepare(true);

    EXPECT_THAT(Weights(), ElementsAre(8.0, 24.0));
    EXPECT_EQ(m_storage.m_total_weight, 32.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 32.0);
    EXPECT_EQ(m_storage.m_total_sml_weight, 128.0);
    EXPECT_EQ(m_storage.profile(0).m_msg_weight, 8.0);
    EXPECT_EQ(m_storage.profile(1).m_msg_weight, 24.0);
}

// As without the junk, the mean is 32 and the damped average is 40.
TEST_F(zeStatDietLearnerScalingTest, DampingUsesTheMeanWithoutJunk) {
    m_storage.m_average_Rlimit = 20.0;
    m_storage.m_weaken_small_cats_factor = 0.5;
    m_nodes[2].m_flags = zeNode::Junk;

    EXPECT_THAT(Limits({48, 16, 640}), ElementsAre(24.0, 8.0, 320.0));
}

TEST_F(zeStatDietLearnerScalingTest, OtherFlagsDoNotMakeJunk) {
    m_nodes[1].m_flags = zeNode::NoScore;

    EXPECT_THAT(Limits({48, 16}), ElementsAre(24.0, 8.0));
}

TEST_F(zeStatDietLearnerScalingTest, AllCategoriesCountIfAllAreJunk) {
    m_nodes[0].m_flags = zeNode::Junk;
    m_nodes[1].m_flags = zeNode::Junk | zeNode::NoScore;

    EXPECT_THAT(Limits({48, 16}), ElementsAre(24.0, 8.0));
    EXPECT_EQ(m_storage.m_total_weight, 32.0);
}

TEST_F(zeStatDietLearnerScalingTest, AllCategoriesCountIfOnlyJunkHasMessages) {
    m_nodes[0].m_flags = zeNode::Junk;
    m_nodes[1].m_flags = zeNode::Junk;

    EXPECT_THAT(Limits({48, 16, 0}), ElementsAre(24.0, 8.0, 0.0));
}

// Reducing profiles.

TEST_F(zeStatDietLearnerScalingTest, ProfileAndItsConceptsAreReducedByTheSameFactor) {
    AddHalved();
    AddP(0, "x", 3.0);
    AddP(0, "y", 0.5);
    AddP(1, "x", 7.0);

    Prepare(true);

    EXPECT_THAT(Weights(), ElementsAre(24.0, 8.0));
    EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 1.5);
    EXPECT_EQ(P_of(m_storage, 0, "y").m_weight, 0.25);
    EXPECT_EQ(P_of(m_storage, 1, "x").m_weight, 3.5);
}

TEST_F(zeStatDietLearnerScalingTest, HistogramsAreReducedIfTheyAreUsed) {
    for (const bool uses : {false, true}) {
        SCOPED_TRACE(uses);
        m_storage.clear();
        AddHalved();
        m_storage.m_use_train_likelihood = uses;
        m_storage.profile(0).m_bins[7] = {2.0, 6.0};

        Prepare(true);

        EXPECT_EQ(m_storage.profile(0).m_bins[7].m_relevant, uses ? 1.0 : 2.0);
        EXPECT_EQ(m_storage.profile(0).m_bins[7].m_total, uses ? 3.0 : 6.0);
    }
}

TEST_F(zeStatDietLearnerScalingTest, ProfileNotAboveItsLimitIsUnchanged) {
    AddProfile(24.0, 48.0);
    AddProfile(4.0, 16.0);
    SetTotals(64.0, 64.0);
    AddP(0, "x", 3.0);
    AddP(1, "x", 3.0);

    Prepare(true);

    EXPECT_THAT(Weights(), ElementsAre(24.0, 4.0));
    EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 3.0);
    EXPECT_EQ(P_of(m_storage, 1, "x").m_weight, 3.0);
    EXPECT_EQ(m_storage.m_total_weight, 28.0);
}

// Scaling shared weights.

TEST_F(zeStatDietLearnerScalingTest, ConceptsAndTotalsAreScaledToo) {
    AddHalved();
    m_storage.m_num_msgs = 64;
    m_storage.profile(0).m_num_msgs = 48;
    AddInfo("x", 3.0, 10.0, 2);

    Prepare(true);

    EXPECT_EQ(info_of(m_storage, "x").m_weight, 1.5);
    EXPECT_EQ(info_of(m_storage, "x").m_rate, 5.0);
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 2);
    EXPECT_EQ(m_storage.m_total_weight, 32.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 32.0);
    EXPECT_EQ(m_storage.m_total_sml_weight, 128.0);
    EXPECT_EQ(m_storage.profile(0).m_msg_weight, 24.0);
    EXPECT_EQ(m_storage.profile(1).m_msg_weight, 8.0);
    EXPECT_EQ(m_storage.m_num_msgs, 64);
    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 48);
}

// Each message has both categories, so the weights of the profiles are twice the total weight.
TEST_F(zeStatDietLearnerScalingTest, MessagesOfSeveralCategoriesCountOnceInTheTotal) {
    AddHalved();
    SetTotals(64.0, 32.0);

    Prepare(true);

    EXPECT_EQ(m_storage.m_total_weight, 16.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 8.0);
    EXPECT_EQ(m_storage.profile(0).m_msg_weight, 12.0);
}

TEST_F(zeStatDietLearnerScalingTest, TotalWithoutWeightIsSetAndNothingIsScaled) {
    AddHalved();
    m_storage.m_total_weight = 0.0;
    AddInfo("x", 3.0, 10.0, 2);

    Prepare(true);

    EXPECT_EQ(m_storage.m_total_weight, 32.0);
    EXPECT_EQ(info_of(m_storage, "x").m_weight, 3.0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 64.0);
}

TEST_F(zeStatDietLearnerScalingTest, TotalOfProfilesWithoutWeightIsSetToZeroAndNothingIsScaled) {
    AddProfile(0.0, 48.0);
    SetTotals(64.0, 48.0, 256.0);
    AddInfo("x", 3.0, 10.0, 2);

    Prepare(true);

    EXPECT_EQ(m_storage.m_total_weight, 0.0);
    EXPECT_EQ(info_of(m_storage, "x").m_weight, 3.0);
    EXPECT_EQ(m_storage.m_total_sml_weight, 256.0);
}

TEST_F(zeStatDietLearnerScalingTest, PollFollowsEachProfile) {
    for (int poll = 1; poll <= 3; ++poll) {
        SCOPED_TRACE(poll);
        m_storage.clear();
        AddHalved();
        zeManager manager;
        Interrupt_at progress(poll);
        manager.m_progress = &progress;
        m_learner.m_manager = &manager;

        if (poll <= 2) {
            EXPECT_QTX(Prepare(true), zeWorkflow, 2, "Process interrupted");
        } else {
            Prepare(true);
        }

        EXPECT_THAT(Weights(), ElementsAre(24.0, poll == 1 ? 16.0 : 8.0));
        EXPECT_EQ(m_storage.m_total_weight, poll == 3 ? 32.0 : 64.0);
    }
}

}  // namespace
