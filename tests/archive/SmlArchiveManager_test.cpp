// The record of an archive's summary against bytes that were written by hand.
#include "zandrel/archive/SmlArchiveManager.h"

#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/record_bytes.h"
#include "tests/support/stored.h"

namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

// The items 1 to 11, which both versions have.
const char* const kFirstItems =
    "00 00 00 09 "                           // next_sml_id 9
    "00 00 00 03 "                           // cat_reserved_size 3
    "00 00 00 07 "                           // cat_minimal_size 7
    "40 04 00 00 00 00 00 00 "               // age_ratio 2.5
    "11 22 33 44 "                           // kc_id
    "00 00 00 00 00 00 01 02 "               // kc_time 258
    "00 00 00 04 "                           // last_learned_sml 4
    "00 00 00 02 "                           // two categories, in the order of their names
    "00 00 00 04 62 6c 75 65 "               // blue
    "00 00 00 01 "                           // category_counter 1
    "3f d0 00 00 00 00 00 00 "               // apriori 0.25
    "40 10 00 00 00 00 00 00 "               // recursion1 4
    "00 00 00 00 "                           // nothing reserved
    "00 00 00 03 72 65 64 "                  // red
    "00 00 00 02 "                           // category_counter 2
    "3f e0 00 00 00 00 00 00 "               // apriori 0.5
    "40 59 00 00 00 00 00 00 "               // recursion1 100
    "00 00 00 02 "                           // two reserved:
    "00 00 00 05 "                           // the oldest, 5
    "00 00 00 08 "                           // and 8
    "00 00 00 02 "                           // two locked, in the order of their numbers
    "00 00 00 05 00 00 00 01 "               // 5, by one category
    "00 00 00 08 00 00 00 02 "               // 8, by two
    "00 00 00 02 "                           // two messages
    "00 00 00 05 00 00 00 00 00 00 00 0a "   // 5, at 10
    "00 00 00 08 ff ff ff ff ff ff ff ff ";  // 8, at -1

// The items 12 and 13, which only version 2 has.
const char* const kLastItems =
    "00 00 00 02 "                          // two external ids, in their order
    "00 00 00 01 61 00 00 00 08 "           // a: 8
    "00 00 00 01 62 00 00 00 05 "           // b: 5
    "00 00 00 02 ff ff ff ff 00 00 00 01";  // the spare list: -1 and 1

SmlArchiveManager summary_of_the_bytes() {
    SmlArchiveManager summary;
    summary.next_sml_id = 9;
    summary.cat_reserved_size = 3;
    summary.cat_minimal_size = 7;
    summary.age_ratio = 2.5;
    summary.kc_id = 0x11223344;
    summary.kc_time = qtTimeDate(258);
    summary.last_learned_sml = 4;
    summary.category_info[term("red")] = {2, 0.5, 100.0, {5, 8}};
    summary.category_info[term("blue")] = {1, 0.25, 4.0, {}};
    summary.locked_smls = {{8, 2}, {5, 1}};
    summary.sml_dates = {{5, qtTimeDate(10)}, {8, qtTimeDate(-1)}};
    summary.external_ids = {{"b", 5}, {"a", 8}};
    summary.spare_list = {-1, 1};
    return summary;
}

void expect_first_items(const SmlArchiveManager& summary) {
    EXPECT_EQ(summary.next_sml_id, 9U);
    EXPECT_EQ(summary.cat_reserved_size, 3U);
    EXPECT_EQ(summary.cat_minimal_size, 7U);
    EXPECT_EQ(summary.age_ratio, 2.5);
    EXPECT_EQ(summary.kc_id, 0x11223344U);
    EXPECT_EQ(summary.kc_time, qtTimeDate(258));
    EXPECT_EQ(summary.last_learned_sml, 4U);
    ASSERT_EQ(summary.category_info.size(), 2U);
    const CatData& red = summary.category_info.at(term("red"));
    EXPECT_EQ(red.category_counter, 2U);
    EXPECT_EQ(red.apriori, 0.5);
    EXPECT_EQ(red.recursion1, 100.0);
    EXPECT_THAT(red.reserved, ElementsAre(5, 8));
    const CatData& blue = summary.category_info.at(term("blue"));
    EXPECT_EQ(blue.category_counter, 1U);
    EXPECT_EQ(blue.apriori, 0.25);
    EXPECT_EQ(blue.recursion1, 4.0);
    EXPECT_TRUE(blue.reserved.empty());
    EXPECT_THAT(summary.locked_smls, UnorderedElementsAre(Pair(5, 1), Pair(8, 2)));
    EXPECT_THAT(summary.sml_dates, ElementsAre(Pair(5, qtTimeDate(10)), Pair(8, qtTimeDate(-1))));
}

TEST(SmlArchiveManagerTest, NewSummaryHasTheDefaultsOfAContainersConfiguration) {
    const SmlArchiveManager summary;

    EXPECT_EQ(summary.kc_id, 0U);
    EXPECT_EQ(summary.kc_time, qtTimeDate());
    EXPECT_EQ(summary.last_learned_sml, 0U);
    EXPECT_FALSE(summary.modified);
    EXPECT_EQ(summary.next_sml_id, 0U);
    EXPECT_EQ(summary.cat_reserved_size, 20U);
    EXPECT_EQ(summary.cat_minimal_size, 80U);
    EXPECT_EQ(summary.age_ratio, 5.0);
    EXPECT_EQ(CatData().category_counter, 0U);
    EXPECT_EQ(CatData().apriori, 0.0);
    EXPECT_EQ(CatData().recursion1, 100.0);
    EXPECT_TRUE(CatData().reserved.empty());
}

TEST(SmlArchiveManagerTest, DumpWritesTheThirteenItemsInOrder) {
    EXPECT_EQ(to_hex(dumped(summary_of_the_bytes())),
              to_hex(from_hex(std::string(kFirstItems) + kLastItems)));
}

TEST(SmlArchiveManagerTest, DumpOfAnEmptySummaryHasOnlySettingsAndZeroCounts) {
    EXPECT_EQ(to_hex(dumped(SmlArchiveManager())),
              "00 00 00 00 00 00 00 14 00 00 00 50 40 14 00 00 00 00 00 00 "   // 0, 20, 80, 5.0
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "               // id, time, learned
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");  // five counts
}

TEST(SmlArchiveManagerTest, LoadReadsTheThirteenItems) {
    const auto summary = loaded<SmlArchiveManager>(from_hex(std::string(kFirstItems) + kLastItems));

    expect_first_items(summary);
    EXPECT_THAT(summary.external_ids, UnorderedElementsAre(Pair("a", 8), Pair("b", 5)));
    EXPECT_THAT(summary.spare_list, ElementsAre(-1, 1));
}

TEST(SmlArchiveManagerTest, LoadReplacesTheContentOfAUsedSummary) {
    SmlArchiveManager summary = summary_of_the_bytes();
    summary.category_info[term("green")] = {1, 0.0, 1.0, {}};
    summary.locked_smls[77] = 1;
    summary.sml_dates[77] = qtTimeDate(1);
    summary.external_ids["c"] = 77;
    summary.spare_list = {1, 2, 3};
    summary.modified = true;

    load(summary, from_hex(std::string(kFirstItems) + kLastItems));

    expect_first_items(summary);
    EXPECT_EQ(summary.external_ids.size(), 2U);
    EXPECT_EQ(summary.spare_list.size(), 2U);
    EXPECT_FALSE(summary.modified);
}

TEST(SmlArchiveManagerTest, LoadOfVersion1EndsAtTheDates) {
    SmlArchiveManager summary;
    summary.version = 1;
    summary.external_ids["c"] = 77;
    SegBuf record = record_of(from_hex(std::string(kFirstItems) + kLastItems));
    Hio<HSegment> io(new HSegment(record, 'r'));

    summary.Load(io);

    expect_first_items(summary);
    EXPECT_EQ(summary.version, 1U);
    EXPECT_TRUE(summary.external_ids.empty());
    EXPECT_TRUE(summary.spare_list.empty());
    EXPECT_EQ(record.offset, from_hex(kFirstItems).size());
}

TEST(SmlArchiveManagerTest, DumpOfVersion1WritesTheThirteenItemsToo) {
    SmlArchiveManager summary = summary_of_the_bytes();
    summary.version = 1;

    EXPECT_EQ(to_hex(dumped(summary)), to_hex(from_hex(std::string(kFirstItems) + kLastItems)));
}

// The order of a hash table depends on the order of insertion and on the number of buckets.
TEST(SmlArchiveManagerTest, EqualSummariesHaveEqualBytesWhateverTheOrderOfTheirTables) {
    SmlArchiveManager up;
    SmlArchiveManager down;
    for (unsigned int number = 0; number < 300; ++number) {
        for (auto* const summary : {&up, &down}) {
            const unsigned int entered = summary == &up ? number : 299 - number;
            const std::string name = "c" + std::to_string(entered);
            summary->category_info[term(name)].category_counter = entered + 1;
            summary->locked_smls[entered * 7919] = entered + 1;
            summary->external_ids[qtString(name)] = entered;
        }
    }
    down.locked_smls.rehash(5000);
    down.external_ids.rehash(5000);
    down.category_info.rehash(5000);

    EXPECT_EQ(dumped(up), dumped(down));
}

// Zero bytes, bytes above 127, and ids that differ only behind their first eight bytes.
TEST(SmlArchiveManagerTest, ExternalIdsAreWrittenInTheOrderOfTheirBytes) {
    using std::string_view_literals::operator""sv;
    SmlArchiveManager summary;
    unsigned int number = 0;
    for (const auto id : {"\xff"sv, "12345678b"sv, "12345678"sv, "a\0"sv, "12345678\0"sv, ""sv,
                          "a"sv, "12345677z"sv}) {
        summary.external_ids[qtString(id)] = number++;
    }

    const std::string expected =
        "00 00 00 08 "
        "00 00 00 00 00 00 00 05 "                             // no byte
        "00 00 00 09 31 32 33 34 35 36 37 37 7a 00 00 00 07 "  // 12345677z
        "00 00 00 08 31 32 33 34 35 36 37 38 00 00 00 02 "     // 12345678
        "00 00 00 09 31 32 33 34 35 36 37 38 00 00 00 00 04 "  // and a zero byte
        "00 00 00 09 31 32 33 34 35 36 37 38 62 00 00 00 01 "  // 12345678b
        "00 00 00 01 61 00 00 00 06 "                          // a
        "00 00 00 02 61 00 00 00 00 03 "                       // and a zero byte
        "00 00 00 01 ff 00 00 00 00 "
        "00 00 00 00";  // no spare numbers
    EXPECT_THAT(to_hex(dumped(summary)), testing::EndsWith(to_hex(from_hex(expected))));
}

}  // namespace
