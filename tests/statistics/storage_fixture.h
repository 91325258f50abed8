// Shared by the tests of the storage: three categories, and the settings as a record.
#ifndef ZANDREL_TESTS_STATISTICS_STORAGE_FIXTURE_H_
#define ZANDREL_TESTS_STATISTICS_STORAGE_FIXTURE_H_

#include <cstddef>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"

// The settings of a storage, in the form in which they are given to it.
// Each member is named here a second time, to find a row of the table of settings that confuses two
// members.
inline zeDefaults settings_of(const zeStat_storage& storage) {
    zeDefaults settings = storage.settings();
    settings.use_new_ZC = storage.m_use_new_ZC;
    settings.use_normalization = storage.m_use_normalization;
    settings.use_likelihood_in_train = storage.m_use_train_likelihood;
    settings.use_likelihood_in_match = storage.m_use_likelihood_in_match;
    settings.likelihood_resolution = storage.m_likelihood_resolution;
    settings.use_omit_method = storage.m_use_omit_method;
    settings.suppress_M = storage.m_suppress_M;
    settings.suppress_M_threshold = storage.m_suppress_M_threshold;
    settings.num_slices = storage.m_num_slices;
    settings.clip_value = storage.m_clip_value;
    settings.profile_size = storage.m_profile_size;
    settings.min_Ps_size = storage.m_min_Ps_size;
    settings.max_Ps_size = storage.m_max_Ps_size;
    settings.P_life_expectancy = storage.m_P_life_expectancy;
    settings.delete_P_factor = storage.m_delete_P_factor;
    settings.activation_inside = storage.m_activation_inside;
    settings.activation_outside = storage.m_activation_outside;
    settings.activation_total = storage.m_activation_total;
    settings.learn_speed_scale = storage.m_learn_speed_scale;
    settings.min_Rlimit = storage.m_min_Rlimit;
    settings.average_Rlimit = storage.m_average_Rlimit;
    settings.max_Rlimit = storage.m_max_Rlimit;
    settings.keywords_frequency = storage.m_keywords_frequency;
    settings.sml_weights = storage.m_sml_weights;
    settings.weaken_small_cats_factor = storage.m_weaken_small_cats_factor;
    return settings;
}

// A storage of three categories: a, b and c with the indices 0, 1 and 2.
class zeStatStorageTest : public testing::Test {
protected:
    zeStatStorageTest() {
        for (zeNode* node : {&m_a, &m_b, &m_c}) {
            bool added = false;
            m_storage.get_or_add_profile(node, added);
        }
    }

    // Sets all learned and other values to something that is not 0.
    void Fill() {
        bool added = false;
        m_storage.get_or_add_concept_info(term("x"), added)->second = {1.0, 2.0, 3};
        m_storage.m_total_sml_weight = 4.0;
        m_storage.m_total_weight = 5.0;
        m_storage.m_num_msgs = 6;
        m_storage.m_total_msg_weight = 7.0;
        for (int i = 0; i < m_storage.profile_count(); ++i) {
            FillProfile(i);
        }
    }

    void FillProfile(int iprofile) {
        bool added = false;
        m_storage.get_or_add_P(iprofile, term("x"), added)->second.m_weight = 1.0;
        zeStat_storage::Profile& profile = m_storage.profile(iprofile);
        profile.m_size = 17;
        profile.m_M = 1.5;
        profile.m_weight = 2.5;
        profile.m_num_msgs = 3;
        profile.m_selection_mark = 9;
        profile.m_msg_weight = 3.5;
        profile.m_likelihood.fill(0.25);
        profile.m_likelihood_age = 12;
        profile.m_weights.push_back({term("x"), 1.0F});
        profile.m_bins.assign(5, {1.0, 2.0});
        profile.m_match_value = 8.0;
    }

    void ExpectNothingLearned(const zeStat_storage::Profile& profile) {
        EXPECT_EQ(profile.m_num_msgs, 0);
        EXPECT_EQ(profile.m_M, 0.0);
        EXPECT_EQ(profile.m_weight, 0.0);
        EXPECT_EQ(profile.m_msg_weight, 0.0);
        EXPECT_EQ(profile.m_selection_mark, 1);
        EXPECT_TRUE(profile.m_Ps.empty());
        EXPECT_TRUE(profile.m_weights.empty());
        ExpectNoLikelihood(profile);
    }

    void ExpectNoLikelihood(const zeStat_storage::Profile& profile) {
        EXPECT_EQ(profile.m_likelihood_age, 0);
        EXPECT_EQ(profile.m_likelihood, decltype(profile.m_likelihood){});
        ExpectZeroBins(profile, 30 * m_storage.m_likelihood_resolution);
    }

    void ExpectZeroBins(const zeStat_storage::Profile& profile, int count) {
        EXPECT_EQ(profile.m_bins.size(), static_cast<std::size_t>(count));
        for (const zeStat_storage::Result_bin& bin : profile.m_bins) {
            EXPECT_EQ(bin.m_relevant, 0.0);
            EXPECT_EQ(bin.m_total, 0.0);
        }
    }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeNode m_c{term("c")};
    zeDefaults m_defaults;
    zeStat_storage m_storage{nullptr, m_defaults};
};

#endif  // ZANDREL_TESTS_STATISTICS_STORAGE_FIXTURE_H_
