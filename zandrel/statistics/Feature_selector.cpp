// How the features of a category are chosen, and how their weights are computed.
//
// The question is for which concepts a category differs from the rest of the model. We take four
// messages of weight 1 as an example, each with a bag of 10:
//
//     sport    the 4, ball 3, goal 3        garden   the 4, rose 4, ball 2
//     sport    the 5, ball 4, win 1         garden   the 5, rose 4, soil 1
//
// A concept brings the model its share of the message: "ball" brings 0.3 in the first message. So
// the table of all concepts has 0.9 for "ball", and sport has 0.7. The totals are W = 4 (weights),
// D = 4 (messages) and T = 40 (bags); sport has Wp = Mp = 2, so E = D - Mp = 2 is outside.
//
// 1. Rates (Concept_judge). "ball" has the rate p_all = 0.9 / 4 = 0.225 in the model, the rate
//    p_in = 0.7 / 2 = 0.35 in sport, and p_out = (4 * 0.225 - 2 * 0.35) / 2 = 0.1 outside.
// 2. Floors. A rate of 0 outside would make the logarithm infinite, though it may be chance. A
//    concept that is seen once has the rate q = 1 / T = 0.025. Seen once outside, it has the rate
//    F = D / (T * E) = 0.05 there. So m = max(q, p_all) replaces p_all; if p_all is less than q,
//    p_in and p_out are raised to m at least. If p_out is less than F, it is raised: to min(F, m)
//    if the concept is frequent inside (p_in > m), else to F. If both rates are then on the same
//    side of m, the concept says nothing.
// 3. The weight is log(m / p_out), and the score is weight * (p_in - p_out). The score uses the
//    rates before step 2, unless the setting UseNewZC is off.
//
//                p_in   p_out     m      floor    weight             score
//        rose    0      0.4     0.2               log 0.5  = -0.693   0.277
//        ball    0.35   0.1     0.225             log 2.25 =  0.811   0.203
//        goal    0.15   0       0.075    0.05     log 1.5  =  0.405   0.061
//        soil    0      0.05    0.025             log 0.5  = -0.693   0.035
//        the     0.45   0.45    0.45              log 1    =  0       0
//        win     0.05   0       0.025    0.025    log 1    =  0       0
//
//    "win" was seen once, in sport. That is no evidence: the floor makes its weight 0. "goal" was
//    seen three times, all in sport, which is evidence. "rose" is a feature that sport lacks: it is
//    offered from the list of candidates outside, since a concept that is frequent outside has a
//    score too.
// 4. The concepts with the greatest scores are kept. With room for 3, sport keeps rose, ball, goal.
// 5. Scale. A = sum of weight * p_in = 0.811 * 0.35 + 0.405 * 0.15 = 0.3446. B, the same with
//    p_out, is 0.811 * 0.1 - 0.693 * 0.4 = -0.1962. The weights are multiplied by 2 / (A - B) =
//    3.698: rose -2.5634, ball 2.9989, goal 1.4995. The additive term is (A + B) / (B - A) =
//    -0.2745. A bag that is distributed as sport then comes to 3.698 * 0.3446 - 0.2745 = 1, and one
//    as the outside to 3.698 * -0.1962 - 0.2745 = -1.
//
// The example leaves out suppression, which multiplies the weight of a concept by at most 1 if few
// messages have it: see Concept_judge::suppression.
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

// Returns the list in which a concept is a candidate. `floor`: the rate of a concept that was seen
// once.
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

// Collects a list again, with a greater limit, after all of it was read. Returns false if nothing
// was left out. The candidates that are in the list already keep their ranks.
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
    // The mark before this selection. Marks count from 1 to 255 and then begin at 1 again.
    const unsigned char mark = profile.m_selection_mark;
    const auto last_mark = static_cast<unsigned char>(mark == 1 ? 255 : mark - 1);
    // If there is room for all, offering the selected ones first saves nothing.
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
    // The lists contain the own concepts too, and we skip them. If nearly all concepts are own
    // ones, we would sort nearly the whole list to find the few others. So we make lists of only
    // the others. Their order is the same.
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

// The first refusal ends the loop: the candidates behind the refused one are expected to score
// less.
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

// Begins to load what copying the handles of the next features needs: first the handle, and 8
// features later the record that counts its handles.
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
    // The records of a small model are in the caches, so loading them early would only cost time.
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

// Step 5 at the top of this file. If A equals B, no such scale exists: the profile keeps its old
// additive term and gets no weights.
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
