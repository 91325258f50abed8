#include "zandrel/foundation/qtText.h"

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"

using zandrel::qtConvertStringToDouble;
using zandrel::qtConvertStringToInt;
using zandrel::qtConvertStringToLong;
using zandrel::qtConvertStringToUnsigned;

namespace {

using Texts = std::vector<qtString>;

const qtString kAllBytes = [] {
    qtString bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}();

qtString OneByte(int byte) {
    qtString text;
    text += static_cast<char>(byte);
    return text;
}

bool IsOneOf(int byte, const char* set, std::size_t size) {
    return std::memchr(set, byte, size) != nullptr;
}

TEST(qtTokenizeTest, TextIsSplitAtEachDelimiterWithoutEmptyPieces) {
    struct Row {
        const char* text;
        const char* delimiters;
        Texts pieces;
    };

    const Row rows[] = {
        {"", ",", {}},
        {",", ",", {}},
        {",,,", ",", {}},
        {"a", ",", {"a"}},
        {"a,b", ",", {"a", "b"}},
        {",a,,b,", ",", {"a", "b"}},
        {"one\r\ntwo\n\nthree", "\r\n", {"one", "two", "three"}},
        {"a b", "", {"a b"}},
        {"", "", {}},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(qtTokenize(row.text, row.delimiters), row.pieces);
    }
}

TEST(qtTokenizeTest, TextIsSplitAtAnyByte) {
    for (int byte = 0; byte < 256; ++byte) {
        const qtString delimiter = OneByte(byte);
        const qtString piece = OneByte(byte ^ 1);

        const Texts pieces =
            qtTokenize(piece + delimiter + piece + piece + delimiter + delimiter, delimiter);

        EXPECT_EQ(pieces, (Texts{piece, piece + piece})) << byte;
    }
}

TEST(TrimWhiteSpaceTest, OnlyTheSixWhiteSpaceBytesAreRemoved) {
    for (int byte = 0; byte < 256; ++byte) {
        const bool is_white = IsOneOf(byte, " \t\n\v\f\r", 6);
        const qtString edge = OneByte(byte);

        EXPECT_EQ(zandrel::IsWhiteSpace(static_cast<char>(byte)), is_white) << byte;
        EXPECT_EQ(TrimWhiteSpace(edge + "a" + edge), is_white ? "a" : edge + "a" + edge) << byte;
    }
}

TEST(TrimWhiteSpaceTest, WhiteSpaceInsideIsKept) {
    EXPECT_EQ(TrimWhiteSpace(" \t a \n b \r\n"), "a \n b");
}

TEST(TrimWhiteSpaceTest, TextOfOnlyWhiteSpaceBecomesEmpty) {
    EXPECT_EQ(TrimWhiteSpace(""), "");
    EXPECT_EQ(TrimWhiteSpace(" \t\n\v\f\r"), "");
}

TEST(FindNoCaseTest, FirstPlaceFromTheStartIsFound) {
    struct Row {
        const char* text;
        const char* needle;
        std::size_t start;
        std::ptrdiff_t position;
    };

    const Row rows[] = {
        {"Hello hello", "HELLO", 0, 0},
        {"Hello hello", "hELLo", 1, 6},
        {"Hello hello", "hello", 6, 6},
        {"Hello hello", "hello", 7, -1},
        {"aab", "AB", 0, 1},
        {"abc", "abcd", 0, -1},
        {"abc", "c", 0, 2},
        {"abc", "c", 3, -1},
        {"abc", "c", 99, -1},
        {"", "a", 0, -1},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.text) + " / " + row.needle);
        EXPECT_EQ(FindNoCase(row.text, row.needle, row.start), row.position);
    }
}

TEST(FindNoCaseTest, EmptyNeedleIsFoundAtTheStartPosition) {
    EXPECT_EQ(FindNoCase("", "", 0), 0);
    EXPECT_EQ(FindNoCase("abc", "", 0), 0);
    EXPECT_EQ(FindNoCase("abc", "", 2), 2);
    EXPECT_EQ(FindNoCase("abc", "", 3), 3);
    EXPECT_EQ(FindNoCase("abc", "", 4), -1);
}

TEST(FindNoCaseTest, OnlyAsciiLettersAreFolded) {
    for (int left = 0; left < 256; ++left) {
        for (int right = 0; right < 256; ++right) {
            const bool are_letters = (left >= 'a' && left <= 'z') || (left >= 'A' && left <= 'Z');
            const bool are_equal = left == right || (are_letters && (left ^ right) == 0x20);

            EXPECT_EQ(FindNoCase(OneByte(left), OneByte(right)), are_equal ? 0 : -1)
                << left << ' ' << right;
        }
    }
}

TEST(qtConcatenatorTest, SeparatorsAreWrittenBetweenTextsAndEscapedInside) {
    struct Row {
        Texts texts;
        const char* joined;
    };

    const Row rows[] = {
        {{""}, ""},
        {{"a"}, "a"},
        {{"a", "b"}, "a;b"},
        {{"", ""}, ";"},
        {{"", "a", ""}, ";a;"},
        {{"a;b", "c"}, "a\\;b;c"},
        {{"a\\", "b"}, "a\\\\;b"},
        {{"\\;"}, "\\\\\\;"},
        {{"/"}, "/"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.joined);
        EXPECT_EQ(qtConcatenator::Build(row.texts, ';'), row.joined);
        Texts texts{"old"};
        EXPECT_TRUE(qtConcatenator::Disassemble(row.joined, texts, ';'));
        EXPECT_EQ(texts, row.texts);
    }
}

TEST(qtConcatenatorTest, EmptyListIsWrittenAsTheEmptyText) {
    EXPECT_EQ(qtConcatenator::Build({}, ';'), "");
}

TEST(qtConcatenatorTest, EveryByteIsReadBackWithEverySeparator) {
    for (int separator = 0; separator < 256; ++separator) {
        if (separator == '\\') {
            continue;  // the escape itself
        }
        for (const Texts& list : {Texts{kAllBytes}, Texts{"", kAllBytes, "", kAllBytes + "\\"},
                                  Texts{OneByte(separator), "\\", OneByte(separator) + "\\"}}) {
            const char byte = static_cast<char>(separator);
            Texts texts;

            EXPECT_TRUE(
                qtConcatenator::Disassemble(qtConcatenator::Build(list, byte), texts, byte));
            EXPECT_EQ(texts, list) << separator;
        }
    }
}

// All lists of up to three texts of up to two bytes, from an alphabet of the bytes that matter.
TEST(qtConcatenatorTest, EveryShortListIsReadBack) {
    Texts words{""};
    for (const char* const first : {"a", ";", "\\"}) {
        words.emplace_back(first);
        for (const char* const second : {"a", ";", "\\"}) {
            words.push_back(qtString(first) + second);
        }
    }
    std::set<qtString> joined_forms;
    std::size_t list_count = 0;
    const auto check = [&](const Texts& list) {
        const qtString joined = qtConcatenator::Build(list, ';');
        Texts texts;
        ASSERT_TRUE(qtConcatenator::Disassemble(joined, texts, ';')) << joined.str();
        ASSERT_EQ(texts, list);
        joined_forms.insert(joined);
        ++list_count;
    };

    for (const qtString& first : words) {
        check({first});
        for (const qtString& second : words) {
            check({first, second});
            for (const qtString& third : words) {
                check({first, second, third});
            }
        }
    }

    EXPECT_EQ(list_count, 13U + 13U * 13U + 13U * 13U * 13U);
    EXPECT_EQ(joined_forms.size(), list_count);
}

TEST(qtConcatenatorTest, SingleBackslashAtTheEndIsRefused) {
    for (const char* const joined : {"\\", "a;b\\", "a\\\\\\", ";\\"}) {
        SCOPED_TRACE(joined);
        Texts texts{"old"};

        EXPECT_FALSE(qtConcatenator::Disassemble(joined, texts, ';'));

        EXPECT_EQ(texts, Texts());
    }
}

TEST(qtConcatenatorTest, BackslashThatEscapesNothingIsKept) {
    Texts texts;

    EXPECT_TRUE(qtConcatenator::Disassemble("c:\\temp;\\/;\\\\n", texts, ';'));

    EXPECT_EQ(texts, (Texts{"c:\\temp", "\\/", "\\n"}));
}

class qtStringReadTest : public testing::Test {
protected:
    void TearDown() override { std::remove(m_path.c_str()); }

    void Write(const qtString& content) {
        std::ofstream file(m_path.c_str(), std::ios::binary);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }

    const qtString m_path = qtString(testing::TempDir()) + "qtStringRead_" +
                            testing::UnitTest::GetInstance()->current_test_info()->name();
};

TEST_F(qtStringReadTest, EveryByteIsRead) {
    Write(kAllBytes);
    qtString content("old");

    EXPECT_TRUE(qtStringRead(m_path, content));

    EXPECT_EQ(content, kAllBytes);
}

TEST_F(qtStringReadTest, EmptyFileIsRead) {
    Write("");
    qtString content("old");

    EXPECT_TRUE(qtStringRead(m_path, content));

    EXPECT_EQ(content, "");
}

TEST_F(qtStringReadTest, FileOfManyBlocksIsRead) {
    qtString large;
    while (large.size() < 300001) {
        large += kAllBytes;
    }
    Write(large);
    qtString content;

    EXPECT_TRUE(qtStringRead(m_path, content));

    EXPECT_EQ(content, large);
}

TEST_F(qtStringReadTest, UnreadableFileGivesAnEmptyText) {
    const qtString missing = m_path + "/missing";
    Write("content");
    const qtString with_zero_byte = m_path + qtString("\0tail", 5);

    for (const qtString& path :
         {missing, qtString(""), qtString(testing::TempDir()), with_zero_byte}) {
        SCOPED_TRACE(path.str());
        qtString content("old");

        EXPECT_FALSE(qtStringRead(path, content));

        EXPECT_EQ(content, "");
    }
}

TEST(qtSnprintfTest, NothingIsWrittenPastTheGivenRoom) {
    for (std::size_t room = 1; room < 12; ++room) {
        char text[16];
        std::memset(text, '#', sizeof text);

        const std::size_t written = qtSnprintf(text, room, "%s-%d", "abcd", 42);

        const std::size_t expected = room - 1 < 7 ? room - 1 : 7;
        EXPECT_EQ(written, expected) << room;
        EXPECT_EQ(std::string(text), std::string("abcd-42").substr(0, expected)) << room;
        for (std::size_t position = room; position < sizeof text; ++position) {
            EXPECT_EQ(text[position], '#') << room << ' ' << position;
        }
    }
}

TEST(qtSnprintfTest, NothingIsWrittenWithoutRoom) {
    char text[] = "#";

    EXPECT_EQ(qtSnprintf(text, 0, "%d", 1), 0U);
    EXPECT_EQ(qtSnprintf(nullptr, 0, "%d", 1), 0U);

    EXPECT_STREQ(text, "#");
}

TEST(qtSnprintfTest, FormatThatFailsGivesTheEmptyText) {
    char text[] = "old text";
    const wchar_t no_character[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};

    EXPECT_EQ(qtSnprintf(text, sizeof text, "%ls", no_character), 0U);

    EXPECT_STREQ(text, "");
}

constexpr long kLowestLong = std::numeric_limits<long>::min();
constexpr long kHighestLong = std::numeric_limits<long>::max();

TEST(qtConvertLongToStringTest, DecimalsAreWritten) {
    EXPECT_EQ(qtConvertLongToString(0), "0");
    EXPECT_EQ(qtConvertLongToString(7), "7");
    EXPECT_EQ(qtConvertLongToString(-42), "-42");
    EXPECT_EQ(qtConvertLongToString(4294967295), "4294967295");
    EXPECT_EQ(qtConvertLongToString(kHighestLong), "9223372036854775807");
    EXPECT_EQ(qtConvertLongToString(kLowestLong), "-9223372036854775808");
}

TEST(qtConvertStringToLongTest, LeadingIntegerIsRead) {
    struct Row {
        const char* text;
        long number;
    };

    const Row rows[] = {
        {"", 0},
        {"x1", 0},
        {"+", 0},
        {"-", 0},
        {"--1", 0},
        {"- 1", 0},
        {"0", 0},
        {"-0", 0},
        {"12", 12},
        {"+12", 12},
        {"-12", -12},
        {" \t\n\v\f\r12", 12},
        {"007", 7},
        {"2.9", 2},
        {"-2.9", -2},
        {"12abc", 12},
        {"0x10", 0},
        {"1e3", 1},
        {"9223372036854775806", kHighestLong - 1},
        {"9223372036854775807", kHighestLong},
        {"9223372036854775808", kHighestLong},
        {"9223372036854775809", kHighestLong},
        {"-9223372036854775807", kLowestLong + 1},
        {"-9223372036854775808", kLowestLong},
        {"-9223372036854775809", kLowestLong},
        {"92233720368547758070", kHighestLong},
        {"-92233720368547758070", kLowestLong},
        {"99999999999999999999999999999999", kHighestLong},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(qtConvertStringToLong(row.text), row.number);
    }
}

TEST(qtConvertStringToLongTest, ReadingStopsAtEveryByteThatIsNoDigit) {
    for (int byte = 0; byte < 256; ++byte) {
        const bool is_digit = byte >= '0' && byte <= '9';
        const long expected = is_digit ? 100 + (byte - '0') * 10 + 5 : 1;

        EXPECT_EQ(qtConvertStringToLong(qtString("1") + OneByte(byte) + "5"), expected) << byte;
    }
}

TEST(qtConvertStringToLongTest, OnlyWhiteSpaceInFrontIsSkipped) {
    for (int byte = 0; byte < 256; ++byte) {
        long expected = IsOneOf(byte, " \t\n\v\f\r+", 7) ? 5 : 0;
        if (byte == '-') {
            expected = -5;
        } else if (byte >= '0' && byte <= '9') {
            expected = (byte - '0') * 10 + 5;
        }

        EXPECT_EQ(qtConvertStringToLong(OneByte(byte) + "5"), expected) << byte;
    }
}

TEST(qtConvertStringToIntTest, NumberOutOfRangeBecomesTheNearestLimit) {
    EXPECT_EQ(qtConvertStringToInt("-17 "), -17);
    EXPECT_EQ(qtConvertStringToInt("2147483647"), 2147483647);
    EXPECT_EQ(qtConvertStringToInt("2147483648"), 2147483647);
    EXPECT_EQ(qtConvertStringToInt("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(qtConvertStringToInt("-2147483649"), -2147483647 - 1);
    EXPECT_EQ(qtConvertStringToInt("99999999999999999999"), 2147483647);
}

TEST(qtConvertStringToUnsignedTest, NumberOutOfRangeBecomesTheNearestLimit) {
    EXPECT_EQ(qtConvertStringToUnsigned("17 "), 17U);
    EXPECT_EQ(qtConvertStringToUnsigned("-1"), 0U);
    EXPECT_EQ(qtConvertStringToUnsigned("4294967295"), 4294967295U);
    EXPECT_EQ(qtConvertStringToUnsigned("4294967296"), 4294967295U);
    EXPECT_EQ(qtConvertStringToUnsigned("99999999999999999999"), 4294967295U);
}

TEST(qtConvertDoubleToStringTest, ShortestTextIsWritten) {
    struct Row {
        double number;
        const char* text;
    };

    const Row rows[] = {
        {0.0, "0"},
        {-0.0, "-0"},
        {3.0, "3"},
        {0.1, "0.1"},
        {1.1, "1.1"},
        {-2.5, "-2.5"},
        {10000.0, "10000"},
        {1e100, "1e+100"},
        {5e-324, "5e-324"},
        {-2.2250738585072014e-308, "-2.2250738585072014e-308"},
        {1.7976931348623157e308, "1.7976931348623157e+308"},
        {std::numeric_limits<double>::infinity(), "inf"},
        {-std::numeric_limits<double>::infinity(), "-inf"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(qtConvertDoubleToString(row.number), row.text);
        EXPECT_EQ(qtConvertStringToDouble(row.text), row.number);
        EXPECT_EQ(std::signbit(qtConvertStringToDouble(row.text)), std::signbit(row.number));
    }
}

TEST(qtConvertDoubleToStringTest, AnyNumberIsReadBackEqual) {
    std::mt19937_64 random(20240229);
    for (int round = 0; round < 20000; ++round) {
        const std::uint64_t bits = random();
        double number = 0.0;
        std::memcpy(&number, &bits, sizeof number);

        const double back = qtConvertStringToDouble(qtConvertDoubleToString(number));

        EXPECT_TRUE(back == number || (std::isnan(back) && std::isnan(number))) << bits;
    }
}

TEST(qtConvertStringToDoubleTest, LeadingNumberIsRead) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();

    struct Row {
        const char* text;
        double number;
    };

    const Row rows[] = {
        {"", 0.0},
        {"x1", 0.0},
        {".", 0.0},
        {"-", 0.0},
        {"e5", 0.0},
        {"1", 1.0},
        {"+1.5", 1.5},
        {"-1.5", -1.5},
        {".5", 0.5},
        {"5.", 5.0},
        {" \t\n\v\f\r2", 2.0},
        {"1,5", 1.0},
        {"1.5.7", 1.5},
        {"1e3", 1000.0},
        {"1e", 1.0},
        {"1.5 apples", 1.5},
        {"0x10", 16.0},
        {"0x", 0.0},
        {"1e999", kInfinity},
        {"-1e999", -kInfinity},
        {"1e-999", 0.0},
        {"INF", kInfinity},
        {"-infinity", -kInfinity},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(qtConvertStringToDouble(row.text), row.number);
    }
    EXPECT_TRUE(std::isnan(qtConvertStringToDouble("NaN")));
}

TEST(qtConvertStringToDoubleTest, ReadingStopsAtAZeroByte) {
    EXPECT_EQ(qtConvertStringToDouble(qtString("1\0.5", 4)), 1.0);
}

// Compares with strtod of the C library, in the plain locale in which all programs begin.
void ExpectReadsAsStrtod(const std::string& text) {
    const double number = qtConvertStringToDouble(text);
    const double expected = std::strtod(text.c_str(), nullptr);
    // We compare the bits, so that the sign of 0 counts.
    EXPECT_EQ(std::memcmp(&number, &expected, sizeof number), 0)
        << '"' << text << "\": " << number << " instead of " << expected;
}

std::string RandomText(std::mt19937_64& random, const std::string& alphabet, std::size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char& byte : text) {
        byte = alphabet[random() % alphabet.size()];
    }
    return text;
}

TEST(qtConvertStringToDoubleTest, EveryShortTextIsReadLikeByStrtod) {
    const std::string alphabet = "0157.eExX+- n";
    for (std::size_t length = 0; length <= 5; ++length) {
        std::vector<std::size_t> digits(length + 1, 0);
        while (digits[length] == 0) {
            std::string text(length, ' ');
            for (std::size_t i = 0; i < length; ++i) {
                text[i] = alphabet[digits[i]];
            }
            ExpectReadsAsStrtod(text);
            std::size_t place = 0;
            while (++digits[place] == alphabet.size() && place < length) {
                digits[place++] = 0;
            }
        }
    }
}

TEST(qtConvertStringToDoubleTest, EdgesOfShortDecimalsAreReadLikeByStrtod) {
    const char* const texts[] = {
        "-0", "-0.0", "-.0", "-0e5", "-0e-5", "-0e999", "+0", "+3", "+-3", "-+3", "--3", "- 3",
        "1.", "-1.", ".5", "+.5", "-.5", ".", "..5", "1..5", "1e", "1e+", "1e-", "1E5", "1e+5",
        "1e-5", "1.e5", ".5e1", ".e5", "e5", "1e5.5", "1e5e5", "1e 5", " 1", "\t-1.5", "\v\f1",
        "1 ", "00.50", "0x1p4", "-0X1.8", "1x", "0e1x", "0x", "0b1", "1'000", "1,000", "\xa0 1",
        // 2^53, up to which all integers are exact, and its neighbours.
        "9007199254740991", "9007199254740992", "9007199254740993", "9007199254740995",
        "-9007199254740992", "-9007199254740993", "900719925474099.3", "9.007199254740993",
        // Numbers with about as many digits as 64 bits can have, or with more, also zeros.
        "9999999999999999999", "18446744073709551615", "18446744073709551616",
        "18446744073709551617", "1844674407370955161.7", "184467440737095516170",
        "0000000000000000001", "00000000000000000001", "0.000000000000000001",
        "0.0000000000000000001", "1.0000000000000000000000000000000000000001",
        "340282366920938463463374607431768211457",
        // The last exact power of ten, and the next one.
        "1e22", "1e23", "9007199254740991e22", "9007199254740991e23", "9007199254740991e-22",
        "9007199254740991e-23", "3e-22", "3e-23", "0.3e-21", "0.3e-22", "123.456e25", "1.5e23",
        "1000e19", "1000e20", "0.001e25",
        // The ends of the range, and exponents too large for any integer type.
        "1e308", "1e309", "-1e309", "1.7976931348623157e308", "1.7976931348623159e308",
        "2.2250738585072014e-308", "4.9e-324", "2.4e-324", "1e-400", "1e0000000000000000000005",
        "1e-0005", "1e999999999999999999999", "1e-999999999999999999999", "1e18446744073709551616",
        "1e18446744073709551621", "1e-18446744073709551617", "0.0000000000000000001e1000",
        "0e99999999999999999999", "nan", "-nan", "inf", "-Infinity", "infinit", "nan(1)", "0.75",
        "0.1", "0.3", "1234.5678"};

    for (const char* const text : texts) {
        ExpectReadsAsStrtod(text);
    }
}

TEST(qtConvertStringToDoubleTest, RandomTextsAreReadLikeByStrtod) {
    const std::uint64_t seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const std::string digits = "0123456789";
    for (int round = 0; round < 200000 && !testing::Test::HasFailure(); ++round) {
        std::string text = RandomText(random, "+-- ", random() % 4 == 0 ? 1 : 0);
        text += RandomText(random, digits, 1 + random() % 20);
        if (random() % 4 != 0) {
            text += '.' + RandomText(random, digits, 1 + random() % 20);
        }
        if (random() % 3 == 0) {
            text += 'e' + RandomText(random, "+-", 1) + RandomText(random, digits, 2);
        }
        ExpectReadsAsStrtod(text + RandomText(random, "xe.,+- 17", 2));
    }
}

TEST(qtConvertStringToDoubleTest, RoundingFollowsTheModeThatIsSet) {
    for (const int direction : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
        for (const char* const text : {"0.1", "-0.1", "0.3", "-0.7", "-0", "9007199254740991e22"}) {
            std::fesetround(direction);
            ExpectReadsAsStrtod(text);
            std::fesetround(FE_TONEAREST);
        }
    }
}

TEST(qtStringHashTest, HashIsThePolynomialOfUnsignedBytes) {
    const qtStringHash hash;

    EXPECT_EQ(hash(qtString()), 0U);
    EXPECT_EQ(hash(qtString("a")), 97U);
    EXPECT_EQ(hash(qtString("ab")), 97U * 31U + 98U);
    EXPECT_EQ(hash(qtString("abc")), (97U * 31U + 98U) * 31U + 99U);
    for (int byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(hash(OneByte(byte)), static_cast<std::size_t>(byte));
    }
}

TEST(qtStringHashTest, ViewsAreHashedWithoutACopy) {
    EXPECT_EQ(qtStringHash()(std::string_view("abc")), qtStringHash()(qtString("abc")));
}

}  // namespace
