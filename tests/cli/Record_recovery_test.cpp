#include "cli/records/Record_recovery.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/process/Exit_status.h"
#include "cli/records/Record_check.h"
#include "cli/records/Record_file.h"
#include "tests/cli/built_records.h"
#include "tests/cli/recovered_images.h"
#include "tests/storage/record_file_model.h"
#include "tests/storage/record_file_script.h"
#include "tests/support/bitwise_crc.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Record_recovery recover(const std::string& bytes) {
    const Memory_file place;
    place.fill(bytes);
    File_window file("x.dat", place.path());
    return recover_records(file);
}

Content content(const std::string& bytes) {
    const Memory_file place;
    place.fill(bytes);
    return recovered_content(place.path());
}

std::string error_of(const std::string& bytes) {
    try {
        recover(bytes);
    } catch (const Data_error& error) {
        return error.what();
    }
    return "no error";
}

// "offset+size key: text", with "!" behind a loss and "?" behind a possible one.
std::vector<std::string> notes(const Record_recovery& recovery) {
    std::vector<std::string> lines;
    for (const Recovery_note& note : recovery.notes) {
        lines.push_back(std::to_string(note.offset) +
                        (note.size ? "+" + std::to_string(*note.size) : "") + " " +
                        note.key.value_or("-") + ": " + note.text + (note.is_loss ? "!" : "") +
                        (note.is_unsure ? "?" : ""));
    }
    return lines;
}

std::string seal_of(const Content& items, std::uint32_t id = 0x278F9D40, std::uint16_t version = 2,
                    std::uint8_t flags = 0) {
    const auto number = Built_records::number;
    std::string seal = number(1, 4) + number(items.size(), 4);
    for (const auto& [key, data] : items) {
        seal += number(key.size(), 4) + key + number(bitwise_crc(data), 4);
    }
    const std::string identity = number(id, 4) + number(version, 2) + static_cast<char>(flags);
    return seal + number(bitwise_crc(identity), 4);
}

class RecordRecoveryFormTest : public testing::TestWithParam<Built_form> {};

INSTANTIATE_TEST_SUITE_P(Forms, RecordRecoveryFormTest,
                         testing::Values(Built_form::kWide, Built_form::kNarrow,
                                         Built_form::kPackage));

const Content kTwo = {{"a", "one"}, {"b", std::string(40, 'x')}};

Built_records two_items(Built_form form) {
    Built_records built(form);
    for (const auto& [key, data] : kTwo) {
        built.add(key, data);
    }
    return built;
}

TEST_P(RecordRecoveryFormTest, WholeFileIsSound) {
    const Record_recovery recovery = recover(two_items(GetParam()).file());

    EXPECT_EQ(recovery.condition, File_condition::kSound);
    EXPECT_THAT(notes(recovery), IsEmpty());
    EXPECT_THAT(recovery.remarks, IsEmpty());
    EXPECT_EQ(recovery.identity.id, 7U);
    EXPECT_EQ(recovery.identity.version, 2U);
    EXPECT_EQ(recovery.identity.flags, 0x80U);
    EXPECT_EQ(recovery.items.size(), 2U);
}

TEST_P(RecordRecoveryFormTest, FileWithoutIndexGivesItsItems) {
    Built_records built = two_items(GetParam());
    EXPECT_EQ(content(built.file_without_index()), kTwo);

    const Record_recovery recovery = recover(built.bytes);
    EXPECT_EQ(recovery.condition, File_condition::kToRebuild);
    EXPECT_FALSE(recovery.has_loss);
    EXPECT_THAT(recovery.remarks, ElementsAre("there is no index where the header points to"));
}

TEST_P(RecordRecoveryFormTest, WrongMagicNumberIsFoundFromTheItems) {
    for (const char* magic : {"\0\0\0\0", "JZl\xFF"}) {
        Built_records built = two_items(GetParam());
        std::string bytes = built.file().replace(0, 4, magic, 4);
        EXPECT_EQ(content(bytes), kTwo);
        EXPECT_THAT(recover(bytes).remarks.at(0), HasSubstr("the magic number is wrong"));
        bytes = two_items(GetParam()).file_without_index().replace(0, 4, magic, 4);
        EXPECT_EQ(content(bytes), kTwo);
    }
}

// One changed bit makes the magic number of one form that of another.
TEST_P(RecordRecoveryFormTest, MagicNumberOfAnotherFormIsFoundFromTheItems) {
    for (const char magic : {'\x80', '\x81', '\x84'}) {
        std::string bytes = two_items(GetParam()).file();
        bytes[3] = magic;
        EXPECT_EQ(content(bytes), kTwo);
    }
}

TEST_P(RecordRecoveryFormTest, WrongMagicNumberWithoutItemsIsRefused) {
    Built_records built(GetParam());
    EXPECT_EQ(error_of(built.file_without_index().replace(0, 4, "oops") + std::string(99, 'x')),
              "x.dat: neither a record file nor a container: the magic number is wrong, and the "
              "contents do not say which form the file has");
}

TEST_P(RecordRecoveryFormTest, FileWithoutWholeHeaderIsRefused) {
    Built_records built(GetParam());
    const std::string bytes = built.file();
    for (std::size_t size = 0; size < built.header_size(); ++size) {
        EXPECT_EQ(error_of(bytes.substr(0, size)),
                  "x.dat: too short for a header, so there is nothing to recover");
    }
    EXPECT_THAT(content(bytes.substr(0, built.header_size())), IsEmpty());
}

// The item "b" is between two others. Its tag is damaged. Without an index nothing shows where the
// block of "a" ends.
TEST_P(RecordRecoveryFormTest, ItemBeforeADamagedTagCountsOnlyIfTheIndexHasABlockBehindIt) {
    Built_records built(GetParam());
    built.add("a", "one");
    const std::uint64_t place = built.add("b", "two");
    built.add("c", "three");
    built.bytes[place] = 'x';

    const Record_recovery with_index = recover(built.file());
    EXPECT_EQ(content(built.bytes), (Content{{"a", "one"}, {"c", "three"}}));
    EXPECT_TRUE(with_index.has_loss);
    const std::string size = GetParam() == Built_form::kPackage ? "16" : "32";
    EXPECT_THAT(notes(with_index),
                ElementsAre(std::to_string(place) + "+" + size + " b: cannot be read",
                            std::to_string(place) + " b: no whole item is where the index says!"));

    Built_records lost(GetParam());
    const std::uint64_t first = lost.add("a", "one");
    lost.bytes[lost.add("b", "two")] = 'x';
    lost.add("c", "three");
    const Record_recovery without_index = recover(lost.file_without_index());
    EXPECT_EQ(content(lost.bytes), (Content{{"c", "three"}}));
    EXPECT_FALSE(without_index.has_loss);
    EXPECT_TRUE(without_index.is_unsure);
    EXPECT_THAT(
        notes(without_index),
        ElementsAre(std::to_string(first) + "+" +
                    (GetParam() == Built_form::kPackage ? "32" : "64") + " a: cannot be read?"));
}

TEST_P(RecordRecoveryFormTest, OfTwoCopiesTheIndexDecidesElseThePlace) {
    Built_records built(GetParam());
    const std::uint64_t first = built.add("a", "first");
    built.add("b", "between");
    const std::uint64_t second = built.add("a", "second");
    Built_records without_index = built;
    EXPECT_EQ(content(without_index.file_without_index()),
              (Content{{"a", "second"}, {"b", "between"}}));
    EXPECT_THAT(notes(recover(without_index.bytes)).at(0),
                HasSubstr("a: another copy of this item counts"));

    Built_records named_first = built;
    named_first.index["a"] = first;
    EXPECT_EQ(content(named_first.file()), (Content{{"a", "first"}, {"b", "between"}}));

    // The copy that the index names is damaged, so the other one counts.
    built.bytes[second + 3] = 'x';
    EXPECT_EQ(content(built.file()).at("a"), "first");
}

TEST_P(RecordRecoveryFormTest, ItemWhoseLengthReachesOverANamedItemDoesNotCount) {
    Built_records built(GetParam());
    const std::uint64_t place = built.add("a", "one");
    built.add("b", "two");
    built.add("c", "three");
    // The block of "a" would end where that of "c" begins.
    const std::uint64_t size = GetParam() == Built_form::kPackage ? 3 + 16 : 40;
    built.bytes.replace(place + 9, 4, Built_records::number(size, 4));

    EXPECT_EQ(content(built.file()), (Content{{"b", "two"}, {"c", "three"}}));
}

TEST_P(RecordRecoveryFormTest, ImpossibleLengthsAreHarmless) {
    for (const std::uint32_t length : {0U, 0x100001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        for (const std::size_t position : {4U, 9U}) {
            Built_records built(GetParam());
            const std::uint64_t place = built.add("a", "one");
            built.add("b", "two");
            built.bytes.replace(place + position, 4, Built_records::number(length, 4));
            EXPECT_EQ(content(built.file()), (Content{{"b", "two"}}));
        }
    }
}

TEST_P(RecordRecoveryFormTest, EachCutFileGivesTheItemsBeforeTheCut) {
    Built_records built(GetParam());
    Content items;
    std::vector<std::uint64_t> ends;
    for (int i = 0; i < 12; ++i) {
        const std::string key = "key" + std::to_string(i);
        const std::string data(static_cast<std::size_t>(i * i), static_cast<char>('a' + i));
        ends.push_back(built.add(key, data) + Built_records::item(key, data).size());
        items[key] = data;
    }
    const std::string whole = built.file();
    for (std::size_t size = built.header_size(); size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        Content expected;
        for (int i = 0; i < 12; ++i) {
            const std::string key = "key" + std::to_string(i);
            if (ends[static_cast<std::size_t>(i)] <= size) {
                expected[key] = items.at(key);
            }
        }
        ASSERT_EQ(content(whole.substr(0, size)), expected);
    }
}

class RecordRecoveryBlockTest : public testing::TestWithParam<Built_form> {};

INSTANTIATE_TEST_SUITE_P(Forms, RecordRecoveryBlockTest,
                         testing::Values(Built_form::kWide, Built_form::kNarrow));

// A file whose index is in front of its last item, "b", which has a block of 64 bytes.
Built_records item_behind_index(Built_form form) {
    Built_records built(form);
    built.add("a", "one");
    built.index["b"] = 0;
    built.index_offset = built.bytes.size();
    built.bytes.resize(built.index_offset +
                       (std::size_t{1} << std::bit_width(built.index_bytes().size())));
    built.add("b", std::string(40, 'x'));
    built.bytes.replace(built.index_offset, built.index_bytes().size(), built.index_bytes());
    built.file_without_index();
    return built;
}

Record_condition checked_condition(const std::string& bytes) {
    const Memory_file place;
    place.fill(bytes);
    return check_record_file(read_record_file(place.path())).condition;
}

std::string random_bytes(std::size_t count) {
    std::mt19937 random(7);
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

TEST_P(RecordRecoveryBlockTest, BytesBehindTheLastItemCostNothing) {
    const std::string whole = item_behind_index(GetParam()).bytes;
    ASSERT_EQ(recover(whole).condition, File_condition::kSound);
    for (const std::string& tail : {std::string(300, '\0'), random_bytes(300), std::string("x")}) {
        SCOPED_TRACE(tail.size());
        const Record_recovery recovery = recover(whole + tail);
        EXPECT_EQ(content(whole + tail), kTwo);
        EXPECT_EQ(recovery.condition, File_condition::kToRebuild);
        EXPECT_FALSE(recovery.has_loss);
        EXPECT_THAT(notes(recovery),
                    ElementsAre(std::to_string(whole.size()) + "+" + std::to_string(tail.size()) +
                                " -: behind the last block, so of no item"));
        EXPECT_EQ(checked_condition(whole + tail), Record_condition::kRepairable);
    }
}

TEST_P(RecordRecoveryBlockTest, BytesBehindTheLastIndexOrHoleCostNothing) {
    Built_records hole(GetParam());
    hole.add("a", "one");
    const std::string index_last = hole.file();
    Built_records freed = item_behind_index(GetParam());
    freed.free("b", 6);
    freed.bytes.replace(freed.index_offset, freed.index_bytes().size(), freed.index_bytes());
    for (const std::string& whole : {index_last, freed.bytes}) {
        ASSERT_EQ(recover(whole).condition, File_condition::kSound);
        for (const std::string& tail : {std::string(300, '\0'), random_bytes(300)}) {
            EXPECT_THAT(notes(recover(whole + tail)),
                        ElementsAre(std::to_string(whole.size()) +
                                    "+300 -: behind the last block, so of no item"));
            EXPECT_EQ(content(whole + tail), (Content{{"a", "one"}}));
            EXPECT_EQ(checked_condition(whole + tail), Record_condition::kRepairable);
        }
    }
}

// The block of "b" has 64 bytes. With 64 more, a block of 128 bytes would end with the file, and
// with 65 none would. If the length of "b" becomes 10, its block has 32 bytes.
TEST_P(RecordRecoveryBlockTest, LastItemIsLostIfALargerBlockWouldEndWithTheFile) {
    const Built_records built = item_behind_index(GetParam());
    std::string shorter = built.bytes;
    shorter.replace(built.index.at("b") + 9, 4, Built_records::number(10, 4));
    for (const std::string& bytes : {built.bytes + std::string(64, 'y'), shorter}) {
        EXPECT_EQ(content(bytes), (Content{{"a", "one"}}));
        EXPECT_TRUE(recover(bytes).has_loss);
        EXPECT_EQ(checked_condition(bytes), Record_condition::kLost);
    }
    EXPECT_FALSE(recover(built.bytes + std::string(65, 'y')).has_loss);
    EXPECT_EQ(checked_condition(built.bytes + std::string(65, 'y')), Record_condition::kRepairable);
}

// A stale index may name the item that was at this place before.
TEST_P(RecordRecoveryBlockTest, StaleIndexDoesNotProveTheLastItem) {
    std::string bytes = item_behind_index(GetParam()).bytes;
    bytes[9] = '\x01';
    EXPECT_EQ(content(bytes + random_bytes(300)), (Content{{"a", "one"}}));
}

TEST_P(RecordRecoveryBlockTest, OldItemInAHoleDoesNotCount) {
    Built_records built(GetParam());
    built.add("a", "one");
    built.add("old", "deleted");
    built.add("b", "two");
    built.free("old", 5);
    const Content expected = {{"a", "one"}, {"b", "two"}};
    EXPECT_EQ(content(built.file()), expected);
    EXPECT_EQ(recover(built.bytes).condition, File_condition::kSound);
    built.index_offset = 0;
    EXPECT_EQ(content(built.file_without_index()), expected);
    built.state = 1;
    EXPECT_EQ(content(built.file_without_index()), expected);
}

// The first change after the index was written has made the item a hole, and has not set the state.
TEST_P(RecordRecoveryBlockTest, HoleThatACurrentIndexNamesAsAnItemIsTheItem) {
    Built_records built(GetParam());
    built.add("a", "one");
    const std::uint64_t place = built.add("b", "two");
    built.add("c", "three");
    const std::string mark = Built_records::number(0xDEADDEAD, 4) + Built_records::number(32, 4);
    const std::string whole = built.file();
    for (std::size_t written = 1; written <= 8; ++written) {
        SCOPED_TRACE(written);
        std::string bytes = whole;
        bytes.replace(place, written, mark.substr(0, written));
        EXPECT_EQ(content(bytes), (Content{{"a", "one"}, {"b", "two"}, {"c", "three"}}));
        EXPECT_FALSE(recover(bytes).has_loss);
        // If the index may be stale, the item was deleted, unless the mark is half written.
        bytes[9] = 1;
        EXPECT_EQ(content(bytes).contains("b"), written < 4);
    }
}

TEST_P(RecordRecoveryBlockTest, ItemWhoseNewBlockIsUnfinishedIsTakenFromItsHole) {
    Built_records built(GetParam());
    built.add("a", "one");
    const std::uint64_t place = built.add("b", "two");
    built.add("c", "three");
    built.state = 1;
    std::string bytes = built.file();
    bytes.replace(place, 8, Built_records::number(0xDEADDEAD, 4) + Built_records::number(32, 4));
    EXPECT_FALSE(content(bytes).contains("b"));
    const std::string moved = Built_records::item("b", std::string(100, 'm'));
    for (std::size_t written = 9; written < moved.size(); ++written) {
        SCOPED_TRACE(written);
        EXPECT_EQ(content(bytes + moved.substr(0, written)).at("b"), "two");
    }
    EXPECT_EQ(content(bytes + moved).at("b"), std::string(100, 'm'));
}

TEST_P(RecordRecoveryBlockTest, StateThatStandsForNoChangeIsOnlyCleared) {
    Built_records built = two_items(GetParam());
    built.add("gone", "x");
    built.free("gone", 5);
    built.state = 0x83;
    const Record_recovery recovery = recover(built.file());
    EXPECT_EQ(recovery.condition, File_condition::kStateOnly);
    EXPECT_EQ(recovery.state, 0x83U);

    // A hole that the index does not list is a change.
    built.index_offset = 0;
    built.holes[5].clear();
    EXPECT_EQ(recover(built.file()).condition, File_condition::kToRebuild);
}

TEST_P(RecordRecoveryBlockTest, UnnamedItemsAreDeletedOnesInAFileOfVersion1) {
    Built_records built(GetParam());
    built.add("a", "one");
    const std::uint64_t place = built.add_unnamed("b", "deleted");
    built.add("c", "three");
    built.bytes[built.add("d", "four")] = 'x';
    EXPECT_EQ(content(built.file()).count("b"), 1U);
    built.version = 1;
    built.index_offset = 0;
    const std::string bytes = built.file();
    EXPECT_EQ(content(bytes), (Content{{"a", "one"}, {"c", "three"}}));
    EXPECT_EQ(notes(recover(bytes)).at(0), std::to_string(place) + "+" + std::to_string(20) +
                                               " b: not in the index, so it is of no use");
}

TEST_P(RecordRecoveryBlockTest, LastBlockCutInItsPaddingCounts) {
    Built_records built(GetParam());
    built.add("a", "one");
    const std::uint64_t place = built.add("b", std::string(60, 'b'));  // 73 bytes in 128
    const std::string bytes = built.file_without_index();
    EXPECT_EQ(content(bytes.substr(0, place + 100)).at("b"), std::string(60, 'b'));
    // The bytes behind the data are not zero: the length is wrong.
    std::string wrong = bytes.substr(0, place + 100);
    wrong.replace(place + 9, 4, Built_records::number(55, 4));
    EXPECT_FALSE(content(wrong).contains("b"));
}

TEST_P(RecordRecoveryBlockTest, HolesOfWrongSizesHideNoItems) {
    for (const std::uint32_t size : {0U, 1U, 8U, 31U, 48U, 64U, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(size);
        Built_records built(GetParam());
        built.add("old", "deleted");
        built.add("a", "one");
        built.add("b", "two");
        const std::uint64_t place = built.index.at("old");
        built.free("old", 5);
        built.bytes.replace(place + 4, 4, Built_records::number(size, 4));
        EXPECT_EQ(content(built.file()), (Content{{"a", "one"}, {"b", "two"}}));
    }
}

// An index that was written behind the items, before the header named it.
TEST_P(RecordRecoveryBlockTest, IndexThatTheHeaderDoesNotNameYetIsUsed) {
    Built_records built(GetParam());
    const std::uint64_t first = built.add("a", "first");
    built.add("a", "second");
    built.index["a"] = first;
    std::string bytes = built.file();
    bytes.replace(12, built.header_size() - 12, std::string(built.header_size() - 12, '\0'));
    EXPECT_EQ(content(bytes).at("a"), "first");
    EXPECT_THAT(
        recover(bytes).remarks,
        ElementsAre("there is no index where the header points to",
                    "an index at offset " + std::to_string(built.index_offset) + " is used"));
}

TEST(RecordRecoveryTest, SealDecidesBetweenCopiesAndFindsDamagedItems) {
    for (const Built_form form : {Built_form::kWide, Built_form::kNarrow, Built_form::kPackage}) {
        const Content items = {{"__Manager__", "m"}, {"a", "one"}, {"b", "two"}};
        Built_records built(form);
        built.id = 0x278F9D40;
        built.flags = 0;
        built.add("__Manager__", "m");
        built.add("a", "one");
        const std::uint64_t other = built.add("a", "not");
        const std::uint64_t place = built.add("b", "two");
        built.add("__Seal__", seal_of(items));
        built.index["a"] = other;  // the seal is stronger
        Content found = content(built.file());
        EXPECT_EQ(found.at("a"), "one");
        EXPECT_TRUE(found.contains("__Seal__"));

        built.index_offset = 0;
        built.bytes[place + 14] = 'x';
        const std::string damaged = built.file();
        found = content(damaged);
        EXPECT_FALSE(found.contains("b"));
        EXPECT_FALSE(found.contains("__Seal__"));
        const Record_recovery recovery = recover(damaged);
        EXPECT_TRUE(recovery.has_loss);
        EXPECT_THAT(notes(recovery),
                    testing::Contains(std::to_string(place) +
                                      "+16 b: its checksum in the seal differs, so the item is "
                                      "damaged!"));
        EXPECT_THAT(recovery.remarks,
                    testing::Contains("the seal is left out, since the new file has other items"));
    }
}

// A container that was not closed. Only a seal can say that its items belong together.
TEST(RecordRecoveryTest, ContainerThatWasNotClosedMayHaveItemsOfTwoStates) {
    const auto two_states = testing::Contains(
        "the last change was not finished: some items may be from before it, and others from "
        "after it");
    for (const Built_form form : {Built_form::kWide, Built_form::kPackage}) {
        Built_records built(form);
        built.id = 0x278F9D40;
        built.flags = 0;
        built.add("__Manager__", "m");
        EXPECT_THAT(recover(built.file()).remarks, testing::Not(two_states));
        built.state = 1;
        EXPECT_THAT(recover(built.file()).remarks, two_states);
        built.id = 7;
        EXPECT_THAT(recover(built.file()).remarks, testing::Not(two_states));

        built.id = 0x278F9D40;
        built.add("__Seal__", seal_of({{"__Manager__", "m"}}));
        EXPECT_THAT(recover(built.file()).remarks, testing::Not(two_states));
        built.add("__Seal__", seal_of({{"__Manager__", "another"}}));
        EXPECT_THAT(recover(built.file()).remarks, two_states);
    }
}

TEST(RecordRecoveryTest, SealSaysWhatTheHeaderWas) {
    Built_records built(Built_form::kWide);
    built.add("a", "one");
    built.add("__Seal__", seal_of({{"a", "one"}}, 0x278F9D40, 2, 0x08));
    built.id = 0x278F9D41;
    built.version = 3;
    built.flags = 0x80;
    const Record_recovery recovery = recover(built.file());
    EXPECT_EQ(recovery.identity.id, 0x278F9D40U);
    EXPECT_EQ(recovery.identity.version, 2U);
    EXPECT_EQ(recovery.identity.flags, 0x88U);
    EXPECT_EQ(recovery.condition, File_condition::kToRebuild);
}

TEST(RecordRecoveryTest, DamagedSealIsLeftOut) {
    Built_records built(Built_form::kPackage);
    built.id = 0x278F9D40;
    built.flags = 0;
    built.add("a", "one");
    const std::string seal = seal_of({{"a", "one"}});
    for (const std::string& damaged :
         {seal.substr(0, seal.size() - 1), seal + "x", "\2" + seal, std::string()}) {
        Built_records changed = built;
        changed.add("__Seal__", damaged);
        EXPECT_EQ(content(changed.file()), (Content{{"a", "one"}}));
        EXPECT_EQ(recover(changed.bytes).remarks.at(0), "the seal is damaged, so it is left out");
    }
}

TEST(RecordRecoveryTest, ItemsBehindTheIndexOfAPackageAreOfAnUnfinishedChange) {
    Built_records built = two_items(Built_form::kPackage);
    const std::string whole =
        built.file() + Built_records::item("a", "newer") + Built_records::item("new", "newest");
    EXPECT_EQ(recover(whole).condition, File_condition::kSound);
    EXPECT_EQ(content(whole), kTwo);
}

TEST(RecordRecoveryTest, UnfinishedPackageGivesItsItems) {
    Built_records built = two_items(Built_form::kPackage);
    built.state = 1;
    EXPECT_EQ(content(built.file_without_index()), kTwo);
    EXPECT_EQ(recover(built.bytes).condition, File_condition::kToRebuild);
}

TEST(RecordRecoveryTest, ContainerWithoutItsTreesIsReported) {
    Built_records built = two_items(Built_form::kPackage);
    built.id = 0x278F9D40;
    const Record_recovery recovery = recover(built.file());
    EXPECT_TRUE(recovery.has_loss);
    EXPECT_THAT(
        recovery.remarks,
        ElementsAre("the trees and settings are lost: the item \"__Manager__\" was not found"));
}

TEST(RecordRecoveryTest, KeyThatIsTooLongIsDamage) {
    Built_records built(Built_form::kWide);
    built.add(std::string(0x100001, 'k'), "too long");
    built.add(std::string(0x100000, 'l'), "longest");
    built.add("a", "one");
    const Content found = content(built.file_without_index());
    EXPECT_EQ(found.size(), 2U);
    EXPECT_EQ(found.at(std::string(0x100000, 'l')), "longest");
}

// A file of a terabyte, of which a few bytes are on the disk.
TEST(RecordRecoveryTest, SparseFileIsFast) {
    constexpr std::size_t kFar = std::size_t{1} << 40U;
    Built_records built(Built_form::kWide);
    built.add("a", "one");
    const Memory_file place;
    place.fill(built.file_without_index());
    const std::string item = Built_records::item("far", "data");
    for (std::size_t i = 0; i < 32; ++i) {
        place.put(kFar + i, i < item.size() ? item[i] : '\0');
    }
    // The end of "a" is no tag any more, so only the far one counts.
    EXPECT_EQ(recovered_content(place.path()), (Content{{"far", "data"}}));
    place.put(std::size_t{3} << 40U, '\0');
    EXPECT_THAT(recovered_content(place.path()), IsEmpty());
}

// A hostile file: many items of which none ends at a tag, and many indexes that cannot be read.
TEST(RecordRecoveryTest, ManyDamagedTagsTakeLinearTime) {
    const auto number = Built_records::number;
    for (const std::string& piece :
         {number(0x4A5B6C73, 4) + number(3, 4) + "abc" + number(100000, 4) + "xyz",
          number(0x4A5B6C82, 4) + number(1000, 4), number(0xDEADDEAD, 4) + number(48, 4)}) {
        Built_records built(Built_form::kNarrow);
        for (std::size_t i = 0; i < 100000; ++i) {
            built.bytes += piece;
        }
        EXPECT_LT(recover(built.file_without_index()).items.size(), 100000U);
    }
}

}  // namespace

}  // namespace zandrel::cli
