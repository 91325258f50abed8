// The course of learning: a batch is divided into sub-bulks. For each of them the messages are
// counted, the features selected, and concepts that are not needed deleted. The first one of a run
// also scales old counts down.
#include "zandrel/statistics/zeStat_diet_learner.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/statistics/Finite_weights.h"
#include "zandrel/statistics/Stratified_deal.h"
#include "zandrel/statistics/zeStat_trainer.h"

using zandrel::kTraceDebug;

namespace {

const Trace_file s_trace_file("zeStat_diet_learner.cpp");

// A batch that has fewer messages than this is divided into at most this many sub-bulks. Further
// ones would be empty, and a bag with a huge weight could ask for billions.
constexpr int kMostEmptySubBulks = 10000;

// Converts to an integer: drops the fraction, and limits the value to the range of the type.
template <class Integer>
Integer cut(double value) {
    constexpr Integer kLeast = std::numeric_limits<Integer>::min();
    constexpr Integer kMost = std::numeric_limits<Integer>::max();
    if (!(value > static_cast<double>(kLeast))) {
        return kLeast;
    }
    return value < static_cast<double>(kMost) ? static_cast<Integer>(value) : kMost;
}

}  // namespace

bool g_use_geom_average = false;

zeStat_diet_learner::zeStat_diet_learner(zeStat_storage& storage)
    : m_storage(&storage), m_manager(storage.m_manager) {
    storage.complete();
    init_optional_flags();
}

zeStat_diet_learner::~zeStat_diet_learner() = default;

void zeStat_diet_learner::init_optional_flags() {
    static bool has_looked = false;
    if (has_looked) {
        return;
    }
    has_looked = true;
    // If the key is missing, this adds it with an empty value.
    if (g_test_zandrel_opts != nullptr) {
        g_use_geom_average = g_test_zandrel_opts->options["GeomAverage"] == "1";
    }
}

void zeStat_diet_learner::check_interrupt() {
    if (m_manager != nullptr) {
        m_manager->check_interrupt();
    }
}

void zeStat_diet_learner::learn(zeCorpus_view& view, bool first) {
    trace(s_trace_file, kTraceDebug, "Starting learning");
    m_storage->m_dirty = true;
    // Also after an exception: the next call may be for another corpus.
    const zandrel::detail::Restored<std::set<int>> at_end(m_not_finite);
    const int sub_bulk_count = count_sub_bulks(view);
    if (sub_bulk_count < 2) {
        learn_bulk(view, first);
    } else {
        std::vector<zeCorpus_view> parts;
        build_subcorpuses(view, sub_bulk_count, parts);
        int number = 1;
        for (zeCorpus_view& part : parts) {
            // Each bulk repeats the feature selection for all profiles, which is expensive, so we
            // skip empty bulks. Bulk 1 must run, since it scales the old counts if `first`. It is
            // never empty: the deal begins with it, and a view without messages is not divided.
            if (!part.msgs.empty()) {
                tracef(s_trace_file, kTraceDebug, "Starting secondary bulk %d", number);
                learn_bulk(part, first && number == 1);
                tracef(s_trace_file, kTraceDebug, "Secondary bulk %d completed", number);
            }
            ++number;
        }
    }
    trace(s_trace_file, kTraceDebug, "Learning completed");
}

int zeStat_diet_learner::count_sub_bulks(zeCorpus_view& view) {
    const double cap =
        std::max({m_storage->m_min_Ps_size, m_storage->m_max_Ps_size, m_storage->m_profile_size});
    const long long concept_count = estimate_concept_count(view);
    int sub_bulk_count = 1;
    if (m_storage->profile_count() > 0 && cap != 0.0) {
        const double wanted =
            std::ceil(static_cast<double>(concept_count) / (m_storage->profile_count() * cap));
        const double most = std::max(static_cast<double>(view.msgs.size()),
                                     static_cast<double>(kMostEmptySubBulks));
        sub_bulk_count = std::max(cut<int>(std::min(wanted, most)), 1);
    }
    tracef(s_trace_file, kTraceDebug,
           "Prime bulk size: %d (estimated num concepts: %d), total sub bulks: %d",
           static_cast<int>(view.msgs.size()), cut<int>(static_cast<double>(concept_count)),
           sub_bulk_count);
    return sub_bulk_count;
}

// We estimate half of the weight of the bags, since many concepts occur more than once.
long long zeStat_diet_learner::estimate_concept_count(zeCorpus_view& view) {
    long long total = 0;
    for (const zeCorpus_view::Msg& entry : view.msgs) {
        const qtPtrLight<zeMsg> msg = view.corpus->get_numbered_msg(entry.index);
        if (!msg.IsNull() && !zandrel::detail::has_finite_weights(*msg)) {
            m_not_finite.insert(entry.index);
        } else if (!msg.IsNull() && !msg->active_bag().IsNull()) {
            const double weight = msg->active_bag()->m_total_weight;
            total = cut<long long>(static_cast<double>(total) +
                                   static_cast<double>(entry.cats.size()) * weight);
        }
    }
    return total / 2;
}

void zeStat_diet_learner::build_subcorpuses(zeCorpus_view& view, int count,
                                            std::vector<zeCorpus_view>& out) {
    out.assign(static_cast<std::size_t>(count), zeCorpus_view(view.corpus));
    zandrel::detail::Stratified_deal deal;
    for (std::size_t position = 0; position < view.msgs.size(); ++position) {
        const zeCorpus_view::Msg& entry = view.msgs[position];
        if (m_not_finite.count(entry.index) == 0) {
            deal.add(static_cast<unsigned int>(position), entry.cats);
        } else {
            out.front().msgs.push_back(entry);  // training skips the message and traces this
        }
    }
    deal.deal(out.size(), [&view, &out](std::size_t part, unsigned int position) {
        out[part].msgs.push_back(view.msgs[position]);
    });
}

void zeStat_diet_learner::learn_bulk(zeCorpus_view& view, bool first) {
    m_view = &view;
    build_num_msgs4profile();
    check_interrupt();
    prepare4training(first);
    check_interrupt();
    train_bulk(view);
    check_interrupt();
    // Deletion needs the marks of a selection that knows the new messages.
    zeStat_trainer trainer(*m_storage);
    trainer.calculate_feature_selection();
    eliminate_features(false);
}

void zeStat_diet_learner::train_bulk(zeCorpus_view& view) {
    zeStat_trainer trainer(*m_storage);
    const zandrel::detail::Restored<int> at_end(m_storage->m_num_slices, get_num_slices_for_bulk());
    trainer.m_matcher = m_matcher;
    trainer.train(view, false);
}

void zeStat_diet_learner::build_num_msgs4profile() {
    m_num_msgs4profile.assign(m_storage->m_profiles.size(), 0);
    for (const zeCorpus_view::Msg& entry : m_view->msgs) {
        if (m_not_finite.count(entry.index) != 0) {
            continue;
        }
        for (zeNode* const& node : entry.cats) {
            const int iprofile = m_storage->get_profile(node);
            if (!m_storage->end(iprofile)) {
                ++m_num_msgs4profile[static_cast<std::size_t>(iprofile)];
            }
        }
    }
}

int zeStat_diet_learner::get_num_slices_for_bulk() {
    const int slice_count = m_storage->m_num_slices;
    if (slice_count == 1 || !m_storage->m_use_train_likelihood || !m_storage->m_use_omit_method) {
        return slice_count;
    }
    double most = 1.0;
    for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
        const double msg_count = m_num_msgs4profile[static_cast<std::size_t>(iprofile)];
        const double weight = m_storage->profile(iprofile).m_weight;
        const double wanted =
            weight == 0.0
                ? slice_count
                : std::min<double>(slice_count, std::ceil(msg_count * slice_count / weight));
        most = std::max(most, std::min(wanted, msg_count));
    }
    return static_cast<int>(most);
}

bool zeStat_diet_learner::add_cat(zeNode*& cat) {
    bool is_new = false;
    int iprofile = m_storage->get_or_add_profile(cat, is_new);
    clear_profile(iprofile);
    return is_new;
}

bool zeStat_diet_learner::clear_cat(zeNode*& cat, bool remove_concepts) {
    int iprofile = m_storage->get_profile(cat);
    if (m_storage->end(iprofile)) {
        return false;
    }
    m_storage->m_dirty = true;
    remove_influence_of_profile(iprofile, remove_concepts);
    clear_profile(iprofile);
    return true;
}

bool zeStat_diet_learner::delete_cat(zeNode*& cat, bool remove_concepts) {
    int iprofile = m_storage->get_profile(cat);
    if (m_storage->end(iprofile)) {
        return false;
    }
    m_storage->m_dirty = true;
    remove_influence_of_profile(iprofile, remove_concepts);
    m_storage->delete_profile(iprofile);
    return true;
}

void zeStat_diet_learner::clear_profile(int& iprofile) {
    m_storage->clear_profile(iprofile);
}
