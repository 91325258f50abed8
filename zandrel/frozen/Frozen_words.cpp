// The table of a container's words.
//
// The dictionary of the process cannot be read by several threads: a look-up there counts a handle,
// and another container may add a word at the same time. So we copy the words of a container once,
// and then never change the copy.
//
// All records are in one block of memory, one behind the other, in the order of their numbers. A
// hash table with linear probing leads from a text to its record. Two of three slots are used. The
// home of a hash is not its low bits, but the part of the way through the table that the hash is of
// 2^32: with 6 slots, the hash 0x80000000 has the home 3.
//
// For example, "ball" and "goal" take 24 bytes each, so their records are at the places 0 and 6,
// in units of 4 bytes, and the table has 4 slots.
#include "zandrel/frozen/Frozen_words.h"

#include <stdexcept>

#include "zandrel/foundation/Uncounted_concept.h"
#include "zandrel/foundation/prefetch.h"

namespace zandrel::detail {

Frozen_words::Frozen_words(const List& words) {
    constexpr std::size_t kSlotsOfWords = 3;
    constexpr std::size_t kWordsOfSlots = 2;
    for (const auto& [word, unused] : words) {
        m_record_bytes += Uncounted_concept::size_of(word.view());
    }
    if (m_record_bytes / kUnit >= kFree) {
        throw std::length_error("Frozen_words: words of 16 GiB or more");
    }
    m_slots.resize(words.size() * kSlotsOfWords / kWordsOfSlots + 1);
    m_records = std::make_unique_for_overwrite<std::byte[]>(m_record_bytes);
    std::size_t at = 0;
    for (auto entry = words.begin(); entry != words.end(); ++entry) {
        const std::string_view text = entry->first.view();
        if (!text.empty()) {
            add(text, entry->first.hash(), at, words.position(entry));
            at += Uncounted_concept::size_of(text);
        }
    }
}

void Frozen_words::add(std::string_view text, std::uint32_t hash, std::size_t at,
                       std::uint32_t number) {
    Uncounted_concept::make(m_records.get() + at, text, hash, number);
    std::size_t slot = home(hash);
    while (m_slots[slot].place != kFree) {
        slot = next(slot);
    }
    m_slots[slot] = {hash, static_cast<std::uint32_t>(at / kUnit)};
    ++m_size;
}

Concept Frozen_words::bind(const Concept& word) const {
    if (word.empty()) {
        return Concept();
    }
    std::byte* const found = find(word.view(), word.hash());
    ZANDREL_ASSERT(found != nullptr, "is_frozen(word)");
    return Uncounted_concept::at(found);
}

std::string_view Frozen_words::text_of(const Slot& slot) const noexcept {
    return Uncounted_concept::text_at(block_of(slot));
}

void Frozen_words::prefetch_slot(std::uint32_t hash) const noexcept {
    if (!m_slots.empty()) {
        prefetch(&m_slots[home(hash)]);
    }
}

// Begins to load the first record with this hash, if there is one.
void Frozen_words::prefetch_record(std::uint32_t hash) const noexcept {
    if (m_slots.empty()) {
        return;
    }
    std::size_t at = home(hash);
    while (m_slots[at].place != kFree && m_slots[at].hash != hash) {
        at = next(at);
    }
    if (m_slots[at].place != kFree) {
        prefetch(block_of(m_slots[at]));
    }
}

std::size_t Frozen_words::memory_use() const noexcept {
    return m_slots.capacity() * sizeof(Slot) + m_record_bytes;
}

}  // namespace zandrel::detail
