// The stored form of a container's identity and settings, byte by byte.
#include "zandrel/persistence/zeConfig.h"

#include <cstddef>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"
#include "tests/support/stored.h"

namespace {

constexpr const char* kRecord =
    "12 34 56 78"                       // id
    "00 00 00 03 6b 63 31"              // name "kc1"
    "00 00 00 00 00 0f 42 40"           // made one second after the start of 1970
    "ff ff ff ff ff ff ff ff"           // trained one microsecond before 1970
    "00 00 00 07"                       // feedback
    "01"                                // flag a
    "fe"                                // flag b
    "00 00 00 08"                       // reserved for each category
    "00 00 00 09"                       // messages to train each category with
    "3f e0 00 00 00 00 00 00"           // age adjustment 0.5
    "01"                                // flag c
    "00"                                // full propagation
    "00 00 00 02"                       // optional settings
    "00 00 00 01 61 00 00 00 02 78 79"  // a: xy
    "00 00 00 01 62 00 00 00 00";       // b: nothing

zeConfig unusual_config() {
    zeConfig config;
    config.kc_id = 0x12345678;
    config.kc_name = "kc1";
    config.created = qtTimeDate(1000000);
    config.last_trained = qtTimeDate(-1);
    config.activate_feedback = 7;
    config.flag_a = true;
    config.flag_b = 0xfe;
    config.each_cat_reserve_size = 8;
    config.each_cat_train_size = 9;
    config.age_adjustment = 0.5;
    config.flag_c = true;
    config.full_propogation = false;
    config.set_optional("b", "");
    config.set_optional("a", "xy");
    return config;
}

TEST(zeConfigRecordTest, RecordHasTheFieldsInOrder) {
    EXPECT_EQ(to_hex(dumped(unusual_config())), to_hex(from_hex(kRecord)));
}

TEST(zeConfigRecordTest, LoadReplacesEveryField) {
    zeConfig config;
    config.flag_a = false;
    config.set_optional("old", "gone");

    load(config, from_hex(kRecord));

    EXPECT_EQ(config.kc_id, 0x12345678U);
    EXPECT_EQ(config.kc_name, qtString("kc1"));
    EXPECT_EQ(config.created, qtTimeDate(1000000));
    EXPECT_EQ(config.last_trained, qtTimeDate(-1));
    EXPECT_EQ(config.activate_feedback, 7U);
    EXPECT_TRUE(config.flag_a);
    EXPECT_EQ(config.flag_b, 0xfe);
    EXPECT_EQ(config.each_cat_reserve_size, 8U);
    EXPECT_EQ(config.each_cat_train_size, 9U);
    EXPECT_EQ(config.age_adjustment, 0.5);
    EXPECT_TRUE(config.flag_c);
    EXPECT_FALSE(config.full_propogation);
    EXPECT_EQ(config.optional, unusual_config().optional);
}

// The test changes one flag at a time, so it would notice if two were exchanged.
TEST(zeConfigRecordTest, EachFlagHasItsOwnByte) {
    const struct {
        bool zeConfig::*flag;
        std::size_t position;
    } rows[] = {
        {&zeConfig::flag_a, 31},
        {&zeConfig::flag_c, 49},
        {&zeConfig::full_propogation, 50},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.position);
        zeConfig config = unusual_config();
        config.*row.flag = !(config.*row.flag);
        std::string expected = from_hex(kRecord);
        expected[row.position] = static_cast<char>(expected[row.position] ^ 1);

        EXPECT_EQ(to_hex(dumped(config)), to_hex(expected));
        EXPECT_EQ(loaded<zeConfig>(expected).*row.flag, config.*row.flag);
    }
}

TEST(zeConfigRecordTest, SignaturesAreOneOptionalSetting) {
    zeConfig config;
    config.add_nlp_signature(7);
    config.add_nlp_signature(3);

    const std::string bytes = dumped(config);

    const std::string expected = from_hex(
        "00 00 00 01"                                         // one optional setting
        "00 00 00 0d 4e 6c 70 53 69 67 6e 61 74 75 72 65 73"  // NlpSignatures:
        "00 00 00 03 33 3b 37");                              // 3;7
    ASSERT_GE(bytes.size(), expected.size());
    EXPECT_EQ(to_hex(bytes.substr(bytes.size() - expected.size())), to_hex(expected));
}

TEST(zeConfigRecordTest, OptionalSettingsAreInTheByteOrderOfTheirKeys) {
    zeConfig config;
    for (const char* const key : {"\xff", "a", "ab", "B"}) {
        config.set_optional(key, "");
    }

    const std::string bytes = dumped(config);

    const std::string expected = from_hex(
        "00 00 00 04"                    // four optional settings
        "00 00 00 01 42 00 00 00 00"     // B
        "00 00 00 01 61 00 00 00 00"     // a
        "00 00 00 02 61 62 00 00 00 00"  // ab
        "00 00 00 01 ff 00 00 00 00");   // the byte 255
    ASSERT_GE(bytes.size(), expected.size());
    EXPECT_EQ(to_hex(bytes.substr(bytes.size() - expected.size())), to_hex(expected));
}

// Puts a text between brackets.
qtString bracketed(const qtString& text, void* /*context*/) {
    return qtString("[" + text.str() + "]");
}

TEST(zeConfigRecordTest, TextsAreConvertedInWritingButNotInReading) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    io.converter = bracketed;
    zeConfig config = unusual_config();

    config.Dump(io);
    io.device->Close();
    config.Load(io);

    EXPECT_EQ(config.kc_name, qtString("[kc1]"));
    EXPECT_EQ(config.optional, (std::map<qtString, qtString>{{"[a]", "[xy]"}, {"[b]", "[]"}}));
}

TEST(zeConfigRecordTest, ImpossibleCountOfOptionalSettingsIsRefused) {
    const std::string whole = from_hex(kRecord);
    const std::size_t count_position = whole.size() - 11 - 9 - 4;
    zeConfig config;

    EXPECT_SEGBUF_ERROR(load(config, whole.substr(0, count_position) + "\xff\xff\xff\xff"),
                        "Locate error in SegBuf");
}

TEST(zeConfigRecordTest, EveryChangedByteIsSafe) {
    const std::string whole = from_hex(kRecord);
    for (std::size_t position = 0; position < whole.size(); ++position) {
        for (int change = 1; change < 256; ++change) {
            std::string damaged = whole;
            damaged[position] = static_cast<char>(damaged[position] ^ change);
            zeConfig config;
            try {
                load(config, damaged);
            } catch (const qtxSegBuf& error) {
                EXPECT_EQ(error.message(), qtString("Locate error in SegBuf"));
            }
        }
    }
}

}  // namespace
