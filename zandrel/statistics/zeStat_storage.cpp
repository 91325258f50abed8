// Profiles, their index by node, and the tables of concepts. Profiles are in a vector of pointers,
// so that deleting one only moves the pointer of the last one to its place. Each function that
// changes what the record contains sets `m_dirty`, except complete_histogram, whose callers do.
#include "zandrel/statistics/zeStat_storage.h"

#include <algorithm>
#include <utility>

#include "zandrel/statistics/Kept_training.h"

using zandrel::kInitialBuckets;

namespace {

using Bins = std::vector<zeStat_storage::Result_bin>;

// Adds each bin of a histogram to the bin of a new one that contains its centre. For example, bin 1
// of 3 has the centre 0.5, which is in bin 3 of 6. A histogram that was emptied has fewer bins than
// `old_size`.
Bins rebin(const Bins& old_bins, std::size_t old_size, std::size_t new_size) {
    Bins new_bins(new_size);
    for (std::size_t i = 0; i < std::min(old_bins.size(), old_size); ++i) {
        const double centre = (static_cast<double>(i) + 0.5) / static_cast<double>(old_size);
        const auto j = std::min(static_cast<std::size_t>(centre * static_cast<double>(new_size)),
                                new_size - 1);
        new_bins[j].m_relevant += old_bins[i].m_relevant;
        new_bins[j].m_total += old_bins[i].m_total;
    }
    return new_bins;
}

}  // namespace

zeStat_storage::zeStat_storage(zeManager* manager, zeDefaults& defaults)
    : zeBase(manager), m_profile_index(kInitialBuckets), m_concept_infos(kInitialBuckets) {
    zeSetDefaults flags = zeSetDefaults::all(true);
    set_defaults(defaults, flags);
    clear();
}

zeStat_storage::~zeStat_storage() = default;

int zeStat_storage::get_profile(zeNode* const& node) const {
    const auto entry = m_profile_index.find(node);
    return entry == m_profile_index.end() ? profile_count() : entry->second;
}

int zeStat_storage::get_or_add_profile(zeNode* const& node, bool& added) {
    int iprofile = get_profile(node);
    if (!end(iprofile)) {
        return iprofile;
    }
    complete();
    m_dirty = true;
    auto made = std::make_unique<Profile>();
    made->m_node = node;
    made->m_Ps.rehash(kInitialBuckets);
    m_profiles.push_back(std::move(made));
    try {
        clear_profile(iprofile);
        m_profile_index[node] = iprofile;
    } catch (...) {
        m_profiles.pop_back();
        throw;
    }
    added = true;
    return iprofile;
}

zeStat_storage::Ps::iterator zeStat_storage::get_or_add_P(const int& iprofile,
                                                          const Concept& wanted, bool& added) {
    complete();
    const auto entry = profile(iprofile).m_Ps.try_emplace(wanted);
    if (entry.second) {
        m_dirty = true;
        entry.first->second.m_life = m_P_life_expectancy;
        added = true;
    }
    return entry.first;
}

zeStat_storage::Concept_infos::iterator zeStat_storage::get_or_add_concept_info(
    const Concept& wanted, bool& added) {
    complete();
    const auto entry = m_concept_infos.try_emplace(wanted);
    m_dirty = m_dirty || entry.second;
    added = added || entry.second;
    return entry.first;
}

void zeStat_storage::clear() {
    m_dirty = true;
    m_kept.reset();
    m_profiles.clear();
    m_profile_index.clear();
    m_concept_infos.clear();
    clear_totals();
}

void zeStat_storage::clear_totals() {
    m_total_sml_weight = 0.0;
    m_total_weight = 0.0;
    m_num_msgs = 0;
    m_total_msg_weight = 0.0;
}

void zeStat_storage::create_skeleton() {
    m_dirty = true;
    m_kept.reset();
    m_concept_infos.clear();
    clear_totals();
    for (int iprofile = 0; iprofile < profile_count(); ++iprofile) {
        // The size and the accumulator do not come from training, so we keep them.
        const int size = profile(iprofile).m_size;
        const double match_value = profile(iprofile).m_match_value;
        clear_profile(iprofile);
        profile(iprofile).m_size = size;
        profile(iprofile).m_match_value = match_value;
    }
}

void zeStat_storage::clear_profile(int& iprofile) {
    complete();
    m_dirty = true;
    Profile& cleared = profile(iprofile);
    cleared.m_size = m_profile_size;
    cleared.m_selection_mark = 1;
    cleared.m_num_msgs = 0;
    cleared.m_M = 0.0;
    cleared.m_weight = 0.0;
    cleared.m_msg_weight = 0.0;
    cleared.m_match_value = 0.0;
    cleared.m_Ps.clear();
    cleared.m_weights.clear();
    clear_likelihood(iprofile);
}

void zeStat_storage::complete_histogram(Profile& completed) const {
    if (completed.m_bins.size() != fine_bin_count()) {
        completed.m_bins.assign(fine_bin_count(), Result_bin());
    }
}

void zeStat_storage::clear_likelihood(const int& iprofile) {
    complete();
    m_dirty = true;
    Profile& cleared = profile(iprofile);
    cleared.m_bins.assign(fine_bin_count(), Result_bin());
    cleared.m_likelihood.fill(0.0);
    cleared.m_likelihood_age = 0;
}

void zeStat_storage::delete_profile(int& iprofile) {
    complete();
    m_dirty = true;
    // Profiles that have lost their nodes all have null, which has only one entry in the index.
    if (get_profile(profile(iprofile).m_node) == iprofile) {
        m_profile_index.erase(profile(iprofile).m_node);
    }
    const auto deleted = m_profiles.begin() + iprofile;
    if (iprofile != profile_count() - 1) {
        *deleted = std::move(m_profiles.back());
        m_profile_index[(*deleted)->m_node] = iprofile;
    }
    m_profiles.pop_back();
}

void zeStat_storage::compact() {
    m_concept_infos.compact();
    for (const auto& each : m_profiles) {
        each->m_Ps.compact();
    }
}

void zeStat_storage::set_profile_size(int size) {
    if (size == m_profile_size) {
        return;
    }
    m_dirty = true;
    m_profile_size = size;
    for (const auto& each : m_profiles) {
        each->m_size = size;
    }
}

void zeStat_storage::set_use_train_likelihood(bool use) {
    if (use == m_use_train_likelihood) {
        return;
    }
    complete();
    m_dirty = true;
    for (const auto& each : m_profiles) {
        each->m_likelihood_age = 0;
        each->m_bins.resize(use ? fine_bin_count() : 0);
    }
    m_use_train_likelihood = use;
}

void zeStat_storage::set_likelihood_histogram_resolution(int resolution) {
    if (resolution == m_likelihood_resolution || resolution <= 0) {
        return;
    }
    complete();
    const std::size_t old_size = fine_bin_count();
    const std::size_t new_size =
        static_cast<std::size_t>(resolution) * static_cast<std::size_t>(Zandrel::LIKELIHOOD_SIZE);
    // If memory runs out, no histogram must have changed: training would write out of the bounds of
    // a histogram of another size.
    std::vector<Bins> rebinned;
    rebinned.reserve(m_profiles.size());
    for (const auto& each : m_profiles) {
        rebinned.push_back(rebin(each->m_bins, old_size, new_size));
    }
    m_dirty = true;
    for (std::size_t i = 0; i < rebinned.size(); ++i) {
        m_profiles[i]->m_bins = std::move(rebinned[i]);
    }
    m_likelihood_resolution = resolution;
}

void zeStat_storage::global_replace(std::map<zeNode*, zeNode*>& replacement) {
    const std::map<int, zeNode*> by_index = nodes_by_index();
    m_dirty = true;
    hash_map<zeNode*, int, zePointer_hash> replaced(kInitialBuckets);
    for (const auto& [iprofile, node] : by_index) {
        replaced[replacement[node]] = iprofile;
    }
    for (const auto& [iprofile, node] : by_index) {
        profile(iprofile).m_node = replacement[node];
    }
    m_profile_index.swap(replaced);
}

std::map<int, zeNode*> zeStat_storage::nodes_by_index() const {
    std::map<int, zeNode*> by_index;
    for (const auto& [node, iprofile] : m_profile_index) {
        by_index[iprofile] = node;
    }
    return by_index;
}
