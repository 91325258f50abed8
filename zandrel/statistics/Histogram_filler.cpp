// How messages are entered in the histograms.
//
// Each message is entered in the histogram of each category, so the cost of one entry matters: for
// 1,000 categories and 50,000 messages there are 50 million of them in a training. Four things make
// an entry cheap:
//
// - What scoring reads of the profiles is copied to arrays once. The profiles themselves are too
//   large for the cache.
// - The rows of frequent words have most profiles. Such a row is copied to an array with 0 for the
//   other profiles. Adding the array needs no indices, so it uses vector instructions. For example,
//   the pairs (0, 0.5) and (2, -1) of 3 profiles become 0.5, 0, -1. A 0 changes no sum. With 1,000
//   categories, nearly all pairs are in such rows.
// - The bins of one message are found for 16 profiles at a time, with vector instructions, and
//   nearly always without an exact arc tangent.
// - The bins of 16 messages are found first, and then entered profile by profile, so that a
//   histogram comes into the cache once for 16 messages. Each bin gets its addends in the order of
//   the messages, as if they were entered one by one, so its sum is the same to the last bit.
//
// Profiles that take no part cost nothing for a message that has none of their concepts. That
// matters when a bulk brings thousands of categories that are new.
#include "zandrel/statistics/Histogram_filler.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Finite_weights.h"
#include "zandrel/statistics/Match_sums.h"
#include "zandrel/statistics/Score_bins.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace zandrel::detail {

namespace {

std::size_t whole_chunks(std::size_t count) {
    return (count + kValuesAtOnce - 1) / kValuesAtOnce * kValuesAtOnce;
}

}  // namespace

Histogram_filler::~Histogram_filler() {
    if (!m_is_prepared) {
        return;
    }
    enter_block();
    for (const std::size_t index : m_idle) {
        m_matcher.m_storage->m_profiles[index]->m_match_value = m_sums[index];
    }
}

void Histogram_filler::add(const zeMsg& msg, const zeCorpus_view::Msg& entry) {
    const qtPtrLight<zeSml>& bag = msg.active_bag();
    if (bag.IsNull() || !has_finite_weights(msg)) {
        return;
    }
    prepare();
    const Clipped_bag clipped(*bag, m_matcher.m_storage->m_clip_value);
    add_sums(clipped);
    find_bins(clipped, m_bins.data() + m_message_count * m_row_size);
    add_relevant(entry.cats);
    m_weights[m_message_count] = msg.weight;
    ++m_message_count;
    // If likelihood tables correct the scores, the correction depends on the ages of the profiles.
    // Entering a message changes these ages, so we enter it before the next one is scored.
    if (m_message_count == kBlockSize || !m_scores_are_plain) {
        enter_block();
    }
}

void Histogram_filler::prepare() {
    if (m_is_prepared) {
        return;
    }
    m_matcher.m_storage->complete();  // the histograms may still be bytes of the record
    collect_profiles();
    m_active_count = m_active.size();
    m_row_size = whole_chunks(m_active_count);
    m_active.resize(m_row_size, m_matcher.m_storage->m_profiles.size());
    m_additive_terms.resize(m_row_size);
    m_bins.resize(kBlockSize * m_row_size);
    m_relevant.reserve(kBlockSize);
    std::sort(m_place_of_node.begin(), m_place_of_node.end());
    take_accumulators();
    m_is_prepared = true;
}

void Histogram_filler::collect_profiles() {
    zeStat_storage& storage = *m_matcher.m_storage;
    const std::vector<Rest_score> no_rest_scores;
    const Match_scorer scorer(storage, m_matcher.m_avg_likelihood, no_rest_scores, 1.0);
    m_scores_are_plain = !scorer.corrects();
    for (std::size_t i = 0; i < storage.m_profiles.size(); ++i) {
        zeStat_storage::Profile& profile = *storage.m_profiles[i];
        if (profile.m_num_msgs > 0 && profile.m_num_msgs != storage.m_num_msgs) {
            storage.complete_histogram(profile);
            m_bin_count = static_cast<int>(profile.m_bins.size());
            m_scores_are_plain = m_scores_are_plain && scorer.depends_on_sum(profile);
            m_place_of_node.emplace_back(profile.m_node, m_active.size());
            m_active.push_back(i);
            m_additive_terms.push_back(profile.m_M);
        } else {
            m_idle.push_back(i);
        }
    }
}

// The accumulators are nearly always 0. Then nothing is written to the model.
void Histogram_filler::take_accumulators() {
    zeStat_storage& storage = *m_matcher.m_storage;
    // The last sum is for the places that fill up the last chunk.
    m_sums.assign(whole_chunks(storage.m_profiles.size() + 1), 0.0);
    for (std::size_t i = 0; i < storage.m_profiles.size(); ++i) {
        double& accumulator = storage.m_profiles[i]->m_match_value;
        if (accumulator != 0.0) {
            m_sums[i] = std::exchange(accumulator, 0.0);
        }
    }
}

void Histogram_filler::add_sums(const Clipped_bag& bag) {
    const Match_table& table = m_matcher.m_table;
    const auto sum_of = [sums = m_sums.data()](int iprofile) -> double& { return sums[iprofile]; };
    // Pairs of a stale table may name profiles that were deleted.
    if (table.profile_end() > m_matcher.m_storage->profile_count()) {
        add_weights(table, *m_matcher.m_storage, bag, sum_of);
        return;
    }
    for (const zeSml::Concept_info& entry : bag.concepts()) {
        const auto row = table.find(entry.m_concept);
        if (row == table.end()) {
            continue;
        }
        const double entry_weight = bag.weight(entry);
        // A full row contains zeros, and 0 times an infinite weight would be NaN. For such a weight
        // we use the pairs of the row instead.
        const float* const weights = std::isfinite(entry_weight) ? full_row(row) : nullptr;
        if (weights != nullptr) {
            add_full_row(weights, entry_weight);
        } else {
            add_row(row->second, entry_weight, sum_of);
        }
    }
}

// Returns the row as an array, or null if the row has too few profiles or is not in order.
const float* Histogram_filler::full_row(Match_table::const_iterator row) {
    // An element of a full row takes a third of the time of a pair with an index, and less memory.
    // So a full row is worth it if at least half of the profiles have a pair.
    if (2 * row->second.size() < m_sums.size()) {
        return nullptr;
    }
    const std::size_t position = m_matcher.m_table.rows().position(row);
    if (position >= m_full_rows.size()) {
        m_full_rows.resize(m_matcher.m_table.rows().position_limit());
    }
    Full_row& found = m_full_rows[position];
    if (!found.is_known) {
        found.weights = make_full_row(row->second);
        found.is_known = true;
    }
    return found.weights.get();
}

// Returns null if the row is not in order.
std::unique_ptr<float[]> Histogram_filler::make_full_row(const Match_table::Pairs& row) const {
    auto weights = std::make_unique<float[]>(m_sums.size());
    int least = 0;
    for (const Match_table::Concept_weight& pair : row) {
        // In a row that is not in order, a profile could be there twice.
        if (pair.m_iprofile < least) {
            return nullptr;
        }
        weights[static_cast<std::size_t>(pair.m_iprofile)] = pair.m_weight;
        least = pair.m_iprofile + 1;
    }
    return weights;
}

void Histogram_filler::add_full_row(const float* weights, double entry_weight) noexcept {
    for (std::size_t begin = 0; begin < m_sums.size(); begin += kValuesAtOnce) {
        double* const sums = m_sums.data() + begin;
        for (std::size_t i = 0; i < kValuesAtOnce; ++i) {
            sums[i] += static_cast<double>(weights[begin + i]) * entry_weight;
        }
    }
}

void Histogram_filler::find_bins(const Clipped_bag& bag, int* bins) {
    if (m_scores_are_plain && bag.total_weight() != 0.0) {
        find_plain_bins(bag.total_weight(), bins);
        return;
    }
    const std::vector<Rest_score> no_rest_scores;
    find_exact_bins(Match_scorer(*m_matcher.m_storage, m_matcher.m_avg_likelihood, no_rest_scores,
                                 bag.total_weight()),
                    bins);
}

void Histogram_filler::find_plain_bins(double total_weight, int* bins) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): each round writes all elements
    std::array<double, kValuesAtOnce> values;
    for (std::size_t begin = 0; begin < m_row_size; begin += kValuesAtOnce) {
        const std::size_t* const active = m_active.data() + begin;
        const double* const additive_terms = m_additive_terms.data() + begin;
        for (std::size_t i = 0; i < kValuesAtOnce; ++i) {
            values[i] = std::exchange(m_sums[active[i]], 0.0);
        }
        for (std::size_t i = 0; i < kValuesAtOnce; ++i) {
            values[i] = values[i] / total_weight + additive_terms[i];
        }
        find_bins_of_values(values, m_bin_count, bins + begin);
    }
}

void Histogram_filler::find_exact_bins(const Match_scorer& scorer, int* bins) {
    for (std::size_t place = 0; place < m_active_count; ++place) {
        const double sum = std::exchange(m_sums[m_active[place]], 0.0);
        bins[place] =
            bin_of_score(scorer.score(static_cast<int>(m_active[place]), sum), m_bin_count);
    }
}

// A message counts only once for a category, even if it has the node twice.
void Histogram_filler::add_relevant(const std::vector<zeNode*>& nodes) {
    const auto is_less = [](const auto& left, const auto& right) {
        return std::less<>()(left.first, right.first);
    };
    const std::size_t first = m_relevant.size();
    for (const zeNode* const node : nodes) {
        const auto [begin, end] =
            std::equal_range(m_place_of_node.begin(), m_place_of_node.end(),
                             std::pair<const zeNode*, std::size_t>(node, 0), is_less);
        for (auto found = begin; found != end; ++found) {
            m_relevant.push_back({m_message_count, found->second});
        }
    }
    if (nodes.size() > 1) {
        const auto added = m_relevant.begin() + static_cast<std::ptrdiff_t>(first);
        std::sort(added, m_relevant.end(), [](const Relevant& left, const Relevant& right) {
            return left.place < right.place;
        });
        m_relevant.erase(std::unique(added, m_relevant.end(),
                                     [](const Relevant& left, const Relevant& right) {
                                         return left.place == right.place;
                                     }),
                         m_relevant.end());
    }
}

void Histogram_filler::enter_block() noexcept {
    if (m_message_count > 0) {
        enter_totals();
        enter_relevant();
        m_message_count = 0;
        m_relevant.clear();
    }
}

void Histogram_filler::enter_totals() noexcept {
    const int added_age = static_cast<int>(m_message_count);
    for (std::size_t place = 0; place < m_active_count; ++place) {
        zeStat_storage::Profile& profile = *m_matcher.m_storage->m_profiles[m_active[place]];
        zeStat_storage::Result_bin* const histogram = profile.m_bins.data();
        for (std::size_t message = 0; message < m_message_count; ++message) {
            histogram[bins_of(message)[place]].m_total += m_weights[message];
        }
        profile.m_likelihood_age =
            std::min(profile.m_likelihood_age, Zandrel::MAX_LIKELIHOOD_AGE - added_age) + added_age;
    }
}

void Histogram_filler::enter_relevant() noexcept {
    for (const Relevant& each : m_relevant) {
        if (each.message == m_message_count) {
            return;  // This and all further ones are of a message whose `add` ran out of memory.
        }
        zeStat_storage::Profile& profile = *m_matcher.m_storage->m_profiles[m_active[each.place]];
        const auto bin = static_cast<std::size_t>(bins_of(each.message)[each.place]);
        profile.m_bins[bin].m_relevant += m_weights[each.message];
    }
}

}  // namespace zandrel::detail
