// Concept_row: finds the concepts of a record's lists in the record's first list.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_CONCEPT_ROW_H_
#define ZANDREL_STATISTICS_CONCEPT_ROW_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/statistics/Concept_order.h"

namespace zandrel::detail {

// A model's record has the texts of its table of all concepts, in order, and then the texts of each
// profile, also in order. Nearly all texts of the profiles are in the first list. A look-up in the
// dictionary is slow, since it waits twice for memory: for a slot and for a record. So we search
// the first list instead: forward by steps that double, and then by a binary search in the last
// step.
//
// For example, the first list is a b c d e f g h, and a profile has c and g. For c we compare a
// (less), then c (not less): c is one of the two behind a. For g we continue behind c: d is less, f
// is less, and the next step ends behind the list, so g is one of the last two.
//
// A text that is not in the first list, or that is not in order, comes from the dictionary.
// BM_LoadFromFile of bench/kc_bench.cpp measures the load of a container.
//
// BORROWS: the concepts that are added.
class Concept_row {
public:
    void reserve(std::size_t count) {
        m_places.reserve(count);
        m_concepts.reserve(count);
    }

    void add(const Concept& next) {
        m_places.push_back({text_prefix(next.view()), next.view()});
        m_concepts.push_back(&next);
    }

    // Call it before the first text of each list.
    void rewind() noexcept { m_next = 0; }

    // Returns the concept of the next text of the list.
    // RAISES: as Concept::insert_view.
    Concept take(std::string_view text) {
        const std::uint64_t prefix = text_prefix(text);
        const std::size_t found = first_not_less(prefix, text);
        if (found < m_places.size() && m_places[found].prefix == prefix &&
            m_places[found].text == text) {
            m_next = found + 1;
            return *m_concepts[found];
        }
        return Concept::insert_view(text);
    }

private:
    struct Place {
        std::uint64_t prefix;   // of the text; nearly always a comparison needs only this
        std::string_view text;  // of the concept, so that the concept itself is not read
    };

    static bool is_less(const Place& place, std::uint64_t prefix, std::string_view text) noexcept {
        return place.prefix != prefix ? place.prefix < prefix : place.text < text;
    }

    std::size_t first_not_less(std::uint64_t prefix, std::string_view text) const noexcept {
        std::size_t begin = m_next;
        std::size_t step = 1;
        while (step <= m_places.size() - begin &&
               is_less(m_places[begin + step - 1], prefix, text)) {
            begin += step;
            step *= 2;
        }
        const std::size_t end = begin + std::min(step - 1, m_places.size() - begin);
        const auto found =
            std::lower_bound(m_places.begin() + static_cast<std::ptrdiff_t>(begin),
                             m_places.begin() + static_cast<std::ptrdiff_t>(end), text,
                             [prefix](const Place& place, std::string_view wanted) {
                                 return is_less(place, prefix, wanted);
                             });
        return static_cast<std::size_t>(found - m_places.begin());
    }

    std::vector<Place> m_places;
    std::vector<const Concept*> m_concepts;  // of each element of `m_places`
    std::size_t m_next = 0;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_CONCEPT_ROW_H_
