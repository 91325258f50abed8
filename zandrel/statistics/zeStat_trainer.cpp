// The counting side of zeStat_trainer. Adding and removing stand side by side: removing a message
// undoes exactly what adding it did, which is what makes measuring with messages left out
// affordable.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/statistics/Finite_weights.h"

namespace {

const Trace_file s_trace_file("zeStat_trainer.cpp");

// Totals never fall below 0, whatever rounding has left.
void reduce(double& total, double amount) {
    total = std::max(total - amount, 0.0);
}

void reduce(int& count) {
    count = std::max(count, 1) - 1;
}

// Counts stand in records, so one can be at its end.
void raise_by_one(int& count) {
    count = std::min(count, std::numeric_limits<int>::max() - 1) + 1;
}

// What is left of a weight once a share is gone. The millionth is the rounding that repeated adding
// and removing may leave of nothing.
double without_share(double weight, double share) {
    const double left = std::max(weight - share, 0.0);
    return left <= share / 1000000.0 ? 0.0 : left;
}

}  // namespace

zeStat_storage* zeStat_trainer::s_storage = nullptr;

zeStat_trainer::zeStat_trainer(zeStat_storage& storage)
    : m_storage(&storage), m_manager(storage.m_manager) {
    storage.complete();
    init_optional_flags();
    static const bool is_filled = (initialize_F_C(F_C.data()), true);
    static_cast<void>(is_filled);
}

zeStat_trainer::~zeStat_trainer() = default;

void init_optional_flags() {
    static bool has_looked = false;
    if (has_looked) {
        return;
    }
    has_looked = true;
    // The look-up enters the key with an empty value if it is missing.
    if (g_test_zandrel_opts != nullptr && g_test_zandrel_opts->options["PositiveMethod"] == "1") {
        g_use_positive_method = true;
    }
}

void zeStat_trainer::check_interrupt() {
    if (m_manager != nullptr) {
        m_manager->check_interrupt();
    }
}

void zeStat_trainer::train(zeCorpus_view& view, bool remove) {
    m_view = &view;
    m_model_is_matched = true;
    m_msg_indices.resize(view.msgs.size());
    std::iota(m_msg_indices.begin(), m_msg_indices.end(), 0U);
    calculate_profiles(remove);
    trace(s_trace_file, kTraceDebug, "Training completed");
}

void zeStat_trainer::calculate_profiles(bool remove) {
    const bool builds_likelihood = m_storage->m_use_train_likelihood && !remove;
    // With fewer than two slices nothing can be left out: the likelihood pass matches the messages
    // before it counts them itself.
    const bool is_counted_later =
        builds_likelihood && m_storage->m_use_omit_method && m_storage->m_num_slices <= 1;
    if (!is_counted_later) {
        trace(s_trace_file, kTraceDebug, "Calculating global concept data");
        calculate_corpus(m_msg_indices, remove);
    }
    if (builds_likelihood) {
        calculate_likelihood();
    }
    // The passes above enter again what they have erased, so the places were kept until here.
    m_storage->compact();
}

void zeStat_trainer::calculate_corpus(const std::vector<unsigned int>& indices, bool remove) {
    m_model_is_matched = false;
    for (const unsigned int index : indices) {
        calculate_msg(static_cast<int>(index), remove);
        check_interrupt();
    }
}

qtPtrLight<zeMsg> zeStat_trainer::fetch(const zeCorpus_view::Msg& entry) const {
    zeCorpus& corpus = *m_view->corpus;
    return corpus.get_msg(corpus.get_msg(entry.index));
}

// The view of the message's bag, or null, with a trace, if there is nothing to count.
//
// Clipping can change a total that was finite and not 0, if weights are below 0 or far apart. For
// example, a ceiling of 3 makes of 10 and -3 a total of 0, and of 1e308, -1e308 and -1e308 an
// infinite one. Shares of 0 are not numbers, and an infinite total would stay in the model.
qtPtrLight<zeSml> zeStat_trainer::view_to_count(const qtPtrLight<zeMsg>& msg, int index) const {
    if (!msg.IsNull() && !Zandrel::has_finite_weights(*msg)) {
        tracef(s_trace_file, kTraceDebug, "Message has a weight that is not finite (message %d)",
               index);
        return {};
    }
    if (!msg.IsNull() && !msg->active_bag().IsNull() && msg->active_bag()->m_total_weight != 0.0) {
        qtPtrLight<zeSml> view = zeSml::get_clipped_sml(msg->active_bag(), m_storage->m_clip_value);
        if (view->m_total_weight != 0.0 && std::isfinite(view->m_total_weight)) {
            return view;
        }
    }
    tracef(s_trace_file, kTraceDebug, "SML does not exist or empty (message %d)", index);
    return {};
}

void zeStat_trainer::calculate_msg(int index, bool remove) {
    const zeCorpus_view::Msg& entry = m_view->msgs[static_cast<std::size_t>(index)];
    const qtPtrLight<zeMsg> msg = fetch(entry);
    const qtPtrLight<zeSml> view = view_to_count(msg, entry.index);
    if (view.IsNull()) {
        return;
    }
    const Counted counted = {msg->weight, *view};
    if (remove) {
        remove_from_totals(counted);
        remove_concepts(counted);
        for (zeNode* const& node : entry.cats) {
            remove_from_profile(node, counted);
        }
        reduce(m_storage->m_total_sml_weight, view->m_total_weight);
    } else {
        add_to_totals(counted);
        add_concepts(counted);
        for (zeNode* const& node : entry.cats) {
            add_to_profile(node, counted);
        }
        m_storage->m_total_sml_weight += view->m_total_weight;
    }
}

void zeStat_trainer::add_to_totals(const Counted& msg) {
    m_storage->m_total_weight += msg.weight;
    m_storage->m_total_msg_weight += msg.weight;
    raise_by_one(m_storage->m_num_msgs);
}

void zeStat_trainer::remove_from_totals(const Counted& msg) {
    reduce(m_storage->m_total_weight, msg.weight);
    reduce(m_storage->m_total_msg_weight, msg.weight);
    reduce(m_storage->m_num_msgs);
}

void zeStat_trainer::add_concepts(const Counted& msg) {
    for (const zeSml::Concept_info& entry : msg.bag.m_concepts) {
        if (entry.m_weight > 0.0) {
            bool added = false;
            auto& info = m_storage->get_or_add_concept_info(entry.m_concept, added)->second;
            info.m_weight += msg.weight * entry.m_weight / msg.bag.m_total_weight;
            info.m_rate += 1.0;
        }
    }
}

void zeStat_trainer::remove_concepts(const Counted& msg) {
    for (const zeSml::Concept_info& entry : msg.bag.m_concepts) {
        const auto found = m_storage->m_concept_infos.find(entry.m_concept);
        if (!(entry.m_weight > 0.0) || found == m_storage->m_concept_infos.end()) {
            continue;
        }
        const double share = msg.weight * entry.m_weight / msg.bag.m_total_weight;
        const double weight = without_share(found->second.m_weight, share);
        const double rate = std::max(found->second.m_rate - 1.0, 0.0);
        if (weight == 0.0 || rate == 0.0) {
            m_storage->m_concept_infos.erase(found);
        } else {
            found->second.m_weight = weight;
            found->second.m_rate = rate;
        }
    }
}

void zeStat_trainer::add_to_profile(zeNode* const& node, const Counted& msg) {
    bool profile_added = false;
    const int iprofile = m_storage->get_or_add_profile(node, profile_added);
    zeStat_storage::Profile& profile = m_storage->profile(iprofile);
    profile.m_weight += msg.weight;
    profile.m_msg_weight += msg.weight;
    raise_by_one(profile.m_num_msgs);
    for (const zeSml::Concept_info& entry : msg.bag.m_concepts) {
        if (!(entry.m_weight > 0.0)) {
            continue;
        }
        bool P_added = false;
        auto& P = m_storage->get_or_add_P(iprofile, entry.m_concept, P_added)->second;
        if (P_added) {
            const auto iconcept_info = m_storage->m_concept_infos.find(entry.m_concept);
            ZANDREL_ASSERT(!m_storage->end(iconcept_info), "!m_storage->end(iconcept_info)");
            raise_by_one(iconcept_info->second.m_num_Ps);
        }
        P.m_life = m_storage->m_P_life_expectancy;
        P.m_weight += msg.weight * entry.m_weight / msg.bag.m_total_weight;
    }
}

void zeStat_trainer::remove_from_profile(zeNode* const& node, const Counted& msg) {
    const int iprofile = m_storage->get_profile(node);
    if (m_storage->end(iprofile)) {
        return;
    }
    zeStat_storage::Profile& profile = m_storage->profile(iprofile);
    reduce(profile.m_weight, msg.weight);
    reduce(profile.m_msg_weight, msg.weight);
    reduce(profile.m_num_msgs);
    for (const zeSml::Concept_info& entry : msg.bag.m_concepts) {
        const auto found = profile.m_Ps.find(entry.m_concept);
        if (!(entry.m_weight > 0.0) || found == profile.m_Ps.end()) {
            continue;
        }
        const double share = msg.weight * entry.m_weight / msg.bag.m_total_weight;
        found->second.m_weight = without_share(found->second.m_weight, share);
        if (found->second.m_weight != 0.0) {
            continue;
        }
        const auto iconcept_info = m_storage->m_concept_infos.find(entry.m_concept);
        if (!m_storage->end(iconcept_info)) {
            reduce(iconcept_info->second.m_num_Ps);
        }
        profile.m_Ps.erase(found);
    }
}
