// The diet of zeStat_diet_learner: which concepts are deleted from a model after a bulk.
//
// For example, MinPsSize is 2000 and MaxPsSize 4000, and a profile has 4500 concepts, of which 1000
// are selected. Of the other 3500, 300 have no protection and a small weight. First these 300 are
// deleted, since they are fewer than the 2500 above MinPsSize. Then there are 4200, so the 200
// lightest of the 3200 that are not selected are deleted too.
#include "zandrel/statistics/zeStat_diet_learner.h"

#include <algorithm>
#include <cstddef>

#include "zandrel/statistics/Concept_order.h"

namespace {

using Ps = zeStat_storage::Ps;

bool is_selected(const zeStat_storage::Profile& profile, const zeStat_storage::P& P) {
    return P.m_selected == profile.m_selection_mark;
}

}  // namespace

zeStat_storage* zeStat_diet_learner::Concept_info::m_storage = nullptr;

zeStat_diet_learner::Concept_info::Concept_info(zeStat_storage* storage, Ps::iterator candidate)
    : m_P(candidate), m_weight(zandrel::detail::comparable(candidate->second.m_weight)) {
    m_storage = storage;
}

void zeStat_diet_learner::eliminate_features(bool only_touched) {
    m_storage->m_dirty = true;
    const double total_sml_weight = m_storage->m_total_sml_weight;
    const double total_weight = m_storage->m_total_weight;
    const int low = m_storage->m_min_Ps_size;
    const int high = std::max(m_storage->m_min_Ps_size, m_storage->m_max_Ps_size);
    for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
        check_interrupt();
        if (!only_touched || is_touched(iprofile)) {
            diet(iprofile, low, high);
        }
    }
    sweep_concepts(total_sml_weight, total_weight);
    m_storage->compact();
}

// A profile that is newer than the counts was added by the bulk.
bool zeStat_diet_learner::is_touched(int iprofile) const {
    const auto index = static_cast<std::size_t>(iprofile);
    return index >= m_num_msgs4profile.size() || m_num_msgs4profile[index] != 0;
}

// Returns the weight below which a concept may be deleted, or 0 if any may be: the weight of a
// concept that was seen once, divided by DeletePFactor. For example, with a total weight of 200, a
// total of the bags of 4000 and a factor of 1.25, it is 200 / (1.25 * 4000) = 0.04.
double zeStat_diet_learner::deletion_floor() const {
    const double factor = m_storage->m_delete_P_factor;
    return factor == 0.0 ? 0.0
                         : m_storage->m_total_weight / (factor * m_storage->m_total_sml_weight);
}

void zeStat_diet_learner::diet(int iprofile, int low, int high) {
    Profile& profile = m_storage->profile(iprofile);
    const auto exceeds = [&profile](int size) {
        return static_cast<double>(profile.m_Ps.size()) > size;
    };
    const auto delete_down_to = [this, &profile, &iprofile](int limit, const auto& may_go) {
        std::vector<Concept_info> candidates;
        for (auto P = profile.m_Ps.begin(); P != profile.m_Ps.end(); ++P) {
            if (!is_selected(profile, P->second) && may_go(P->second)) {
                candidates.emplace_back(m_storage, P);
            }
        }
        if (!candidates.empty()) {
            delete_Ps(iprofile, candidates, limit);
        }
    };
    const double floor = deletion_floor();
    if (exceeds(low)) {
        delete_down_to(low, [floor](const zeStat_storage::P& P) {
            return P.m_life == 0 && (floor == 0.0 || P.m_weight < floor);
        });
    }
    if (exceeds(high)) {
        delete_down_to(high, [](const zeStat_storage::P&) { return true; });
    }
}

void zeStat_diet_learner::delete_Ps(int& iprofile, std::vector<Concept_info>& candidates,
                                    int limit) {
    m_storage->m_dirty = true;
    Ps& concepts = m_storage->profile(iprofile).m_Ps;
    const std::size_t kept = static_cast<std::size_t>(std::max(limit, 0));
    const std::size_t surplus = concepts.size() > kept ? concepts.size() - kept : 0;
    if (surplus < candidates.size()) {
        std::partial_sort(candidates.begin(),
                          candidates.begin() + static_cast<std::ptrdiff_t>(surplus),
                          candidates.end());
        candidates.erase(candidates.begin() + static_cast<std::ptrdiff_t>(surplus),
                         candidates.end());
    }
    for (const Concept_info& candidate : candidates) {
        const auto info =
            m_storage->m_concept_infos.find(candidate.m_P->first, candidate.m_P->second.m_info);
        if (!m_storage->end(info)) {
            info->second.m_num_Ps = std::max(info->second.m_num_Ps, 1) - 1;
        }
        concepts.erase(candidate.m_P);
    }
}

void zeStat_diet_learner::sweep_concepts(double total_sml_weight, double total_weight) {
    erase_if(m_storage->m_concept_infos, [=](const auto& entry) {
        return entry.second.m_num_Ps <= 0 &&
               entry.second.m_weight / total_weight < 1 / total_sml_weight;
    });
}
