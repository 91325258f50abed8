#include "zandrel/foundation/qtScrambler.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/record_bytes.h"

namespace {

const qtScrambler kScrambler(qtScrambler::kSeed);

std::string scrambled(std::string bytes, std::uint32_t option = qtScrambler::kOption,
                      std::uint64_t seed = qtScrambler::kSeed) {
    qtScrambler(seed).Scramble(bytes.data(), bytes.size(), option);
    return bytes;
}

std::string descrambled(std::string bytes, std::uint32_t option = qtScrambler::kOption,
                        std::uint64_t seed = qtScrambler::kSeed) {
    qtScrambler(seed).Descramble(bytes.data(), bytes.size(), option);
    return bytes;
}

// A text like those in records: it has repetitions and many zero bytes.
std::string long_text(std::size_t byte_count) {
    std::string text;
    while (text.size() < byte_count) {
        text += "the quick brown fox jumps over the lazy dog";
        text.append(9, '\0');
    }
    text.resize(byte_count);
    return text;
}

// The published first numbers of splitmix64 with the seed 1234567 are 6457827717110365317,
// 3203168211198807973 and 9817491932198370423. Their lowest bytes come first.
TEST(qtScramblerTest, BytesAreCombinedWithTheNumbersOfTheGenerator) {
    EXPECT_EQ(to_hex(scrambled(std::string(20, '\0'), 0, 1234567)),
              "85 fc 08 fb 17 d0 9e 59 a5 0f 54 58 84 f0 73 2c 77 7c f2 a3");
    EXPECT_EQ(to_hex(scrambled(std::string(3, '\xFF'), 0, 1234567)), "7a 03 f7");
}

// The expected bytes were computed by another program.
TEST(qtScramblerTest, FilesAreScrambledWithOneStream) {
    EXPECT_EQ(to_hex(scrambled(std::string(18, '\0'))),
              "b2 12 7b 48 b5 6d b6 5f 31 22 4d 84 08 b3 8d ee 54 4f");
}

TEST(qtScramblerTest, ScramblingIsUndone) {
    for (const std::size_t byte_count : {0U, 1U, 2U, 7U, 8U, 9U, 15U, 16U, 17U, 16360U, 100003U}) {
        SCOPED_TRACE(byte_count);
        const std::string text = long_text(byte_count);

        EXPECT_TRUE(descrambled(scrambled(text)) == text);
    }
}

TEST(qtScramblerTest, EmptyInputIsAccepted) {
    kScrambler.Scramble(nullptr, 0, qtScrambler::kOption);
    kScrambler.Descramble(nullptr, 0, qtScrambler::kOption);

    EXPECT_EQ(scrambled(""), "");
}

TEST(qtScramblerTest, BytesChangeOnlyByTheirPosition) {
    const std::string text = long_text(40);

    for (std::size_t byte_count = 0; byte_count <= text.size(); ++byte_count) {
        SCOPED_TRACE(byte_count);
        EXPECT_EQ(to_hex(scrambled(text.substr(0, byte_count))),
                  to_hex(scrambled(text).substr(0, byte_count)));
    }
}

TEST(qtScramblerTest, BytesAtEveryAddressAreAccepted) {
    const std::string expected = scrambled(long_text(100));

    for (std::size_t start = 0; start < 8; ++start) {
        SCOPED_TRACE(start);
        std::string bytes = std::string(start, '#') + long_text(100) + "#";
        kScrambler.Scramble(bytes.data() + start, 100, qtScrambler::kOption);

        EXPECT_EQ(bytes, std::string(start, '#') + expected + "#");
    }
}

TEST(qtScramblerTest, TextIsNotReadableAfterwards) {
    const std::string text = long_text(16360);
    const std::string hidden = scrambled(text);

    for (std::size_t start = 0; start + 5 <= 52; ++start) {
        SCOPED_TRACE(start);
        EXPECT_EQ(hidden.find(text.substr(start, 5)), std::string::npos);
    }
}

TEST(qtScramblerTest, RunsOfOneByteDisappear) {
    const std::string hidden = scrambled(std::string(16360, '\0'));

    for (std::size_t position = 4; position < hidden.size(); ++position) {
        ASSERT_NE(hidden.substr(position - 4, 4), std::string(4, hidden[position])) << position;
    }
}

TEST(qtScramblerTest, ScramblingIsUndoneOnlyWithTheSameSeedAndOption) {
    const std::string text = long_text(24);

    EXPECT_NE(descrambled(scrambled(text), qtScrambler::kOption + 1), text);
    EXPECT_NE(descrambled(scrambled(text), qtScrambler::kOption, qtScrambler::kSeed + 1), text);
    EXPECT_EQ(descrambled(scrambled(text, 7, 8), 7, 8), text);
}

}  // namespace
