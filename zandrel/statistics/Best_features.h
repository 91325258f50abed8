// Best_features: the concepts with the greatest scores of those offered.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_BEST_FEATURES_H_
#define ZANDREL_STATISTICS_BEST_FEATURES_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/statistics/Concept_judge.h"
#include "zandrel/statistics/zeStat_storage.h"

// Offers an entry of this score to the best so far, which are a heap with the least on top once
// they are as many as `capacity`. Returns true if it was taken. A score of 0 or one that is not a
// number is refused.
template <class Entry, class Is_greater>
bool offer_to_best(std::vector<Entry>& best, const Entry& offered, double score,
                   std::size_t capacity, Is_greater is_greater) {
    if (score == 0.0 || std::isnan(score) || capacity == 0) {
        return false;
    }
    if (best.size() < capacity) {
        best.push_back(offered);
        if (best.size() == capacity) {
            std::make_heap(best.begin(), best.end(), is_greater);
        }
        return true;
    }
    if (!is_greater(offered, best.front())) {
        return false;
    }
    std::pop_heap(best.begin(), best.end(), is_greater);
    best.back() = offered;
    std::push_heap(best.begin(), best.end(), is_greater);
    return true;
}

// Keeps the best concepts of one profile: those with the greatest scores, and of equal scores those
// with the greater texts. Which are kept does not depend on the order of offering.
//
// The heap moves keys of 16 bytes. Everything else about a concept is in a slot, which it keeps.
// While the heap is full, one more slot is free for the concept that is offered. For example, with
// capacity 2 the slots are 0, 1 and 2: the third concept is written to slot 2, and if it replaces
// the one of slot 0, the fourth is written there.
class Best_features {
public:
    struct Feature {
        Concept_judge::Judged judged;
        const Concept* known;  // BORROWS
        zeStat_storage::P* P;  // BORROWS: the profile's entry, or null
    };

private:
    struct Key {
        double score;
        std::uint32_t slot;
    };

    auto by_score_and_text() const noexcept {
        return [this](const Key& left, const Key& right) {
            return left.score > right.score ||
                   (left.score == right.score &&
                    *m_slots[right.slot].known < *m_slots[left.slot].known);
        };
    }

public:
    // Forgets all. Capacities below 0 count as 0.
    void start(int capacity) {
        m_capacity = static_cast<std::size_t>(std::max(capacity, 0));
        m_keys.clear();
        m_slots.resize(1);
        m_free_slot = 0;
    }

    std::size_t capacity() const noexcept { return m_capacity; }

    // What a score must reach to be taken: nothing while there is room.
    double least_score() const noexcept {
        return m_keys.size() < m_capacity || m_keys.empty()
                   ? -std::numeric_limits<double>::infinity()
                   : m_keys.front().score;
    }

    // Returns true if the feature was taken.
    bool offer(const Feature& offered) {
        const bool has_room = m_keys.size() < m_capacity;
        m_slots[m_free_slot] = offered;
        const Key key = {offered.judged.score, m_free_slot};
        const std::uint32_t freed =
            has_room || m_keys.empty() ? m_free_slot + 1 : m_keys.front().slot;
        if (!offer_to_best(m_keys, key, key.score, m_capacity, by_score_and_text())) {
            return false;
        }
        m_free_slot = freed;
        if (m_free_slot == m_slots.size()) {
            m_slots.push_back({});
        }
        return true;
    }

    // Brings the features into their order, the greatest first. No more may be offered.
    void sort() { std::sort(m_keys.begin(), m_keys.end(), by_score_and_text()); }

    std::size_t size() const noexcept { return m_keys.size(); }

    const Feature& operator[](std::size_t i) const noexcept { return m_slots[m_keys[i].slot]; }

private:
    std::size_t m_capacity = 0;
    std::vector<Key> m_keys;
    std::vector<Feature> m_slots;
    std::uint32_t m_free_slot = 0;
};

#endif  // ZANDREL_STATISTICS_BEST_FEATURES_H_
