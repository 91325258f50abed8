// The stored form of the statistical settings, byte by byte.
#include "zandrel/persistence/zeDefaults.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/stored.h"

namespace {

constexpr std::size_t kReservedSize = 185;
constexpr std::size_t kMarkerPosition = 88;  // the size of items 1 to 22

// The default settings in the order of the record, in two parts; the reserved bytes are between
// them.
constexpr const char* kBeforeReserved =
    "01"                       // 1 use_likelihood_in_train
    "01"                       // 2 use_likelihood_in_match
    "00 00 00 01"              // 3 likelihood_resolution
    "01"                       // 4 use_omit_method
    "01"                       // 5 suppress_M
    "00 00 00 00"              // 6 suppress_M_threshold
    "00 00 00 0a"              // 7 num_slices: 10
    "40 08 00 00 00 00 00 00"  // 8 clip_value: 3
    "00 00 03 e8"              // 9 profile_size: 1000
    "00 00 07 d0"              // 10 min_Ps_size: 2000
    "0a"                       // 11 P_life_expectancy: 10
    "3f f1 99 99 99 99 99 9a"  // 12 delete_P_factor: 1.1
    "00 00 00 01"              // 13 activation_inside
    "00 00 00 00"              // 14 activation_outside
    "00 00 00 01"              // 15 activation_total
    "40 3e 00 00 00 00 00 00"  // 16 min_Rlimit: 30
    "40 59 00 00 00 00 00 00"  // 17 average_Rlimit: 100
    "40 c3 88 00 00 00 00 00"  // 18 max_Rlimit: 10000
    "40 18 00 00 00 00 00 00"  // 19 keywords_frequency: 6
    "01"                       // 20 use_new_ZC
    "00"                       // 21 learn_speed_scale
    "00"                       // 22 use_normalization, inverted
    "01"                       // 23 marker
    "40 24 00 00 00 00 00 00"  // 24 weaken_small_cats_factor: 10
    "00 00 0f a0";             // 25 max_Ps_size: 4000
constexpr const char* kBehindReserved =
    "3f f0 00 00 00 00 00 00"  // 27 weights of the bags: 1, 5, 3, 3
    "40 14 00 00 00 00 00 00"
    "40 08 00 00 00 00 00 00"
    "40 08 00 00 00 00 00 00";

std::string default_record() {
    return from_hex(kBeforeReserved) + std::string(kReservedSize, '\0') + from_hex(kBehindReserved);
}

// No setting has its default, and no two of the same type are equal.
zeDefaults unusual_settings() {
    zeDefaults settings;
    settings.use_new_ZC = false;
    settings.use_normalization = false;
    settings.use_likelihood_in_train = false;
    settings.use_likelihood_in_match = false;
    settings.likelihood_resolution = 2;
    settings.use_omit_method = false;
    settings.suppress_M = false;
    settings.suppress_M_threshold = 3;
    settings.num_slices = 4;
    settings.clip_value = 5.5;
    settings.profile_size = 6;
    settings.min_Ps_size = 7;
    settings.max_Ps_size = 8;
    settings.P_life_expectancy = 200;
    settings.delete_P_factor = 9.5;
    settings.activation_inside = 10;
    settings.activation_outside = 11;
    settings.activation_total = -12;
    settings.learn_speed_scale = 1;
    settings.min_Rlimit = 13.5;
    settings.average_Rlimit = 14.5;
    settings.max_Rlimit = 15.5;
    settings.keywords_frequency = 16.5;
    settings.sml_weights = {17.5, 18.5, 19.5, 20.5};
    settings.weaken_small_cats_factor = 21.5;
    return settings;
}

TEST(zeDefaultsRecordTest, RecordHasTheSettingsInOrder) {
    EXPECT_EQ(to_hex(dumped(zeDefaults())), to_hex(default_record()));
}

TEST(zeDefaultsRecordTest, DefaultsAreReadBackEqual) {
    EXPECT_TRUE(loaded<zeDefaults>(default_record()) == zeDefaults());
}

TEST(zeDefaultsRecordTest, EverySettingIsReadBack) {
    EXPECT_TRUE(loaded<zeDefaults>(dumped(unusual_settings())) == unusual_settings());
}

TEST(zeDefaultsRecordTest, NormalisationIsStoredInverted) {
    zeDefaults settings;
    const std::string with = dumped(settings);
    settings.use_normalization = false;
    const std::string without = dumped(settings);

    EXPECT_EQ(with[kMarkerPosition - 1], '\0');
    EXPECT_EQ(without[kMarkerPosition - 1], '\1');
}

TEST(zeDefaultsRecordTest, EveryNonZeroByteIsTrue) {
    std::string record = default_record();
    record[0] = '\x80';
    record[kMarkerPosition - 1] = '\2';

    const zeDefaults settings = loaded<zeDefaults>(record);

    EXPECT_TRUE(settings.use_likelihood_in_train);
    EXPECT_FALSE(settings.use_normalization);
}

// In the older form, the eight bytes of the factor have no meaning.
TEST(zeDefaultsRecordTest, OlderFormIsReadWithoutTheFactor) {
    std::string record = dumped(unusual_settings());
    record[kMarkerPosition] = '\0';

    zeDefaults expected = unusual_settings();
    expected.weaken_small_cats_factor = 0.0;
    EXPECT_TRUE(loaded<zeDefaults>(record) == expected);
}

TEST(zeDefaultsRecordTest, ReservedBytesAreIgnored) {
    std::string record = default_record();
    for (std::size_t i = 0; i < kReservedSize; ++i) {
        record[from_hex(kBeforeReserved).size() + i] = '\x55';
    }

    EXPECT_TRUE(loaded<zeDefaults>(record) == zeDefaults());
}

// The test changes one flag at a time, so it would notice if two were exchanged.
TEST(zeDefaultsRecordTest, EachFlagHasItsOwnByte) {
    const struct {
        bool zeDefaults::*flag;
        std::size_t position;
    } rows[] = {
        {&zeDefaults::use_likelihood_in_train, 0},
        {&zeDefaults::use_likelihood_in_match, 1},
        {&zeDefaults::use_omit_method, 6},
        {&zeDefaults::suppress_M, 7},
        {&zeDefaults::use_new_ZC, 85},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.position);
        zeDefaults settings;
        settings.*row.flag = false;
        std::string expected = default_record();
        expected[row.position] = '\0';

        EXPECT_EQ(to_hex(dumped(settings)), to_hex(expected));
        EXPECT_TRUE(loaded<zeDefaults>(expected) == settings);
    }
}

// Settings with equal defaults get different values here, so the test would notice if two were
// exchanged.
TEST(zeDefaultsRecordTest, NumbersWithEqualDefaultsHaveTheirOwnPositions) {
    const struct {
        std::size_t position;
        const char* bytes;
    } rows[] = {
        {2, "00 00 00 02"},                // resolution 2
        {8, "00 00 00 03"},                // threshold of suppression 3
        {41, "00 00 00 0a"},               // activation inside 10
        {45, "00 00 00 0b"},               // outside 11
        {49, "ff ff ff f4"},               // total -12
        {286, "40 31 80 00 00 00 00 00"},  // weights of the bags 17.5
        {294, "40 32 80 00 00 00 00 00"},  // 18.5
        {302, "40 33 80 00 00 00 00 00"},  // 19.5
        {310, "40 34 80 00 00 00 00 00"},  // 20.5
    };

    const std::string record = dumped(unusual_settings());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.position);
        const std::string expected = from_hex(row.bytes);
        EXPECT_EQ(to_hex(record.substr(row.position, expected.size())), row.bytes);
    }
}

TEST(zeDefaultsRecordTest, LoadOfAnEmptyRecordRaisesTheStreamsError) {
    EXPECT_SEGBUF_ERROR(loaded<zeDefaults>(""), "Locate error in SegBuf");
}

}  // namespace
