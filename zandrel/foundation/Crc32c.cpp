// There are two ways to compute the checksum: by tables, and by the instruction `crc32` of x86-64
// (SSE 4.2).
//
// The instruction takes eight bytes. Its result is ready after three cycles, but the processor can
// start one such instruction in each cycle. So long input is divided into three streams, A, B and
// C, whose states do not depend on each other. Then the states are joined. A CRC is linear, so the
// state after "A and then B" is an exclusive-or of two states: the state after A and as many zero
// bytes as B has, and the state after B if we start from 0:
//
//     state("12345678" "ABCDEFGH") = past_zeros(state("12345678"), 8) ^ state_from_0("ABCDEFGH")
//
// past_zeros() is linear too: its value is the exclusive-or of its values for each of the four
// bytes of the state, which are in a table.
#include "zandrel/foundation/Crc32c.h"

#include <array>
#include <bit>
#include <cstring>

#ifdef __x86_64__
#include <nmmintrin.h>
#endif

namespace {

// 0x1EDC6F41 with its bits in reverse order.
constexpr std::uint32_t kPolynomial = 0x82F63B78;
// The number of bytes that the tables take in one step.
constexpr std::size_t kSlices = 8;

using Table = std::array<std::uint32_t, 256>;

constexpr std::uint32_t AfterBits(std::uint32_t state, int bit_count) {
    for (int i = 0; i < bit_count; ++i) {
        state = (state >> 1U) ^ ((state & 1U) != 0 ? kPolynomial : 0U);
    }
    return state;
}

// Table `i` is for a byte that is followed by `i` more bytes of its step. With eight tables a step
// takes eight bytes, which is four times as fast as steps of one byte: 1.7 GB/s
// (BM_ChecksumByTables of bench/kc_bench.cpp).
constexpr std::array<Table, kSlices> MakeTables() {
    std::array<Table, kSlices> tables = {};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        tables[0][byte] = AfterBits(byte, 8);
    }
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = (before >> 8U) ^ tables[0][before & 0xFFU];
        }
    }
    return tables;
}

constexpr std::array<Table, kSlices> kTables = MakeTables();

// Eight bytes as a number, the first byte lowest on every machine.
std::uint64_t LoadWord(const char* bytes) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
        word = __builtin_bswap64(word);
    }
    return word;
}

std::uint32_t AfterWord(std::uint32_t state, const char* bytes) noexcept {
    const std::uint64_t word = LoadWord(bytes) ^ state;
    std::uint32_t after = 0;
    for (std::size_t i = 0; i < kSlices; ++i) {
        after ^= kTables[kSlices - 1 - i][(word >> (8 * i)) & 0xFFU];
    }
    return after;
}

std::uint32_t AfterByte(std::uint32_t state, char byte) noexcept {
    return (state >> 8U) ^ kTables[0][(state ^ static_cast<unsigned char>(byte)) & 0xFFU];
}

#ifdef __x86_64__

constexpr std::size_t kWord = sizeof(std::uint64_t);
// Bytes of one of the three streams. With 1,024 bytes, input in the cache is summed at 26 GB/s.
// With 128 bytes the streams are joined more often, and the speed is 19 GB/s. Longer streams are
// not faster (BM_ChecksumAlone of bench/kc_bench.cpp).
constexpr std::size_t kStream = 1024;

constexpr std::uint32_t AfterZeros(std::uint32_t state, std::size_t byte_count) {
    for (std::size_t i = 0; i < byte_count; ++i) {
        state = (state >> 8U) ^ kTables[0][state & 0xFFU];
    }
    return state;
}

// Table `i` has the part of PastZeros() that comes from byte `i` of the state.
constexpr std::array<Table, 4> MakeJoinTables() {
    std::array<Table, 4> tables = {};
    for (std::size_t bit = 0; bit < 32; ++bit) {
        Table& table = tables[bit / 8];
        const std::size_t single = std::size_t{1} << bit % 8;
        table[single] = AfterZeros(std::uint32_t{1} << bit, kStream);
        // The entries below `single` are complete, so we combine them with the new bit.
        for (std::size_t lower = 1; lower < single; ++lower) {
            table[single + lower] = table[single] ^ table[lower];
        }
    }
    return tables;
}

constexpr std::array<Table, 4> kJoinTables = MakeJoinTables();

std::uint32_t PastZeros(std::uint32_t state) noexcept {
    return kJoinTables[0][state & 0xFFU] ^ kJoinTables[1][(state >> 8U) & 0xFFU] ^
           kJoinTables[2][(state >> 16U) & 0xFFU] ^ kJoinTables[3][state >> 24U];
}

// The state after three streams that follow each other.
[[gnu::target("sse4.2")]] std::uint32_t AfterStreams(std::uint32_t state,
                                                     const char* bytes) noexcept {
    std::uint64_t first = state;
    std::uint64_t second = 0;
    std::uint64_t third = 0;
    for (std::size_t i = 0; i < kStream; i += kWord) {
        first = _mm_crc32_u64(first, LoadWord(bytes + i));
        second = _mm_crc32_u64(second, LoadWord(bytes + kStream + i));
        third = _mm_crc32_u64(third, LoadWord(bytes + 2 * kStream + i));
    }
    const std::uint32_t two =
        PastZeros(static_cast<std::uint32_t>(first)) ^ static_cast<std::uint32_t>(second);
    return PastZeros(two) ^ static_cast<std::uint32_t>(third);
}

#endif

}  // namespace

namespace zandrel::detail {

std::uint32_t Crc32cByTables(std::uint32_t state, const char* bytes,
                             std::size_t byte_count) noexcept {
    for (; byte_count >= kSlices; byte_count -= kSlices) {
        state = AfterWord(state, bytes);
        bytes += kSlices;
    }
    for (; byte_count > 0; --byte_count) {
        state = AfterByte(state, *bytes++);
    }
    return state;
}

}  // namespace zandrel::detail

#ifdef __x86_64__

namespace zandrel::detail {

[[gnu::target("sse4.2")]] std::uint32_t Crc32cByInstruction(std::uint32_t state, const char* bytes,
                                                            std::size_t byte_count) noexcept {
    for (; byte_count >= 3 * kStream; byte_count -= 3 * kStream) {
        state = AfterStreams(state, bytes);
        bytes += 3 * kStream;
    }
    for (; byte_count >= kWord; byte_count -= kWord) {
        state = static_cast<std::uint32_t>(_mm_crc32_u64(state, LoadWord(bytes)));
        bytes += kWord;
    }
    for (; byte_count > 0; --byte_count) {
        state = _mm_crc32_u8(state, static_cast<unsigned char>(*bytes++));
    }
    return state;
}

bool HasCrc32cInstruction() noexcept {
    return __builtin_cpu_supports("sse4.2") != 0;
}

}  // namespace zandrel::detail

#else

// Crc32c::Add never calls it, since HasCrc32cInstruction() is false. It still returns the right
// value.
std::uint32_t zandrel::detail::Crc32cByInstruction(std::uint32_t state, const char* bytes,
                                                   std::size_t byte_count) noexcept {
    return Crc32cByTables(state, bytes, byte_count);
}

bool zandrel::detail::HasCrc32cInstruction() noexcept {
    return false;
}

#endif

namespace zandrel::detail {

void Crc32c::Add(const char* bytes, std::size_t byte_count) noexcept {
    m_state = HasCrc32cInstruction() ? Crc32cByInstruction(m_state, bytes, byte_count)
                                     : Crc32cByTables(m_state, bytes, byte_count);
}

}  // namespace zandrel::detail
