// The side of zeStat_matcher that changes its storage: training, the categories, and the histograms
// of the likelihood pass.
#include "zandrel/statistics/zeStat_matcher.h"

#include <algorithm>
#include <cstddef>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Finite_weights.h"
#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_trainer.h"

namespace {

// The category as messages quote it. They are cut to 1023 bytes.
qtString quoted(const zeNode& cat) {
    return qtString("\"") + cat.m_concept.c_str() + "\"";
}

void add_to_histogram(zeStat_storage::Profile& profile, int bin_number, double weight,
                      bool is_relevant) {
    zeStat_storage::Result_bin& bin = profile.m_bins[static_cast<std::size_t>(bin_number)];
    bin.m_total += weight;
    if (is_relevant) {
        bin.m_relevant += weight;
    }
    profile.m_likelihood_age =
        std::min(profile.m_likelihood_age, Zandrel::MAX_LIKELIHOOD_AGE - 1) + 1;
}

}  // namespace

void zeStat_matcher::train(zeCorpus_view& view) {
    zeStat_trainer trainer(*m_storage);
    trainer.train(view, false);
    feed(*m_storage, true);
}

void zeStat_matcher::learn(zeCorpus_view& view, bool first) {
    zeStat_diet_learner learner(*m_storage);
    learner.m_matcher = this;
    learner.learn(view, first);
    feed(*m_storage, true);
}

void zeStat_matcher::bootstrap(zeCorpus_view& view) {
    zeStat_trainer trainer(*m_storage);
    trainer.bootstrap(view);
    feed(*m_storage, true);
}

void zeStat_matcher::add_cat(zeNode*& cat) {
    zeStat_diet_learner learner(*m_storage);
    const bool is_new = learner.add_cat(cat);
    bool is_child_added = false;
    if (is_new) {
        m_dirty = true;
        is_child_added = m_node != nullptr && m_node->add_child(cat);
    }
    if (!is_child_added) {
        throw qtX<zeStat_matcher>(0, "Category " + quoted(*cat) + " already exists.");
    }
}

void zeStat_matcher::clear_cat(zeNode*& cat, bool refeed, bool remove_concepts) {
    zeStat_diet_learner learner(*m_storage);
    if (!learner.clear_cat(cat, remove_concepts)) {
        throw qtX<zeStat_matcher>(1, "Category " + quoted(*cat) + " does not exist.");
    }
    if (refeed) {
        feed(*m_storage, true);
    }
}

void zeStat_matcher::delete_cat(zeNode*& cat, bool refeed, bool remove_concepts) {
    zeStat_diet_learner learner(*m_storage);
    bool is_child_removed = false;
    if (learner.delete_cat(cat, remove_concepts)) {
        m_dirty = true;
        is_child_removed = m_node != nullptr && m_node->remove_child(cat);
    }
    if (!is_child_removed) {
        throw qtX<zeStat_matcher>(1, "Deleted category " + quoted(*cat) + " does not exist.");
    }
    if (refeed) {
        feed(*m_storage, true);
    }
}

std::size_t zeStat_matcher::category_count() const {
    return m_storage->m_profiles.size();
}

bool zeStat_matcher::knows(zeNode* category) const {
    return !m_storage->end(m_storage->get_profile(category));
}

void zeStat_matcher::add_category(zeNode* category, const qtString& /*rule*/) {
    add_cat(category);
}

void zeStat_matcher::change_category_rule(zeNode* /*category*/, const qtString& /*rule*/) {
    ZANDREL_ASSERT(false, "sw");
}

void zeStat_matcher::remove_category(zeNode* category, bool remove_concepts) {
    delete_cat(category, false, remove_concepts);
}

void zeStat_matcher::drop_category(zeNode* category) {
    int iprofile = m_storage->get_profile(category);
    if (!m_storage->end(iprofile)) {
        m_storage->delete_profile(iprofile);
    }
}

void zeStat_matcher::rebuild_table() {
    feed(*m_storage, true);
}

// A score is entered for every category, so what each one costs counts: for 1,000 categories and
// 50,000 messages this happens 50 million times in a training.
void zeStat_matcher::classify(zeMsg& msg, zeCorpus_view& /*view*/,
                              const zeCorpus_view::const_iterator& entry) {
    const qtPtrLight<zeSml>& bag = msg.active_bag();
    if (bag.IsNull() || !Zandrel::has_finite_weights(msg)) {
        return;
    }
    m_storage->complete();  // the histograms are among what is read late
    const Clipped_bag clipped(*bag, m_storage->m_clip_value);
    const std::vector<double> sums = take_sums(clipped);
    const Zandrel::Match_scorer scorer = scorer_for(clipped.total_weight());
    const Zandrel::Relevant_nodes relevant(*entry);
    for (int iprofile = 0; iprofile < m_storage->profile_count(); ++iprofile) {
        zeStat_storage::Profile& profile = m_storage->profile(iprofile);
        const double sum = sums[static_cast<std::size_t>(iprofile)];
        if (profile.m_num_msgs > 0 && profile.m_num_msgs != m_storage->m_num_msgs) {
            m_storage->complete_histogram(profile);
            const auto bin_count = static_cast<int>(profile.m_bins.size());
            add_to_histogram(profile, scorer.bin(iprofile, sum, bin_count), msg.weight,
                             relevant.contain(profile.m_node));
        } else {
            profile.m_match_value = sum;
        }
    }
}
