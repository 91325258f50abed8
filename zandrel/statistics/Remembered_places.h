// Remembered_places: the positions of the table entries that a slice of messages uses.
#ifndef ZANDREL_STATISTICS_REMEMBERED_PLACES_H_
#define ZANDREL_STATISTICS_REMEMBERED_PLACES_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zandrel::detail {

// To take a slice of messages out of a model, we look up each concept in the table of all concepts
// and in the profiles. To add the slice again, we need the same entries in the same order, and
// erased entries have kept their places. So the first pass notes the positions. The second pass
// takes them as guesses, so that it need not search the indexes.
//
// A guess may be wrong: concept_map checks it.
class Remembered_places {
public:
    using Position = std::uint32_t;

    static constexpr Position kUnknown = 0xffffffffU;

    // Begins a pass that notes positions.
    void record() {
        m_places.clear();
        m_is_recording = true;
    }

    // Begins a pass that reads the positions as guesses.
    void replay() {
        m_next = 0;
        m_is_recording = false;
    }

    void note(Position place) {
        if (m_is_recording) {
            m_places.push_back(place);
        }
    }

    Position guess() {
        return !m_is_recording && m_next < m_places.size() ? m_places[m_next++] : kUnknown;
    }

    // Returns true if there is a guess left.
    bool is_replaying() const noexcept { return !m_is_recording && m_next < m_places.size(); }

    // Returns the guess that `guess` will return after `count` more calls.
    Position guess_behind(std::size_t count) const noexcept {
        return is_replaying() && count < m_places.size() - m_next ? m_places[m_next + count]
                                                                  : kUnknown;
    }

    void forget() {
        m_places = {};
        m_is_recording = false;
    }

private:
    std::vector<Position> m_places;
    std::size_t m_next = 0;
    bool m_is_recording = false;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_REMEMBERED_PLACES_H_
