// look_up_together: looks up many texts in a hash table of concepts.
// Not installed: the library's own.
#ifndef ZANDREL_FOUNDATION_BATCHED_LOOK_UP_H_
#define ZANDREL_FOUNDATION_BATCHED_LOOK_UP_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "zandrel/foundation/Concept.h"

namespace zandrel::detail {

// Assigns the concept of each text to the element of `concepts` with the same index.
//
// A look-up in a large table waits twice for the memory: for the slot, and then for the record. For
// 16 texts at a time, we begin to load all slots, then all records, and only then do the look-ups.
// So the 16 loads of a step run at the same time.
//
// `table`:
// - hash_of(text)
// - prefetch_slot(hash): begins to load the slot where the search begins
// - prefetch_record(hash): begins to load the first record with this hash, and returns what `find`
//   needs to know about it, a Table::Start
// - find(text, hash, start): does the look-up
template <class Table>
void look_up_together(const Table& table, std::span<const std::string_view> texts,
                      Concept* concepts) {
    constexpr std::size_t kTogether = 16;
    std::array<std::uint32_t, kTogether> hashes = {};
    std::array<typename Table::Start, kTogether> starts = {};
    for (; !texts.empty(); texts = texts.subspan(std::min(kTogether, texts.size()))) {
        const std::size_t count = std::min(kTogether, texts.size());
        for (std::size_t i = 0; i < count; ++i) {
            hashes[i] = table.hash_of(texts[i]);
            table.prefetch_slot(hashes[i]);
        }
        for (std::size_t i = 0; i < count; ++i) {
            starts[i] = table.prefetch_record(hashes[i]);
        }
        for (std::size_t i = 0; i < count; ++i) {
            *concepts++ = table.find(texts[i], hashes[i], starts[i]);
        }
    }
}

}  // namespace zandrel::detail

#endif  // ZANDREL_FOUNDATION_BATCHED_LOOK_UP_H_
