// Row_index: finds the row of a word in one match table.
// Not installed: the library's own.
#ifndef ZANDREL_FROZEN_ROW_INDEX_H_
#define ZANDREL_FROZEN_ROW_INDEX_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "zandrel/foundation/Uncounted_concept.h"
#include "zandrel/frozen/Frozen_words.h"
#include "zandrel/statistics/Match_table.h"

namespace zandrel::detail {

// Leads from the numbers of words to the rows of a Match_table. Row_index.cpp explains it with an
// example.
//
// BORROWS: the rows; the table must not change.
// Threads: any number may read one object.
class Row_index {
public:
    using Pairs = Match_table::Pairs;

    // REQUIRES: `words` has all words of the table.
    Row_index(const Match_table& table, const Frozen_words::List& words);

    // Returns the row of a word, or null. `number`: any number.
    const Pairs* find(std::uint32_t number) const noexcept {
        if (number < m_dense_count) {
            return &m_rows[number];
        }
        const std::size_t block = number / kBlockSize;
        if (block >= m_blocks.size()) {
            return number < m_sparse_end ? find_sparse(number) : find_other(number);
        }
        const std::uint64_t bit = std::uint64_t{1} << (number % kBlockSize);
        const std::uint64_t bits = m_blocks[block].bits;
        if ((bits & bit) == 0) {
            return nullptr;
        }
        const auto before = static_cast<std::size_t>(std::popcount(bits & (bit - 1)));
        return &m_rows[m_blocks[block].rows_before + before];
    }

    // In bytes, without this object.
    std::size_t memory_use() const noexcept {
        return m_rows.capacity() * sizeof(Pairs) + m_blocks.capacity() * sizeof(Block) +
               (m_numbers.capacity() + m_part_starts.capacity()) * sizeof(std::uint32_t);
    }

private:
    static constexpr std::size_t kBlockSize = 64;

    struct Block {
        std::uint64_t bits = 0;  // bit `i`: the table has a row of the i-th number of the block
        std::uint32_t rows_before = 0;
    };

    using Numbered_rows = std::vector<std::pair<std::uint32_t, const Pairs*>>;

    void make_blocks(const Numbered_rows& rows);
    void make_parts(const Numbered_rows& rows, std::size_t part_count);
    const Pairs* find_sparse(std::uint32_t number) const noexcept;

    const Pairs* find_other(std::uint32_t number) const noexcept {
        return number == Uncounted_concept::kEmptyNumber ? m_empty_row : nullptr;
    }

    std::vector<Pairs> m_rows;      // in the order of the numbers
    std::size_t m_dense_count = 0;  // so many numbers from 0 on have rows, one behind the other
    std::vector<Block> m_blocks;    // of a table that is neither dense nor sparse
    // Of a sparse table.
    std::uint32_t m_sparse_end = 0;            // one more than the greatest number
    unsigned int m_part_shift = 0;             // a part has 2 to the power of this many numbers
    std::vector<std::uint32_t> m_numbers;      // of the rows
    std::vector<std::uint32_t> m_part_starts;  // the first row of each part, and the end
    const Pairs* m_empty_row = nullptr;        // of the empty text, which is a word like any other
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FROZEN_ROW_INDEX_H_
