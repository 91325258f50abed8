// Call_words: the words of one message, of which a container does not know some.
// Not installed: the library's own.
#ifndef ZANDREL_FROZEN_CALL_WORDS_H_
#define ZANDREL_FROZEN_CALL_WORDS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/frozen/Frozen_words.h"

namespace zandrel::detail {

// Looks words up for one message after the other. A word that the container knows has the record of
// its Frozen_words. Any other word gets a record here, which lives until `clear`. So equal words of
// a message have one handle, as in the dictionary, and nothing is written that other threads see.
//
// Errors: std::bad_alloc, std::length_error for a word of 4 GiB or more; the word is not added.
// Threads: one object belongs to one thread at a time.
class Call_words {
public:
    Call_words();

    // Assigns the handle of each text to the element of `concepts` with the same index, as
    // Concept::insert_views does.
    void look_up(const Frozen_words& known, std::span<const std::string_view> texts,
                 Concept* concepts);

    // Forgets the unknown words. Most of the memory is kept for the next message, but not more than
    // about a megabyte: a text of many millions of words costs memory only while it is used.
    // REQUIRES: all handles of these words are destroyed.
    void clear() noexcept;

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t filling = 0;  // the slot is used if it has the number of the present filling
        std::byte* block = nullptr;
    };

    struct Look_up;

    static constexpr std::size_t kFewestSlots = 256;  // a power of two, like every count of slots
    static constexpr std::size_t kMostKeptSlots = std::size_t{1} << 15U;
    static constexpr std::size_t kChunkSize = std::size_t{1} << 16U;

    bool is_used(std::size_t slot) const noexcept { return m_slots[slot].filling == m_filling; }

    std::size_t next(std::size_t slot) const noexcept { return (slot + 1) & (m_slots.size() - 1); }

    std::size_t home(std::uint32_t hash) const noexcept { return hash & (m_slots.size() - 1); }

    Concept find_or_add(std::string_view text, std::uint32_t hash);
    Concept add(std::string_view text, std::uint32_t hash);
    std::byte* allocate(std::size_t size);
    void grow();

    std::vector<Slot> m_slots;
    std::uint32_t m_filling = 1;
    std::size_t m_size = 0;
    std::vector<std::unique_ptr<std::byte[]>> m_chunks;  // the first one is kept
    std::size_t m_free_size = 0;                         // at the end of the last chunk
    std::vector<std::unique_ptr<std::byte[]>> m_long_words;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FROZEN_CALL_WORDS_H_
