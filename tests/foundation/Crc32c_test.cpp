#include "zandrel/foundation/Crc32c.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/bitwise_crc.h"

using zandrel::detail::Crc32c;

namespace {

std::uint32_t crc_of(std::string_view bytes) {
    Crc32c sum;
    sum.Add(bytes.data(), bytes.size());
    return sum.Value();
}

std::string some_bytes(std::size_t length) {
    std::string bytes;
    std::uint32_t number = 1;
    for (std::size_t i = 0; i < length; ++i) {
        number = number * 1664525U + 1013904223U;
        bytes += static_cast<char>(static_cast<unsigned char>(number >> 24U));
    }
    return bytes;
}

// Computes the checksum with one implementation, from the start value to the inverted result.
std::uint32_t crc_by_tables(std::string_view bytes) {
    return ~zandrel::detail::Crc32cByTables(0xFFFFFFFFU, bytes.data(), bytes.size());
}

// Uses the tables too if the processor lacks the instruction.
std::uint32_t crc_by_instruction(std::string_view bytes) {
    return zandrel::detail::HasCrc32cInstruction()
               ? ~zandrel::detail::Crc32cByInstruction(0xFFFFFFFFU, bytes.data(), bytes.size())
               : crc_by_tables(bytes);
}

// Published values: the check value of the checksum, and the examples of RFC 3720, B.4.
TEST(Crc32cTest, KnownBytesHaveThePublishedValues) {
    std::string rising;
    for (char byte = 0; byte < 32; ++byte) {
        rising += byte;
    }
    EXPECT_EQ(crc_of("123456789"), 0xE3069283U);
    EXPECT_EQ(crc_of(std::string(32, '\0')), 0x8A9136AAU);
    EXPECT_EQ(crc_of(std::string(32, '\xFF')), 0x62A8AB43U);
    EXPECT_EQ(crc_of(rising), 0x46DD794EU);
    EXPECT_EQ(crc_of(std::string(rising.rbegin(), rising.rend())), 0x113FDB5CU);
    EXPECT_EQ(crc_of(""), 0U);
}

TEST(Crc32cTest, TablesAndInstructionGiveThePublishedValue) {
    EXPECT_EQ(crc_by_tables("123456789"), 0xE3069283U);
    EXPECT_EQ(crc_by_instruction("123456789"), 0xE3069283U);
}

TEST(Crc32cTest, ShortBytesHaveTheSameValueByTablesAndByInstruction) {
    const std::string bytes = some_bytes(64);

    for (std::size_t start = 0; start < 9; ++start) {
        for (std::size_t length = 0; start + length <= bytes.size(); ++length) {
            const std::string_view run = std::string_view(bytes).substr(start, length);
            EXPECT_EQ(crc_by_tables(run), bitwise_crc(run)) << start << ", " << length;
            EXPECT_EQ(crc_by_instruction(run), bitwise_crc(run)) << start << ", " << length;
        }
    }
}

// The implementation with the instruction processes long bytes in rounds of 3,072 bytes, each as
// three pieces in parallel. So we test lengths around one, two and three rounds, at nine addresses
// in a row.
TEST(Crc32cTest, LongBytesHaveTheSameValueByTablesAndByInstruction) {
    const std::string bytes = some_bytes(10000);

    for (const std::size_t length :
         {1024U, 3071U, 3072U, 3073U, 3080U, 6143U, 6144U, 6145U, 9223U, 9990U}) {
        for (std::size_t start = 0; start < 9; ++start) {
            const std::string_view run = std::string_view(bytes).substr(start, length);
            EXPECT_EQ(crc_by_tables(run), bitwise_crc(run)) << start << ", " << length;
            EXPECT_EQ(crc_by_instruction(run), bitwise_crc(run)) << start << ", " << length;
        }
    }
}

TEST(Crc32cTest, LongPiecesGiveTheValueOfTheWhole) {
    const std::string bytes = some_bytes(8000);
    const std::uint32_t whole = bitwise_crc(bytes);

    for (std::size_t cut = 0; cut <= bytes.size(); cut += 499) {
        Crc32c sum;
        sum.Add(bytes.data(), cut);
        sum.Add(bytes.data() + cut, bytes.size() - cut);
        EXPECT_EQ(sum.Value(), whole) << cut;
    }
}

TEST(Crc32cTest, EveryLengthAndStartGivesTheValueOfBitwiseDivision) {
    const std::string bytes = some_bytes(64);

    for (std::size_t start = 0; start < 9; ++start) {
        for (std::size_t length = 0; start + length <= bytes.size(); ++length) {
            const std::string_view run = std::string_view(bytes).substr(start, length);
            EXPECT_EQ(crc_of(run), bitwise_crc(run)) << start << ", " << length;
        }
    }
}

TEST(Crc32cTest, PiecesGiveTheValueOfTheWhole) {
    const std::string bytes = some_bytes(41);
    const std::uint32_t whole = bitwise_crc(bytes);

    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        Crc32c sum;
        sum.Add(bytes.data(), cut);
        sum.Add(bytes.data() + cut, bytes.size() - cut);
        EXPECT_EQ(sum.Value(), whole) << cut;
    }
}

TEST(Crc32cTest, EveryChangedBitChangesTheValue) {
    const std::string bytes = some_bytes(100);
    const std::uint32_t sound = crc_of(bytes);

    for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        std::string changed = bytes;
        changed[bit / 8] ^= static_cast<char>(1U << bit % 8);
        EXPECT_NE(crc_of(changed), sound) << bit;
    }
}

}  // namespace
