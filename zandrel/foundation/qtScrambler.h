// qtScrambler: hides the bytes of a record from a casual look.
#ifndef ZANDREL_FOUNDATION_QTSCRAMBLER_H_
#define ZANDREL_FOUNDATION_QTSCRAMBLER_H_

#include <cstddef>
#include <cstdint>

#include "zandrel/export.h"

// Changes runs of bytes in place, and back. It is no encryption: everybody with this library can
// read the bytes. It prevents a search through the file from finding texts.
//
// Each run is scrambled separately: the stream depends only on the seed, the option word and the
// position in the run. So a reader must divide a record into the same runs as the writer.
//
// Threads: one at a time in the whole process, as the rest of the library.
class ZANDREL_EXPORT qtScrambler {
public:
    // Containers, corpora and archives are scrambled with these two.
    static constexpr std::uint64_t kSeed = 0x278F9D405A414E44;
    static constexpr std::uint32_t kOption = 0x4B435631;

    explicit qtScrambler(std::uint64_t seed) noexcept : m_seed(seed) {}

    // BORROWS: `byte_count` bytes, which change.
    void Scramble(char* bytes, std::size_t byte_count, std::uint32_t option) const noexcept;
    // Undoes Scramble with the same seed, length and option.
    void Descramble(char* bytes, std::size_t byte_count, std::uint32_t option) const noexcept;

private:
    std::uint64_t m_seed;
};

#endif  // ZANDREL_FOUNDATION_QTSCRAMBLER_H_
