// The selection side of zeStat_trainer: its public steps. Feature_selector does the work.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "zandrel/foundation/trace.h"
#include "zandrel/statistics/Best_features.h"
#include "zandrel/statistics/Concept_judge.h"
#include "zandrel/statistics/Feature_selector.h"
#include "zandrel/statistics/Outside_candidates.h"

using zandrel::detail::Feature_selector;

namespace {

const Trace_file s_trace_file("zeStat_trainer_selection.cpp");

// More candidates than most profiles need. A list has at most twice as many, in 512 KiB.
constexpr std::size_t kFirstCandidates = 16384;

bool has_greater_text(const zeStat_trainer::Concept_infos::iterator& left,
                      const zeStat_trainer::Concept_infos::iterator& right) {
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

namespace zandrel {

double suppression_factor(const zeStat_storage& storage,
                          zeStat_storage::Concept_infos::const_iterator info) {
    return detail::Concept_judge::suppression(storage,
                                              storage.end(info) ? 0.0 : info->second.m_rate);
}

}  // namespace zandrel

void zeStat_trainer::calculate_feature_selection() {
    tracef(s_trace_file, zandrel::kTraceDebug, "Performing feature selection (num profiles: %d)",
           m_storage->profile_count());
    m_storage->m_dirty = true;
    clear_candidates();
    s_storage = m_storage;
    try {
        select_for_all_profiles();
    } catch (...) {
        // A matcher would take the weights of some profiles for a complete selection, so we clear
        // all of them.
        for (const auto& profile : m_storage->m_profiles) {
            profile->m_weights.clear();
        }
        throw;
    }
}

// Here the selector makes its own lists of candidates. It sorts only the parts that it needs.
void zeStat_trainer::select_for_all_profiles() {
    Feature_selector selector(*m_storage);
    selector.collect_candidates(kFirstCandidates);
    for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
        unsigned char& mark = m_storage->profile(iprofile).m_selection_mark;
        mark = mark == 255 ? static_cast<unsigned char>(1) : static_cast<unsigned char>(mark + 1);
        selector.select(iprofile);
        check_interrupt();
    }
}

void zeStat_trainer::clear_candidates() {
    for (Candidates& list : m_concept_lists) {
        list.clear();
    }
    m_all_concepts.clear();
}

// A profile skips the candidates that it has already, and keeps at most ProfileSize of the others,
// so it reads no more than the sum of both.
std::size_t zeStat_trainer::most_candidates_needed() const {
    std::size_t most = 0;
    for (const auto& profile : m_storage->m_profiles) {
        most = std::max(most, profile->m_Ps.size());
    }
    return most + static_cast<std::size_t>(std::max(m_storage->m_profile_size, 0));
}

void zeStat_trainer::calculate_high_rate_concepts() {
    clear_candidates();
    s_storage = m_storage;
    Feature_selector selector(*m_storage);
    selector.collect_candidates(Feature_selector::kAllCandidates);
    for (zandrel::detail::Outside_candidates* list :
         {&selector.m_all, &selector.m_regular, &selector.m_rare}) {
        list->order(most_candidates_needed());
    }
    m_all_concepts = selector.m_all.infos();
    m_concept_lists = {selector.m_regular.infos(), selector.m_rare.infos()};
}

bool zeStat_trainer::compare_concept_infos(const Concept_infos::iterator& left,
                                           const Concept_infos::iterator& right) {
    const double left_value = Feature_selector::value_of(*s_storage, left->second);
    const double right_value = Feature_selector::value_of(*s_storage, right->second);
    return left_value > right_value || (left_value == right_value && has_greater_text(left, right));
}

bool zeStat_trainer::compare_regular_concept_infos(const Concept_infos::iterator& left,
                                                   const Concept_infos::iterator& right) {
    return compare_concept_infos(left, right);
}

bool zeStat_trainer::compare_zc_concept_infos(const Concept_infos::iterator& left,
                                              const Concept_infos::iterator& right) {
    const double left_rate = Feature_selector::value_of_rare(left->second);
    const double right_rate = Feature_selector::value_of_rare(right->second);
    return left_rate > right_rate || (left_rate == right_rate && has_greater_text(left, right));
}

zeStat_trainer::Concept_profile zeStat_trainer::calculate_concept_profile(
    zeStat_storage* storage, int& iprofile, Concept_infos::iterator& concept_info, Ps::iterator& P,
    const Concept& judged) {
    zeStat_storage::Profile& profile = storage->profile(iprofile);
    const zandrel::detail::Concept_judge::Judged result =
        zandrel::detail::Concept_judge(*storage, profile)
            .judge(storage->end(concept_info) ? nullptr : &concept_info->second,
                   P == profile.m_Ps.end() ? 0.0 : P->second.m_weight)
            .weigh();
    return {judged, result.weight, result.p_in, result.p_out, result.score};
}

bool zeStat_trainer::add2feature_selector(std::vector<Concept_profile>& selected,
                                          Concept_profile& offered, int capacity) {
    return zandrel::detail::offer_to_best(selected, offered, offered.m_score,
                                          static_cast<std::size_t>(std::max(capacity, 0)),
                                          std::greater<Concept_profile>());
}

void zeStat_trainer::calculate_profile_M_and_rate(int& iprofile) {
    m_storage->m_dirty = true;
    Feature_selector selector(*m_storage);
    for (const auto& info : m_all_concepts) {
        selector.m_all.add(Feature_selector::value_of(*m_storage, info->second), info);
    }
    for (const auto& info : m_concept_lists[0]) {
        selector.m_regular.add(Feature_selector::value_of(*m_storage, info->second), info);
    }
    for (const auto& info : m_concept_lists[1]) {
        selector.m_rare.add(Feature_selector::value_of_rare(info->second), info);
    }
    selector.select(iprofile);
}
