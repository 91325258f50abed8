#include "zandrel/persistence/zeDefaults.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/other_value.h"

namespace {

using zandrel::Setting;
using zandrel::Setting_table;

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
void change(const Setting& row, zeDefaults& settings) {
    const double value = row.in_defaults.get(settings);
    row.in_defaults.set(settings, row.is_real
                                      ? std::nextafter(value, std::numeric_limits<double>::max())
                                      : other_value(row, value));
}

TEST(zeDefaultsTest, LeastChangeOfAnySettingMakesItDiffer) {
    int count = 0;
    for (const Setting& row : Setting_table::kRows) {
        if (row.in_defaults.get == nullptr) {
            continue;
        }
        SCOPED_TRACE(row.name);
        ++count;
        zeDefaults changed;
        change(row, changed);

        EXPECT_FALSE(changed == zeDefaults());
        EXPECT_TRUE(changed != zeDefaults());

        zeDefaults changed_alike;
        change(row, changed_alike);
        EXPECT_TRUE(changed == changed_alike);
    }
    EXPECT_GE(count, 28);
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
