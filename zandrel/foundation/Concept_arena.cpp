// Gives out blocks of memory and takes them back. A freed block of a chunk contains the name of the
// block of its size that was freed before it, so the lists of these blocks need no memory of their
// own. For example, after the blocks 10 and then 30 are freed, `m_released` names 30, whose first
// four bytes are the number 10, and block 10 has `kNone`.
#include "zandrel/foundation/Concept_arena.h"

#include <cstring>
#include <stdexcept>
#include <utility>

namespace zandrel::detail {

Concept_arena::Block Concept_arena::allocate(std::size_t size) {
    const std::size_t units = units_of(size);
    if (units > kMostUnits) {
        return allocate_large(size);
    }
    Block& last = m_released[units];
    if (last == kNone) {
        return cut(units);
    }
    const Block block = last;
    std::memcpy(&last, address(block), sizeof last);
    return block;
}

void Concept_arena::release(Block block, std::size_t size) noexcept {
    if ((block & kLarge) != 0) {
        m_large[block & ~kLarge].reset();
        m_released_large.push_back(block);
        return;
    }
    Block& last = m_released[units_of(size)];
    std::memcpy(address(block), &last, sizeof last);
    last = block;
}

// Takes a block from the last chunk, or from a new one if the block does not fit. The rest of the
// old chunk is then never used: 252 of 262,144 bytes at most. If the names for chunks are used up,
// the block comes from the heap.
Concept_arena::Block Concept_arena::cut(std::size_t units) {
    if (m_next_unit + units > kUnitsOfChunk) {
        if (m_chunks.size() == kLarge / kUnitsOfChunk) {
            return allocate_large(units * kUnit);
        }
        m_chunks.push_back(
            std::make_unique_for_overwrite<std::byte[]>(kUnit * std::size_t{kUnitsOfChunk}));
        m_next_unit = 0;
    }
    const auto chunk = static_cast<std::uint32_t>(m_chunks.size() - 1);
    const Block block = chunk * kUnitsOfChunk + m_next_unit;
    m_next_unit += static_cast<std::uint32_t>(units);
    return block;
}

Concept_arena::Block Concept_arena::allocate_large(std::size_t size) {
    auto bytes = std::make_unique_for_overwrite<std::byte[]>(size);
    if (m_released_large.empty()) {
        if (m_large.size() == (kNone & ~kLarge)) {
            throw std::length_error("Concept: too many long texts");
        }
        m_large.push_back(nullptr);
        m_released_large.reserve(m_large.capacity());
        m_released_large.push_back(kLarge | static_cast<Block>(m_large.size() - 1));
    }
    const Block block = m_released_large.back();
    m_released_large.pop_back();
    m_large[block & ~kLarge] = std::move(bytes);
    return block;
}

}  // namespace zandrel::detail
