// The settings of a storage, taken from the defaults.
#include "zandrel/statistics/zeStat_storage.h"

#include <cstddef>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/persistence/zeDefaults.h"

#include "tests/statistics/storage_fixture.h"

namespace {

// Each value differs from its default. The average limit is lower than the default's, so that the
// rule that raises the average has no effect.
zeDefaults other_settings() {
    zeDefaults other;
    other.use_new_ZC = false;
    other.use_normalization = false;
    other.use_likelihood_in_train = false;
    other.use_likelihood_in_match = false;
    other.likelihood_resolution = 4;
    other.use_omit_method = false;
    other.suppress_M = false;
    other.suppress_M_threshold = 77;
    other.num_slices = 3;
    other.clip_value = 5.5;
    other.profile_size = 250;
    other.min_Ps_size = 11;
    other.max_Ps_size = 12;
    other.P_life_expectancy = 200;
    other.delete_P_factor = 2.5;
    other.activation_inside = 6;
    other.activation_outside = 7;
    other.activation_total = 8;
    other.learn_speed_scale = 1;
    other.min_Rlimit = 20.0;
    other.average_Rlimit = 50.0;
    other.max_Rlimit = 5000.0;
    other.keywords_frequency = 1.5;
    other.sml_weights = {9.0, 10.0, 11.0, 12.0};
    other.weaken_small_cats_factor = 0.5;
    return other;
}

struct Flag_row {
    const char* rule;
    std::function<void(zeSetDefaults&)> raise;
    std::function<void(zeDefaults&, const zeDefaults&)> copy;
};

template <class Value>
Flag_row flag_row(const char* rule, bool zeSetDefaults::*flag, Value zeDefaults::*value) {
    return {rule, [flag](zeSetDefaults& flags) { flags.*flag = true; },
            [value](zeDefaults& to, const zeDefaults& from) { to.*value = from.*value; }};
}

Flag_row bag_weight_row(const char* rule, std::size_t slot) {
    return {rule, [slot](zeSetDefaults& flags) { flags.sml_weights[slot] = true; },
            [slot](zeDefaults& to, const zeDefaults& from) {
                to.sml_weights[slot] = from.sml_weights[slot];
            }};
}

std::vector<Flag_row> flag_rows() {
    using Flags = zeSetDefaults;
    using Values = zeDefaults;
    return {
        flag_row("UseNewZC", &Flags::use_new_ZC, &Values::use_new_ZC),
        flag_row("UseNormalization", &Flags::use_normalization, &Values::use_normalization),
        flag_row("UseLikelihoodInTrain", &Flags::use_likelihood_in_train,
                 &Values::use_likelihood_in_train),
        flag_row("UseLikelihoodInMatch", &Flags::use_likelihood_in_match,
                 &Values::use_likelihood_in_match),
        flag_row("LikelihoodHistogramResolution", &Flags::likelihood_resolution,
                 &Values::likelihood_resolution),
        flag_row("UseOmitMethod", &Flags::use_omit_method, &Values::use_omit_method),
        flag_row("SuppressM", &Flags::suppress_M, &Values::suppress_M),
        flag_row("SuppressMThreshold", &Flags::suppress_M_threshold, &Values::suppress_M_threshold),
        flag_row("NumberOfSlices", &Flags::num_slices, &Values::num_slices),
        flag_row("ClipValue", &Flags::clip_value, &Values::clip_value),
        flag_row("ProfileSize", &Flags::profile_size, &Values::profile_size),
        flag_row("MinPsSize", &Flags::min_Ps_size, &Values::min_Ps_size),
        flag_row("MaxPsSize", &Flags::max_Ps_size, &Values::max_Ps_size),
        flag_row("PLifeExpectancy", &Flags::P_life_expectancy, &Values::P_life_expectancy),
        flag_row("DeletePFactor", &Flags::delete_P_factor, &Values::delete_P_factor),
        flag_row("ActivationInside", &Flags::activation_inside, &Values::activation_inside),
        flag_row("ActivationOutside", &Flags::activation_outside, &Values::activation_outside),
        flag_row("ActivationTotal", &Flags::activation_total, &Values::activation_total),
        flag_row("LearnSpeedScale", &Flags::learn_speed_scale, &Values::learn_speed_scale),
        flag_row("MinRlimit", &Flags::min_Rlimit, &Values::min_Rlimit),
        flag_row("AverageRlimit", &Flags::average_Rlimit, &Values::average_Rlimit),
        flag_row("MaxRlimit", &Flags::max_Rlimit, &Values::max_Rlimit),
        flag_row("KeywordsFrequency", &Flags::keywords_frequency, &Values::keywords_frequency),
        flag_row("WeakenSmallCatsFactor", &Flags::weaken_small_cats_factor,
                 &Values::weaken_small_cats_factor),
        bag_weight_row("bag weight 0", 0),
        bag_weight_row("KeywordsSmlWeight", 1),
        bag_weight_row("TitleSmlWeight", 2),
        bag_weight_row("CannedSmlWeight", 3),
    };
}

TEST_F(zeStatStorageTest, AllSettingsAreTakenFromTheDefaults) {
    zeDefaults other = other_settings();

    zeStat_storage storage(nullptr, other);

    EXPECT_TRUE(settings_of(storage) == other);
    EXPECT_TRUE(settings_of(m_storage) == m_defaults);
}

TEST_F(zeStatStorageTest, EachFlagAppliesOnlyItsSetting) {
    const zeDefaults other = other_settings();
    for (const Flag_row& row : flag_rows()) {
        SCOPED_TRACE(row.rule);
        zeStat_storage storage(nullptr, m_defaults);
        zeSetDefaults flags;
        row.raise(flags);
        zeDefaults expected;
        row.copy(expected, other);
        ASSERT_FALSE(expected == m_defaults);

        zeDefaults given = other;
        storage.set_defaults(given, flags);

        EXPECT_TRUE(settings_of(storage) == expected);
    }
}

TEST_F(zeStatStorageTest, ThereIsAFlagForEachOfTwentyEightSettings) {
    EXPECT_EQ(flag_rows().size(), 28U);
    EXPECT_EQ(sizeof(zeSetDefaults), 28U);
}

TEST_F(zeStatStorageTest, AllFlagsApplyAllSettings) {
    zeDefaults other = other_settings();
    zeSetDefaults flags = zeSetDefaults::all(true);

    m_storage.set_defaults(other, flags);

    EXPECT_TRUE(settings_of(m_storage) == other);
}

TEST_F(zeStatStorageTest, NoFlagsApplyNothing) {
    zeDefaults other = other_settings();
    zeSetDefaults flags = zeSetDefaults::all(false);

    m_storage.set_defaults(other, flags);

    EXPECT_TRUE(settings_of(m_storage) == m_defaults);
}

TEST_F(zeStatStorageTest, MaximumBelowTheAverageIsRaisedToIt) {
    zeDefaults given;
    given.max_Rlimit = 40.0;
    zeSetDefaults flags;
    flags.max_Rlimit = true;

    m_storage.set_defaults(given, flags);

    EXPECT_EQ(m_storage.m_max_Rlimit, 100.0);
    EXPECT_EQ(m_storage.m_average_Rlimit, 100.0);
}

TEST_F(zeStatStorageTest, AverageIsRaisedToThatOfTheDefaultsWithoutItsFlag) {
    zeDefaults given;
    given.average_Rlimit = 300.0;
    zeSetDefaults flags;

    m_storage.set_defaults(given, flags);

    EXPECT_EQ(m_storage.m_average_Rlimit, 300.0);
}

TEST_F(zeStatStorageTest, MaximumStaysBelowAnAverageThatIsRaisedLater) {
    m_storage.m_max_Rlimit = 150.0;
    zeDefaults given;
    given.average_Rlimit = 300.0;
    zeSetDefaults flags;

    m_storage.set_defaults(given, flags);

    EXPECT_EQ(m_storage.m_max_Rlimit, 150.0);
}

TEST_F(zeStatStorageTest, AverageIsNotLoweredWithoutItsFlag) {
    zeDefaults given;
    given.average_Rlimit = 60.0;
    zeSetDefaults flags;

    m_storage.set_defaults(given, flags);

    EXPECT_EQ(m_storage.m_average_Rlimit, 100.0);
}

TEST_F(zeStatStorageTest, AverageIsNotComparedWithTheMinimum) {
    zeDefaults given;
    given.min_Rlimit = 500.0;
    zeSetDefaults flags;
    flags.min_Rlimit = true;

    m_storage.set_defaults(given, flags);

    EXPECT_EQ(m_storage.m_min_Rlimit, 500.0);
    EXPECT_EQ(m_storage.m_average_Rlimit, 100.0);
}

TEST_F(zeStatStorageTest, SettingDefaultsChangesTheProfiles) {
    Fill();
    zeDefaults given;
    given.use_likelihood_in_train = false;
    given.likelihood_resolution = 2;
    given.profile_size = 5;
    zeSetDefaults flags = zeSetDefaults::all(true);

    m_storage.set_defaults(given, flags);

    // The histogram is first emptied and then re-binned, which gives it its full length again.
    ExpectZeroBins(m_storage.profile(0), 60);
    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 0);
    EXPECT_EQ(m_storage.profile(0).m_size, 5);
}

}  // namespace
