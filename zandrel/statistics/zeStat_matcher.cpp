#include "zandrel/statistics/zeStat_matcher.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_trainer.h"

namespace {

const Trace_file s_trace_file("zeStat_matcher.cpp");

constexpr double kPi = 3.141592653589793;
constexpr int kBins = Zandrel::LIKELIHOOD_SIZE;

using Table = std::array<double, Zandrel::LIKELIHOOD_SIZE>;

// The value of a likelihood table at a score, linear between the centres of the bins, which lie at
// (i + 0.5) / 30: from the origin to the first centre, and flat behind the last.
double table_value(const Table& table, double score) {
    const double position = score * kBins - 0.5;
    if (!(position >= 0.0)) {  // a score that is no number stays none
        return 2 * table[0] * score * kBins;
    }
    const double bin = std::floor(position);
    if (bin >= kBins - 1) {
        return table[kBins - 1];
    }
    const auto i = static_cast<std::size_t>(bin);
    const double f = kBins * score - bin - 0.5;
    return table[i] + (table[i + 1] - table[i]) * f;
}

// Rounding can lift a score of the tables above 1 by the last bit, and a table of a damaged record
// can lift it further. A score that is no number becomes 0.
double within_0_and_1(double score) {
    return score > 0.0 ? std::min(score, 1.0) : 0.0;
}

}  // namespace

zeStat_matcher::zeStat_matcher(zeManager* manager, zeNode* node, zeStat_storage& storage,
                               bool add_children)
    : zeClassifier(manager, node), m_storage(&storage), m_table(kInitialBuckets) {
    feed(storage, add_children);
}

zeStat_matcher::zeStat_matcher() : zeClassifier(nullptr, nullptr), m_storage(nullptr) {}

zeStat_matcher::~zeStat_matcher() = default;

void zeStat_matcher::feed(zeStat_storage& storage, bool add_children) {
    m_storage = &storage;
    select_if_needed(storage);
    trace(s_trace_file, kTraceDebug, "Collecting data for matching table");
    m_table.clear();
    m_dirty = true;
    if (m_node != nullptr) {
        m_node->remove_all_children();
    }
    for (int iprofile = 0; iprofile < storage.profile_count(); ++iprofile) {
        zeStat_storage::Profile& profile = storage.profile(iprofile);
        if (add_children && m_node != nullptr) {
            m_node->add_child(profile.m_node);
        }
        for (const zeStat_storage::Weight& weight : profile.m_weights) {
            m_table[weight.m_concept].push_back({weight.m_value, iprofile});
        }
        profile.m_weights.clear();
    }
    build_avg_likelihood();
    trace(s_trace_file, kTraceDebug, "Matching table completed");
    m_dirty = true;
}

void zeStat_matcher::select_if_needed(zeStat_storage& storage) {
    zeStat_trainer trainer(storage);
    const bool has_weights =
        std::any_of(storage.m_profiles.begin(), storage.m_profiles.end(),
                    [](const auto& profile) { return !profile->m_weights.empty(); });
    if (!has_weights) {
        trainer.calculate_feature_selection();
    }
}

void zeStat_matcher::classify(zeMsg& msg, zeResult_set& results, double node_score,
                              bool use_thresholds) {
    const qtPtrLight<zeSml>& bag = msg.active_bag();
    if (bag.IsNull()) {
        return;
    }
    const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(bag, m_storage->m_clip_value);
    results.results.reserve(m_node == nullptr ? 0 : m_node->m_children.size());
    classify_sml(*view);
    try {
        add_scores(*view, results, node_score, use_thresholds);
    } catch (...) {
        // What is left in an accumulator would count for the next message.
        for (const auto& profile : m_storage->m_profiles) {
            profile->m_match_value = 0.0;
        }
        throw;
    }
}

void zeStat_matcher::add_scores(zeSml& view, zeResult_set& results, double node_score,
                                bool use_thresholds) {
    for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
        const double score = adjust_match_value(view, iprofile);
        zeNode* const category = m_storage->profile(iprofile).m_node;
        // A profile whose node was lost in a replacement is nobody's result.
        if (category == nullptr || (use_thresholds && node_score * score < category->m_threshold)) {
            continue;
        }
        if (results.accepts(score)) {
            results.add(category, score);
        }
    }
}

double zeStat_matcher::classify_concepts(zeMsg& msg, zeNode*& category,
                                         std::vector<Concept_score>& scores) {
    const qtPtrLight<zeSml>& bag = msg.active_bag();
    if (bag.IsNull()) {
        return 0.0;
    }
    int iprofile = m_storage->get_profile(category);
    const qtPtrLight<zeSml> view = zeSml::get_clipped_sml(bag, m_storage->m_clip_value);
    ZANDREL_ASSERT(!m_storage->end(iprofile), "!m_storage->end(iprofile)");
    classify_sml_with_profile(*view, iprofile);
    double& match_value = m_storage->profile(iprofile).m_match_value;
    const double full = match_value;
    const double score = adjust_match_value(*view, iprofile);
    scores.clear();
    scores.reserve(view->m_concepts.size());
    for (const zeSml::Concept_info& entry : view->m_concepts) {
        const float* const weight = find_weight(entry.m_concept, iprofile);
        double score_without = score;
        if (weight != nullptr) {
            match_value = full - entry.m_weight * static_cast<double>(*weight);
            score_without = adjust_match_value(*view, iprofile);
        }
        scores.push_back({entry.m_concept, score_without});
    }
    return score;
}

void zeStat_matcher::get_all_categories(std::vector<zeNode*>& cats) {
    for (const auto& profile : m_storage->m_profiles) {
        cats.push_back(profile->m_node);
    }
}

void zeStat_matcher::global_replace(std::map<zeNode*, zeNode*>& replacement) {
    if (m_node != nullptr) {
        m_node = replacement[m_node];
    }
    m_storage->global_replace(replacement);
}

void zeStat_matcher::classify_sml(zeSml& sml) {
    for (const zeSml::Concept_info& entry : sml.m_concepts) {
        const auto found = m_table.find(entry.m_concept);
        if (found == m_table.end()) {
            continue;
        }
        for (const Concept_weight& pair : found->second) {
            if (m_storage->has_profile(pair.m_iprofile)) {
                m_storage->profile(pair.m_iprofile).m_match_value +=
                    static_cast<double>(pair.m_weight) * entry.m_weight;
            }
        }
    }
}

void zeStat_matcher::classify_sml_with_profile(zeSml& sml, int& iprofile) {
    double& match_value = m_storage->profile(iprofile).m_match_value;
    for (const zeSml::Concept_info& entry : sml.m_concepts) {
        const float* const weight = find_weight(entry.m_concept, iprofile);
        if (weight != nullptr) {
            match_value += static_cast<double>(*weight) * entry.m_weight;
        }
    }
}

const float* zeStat_matcher::find_weight(const Concept& wanted, int iprofile) const {
    const auto found = m_table.find(wanted);
    if (found == m_table.end()) {
        return nullptr;
    }
    for (const Concept_weight& pair : found->second) {
        if (pair.m_iprofile == iprofile) {
            return &pair.m_weight;
        }
    }
    return nullptr;
}

// The order of the tests matters: a category that covers the whole model scores 1 without a look at
// the bag, while an empty bag scores 0 even in a model of one profile.
double zeStat_matcher::adjust_match_value(zeSml& sml, int& iprofile) {
    zeStat_storage::Profile& profile = m_storage->profile(iprofile);
    const double match_value = std::exchange(profile.m_match_value, 0.0);
    if (is_below_activation(profile) || sml.m_total_weight == 0.0) {
        return 0.0;
    }
    if (m_storage->profile_count() == 1 || m_storage->m_num_msgs == profile.m_num_msgs) {
        return 1.0;
    }
    const double raw =
        std::atan(kPi * (match_value / sml.m_total_weight + profile.m_M)) / kPi + 0.5;
    return within_0_and_1(adjust_likelihood(raw, iprofile));
}

bool zeStat_matcher::is_below_activation(const zeStat_storage::Profile& profile) const {
    return profile.m_num_msgs == 0 || profile.m_num_msgs < m_storage->m_activation_inside ||
           m_storage->m_num_msgs - profile.m_num_msgs < m_storage->m_activation_outside ||
           m_storage->m_num_msgs < m_storage->m_activation_total;
}

double zeStat_matcher::adjust_likelihood(double score, const int& iprofile) {
    if (!m_storage->m_use_likelihood_in_match || !m_storage->m_use_train_likelihood) {
        return score;
    }
    const zeStat_storage::Profile& profile = m_storage->profile(iprofile);
    const int age = profile.m_likelihood_age;
    const double profile_count = m_storage->profile_count();
    // How much the average counts: all for a profile without messages, nothing for one that has
    // seen a thousand.
    const double w =
        age < Zandrel::MAX_LIKELIHOOD_AGE ? profile_count / (age + profile_count) : 0.0;
    const double own = table_value(profile.m_likelihood, score);
    const double average = table_value(m_avg_likelihood, score);
    return 0.99 * (w * average + (1 - w) * own) + 0.01 * score;
}

void zeStat_matcher::build_avg_likelihood() {
    if (!m_storage->m_use_train_likelihood) {
        return;
    }
    for (int i = 0; i < kBins; ++i) {
        const auto bin = static_cast<std::size_t>(i);
        double sum = (2.0 * i + 1) * 30 / 60;
        double count = 30.0;
        for (const auto& profile : m_storage->m_profiles) {
            sum += profile->m_likelihood_age * profile->m_likelihood[bin];
            count += profile->m_likelihood_age;
        }
        m_avg_likelihood[bin] = sum / count;
    }
}
