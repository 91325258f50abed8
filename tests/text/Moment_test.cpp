#include "text/data/Moment.h"

#include <cstdint>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "text/data/Bad_record.h"

namespace zandrel::cli {

// The expected numbers are those of `date --utc --date=... +%s`.
TEST(MomentTest, MomentsAreMicrosecondsSince1970) {
    EXPECT_EQ(microseconds_of("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(microseconds_of("2026-01-31T10:00:00Z"), 1769853600000000);
    EXPECT_EQ(microseconds_of("2000-02-29t23:59:59z"), 951868799000000);
    EXPECT_EQ(microseconds_of("1969-12-31T23:59:59Z"), -1000000);
    EXPECT_EQ(microseconds_of("0000-01-01T00:00:00Z"), -62167219200000000);
    EXPECT_EQ(microseconds_of("9999-12-31T23:59:59.999999Z"), 253402300799999999);
}

TEST(MomentTest, OffsetIsSubtracted) {
    EXPECT_EQ(microseconds_of("2026-01-31T10:00:00+01:00"), 1769850000000000);
    EXPECT_EQ(microseconds_of("2026-01-31T10:00:00-01:30"), 1769859000000000);
    EXPECT_EQ(microseconds_of("2026-01-31T10:00:00-00:00"), 1769853600000000);
}

TEST(MomentTest, FractionIsCutAfterMicroseconds) {
    EXPECT_EQ(microseconds_of("1970-01-01T00:00:00.25Z"), 250000);
    EXPECT_EQ(microseconds_of("1970-01-01T00:00:00.1234569Z"), 123456);
    EXPECT_EQ(microseconds_of("1969-12-31T23:59:59.5Z"), -500000);
}

TEST(MomentTest, LeapSecondIsTheNextMinute) {
    EXPECT_EQ(microseconds_of("2016-12-31T23:59:60Z"), 1483228800000000);
    EXPECT_EQ(microseconds_of("2017-01-01T00:59:60+01:00"), 1483228800000000);
    EXPECT_THROW(microseconds_of("2016-12-31T23:58:60Z"), Bad_record);
}

TEST(MomentTest, OtherFormsAreNoMoments) {
    for (const std::string text :
         {"", "2026", "2026-01-31", "2026-01-31T10:00:00", "2026-01-31 10:00:00Z",
          "2026-01-31T10:00Z", "2026-01-31T10:00:00.Z", "2026-01-31T10:00:00Z ",
          " 2026-01-31T10:00:00Z", "2026-1-31T10:00:00Z", "2026-01-31T10:00:00+0100",
          "2026-01-31T10:00:00UTC", "2026-01-31T10:00:00x", "2026-01-31T1x:00:00Z"}) {
        EXPECT_EQ(microseconds_of(text), std::nullopt) << text;
    }
}

TEST(MomentTest, MomentThatDoesNotExistIsRefused) {
    for (const std::string text :
         {"2026-02-29T10:00:00Z", "2026-13-01T10:00:00Z", "2026-00-01T10:00:00Z",
          "2026-01-00T10:00:00Z", "2026-01-31T24:00:00Z", "2026-01-31T10:60:00Z",
          "2026-01-31T10:00:61Z", "2026-01-31T10:00:00+24:00"}) {
        try {
            microseconds_of(text);
            ADD_FAILURE() << text;
        } catch (const Bad_record& error) {
            EXPECT_EQ(error.what(), "there is no moment \"" + text + "\"");
        }
    }
}

}  // namespace zandrel::cli
