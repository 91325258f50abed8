// Best_features: selects the concepts with the greatest scores.
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

namespace zandrel::detail {

// Offers an entry with this score to `best`, the best entries so far. When `best` has `capacity`
// entries, it becomes a heap with the least entry on top. Returns true if the entry was taken. A
// score of 0 or NaN is refused.
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
// with the greater texts. The selection does not depend on the order of offering.
//
// A profile's own concepts are offered first, in any order, and are kept in a heap. Concepts from
// outside follow, nearly in the order of their scores. While there is room they are appended to a
// list, so at the end we mostly merge ordered lists. With one heap and one sort of all features
// instead, the heap and the sort took 14 % of a training of 150 categories with 100 short texts
// each, where most features are from outside. When there is no more room, a concept replaces the
// least feature, and is put into a second heap.
//
// For example, with room for 4, the own scores 5 and 1 and the outside scores 4, 3, 2, 0.5: 4 and 3
// are appended, 2 replaces 1, and 0.5 is refused. The lists are then (5), (4, 3) and (2).
class Best_features {
public:
    struct Feature {
        Concept_judge::Judged judged;
        const Concept* known;  // BORROWS
        zeStat_storage::P* P;  // BORROWS: the profile's entry, or null
        std::uint32_t info;    // position of the concept in the table of all concepts; may be wrong
    };

    // Forgets all features. The profile has `own_count` concepts. A capacity below 0 counts as 0.
    void start(int capacity, std::size_t own_count);

    std::size_t capacity() const noexcept { return m_capacity; }

    // The score that an own concept must reach to be taken; any score while there is room.
    double least_own_score() const noexcept {
        return is_full_of_own() ? m_own.front().score : -std::numeric_limits<double>::infinity();
    }

    void offer_own(const Feature& offered);

    // Call it after the last own concept.
    void end_own() { std::sort(m_own.begin(), m_own.end(), Is_greater()); }

    // Returns true if the feature was taken. The feature must not move in memory afterwards.
    bool offer_outside(const Feature& offered);

    // Orders the features, the greatest first. No more may be offered afterwards.
    void end_outside();

    std::size_t size() const noexcept { return m_all.size(); }

    const Feature& operator[](std::size_t i) const noexcept { return *m_all[i].feature; }

private:
    // Sorting moves only keys, not features.
    struct Key {
        double score;
        const Feature* feature;
    };

    using Keys = std::vector<Key>;

    // A type, not a function, so that the algorithms inline it.
    struct Is_greater {
        bool operator()(const Key& left, const Key& right) const noexcept {
            return left.score > right.score ||
                   (left.score == right.score && *right.feature->known < *left.feature->known);
        }
    };

    bool is_full_of_own() const noexcept { return m_own.size() == m_capacity && m_capacity != 0; }

    static void sort_nearly_sorted(Keys& keys);
    const Key& least() const noexcept;
    void remove_least() noexcept;

    std::size_t m_capacity = 0;
    Keys m_own;       // a heap once it is full; ordered after `end_own`
    Keys m_appended;  // from outside
    Keys m_late;      // from outside, each in place of a lesser feature; a heap
    Keys m_all;
    bool m_is_full = false;  // `m_appended` is complete and ordered
    // The features of own concepts, which do not move. The next offered concept is written to the
    // free slot. If it replaces another concept, the slot of that concept becomes the free one.
    std::vector<Feature> m_slots;
    std::size_t m_free_slot = 0;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_BEST_FEATURES_H_
