// The stored form of a bag, byte by byte.
#include "zandrel/messages/zeSml.h"

#include <cstddef>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/bags.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"

namespace {

// total 3.5, ceiling 3, two entries: "ab" 1.5 and "b" 2.
constexpr const char* kTwoConcepts =
    "40 0c 00 00 00 00 00 00"   // total weight 3.5
    "40 08 00 00 00 00 00 00"   // clip value 3
    "00 00 00 02"               // entries
    "00 00 00 02 61 62"         // "ab"
    "3f f8 00 00 00 00 00 00"   // 1.5
    "00 00 00 01 62"            // "b"
    "40 00 00 00 00 00 00 00";  // 2

// Calls the device through its base class, as messages do.
class Record {
public:
    Record() = default;

    explicit Record(const std::string& hex) : m_buffer(record_of(from_hex(hex))) {}

    Hio<Generic32> Writer() { return Hio<Generic32>(new HSegment(m_buffer, 'w')); }

    Hio<Generic32> Reader() { return Hio<Generic32>(new HSegment(m_buffer, 'r')); }

    std::string Hex() const { return to_hex(bytes_of(m_buffer)); }

    std::string Bytes() const { return bytes_of(m_buffer); }

private:
    SegBuf m_buffer;
};

std::string dumped(const zeSml& bag) {
    Record record;
    Hio<Generic32> io = record.Writer();
    bag.Dump(io);
    return record.Bytes();
}

zeSml loaded_bag(const std::string& bytes) {
    SegBuf buffer = record_of(bytes);
    Hio<Generic32> io(new HSegment(buffer, 'r'));
    zeSml bag(0.0);
    bag.Load(io);
    return bag;
}

qtString upper_case(const qtString& text, void* /*context*/) {
    qtString converted;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char byte = text[i];
        converted += byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
    }
    return converted + "!";
}

TEST(zeSmlRecordTest, RecordHasTotalCeilingCountAndEntriesInOrder) {
    EXPECT_EQ(dumped(*make_bag({{"b", 2.0}, {"ab", 1.5}}, 3.0)), from_hex(kTwoConcepts));
}

TEST(zeSmlRecordTest, EmptyBagIsTwoNumbersAndCountOfZero) {
    const std::string expected = from_hex(
        "00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 00 00"
        "00 00 00 00");

    EXPECT_EQ(dumped(zeSml(0.0)), expected);
    EXPECT_TRUE(loaded_bag(expected) == zeSml(0.0));
}

TEST(zeSmlRecordTest, BagIsReadBackEqualAndNoLongerNew) {
    const zeSml bag = loaded_bag(from_hex(kTwoConcepts));

    EXPECT_TRUE(bag == *make_bag({{"b", 2.0}, {"ab", 1.5}}, 3.0));
    EXPECT_FALSE(bag.m_is_new);
}

TEST(zeSmlRecordTest, StoredNumbersAreTakenUnchanged) {
    const zeSml bag =
        loaded_bag(from_hex("40 59 00 00 00 00 00 00"  // a total of 100, which is not the sum
                            "bf f0 00 00 00 00 00 00"  // clip value -1
                            "00 00 00 00"));

    EXPECT_EQ(bag.m_total_weight, 100.0);
    EXPECT_EQ(bag.m_clip_value, -1.0);
}

TEST(zeSmlRecordTest, LoadAppendsWithoutSortingOrMerging) {
    zeSml bag(make_feeder({{"b", 7.0}}), 0.0);
    SegBuf buffer = record_of(from_hex(kTwoConcepts));
    Hio<Generic32> io(new HSegment(buffer, 'r'));

    bag.Load(io);

    ASSERT_EQ(bag.m_concepts.size(), 3U);
    EXPECT_EQ(bag.m_concepts[0].m_concept, term("b"));
    EXPECT_EQ(bag.m_concepts[0].m_weight, 7.0);
    EXPECT_EQ(bag.m_concepts[1].m_concept, term("ab"));
    EXPECT_EQ(bag.m_concepts[2].m_concept, term("b"));
    EXPECT_EQ(bag.m_total_weight, 3.5);
}

TEST(zeSmlRecordTest, ConverterIsUsedOnlyInWriting) {
    Record record;
    Hio<Generic32> io = record.Writer();
    io.converter = upper_case;
    make_bag({{"ab", 1.5}})->Dump(io);

    EXPECT_EQ(record.Bytes(), from_hex("3f f8 00 00 00 00 00 00"
                                       "00 00 00 00 00 00 00 00"
                                       "00 00 00 01"
                                       "00 00 00 03 41 42 21"  // "AB!" with its new length
                                       "3f f8 00 00 00 00 00 00"));
    Hio<Generic32> reader = record.Reader();
    reader.converter = upper_case;
    zeSml bag(0.0);
    bag.Load(reader);
    EXPECT_EQ(bag.m_concepts.front().m_concept, term("AB!"));
}

TEST(zeSmlRecordTest, EmptyAndBinaryTextsAreReadAsConcepts) {
    Record record("00 00 00 00  00 00 00 02 00 ff");
    Hio<Generic32> io = record.Reader();

    EXPECT_EQ(ReadConcept(io), Concept());
    EXPECT_EQ(ReadConcept(io), term(std::string_view("\0\xff", 2)));
}

TEST(zeSmlRecordTest, ImpossibleCountIsRefused) {
    Record record(
        "00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 00 00"
        "ff ff ff ff");
    Hio<Generic32> io = record.Reader();
    zeSml bag(0.0);

    EXPECT_SEGBUF_ERROR(bag.Load(io), "Locate error in SegBuf");
    EXPECT_EQ(bag.m_concepts.capacity(), 0U);
}

TEST(zeSmlRecordTest, EntriesReadBeforeTheEndOfACutRecordAreKept) {
    // The length of the second text is larger than the last segment.
    Record record(
        "40 0c 00 00 00 00 00 00"
        "40 08 00 00 00 00 00 00"
        "00 00 00 02"
        "00 00 00 02 61 62 3f f8 00 00 00 00 00 00"
        "7f ff ff ff");
    Hio<Generic32> io = record.Reader();
    zeSml bag(0.0);

    EXPECT_SEGBUF_ERROR(bag.Load(io), "Locate error in SegBuf");
    ASSERT_EQ(bag.m_concepts.size(), 1U);
    EXPECT_EQ(bag.m_concepts.front().m_concept, term("ab"));
    EXPECT_EQ(bag.m_total_weight, 3.5);
    EXPECT_EQ(bag.m_clip_value, 3.0);
    EXPECT_TRUE(bag.m_is_new);
}

// Texts are looked up 16 at a time. The record of 20 entries ends in the 19th, whose text has a
// length larger than the last segment.
TEST(zeSmlRecordTest, EntriesOfAFullAndAPartialBatchBeforeTheCutAreKept) {
    const std::string entry = " 00 00 00 02 61 62 3f f8 00 00 00 00 00 00";
    std::string hex = "40 0c 00 00 00 00 00 00 40 08 00 00 00 00 00 00 00 00 00 14";
    for (int i = 0; i < 18; ++i) {
        hex += entry;
    }
    Record record(hex + " 7f ff ff ff");
    Hio<Generic32> io = record.Reader();
    zeSml bag(0.0);

    EXPECT_SEGBUF_ERROR(bag.Load(io), "Locate error in SegBuf");

    ASSERT_EQ(bag.m_concepts.size(), 18U);
    for (const zeSml::Concept_info& kept : bag.m_concepts) {
        EXPECT_EQ(kept.m_concept, term("ab"));
        EXPECT_EQ(kept.m_weight, 1.5);
    }
}

}  // namespace
