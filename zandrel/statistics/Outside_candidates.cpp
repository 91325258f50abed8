// How the list is shortened and put in order, piece by piece, and how judgements are found again.
#include "zandrel/statistics/Outside_candidates.h"

#include <cstddef>
#include <cstdint>

namespace zandrel::detail {

void Outside_candidates::start(std::size_t limit) {
    m_candidates.clear();
    m_limit = limit;
    m_has_left_out = false;
    m_ordered_count = 0;
}

void Outside_candidates::leave_out_half() {
    const auto last = m_candidates.begin() + static_cast<std::ptrdiff_t>(m_limit - 1);
    std::nth_element(
        m_candidates.begin(), last, m_candidates.end(),
        [this](const Candidate& left, const Candidate& right) { return goes_before(left, right); });
    m_last = *last;
    m_candidates.erase(last + 1, m_candidates.end());
    m_has_left_out = true;
}

void Outside_candidates::order(std::size_t count) {
    if (count <= m_ordered_count) {
        return;
    }
    const auto place = [this](std::size_t rank) {
        return m_candidates.begin() + static_cast<std::ptrdiff_t>(rank);
    };
    const auto goes_first = [this](const Candidate& left, const Candidate& right) {
        return goes_before(left, right);
    };
    const std::size_t end = std::min(count, m_candidates.size());
    std::nth_element(place(m_ordered_count), place(end), m_candidates.end(), goes_first);
    std::sort(place(m_ordered_count), place(end), goes_first);
    m_ordered_count = end;
}

Outside_candidates::Judgements& Outside_candidates::judgements(const Concept_judge& judge) {
    const Concept_judge::Outside_key key = judge.outside_key();
    // A multiplicative hash: the high bits of the product depend on all bits of the key.
    const std::uint64_t hash = (key[0] ^ (key[1] << 1U)) * 0x9e3779b97f4a7c15U;
    Judgements& found = m_judgements[(hash >> 32U) % kJudgementsCount];
    if (found.m_key != key) {
        found.m_blocks.clear();
        found.m_key = key;
    }
    found.m_infos = m_infos;
    return found;
}

void Outside_candidates::Judgements::fill(Best_features::Feature& feature,
                                          const Candidate& candidate,
                                          const Concept_judge& judge) const {
    const auto& [known, info] = *m_infos->at_position(candidate.position);
    feature = {judge.judge(&info, 0.0).weigh(), &known, nullptr, candidate.position};
}

std::vector<Outside_candidates::Info_iterator> Outside_candidates::infos() const {
    std::vector<Info_iterator> infos;
    infos.reserve(m_candidates.size());
    for (const Candidate& each : m_candidates) {
        infos.push_back(m_infos->at_position(each.position));
    }
    return infos;
}

}  // namespace zandrel::detail
