// The likelihood side of zeStat_trainer: what a raw score is worth. Labelled messages are scored by
// models from which they have been left out; histograms keep, for each category, how much fell at
// each score and how much of that belonged there; the likelihood tables come from these.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <memory>

#include "zandrel/foundation/trace.h"
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
    double den;  // weight of all
    int end;     // the bin behind the last

    double ratio() const { return num / den; }
};

// The fine bins of one bin of the table. The total starts a little above 0: every ratio is then
// defined, and that of an empty bin is 0.
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

// Limits below 0 make weights below 0, and then the ratio can be anything, also no number.
double likelihood_of(const Pool& pool) {
    const double ratio = pool.ratio();
    return ratio >= 0.0 ? std::min(ratio, 1.0) : 0.0;
}

// Pools adjacent violators: while a pool's ratio is above that of the next, the two become one. The
// ratios then do not decrease.
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
    // Raw scores are measured, of every category that has a message.
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
        // The messages are new to the model, and join it only after they are matched.
        match_msgs_for_likelihood(m_msg_indices);
        calculate_corpus(m_msg_indices, false);
        return;
    }
    // A message with a weight that is not finite must not change which messages share a slice.
    std::erase_if(m_msg_indices, [this](unsigned int index) {
        const qtPtrLight<zeMsg> msg = fetch(m_view->msgs[index]);
        return !msg.IsNull() && !zandrel::detail::has_finite_weights(*msg);
    });
    // More slices than messages would be empty.
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

// Taking out the only message of a category would empty the category.
bool zeStat_trainer::can_be_left_out(const std::vector<zeNode*>& cats) const {
    return std::all_of(cats.begin(), cats.end(), [this](zeNode* const& node) {
        const int iprofile = m_storage->get_profile(node);
        return !m_storage->end(iprofile) && m_storage->profile(iprofile).m_weight > 1.0;
    });
}

void zeStat_trainer::match_msgs_for_likelihood(const std::vector<unsigned int>& indices) {
    std::unique_ptr<zeStat_matcher> temporary;
    zeStat_matcher* matcher = m_model_is_matched ? m_matcher : nullptr;
    if (matcher == nullptr) {
        temporary = std::make_unique<zeStat_matcher>(nullptr, nullptr, *m_storage, false);
        matcher = temporary.get();
    }
    zandrel::detail::Histogram_filler filler(*matcher);
    int matched_count = 0;
    for (const unsigned int index : indices) {
        const zeCorpus_view::Msg& entry = m_view->msgs[index];
        const qtPtrLight<zeMsg> msg = fetch(entry);
        if (!msg.IsNull()) {
            filler.add(*msg, entry);
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
