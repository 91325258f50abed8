// The settings of a storage, taken from the defaults.
#include "zandrel/statistics/zeStat_storage.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/persistence/zeDefaults.h"

#include "tests/statistics/storage_fixture.h"
#include "tests/support/other_value.h"

namespace {

using zandrel::Setting;
using zandrel::Setting_table;

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
    // Settings that are not set above.
    const zeDefaults defaults;
    for (const Setting& row : Setting_table::kRows) {
        const auto& place = row.in_defaults;
        if (place.get != nullptr && place.get(other) == place.get(defaults)) {
            place.set(other, other_value(row, place.get(defaults)));
        }
    }
    return other;
}

// The rows of the table that are settings of a model.
std::vector<const Setting*> rows_of_models() {
    std::vector<const Setting*> rows;
    for (const Setting& row : Setting_table::kRows) {
        if (row.flag != nullptr) {
            rows.push_back(&row);
        }
    }
    return rows;
}

// Bytes of a plain record.
template <class Record>
std::string bytes_of(const Record& record) {
    std::string bytes(sizeof record, '\0');
    std::memcpy(bytes.data(), static_cast<const void*>(&record), sizeof record);
    return bytes;
}

std::size_t first_difference(const std::string& left, const std::string& right) {
    return static_cast<std::size_t>(std::mismatch(left.begin(), left.end(), right.begin()).first -
                                    left.begin());
}

TEST_F(zeStatStorageTest, AllSettingsAreTakenFromTheDefaults) {
    zeDefaults other = other_settings();

    zeStat_storage storage(nullptr, other);

    EXPECT_TRUE(settings_of(storage) == other);
    EXPECT_TRUE(settings_of(m_storage) == m_defaults);
}

TEST_F(zeStatStorageTest, EachFlagAppliesOnlyItsSetting) {
    const zeDefaults other = other_settings();
    for (const Setting* const row : rows_of_models()) {
        SCOPED_TRACE(row->name);
        zeStat_storage storage(nullptr, m_defaults);
        zeSetDefaults flags;
        row->flag(flags) = true;
        zeDefaults expected;
        row->in_defaults.set(expected, row->in_defaults.get(other));
        ASSERT_FALSE(expected == m_defaults);

        zeDefaults given = other;
        storage.set_defaults(given, flags);

        EXPECT_TRUE(settings_of(storage) == expected);
    }
}

// The flags of zeSetDefaults and the fields of zeDefaults that they belong to are in the same
// order, which is that of the table.
TEST_F(zeStatStorageTest, FlagsAndFieldsAreInTheOrderOfTheTable) {
    const std::vector<const Setting*> rows = rows_of_models();
    const zeDefaults other = other_settings();
    zeDefaults changed;
    std::size_t place_before = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i]->name);
        zeSetDefaults flags;
        rows[i]->flag(flags) = true;
        EXPECT_EQ(first_difference(bytes_of(flags), bytes_of(zeSetDefaults())), i);

        const std::string before = bytes_of(changed);
        rows[i]->in_defaults.set(changed, rows[i]->in_defaults.get(other));
        const std::size_t place = first_difference(before, bytes_of(changed));
        EXPECT_LT(place, sizeof changed);
        EXPECT_TRUE(i == 0 || place > place_before);
        place_before = place;
    }
    EXPECT_EQ(sizeof(zeSetDefaults), rows.size());
    EXPECT_TRUE(changed == other);
}

// Callers that fill the record as bytes know 28 flags.
TEST_F(zeStatStorageTest, FirstTwentyEightFlagsKeepTheirPlaces) {
    EXPECT_GE(sizeof(zeSetDefaults), 28U);
    EXPECT_EQ(offsetof(zeSetDefaults, use_new_ZC), 0U);
    EXPECT_EQ(offsetof(zeSetDefaults, sml_weights), 23U);
    EXPECT_EQ(offsetof(zeSetDefaults, weaken_small_cats_factor), 27U);
}

TEST_F(zeStatStorageTest, SettingsOfAModelEqualThoseItWasMadeWith) {
    zeDefaults other = other_settings();

    EXPECT_TRUE(zeStat_storage(nullptr, other).settings() == other);
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
