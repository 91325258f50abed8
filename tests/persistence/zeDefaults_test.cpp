#include "zandrel/persistence/zeDefaults.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

TEST(zeDefaultsTest, SwitchesHaveTheDocumentedDefaults) {
    const zeDefaults defaults;

    EXPECT_TRUE(defaults.use_new_ZC);
    EXPECT_TRUE(defaults.use_normalization);
    EXPECT_TRUE(defaults.use_likelihood_in_train);
    EXPECT_TRUE(defaults.use_likelihood_in_match);
    EXPECT_TRUE(defaults.use_omit_method);
    EXPECT_TRUE(defaults.suppress_M);
}

TEST(zeDefaultsTest, CountsHaveTheDocumentedDefaults) {
    const zeDefaults defaults;

    EXPECT_EQ(defaults.likelihood_resolution, 1);
    EXPECT_EQ(defaults.suppress_M_threshold, 0);
    EXPECT_EQ(defaults.num_slices, 10);
    EXPECT_EQ(defaults.profile_size, 1000);
    EXPECT_EQ(defaults.min_Ps_size, 2000);
    EXPECT_EQ(defaults.max_Ps_size, 4000);
    EXPECT_EQ(defaults.P_life_expectancy, 10);
    EXPECT_EQ(defaults.activation_inside, 1);
    EXPECT_EQ(defaults.activation_outside, 0);
    EXPECT_EQ(defaults.activation_total, 1);
    EXPECT_EQ(defaults.learn_speed_scale, 0);
}

TEST(zeDefaultsTest, FactorsAndLimitsHaveTheDocumentedDefaults) {
    const zeDefaults defaults;

    EXPECT_EQ(defaults.clip_value, 3.0);
    EXPECT_EQ(defaults.delete_P_factor, 1.1);
    EXPECT_EQ(defaults.min_Rlimit, 30.0);
    EXPECT_EQ(defaults.average_Rlimit, 100.0);
    EXPECT_EQ(defaults.max_Rlimit, 10000.0);
    EXPECT_EQ(defaults.keywords_frequency, 6.0);
    EXPECT_THAT(defaults.sml_weights, testing::ElementsAre(1.0, 5.0, 3.0, 3.0));
    EXPECT_EQ(defaults.weaken_small_cats_factor, 10.0);
}

TEST(zeDefaultsTest, LifeExpectancyIsOneByte) {
    EXPECT_EQ(sizeof zeDefaults().P_life_expectancy, 1U);
}

TEST(zeDefaultsTest, TwoDefaultObjectsAreEqual) {
    EXPECT_TRUE(zeDefaults() == zeDefaults());
    EXPECT_FALSE(zeDefaults() != zeDefaults());
}

// Changes a setting as little as its type allows.
void change(bool& setting) {
    setting = !setting;
}

void change(int& setting) {
    ++setting;
}

void change(unsigned char& setting) {
    ++setting;
}

void change(double& setting) {
    setting = std::nextafter(setting, std::numeric_limits<double>::max());
}

struct Change_row {
    const char* name;
    void (*change)(zeDefaults& changed);
};

// clang-format off
const Change_row kEachSetting[] = {
    {"use_new_ZC", [](zeDefaults& s) { change(s.use_new_ZC); }},
    {"use_normalization", [](zeDefaults& s) { change(s.use_normalization); }},
    {"use_likelihood_in_train", [](zeDefaults& s) { change(s.use_likelihood_in_train); }},
    {"use_likelihood_in_match", [](zeDefaults& s) { change(s.use_likelihood_in_match); }},
    {"likelihood_resolution", [](zeDefaults& s) { change(s.likelihood_resolution); }},
    {"use_omit_method", [](zeDefaults& s) { change(s.use_omit_method); }},
    {"suppress_M", [](zeDefaults& s) { change(s.suppress_M); }},
    {"suppress_M_threshold", [](zeDefaults& s) { change(s.suppress_M_threshold); }},
    {"num_slices", [](zeDefaults& s) { change(s.num_slices); }},
    {"clip_value", [](zeDefaults& s) { change(s.clip_value); }},
    {"profile_size", [](zeDefaults& s) { change(s.profile_size); }},
    {"min_Ps_size", [](zeDefaults& s) { change(s.min_Ps_size); }},
    {"max_Ps_size", [](zeDefaults& s) { change(s.max_Ps_size); }},
    {"P_life_expectancy", [](zeDefaults& s) { change(s.P_life_expectancy); }},
    {"delete_P_factor", [](zeDefaults& s) { change(s.delete_P_factor); }},
    {"activation_inside", [](zeDefaults& s) { change(s.activation_inside); }},
    {"activation_outside", [](zeDefaults& s) { change(s.activation_outside); }},
    {"activation_total", [](zeDefaults& s) { change(s.activation_total); }},
    {"learn_speed_scale", [](zeDefaults& s) { change(s.learn_speed_scale); }},
    {"min_Rlimit", [](zeDefaults& s) { change(s.min_Rlimit); }},
    {"average_Rlimit", [](zeDefaults& s) { change(s.average_Rlimit); }},
    {"max_Rlimit", [](zeDefaults& s) { change(s.max_Rlimit); }},
    {"keywords_frequency", [](zeDefaults& s) { change(s.keywords_frequency); }},
    {"sml_weights[0]", [](zeDefaults& s) { change(s.sml_weights[0]); }},
    {"sml_weights[1]", [](zeDefaults& s) { change(s.sml_weights[1]); }},
    {"sml_weights[2]", [](zeDefaults& s) { change(s.sml_weights[2]); }},
    {"sml_weights[3]", [](zeDefaults& s) { change(s.sml_weights[3]); }},
    {"weaken_small_cats_factor", [](zeDefaults& s) { change(s.weaken_small_cats_factor); }},
};

// clang-format on

TEST(zeDefaultsTest, LeastChangeOfAnySettingMakesItDiffer) {
    for (const Change_row& row : kEachSetting) {
        SCOPED_TRACE(row.name);
        zeDefaults changed;
        row.change(changed);

        EXPECT_FALSE(changed == zeDefaults());
        EXPECT_TRUE(changed != zeDefaults());

        zeDefaults changed_alike;
        row.change(changed_alike);
        EXPECT_TRUE(changed == changed_alike);
    }
}

TEST(zeDefaultsTest, NumbersAreComparedExactly) {
    zeDefaults negative_zero;
    zeDefaults zero;
    negative_zero.clip_value = -0.0;
    zero.clip_value = 0.0;
    EXPECT_TRUE(negative_zero == zero);

    zeDefaults not_a_number;
    not_a_number.clip_value = std::numeric_limits<double>::quiet_NaN();
    const zeDefaults& same = not_a_number;
    EXPECT_FALSE(not_a_number == same);
}

}  // namespace
