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
#include "zandrel/foundation/concept_map.h"

namespace zandrel::detail {

// A table of words that never changes. Each word has a record of its own, whose handles are not
// counted; see Uncounted_concept. So a look-up writes nothing, and neither does copying or
// destroying a handle. Frozen_words.cpp explains the table.
//
// Errors: std::bad_alloc.
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

    // Returns the record of a text, or null. `hash`: of the text.
    std::byte* find(std::string_view text, std::uint32_t hash) const noexcept {
        if (m_slots.empty()) {
            return nullptr;
        }
        for (std::size_t at = home(hash); m_slots[at].place != kFree; at = next(at)) {
            if (m_slots[at].hash == hash && text == text_of(m_slots[at])) {
                return block_of(m_slots[at]);
            }
        }
        return nullptr;
    }

    // Returns the concept of this table with the text of a concept of the dictionary. The empty
    // concept remains as it is.
    // REQUIRES: the table has the text.
    Concept bind(const Concept& word) const;

    // As look_up_together wants them.
    void prefetch_slot(std::uint32_t hash) const noexcept;
    void prefetch_record(std::uint32_t hash) const noexcept;

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

    // The high bits of a product with the number of slots. So that number need not be a power of
    // two, and the table has no unused slots beyond those that it needs.
    std::size_t home(std::uint32_t hash) const noexcept {
        return static_cast<std::size_t>((std::uint64_t{hash} * m_slots.size()) >> 32U);
    }

    std::size_t next(std::size_t at) const noexcept {
        return at + 1 == m_slots.size() ? 0 : at + 1;
    }

    std::byte* block_of(const Slot& slot) const noexcept {
        return m_records.get() + kUnit * slot.place;
    }

    std::string_view text_of(const Slot& slot) const noexcept;
    void add(std::string_view text, std::uint32_t hash, std::size_t at, std::uint32_t number);

    std::vector<Slot> m_slots;
    std::unique_ptr<std::byte[]> m_records;
    std::size_t m_record_bytes = 0;
    std::size_t m_size = 0;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_FROZEN_FROZEN_WORDS_H_
