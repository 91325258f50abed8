// Frozen_words: the words that a container knows, for look-ups by many threads.
// Not installed: the library's own.
#ifndef ZANDREL_FROZEN_FROZEN_WORDS_H_
#define ZANDREL_FROZEN_FROZEN_WORDS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/Uncounted_concept.h"
#include "zandrel/foundation/concept_map.h"
#include "zandrel/foundation/prefetch.h"

namespace zandrel::detail {

// A table of words that never changes. Each word has a record of its own, whose handles are not
// counted; see Uncounted_concept. So a look-up writes nothing, and neither does copying or
// destroying a handle. Frozen_words.cpp explains the table.
//
// Errors: std::bad_alloc; std::length_error "Frozen_words: words of 16 GiB or more".
// Threads: any number may read one object.  REQUIRES: all handles are destroyed before the table.
class ZANDREL_EXPORT Frozen_words {
public:
    // Words in the order of their numbers. The values have no meaning.
    using List = concept_map<char>;

    // A table without words.
    Frozen_words() = default;
    // The table of the words of a list. The number of a word is its position. The empty text is
    // left out.
    // REQUIRES: no erased entry in the list; the rules for the threads of concepts.
    explicit Frozen_words(const List& words);

    // The slot where a search begins.
    using Start = std::size_t;

    // Returns the record of a text, or null. `hash`: of the text.
    std::byte* find(std::string_view text, std::uint32_t hash) const noexcept {
        return find(text, hash, home(hash));
    }

    // Does the same. `start`: what `prefetch_record` returned for the hash.
    std::byte* find(std::string_view text, std::uint32_t hash, Start start) const noexcept {
        const Slot* const slots = m_slots.data();
        for (std::size_t at = start; slots[at].place != kFree; at = next(at)) {
            if (slots[at].hash == hash && text == text_of(slots[at])) {
                return block_of(slots[at]);
            }
        }
        return nullptr;
    }

    // Returns the concept of this table with the text of a concept of the dictionary. The empty
    // concept remains as it is.
    // REQUIRES: the table has the text.
    Concept bind(const Concept& word) const;

    // As look_up_together wants them.

    void prefetch_slot(std::uint32_t hash) const noexcept { prefetch(&m_slots[home(hash)]); }

    // Returns the first slot with this hash, or the free slot where the search for it ends.
    Start prefetch_record(std::uint32_t hash) const noexcept {
        const Slot* const slots = m_slots.data();
        std::size_t at = home(hash);
        while (slots[at].hash != hash && slots[at].place != kFree) {
            at = next(at);
        }
        if (slots[at].place != kFree) {
            prefetch(block_of(slots[at]));
        }
        return at;
    }

    std::size_t size() const noexcept { return m_size; }

    // In bytes, without this object.
    std::size_t memory_use() const noexcept;

private:
    // A place is a number of units of 4 bytes from the beginning of `m_records`.
    static constexpr std::uint32_t kFree = 0xFFFFFFFF;
    static constexpr std::size_t kUnit = 4;

    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t place = kFree;
    };

    std::size_t home(std::uint32_t hash) const noexcept { return hash & m_mask; }

    std::size_t next(std::size_t at) const noexcept { return (at + 1) & m_mask; }

    std::byte* block_of(const Slot& slot) const noexcept {
        return m_records.get() + kUnit * slot.place;
    }

    std::string_view text_of(const Slot& slot) const noexcept {
        return Uncounted_concept::text_at(block_of(slot));
    }

    void add(std::string_view text, std::uint32_t hash, std::size_t at, std::uint32_t number);

    // Their number is a power of two, and at least one is free, so that each search ends.
    std::vector<Slot> m_slots = std::vector<Slot>(1);
    std::size_t m_mask = 0;  // one less than that
    std::unique_ptr<std::byte[]> m_records;
    std::size_t m_record_bytes = 0;
    std::size_t m_size = 0;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FROZEN_FROZEN_WORDS_H_
