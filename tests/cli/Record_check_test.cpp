#include "cli/records/Record_check.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/process/Exit_status.h"
#include "tests/cli/record_file_bytes.h"

namespace zandrel::cli {

namespace {

using Bytes = Record_file_bytes;
using Condition = Record_condition;

Record_check check(const std::string& bytes) {
    const Temporary_file file(bytes);
    Record_check checked = check_record_file(read_record_file(file.path));
    checked.file = "x.dat";
    return checked;
}

std::string report_of(const std::string& bytes) {
    std::ostringstream out;
    print_record_check(check(bytes), out);
    return out.str();
}

TEST(RecordCheckTest, CompleteFileIsClean) {
    EXPECT_EQ(check(Bytes::whole()).condition, Condition::kClean);
    EXPECT_EQ(report_of(Bytes::whole()), "x.dat: clean\n");
}

// The library refuses a hole in which an item begins. This hole begins inside the item "a" at 276,
// so the library opens the file, and would overwrite the item.
TEST(RecordCheckTest, HoleThatBeginsInsideAnItemIsReported) {
    EXPECT_EQ(
        report_of(Bytes::header() + Bytes::index(276, 284) + Bytes::item() + Bytes::hole()),
        "x.dat: offset 284: hole of slot 4: no hole is there\n"
        "x.dat: offset 284: a hole of the index begins inside item \"a\"\n"
        "x.dat: offset 308: 16 bytes at the end belong to nothing\n"
        "x.dat: repairable: no item is known to be lost, but the index has to be made anew\n");
    // With a hole's tag in the padding of the item, the two blocks overlap.
    std::string item = Bytes::item();
    item.replace(16, 8, big_endian(0xDEADDEAD, 4) + big_endian(16, 4));
    EXPECT_EQ(report_of(Bytes::header() + Bytes::index(276, 292) + item),
              "x.dat: offset 292: hole overlaps item \"a\"\n"
              "x.dat: lost: items that the index names are not there or not whole\n");
}

TEST(RecordCheckTest, PositionAndKindOfDamageAreReported) {
    constexpr const char* kRepairable =
        "x.dat: repairable: no item is known to be lost, but the index has to be made anew\n";
    constexpr const char* kLost =
        "x.dat: lost: items that the index names are not there or not whole\n";
    const std::string parts = Bytes::item() + Bytes::hole();

    const struct {
        std::string bytes;
        std::string expected;
    } rows[] = {
        {Bytes::header(1) + Bytes::index() + parts,
         std::string("x.dat: offset 9: the index may be stale: the file was not closed\n") +
             kRepairable},
        {Bytes::header(0, 0) + Bytes::index() + parts,
         std::string("x.dat: offset 0: the header points to no index\n") + kRepairable},
        {Bytes::whole() + "abc",
         std::string("x.dat: offset 324: 3 bytes at the end belong to nothing\n") + kRepairable},
        {Bytes::header() + Bytes::index(276, 311) + Bytes::item() + "abc" + Bytes::hole(),
         std::string("x.dat: offset 308: 3 bytes belong to nothing\n") + kRepairable},
        {Bytes::header() + Bytes::index() + Bytes::item() + Bytes::hole().substr(0, 12),
         std::string("x.dat: offset 320: the file ends inside the block of hole\n") + kRepairable},
        {Bytes::header() + Bytes::index() + Bytes::item() + std::string(16, '\0'),
         std::string("x.dat: offset 308: hole of slot 4: no hole is there\n"
                     "x.dat: offset 308: 16 bytes at the end belong to nothing\n") +
             kRepairable},
        {Bytes::header() + Bytes::index() + std::string(32, '\0') + Bytes::hole(),
         std::string("x.dat: offset 276: item \"a\": no item is there\n"
                     "x.dat: offset 276: 32 bytes belong to nothing\n") +
             kLost},
        // The hole begins inside the item's block.
        {Bytes::header() + Bytes::index(276, 292) + Bytes::item().substr(0, 16) + Bytes::hole(),
         std::string("x.dat: offset 292: hole overlaps item \"a\"\n") + kLost},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(report_of(row.bytes), row.expected);
    }
}

// A cut file has lost the bytes after its end. A cut in the padding of the last block loses nothing
// if the index is current: it then lists all items, and all are complete.
TEST(RecordCheckTest, CutFileIsLostUnlessTheIndexShowsThatAllItemsAreComplete) {
    constexpr const char* kCut =
        "x.dat: lost: the file ends before something that it names, so items may be gone\n";
    const std::string current = Bytes::whole();
    const std::string stale = Bytes::header(1) + Bytes::index() + Bytes::item() + Bytes::hole();
    const std::string index_last =
        Bytes::header(0, 68) + Bytes::item() + Bytes::hole() + Bytes::index(20, 52);

    const struct {
        std::string bytes;
        Condition expected;
        bool says_cut;
    } rows[] = {
        {current.substr(0, 100), Condition::kLost, true},  // inside the index
        {current.substr(0, 20), Condition::kLost, true},   // before the index
        // before the index, which is after all items
        {index_last.substr(0, 68), Condition::kLost, true},
        {current.substr(0, 280), Condition::kLost, false},  // inside the item
        {current.substr(0, 320), Condition::kRepairable, false},
        {stale.substr(0, 280), Condition::kLost, true},
        {stale.substr(0, 310), Condition::kLost, true},  // inside the hole
        {stale.substr(0, 320), Condition::kLost, true},  // inside the padding of the hole
        {stale, Condition::kRepairable, false},
        {index_last, Condition::kClean, false},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes.size());
        EXPECT_EQ(check(row.bytes).condition, row.expected);
        EXPECT_EQ(report_of(row.bytes).find(kCut) != std::string::npos, row.says_cut);
    }
}

// A stale index may list items at their old places. That is no loss.
TEST(RecordCheckTest, StaleIndexLosesNothing) {
    const std::string bytes =
        Bytes::header(1) + Bytes::index() + std::string(32, '\0') + Bytes::hole();

    EXPECT_EQ(check(bytes).condition, Condition::kRepairable);
    EXPECT_EQ(check(bytes).problems.size(), 3U);
}

TEST(RecordCheckTest, JsonReportIsWritten) {
    EXPECT_EQ(record_check_json(check(Bytes::whole())).dump(),
              R"({"file":"x.dat","condition":"clean","problems":[]})");
    EXPECT_EQ(record_check_json(check(Bytes::whole() + "abc")).dump(),
              R"({"file":"x.dat","condition":"repairable","problems":[{"offset":324,)"
              R"("text":"3 bytes at the end belong to nothing"}]})");
    Record_check with_note = check(Bytes::whole());
    with_note.notes = {"a note"};
    EXPECT_EQ(record_check_json(with_note).dump(),
              R"({"file":"x.dat","condition":"clean","problems":[],"notes":["a note"]})");
}

// Only damage of the magic number may raise an error. A file with a changed bit is clean exactly if
// the bit is in the data, in the padding, in the owner's fields of the header, in the state (except
// the stale bit), or in a length that stays in the same slot (7 or 11 instead of 3). A file that is
// cut off behind its header is never clean.
TEST(RecordCheckTest, EveryFlippedBitAndEveryTruncationIsReportedOrHarmless) {
    const std::string whole = Bytes::whole();
    const auto is_undetected = [](std::size_t at, unsigned int bit) {
        const bool is_other_state = at == 9 && bit != 0;
        const bool is_length_of_slot = at == 276 + 12 && (bit == 2 || bit == 3);
        const bool is_identity = at >= 4 && at < 12 && at != 9;
        const bool is_index_padding = at >= 20 + 157 && at < 276;
        const bool is_data_or_padding = at >= 276 + 13 && at < 308;
        return is_other_state || is_length_of_slot || is_identity || is_index_padding ||
               is_data_or_padding || at >= 308 + 8;
    };
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            SCOPED_TRACE(at);
            std::string damaged = whole;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ (1U << bit));
            try {
                const bool is_clean = check(damaged).condition == Condition::kClean;
                EXPECT_EQ(is_clean, is_undetected(at, bit));
            } catch (const std::exception&) {
                EXPECT_LT(at, 4U);
            }
        }
    }
    for (std::size_t size = 20; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_NE(check(whole.substr(0, size)).condition, Condition::kClean);
    }
}

TEST(RecordCheckTest, ContainerIsCleanWithASealAndWithout) {
    EXPECT_EQ(report_of(Package_bytes::whole()), "x.dat: clean\n");
    EXPECT_EQ(record_check_json(check(Package_bytes::whole())).dump(),
              R"({"file":"x.dat","condition":"clean","seal":true,"problems":[]})");
    const std::string unsealed = Package_bytes::header(0, 38) +
                                 Package_bytes::item("x", "123456789") + big_endian(0x4A5B6C82, 4) +
                                 big_endian(1, 4) + Package_bytes::entry("x", 16);
    EXPECT_EQ(report_of(unsealed),
              "x.dat: clean, but there is no seal: changed bytes inside items are not found\n");
    EXPECT_EQ(check(unsealed).has_seal, false);
}

// A replaced item stays in the file, and so do the bytes of an unfinished change.
TEST(RecordCheckTest, UnusedBytesInAContainerAreNoProblem) {
    EXPECT_EQ(check(Package_bytes::whole() + "abc").condition, Condition::kClean);
    EXPECT_EQ(check(Package_bytes::header(0, 82) + Package_bytes::item("x", "123456789") + "abc" +
                    Package_bytes::seal() + Package_bytes::index(41))
                  .condition,
              Condition::kClean);
}

TEST(RecordCheckTest, DamageOfAContainerIsReported) {
    constexpr const char* kDamaged = "x.dat: damaged: the bytes are not those that were written\n";
    using Package = Package_bytes;
    const std::string item = Package::item("x", "123456789");

    const struct {
        std::string bytes;
        std::string expected;
    } rows[] = {
        {Package::header(1, 0) + item,
         "x.dat: offset 0: there is no index: the file was not written to its end\n"},
        {Package::whole().substr(0, 100),
         "x.dat: offset 79: the index goes past the end of the file\n"},
        {Package::header() + item + Package::seal(1, 7) + Package::index(),
         "x.dat: offset 38: Seal does not match: item\n"},
        {Package::header() + item + Package::seal(2) + Package::index(),
         "x.dat: offset 38: Unknown form of seal: 2\n"},
        {Package::header() + item + Package::seal() + Package::index(38, 79),
         "x.dat: offset 79: item \"x\": no item is there\n"
         "x.dat: offset 79: item \"x\" is not in front of the index\n"},
        {Package::header() + item + Package::seal() + big_endian(0x4A5B6C82, 4) + big_endian(2, 4) +
             Package::entry("x", 16) + Package::entry("__Seal__", 38),
         "x.dat: offset 79: item \"__Seal__\" is not behind item \"x\" in the order of keys\n"},
        {Package::header() + Package::item("x", "123456789").replace(12, 1, "\x0A") +
             Package::seal() + Package::index(),
         "x.dat: offset 38: item \"__Seal__\" overlaps item \"x\"\n"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(report_of(row.bytes), row.expected + kDamaged);
    }
}

// Each changed bit behind the magic number is found, except the Unicode flag, which the seal does
// not cover. If the key of the seal in the index has changed, the file counts as unsealed.
TEST(RecordCheckTest, EveryFlippedBitAndEveryCutOfASealedContainerIsFound) {
    const std::string whole = Package_bytes::whole();
    for (std::size_t at = 4; at < whole.size(); ++at) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            SCOPED_TRACE(at);
            std::string damaged = whole;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ (1U << bit));
            const Record_check checked = check(damaged);
            const bool is_clean = checked.condition == Condition::kClean;
            EXPECT_EQ(is_clean && checked.has_seal.value_or(true), at == 8 && bit == 7);
        }
    }
    for (std::size_t size = 16; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_EQ(check(whole.substr(0, size)).condition, Condition::kDamaged);
    }
}

}  // namespace

}  // namespace zandrel::cli
