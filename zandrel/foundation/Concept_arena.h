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
// A text has about ten bytes. If each record were a block of the heap, the heap's bookkeeping would
// need about as much memory as the text. We cut small blocks from chunks of 256 KiB instead. Their
// sizes are multiples of 4 bytes. A freed block is put on the list of its size, from which the next
// block of that size is taken. For example, a block of 25 bytes takes 28, and can later be used for
// any block of 25 to 28 bytes. Chunks are never given back. Blocks of more than 256 bytes come from
// the heap one by one.
class Concept_arena {
public:
    using Block = std::uint32_t;

    static constexpr Block kNone = 0xFFFFFFFF;

    // Returns a block of `size` bytes at least, aligned to 4.
    // RAISES: std::bad_alloc; std::length_error if there are 2,147,483,647 blocks from the heap.
    Block allocate(std::size_t size);

    // `size`: the size with which the block was allocated.
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
    // Marks a block from the heap; the other bits are its place in `m_large`. The name of a block
    // in a chunk is the number of its first unit, counted over all chunks. That is enough for 8
    // GiB.
    static constexpr Block kLarge = 0x80000000;

    static std::size_t units_of(std::size_t size) { return (size + kUnit - 1) / kUnit; }

    Block cut(std::size_t units);
    Block allocate_large(std::size_t size);

    std::vector<std::unique_ptr<std::byte[]>> m_chunks;
    std::uint32_t m_next_unit = kUnitsOfChunk;  // the first free unit of the last chunk
    // The index is a number of units. The element is the block of this size that was released last.
    // This block contains the name of the one that was released before it.
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
