// The side of zeStat_matcher that changes its storage: training, the categories, and the histograms
// of the likelihood pass.
#include "zandrel/statistics/zeStat_matcher.h"

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Histogram_filler.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_trainer.h"

namespace {

// The category's name in quotes, for the texts of errors.
qtString quoted(const zeNode& cat) {
    return qtString("\"") + cat.m_concept.c_str() + "\"";
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

bool zeStat_matcher::is_changed() const noexcept {
    return m_dirty || m_storage->m_dirty;
}

void zeStat_matcher::set_written() noexcept {
    m_dirty = false;
    m_storage->m_dirty = false;
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

void zeStat_matcher::classify(zeMsg& msg, zeCorpus_view& /*view*/,
                              const zeCorpus_view::const_iterator& entry) {
    m_storage->m_dirty = true;
    zandrel::detail::Histogram_filler(*this).add(msg, *entry);
}
