#include "zandrel/statistics/Outside_candidates.h"

#include <cstdint>

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
    // The high bits of a product with this odd number depend on all bits of the key.
    const std::uint64_t hash = (key[0] ^ (key[1] << 1U)) * 0x9e3779b97f4a7c15U;
    Judgements& found = m_judgements[(hash >> 32U) % kJudgementsCount];
    if (found.m_key != key) {
        found.m_features.clear();
        found.m_key = key;
    }
    found.m_infos = m_infos;
    return found;
}

const Best_features::Feature& Outside_candidates::Judgements::at(std::size_t rank,
                                                                 const Candidate& candidate,
                                                                 const Concept_judge& judge) {
    if (rank >= m_features.size()) {
        m_features.resize(rank + 1);
    }
    Best_features::Feature& feature = m_features[rank];
    if (feature.known == nullptr) {
        const auto& [known, info] = *m_infos->at_position(candidate.position);
        feature = {judge.judge(&info, 0.0).weigh(), &known, nullptr, candidate.position};
    }
    return feature;
}

std::vector<Outside_candidates::Info_iterator> Outside_candidates::infos() const {
    std::vector<Info_iterator> infos;
    infos.reserve(m_candidates.size());
    for (const Candidate& each : m_candidates) {
        infos.push_back(m_infos->at_position(each.position));
    }
    return infos;
}
