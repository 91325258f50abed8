// Feature_selector: chooses the features of all profiles of a model.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_FEATURE_SELECTOR_H_
#define ZANDREL_STATISTICS_FEATURE_SELECTOR_H_

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "zandrel/statistics/Best_features.h"
#include "zandrel/statistics/Concept_judge.h"
#include "zandrel/statistics/Outside_candidates.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

// One feature selection. For each profile, its own concepts are offered first. Then come concepts
// that it lacks, in an order that predicts a high score, until one is refused. The choice among own
// concepts depends only on scores and texts, so they may be offered in any order, and rejected
// before they are judged in full. Feature_selector.cpp explains the choice with an example.
//
// The concepts that the last selection kept are offered first. The least score of the selection is
// then high at once, and most others are rejected by a bound instead of a logarithm. The benchmarks
// BM_SelectFeatures and BM_SelectFeaturesAnew measure selections with and without such concepts.
//
// REQUIRES: neither the tables nor the totals of the storage change between selections of profiles.
class Feature_selector {
public:
    using Info_iterator = Outside_candidates::Info_iterator;

    explicit Feature_selector(zeStat_storage& storage)
        : m_all(storage.m_concept_infos),
          m_regular(storage.m_concept_infos),
          m_rare(storage.m_concept_infos),
          m_storage(storage) {}

    static constexpr std::size_t kAllCandidates = std::numeric_limits<std::size_t>::max();

    // Makes the lists of candidates from all concepts of the model. Each list keeps at least
    // `limit` candidates, if there are so many. `select` collects a list again, with a greater
    // limit, if it needs more candidates of the list.
    void collect_candidates(std::size_t limit);

    // Computes a profile's additive term and its list of weights.
    void select(int iprofile);

    // A concept's value in the order of candidates.
    static double value_of(const zeStat_storage& storage, const zeStat_storage::Concept_info& info);
    // The same value for a rare concept.
    static double value_of_rare(const zeStat_storage::Concept_info& info);

    // All candidates, in one list, if the setting UseNewZC or the positive method is on.
    Outside_candidates m_all;
    // The candidates, in two lists, if neither of them is on. A concept is rare if its rate is less
    // than the rate of a concept that was seen once.
    Outside_candidates m_regular;
    Outside_candidates m_rare;

private:
    using Entry = zeStat_storage::Ps::value_type;

    static constexpr std::size_t kAhead = 8;  // how many features ahead we begin to load
    static constexpr std::size_t kFewConcepts = 100000;

    // Sums of weight times rate over the selected features. The scale of the weights follows from
    // them.
    struct Scale {
        double A = 0.0;  // inside
        double B = 0.0;  // outside
    };

    void offer_own_concepts(zeStat_storage::Profile& profile, const Concept_judge& judge);
    void offer_own_concept(Entry& own, const Concept_judge& judge);
    void offer_outside_concepts(const Concept_judge& judge);
    void offer_lists(const Concept_judge& judge, Feature_selector& from);
    Outside_candidates& list_of(const zeStat_storage::Concept_info& info, double floor);
    template <class Is_candidate>
    void collect_if(const Is_candidate& is_candidate);
    bool collect_more(Outside_candidates& candidates);
    void offer_candidates(const Concept_judge& judge, Outside_candidates& candidates);
    Scale fit_scale() const;
    void announce_known(std::size_t copied) const;
    bool store_weights(zeStat_storage::Profile& profile, const Scale& scale) const;
    void store(zeStat_storage::Profile& profile);

    zeStat_storage& m_storage;  // BORROWS
    Best_features m_best;
    std::vector<bool> m_is_own;         // by position of the info: true if the profile has it
    std::size_t m_own_count = 0;        // how many elements of `m_is_own` are true
    bool m_has_all_candidates = false;  // `collect_candidates` made the lists
    // For a profile that has nearly all concepts: lists of the other concepts. Null if not needed
    // yet.
    std::unique_ptr<Feature_selector> m_outside;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_FEATURE_SELECTOR_H_
