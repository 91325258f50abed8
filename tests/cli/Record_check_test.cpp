#include "cli/records/Record_check.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/record_file_bytes.h"

namespace cli {

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

TEST(RecordCheckTest, AWholeFileIsClean) {
    EXPECT_EQ(check(Bytes::whole()).condition, Condition::kClean);
    EXPECT_EQ(report_of(Bytes::whole()), "x.dat: clean\n");
}

TEST(RecordCheckTest, TellsWhereAndWhat) {
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
         std::string("x.dat: offset 308: hole of slot 4: no hole stands there\n"
                     "x.dat: offset 308: 16 bytes at the end belong to nothing\n") +
             kRepairable},
        {Bytes::header() + Bytes::index() + std::string(32, '\0') + Bytes::hole(),
         std::string("x.dat: offset 276: item \"a\": no item stands there\n"
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

// What a stale index says of items that have moved since is no loss.
TEST(RecordCheckTest, AStaleIndexLosesNothing) {
    const std::string bytes =
        Bytes::header(1) + Bytes::index() + std::string(32, '\0') + Bytes::hole();

    EXPECT_EQ(check(bytes).condition, Condition::kRepairable);
    EXPECT_EQ(check(bytes).problems.size(), 3U);
}

TEST(RecordCheckTest, WritesJson) {
    EXPECT_EQ(record_check_json(check(Bytes::whole())).dump(),
              R"({"file":"x.dat","condition":"clean","problems":[]})");
    EXPECT_EQ(record_check_json(check(Bytes::whole() + "abc")).dump(),
              R"({"file":"x.dat","condition":"repairable","problems":[{"offset":324,)"
              R"("text":"3 bytes at the end belong to nothing"}]})");
}

// No damage may end the program, and none may pass for a clean file unless it is one that no tag,
// length or offset tells of: here the data, its length within the slot (7 or 11 in place of 3), the
// padding, and the identity in the header.
TEST(RecordCheckTest, EveryFlippedBitAndEveryTruncationIsToldOrHarmless) {
    const std::string whole = Bytes::whole();
    const auto is_untold = [](std::size_t at, unsigned int bit) {
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
                EXPECT_EQ(is_clean, is_untold(at, bit));
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

}  // namespace

}  // namespace cli
