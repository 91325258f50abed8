// Crc32c: the checksum CRC-32C of a sequence of bytes.
// Not installed: the library's own.
#ifndef ZANDREL_FOUNDATION_CRC32C_H_
#define ZANDREL_FOUNDATION_CRC32C_H_

#include <cstddef>
#include <cstdint>

#include "zandrel/export.h"

namespace zandrel::detail {

// The checksum of all bytes added so far, in whatever pieces they come: adding "12345" and then
// "6789" gives 0xE3069283, as adding "123456789" does. Without bytes it is 0.
//
// The polynomial is 0x1EDC6F41, the lowest bit of a byte comes first, and all bits of the start
// value and of the result are inverted. Two sequences of equal length that differ in one bit, or in
// a run of up to 32 bits, never have the same checksum.
//
// It is exported for the program, which compares single items with a seal.
class ZANDREL_EXPORT Crc32c {
public:
    void Add(const char* bytes, std::size_t byte_count) noexcept;

    std::uint32_t Value() const noexcept { return ~m_state; }

private:
    std::uint32_t m_state = 0xFFFFFFFF;
};

// The two ways of Add to compute the state after further bytes. Both return the same state. The
// first works on every processor.
std::uint32_t Crc32cByTables(std::uint32_t state, const char* bytes,
                             std::size_t byte_count) noexcept;
// REQUIRES: HasCrc32cInstruction().
std::uint32_t Crc32cByInstruction(std::uint32_t state, const char* bytes,
                                  std::size_t byte_count) noexcept;
// Returns whether this processor has an instruction for this checksum.
bool HasCrc32cInstruction() noexcept;

}  // namespace zandrel::detail

#endif  // ZANDREL_FOUNDATION_CRC32C_H_
