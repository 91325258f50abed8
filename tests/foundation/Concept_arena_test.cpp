#include "zandrel/foundation/Concept_arena.h"

#include <cstddef>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

using zandrel::detail::Concept_arena;

namespace {

using Block = Concept_arena::Block;

// Gives each byte of a block the same value.
void fill(const Concept_arena& arena, Block block, std::size_t size, unsigned char value) {
    std::memset(arena.address(block), value, size);
}

bool is_filled(const Concept_arena& arena, Block block, std::size_t size, unsigned char value) {
    const std::vector<unsigned char> expected(size, value);
    return std::memcmp(arena.address(block), expected.data(), size) == 0;
}

TEST(ConceptArenaTest, SmallBlocksFollowEachOtherInUnitsOfFourBytes) {
    Concept_arena arena;

    const std::byte* const first = arena.address(arena.allocate(25));
    const std::byte* const second = arena.address(arena.allocate(16));
    const std::byte* const third = arena.address(arena.allocate(1));

    EXPECT_EQ(second - first, 28);
    EXPECT_EQ(third - second, 16);
}

TEST(ConceptArenaTest, ReleasedBlockIsReusedForTheNextOfItsSize) {
    Concept_arena arena;
    const Block first = arena.allocate(25);
    const Block second = arena.allocate(26);
    arena.release(first, 25);
    arena.release(second, 26);

    const Block other_size = arena.allocate(29);

    EXPECT_NE(other_size, first);
    EXPECT_NE(other_size, second);
    EXPECT_EQ(arena.allocate(28), second);
    EXPECT_EQ(arena.allocate(27), first);
}

TEST(ConceptArenaTest, NameOfAReleasedLargeBlockIsReused) {
    Concept_arena arena;
    const Block first = arena.allocate(257);
    const Block second = arena.allocate(100000);
    arena.release(first, 257);

    EXPECT_EQ(arena.allocate(1000), first);
    EXPECT_NE(arena.allocate(1000), second);
}

TEST(ConceptArenaTest, LongestSmallBlocksFillChunksToTheLastByte) {
    constexpr int kBlocksOfChunk = 1024;  // 262,144 / 256
    Concept_arena arena;
    std::vector<Block> blocks;
    for (int i = 0; i < 3 * kBlocksOfChunk; ++i) {
        blocks.push_back(arena.allocate(256));
        fill(arena, blocks.back(), 256, static_cast<unsigned char>(i % 251));
    }

    for (int i = 0; i < 3 * kBlocksOfChunk; ++i) {
        ASSERT_TRUE(is_filled(arena, blocks[static_cast<std::size_t>(i)], 256,
                              static_cast<unsigned char>(i % 251)))
            << i;
    }
}

// All blocks in use keep their bytes, whatever other blocks are allocated and released.
TEST(ConceptArenaTest, BlocksInUseNeverOverlap) {
    struct Use {
        std::size_t size;
        unsigned char value;
    };

    Concept_arena arena;
    std::map<Block, Use> used;
    std::mt19937 random(7);
    for (int step = 0; step < 20000; ++step) {
        const std::size_t size = 1 + random() % 300;
        const auto value = static_cast<unsigned char>(random() % 256);
        const Block block = arena.allocate(size);
        ASSERT_TRUE(used.emplace(block, Use{size, value}).second) << step;
        fill(arena, block, size, value);
        if (random() % 3 == 0) {
            const auto gone = used.lower_bound(static_cast<Block>(random() % 400000));
            if (gone != used.end()) {
                ASSERT_TRUE(is_filled(arena, gone->first, gone->second.size, gone->second.value));
                arena.release(gone->first, gone->second.size);
                used.erase(gone);
            }
        }
    }
    for (const auto& [block, use] : used) {
        ASSERT_TRUE(is_filled(arena, block, use.size, use.value)) << block;
    }
}

}  // namespace
