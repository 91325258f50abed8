#include "zandrel/storage/Hio.h"

#include <algorithm>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/storage/Hio-inl.h"

#include "tests/storage/naive_packing.h"
#include "tests/support/allocation_meter.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/record_bytes.h"

using zandrel::detail::CheckedCount;

namespace {

using Pair = std::pair<qtString, qtString>;

template <class Stream, class Value>
concept Writes = requires(Stream& io, Value value) {
    io << value;
};

// A type without a stored form of its own must not be converted to another type that has one.
template <class... Values>
constexpr bool kAllAreWritten = (... &&
                                 (Writes<Hio<HSegment>, Values> && Writes<Hio<Generic32>, Values>));
template <class... Values>
constexpr bool kNoneIsWritten = (... && !(Writes<Hio<HSegment>, Values> ||
                                          Writes<Hio<Generic32>, Values>));

static_assert(kAllAreWritten<unsigned short, unsigned int, int, long long, float, double>);
static_assert(kNoneIsWritten<bool, char, signed char, unsigned char>);
static_assert(kNoneIsWritten<wchar_t, char8_t, char16_t, char32_t>);
static_assert(kNoneIsWritten<short, long, unsigned long, unsigned long long, std::size_t>);

static_assert(sizeof(Hio<HSegment>::scratch) == 8);

template <class Device>
Hio<Device> stream_over(SegBuf& buffer, char mode) {
    return Hio<Device>(new HSegment(buffer, mode));
}

// A stream that knows its device's class and a stream that calls virtual functions must behave
// alike.
template <class Device>
class HioTest : public testing::Test {
protected:
    template <class Value>
    std::string Written(const Value& value) {
        stream_over<Device>(m_buffer, 'w') << value;
        return to_hex(bytes_of(m_buffer));
    }

    // Reads `hex`. The object has the content `value` before.
    template <class Value>
    Value Read(const std::string& hex, Value value) {
        SegBuf record = record_of(from_hex(hex));
        auto io = stream_over<Device>(record, 'r');
        io >> value;
        EXPECT_EQ(record.offset, record.size) << "not all was read";
        return value;
    }

    // `value` is written as `hex`, and `hex` is read as `value`, both into a new object and over
    // `before`.
    template <class Value>
    void ExpectForm(const Value& value, const std::string& hex, const Value& before) {
        EXPECT_EQ(Written(value), hex);
        EXPECT_TRUE(Read(hex, before) == value);
        EXPECT_TRUE(Read(hex, Value()) == value);
    }

    // A container or string must refuse the largest count without allocating memory.
    template <class Value>
    void ExpectCheapRefusal() {
        SegBuf record = record_of(from_hex("ff ff ff ff"));
        auto io = stream_over<Device>(record, 'r');
        Value value;
        const Allocation_meter meter;

        EXPECT_SEGBUF_ERROR(io >> value, "Locate error in SegBuf");

        EXPECT_LT(meter.bytes(), 4096U) << typeid(Value).name();
    }

    // In a record of one segment, a count must be refused at once if its entries cannot fit even at
    // their least size. The test tries the largest count that can fit and the next one.
    template <class Value>
    void ExpectExactLimit(unsigned int least_entry_size) {
        const unsigned int most = (SegBuf::kSegmentSize - 4) / least_entry_size;
        EXPECT_FALSE(RefusedAtCount<Value>(most)) << typeid(Value).name();
        EXPECT_TRUE(RefusedAtCount<Value>(most + 1)) << typeid(Value).name();
    }

    template <class Value>
    bool RefusedAtCount(unsigned int count) {
        SegBuf record = record_of(naive_pack(count) + '\0');
        auto io = stream_over<Device>(record, 'r');
        Value value;
        try {
            io >> value;
        } catch (const qtxSegBuf&) {
            return record.offset == 4;
        }
        return false;
    }

    // Reads a record of `value` at `start`, cut before each of its bytes.
    template <class Value>
    void ExpectTruncationIsSafe(const Value& value, unsigned int start) {
        stream_over<Device>(m_buffer, 'w') << value;
        const std::string bytes = bytes_of(m_buffer);
        for (std::size_t kept = 0; kept < bytes.size(); ++kept) {
            SCOPED_TRACE(testing::Message() << kept << " of " << bytes.size() << " at " << start);
            ExpectSafeCut<Value>(bytes.substr(0, kept), start);
        }
    }

    // `kept`: the beginning of a record. Reading it must raise, or give the same value as with
    // zeros after it. If `kept` is empty, reading must raise.
    template <class Value>
    void ExpectSafeCut(const std::string& kept, unsigned int start) {
        const std::string content = std::string(start, 'x') + kept;
        SegBuf cut = record_of(content);
        SegBuf padded = record_of(content + std::string(70000, '\0'));
        Value from_cut;
        Value from_padded;

        const bool is_read = TryRead(cut, start, from_cut);

        EXPECT_TRUE(TryRead(padded, start, from_padded));
        EXPECT_TRUE(!is_read || from_cut == from_padded);
        EXPECT_FALSE(is_read && kept.empty());
    }

    // Returns false if the read raises the error of a read past the end. Any other error is passed
    // on.
    template <class Value>
    bool TryRead(SegBuf& record, unsigned int start, Value& value) {
        auto io = stream_over<Device>(record, 'r');
        io.device->Seek(static_cast<int>(start));
        try {
            io >> value;
            return true;
        } catch (const qtxSegBuf& raised) {
            EXPECT_STREQ(raised.what(), "Locate error in SegBuf");
            return false;
        }
    }

    SegBuf m_buffer;
};

using Memory_and_file = testing::Types<HSegment, Generic32>;
TYPED_TEST_SUITE(HioTest, Memory_and_file);

TYPED_TEST(HioTest, NumbersArePacked) {
    this->template ExpectForm<unsigned short>(2, "00 02", 9);
    this->template ExpectForm<unsigned int>(0x4A5B6C81U, "4a 5b 6c 81", 9);
    this->template ExpectForm<long long>(20, "00 00 00 00 00 00 00 14", 9);
    this->template ExpectForm<long long>(-1, "ff ff ff ff ff ff ff ff", 9);
    this->template ExpectForm<float>(1.0F, "3f 80 00 00", 9);
    this->template ExpectForm<double>(1.0, "3f f0 00 00 00 00 00 00", 9);
}

TYPED_TEST(HioTest, IntIsPackedAsUnsigned) {
    this->template ExpectForm<int>(-1, "ff ff ff ff", 9);
    this->template ExpectForm<int>(258, "00 00 01 02", 9);
    this->template ExpectForm<int>(std::numeric_limits<int>::min(), "80 00 00 00", 9);
}

TYPED_TEST(HioTest, CallsCanBeChained) {
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');

    io << 1U << qtString("a") << 2;

    EXPECT_EQ(to_hex(bytes_of(this->m_buffer)), "00 00 00 01 00 00 00 01 61 00 00 00 02");
    io.device->Close();
    unsigned int first = 0;
    qtString text;
    int last = 0;
    io >> first >> text >> last;
    EXPECT_EQ(first, 1U);
    EXPECT_EQ(text, qtString("a"));
    EXPECT_EQ(last, 2);
}

TYPED_TEST(HioTest, BoolAndCharAreRawBytes) {
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');

    io.WriteBool(true);
    io.WriteBool(false);
    io.WriteByte('A');
    io.WriteByte(static_cast<char>(0x80));

    EXPECT_EQ(to_hex(bytes_of(this->m_buffer)), "01 00 41 80");
    io.device->Close();
    EXPECT_TRUE(io.ReadBool());
    EXPECT_FALSE(io.ReadBool());
    EXPECT_EQ(io.ReadByte(), 'A');
    EXPECT_EQ(io.ReadByte(), static_cast<char>(0x80));
}

TYPED_TEST(HioTest, EveryNonZeroByteIsTrue) {
    SegBuf record = record_of(from_hex("02 80 00"));
    auto io = stream_over<TypeParam>(record, 'r');

    EXPECT_TRUE(io.ReadBool());
    EXPECT_TRUE(io.ReadBool());
    EXPECT_FALSE(io.ReadBool());
}

TYPED_TEST(HioTest, RunsOfBytesAreUnchanged) {
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');
    char bytes[3] = {};

    io.WriteBytes("abc", 3);
    io.WriteBytes(nullptr, 0);
    io.device->Close();
    io.ReadBytes(bytes, 3);
    io.ReadBytes(nullptr, 0);

    EXPECT_EQ(to_hex(bytes_of(this->m_buffer)), "61 62 63");
    EXPECT_EQ(std::string(bytes, 3), "abc");
}

TYPED_TEST(HioTest, StringIsCountAndBytes) {
    this->template ExpectForm<qtString>("abc", "00 00 00 03 61 62 63", "something else");
    this->template ExpectForm<qtString>(qtString("a\0\xff", 3), "00 00 00 03 61 00 ff", "x");
}

TYPED_TEST(HioTest, EmptyStringIsFourZeroBytes) {
    this->template ExpectForm<qtString>("", "00 00 00 00", "something else");
}

TYPED_TEST(HioTest, StringMayCrossSegments) {
    const std::string text(40000, 'q');
    stream_over<TypeParam>(this->m_buffer, 'w') << qtString(text);
    qtString back;

    stream_over<TypeParam>(this->m_buffer, 'r') >> back;

    EXPECT_TRUE(back.str() == text);
    EXPECT_EQ(this->m_buffer.size, 40004U);
}

TYPED_TEST(HioTest, ConceptIsTheStringOfItsText) {
    this->ExpectForm(Concept::insert("tax"), "00 00 00 03 74 61 78", Concept::insert("other"));
    this->ExpectForm(Concept(), "00 00 00 00", Concept::insert("other"));
}

TYPED_TEST(HioTest, MomentIsItsPackedBytes) {
    this->ExpectForm(qtTimeDate(258), "00 00 00 00 00 00 01 02", qtTimeDate(7));
    this->ExpectForm(qtTimeDate(-1), "ff ff ff ff ff ff ff ff", qtTimeDate(7));
}

TYPED_TEST(HioTest, PairIsItsTwoStrings) {
    this->ExpectForm(Pair("ab", ""), "00 00 00 02 61 62 00 00 00 00", Pair("x", "y"));
}

TYPED_TEST(HioTest, VectorOfPairsIsCountAndPairsInOrder) {
    using Pairs = std::vector<Pair>;
    const Pairs before = {{"x", "y"}, {"x", "y"}, {"x", "y"}};
    this->ExpectForm(Pairs{{"b", "1"}, {"a", ""}},
                     "00 00 00 02 "
                     "00 00 00 01 62 00 00 00 01 31 "
                     "00 00 00 01 61 00 00 00 00",
                     before);
    this->ExpectForm(Pairs(), "00 00 00 00", before);
}

TYPED_TEST(HioTest, VectorOfIntIsCountAndNumbersInOrder) {
    using Numbers = std::vector<int>;
    this->ExpectForm(Numbers{7, -2}, "00 00 00 02 00 00 00 07 ff ff ff fe", Numbers{1, 2, 3});
    this->ExpectForm(Numbers(), "00 00 00 00", Numbers{1, 2, 3});
}

TYPED_TEST(HioTest, VectorOfConceptsIsCountAndConceptsInOrder) {
    using Concepts = std::vector<Concept>;
    const Concepts before(3, Concept::insert("other"));
    this->ExpectForm(Concepts{Concept::insert("b"), Concept(), Concept::insert("a")},
                     "00 00 00 03 00 00 00 01 62 00 00 00 00 00 00 00 01 61", before);
    this->ExpectForm(Concepts(), "00 00 00 00", before);
}

TYPED_TEST(HioTest, MapOfNumberToStringIsInOrderOfKeys) {
    using Table = std::map<unsigned int, qtString>;
    const Table before = {{2, "old"}, {9, "old"}};
    this->ExpectForm(Table{{258, "b"}, {2, "a"}},
                     "00 00 00 02 "
                     "00 00 00 02 00 00 00 01 61 "
                     "00 00 01 02 00 00 00 01 62",
                     before);
    this->ExpectForm(Table(), "00 00 00 00", before);
}

TYPED_TEST(HioTest, MapOfStringToStringIsInOrderOfKeys) {
    using Table = std::map<qtString, qtString>;
    const Table before = {{"a", "old"}, {"z", "old"}};
    this->ExpectForm(Table{{"\xe4", "3"}, {"ab", "2"}, {"a", "1"}},
                     "00 00 00 03 "
                     "00 00 00 01 61 00 00 00 01 31 "
                     "00 00 00 02 61 62 00 00 00 01 32 "
                     "00 00 00 01 e4 00 00 00 01 33",
                     before);
    this->ExpectForm(Table(), "00 00 00 00", before);
}

TYPED_TEST(HioTest, MapOfNumberToMomentIsInOrderOfKeys) {
    using Table = std::map<unsigned int, qtTimeDate>;
    const Table before = {{1, qtTimeDate(5)}, {9, qtTimeDate(6)}};
    this->ExpectForm(Table{{2, qtTimeDate(-1)}, {1, qtTimeDate(0x0102030405060708)}},
                     "00 00 00 02 "
                     "00 00 00 01 01 02 03 04 05 06 07 08 "
                     "00 00 00 02 ff ff ff ff ff ff ff ff",
                     before);
    this->ExpectForm(Table(), "00 00 00 00", before);
}

TYPED_TEST(HioTest, HashTableOfStringToNumberIsCountAndEntries) {
    using Table = hash_map<qtString, unsigned int>;
    const Table before = {{"ab", 1}, {"z", 9}};
    this->ExpectForm(Table{{"ab", 258}}, "00 00 00 01 00 00 00 02 61 62 00 00 01 02", before);
    this->ExpectForm(Table(), "00 00 00 00", before);
}

TYPED_TEST(HioTest, HashTableOfNumberToNumberIsCountAndEntries) {
    using Table = hash_map<unsigned int, unsigned int>;
    const Table before = {{3, 1}, {9, 9}};
    this->ExpectForm(Table{{3, 258}}, "00 00 00 01 00 00 00 03 00 00 01 02", before);
    this->ExpectForm(Table(), "00 00 00 00", before);
}

TYPED_TEST(HioTest, HashTablesAreWrittenInTheirIterationOrder) {
    hash_map<unsigned int, unsigned int> table;
    for (unsigned int key = 0; key < 500; ++key) {
        table[key * 7919] = key;
    }
    std::string expected = naive_pack(500U);
    for (const auto& [key, value] : table) {
        expected += naive_pack(key) + naive_pack(value);
    }

    EXPECT_EQ(this->Written(table), to_hex(expected));
    EXPECT_TRUE(this->Read(to_hex(expected), decltype(table)()) == table);
}

TYPED_TEST(HioTest, ReadersDoNotDependOnTheOrderOfEntries) {
    const hash_map<qtString, unsigned int> table = {{"a", 1}, {"b", 2}};
    const std::string count = "00 00 00 02 ";
    const std::string a = "00 00 00 01 61 00 00 00 01 ";
    const std::string b = "00 00 00 01 62 00 00 00 02 ";

    EXPECT_TRUE(this->Read(count + a + b, hash_map<qtString, unsigned int>()) == table);
    EXPECT_TRUE(this->Read(count + b + a, hash_map<qtString, unsigned int>()) == table);
    EXPECT_TRUE(this->Read("00 00 00 02 00 00 00 09 00 00 00 01 62 00 00 00 02 00 00 00 01 61",
                           std::map<unsigned int, qtString>()) ==
                (std::map<unsigned int, qtString>{{2, "a"}, {9, "b"}}));
}

TYPED_TEST(HioTest, LastEntryOfAKeyWins) {
    const std::string twice = "00 00 00 02 00 00 00 05 00 00 00 01 61 00 00 00 05 00 00 00 01 62";

    EXPECT_TRUE(this->Read(twice, std::map<unsigned int, qtString>()) ==
                (std::map<unsigned int, qtString>{{5, "b"}}));
}

TYPED_TEST(HioTest, HugeCountsAreRefusedWithoutMemory) {
    this->template ExpectCheapRefusal<qtString>();
    this->template ExpectCheapRefusal<Concept>();
    this->template ExpectCheapRefusal<Pair>();
    this->template ExpectCheapRefusal<std::vector<Pair>>();
    this->template ExpectCheapRefusal<std::vector<int>>();
    this->template ExpectCheapRefusal<std::vector<Concept>>();
    this->template ExpectCheapRefusal<std::map<unsigned int, qtString>>();
    this->template ExpectCheapRefusal<std::map<qtString, qtString>>();
    this->template ExpectCheapRefusal<std::map<unsigned int, qtTimeDate>>();
    this->template ExpectCheapRefusal<hash_map<qtString, unsigned int>>();
    this->template ExpectCheapRefusal<hash_map<unsigned int, unsigned int>>();
}

TYPED_TEST(HioTest, CountsAreComparedWithTheLeastSizeOfEntries) {
    this->template ExpectExactLimit<qtString>(1);
    this->template ExpectExactLimit<std::vector<Pair>>(8);
    this->template ExpectExactLimit<std::vector<int>>(4);
    this->template ExpectExactLimit<std::vector<Concept>>(4);
    this->template ExpectExactLimit<std::map<unsigned int, qtString>>(8);
    this->template ExpectExactLimit<std::map<qtString, qtString>>(8);
    this->template ExpectExactLimit<std::map<unsigned int, qtTimeDate>>(12);
    this->template ExpectExactLimit<hash_map<qtString, unsigned int>>(8);
    this->template ExpectExactLimit<hash_map<unsigned int, unsigned int>>(8);
}

TYPED_TEST(HioTest, StringThatEndsPastTheContentInItsSegmentIsFilledWithZeros) {
    SegBuf record = record_of(from_hex("00 00 00 05 61 62"));
    qtString text("before");

    stream_over<TypeParam>(record, 'r') >> text;

    EXPECT_EQ(text, qtString("ab\0\0\0", 5));
}

// Reads numbers at 0, 2, 6 and 14, and returns their packed form by the naive implementation.
template <class Device>
std::string read_four_numbers(SegBuf& record) {
    unsigned short a = 0;
    unsigned int b = 0;
    long long c = 0;
    float d = 0;
    stream_over<Device>(record, 'r') >> a >> b >> c >> d;
    return naive_pack(a) + naive_pack(b) + naive_pack(c) + naive_pack(d);
}

TYPED_TEST(HioTest, NumberThatStartsAtTheEndFails) {
    for (std::size_t kept = 0; kept <= 14; ++kept) {
        SCOPED_TRACE(kept);
        SegBuf cut = record_of(std::string(kept, 'x'));

        EXPECT_SEGBUF_ERROR(read_four_numbers<TypeParam>(cut), "Locate error in SegBuf");
    }
}

TYPED_TEST(HioTest, NumberThatStartsInTheContentIsReadAsIfZerosFollowed) {
    const std::string bytes = "abcdefghijklmnopqr";
    for (std::size_t kept = 15; kept <= 18; ++kept) {
        SCOPED_TRACE(kept);
        SegBuf cut = record_of(bytes.substr(0, kept));

        const std::string read = read_four_numbers<TypeParam>(cut);

        EXPECT_EQ(to_hex(read), to_hex(bytes.substr(0, kept) + std::string(18 - kept, '\0')));
        EXPECT_EQ(cut.offset, 0U) << "the stream is gone, so its device has rewound";
    }
}

TYPED_TEST(HioTest, TruncationAtEachByteRaisesOrReadsAsIfZerosFollowed) {
    for (const unsigned int start : {0U, 16330U, 16350U, 16358U}) {
        this->ExpectTruncationIsSafe(qtString("some text of 23 letters"), start);
        this->ExpectTruncationIsSafe(Concept::insert("tax return"), start);
        this->ExpectTruncationIsSafe(std::vector<Pair>{{"a", "bc"}, {"def", "g"}}, start);
        this->ExpectTruncationIsSafe(std::vector<int>{1, -2, 3, -4}, start);
        this->ExpectTruncationIsSafe(
            std::vector<Concept>{Concept::insert("tax"), Concept::insert("return")}, start);
        this->ExpectTruncationIsSafe(std::map<unsigned int, qtString>{{1, "one"}, {2, "two"}},
                                     start);
        this->ExpectTruncationIsSafe(std::map<qtString, qtString>{{"a", "1"}, {"b", "2"}}, start);
        this->ExpectTruncationIsSafe(
            std::map<unsigned int, qtTimeDate>{{1, qtTimeDate(-5)}, {2, qtTimeDate(9)}}, start);
        this->ExpectTruncationIsSafe(hash_map<qtString, unsigned int>{{"a", 1}, {"b", 2}}, start);
        this->ExpectTruncationIsSafe(hash_map<unsigned int, unsigned int>{{7, 1}, {8, 2}}, start);
    }
}

// Doubles each letter, and counts its calls in the context.
qtString doubled(const qtString& text, void* context) {
    ++*static_cast<int*>(context);
    qtString twice;
    for (const char letter : text.view()) {
        twice += letter;
        twice += letter;
    }
    return twice;
}

qtString refuse(const qtString& /*text*/, void* /*context*/) {
    throw std::runtime_error("no such character");
}

TYPED_TEST(HioTest, ConverterChangesWrittenStrings) {
    int calls = 0;
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');
    io.converter = doubled;
    io.converter_context = &calls;

    io << qtString("ab");

    EXPECT_EQ(to_hex(bytes_of(this->m_buffer)), "00 00 00 04 61 61 62 62");
    EXPECT_EQ(io.converted, qtString("aabb"));
    EXPECT_EQ(calls, 1);
}

TYPED_TEST(HioTest, ConverterIsNotUsedForReading) {
    int calls = 0;
    SegBuf record = record_of(from_hex("00 00 00 02 61 62"));
    auto io = stream_over<TypeParam>(record, 'r');
    io.converter = doubled;
    io.converter_context = &calls;
    qtString text;

    io >> text;

    EXPECT_EQ(text, qtString("ab"));
    EXPECT_EQ(calls, 0);
}

TYPED_TEST(HioTest, ConverterIsCalledForTheEmptyStringToo) {
    int calls = 0;
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');
    io.converter = doubled;
    io.converter_context = &calls;

    io << qtString();

    EXPECT_EQ(to_hex(bytes_of(this->m_buffer)), "00 00 00 00");
    EXPECT_EQ(calls, 1);
}

TYPED_TEST(HioTest, ConverterIsUsedForStringsInContainers) {
    int calls = 0;
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');
    io.converter = doubled;
    io.converter_context = &calls;

    io << std::vector<Concept>{Concept::insert("a")} << Pair("b", "c")
       << std::map<unsigned int, qtString>{{1, "d"}} << hash_map<qtString, unsigned int>{{"e", 2}};

    EXPECT_EQ(to_hex(bytes_of(this->m_buffer)),
              "00 00 00 01 00 00 00 02 61 61 "
              "00 00 00 02 62 62 00 00 00 02 63 63 "
              "00 00 00 01 00 00 00 01 00 00 00 02 64 64 "
              "00 00 00 01 00 00 00 02 65 65 00 00 00 02");
    EXPECT_EQ(calls, 5);
}

TYPED_TEST(HioTest, ErrorOfTheConverterIsPassedOnBeforeAnythingIsWritten) {
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');
    io.converter = refuse;

    EXPECT_THROW(io << qtString("ab"), std::runtime_error);

    EXPECT_EQ(this->m_buffer.size, 0U);
}

TYPED_TEST(HioTest, WriteToAReadOnlyDeviceIsIgnored) {
    SegBuf record = record_of("abc");
    auto io = stream_over<TypeParam>(record, 'r');

    io << 1U << qtString("text") << std::vector<int>{1, 2};

    EXPECT_EQ(bytes_of(record), "abc");
    EXPECT_EQ(record.offset, 0U);
}

TYPED_TEST(HioTest, CopiesShareTheDevice) {
    auto io = stream_over<TypeParam>(this->m_buffer, 'w');
    Hio<TypeParam> copy(io.device);

    io << static_cast<unsigned short>(1);
    copy << static_cast<unsigned short>(2);

    EXPECT_EQ(to_hex(bytes_of(this->m_buffer)), "00 01 00 02");
    EXPECT_EQ(io.device.use_count(), 2U);
}

TEST(HioPlaceholderTest, PlaceholderWritesNothingAndReadsZeros) {
    Hio<Generic32> io(new Generic32);
    unsigned int number = 7;
    qtString text("before");
    std::vector<int> numbers = {1};
    qtTimeDate moment(5);

    io << 0xFFFFFFFFU << qtString("text") << qtTimeDate(-1);
    io >> number >> text >> numbers >> moment;

    EXPECT_EQ(number, 0U);
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(numbers.empty());
    EXPECT_EQ(moment, qtTimeDate());
    EXPECT_EQ(io.ReadByte(), 0);
}

TEST(HioStartTest, NewStreamHasNoDeviceAndNoConverter) {
    const Hio<HSegment> io;

    EXPECT_TRUE(io.device.IsNull());
    EXPECT_EQ(io.converter, nullptr);
    EXPECT_EQ(io.converter_context, nullptr);
    EXPECT_TRUE(io.converted.empty());
}

TEST(HioCountTest, CountsHave32Bits) {
    EXPECT_EQ(CheckedCount(0), 0U);
    EXPECT_EQ(CheckedCount(0xFFFFFFFFU), 0xFFFFFFFFU);
    EXPECT_SEGBUF_ERROR(CheckedCount(0x100000000U), "SegBuf is full");
}

// A device that is not derived from the library's classes; a stream may have such a device. It
// records the calls.
struct LoggingDevice {
    std::string log;
    std::string bytes;
    std::size_t position = 0;

    void Write(char* from, unsigned int byte_count) {
        log += "W" + std::to_string(byte_count) + " ";
        bytes.append(from, byte_count);
    }

    void Read(char* to, unsigned int byte_count) {
        log += "R" + std::to_string(byte_count) + " ";
        bytes.copy(to, byte_count, position);
        position += byte_count;
    }

    void RequireBytes(std::uint64_t byte_count) { log += "?" + std::to_string(byte_count) + " "; }
};

TEST(HioDeviceTest, BytesAreRequiredBetweenCountAndContent) {
    Hio<LoggingDevice> io(new LoggingDevice);
    std::map<unsigned int, qtString> table = {{1, "abc"}, {2, ""}};

    io << table;
    EXPECT_EQ(io.device->log, "W4 W4 W4 W3 W4 W4 ");
    io.device->log.clear();
    io >> table;

    EXPECT_EQ(io.device->log, "R4 ?16 R4 R4 ?3 R3 R4 R4 ");
    EXPECT_TRUE(table == (std::map<unsigned int, qtString>{{1, "abc"}, {2, ""}}));
}

}  // namespace
