// Damaged records of the statistical settings.
#include "zandrel/persistence/zeDefaults.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/record_damage.h"
#include "tests/support/stored.h"

namespace {

constexpr std::size_t kRecordSize = 318;
// Positions of fields in the record.
constexpr std::size_t kMarkerAt = 88;
constexpr std::size_t kFactorAt = 89;

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// A record in which each field differs from its default, and each number from all others.
std::string other_record() {
    return from_hex(
               "00 00 "                    // use_likelihood_in_train, ..._match
               "01 02 03 04 "              // likelihood_resolution
               "00 00 "                    // use_omit_method, suppress_M
               "ff ff ff ff "              // suppress_M_threshold -1
               "05 06 07 08 "              // num_slices
               "3f e0 00 00 00 00 00 00 "  // clip_value 0.5
               "09 0a 0b 0c "              // profile_size
               "0d 0e 0f 10 "              // min_Ps_size
               "ff "                       // P_life_expectancy 255
               "40 00 00 00 00 00 00 00 "  // delete_P_factor 2
               "11 12 13 14 "              // activation_inside
               "15 16 17 18 "              // activation_outside
               "19 1a 1b 1c "              // activation_total
               "40 04 00 00 00 00 00 00 "  // min_Rlimit 2.5
               "40 0c 00 00 00 00 00 00 "  // average_Rlimit 3.5
               "40 12 00 00 00 00 00 00 "  // max_Rlimit 4.5
               "40 16 00 00 00 00 00 00 "  // keywords_frequency 5.5
               "00 "                       // use_new_ZC
               "01 "                       // learn_speed_scale 1
               "01 "                       // use_normalization, inverted
               "01 "                       // marker
               "40 1a 00 00 00 00 00 00 "  // weaken_small_cats_factor 6.5
               "1d 1e 1f 20") +            // max_Ps_size
           zeros(185) +                    // reserved
           from_hex(
               "40 1e 00 00 00 00 00 00 "   // sml_weights 7.5
               "40 21 00 00 00 00 00 00 "   // 8.5
               "40 23 00 00 00 00 00 00 "   // 9.5
               "40 25 00 00 00 00 00 00");  // 10.5
}

zeDefaults other_settings() {
    zeDefaults settings;
    settings.use_new_ZC = false;
    settings.use_normalization = false;
    settings.use_likelihood_in_train = false;
    settings.use_likelihood_in_match = false;
    settings.likelihood_resolution = 0x01020304;
    settings.use_omit_method = false;
    settings.suppress_M = false;
    settings.suppress_M_threshold = -1;
    settings.num_slices = 0x05060708;
    settings.clip_value = 0.5;
    settings.profile_size = 0x090a0b0c;
    settings.min_Ps_size = 0x0d0e0f10;
    settings.max_Ps_size = 0x1d1e1f20;
    settings.P_life_expectancy = 255;
    settings.delete_P_factor = 2.0;
    settings.activation_inside = 0x11121314;
    settings.activation_outside = 0x15161718;
    settings.activation_total = 0x191a1b1c;
    settings.learn_speed_scale = 1;
    settings.min_Rlimit = 2.5;
    settings.average_Rlimit = 3.5;
    settings.max_Rlimit = 4.5;
    settings.keywords_frequency = 5.5;
    settings.sml_weights = {7.5, 8.5, 9.5, 10.5};
    settings.weaken_small_cats_factor = 6.5;
    return settings;
}

TEST(zeDefaultsDamageTest, LoadOfAnEmptyRecordChangesNothing) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'r'));
    zeDefaults settings = other_settings();

    EXPECT_SEGBUF_ERROR(settings.Load(io), "Locate error in SegBuf");

    EXPECT_TRUE(settings == other_settings());
}

TEST(zeDefaultsDamageTest, EveryCutIsSafe) {
    expect_cuts_are_safe(other_record(), reload<zeDefaults>);
}

TEST(zeDefaultsDamageTest, EveryCutAtTheEndOfTheSegmentRaises) {
    expect_prefixes_raise(other_record(), reload<zeDefaults>);
}

TEST(zeDefaultsDamageTest, EveryChangedByteIsSafe) {
    expect_changes_are_safe(other_record(), reload<zeDefaults>);
}

TEST(zeDefaultsDamageTest, ChangedByteChangesNoOtherByte) {
    for (std::size_t position = 0; position < kRecordSize; ++position) {
        SCOPED_TRACE(position);
        std::string changed = other_record();
        changed[position] = static_cast<char>(changed[position] ^ '\1');

        std::string stored = dumped(loaded<zeDefaults>(changed));

        if (position == kMarkerAt) {
            EXPECT_EQ(to_hex(stored.substr(kFactorAt, 8)), to_hex(zeros(8)));
            stored.replace(kFactorAt, 8, changed, kFactorAt, 8);
        }
        stored[position] = changed[position];
        EXPECT_EQ(to_hex(stored), to_hex(changed));
    }
}

}  // namespace
