// The likelihood side of zeStat_trainer: how probable is it that a message with a certain raw score
// belongs to the category?
//
// 1. Matching. A message that is in the model itself scores too high in its category. So the
//    training set is divided into slices. Each slice is taken out of the model, scored by the rest,
//    and counted again.
// 2. Histograms. Each category has a histogram over the scores from 0 to 1. A message adds its
//    weight to the bin of its score: to `m_total`, and to `m_relevant` if it belongs to the
//    category. A histogram has LikelihoodHistogramResolution fine bins for each of the 30 bins of
//    the table.
// 3. Tables. The value of a bin is m_relevant / m_total, the sums over its fine bins. A greater
//    score must never mean a smaller probability, but few messages can make it so by chance. So
//    while a bin has a greater ratio than the next one, the two become one pool with one ratio:
//    this is isotonic regression by pooling adjacent violators. The total of each bin starts at
//    0.0001, so that an empty bin has the ratio 0.
//
// For example, three bins are not empty:
//
//     bin               10        15        20
//     relevant/total   1 / 4     1 / 2     2 / 5
//
// - The bins 0 to 9 have the ratio 0. It does not decrease, so each remains its own pool.
// - Bin 10 has 1 / 4.0001. Bin 11 is empty, and its ratio of 0 is less, so it joins the pool of bin
//   10: 1 / 4.0002. So do 12, 13 and 14. The pool 10 to 14 has 1 / 4.0005 = 0.24997.
// - Bin 15 has 1 / 2.0001, which is more: a new pool. The empty bins 16 to 19 join it: 1 / 2.0005 =
//   0.49988.
// - Bin 20 has 2 / 5.0001 = 0.39999, which is less. The pools become one: 3 / 7.0006. The empty
//   bins 21 to 29 join it: 3 / 7.0015 = 0.42848.
//
// The table has 0 in the bins 0 to 9, 0.24997 in 10 to 14, and 0.42848 in 15 to 29. The matcher
// interpolates between the centres of the bins, and blends young tables with the average of all:
// see `adjust_match_value` in zeStat_matcher.cpp.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "zandrel/foundation/trace.h"
#include "zandrel/statistics/Announced_messages.h"
#include "zandrel/statistics/Finite_weights.h"
#include "zandrel/statistics/Histogram_filler.h"
#include "zandrel/statistics/Stratified_deal.h"
#include "zandrel/statistics/zeStat_matcher.h"

using zandrel::kTraceDebug;

namespace {

const Trace_file s_trace_file("zeStat_trainer_likelihood.cpp");

constexpr int kTraceInterval = 1000;  // messages or profiles from one trace to the next

// Neighbouring bins of a table that share one value.
struct Pool {
    double num;  // weight of the messages that belong to the category
    double den;  // weight of all messages
    int end;     // the bin behind the last one of the pool

    double ratio() const { return num / den; }
};

// Returns the sum of the fine bins of one bin of the table.
Pool pool_of_bin(const zeStat_storage::Profile& profile, int bin, int resolution) {
    Pool pool = {0.0, 0.0001, bin + 1};
    const auto width = static_cast<std::size_t>(resolution);
    const std::size_t begin = static_cast<std::size_t>(bin) * width;
    for (std::size_t i = begin; i < begin + width; ++i) {
        const zeStat_storage::Result_bin& fine = profile.m_bins[i];
        pool.num += fine.m_relevant;
        pool.den += fine.m_total;
    }
    return pool;
}

// Settings below 0, such as a limit of learning, can make weights below 0. The ratio can then be
// any number, or NaN.
double likelihood_of(const Pool& pool) {
    const double ratio = pool.ratio();
    return ratio >= 0.0 ? std::min(ratio, 1.0) : 0.0;
}

// Returns the pools of step 3. Their ratios do not decrease.
std::vector<Pool> pool_violators(const zeStat_storage::Profile& profile, int resolution) {
    std::vector<Pool> pools;
    pools.reserve(Zandrel::LIKELIHOOD_SIZE);
    for (int bin = 0; bin < Zandrel::LIKELIHOOD_SIZE; ++bin) {
        pools.push_back(pool_of_bin(profile, bin, resolution));
        while (pools.size() > 1 && pools[pools.size() - 2].ratio() > pools.back().ratio()) {
            const Pool next = pools.back();
            pools.pop_back();
            pools.back().num += next.num;
            pools.back().den += next.den;
            pools.back().end = next.end;
        }
    }
    return pools;
}

void build_likelihood(zeStat_storage::Profile& profile, int resolution) {
    int bin = 0;
    for (const Pool& pool : pool_violators(profile, resolution)) {
        for (; bin < pool.end; ++bin) {
            profile.m_likelihood[static_cast<std::size_t>(bin)] = likelihood_of(pool);
        }
    }
}

}  // namespace

void zeStat_trainer::calculate_likelihood() {
    const bool use_likelihood_in_match =
        m_storage->m_use_likelihood_in_match && m_storage->m_use_train_likelihood;
    const int activation_inside = m_storage->m_activation_inside;
    const int activation_outside = m_storage->m_activation_outside;
    const int activation_total = m_storage->m_activation_total;
    trace(s_trace_file, kTraceDebug, "Calculating likelihood");
    m_storage->m_dirty = true;
    // We measure raw scores, and we measure them for every category that has at least one message
    // inside and one outside.
    m_storage->m_use_likelihood_in_match = false;
    m_storage->m_activation_inside = 1;
    m_storage->m_activation_outside = 1;
    m_storage->m_activation_total = 1;
    if (m_storage->m_use_omit_method) {
        tracef(s_trace_file, kTraceDebug, "Performing matching while omitting (num slices: %d)",
               m_storage->m_num_slices);
        match_with_messages_left_out();
    } else {
        trace(s_trace_file, kTraceDebug, "Performing matching");
        match_msgs_for_likelihood(m_msg_indices);
    }
    m_storage->m_use_likelihood_in_match = use_likelihood_in_match;
    m_storage->m_activation_inside = activation_inside;
    m_storage->m_activation_outside = activation_outside;
    m_storage->m_activation_total = activation_total;
    calculate_likelihood_from_results();
    trace(s_trace_file, kTraceDebug, "Likelihood completed");
}

void zeStat_trainer::match_with_messages_left_out() {
    if (m_storage->m_num_slices < 2) {
        // The messages are new to the model, so we match them first and count them afterwards.
        match_msgs_for_likelihood(m_msg_indices);
        calculate_corpus(m_msg_indices, false);
        return;
    }
    // Counting skips messages with a weight that is not finite. We remove them here, so that they
    // do not change the slices of the other messages.
    const std::vector<unsigned int> all = std::exchange(m_msg_indices, {});
    zandrel::detail::Announced_messages messages(*m_view, all);
    for (const unsigned int index : all) {
        const qtPtrLight<zeMsg>& msg = messages.next();
        if (msg.IsNull() || zandrel::detail::has_finite_weights(*msg)) {
            m_msg_indices.push_back(index);
        }
    }
    // Slices beyond the number of messages would be empty.
    std::vector<std::vector<unsigned int>> slices(std::clamp<std::size_t>(
        m_msg_indices.size(), 1, static_cast<std::size_t>(m_storage->m_num_slices)));
    build_slices(slices);
    int slice_count = 0;
    for (const std::vector<unsigned int>& slice : slices) {
        if (slice.empty()) {
            break;
        }
        m_places.record();
        calculate_corpus(slice, true);
        match_msgs_for_likelihood(slice);
        m_places.replay();
        calculate_corpus(slice, false);
        tracef(s_trace_file, kTraceDebug, "Calculated %d slices", ++slice_count);
        check_interrupt();
    }
    m_places.forget();
}

void zeStat_trainer::build_slices(std::vector<std::vector<unsigned int>>& slices) {
    zandrel::detail::Stratified_deal deal;
    for (const unsigned int index : m_msg_indices) {
        const std::vector<zeNode*>& cats = m_view->msgs[index].cats;
        if (can_be_left_out(cats)) {
            deal.add(index, cats);
        }
    }
    deal.deal(slices.size(),
              [&slices](std::size_t slice, unsigned int index) { slices[slice].push_back(index); });
}

// Taking out the only message of a category would leave the category empty.
bool zeStat_trainer::can_be_left_out(const std::vector<zeNode*>& cats) const {
    return std::all_of(cats.begin(), cats.end(), [this](zeNode* const& node) {
        const int iprofile = m_storage->get_profile(node);
        return !m_storage->end(iprofile) && m_storage->profile(iprofile).m_weight > 1.0;
    });
}

void zeStat_trainer::match_msgs_for_likelihood(const std::vector<unsigned int>& indices) {
    m_storage->m_dirty = true;
    std::unique_ptr<zeStat_matcher> temporary;
    zeStat_matcher* matcher = m_model_is_matched ? m_matcher : nullptr;
    if (matcher == nullptr) {
        temporary = std::make_unique<zeStat_matcher>(nullptr, nullptr, *m_storage, false);
        matcher = temporary.get();
    }
    zandrel::detail::Histogram_filler filler(*matcher);
    zandrel::detail::Announced_messages messages(*m_view, indices);
    int matched_count = 0;
    for (const unsigned int index : indices) {
        const qtPtrLight<zeMsg>& msg = messages.next();
        if (!msg.IsNull()) {
            filler.add(*msg, m_view->msgs[index]);
        }
        if (++matched_count % kTraceInterval == 0) {
            tracef(s_trace_file, kTraceDebug, "Matched %d messages", matched_count);
        }
        check_interrupt();
    }
}

void zeStat_trainer::calculate_likelihood_from_results() {
    tracef(s_trace_file, kTraceDebug, "Calculating likelihood table (bins: %d)",
           Zandrel::LIKELIHOOD_SIZE);
    m_storage->m_dirty = true;
    int calculated_count = 0;
    for (const auto& profile : m_storage->m_profiles) {
        m_storage->complete_histogram(*profile);
        build_likelihood(*profile, m_storage->m_likelihood_resolution);
        if (++calculated_count % kTraceInterval == 0) {
            tracef(s_trace_file, kTraceDebug, "Calculated %d profiles", calculated_count);
        }
        check_interrupt();
    }
}
