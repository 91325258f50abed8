// The selection side of zeStat_trainer: which concepts tell a category from the rest, and how much
// each of them counts.
//
// For each profile its own concepts are offered first, then concepts that it lacks, in an order
// that predicts a high score, until one is refused. The best stay in a bounded heap. Nothing here
// may depend on the order of the hash tables: the choice is made by score and text alone, and all
// sums are taken in that order.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "zandrel/foundation/trace.h"
#include "zandrel/statistics/Concept_order.h"

namespace {

const Trace_file s_trace_file("zeStat_trainer_selection.cpp");

using Storage = zeStat_storage;
using Concept_profile = zeStat_trainer::Concept_profile;

// A quotient that is 0 where it is not defined.
double ratio(double numerator, double denominator) {
    return denominator == 0.0 ? 0.0 : numerator / denominator;
}

// What the rates of a concept are judged against.
struct Rates {
    double floor;          // q: the rate of a concept seen once
    double floor_outside;  // F: that rate outside the category
    double all;            // p_all: rate in the whole model
    double in;             // p_in: rate inside the category
    double out;            // p_out: rate outside
};

// With T, W, D the storage's totals of bags, weights and messages, and Wp, Mp the profile's
// weights:
//
//     q = 1 / T    E = D - Mp    F = D / (T * E)
//     p_all = weight / W    p_in = P.weight / Wp    p_out = (D * p_all - Mp * p_in) / E
//
// A rate with a zero denominator is 0, and so is that of a missing entry.
Rates estimate_rates(const Storage& storage, const Storage::Profile& profile, double info_weight,
                     double P_weight) {
    const double T = storage.m_total_sml_weight;
    const double D = storage.m_total_msg_weight;
    const double Mp = profile.m_msg_weight;
    const double E = D - Mp;
    Rates rates = {};
    rates.floor = ratio(1.0, T);
    rates.floor_outside = ratio(D, T * E);
    rates.all = ratio(info_weight, storage.m_total_weight);
    rates.in = ratio(P_weight, profile.m_weight);
    rates.out = ratio(D * rates.all - Mp * rates.in, E);
    return rates;
}

// The positive method: the logarithm of the smoothed rate inside over that outside.
double positive_weight(const Storage& storage, const Rates& rates, double factor) {
    const double W = storage.m_total_weight;
    const double A = W * 10.0 * rates.floor;
    const double G = W == 0.0 ? 0.0 : A / ((1.0 + A) * (1.0 + W));
    const double x = W * rates.out / (1.0 + W) + G;
    if (x == 0.0) {
        return 0.0;
    }
    return factor * std::log((rates.in * W / (1.0 + W) + G) / x);
}

// Both rates of a concept, held where too little is known of them, and the rate `m` of the whole
// model at which the concept says nothing.
struct Held {
    double m;
    double in;   // a
    double out;  // b
};

Held hold_at_floor(const Rates& rates) {
    Held held = {std::max(rates.floor, rates.all), rates.in, rates.out};
    if (rates.all < rates.floor) {
        held.in = std::max(held.in, held.m);
        held.out = std::max(held.out, held.m);
    }
    if (held.out < rates.floor_outside) {
        held.out = held.in <= held.m ? rates.floor_outside : std::min(rates.floor_outside, held.m);
    }
    const bool both_above = held.in > held.m && held.out > held.m;
    const bool both_below = held.in < held.m && held.out < held.m;
    if (both_above || both_below) {
        held.out = held.m;  // The logarithm is then 0: the concept says nothing.
    }
    return held;
}

// What goes on the scale of +1 and -1: sums over the selected of weight times rate.
struct Scale {
    double A = 0.0;  // inside
    double B = 0.0;  // outside
};

Scale fit_scale(const std::vector<Concept_profile>& selected) {
    Scale scale;
    for (const Concept_profile& each : selected) {
        scale.A += each.m_weight * each.m_p_in;
        scale.B += each.m_weight * each.m_p_out;
    }
    return scale;
}

// A concept's value in the order of candidates.
double value_of(const Storage::Concept_infos::iterator& info) {
    const double weight = info->second.m_weight;
    const Storage& storage = *zeStat_trainer::s_storage;
    return Zandrel::comparable(storage.m_suppress_M ? weight * suppression_factor(storage, info)
                                                    : weight);
}

bool has_greater_text(const Storage::Concept_infos::iterator& left,
                      const Storage::Concept_infos::iterator& right) {
    return right->first < left->first;
}

}  // namespace

bool g_use_positive_method = false;

std::array<double, 1001> zeStat_trainer::F_C = {};

void initialize_F_C(double* table) {
    for (int i = 0; i <= 1000; ++i) {
        const double value =
            (std::tanh((static_cast<double>(i) / 100 - 4) / 1.6) + 1) * 0.5 * 10000 + 0.5;
        table[i] = static_cast<int>(value) / 10000.0;
    }
}

double suppression_factor(const zeStat_storage& storage,
                          zeStat_storage::Concept_infos::const_iterator info) {
    if (!storage.m_suppress_M) {
        return 1.0;
    }
    const double rate = storage.end(info) ? 0.0 : info->second.m_rate;
    if (!(rate > 0.0)) {
        return 0.0;
    }
    const double confidence =
        rate <= 10.0 ? zeStat_trainer::F_C[static_cast<std::size_t>(rate * 100)] : 1.0;
    const int threshold = storage.m_suppress_M_threshold;
    if (threshold == 0 || storage.m_num_msgs >= threshold) {
        return confidence;
    }
    const double f = static_cast<double>(storage.m_num_msgs) / threshold;
    return confidence * f + 1 - f;
}

void zeStat_trainer::calculate_feature_selection() {
    tracef(s_trace_file, kTraceDebug, "Performing feature selection (num profiles: %d)",
           m_storage->profile_count());
    try {
        calculate_high_rate_concepts();
        select_for_all_profiles();
    } catch (...) {
        // A matcher takes weights that it finds as a whole selection, so none of a broken one stay.
        for (const auto& profile : m_storage->m_profiles) {
            profile->m_weights.clear();
        }
        clear_candidates();
        throw;
    }
    clear_candidates();
}

void zeStat_trainer::select_for_all_profiles() {
    for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
        unsigned char& mark = m_storage->profile(iprofile).m_selection_mark;
        mark = mark == 255 ? static_cast<unsigned char>(1) : static_cast<unsigned char>(mark + 1);
        calculate_profile_M_and_rate(iprofile);
        check_interrupt();
    }
}

void zeStat_trainer::clear_candidates() {
    for (Candidates& list : m_concept_lists) {
        list.clear();
    }
    m_all_concepts.clear();
}

// No profile can need more than its own concepts and as many as it keeps.
std::size_t zeStat_trainer::most_candidates_needed() const {
    std::size_t most = 0;
    for (const auto& profile : m_storage->m_profiles) {
        most = std::max(most, profile->m_Ps.size());
    }
    return most + static_cast<std::size_t>(std::max(m_storage->m_profile_size, 0));
}

void zeStat_trainer::calculate_high_rate_concepts() {
    clear_candidates();
    if (m_storage->m_use_new_ZC || g_use_positive_method) {
        m_all_concepts.reserve(m_storage->m_concept_infos.size());
        for (auto info = m_storage->m_concept_infos.begin();
             info != m_storage->m_concept_infos.end(); ++info) {
            m_all_concepts.push_back(info);
        }
        m_ordered_counts.all_concepts = order_front(m_all_concepts, compare_concept_infos);
    } else {
        split_by_rarity();
        m_ordered_counts.concept_lists = {
            order_front(m_concept_lists[0], compare_regular_concept_infos),
            order_front(m_concept_lists[1], compare_zc_concept_infos)};
    }
}

// A concept whose rate lies below that of a concept seen once is rare.
void zeStat_trainer::split_by_rarity() {
    const double floor = ratio(1.0, m_storage->m_total_sml_weight);
    for (auto info = m_storage->m_concept_infos.begin(); info != m_storage->m_concept_infos.end();
         ++info) {
        const double rate = ratio(info->second.m_weight, m_storage->m_total_weight);
        m_concept_lists[rate < floor ? 1 : 0].push_back(info);
    }
}

// Brings the candidates that may be needed to the front, in order, and returns how many are.
std::size_t zeStat_trainer::order_front(Candidates& candidates, Goes_before goes_before) {
    s_storage = m_storage;
    const std::size_t needed = std::min(most_candidates_needed(), candidates.size());
    std::partial_sort(candidates.begin(), candidates.begin() + static_cast<std::ptrdiff_t>(needed),
                      candidates.end(), goes_before);
    return needed;
}

// A walk that goes past the ordered front must not meet the hash order there.
void zeStat_trainer::order_rest(Candidates& candidates, std::size_t& ordered_count,
                                Goes_before goes_before) {
    s_storage = m_storage;
    std::sort(candidates.begin() + static_cast<std::ptrdiff_t>(ordered_count), candidates.end(),
              goes_before);
    ordered_count = candidates.size();
}

bool zeStat_trainer::compare_concept_infos(const Concept_infos::iterator& left,
                                           const Concept_infos::iterator& right) {
    const double left_value = value_of(left);
    const double right_value = value_of(right);
    return left_value > right_value || (left_value == right_value && has_greater_text(left, right));
}

bool zeStat_trainer::compare_regular_concept_infos(const Concept_infos::iterator& left,
                                                   const Concept_infos::iterator& right) {
    return compare_concept_infos(left, right);
}

bool zeStat_trainer::compare_zc_concept_infos(const Concept_infos::iterator& left,
                                              const Concept_infos::iterator& right) {
    const double left_rate = Zandrel::comparable(left->second.m_rate);
    const double right_rate = Zandrel::comparable(right->second.m_rate);
    return left_rate > right_rate || (left_rate == right_rate && has_greater_text(left, right));
}

zeStat_trainer::Concept_profile zeStat_trainer::calculate_concept_profile(
    zeStat_storage* storage, int& iprofile, Concept_infos::iterator& concept_info, Ps::iterator& P,
    const Concept& judged) {
    const Storage::Profile& profile = storage->profile(iprofile);
    const bool has_info = concept_info != storage->m_concept_infos.end();
    const bool has_P = P != storage->profile(iprofile).m_Ps.end();
    const Rates rates =
        estimate_rates(*storage, profile, has_info ? concept_info->second.m_weight : 0.0,
                       has_P ? P->second.m_weight : 0.0);
    const double factor = suppression_factor(*storage, concept_info);
    Concept_profile result = {judged, 0.0, rates.in, rates.out, 0.0};
    if (g_use_positive_method) {
        result.m_weight = positive_weight(*storage, rates, factor);
    } else {
        const Held held = hold_at_floor(rates);
        result.m_weight = held.out == 0.0 ? 0.0 : factor * std::log(held.m / held.out);
        if (!storage->m_use_new_ZC) {
            result.m_p_in = held.in;
            result.m_p_out = held.out;
        }
    }
    result.m_score = result.m_weight * (result.m_p_in - result.m_p_out);
    return result;
}

bool zeStat_trainer::add2feature_selector(std::vector<Concept_profile>& selected,
                                          Concept_profile& offered, int capacity) {
    const auto is_greater = [](const Concept_profile& left, const Concept_profile& right) {
        return left > right;
    };
    if (offered.m_score == 0.0 || std::isnan(offered.m_score) || capacity <= 0) {
        return false;
    }
    if (selected.size() < static_cast<std::size_t>(capacity)) {
        selected.push_back(offered);
        if (selected.size() == static_cast<std::size_t>(capacity)) {
            std::make_heap(selected.begin(), selected.end(), is_greater);
        }
        return true;
    }
    if (!(offered > selected.front())) {
        return false;
    }
    std::pop_heap(selected.begin(), selected.end(), is_greater);
    selected.back() = offered;
    std::push_heap(selected.begin(), selected.end(), is_greater);
    return true;
}

void zeStat_trainer::calculate_profile_M_and_rate(int& iprofile) {
    Storage::Profile& profile = m_storage->profile(iprofile);
    profile.m_weights.clear();
    std::vector<Concept_profile> selected;
    const std::size_t wanted = static_cast<std::size_t>(std::max(profile.m_size, 0));
    // Never more than there are concepts to offer, whatever size is asked for.
    selected.reserve(std::min(wanted, profile.m_Ps.size() + m_storage->m_concept_infos.size()));
    offer_own_concepts(iprofile, selected);
    offer_outside_concepts(iprofile, selected);
    store_weights(iprofile, selected);
}

void zeStat_trainer::offer_own_concepts(int iprofile, std::vector<Concept_profile>& selected) {
    Storage::Profile& profile = m_storage->profile(iprofile);
    for (auto P = profile.m_Ps.begin(); P != profile.m_Ps.end(); ++P) {
        auto info = m_storage->m_concept_infos.find(P->first);
        Concept_profile judged = calculate_concept_profile(m_storage, iprofile, info, P, P->first);
        add2feature_selector(selected, judged, profile.m_size);
    }
}

void zeStat_trainer::offer_outside_concepts(int iprofile, std::vector<Concept_profile>& selected) {
    if (m_storage->m_use_new_ZC) {
        offer_candidates(iprofile, selected, m_all_concepts, m_ordered_counts.all_concepts,
                         compare_concept_infos);
    } else {
        offer_candidates(iprofile, selected, m_concept_lists[0], m_ordered_counts.concept_lists[0],
                         compare_regular_concept_infos);
        offer_candidates(iprofile, selected, m_concept_lists[1], m_ordered_counts.concept_lists[1],
                         compare_zc_concept_infos);
    }
}

void zeStat_trainer::offer_candidates(int iprofile, std::vector<Concept_profile>& selected,
                                      Candidates& candidates, std::size_t& ordered_count,
                                      Goes_before goes_before) {
    Storage::Profile& profile = m_storage->profile(iprofile);
    auto no_P = profile.m_Ps.end();
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (i == ordered_count) {
            order_rest(candidates, ordered_count, goes_before);
        }
        auto& info = candidates[i];
        if (profile.m_Ps.find(info->first) != no_P) {
            continue;
        }
        Concept_profile judged =
            calculate_concept_profile(m_storage, iprofile, info, no_P, info->first);
        if (!add2feature_selector(selected, judged, profile.m_size)) {
            return;
        }
    }
}

// The additive term is (A + B) / (B - A) and each weight is scaled by 2 / (A - B): a bag
// distributed as the category's rates inside then comes to +1, and one as those outside to -1. If A
// equals B no such scale exists: the profile keeps its old term and gets no weights.
void zeStat_trainer::store_weights(int iprofile, std::vector<Concept_profile>& selected) {
    std::sort(
        selected.begin(), selected.end(),
        [](const Concept_profile& left, const Concept_profile& right) { return left > right; });
    Storage::Profile& profile = m_storage->profile(iprofile);
    const bool normalises = m_storage->m_use_normalization;
    const Scale scale = normalises ? fit_scale(selected) : Scale();
    const double M = normalises ? (scale.A + scale.B) / (scale.B - scale.A) : 0.0;
    const auto final_weight = [normalises, &scale](const Concept_profile& each) {
        return normalises ? 2 * each.m_weight / (scale.A - scale.B) : each.m_weight;
    };
    const auto is_finite = [&final_weight](const Concept_profile& each) {
        return std::isfinite(static_cast<float>(final_weight(each)));
    };
    // Without a scale, or with a weight too large for a float, the profile gets no weights.
    if (!std::isfinite(M) || !std::isfinite(scale.A - scale.B) ||
        !std::all_of(selected.begin(), selected.end(), is_finite)) {
        return;
    }
    profile.m_M = M;
    profile.m_weights.reserve(selected.size());
    for (const Concept_profile& each : selected) {
        profile.m_weights.push_back({each.m_concept, static_cast<float>(final_weight(each))});
        const auto P = profile.m_Ps.find(each.m_concept);
        if (P != profile.m_Ps.end()) {
            P->second.m_selected = profile.m_selection_mark;
        }
    }
}
