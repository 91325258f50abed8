// The side of zeStat_matcher that scores messages: sums, scores and explanations. The comment above
// `adjust_match_value` explains the score with an example.
#include "zandrel/statistics/zeStat_matcher.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/statistics/Match_sums.h"
#include "zandrel/statistics/Score_bound.h"
#include "zandrel/statistics/Score_without.h"
#include "zandrel/statistics/zeStat_trainer.h"

using zandrel::detail::Clipped_bag;
using zandrel::detail::Match_scorer;

namespace {

const Trace_file s_trace_file("zeStat_matcher.cpp");

constexpr int kBins = Zandrel::LIKELIHOOD_SIZE;

}  // namespace

zeStat_matcher::zeStat_matcher(zeManager* manager, zeNode* node, zeStat_storage& storage,
                               bool add_children)
    : zeClassifier(manager, node), m_storage(&storage) {
    feed(storage, add_children);
}

zeStat_matcher::zeStat_matcher() : zeClassifier(nullptr, nullptr), m_storage(nullptr) {}

zeStat_matcher::~zeStat_matcher() = default;

void zeStat_matcher::feed(zeStat_storage& storage, bool add_children) {
    m_storage = &storage;
    select_if_needed(storage);
    trace(s_trace_file, zandrel::kTraceDebug, "Collecting data for matching table");
    m_dirty = true;
    m_table.compile(storage.m_profiles);
    if (m_node != nullptr) {
        m_node->remove_all_children();
    }
    for (int iprofile = 0; iprofile < storage.profile_count(); ++iprofile) {
        zeStat_storage::Profile& profile = storage.profile(iprofile);
        if (add_children && m_node != nullptr) {
            m_node->add_child(profile.m_node);
        }
        std::vector<zeStat_storage::Weight>().swap(profile.m_weights);
    }
    build_avg_likelihood();
    build_rest_scores();
    trace(s_trace_file, zandrel::kTraceDebug, "Matching table completed");
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
    add_answers(sum_up(*bag), results, node_score, use_thresholds);
}

void zeStat_matcher::add_answers(const Sums& sums, zeResult_set& results, double node_score,
                                 bool use_thresholds) const {
    add_answers(sums, results, node_score, use_thresholds, true);
}

void zeStat_matcher::add_answers(const Sums& sums, zeResult_set& results, double node_score,
                                 bool use_thresholds, bool uses_tables) const {
    results.results.reserve(m_node == nullptr ? 0 : m_node->m_children.size());
    const Match_scorer scorer = scorer_for(sums.total_weight, uses_tables);
    const int profile_count = m_storage->profile_count();
    for (int iprofile = 0; iprofile < profile_count; ++iprofile) {
        const double score = scorer.score(iprofile, sums.of(iprofile));
        zeNode* const category = m_storage->profile(iprofile).m_node;
        // A profile without a node, which `global_replace` can leave, is no result.
        if (category == nullptr || (use_thresholds && node_score * score < category->m_threshold)) {
            continue;
        }
        if (results.accepts(score)) {
            results.add(category, score);
        }
    }
}

void zeStat_matcher::add_best_answers(const Sums& sums, zeResult_set& results) const {
    add_best_answers(sums, results, true);
}

// First we compute the exact score of the profile with the greatest bound. It is probably the best
// score, so it excludes most other profiles: those with a bound below it.
void zeStat_matcher::add_best_answers(const Sums& sums, zeResult_set& results,
                                      bool uses_tables) const {
    if (m_storage->profile_count() == 1) {
        // Bounds need more than one profile.
        add_answers(sums, results, 1.0, false, uses_tables);
        return;
    }
    constexpr double kNobody = -1.0;  // below the bound of any category
    const zandrel::detail::Score_bound bound(*m_storage, m_avg_likelihood, sums.total_weight,
                                             uses_tables);
    std::vector<double> bounds(sums.by_profile.size());
    double greatest = kNobody;
    std::size_t first = 0;
    for (std::size_t i = 0; i < bounds.size(); ++i) {
        const zeStat_storage::Profile& profile = *m_storage->m_profiles[i];
        bounds[i] = profile.m_node == nullptr ? kNobody : bound.of(profile, sums.by_profile[i]);
        if (bounds[i] > greatest) {
            greatest = bounds[i];
            first = i;
        }
    }
    if (greatest == kNobody) {
        return;
    }
    const Match_scorer scorer = scorer_for(sums.total_weight, uses_tables);
    double best = scorer.score(static_cast<int>(first), sums.by_profile[first]);
    for (int iprofile = 0; iprofile < static_cast<int>(bounds.size()); ++iprofile) {
        if (bounds[static_cast<std::size_t>(iprofile)] < best) {
            continue;
        }
        const double score = scorer.score(iprofile, sums.of(iprofile));
        best = std::max(best, score);
        if (results.accepts(score)) {
            results.add(m_storage->profile(iprofile).m_node, score);
        }
    }
}

zeStat_matcher::Sums zeStat_matcher::sum_up(const zeSml& bag) {
    const Clipped_bag clipped(bag, m_storage->m_clip_value);
    return {take_sums(clipped), clipped.total_weight()};
}

std::vector<double> zeStat_matcher::take_sums(const Clipped_bag& bag) {
    std::vector<double> sums(m_storage->m_profiles.size());
    for (std::size_t i = 0; i < sums.size(); ++i) {
        // An accumulator is nearly always 0, and then a classification does not write to the model.
        if (m_storage->m_profiles[i]->m_match_value != 0.0) {
            sums[i] = take_accumulator(static_cast<int>(i));
        }
    }
    zandrel::detail::add_weights(
        m_table, *m_storage, bag,
        [first = sums.data()](int iprofile) -> double& { return first[iprofile]; });
    return sums;
}

// The accumulator is in the record, so its reset is a change.
double zeStat_matcher::take_accumulator(int iprofile) {
    double& accumulator = m_storage->profile(iprofile).m_match_value;
    m_storage->m_dirty = m_storage->m_dirty || accumulator != 0.0;
    return std::exchange(accumulator, 0.0);
}

Match_scorer zeStat_matcher::scorer_for(double total_weight, bool uses_tables) const {
    return {*m_storage, m_avg_likelihood, m_rest_scores, total_weight, uses_tables};
}

void zeStat_matcher::build_rest_scores() {
    m_rest_scores.clear();
    for (const auto& profile : m_storage->m_profiles) {
        m_rest_scores.push_back(Match_scorer::rest_score(*profile));
    }
}

double zeStat_matcher::classify_concepts(zeMsg& msg, zeNode*& category,
                                         std::vector<Concept_score>& scores) {
    return classify_concepts(msg, category, scores, true);
}

double zeStat_matcher::classify_concepts(zeMsg& msg, zeNode*& category,
                                         std::vector<Concept_score>& scores, bool uses_tables) {
    const qtPtrLight<zeSml>& bag = msg.active_bag();
    if (bag.IsNull()) {
        return 0.0;
    }
    const Clipped_bag clipped(*bag, m_storage->m_clip_value);
    const int iprofile = profile_of(category);
    const Match_scorer scorer = scorer_for(clipped.total_weight(), uses_tables);
    return zandrel::detail::score_without_each(
        scorer, clipped, iprofile, take_accumulator(iprofile),
        [this](const Concept& wanted) { return m_table.row(wanted); }, scores);
}

int zeStat_matcher::profile_of(zeNode* category) const {
    const int iprofile = m_storage->get_profile(category);
    ZANDREL_ASSERT(!m_storage->end(iprofile), "!m_storage->end(iprofile)");
    return iprofile;
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
    m_storage->m_dirty = true;
    zandrel::detail::add_weights(
        m_table, *m_storage, Clipped_bag(sml, 0.0),
        [this](int iprofile) -> double& { return m_storage->profile(iprofile).m_match_value; });
}

void zeStat_matcher::classify_sml_with_profile(zeSml& sml, int& iprofile) {
    double& match_value = m_storage->profile(iprofile).m_match_value;
    m_storage->m_dirty = true;
    for (const zeSml::Concept_info& entry : sml.m_concepts) {
        const float* const weight =
            zandrel::detail::weight_in(m_table.row(entry.m_concept), iprofile);
        if (weight != nullptr) {
            match_value += static_cast<double>(*weight) * entry.m_weight;
        }
    }
}

// The score of a category for a message. Match_scorer computes it.
//
// Example: the model of two categories and four messages at the top of Feature_selector.cpp. Its
// features are
//
//     sport    rose -2.5634, ball  2.9989, goal  1.4995    additive term -0.2745
//     garden   rose  3.6057, ball -1.1492, goal -1.8028    additive term -0.3274
//
// and the message has the bag "the 2, ball 2, goal 1", with the total 5.
//
// 1. Sum: each weight of a feature times the weight of the concept in the bag. The concept
//    "the" is no feature. The setting ClipValue is a ceiling for the weights in the bag.
//        sport    2 * 2.9989 + 1 * 1.4995 =  7.4973
//        garden   2 * -1.1492 - 1 * 1.8028 = -4.1012
// 2. Value: x = sum / total + additive term. A typical member of the category has x = 1, and a
//    typical message from outside has x = -1.
//        sport    7.4973 / 5 - 0.2745 =  1.2250
//        garden  -4.1012 / 5 - 0.3274 = -1.1476
// 3. Raw score: atan(pi * x) / pi + 0.5, which is between 0 and 1, and 0.5 at x = 0.
//        sport    0.9191
//        garden   0.0861
// 4. Correction by the likelihood tables, if they are in use. A table has a value for each of 30
//    bins and is linear between their centres, (i + 0.5) / 30. The score 0.9191 is at 30 * 0.9191 -
//    0.5 = 27.073, so 7.3 % of the way from the centre of bin 27 to that of bin 28. Let the table
//    of sport have 0.8 in both bins, and that of garden 0.6.
//
//    - Average table (`build_avg_likelihood`): each table counts by its age, the number of messages
//      in its histogram, here 4. A prior counts as 30 messages and says that a score is its own
//      likelihood. So bin 27 has (30 * 27.5 / 30 + 4 * 0.8 + 4 * 0.6) / (30 + 4 + 4) = 0.8711. Bin
//      28 has 0.8974, and so the score has 0.8711 + 0.073 * 0.0263 = 0.8730.
//    - The average counts w = 2 / (4 + 2) = 1/3: there are 2 categories, and the age of sport is 4.
//      From the age 1000 on it counts nothing.
//    - 0.99 * (w * 0.8730 + (1 - w) * 0.8) + 0.01 * 0.9191 = 0.8253. The last addend keeps two
//      different raw scores different where a table is flat.
//
// Some scores need no sum. An empty bag scores 0. A category scores 0 if it has no messages, or if
// the Activation settings require more messages in it, outside it or in the model. Otherwise a
// category that has all messages of the model, or is its only one, scores 1.
double zeStat_matcher::adjust_match_value(zeSml& sml, int& iprofile) {
    const double sum = take_accumulator(iprofile);
    return scorer_for(sml.m_total_weight).score(iprofile, sum);
}

double zeStat_matcher::adjust_likelihood(double score, const int& iprofile) {
    return scorer_for(0.0).corrected(score, m_storage->profile(iprofile));
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
