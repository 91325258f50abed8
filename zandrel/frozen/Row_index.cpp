// From the number of a word to a row, without a hash table.
//
// The words of the root's table have the first numbers, in the order of its rows. So a container
// with one classifier needs only a list of rows, and the number of a word is an index in it.
//
// The table of a lower classifier has few of the words. A list for all numbers would take most of
// the memory of a tree with hundreds of classifiers. So its rows are in a list without gaps. A bit
// for each number says if there is a row, and each block of 64 bits has the number of rows before
// the block. So a number costs two bits, and most words without a row are found to have none in a
// table that is small enough for the cache.
//
// For example, with blocks of 4 bits, a table with rows for the numbers 1, 3 and 6:
//
//     block   bits (lowest first)   rows before
//     0       0 1 0 1               0
//     1       0 0 1 0               2
//
// The number 3 is bit 3 of block 0. One bit below it is set, so its row is 0 + 1 = 1.
#include "zandrel/frozen/Row_index.h"

#include <algorithm>
#include <utility>

namespace zandrel::detail {

Row_index::Row_index(const Match_table& table, const Frozen_words::List& words) {
    std::vector<std::pair<std::uint32_t, const Pairs*>> rows;
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

}  // namespace zandrel::detail
