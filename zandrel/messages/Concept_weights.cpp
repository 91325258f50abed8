// Slots are searched by linear probing. A slot contains the number of a filling, and is free if
// this is not the number of the present filling. We do not use concept_map here, for two reasons.
// It keeps the places of erased entries. And its `clear` frees an index of more than 128 slots, so
// each text of more than about 96 concepts would allocate the index again.
#include "zandrel/messages/Concept_weights.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <stdexcept>
#include <utility>

namespace zandrel {

Concept_weights::iterator Concept_weights::find(const Concept& wanted) noexcept {
    const std::size_t slot = slot_of(wanted);
    return is_used(slot) ? m_entries.begin() + m_slots[slot].entry : m_entries.end();
}

Concept_weights::const_iterator Concept_weights::find(const Concept& wanted) const noexcept {
    const std::size_t slot = slot_of(wanted);
    return is_used(slot) ? m_entries.begin() + m_slots[slot].entry : m_entries.end();
}

double Concept_weights::at(const Concept& wanted) const {
    const const_iterator entry = find(wanted);
    if (entry == end()) {
        throw std::out_of_range("Concept_weights: no such concept");
    }
    return entry->second;
}

double& Concept_weights::add(const Concept& added, std::size_t slot) {
    if (m_entries.size() == std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("Concept_weights: too many concepts");
    }
    if ((m_entries.size() + 1) * 2 > m_slot_count) {
        rehash(m_slot_count * 2);
        slot = slot_of(added);
    }
    m_entries.emplace_back(added, 0.0);
    m_slots[slot] = {m_filling, static_cast<std::uint32_t>(m_entries.size() - 1)};
    return m_entries.back().second;
}

void Concept_weights::erase(const_iterator erased) noexcept {
    const auto entry = static_cast<std::size_t>(erased - m_entries.cbegin());
    const std::size_t slot_of_last = slot_of(m_entries.back().first);
    const std::size_t gap = slot_of(m_entries[entry].first);
    m_slots[slot_of_last].entry = static_cast<std::uint32_t>(entry);
    std::swap(m_entries[entry], m_entries.back());
    close_gap(gap);
    m_entries.pop_back();
}

// Frees the slot `gap`. Each later slot, up to the next free one, is moved into the gap, unless its
// home is behind the gap. The slot from which it was moved is the new gap.
void Concept_weights::close_gap(std::size_t gap) noexcept {
    const std::size_t mask = m_slot_count - 1;
    for (std::size_t slot = next(gap); is_used(slot); slot = next(slot)) {
        const std::size_t way_from_home =
            (slot - home(m_entries[m_slots[slot].entry].first)) & mask;
        if (way_from_home >= ((slot - gap) & mask)) {
            m_slots[gap] = m_slots[slot];
            gap = slot;
        }
    }
    m_slots[gap] = {};
}

void Concept_weights::clear() noexcept {
    m_slot_count = std::max(kFewestSlots, std::bit_ceil(m_entries.size() * 2));
    m_entries.clear();
    begin_filling();
}

void Concept_weights::rehash(std::size_t slot_count) {
    slot_count = std::bit_ceil(std::max({slot_count, kFewestSlots, m_entries.size() * 2}));
    if (slot_count > m_slots.size()) {
        m_slots.assign(slot_count, {});
    }
    m_slot_count = slot_count;
    begin_filling();
    enter_all();
}

void Concept_weights::swap(Concept_weights& other) noexcept {
    m_entries.swap(other.m_entries);
    m_slots.swap(other.m_slots);
    std::swap(m_slot_count, other.m_slot_count);
    std::swap(m_filling, other.m_filling);
}

// A slot with the number 0 is free in every filling. After four billion fillings the numbers run
// out; we then free all slots and start at 1 again.
void Concept_weights::begin_filling() noexcept {
    if (m_filling == std::numeric_limits<std::uint32_t>::max()) {
        std::fill(m_slots.begin(), m_slots.end(), Slot());
        m_filling = 0;
    }
    ++m_filling;
}

void Concept_weights::enter_all() noexcept {
    for (std::uint32_t entry = 0; entry < m_entries.size(); ++entry) {
        std::size_t slot = home(m_entries[entry].first);
        while (is_used(slot)) {
            slot = next(slot);
        }
        m_slots[slot] = {m_filling, entry};
    }
}

}  // namespace zandrel
