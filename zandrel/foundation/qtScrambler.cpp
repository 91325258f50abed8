// A stream of pseudo-random bytes is combined with the run by exclusive-or, eight bytes at a time.
#include "zandrel/foundation/qtScrambler.h"

#include <bit>
#include <cstring>

namespace {

// The generator splitmix64: a counter with an odd step, whose values are mixed one by one. So no
// word depends on the word before, and different start values give different streams.
constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15;

std::uint64_t Mixed(std::uint64_t value) noexcept {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
    return value ^ (value >> 31);
}

// Returns the next eight bytes of the stream as a word in memory: the lowest byte comes first on
// every machine.
std::uint64_t NextKey(std::uint64_t& state) noexcept {
    state += kStep;
    std::uint64_t key = Mixed(state);
    if constexpr (std::endian::native == std::endian::big) {
        key = __builtin_bswap64(key);
    }
    return key;
}

void Cover(char* bytes, std::size_t byte_count, std::uint64_t key) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, byte_count);
    word ^= key;
    std::memcpy(bytes, &word, byte_count);
}

}  // namespace

void qtScrambler::Scramble(char* bytes, std::size_t byte_count,
                           std::uint32_t option) const noexcept {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    std::uint64_t state = m_seed ^ (std::uint64_t{option} << 32 | option);
    for (; byte_count >= kWord; byte_count -= kWord) {
        Cover(bytes, kWord, NextKey(state));
        bytes += kWord;
    }
    if (byte_count != 0) {
        Cover(bytes, byte_count, NextKey(state));
    }
}

// An exclusive-or with the same stream restores the bytes.
void qtScrambler::Descramble(char* bytes, std::size_t byte_count,
                             std::uint32_t option) const noexcept {
    Scramble(bytes, byte_count, option);
}
