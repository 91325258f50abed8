#include "zandrel/statistics/Outside_candidates.h"

namespace {

bool goes_before(const Outside_candidates::Candidate& left,
                 const Outside_candidates::Candidate& right) {
    return left.value > right.value ||
           (left.value == right.value && right.info->first < left.info->first);
}

}  // namespace

void Outside_candidates::order(std::size_t count) {
    if (count <= m_ordered_count) {
        return;
    }
    const auto place = [this](std::size_t rank) {
        return m_candidates.begin() + static_cast<std::ptrdiff_t>(rank);
    };
    const std::size_t end = std::min(count, m_candidates.size());
    std::nth_element(place(m_ordered_count), place(end), m_candidates.end(), goes_before);
    std::sort(place(m_ordered_count), place(end), goes_before);
    m_ordered_count = end;
}

std::vector<Outside_candidates::Info_iterator> Outside_candidates::infos() const {
    std::vector<Info_iterator> infos;
    infos.reserve(m_candidates.size());
    for (const Candidate& each : m_candidates) {
        infos.push_back(each.info);
    }
    return infos;
}
