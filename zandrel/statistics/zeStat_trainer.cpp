// The counting side of zeStat_trainer. Removing a message undoes the effect of adding it, so the
// likelihood pass can take a slice of the messages out and add it again, instead of training
// without it.
//
// For example, a message of weight 1 with the bag "ball 3, goal 1" adds 0.75 to "ball" and 0.25 to
// "goal", in the table of all concepts and in each of its categories, and 4 to m_total_sml_weight.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/statistics/Announced_messages.h"
#include "zandrel/statistics/Finite_weights.h"

using zandrel::kTraceDebug;

namespace {

const Trace_file s_trace_file("zeStat_trainer.cpp");

// Subtracts. Rounding must not make a total less than 0.
void reduce(double& total, double amount) {
    total = std::max(total - amount, 0.0);
}

void reduce(int& count) {
    count = std::max(count, 1) - 1;
}

// A count may come from a damaged record, so it may be the greatest int already.
void raise_by_one(int& count) {
    count = std::min(count, std::numeric_limits<int>::max() - 1) + 1;
}

// Subtracts a share from a weight. Repeated adding and removing can leave a rounding error instead
// of 0, so up to a millionth of the share counts as 0.
double without_share(double weight, double share) {
    const double left = std::max(weight - share, 0.0);
    return left <= share / 1000000.0 ? 0.0 : left;
}

// Makes room for all concepts of a message that has more of them than the table. Otherwise a text
// of a million new words would build the index of the table 14 times.
template <class Table>
void make_room(Table& table, std::size_t share_count) {
    if (share_count > table.size()) {
        table.reserve(share_count);
    }
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
    // If the key is missing, this adds it with an empty value.
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
    m_storage->m_dirty = true;
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
    // The passes above add entries again that they have erased, so we drop erased entries only now.
    m_storage->compact();
}

void zeStat_trainer::calculate_corpus(const std::vector<unsigned int>& indices, bool remove) {
    m_model_is_matched = false;
    m_storage->m_dirty = true;
    zandrel::detail::Announced_messages messages(*m_view, indices);
    for (const unsigned int index : indices) {
        count(m_view->msgs[index], messages.next(), remove);
        check_interrupt();
    }
}

qtPtrLight<zeMsg> zeStat_trainer::fetch(const zeCorpus_view::Msg& entry) const {
    return m_view->corpus->get_numbered_msg(entry.index);
}

// Collects the message's weight, total and shares in `m_counted`. Returns false, with a trace, if
// there is nothing to count.
//
// The total may be finite and not 0, but 0 or infinite after clipping. For example, with a ceiling
// of 3, the weights 10 and -3 have the total 0, and 1e308, -1e308 and -1e308 have an infinite
// total. A division by 0 gives no shares, and an infinite total would remain in the model.
bool zeStat_trainer::collect_shares(const qtPtrLight<zeMsg>& msg, int index) {
    if (!msg.IsNull() && !zandrel::detail::has_finite_weights(*msg)) {
        tracef(s_trace_file, kTraceDebug, "Message has a weight that is not finite (message %d)",
               index);
        return false;
    }
    if (!msg.IsNull() && !msg->active_bag().IsNull() && msg->active_bag()->m_total_weight != 0.0) {
        const zandrel::detail::Clipped_bag bag(*msg->active_bag(), m_storage->m_clip_value);
        if (bag.total_weight() != 0.0 && std::isfinite(bag.total_weight())) {
            m_counted.weight = msg->weight;
            m_counted.total = bag.total_weight();
            m_counted.shares.clear();
            for (const zeSml::Concept_info& entry : bag.concepts()) {
                const double weight = bag.weight(entry);
                if (weight > 0.0) {
                    const double amount = msg->weight * weight / bag.total_weight();
                    m_counted.shares.push_back(
                        {&entry.m_concept, amount, zandrel::detail::Remembered_places::kUnknown});
                }
            }
            return true;
        }
    }
    tracef(s_trace_file, kTraceDebug, "SML does not exist or empty (message %d)", index);
    return false;
}

void zeStat_trainer::calculate_msg(int index, bool remove) {
    m_storage->m_dirty = true;
    const zeCorpus_view::Msg& entry = m_view->msgs[static_cast<std::size_t>(index)];
    count(entry, fetch(entry), remove);
}

void zeStat_trainer::count(const zeCorpus_view::Msg& entry, const qtPtrLight<zeMsg>& msg,
                           bool remove) {
    if (!collect_shares(msg, entry.index)) {
        return;
    }
    if (remove) {
        remove_from_totals();
        remove_concepts();
        for (zeNode* const& node : entry.cats) {
            remove_from_profile(node);
        }
        reduce(m_storage->m_total_sml_weight, m_counted.total);
    } else {
        add_to_totals();
        add_concepts();
        for (zeNode* const& node : entry.cats) {
            add_to_profile(node);
        }
        m_storage->m_total_sml_weight += m_counted.total;
    }
}

// Begins to load the entries of a table that the next shares need. If their positions are
// remembered, the entry is loaded. Otherwise the slot of the index is loaded first, and later the
// entry.
template <class Table>
void zeStat_trainer::announce(const Table& table, std::size_t ishare) const {
    constexpr std::size_t kAhead = 8;
    constexpr std::size_t kFewEntries = 4096;  // the entries of a small table are in the caches
    if (table.size() < kFewEntries) {
        return;
    }
    const std::vector<Share>& shares = m_counted.shares;
    if (m_places.is_replaying()) {
        table.prefetch(m_places.guess_behind(kAhead));
        return;
    }
    if (ishare + 2 * kAhead < shares.size()) {
        table.prefetch_slot(*shares[ishare + 2 * kAhead].known);
    }
    if (ishare + kAhead < shares.size()) {
        table.prefetch_entry(*shares[ishare + kAhead].known);
    }
}

void zeStat_trainer::add_to_totals() {
    m_storage->m_total_weight += m_counted.weight;
    m_storage->m_total_msg_weight += m_counted.weight;
    raise_by_one(m_storage->m_num_msgs);
}

void zeStat_trainer::remove_from_totals() {
    reduce(m_storage->m_total_weight, m_counted.weight);
    reduce(m_storage->m_total_msg_weight, m_counted.weight);
    reduce(m_storage->m_num_msgs);
}

void zeStat_trainer::add_concepts() {
    Concept_infos& infos = m_storage->m_concept_infos;
    make_room(infos, m_counted.shares.size());
    for (std::size_t i = 0; i < m_counted.shares.size(); ++i) {
        announce(infos, i);
        Share& share = m_counted.shares[i];
        const auto info = infos.try_emplace(*share.known, m_places.guess()).first;
        info->second.m_weight += share.amount;
        info->second.m_rate += 1.0;
        share.info = infos.position(info);
    }
}

void zeStat_trainer::remove_concepts() {
    Concept_infos& infos = m_storage->m_concept_infos;
    for (std::size_t i = 0; i < m_counted.shares.size(); ++i) {
        announce(infos, i);
        Share& share = m_counted.shares[i];
        const auto found = infos.find(*share.known);
        share.info = infos.position(found);
        m_places.note(share.info);
        if (m_storage->end(found)) {
            continue;
        }
        const double weight = without_share(found->second.m_weight, share.amount);
        const double rate = std::max(found->second.m_rate - 1.0, 0.0);
        if (weight == 0.0 || rate == 0.0) {
            infos.erase(found);
        } else {
            found->second.m_weight = weight;
            found->second.m_rate = rate;
        }
    }
}

void zeStat_trainer::add_to_profile(zeNode* const& node) {
    bool profile_added = false;
    const int iprofile = m_storage->get_or_add_profile(node, profile_added);
    zeStat_storage::Profile& profile = m_storage->profile(iprofile);
    profile.m_weight += m_counted.weight;
    profile.m_msg_weight += m_counted.weight;
    raise_by_one(profile.m_num_msgs);
    make_room(profile.m_Ps, m_counted.shares.size());
    for (std::size_t i = 0; i < m_counted.shares.size(); ++i) {
        announce(profile.m_Ps, i);
        const Share& share = m_counted.shares[i];
        const auto [P, P_added] = profile.m_Ps.try_emplace(*share.known, m_places.guess());
        if (P_added) {
            const auto iconcept_info = m_storage->m_concept_infos.at_position(share.info);
            ZANDREL_ASSERT(!m_storage->end(iconcept_info), "!m_storage->end(iconcept_info)");
            raise_by_one(iconcept_info->second.m_num_Ps);
        }
        P->second.m_info = share.info;
        P->second.m_life = m_storage->m_P_life_expectancy;
        P->second.m_weight += share.amount;
    }
}

void zeStat_trainer::remove_from_profile(zeNode* const& node) {
    const int iprofile = m_storage->get_profile(node);
    if (m_storage->end(iprofile)) {
        return;
    }
    zeStat_storage::Profile& profile = m_storage->profile(iprofile);
    reduce(profile.m_weight, m_counted.weight);
    reduce(profile.m_msg_weight, m_counted.weight);
    reduce(profile.m_num_msgs);
    for (std::size_t i = 0; i < m_counted.shares.size(); ++i) {
        announce(profile.m_Ps, i);
        const Share& share = m_counted.shares[i];
        const auto found = profile.m_Ps.find(*share.known);
        m_places.note(profile.m_Ps.position(found));
        if (found == profile.m_Ps.end()) {
            continue;
        }
        found->second.m_weight = without_share(found->second.m_weight, share.amount);
        if (found->second.m_weight != 0.0) {
            continue;
        }
        const auto iconcept_info = m_storage->m_concept_infos.at_position(share.info);
        if (!m_storage->end(iconcept_info)) {
            reduce(iconcept_info->second.m_num_Ps);
        }
        profile.m_Ps.erase(found);
    }
}
