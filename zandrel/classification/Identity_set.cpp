// Up to eight identities are compared one by one. The ninth moves them into a table of 64 slots
// with linear probing; the table doubles before it would be more than half full.
#include "zandrel/classification/Identity_set.h"

#include <algorithm>
#include <cstdint>

namespace zandrel::detail {

bool Identity_set::insert(const void* identity) {
    if (m_slots.empty()) {
        const auto end = m_few.begin() + static_cast<std::ptrdiff_t>(m_size);
        if (std::find(m_few.begin(), end, identity) != end) {
            return false;
        }
        if (m_size < kFew) {
            m_few[m_size++] = identity;
            return true;
        }
    }
    if (2 * (m_size + 1) > m_slots.size()) {
        grow();
    }
    const bool is_new = insert_in_table(identity);
    m_size += is_new ? 1 : 0;
    return is_new;
}

bool Identity_set::insert_in_table(const void* identity) {
    // The lowest bits of an address are 0. Bit 32 of the product, and each higher one, depends on
    // all lower bits of the address.
    const std::uint64_t mixed = reinterpret_cast<std::uintptr_t>(identity) * 0x9e3779b97f4a7c15U;
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t slot = (mixed >> 32U) & mask;; slot = (slot + 1) & mask) {
        if (m_slots[slot] == nullptr) {
            m_slots[slot] = identity;
            return true;
        }
        if (m_slots[slot] == identity) {
            return false;
        }
    }
}

void Identity_set::grow() {
    const bool is_first = m_slots.empty();
    std::vector<const void*> old(is_first ? 8 * kFew : 2 * m_slots.size(), nullptr);
    old.swap(m_slots);
    for (const void* const identity : m_few) {
        insert_in_table(identity);
    }
    for (const void* const identity : old) {
        if (identity != nullptr) {
            insert_in_table(identity);
        }
    }
}

}  // namespace zandrel::detail
