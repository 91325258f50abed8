// The three ordered lists of the best features, and how they become one. Only keys move: a feature
// is 56 bytes long, a key 16.
#include "zandrel/statistics/Best_features.h"

#include <iterator>

namespace zandrel::detail {

void Best_features::start(int capacity, std::size_t own_count) {
    m_capacity = static_cast<std::size_t>(std::max(capacity, 0));
    for (Keys* const keys : {&m_own, &m_appended, &m_late, &m_all}) {
        keys->clear();
    }
    m_is_full = false;
    m_slots.resize(std::min(m_capacity, own_count) + 1);
    m_free_slot = 0;
}

void Best_features::offer_own(const Feature& offered) {
    Feature& slot = m_slots[m_free_slot];
    slot = offered;
    const std::size_t freed = is_full_of_own()
                                  ? static_cast<std::size_t>(m_own.front().feature - m_slots.data())
                                  : m_own.size() + 1;
    if (offer_to_best(m_own, {slot.judged.score, &slot}, slot.judged.score, m_capacity,
                      Is_greater())) {
        m_free_slot = freed;
    }
}

bool Best_features::offer_outside(const Feature& offered) {
    const double score = offered.judged.score;
    if (score == 0.0 || std::isnan(score) || m_capacity == 0) {
        return false;
    }
    // Once `m_is_full` is true it remains true: from then on we remove a feature only to add a late
    // one in its place.
    if (!m_is_full && m_own.size() + m_appended.size() < m_capacity) {
        m_appended.push_back({score, &offered});
        return true;
    }
    if (!m_is_full) {
        sort_nearly_sorted(m_appended);
        m_is_full = true;
    }
    if (!Is_greater()({score, &offered}, least())) {
        return false;
    }
    remove_least();
    m_late.push_back({score, &offered});
    std::push_heap(m_late.begin(), m_late.end(), Is_greater());
    return true;
}

// At least one of the three lists is not empty.
const Best_features::Key& Best_features::least() const noexcept {
    const Key* least = nullptr;
    for (const Keys* const ordered : {&m_own, &m_appended}) {
        if (!ordered->empty() && (least == nullptr || Is_greater()(*least, ordered->back()))) {
            least = &ordered->back();
        }
    }
    if (!m_late.empty() && (least == nullptr || Is_greater()(*least, m_late.front()))) {
        least = &m_late.front();
    }
    // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn): one list has an element
    return *least;
}

void Best_features::remove_least() noexcept {
    const Feature* const removed = least().feature;
    if (!m_own.empty() && m_own.back().feature == removed) {
        m_own.pop_back();
    } else if (!m_appended.empty() && m_appended.back().feature == removed) {
        m_appended.pop_back();
    } else {
        std::pop_heap(m_late.begin(), m_late.end(), Is_greater());
        m_late.pop_back();
    }
}

// Sorts by insertion, which is linear if few keys are far from their places. If there are many
// moves, we call std::sort instead.
void Best_features::sort_nearly_sorted(Keys& keys) {
    std::size_t moves_left = 8 * keys.size();
    for (std::size_t i = 1; i < keys.size(); ++i) {
        const Key moved = keys[i];
        std::size_t place = i;
        for (; place > 0 && Is_greater()(moved, keys[place - 1]); --place) {
            keys[place] = keys[place - 1];
        }
        keys[place] = moved;
        if (i - place > moves_left) {
            std::sort(keys.begin(), keys.end(), Is_greater());
            return;
        }
        moves_left -= i - place;
    }
}

void Best_features::end_outside() {
    if (!m_is_full) {
        sort_nearly_sorted(m_appended);
    }
    std::sort(m_late.begin(), m_late.end(), Is_greater());
    m_all.reserve(m_own.size() + m_appended.size() + m_late.size());
    std::merge(m_own.begin(), m_own.end(), m_appended.begin(), m_appended.end(),
               std::back_inserter(m_all), Is_greater());
    const auto middle = static_cast<std::ptrdiff_t>(m_all.size());
    m_all.insert(m_all.end(), m_late.begin(), m_late.end());
    std::inplace_merge(m_all.begin(), m_all.begin() + middle, m_all.end(), Is_greater());
}

}  // namespace zandrel::detail
