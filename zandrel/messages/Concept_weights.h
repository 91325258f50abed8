// Concept_weights: the table in which a feeder sums the weights of concepts.
#ifndef ZANDREL_MESSAGES_CONCEPT_WEIGHTS_H_
#define ZANDREL_MESSAGES_CONCEPT_WEIGHTS_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"

namespace zandrel {

// A hash table from concept to weight, which is filled with one text after another. It has the
// operations of std::unordered_map that the feeder needs.
//
// The entries are in a dense array in the order in which they were added. If an entry is erased,
// the last entry moves to its place. A table of slots finds the entries: a slot has the number of
// an entry, and the number of a filling. The slot is used only if the second number is that of the
// present filling. So `clear` only begins the next filling, and no slot is written. The next
// filling starts with as many slots as the last one needed. So the cost of a text depends on its
// own size, even after a text of a million concepts.
//
// An iterator is valid until an entry is added or erased. The order depends on earlier additions
// and removals, so it must not affect a result.
class ZANDREL_EXPORT Concept_weights {
public:
    using value_type = std::pair<Concept, double>;  // the concept of an entry must not be changed
    using iterator = std::vector<value_type>::iterator;
    using const_iterator = std::vector<value_type>::const_iterator;

    Concept_weights() : m_slots(kFewestSlots), m_slot_count(kFewestSlots) {}

    Concept_weights(const Concept_weights&) = default;
    Concept_weights& operator=(const Concept_weights&) = default;

    // The source is empty afterwards and can be filled again. So it needs new slots, and there may
    // be no memory for them.
    // NOLINTBEGIN(performance-noexcept-move-constructor)
    Concept_weights(Concept_weights&& other) : Concept_weights() { swap(other); }

    Concept_weights& operator=(Concept_weights&& other) {
        Concept_weights(std::move(other)).swap(*this);
        return *this;
    }

    // NOLINTEND(performance-noexcept-move-constructor)

    ~Concept_weights() = default;

    bool empty() const noexcept { return m_entries.empty(); }

    std::size_t size() const noexcept { return m_entries.size(); }

    iterator begin() noexcept { return m_entries.begin(); }

    const_iterator begin() const noexcept { return m_entries.begin(); }

    iterator end() noexcept { return m_entries.end(); }

    const_iterator end() const noexcept { return m_entries.end(); }

    iterator find(const Concept& wanted) noexcept;
    const_iterator find(const Concept& wanted) const noexcept;

    // RAISES: std::out_of_range for a concept that is not there.
    double at(const Concept& wanted) const;

    // Returns the weight of the concept. A concept without an entry gets one with the weight 0.
    // RAISES: std::bad_alloc; std::length_error for more than 4,294,967,295 entries.
    double& operator[](const Concept& wanted) {
        const std::size_t slot = slot_of(wanted);
        if (is_used(slot)) {
            return m_entries[m_slots[slot].entry].second;
        }
        return add(wanted, slot);
    }

    void erase(const_iterator erased) noexcept;
    void clear() noexcept;
    // Uses at least `slot_count` slots.
    void rehash(std::size_t slot_count);
    void swap(Concept_weights& other) noexcept;

private:
    struct Slot {
        std::uint32_t filling = 0;  // the slot is used if it has the number of the present filling
        std::uint32_t entry = 0;
    };

    static constexpr std::size_t kFewestSlots = 128;  // a power of two, like every count of slots

    bool is_used(std::size_t slot) const noexcept { return m_slots[slot].filling == m_filling; }

    std::size_t next(std::size_t slot) const noexcept { return (slot + 1) & (m_slot_count - 1); }

    std::size_t home(const Concept& of) const noexcept { return of.hash() & (m_slot_count - 1); }

    // Returns the slot of a concept, or the free slot where the search ended.
    std::size_t slot_of(const Concept& wanted) const noexcept {
        std::size_t slot = home(wanted);
        while (is_used(slot) && m_entries[m_slots[slot].entry].first != wanted) {
            slot = next(slot);
        }
        return slot;
    }

    double& add(const Concept& added, std::size_t slot);
    void close_gap(std::size_t gap) noexcept;
    void begin_filling() noexcept;
    void enter_all() noexcept;

    std::vector<value_type> m_entries;
    std::vector<Slot> m_slots;
    std::size_t m_slot_count;  // number of slots in use; at least two for each entry
    std::uint32_t m_filling = 1;
};

}  // namespace zandrel

#endif  // ZANDREL_MESSAGES_CONCEPT_WEIGHTS_H_
