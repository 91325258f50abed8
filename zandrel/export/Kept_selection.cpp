// Kept_selection copies what a selection may change, and swaps it back.
#include "zandrel/export/Kept_selection.h"

namespace zandrel::detail {

Kept_selection::Kept_selection(zeStat_storage& storage)
    : m_storage(storage), m_dirty(storage.m_dirty) {
    m_kept.reserve(storage.m_profiles.size());
    for (const auto& profile : storage.m_profiles) {
        Kept& kept = m_kept.emplace_back();
        kept.M = profile->m_M;
        kept.mark = profile->m_selection_mark;
        kept.weights = profile->m_weights;
        kept.selected.reserve(profile->m_Ps.size());
        for (const auto& [known, entry] : profile->m_Ps) {
            kept.selected.push_back(entry.m_selected);
        }
    }
}

Kept_selection::~Kept_selection() {
    for (std::size_t iprofile = 0; iprofile < m_kept.size(); ++iprofile) {
        Kept& kept = m_kept[iprofile];
        zeStat_storage::Profile& profile = *m_storage.m_profiles[iprofile];
        profile.m_M = kept.M;
        profile.m_selection_mark = kept.mark;
        profile.m_weights.swap(kept.weights);
        auto selected = kept.selected.begin();
        for (auto& [known, entry] : profile.m_Ps) {
            entry.m_selected = *selected++;
        }
    }
}

}  // namespace zandrel::detail
