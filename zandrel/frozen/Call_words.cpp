// The unknown words of a message: records cut from chunks of 64 KiB, and a hash table with linear
// probing, at most half full. A slot is used only if it has the number of the present filling, so
// `clear` writes no slot: it begins the next filling.
#include "zandrel/frozen/Call_words.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "zandrel/foundation/Batched_look_up.h"
#include "zandrel/foundation/Uncounted_concept.h"

namespace zandrel::detail {

// The container's words and those of the call, as look_up_together wants them. Most words are known
// to the container, so only its table is loaded in advance.
struct Call_words::Look_up {
    void prefetch_slot(std::uint32_t hash) const noexcept { known.prefetch_slot(hash); }

    void prefetch_record(std::uint32_t hash) const noexcept { known.prefetch_record(hash); }

    Concept find(std::string_view text, std::uint32_t hash) const {
        if (text.empty()) {
            return Concept();
        }
        std::byte* const found = known.find(text, hash);
        return found != nullptr ? Uncounted_concept::at(found) : unknown.find_or_add(text, hash);
    }

    const Frozen_words& known;
    Call_words& unknown;
};

Call_words::Call_words() : m_slots(kFewestSlots) {}

void Call_words::look_up(const Frozen_words& known, std::span<const std::string_view> texts,
                         Concept* concepts) {
    look_up_together(Look_up{known, *this}, Uncounted_concept::hash_of, texts, concepts);
}

Concept Call_words::find_or_add(std::string_view text, std::uint32_t hash) {
    for (std::size_t slot = home(hash); is_used(slot); slot = next(slot)) {
        if (m_slots[slot].hash == hash && Uncounted_concept::text_at(m_slots[slot].block) == text) {
            return Uncounted_concept::at(m_slots[slot].block);
        }
    }
    return add(text, hash);
}

Concept Call_words::add(std::string_view text, std::uint32_t hash) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("Concept: text of 4 GiB or more");
    }
    if ((m_size + 1) * 2 > m_slots.size()) {
        grow();
    }
    std::byte* const block = allocate(Uncounted_concept::size_of(text));
    std::size_t slot = home(hash);
    while (is_used(slot)) {
        slot = next(slot);
    }
    m_slots[slot] = {hash, m_filling, block};
    ++m_size;
    return Uncounted_concept::make(block, text, hash, Uncounted_concept::kNoNumber);
}

// A word that is longer than a chunk gets a block of its own.
std::byte* Call_words::allocate(std::size_t size) {
    if (size > kChunkSize) {
        m_long_words.push_back(std::make_unique_for_overwrite<std::byte[]>(size));
        return m_long_words.back().get();
    }
    if (size > m_free_size) {
        m_chunks.push_back(std::make_unique_for_overwrite<std::byte[]>(kChunkSize));
        m_free_size = kChunkSize;
    }
    std::byte* const block = m_chunks.back().get() + (kChunkSize - m_free_size);
    m_free_size -= size;
    return block;
}

void Call_words::grow() {
    std::vector<Slot> old(m_slots.size() * 2);
    old.swap(m_slots);
    for (const Slot& moved : old) {
        if (moved.filling == m_filling) {
            std::size_t slot = home(moved.hash);
            while (is_used(slot)) {
                slot = next(slot);
            }
            m_slots[slot] = moved;
        }
    }
}

// A slot with the number 0 is free in every filling. After four billion fillings the numbers run
// out; we then free all slots and start at 1 again.
void Call_words::clear() noexcept {
    m_size = 0;
    m_long_words.clear();
    if (!m_chunks.empty()) {
        m_chunks.resize(1);
        m_free_size = kChunkSize;
    }
    if (m_slots.size() > kMostKeptSlots) {
        m_slots.resize(kFewestSlots);
        m_slots.shrink_to_fit();
        m_filling = std::numeric_limits<std::uint32_t>::max();
    }
    if (m_filling == std::numeric_limits<std::uint32_t>::max()) {
        std::fill(m_slots.begin(), m_slots.end(), Slot());
        m_filling = 0;
    }
    ++m_filling;
}

}  // namespace zandrel::detail
