#include "cli/records/Record_file.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/records/Record_dump.h"
#include "tests/cli/record_file_bytes.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using Bytes = Record_file_bytes;

Record_file read_records(const std::string& bytes) {
    const Temporary_file file(bytes);
    return read_record_file(file.path);
}

TEST(RecordFileTest, BlockIsLargerThanItsContents) {
    EXPECT_EQ(slot_of(15), 4U);
    EXPECT_EQ(block_of(15), 16U);
    EXPECT_EQ(slot_of(16), 5U);
    EXPECT_EQ(block_of(16), 32U);
    EXPECT_EQ(block_of(136), 256U);
}

TEST(RecordFileTest, HeaderIndexItemsAndHolesAreRead) {
    const Record_file file = read_records(Bytes::whole());

    EXPECT_EQ(file.size, 324U);
    EXPECT_TRUE(file.header.is_wide);
    EXPECT_EQ(file.header.file_id, 0x01020304U);
    EXPECT_EQ(file.header.version, 2);
    EXPECT_TRUE(file.header.is_unicode());
    EXPECT_FALSE(file.header.is_stale());
    EXPECT_EQ(file.index.space, 157U);
    EXPECT_EQ(file.index.problem, "");
    ASSERT_EQ(file.index.items.size(), 1U);
    EXPECT_EQ(file.index.items[0].key, "a");
    EXPECT_EQ(file.index.items[0].offset, 276U);
    EXPECT_EQ(file.index.items[0].data_length, 3U);
    EXPECT_EQ(file.index.items[0].problem, "");
    ASSERT_EQ(file.index.holes.size(), 1U);
    EXPECT_EQ(file.index.holes[0].slot, 4U);
    EXPECT_EQ(file.index.holes[0].offset, 308U);
    EXPECT_EQ(file.index.holes[0].problem, "");
}

// A new file has only the header and an index of 8 + 128 bytes in a block of 256.
TEST(RecordFileTest, OffsetsOf32BitsAreRead) {
    const Record_file file =
        read_records(big_endian(0x4A5B6C80, 4) + std::string(8, '\0') + big_endian(16, 4) +
                     big_endian(0x4A5B6C82, 4) + std::string(252, '\0'));

    EXPECT_FALSE(file.header.is_wide);
    EXPECT_EQ(file.header.index_offset, 16U);
    EXPECT_EQ(file.index.space, 136U);
    EXPECT_EQ(file.index.problem, "");
}

TEST(RecordFileTest, PackageOfAContainerIsRead) {
    const Record_file file = read_records(Package_bytes::whole());

    EXPECT_TRUE(file.header.is_package);
    EXPECT_EQ(file.header.file_id, 0x278F9D40U);
    EXPECT_EQ(file.header.index_offset, 79U);
    EXPECT_EQ(file.index.space, 33U);
    EXPECT_EQ(file.index.problem, "");
    ASSERT_EQ(file.index.items.size(), 2U);
    EXPECT_EQ(file.index.items[0].key, "__Seal__");
    EXPECT_EQ(file.index.items[0].total(), 41U);
    EXPECT_EQ(file.index.items[1].key, "x");
    EXPECT_EQ(file.index.items[1].data_length, 9U);
    ASSERT_TRUE(file.package.has_value());
    EXPECT_TRUE(file.package->is_container);
    EXPECT_TRUE(file.package->has_seal);
    EXPECT_EQ(file.package->form, 1U);
    EXPECT_EQ(file.package->checksums.at("x"), 0xE3069283U);
    EXPECT_EQ(file.package->header_checksum, Package_bytes::kHeaderChecksum);
    EXPECT_FALSE(read_records(Bytes::whole()).package.has_value());
}

// The seal has a length that is too large, or ends early.
TEST(RecordFileTest, ReadablePartsOfADamagedSealAreRead) {
    const std::string number = big_endian(1, 4);
    for (const std::string& data :
         {number + number + big_endian(0xFFFFFFFF, 4) + "x",
          number + number + Package_bytes::entry("x", 7), number + big_endian(0xFFFFFFFF, 4)}) {
        SCOPED_TRACE(data.size());
        const std::string seal = Package_bytes::item("__Seal__", data);
        const std::string bytes = Package_bytes::header(0, 38 + seal.size()) +
                                  Package_bytes::item("x", "123456789") + seal +
                                  Package_bytes::index();
        const Record_file file = read_records(bytes);

        EXPECT_TRUE(file.package->has_seal);
        EXPECT_EQ(file.package->form, 1U);
        EXPECT_FALSE(file.package->header_checksum.has_value());
    }
}

// Each record begins with the object's type. In version 2 it is scrambled: the scrambling bytes
// begin with B2 12 7B 48.
TEST(RecordFileTest, ContentsOfAContainersItemsAreNamed) {
    const struct {
        std::string key;
        std::string data;
        std::string expected;
    } rows[] = {
        {"__Manager__", "abc", "tree and settings"},
        {"__Seal__", "abc", "seal"},
        {big_endian(7, 4), "\xB2\x12\x7B\x49", "rule classifier, id 7"},
        {big_endian(258, 4), "\xB2\x12\x7B\x4A more", "statistical classifier, id 258"},
        {big_endian(1, 4), "\xB2\x12\x7B\x4B", "statistical model, id 1"},
        {big_endian(1, 4), "\xB2\x12\x7B\x4C", "unknown object, id 1"},
        {big_endian(1, 4), "abc", "object, id 1"},
        {"x", "abc", "unknown"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        const std::string item = Package_bytes::item(row.key, row.data);
        const Record_file file = read_records(Package_bytes::header(0, 16 + item.size()) + item +
                                              big_endian(0x4A5B6C82, 4) + big_endian(1, 4) +
                                              Package_bytes::entry(row.key, 16));
        EXPECT_EQ(file.package->contents.at(0), row.expected);
    }
}

TEST(RecordFileTest, FileThatIsNoRecordFileIsRefused) {
    const struct {
        std::string bytes;
        std::string expected;
    } rows[] = {
        {"", "no record file or container: too short for a header"},
        {Bytes::header().substr(0, 19), "no record file or container: too short for a header"},
        {Package_bytes::header().substr(0, 15),
         "no record file or container: too short for a header"},
        {"ABCD" + Bytes::whole(), "no record file or container: wrong magic number"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes.size());
        const Temporary_file file(row.bytes);
        try {
            read_record_file(file.path);
            ADD_FAILURE() << "no error";
        } catch (const Data_error& error) {
            EXPECT_EQ(error.what(), file.path + ": " + row.expected);
        }
    }
    EXPECT_THROW(read_record_file("no/such/file"), Input_error);
    EXPECT_THROW(read_record_file("/"), Input_error);
}

TEST(RecordFileTest, DamageOfTheIndexIsReported) {
    const struct {
        std::string bytes;
        std::string expected;
    } rows[] = {
        {Bytes::header(0, 0) + Bytes::index(), "the header points to no index"},
        {Bytes::header(0, 276) + Bytes::index() + Bytes::item(),
         "no index is where the header points"},
        {Bytes::header(0, 5000) + Bytes::index(), "the index goes past the end of the file"},
        {Bytes::header() + big_endian(0x4A5B6C82, 4) + "\xFF\xFF\xFF\xFF" + std::string(99, '\0'),
         "the index goes past the end of the file"},
        {Bytes::header() + Bytes::index().substr(0, 100),
         "the index goes past the end of the file"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        EXPECT_EQ(read_records(row.bytes).index.problem, row.expected);
    }
}

TEST(RecordFileTest, DamageOfAnItemIsReported) {
    const std::string before = Bytes::header() + Bytes::index();
    const std::string tag = big_endian(0x4A5B6C73, 4);

    const struct {
        std::string bytes;
        std::string expected;
    } rows[] = {
        {before + Bytes::hole(), "no item is there"},
        {before + tag + big_endian(2, 4) + "ab", "the item there has a key of another length"},
        {before + tag + big_endian(1, 4) + "b", "the item there has another key"},
        {before + tag + big_endian(1, 4) + "a" + big_endian(3, 4) + "xy",
         "the item goes past the end of the file"},
        {before, "the item goes past the end of the file"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        EXPECT_EQ(read_records(row.bytes).index.items.at(0).problem, row.expected);
    }
}

TEST(RecordFileTest, DamageOfAHoleIsReported) {
    const std::string before = Bytes::header() + Bytes::index() + Bytes::item();

    const struct {
        std::string bytes;
        std::string expected;
    } rows[] = {
        {before + Bytes::item(), "no hole is there"},
        {before + big_endian(0xDEADDEAD, 4) + big_endian(32, 4), "the hole there has another size"},
        {before + big_endian(0xDEADDEAD, 4), "the hole goes past the end of the file"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        EXPECT_EQ(read_records(row.bytes).index.holes.at(0).problem, row.expected);
    }
}

TEST(RecordDumpTest, ContentsOfTheFileArePrinted) {
    std::ostringstream out;
    print_record_dump(read_records(Bytes::whole()), out);

    EXPECT_EQ(out.str(),
              "header\n"
              "  offsets       64 bits\n"
              "  file id       0x01020304\n"
              "  version       2\n"
              "  flags         0x80 (unicode)\n"
              "  state         0x00\n"
              "  index at      20\n"
              "  file size     324\n"
              "index\n"
              "  keys          1\n"
              "  holes         1\n"
              "  size          157\n"
              "  block         256\n"
              "items     offset         block          data  key\n"
              "             276            32             3  \"a\"\n"
              "holes     offset         block\n"
              "             308            16\n");
}

TEST(RecordDumpTest, ContainerIsPrintedWithTheChecksumsOfItsSeal) {
    std::ostringstream out;
    print_record_dump(read_records(Package_bytes::whole()), out);

    EXPECT_EQ(out.str(),
              "header\n"
              "  form          knowledge container\n"
              "  offsets       32 bits\n"
              "  file id       0x278F9D40\n"
              "  version       2\n"
              "  flags         0x80 (unicode)\n"
              "  state         0x00\n"
              "  index at      79\n"
              "  file size     112\n"
              "index\n"
              "  keys          2\n"
              "  size          33\n"
              "items     offset          size          data      checksum  key\n"
              "              38            41            21             -  \"__Seal__\"  seal\n"
              "              16            22             9    0xE3069283  \"x\"  unknown\n"
              "seal\n"
              "  form          1\n"
              "  header        0x11970B36\n");
}

TEST(RecordDumpTest, ContainerIsWrittenAsJson) {
    const nlohmann::ordered_json json = record_dump_json(read_records(Package_bytes::whole()));

    EXPECT_EQ(json["index"].dump(), R"({"keys":2,"size":33})");
    EXPECT_EQ(json["items"].dump(),
              R"([{"key":"\"__Seal__\"","offset":38,"size":41,"data_length":21,"contents":"seal"},)"
              R"({"key":"\"x\"","offset":16,"size":22,"data_length":9,"checksum":3808858755,)"
              R"("contents":"unknown"}])");
    EXPECT_EQ(json["container"].dump(), "true");
    EXPECT_EQ(json["seal"]["form"].dump(), "1");
    EXPECT_FALSE(json.contains("holes"));
}

TEST(RecordDumpTest, BinaryKeysAreShownAsBytes) {
    Record_file file;
    file.index.items.push_back({std::string("\0\"\\z\xFF", 5), 276, 0, "no item is there"});
    std::ostringstream out;
    print_record_dump(file, out);

    EXPECT_NE(out.str().find("             276             -             -  "
                             "\"\\x00\\\"\\\\z\\xFF\"  (no item is there)\n"),
              std::string::npos)
        << out.str();
}

TEST(RecordDumpTest, RecordFileIsWrittenAsJson) {
    const Record_file file = read_records(Bytes::whole());
    const nlohmann::ordered_json json = record_dump_json(file);

    EXPECT_EQ(json["header"].dump(),
              R"({"offset_bits":64,"file_id":16909060,"version":2,"flags":128,"state":0,)"
              R"("index_offset":20})");
    EXPECT_EQ(json["index"].dump(), R"({"keys":1,"holes":1,"size":157,"block":256})");
    EXPECT_EQ(json["items"].dump(), R"([{"key":"\"a\"","offset":276,"block":32,"data_length":3}])");
    EXPECT_EQ(json["holes"].dump(), R"([{"offset":308,"block":16}])");
}

}  // namespace

}  // namespace zandrel::cli
