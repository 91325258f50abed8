// From the number of a word to a row, without a hash table.
//
// The words of the root's table have the first numbers, in the order of its rows. So a container
// with one classifier needs only a list of rows, and the number of a word is an index in it.
//
// The table of a lower classifier has fewer of the words. A list for all numbers would take most of
// the memory of a tree with many classifiers. So its rows are in a list without gaps, in the order
// of their numbers. There are two forms of finding a row in the list. Each table gets the form that
// takes less memory, so finding costs at most 8 bytes a row, plus 4.
//
// **Blocks.** A bit for each number says if there is a row, and each block of 64 bits has the
// number of rows before the block. So a number costs two bits, and most words without a row are
// found to have none in a table that is small enough for the cache.
//
// For example, with blocks of 4 bits, a table with rows for the numbers 1, 3 and 6:
//
//     block   bits (lowest first)   rows before
//     0       0 1 0 1               0
//     1       0 0 1 0               2
//
// The number 3 is bit 3 of block 0. One bit below it is set, so its row is 0 + 1 = 1.
//
// **Parts.** A sparse table, for example of 200 rows with numbers up to 500,000, has the list of
// its numbers instead. Blocks would take 125,000 bytes, and the list takes 800. The numbers are
// divided into parts of one size, not more parts than rows, and a second list has the first row of
// each part. If the numbers are spread evenly, a search looks at one or two of them. If they are
// all in one part, its cost is logarithmic.
//
// For example, the numbers 100, 250 and 700 have parts of 256 numbers. The lists are (100, 250,
// 700) and (0, 2, 2, 3), where 3 is the end. The number 250 is in part 0, which has the rows from 0
// to below 2.
#include "zandrel/frozen/Row_index.h"

#include <algorithm>
#include <numeric>

namespace zandrel::detail {

Row_index::Row_index(const Match_table& table, const Frozen_words::List& words) {
    Numbered_rows rows;
    rows.reserve(table.size());
    for (const auto& [word, row] : table) {
        if (word.empty()) {
            m_empty_row = &row;
        } else {
            rows.emplace_back(words.position(words.find(word)), &row);
        }
    }
    std::sort(rows.begin(), rows.end());
    m_rows.reserve(rows.size());
    for (const auto& [number, row] : rows) {
        m_dense_count += number == m_dense_count ? 1 : 0;
        m_rows.push_back(*row);
    }
    if (m_dense_count == m_rows.size()) {
        return;
    }
    const std::uint32_t last = rows.back().first;
    while ((last >> m_part_shift) >= rows.size()) {
        ++m_part_shift;
    }
    const std::size_t part_count = (last >> m_part_shift) + std::size_t{1};
    if ((rows.size() + part_count + 1) * sizeof(std::uint32_t) <
        (last / kBlockSize + 1) * sizeof(Block)) {
        make_parts(rows, part_count);
    } else {
        make_blocks(rows);
    }
}

void Row_index::make_blocks(const Numbered_rows& rows) {
    m_blocks.resize(rows.back().first / kBlockSize + 1);
    for (const auto& [number, row] : rows) {
        m_blocks[number / kBlockSize].bits |= std::uint64_t{1} << (number % kBlockSize);
    }
    std::uint32_t row_count = 0;
    for (Block& block : m_blocks) {
        block.rows_before = row_count;
        row_count += static_cast<std::uint32_t>(std::popcount(block.bits));
    }
}

// Counts the rows of each part one place behind the part, and then adds the counts up.
void Row_index::make_parts(const Numbered_rows& rows, std::size_t part_count) {
    m_sparse_end = rows.back().first + 1;
    m_numbers.reserve(rows.size());
    m_part_starts.resize(part_count + 1);
    for (const auto& [number, row] : rows) {
        m_numbers.push_back(number);
        ++m_part_starts[(number >> m_part_shift) + 1];
    }
    std::partial_sum(m_part_starts.begin(), m_part_starts.end(), m_part_starts.begin());
}

const Row_index::Pairs* Row_index::find_sparse(std::uint32_t number) const noexcept {
    const std::uint32_t part = number >> m_part_shift;
    const std::uint32_t* const first = m_numbers.data() + m_part_starts[part];
    const std::uint32_t* const end = m_numbers.data() + m_part_starts[part + 1];
    const std::uint32_t* const found = std::lower_bound(first, end, number);
    if (found == end || *found != number) {
        return nullptr;
    }
    return &m_rows[static_cast<std::size_t>(found - m_numbers.data())];
}

}  // namespace zandrel::detail
