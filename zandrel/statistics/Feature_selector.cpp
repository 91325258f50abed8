#include "zandrel/statistics/Feature_selector.h"

#include <cmath>

#include "zandrel/foundation/prefetch.h"
#include "zandrel/statistics/Concept_order.h"
#include "zandrel/statistics/zeStat_trainer.h"

namespace zandrel::detail {

double Feature_selector::value_of(const zeStat_storage& storage,
                                  const zeStat_storage::Concept_info& info) {
    return comparable(storage.m_suppress_M
                          ? info.m_weight * Concept_judge::suppression(storage, info.m_rate)
                          : info.m_weight);
}

double Feature_selector::value_of_rare(const zeStat_storage::Concept_info& info) {
    return comparable(info.m_rate);
}

void Feature_selector::collect_candidates(std::size_t limit) {
    for (Outside_candidates* const list : {&m_all, &m_regular, &m_rare}) {
        list->start(limit);
    }
    collect_if([](Info_iterator, const Outside_candidates&) { return true; });
    m_has_all_candidates = true;
}

// The list in which a concept is a candidate. `floor`: the rate of a concept that was seen once.
Outside_candidates& Feature_selector::list_of(const zeStat_storage::Concept_info& info,
                                              double floor) {
    if (m_storage.m_use_new_ZC || g_use_positive_method) {
        return m_all;
    }
    const double rate = Concept_judge::ratio(info.m_weight, m_storage.m_total_weight);
    return rate < floor ? m_rare : m_regular;
}

// `is_candidate`: returns whether a concept, given by its info and its list, is added to the list.
template <class Is_candidate>
void Feature_selector::collect_if(const Is_candidate& is_candidate) {
    auto& infos = m_storage.m_concept_infos;
    const double floor = Concept_judge::ratio(1.0, m_storage.m_total_sml_weight);
    for (auto info = infos.begin(); info != infos.end(); ++info) {
        Outside_candidates& list = list_of(info->second, floor);
        if (is_candidate(info, list)) {
            list.add(
                &list == &m_rare ? value_of_rare(info->second) : value_of(m_storage, info->second),
                info);
        }
    }
}

// Makes a list longer that was read to its end. Returns false if it is complete. The candidates
// that it has keep their ranks.
bool Feature_selector::collect_more(Outside_candidates& candidates) {
    if (!candidates.has_left_out()) {
        return false;
    }
    candidates.start(4 * candidates.limit());
    collect_if([&candidates](Info_iterator, const Outside_candidates& list) {
        return &list == &candidates;
    });
    return true;
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
    zeStat_storage::Concept_infos& infos = m_storage.m_concept_infos;
    const auto announce = [&infos](const Entry& own) { infos.prefetch(own.second.m_info); };
    if (selected_first) {
        profile.m_Ps.for_each(announce, [&](Entry& own) {
            if (own.second.m_selected == last_mark) {
                offer_own_concept(own, judge);
            }
        });
    }
    profile.m_Ps.for_each(announce, [&](Entry& own) {
        if (!selected_first || own.second.m_selected != last_mark) {
            offer_own_concept(own, judge);
        }
    });
}

void Feature_selector::offer_own_concept(Entry& own, const Concept_judge& judge) {
    zeStat_storage::Concept_infos& infos = m_storage.m_concept_infos;
    zeStat_storage::P& P = own.second;
    const auto info = infos.find(own.first, P.m_info);
    const bool is_missing = info == infos.end();
    if (!is_missing) {
        P.m_info = infos.position(info);
        m_is_own[P.m_info] = true;
        ++m_own_count;
    }
    const Concept_judge::Rated rated =
        judge.judge(is_missing ? nullptr : &info->second, P.m_weight);
    if (rated.may_reach(m_best.least_own_score())) {
        m_best.offer_own({rated.weigh(), &own.first, &P, P.m_info});
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
    m_outside->collect_if([this, &infos](Info_iterator info, const Outside_candidates&) {
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
    for (std::size_t rank = 0; rank < candidates.size() || collect_more(candidates); ++rank) {
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

// Begins to load what copying the handles of the next features needs: the handles, and later the
// records in which they are counted.
void Feature_selector::announce_known(std::size_t copied) const {
    if (copied + 2 * kAhead < m_best.size()) {
        prefetch(m_best[copied + 2 * kAhead].known);
    }
    if (copied + kAhead < m_best.size()) {
        prefetch(m_best[copied + kAhead].known->identity());
    }
}

// Returns false if a weight is too large for a float.
bool Feature_selector::store_weights(zeStat_storage::Profile& profile, const Scale& scale) const {
    const bool normalises = m_storage.m_use_normalization;
    // The records of a small model are in the caches, where announcing only costs time.
    const bool announces = m_storage.m_concept_infos.size() > kFewConcepts;
    profile.m_weights.reserve(m_best.size());
    for (std::size_t i = 0; i < m_best.size(); ++i) {
        if (announces) {
            announce_known(i);
        }
        const Best_features::Feature& each = m_best[i];
        const double weight = each.judged.weight;
        const auto value =
            static_cast<float>(normalises ? 2 * weight / (scale.A - scale.B) : weight);
        if (!std::isfinite(value)) {
            return false;
        }
        profile.m_weights.push_back({*each.known, value, each.info});
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

}  // namespace zandrel::detail
