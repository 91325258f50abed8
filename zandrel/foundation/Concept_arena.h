// Concept_arena: the memory of the dictionary's records.
// Not installed: the library's own.
#ifndef ZANDREL_FOUNDATION_CONCEPT_ARENA_H_
#define ZANDREL_FOUNDATION_CONCEPT_ARENA_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zandrel::detail {

// Blocks of memory that are named by 32 bits instead of the 64 of a pointer.
//
// A text has some ten bytes, so a block of its own from the heap would cost as much again for the
// heap's bookkeeping. We cut small blocks from chunks of 256 KiB instead. Their sizes are multiples
// of 4 bytes, and a freed block goes on the list of its size, where the next block of that size is
// taken from. For example, a block of 25 bytes takes 28, and later serves any of 25 to 28 bytes.
// Chunks are never given back. Blocks of more than 256 bytes come from the heap one by one.
class Concept_arena {
public:
    using Block = std::uint32_t;

    static constexpr Block kNone = 0xFFFFFFFF;

    // Returns a block of `size` bytes at least, aligned to 4.
    // RAISES: std::bad_alloc; std::length_error for 2,147,483,647 blocks of more than 256 bytes.
    Block allocate(std::size_t size);

    // `size`: what the block was allocated with.
    void release(Block block, std::size_t size) noexcept;

    // VALID UNTIL: the block is released.
    std::byte* address(Block block) const noexcept {
        if ((block & kLarge) != 0) {
            return m_large[block & ~kLarge].get();
        }
        return m_chunks[block / kUnitsOfChunk].get() + kUnit * (block % kUnitsOfChunk);
    }

private:
    static constexpr std::size_t kUnit = 4;  // bytes
    static constexpr std::uint32_t kUnitsOfChunk = 1U << 16U;
    static constexpr std::size_t kMostUnits = 64;  // of a block in a chunk
    // Marks a block from the heap; the other bits are its place in `m_large`. The other blocks have
    // their first unit's number, counted over all chunks: 8 GiB have one.
    static constexpr Block kLarge = 0x80000000;

    static std::size_t units_of(std::size_t size) { return (size + kUnit - 1) / kUnit; }

    Block cut(std::size_t units);
    Block allocate_large(std::size_t size);

    std::vector<std::unique_ptr<std::byte[]>> m_chunks;
    std::uint32_t m_next_unit = kUnitsOfChunk;  // of the last chunk; there is none at first
    // The last released block of each number of units; it contains the name of the one before.
    std::array<Block, kMostUnits + 1> m_released = all_none();
    std::vector<std::unique_ptr<std::byte[]>> m_large;  // null where a block was released
    std::vector<Block> m_released_large;                // has room for all of `m_large`

    static constexpr std::array<Block, kMostUnits + 1> all_none() {
        std::array<Block, kMostUnits + 1> blocks = {};
        for (Block& block : blocks) {
            block = kNone;
        }
        return blocks;
    }
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FOUNDATION_CONCEPT_ARENA_H_
