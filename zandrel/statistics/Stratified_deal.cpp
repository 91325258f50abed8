// The messages are sorted into lists by category when they are added; `deal` then reads the lists.
#include "zandrel/statistics/Stratified_deal.h"

namespace zandrel::detail {

void Stratified_deal::add(unsigned int position, const std::vector<zeNode*>& cats) {
    if (cats.empty()) {
        m_uncategorised.push_back(position);
        return;
    }
    positions_of(cats[m_categorised_count % cats.size()]).push_back(position);
    ++m_categorised_count;
}

Stratified_deal::Positions& Stratified_deal::positions_of(zeNode* category) {
    const auto entry = m_indices.try_emplace(category, m_by_category.size());
    if (entry.second) {
        m_by_category.emplace_back();
    }
    return m_by_category[entry.first->second];
}

}  // namespace zandrel::detail
