#include "zandrel/foundation/Crc32c.h"

#include <array>
#include <bit>
#include <cstring>

namespace {

// 0x1EDC6F41 with its bits in reverse order.
constexpr std::uint32_t kPolynomial = 0x82F63B78;
// How many bytes are taken at once.
constexpr std::size_t kSlices = 8;

using Table = std::array<std::uint32_t, 256>;

constexpr std::uint32_t AfterBits(std::uint32_t state, int bit_count) {
    for (int i = 0; i < bit_count; ++i) {
        state = (state >> 1U) ^ ((state & 1U) != 0 ? kPolynomial : 0U);
    }
    return state;
}

// Table `i` is for a byte that is followed by `i` more bytes of its step. With eight tables one
// step takes eight bytes, which is four times as fast as one byte a step.
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

#if defined(__x86_64__) && defined(__GNUC__)

bool HasInstruction() noexcept {
    return __builtin_cpu_supports("sse4.2") != 0;
}

// One instruction takes eight bytes, where the tables need about 25: see BM_ChecksumAlone and
// BM_ChecksumByTables of bench/kc_bench.cpp.
__attribute__((target("sse4.2"))) std::uint32_t AfterBytes(std::uint32_t state, const char* bytes,
                                                           std::size_t byte_count) noexcept {
    std::uint64_t after = state;
    for (; byte_count >= sizeof after; byte_count -= sizeof after) {
        after = __builtin_ia32_crc32di(after, LoadWord(bytes));
        bytes += sizeof after;
    }
    state = static_cast<std::uint32_t>(after);
    for (; byte_count > 0; --byte_count) {
        state = __builtin_ia32_crc32qi(state, static_cast<unsigned char>(*bytes++));
    }
    return state;
}

#else

constexpr bool HasInstruction() noexcept {
    return false;
}

std::uint32_t AfterBytes(std::uint32_t state, const char* /*bytes*/,
                         std::size_t /*byte_count*/) noexcept {
    return state;
}

#endif

}  // namespace

void Zandrel::Crc32c::Add(const char* bytes, std::size_t byte_count) noexcept {
    if (HasInstruction()) {
        m_state = AfterBytes(m_state, bytes, byte_count);
    } else {
        AddByTables(bytes, byte_count);
    }
}

void Zandrel::Crc32c::AddByTables(const char* bytes, std::size_t byte_count) noexcept {
    for (; byte_count >= kSlices; byte_count -= kSlices) {
        m_state = AfterWord(m_state, bytes);
        bytes += kSlices;
    }
    for (; byte_count > 0; --byte_count) {
        m_state = AfterByte(m_state, *bytes++);
    }
}
