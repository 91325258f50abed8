// Damaged summaries. A load either refuses the record and changes nothing, or it takes every byte
// of the record.
#include "zandrel/archive/SmlArchiveManager.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/archive/zeSmlArchive.h"

#include "tests/support/allocation_meter.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/stored.h"

namespace {

SmlArchiveManager sound_summary() {
    SmlArchiveManager summary;
    summary.next_sml_id = 9;
    summary.last_learned_sml = 4;
    summary.category_info[term("red")] = {2, 0.5, 100.0, {5, 8}};
    summary.category_info[term("blue")] = {1, 0.25, 4.0, {8}};
    summary.locked_smls = {{5, 1}, {8, 2}};
    summary.sml_dates = {{5, qtTimeDate(10)}, {8, qtTimeDate(11)}};
    summary.external_ids = {{"a", 8}, {"b", 5}};
    summary.spare_list = {7};
    return summary;
}

// Loads a record into a summary that has other values, and returns what the summary then dumps, or
// nothing if the record was refused with an error of damage.
std::optional<std::string> reload_summary(const std::string& bytes) {
    SmlArchiveManager summary;
    summary.next_sml_id = 1234;
    summary.spare_list = {5, 6};
    const std::string before = dumped(summary);
    SegBuf record = record_of(bytes);
    Hio<HSegment> io(new HSegment(record, 'r'));
    const Allocation_meter meter;
    try {
        summary.Load(io);
    } catch (const qtxSegBuf& raised) {
        EXPECT_STREQ(raised.what(), "Locate error in SegBuf");
        EXPECT_EQ(dumped(summary), before) << "half loaded";
        return std::nullopt;
    } catch (const qtX<zeSmlArchive>& raised) {
        EXPECT_EQ(raised.number(), 11);
        EXPECT_EQ(dumped(summary), before) << "half loaded";
        return std::nullopt;
    }
    EXPECT_LT(meter.bytes(), 100000U);
    return dumped(summary);
}

// `bytes` are sound, and `changed` is what a change made of them. If the changed record is loaded,
// all its bytes were taken: they are dumped again, though perhaps with the entries of a table in
// another order.
void expect_safe(const std::string& changed) {
    const std::optional<std::string> again = reload_summary(changed);
    if (again && *again != changed) {
        ASSERT_LE(again->size(), changed.size());
        std::string sorted = *again;
        std::string sorted_changed = changed.substr(0, again->size());
        std::sort(sorted.begin(), sorted.end());
        std::sort(sorted_changed.begin(), sorted_changed.end());
        EXPECT_EQ(to_hex(sorted), to_hex(sorted_changed));
    }
}

TEST(SmlArchiveManagerDamageTest, EachChangedByteIsRefusedOrKept) {
    const std::string sound = dumped(sound_summary());
    ASSERT_EQ(reload_summary(sound), sound);
    for (std::size_t position = 0; position < sound.size(); ++position) {
        for (const unsigned int mask : {1U, 2U, 4U, 8U, 16U, 32U, 64U, 128U, 255U}) {
            SCOPED_TRACE(testing::Message() << "byte " << position << ", mask " << mask);
            std::string changed = sound;
            changed[position] = static_cast<char>(static_cast<unsigned char>(changed[position]) ^
                                                  static_cast<unsigned char>(mask));

            expect_safe(changed);
        }
    }
}

// The last item is the spare list. It is in the record only if its count and its number are.
TEST(SmlArchiveManagerDamageTest, EachCutIsRefused) {
    const std::string sound = dumped(sound_summary());
    for (std::size_t kept = 0; kept < sound.size(); ++kept) {
        SCOPED_TRACE(kept);

        EXPECT_EQ(reload_summary(sound.substr(0, kept)), std::nullopt);
    }
}

TEST(SmlArchiveManagerDamageTest, HugeCountsAreRefusedWithoutMemory) {
    const std::string settings(20 + 16, '\0');  // the items 1 to 7
    const std::string none(4, '\0');
    const std::string huge(4, '\x7f');
    const std::string rows[] = {
        settings + huge,                              // categories
        settings + none + huge,                       // locked_smls
        settings + none + none + huge,                // sml_dates
        settings + none + none + none + huge,         // external_ids
        settings + none + none + none + none + huge,  // spare_list
    };
    for (const std::string& row : rows) {
        SCOPED_TRACE(row.size());
        SegBuf record = record_of(row + '\0');
        Hio<HSegment> io(new HSegment(record, 'r'));
        SmlArchiveManager summary;
        const Allocation_meter meter;

        EXPECT_SEGBUF_ERROR(summary.Load(io), "Locate error in SegBuf");

        EXPECT_LT(meter.bytes(), 4096U);
    }
}

struct Refused {
    const char* field;
    void (*damage)(SmlArchiveManager& summary);
};

TEST(SmlArchiveManagerDamageTest, ValueThatAnArchiveNeverWritesIsRefused) {
    const Refused rows[] = {
        {"age_ratio",
         [](SmlArchiveManager& s) { s.age_ratio = std::numeric_limits<double>::infinity(); }},
        {"age_ratio",
         [](SmlArchiveManager& s) { s.age_ratio = std::numeric_limits<double>::quiet_NaN(); }},
        {"age_ratio", [](SmlArchiveManager& s) { s.age_ratio = 1e39; }},
        {"age_ratio", [](SmlArchiveManager& s) { s.age_ratio = -1e39; }},
        {"next_sml_id", [](SmlArchiveManager& s) { s.next_sml_id = 8; }},
        {"last_learned_sml", [](SmlArchiveManager& s) { s.last_learned_sml = 9; }},
        {"category_counter",
         [](SmlArchiveManager& s) { s.category_info.at(term("red")).category_counter = 0; }},
        {"apriori",
         [](SmlArchiveManager& s) {
             s.category_info.at(term("red")).apriori = -std::numeric_limits<double>::infinity();
         }},
        {"apriori", [](SmlArchiveManager& s) { s.category_info.at(term("red")).apriori = -0.1; }},
        {"recursion1",
         [](SmlArchiveManager& s) { s.category_info.at(term("red")).recursion1 = -0.1; }},
        {"recursion1",
         [](SmlArchiveManager& s) {
             s.category_info.at(term("red")).recursion1 = std::numeric_limits<double>::quiet_NaN();
         }},
        {"locked_smls", [](SmlArchiveManager& s) { s.locked_smls.at(5) = 0; }},
    };
    for (const Refused& row : rows) {
        SCOPED_TRACE(row.field);
        SmlArchiveManager damaged = sound_summary();
        row.damage(damaged);
        SmlArchiveManager summary = sound_summary();
        summary.spare_list = {1, 2};
        const std::string before = dumped(summary);

        EXPECT_QTX_ARGS(load(summary, dumped(damaged)), zeSmlArchive, 11,
                        "Damaged archive summary: " + std::string(row.field), {row.field});

        EXPECT_EQ(dumped(summary), before);
    }
}

// The greatest values that are allowed beside the refused ones.
TEST(SmlArchiveManagerDamageTest, ValuesAtTheLimitsAreLoaded) {
    SmlArchiveManager summary = sound_summary();
    summary.next_sml_id = 9;
    summary.last_learned_sml = 8;
    summary.age_ratio = static_cast<double>(std::numeric_limits<float>::max());
    summary.category_info.at(term("red")).category_counter = 4294967295U;
    summary.category_info.at(term("red")).apriori = std::numeric_limits<double>::max();
    summary.category_info.at(term("red")).recursion1 = 0.0;

    EXPECT_EQ(reload_summary(dumped(summary)), dumped(summary));
}

// The keys of two entries become equal by one changed byte.
TEST(SmlArchiveManagerDamageTest, KeyThatOccursTwiceIsRefused) {
    struct Row {
        const char* field;
        std::string from;  // the bytes of the second key, with what is around it
        std::string to;
    };

    const Row rows[] = {
        {"category_info", from_hex("00 00 00 04 62 6c 75 65"), from_hex("00 00 00 04 62 6c 75 66")},
        {"locked_smls", from_hex("00 00 00 05 00 00 00 01 00 00 00 08 00 00 00 02"),
         from_hex("00 00 00 05 00 00 00 01 00 00 00 05 00 00 00 02")},
        {"sml_dates", from_hex("00 00 00 08 00 00 00 00 00 00 00 0b"),
         from_hex("00 00 00 05 00 00 00 00 00 00 00 0b")},
        {"external_ids", from_hex("00 00 00 01 62"), from_hex("00 00 00 01 61")},
    };
    SmlArchiveManager source = sound_summary();
    source.category_info[term("bluf")] = source.category_info.at(term("blue"));
    const std::string sound = dumped(source);
    ASSERT_EQ(reload_summary(sound), sound);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.field);
        std::string damaged = sound;
        const std::size_t place = damaged.find(row.from);
        ASSERT_NE(place, std::string::npos);
        damaged.replace(place, row.from.size(), row.to);
        SmlArchiveManager summary;

        EXPECT_QTX_ARGS(load(summary, damaged), zeSmlArchive, 11,
                        "Damaged archive summary: " + std::string(row.field), {row.field});
    }
}

}  // namespace
