// The stored form of a message, byte by byte.
#include "zandrel/messages/zeMsg.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/bags.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"

namespace {

constexpr const char* kWhole =
    "00 00 00 02"                                        // pairs
    "00 00 00 01 61  02  00 00 00 02 76 31"              // "a", type 2, "v1"
    "00 00 00 01 62  0e  00 00 00 06 30 32 09 78 3b 79"  // "b", type 14, "02<tab>x;y"
    "00 00 00 01"                                        // active slot
    "00 00 00 05"                                        // slots
    "00"                                                 // 0: empty
    "01"                                                 // 1: a bag
    "3f f0 00 00 00 00 00 00"                            //    total 1
    "00 00 00 00 00 00 00 00"                            //    no ceiling
    "00 00 00 01"                                        //    one entry
    "00 00 00 01 77"                                     //    "w"
    "3f f0 00 00 00 00 00 00"                            //    1
    "00 00 00"                                           // 2 to 4: empty
    "40 04 00 00 00 00 00 00"                            // weight 2.5
    "00 00 00 01"                                        // categories
    "00 00 00 03 63 61 74";                              // "cat"

zeMsg whole_message() {
    zeMsg msg;
    msg.add_value("a", mlMessageConverter::kString, "v1");
    msg.nvps.push_back({term("b"), mlMessageConverter::kPackedList, "02\tx;y", {}});
    msg.active_sml = 1;
    msg.smls[1] = make_bag({{"w", 1.0}});
    msg.weight = 2.5;
    msg.categories = {term("cat")};
    return msg;
}

std::string dumped(const zeMsg& msg) {
    SegBuf buffer;
    Hio<Generic32> io(new HSegment(buffer, 'w'));
    msg.Dump(io);
    return bytes_of(buffer);
}

void load(zeMsg& msg, const std::string& bytes) {
    SegBuf buffer = record_of(bytes);
    Hio<Generic32> io(new HSegment(buffer, 'r'));
    msg.Load(io);
}

zeMsg loaded(const std::string& bytes) {
    zeMsg msg;
    load(msg, bytes);
    return msg;
}

qtString doubled(const qtString& text, void* /*context*/) {
    return text + text;
}

TEST(zeMsgRecordTest, RecordHasPairsSlotsWeightAndCategoriesInOrder) {
    EXPECT_EQ(dumped(whole_message()), from_hex(kWhole));
}

TEST(zeMsgRecordTest, MessageIsReadBackCompletely) {
    const zeMsg msg = loaded(from_hex(kWhole));

    ASSERT_EQ(msg.nvps.size(), 2U);
    EXPECT_EQ(msg.nvps[0].name, term("a"));
    EXPECT_EQ(msg.nvps[0].type, mlMessageConverter::kString);
    EXPECT_EQ(msg.nvps[0].value, qtString("v1"));
    EXPECT_EQ(msg.nvps[1].type, mlMessageConverter::kPackedList);
    EXPECT_EQ(*msg.get_raw_value(term("b")), qtString("02\tx;y"));
    EXPECT_EQ(msg.active_sml, 1U);
    EXPECT_TRUE(*msg.active_bag() == *make_bag({{"w", 1.0}}));
    EXPECT_TRUE(msg.smls[0].IsNull());
    EXPECT_EQ(msg.weight, 2.5);
    EXPECT_EQ(msg.categories, std::vector<Concept>{term("cat")});
    EXPECT_FALSE(msg.changed);
}

TEST(zeMsgRecordTest, LowByteOfTheTypeIsStored) {
    zeMsg msg;
    msg.nvps.push_back({term("a"), static_cast<mlMessageConverter::NvpType>(0x0103), "", {}});

    EXPECT_EQ(loaded(dumped(msg)).nvps.front().type, mlMessageConverter::kStringList);
}

TEST(zeMsgRecordTest, PairsAreReadInTheOrderOfTheRecord) {
    zeMsg msg;
    msg.nvps.push_back({term("z"), mlMessageConverter::kString, "1", {}});
    msg.nvps.push_back({term("a"), mlMessageConverter::kString, "2", {}});

    const zeMsg read = loaded(dumped(msg));

    EXPECT_EQ(read.nvps[0].name, term("z"));
    EXPECT_EQ(read.nvps[1].name, term("a"));
}

TEST(zeMsgRecordTest, LoadReplacesPairsAndLabelsAndKeepsSlotsThatAreEmptyInTheRecord) {
    zeMsg msg;
    for (const char* name : {"p", "q", "r"}) {
        msg.add_value(name, mlMessageConverter::kLangString, " text ");
        msg.get_value(term(name));  // fills the cache
    }
    msg.smls[0] = make_bag({{"old", 1.0}});
    msg.categories = {term("x"), term("y")};

    load(msg, from_hex(kWhole));

    EXPECT_EQ(msg.nvps.size(), 2U);
    EXPECT_TRUE(msg.nvps[0].canonical.IsNull());
    EXPECT_EQ(*msg.get_value(term("a")), qtString("v1"));
    EXPECT_TRUE(*msg.smls[0] == *make_bag({{"old", 1.0}}));
    EXPECT_EQ(msg.categories.size(), 1U);
}

// A copy of the message may share the old bag.
TEST(zeMsgRecordTest, LoadedBagReplacesTheOldOneOfItsSlotWithoutChangingIt) {
    const qtPtrLight<zeSml> old = make_bag({{"old", 1.0}});
    zeMsg msg;
    msg.smls[1] = old;

    load(msg, from_hex(kWhole));

    EXPECT_TRUE(*msg.smls[1] == *make_bag({{"w", 1.0}}));
    EXPECT_TRUE(*old == *make_bag({{"old", 1.0}}));
}

TEST(zeMsgRecordTest, CachedFormIsDroppedEvenIfTheValueIsCutOff) {
    zeMsg msg;
    msg.add_value("a", mlMessageConverter::kLangString, " old ");
    EXPECT_EQ(*msg.get_value(term("a")), qtString("old"));

    EXPECT_SEGBUF_ERROR(load(msg, from_hex("00 00 00 01  00 00 00 01 61  0c  7f ff ff ff")),
                        "Locate error in SegBuf");

    EXPECT_TRUE(msg.nvps[0].canonical.IsNull());
    EXPECT_TRUE(msg.changed);
}

TEST(zeMsgRecordTest, FurtherSlotsOfANewerRecordAreDropped) {
    const std::string bag = "01 40 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00";
    const zeMsg msg =
        loaded(from_hex("00 00 00 00  00 00 00 00  00 00 00 07  00 00 00 00 00" + bag + bag +
                        "3f f0 00 00 00 00 00 00  00 00 00 01  00 00 00 01 63"));

    for (const qtPtrLight<zeSml>& slot : msg.smls) {
        EXPECT_TRUE(slot.IsNull());
    }
    EXPECT_EQ(msg.weight, 1.0);
    EXPECT_EQ(msg.categories, std::vector<Concept>{term("c")});
}

TEST(zeMsgRecordTest, FewerSlotsAndAnyNonZeroPresenceByteAreRead) {
    const zeMsg msg =
        loaded(from_hex("00 00 00 00  00 00 00 00  00 00 00 01"
                        "02 40 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00"
                        "3f f0 00 00 00 00 00 00  00 00 00 00"));

    ASSERT_FALSE(msg.smls[0].IsNull());
    EXPECT_EQ(msg.smls[0]->m_total_weight, 2.0);
}

TEST(zeMsgRecordTest, SlotNumberBeyondTheLastMeansNoBag) {
    std::string bytes = from_hex(kWhole);
    const std::size_t active_slot = bytes.find(std::string("\x3b\x79", 2)) + 2;
    bytes[active_slot + 3] = 5;

    const zeMsg msg = loaded(bytes);

    EXPECT_EQ(msg.active_sml, 5U);
    EXPECT_TRUE(msg.active_bag().IsNull());
}

TEST(zeMsgRecordTest, ConverterIsUsedForNameValueTermAndCategory) {
    zeMsg msg;
    msg.add_value("a", mlMessageConverter::kString, "v");
    msg.smls[0] = make_bag({{"w", 1.0}});
    msg.categories = {term("c")};
    SegBuf buffer;
    Hio<Generic32> io(new HSegment(buffer, 'w'));
    io.converter = doubled;

    msg.Dump(io);
    const zeMsg read = loaded(bytes_of(buffer));

    EXPECT_EQ(*read.get_raw_value(term("aa")), qtString("vv"));
    EXPECT_TRUE(read.smls[0]->concept_exists(term("ww")));
    EXPECT_EQ(read.categories, std::vector<Concept>{term("cc")});
}

TEST(zeMsgRecordTest, ImpossibleCountsAreRefused) {
    for (const char* record : {"ff ff ff ff", "00 00 00 00 00 00 00 00 ff ff ff ff"}) {
        SCOPED_TRACE(record);
        zeMsg msg;
        EXPECT_SEGBUF_ERROR(load(msg, from_hex(record)), "Locate error in SegBuf");
    }
}

TEST(zeMsgRecordTest, EveryCutAndEveryChangedByteIsSafe) {
    const std::string whole = from_hex(kWhole);
    for (std::size_t position = 0; position < whole.size(); ++position) {
        for (int change = 0; change < 256; ++change) {
            std::string damaged = whole;
            damaged[position] = static_cast<char>(damaged[position] ^ change);
            try {
                loaded(change == 0 ? whole.substr(0, position) : damaged);
            } catch (const qtxSegBuf& error) {
                EXPECT_EQ(error.message(), qtString("Locate error in SegBuf"));
            }
        }
    }
}

}  // namespace
