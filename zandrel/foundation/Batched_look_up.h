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
// `table`: `prefetch_slot(hash)` begins to load the slot where the search begins,
// `prefetch_record(hash)` the first record with this hash, and `find(text, hash)` does the look-up.
template <class Table, class Hash>
void look_up_together(const Table& table, Hash hash_of, std::span<const std::string_view> texts,
                      Concept* concepts) {
    constexpr std::size_t kTogether = 16;
    std::array<std::uint32_t, kTogether> hashes = {};
    for (; !texts.empty(); texts = texts.subspan(std::min(kTogether, texts.size()))) {
        const std::size_t count = std::min(kTogether, texts.size());
        for (std::size_t i = 0; i < count; ++i) {
            hashes[i] = hash_of(texts[i]);
            table.prefetch_slot(hashes[i]);
        }
        for (std::size_t i = 0; i < count; ++i) {
            table.prefetch_record(hashes[i]);
        }
        for (std::size_t i = 0; i < count; ++i) {
            *concepts++ = table.find(texts[i], hashes[i]);
        }
    }
}

}  // namespace zandrel::detail

#endif  // ZANDREL_FOUNDATION_BATCHED_LOOK_UP_H_
