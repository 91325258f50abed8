// Shared by the tests of statistics: plain settings, a corpus with its view, categories, and a
// progress object that interrupts.
#ifndef ZANDREL_TESTS_SUPPORT_SMALL_MODEL_H_
#define ZANDREL_TESTS_SUPPORT_SMALL_MODEL_H_

#include <cstddef>
#include <vector>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"

// Settings without anything that changes the plain formulas: no ceiling, no suppression, no
// likelihood tables.
inline zeDefaults plain_settings() {
    zeDefaults settings;
    settings.clip_value = 0.0;
    settings.suppress_M = false;
    settings.use_likelihood_in_train = false;
    settings.use_likelihood_in_match = false;
    return settings;
}

// A corpus in memory and a view of all its messages. Each message is labelled with given nodes.
struct Small_corpus {
    void add(const MessageBuilder& msg, const std::vector<zeNode*>& cats) { add(msg.make(), cats); }

    void add(qtPtrLight<zeMsg> msg, const std::vector<zeNode*>& cats) {
        view.add_msg(corpus.get_num_msgs());
        view.msgs.back().cats = cats;
        corpus.add_msg(msg);
    }

    zeMemoryCorpus corpus;
    zeCorpus_view view{&corpus};
};

// These return entries that a test knows to exist; a missing entry raises std::out_of_range.

inline zeStat_storage::Concept_info& info_of(zeStat_storage& storage, std::string_view text) {
    return storage.m_concept_infos.at(term(text));
}

inline zeStat_storage::P& P_of(zeStat_storage& storage, int iprofile, std::string_view text) {
    return storage.profile(iprofile).m_Ps.at(term(text));
}

// Interrupts once, at the poll with this number, counted from 1. With 0 it only counts polls.
class Interrupt_at : public CTProgress {
public:
    explicit Interrupt_at(int poll) : m_poll(poll) {}

    bool IsInterrupted() const override { return ++polls == m_poll; }

    mutable int polls = 0;

private:
    int m_poll;
};

#endif  // ZANDREL_TESTS_SUPPORT_SMALL_MODEL_H_
