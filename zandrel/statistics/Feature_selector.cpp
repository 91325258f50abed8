#include "zandrel/statistics/Feature_selector.h"

#include <cmath>

#include "zandrel/statistics/Concept_order.h"
#include "zandrel/statistics/zeStat_trainer.h"

double Feature_selector::value_of(const zeStat_storage& storage,
                                  const zeStat_storage::Concept_info& info) {
    return Zandrel::comparable(
        storage.m_suppress_M ? info.m_weight * Concept_judge::suppression(storage, info.m_rate)
                             : info.m_weight);
}

double Feature_selector::value_of_rare(const zeStat_storage::Concept_info& info) {
    return Zandrel::comparable(info.m_rate);
}

void Feature_selector::collect_candidates() {
    const bool has_one_list = m_storage.m_use_new_ZC || g_use_positive_method;
    (has_one_list ? m_all : m_regular).reserve(m_storage.m_concept_infos.size());
    collect_if([](Outside_candidates::Info_iterator) { return true; });
    m_has_all_candidates = true;
}

template <class Is_candidate>
void Feature_selector::collect_if(const Is_candidate& is_candidate) {
    auto& infos = m_storage.m_concept_infos;
    const bool has_one_list = m_storage.m_use_new_ZC || g_use_positive_method;
    const double floor = Concept_judge::ratio(1.0, m_storage.m_total_sml_weight);
    for (auto info = infos.begin(); info != infos.end(); ++info) {
        if (!is_candidate(info)) {
            continue;
        }
        const double rate = Concept_judge::ratio(info->second.m_weight, m_storage.m_total_weight);
        if (has_one_list) {
            m_all.add(value_of(m_storage, info->second), info);
        } else if (rate < floor) {
            m_rare.add(value_of_rare(info->second), info);
        } else {
            m_regular.add(value_of(m_storage, info->second), info);
        }
    }
}

void Feature_selector::select(int iprofile) {
    zeStat_storage::Profile& profile = m_storage.profile(iprofile);
    profile.m_weights.clear();
    m_best.start(profile.m_size, profile.m_Ps.size());
    m_is_own.assign(m_storage.m_concept_infos.position_limit(), false);
    m_own_count = 0;
    const Concept_judge judge(m_storage, profile);
    offer_own_concepts(profile, judge);
    m_best.end_own();
    offer_outside_concepts(judge);
    m_best.end_outside();
    store(profile);
}

void Feature_selector::offer_own_concepts(zeStat_storage::Profile& profile,
                                          const Concept_judge& judge) {
    // Before this selection the mark was lower by one, except that 0 is left out.
    const unsigned char mark = profile.m_selection_mark;
    const auto last_mark = static_cast<unsigned char>(mark == 1 ? 255 : mark - 1);
    // If all have room, the order does not matter.
    const bool selected_first = profile.m_Ps.size() > m_best.capacity();
    if (selected_first) {
        for (auto P = profile.m_Ps.begin(); P != profile.m_Ps.end(); ++P) {
            if (P->second.m_selected == last_mark) {
                offer_own_concept(P, judge);
            }
        }
    }
    for (auto P = profile.m_Ps.begin(); P != profile.m_Ps.end(); ++P) {
        if (!selected_first || P->second.m_selected != last_mark) {
            offer_own_concept(P, judge);
        }
    }
}

void Feature_selector::offer_own_concept(zeStat_storage::Ps::iterator P,
                                         const Concept_judge& judge) {
    zeStat_storage::Concept_infos& infos = m_storage.m_concept_infos;
    const auto info = infos.find(P->first, P->second.m_info);
    const bool is_missing = info == infos.end();
    if (!is_missing) {
        P->second.m_info = infos.position(info);
        m_is_own[P->second.m_info] = true;
        ++m_own_count;
    }
    const Concept_judge::Rated rated =
        judge.judge(is_missing ? nullptr : &info->second, P->second.m_weight);
    if (rated.may_reach(m_best.least_own_score())) {
        m_best.offer_own({rated.weigh(), &P->first, &P->second});
    }
}

void Feature_selector::offer_outside_concepts(const Concept_judge& judge) {
    const zeStat_storage::Concept_infos& infos = m_storage.m_concept_infos;
    const std::size_t outside_count = infos.size() - m_own_count;
    if (outside_count == 0) {
        return;
    }
    if (!m_has_all_candidates || outside_count >= infos.size() / 8) {
        offer_lists(judge, *this);
        return;
    }
    // The own concepts are skipped, so we would bring nearly all candidates into order to find the
    // few others. A list of only these has them in the same order.
    m_outside = std::make_unique<Feature_selector>(m_storage);
    m_outside->collect_if([this, &infos](Outside_candidates::Info_iterator info) {
        return !m_is_own[infos.position(info)];
    });
    offer_lists(judge, *m_outside);
}

void Feature_selector::offer_lists(const Concept_judge& judge, Feature_selector& from) {
    if (m_storage.m_use_new_ZC) {
        offer_candidates(judge, from.m_all);
    } else {
        offer_candidates(judge, from.m_regular);
        offer_candidates(judge, from.m_rare);
    }
}

// The first refusal ends the walk.
void Feature_selector::offer_candidates(const Concept_judge& judge,
                                        Outside_candidates& candidates) {
    Outside_candidates::Judgements& judgements = candidates.judgements(judge);
    for (std::size_t rank = 0; rank < candidates.size(); ++rank) {
        const Outside_candidates::Candidate& candidate = candidates.at(rank);
        if (!m_is_own[candidate.position] &&
            !m_best.offer_outside(judgements.at(rank, candidate, judge))) {
            return;
        }
    }
}

Feature_selector::Scale Feature_selector::fit_scale() const {
    Scale scale;
    for (std::size_t i = 0; i < m_best.size(); ++i) {
        const Concept_judge::Judged& each = m_best[i].judged;
        scale.A += each.weight * each.p_in;
        scale.B += each.weight * each.p_out;
    }
    return scale;
}

// Returns false if a weight is too large for a float.
bool Feature_selector::store_weights(zeStat_storage::Profile& profile, const Scale& scale) const {
    const bool normalises = m_storage.m_use_normalization;
    profile.m_weights.reserve(m_best.size());
    for (std::size_t i = 0; i < m_best.size(); ++i) {
        const Best_features::Feature& each = m_best[i];
        const double weight = each.judged.weight;
        const auto value =
            static_cast<float>(normalises ? 2 * weight / (scale.A - scale.B) : weight);
        if (!std::isfinite(value)) {
            return false;
        }
        profile.m_weights.push_back({*each.known, value});
    }
    return true;
}

// The additive term is (A + B) / (B - A) and each weight is scaled by 2 / (A - B): a bag
// distributed as the category's rates inside then comes to +1, and one as those outside to -1. If A
// equals B no such scale exists: the profile keeps its old term and gets no weights.
void Feature_selector::store(zeStat_storage::Profile& profile) {
    const bool normalises = m_storage.m_use_normalization;
    const Scale scale = normalises ? fit_scale() : Scale();
    const double M = normalises ? (scale.A + scale.B) / (scale.B - scale.A) : 0.0;
    if (!std::isfinite(M) || !std::isfinite(scale.A - scale.B)) {
        return;
    }
    if (!store_weights(profile, scale)) {
        profile.m_weights.clear();
        return;
    }
    profile.m_M = M;
    for (std::size_t i = 0; i < m_best.size(); ++i) {
        if (m_best[i].P != nullptr) {
            m_best[i].P->m_selected = profile.m_selection_mark;
        }
    }
}
