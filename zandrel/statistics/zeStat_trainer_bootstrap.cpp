// The bootstrap side of zeStat_trainer: a model without labelled texts starts from the keywords,
// the title and the canned text of its messages, one pass for each, all in slot 4.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>

#include "zandrel/statistics/Finite_weights.h"

namespace {

constexpr std::size_t kKeywordsSlot = 1;
constexpr std::size_t kLastSlot = 3;      // the canned text; 2 is the title
constexpr unsigned int kWorkingSlot = 4;  // for bags that the trainer makes
constexpr double kTrustedRate = 10.0;     // concepts of so many messages are not suppressed

using Concepts = hash_set<Concept, ConceptHash>;

template <class Value>
void assign(Value& field, const Value& value, zeMsg& msg) {
    msg.changed = msg.changed || field != value;
    field = value;
}

// Multiplies the total of a bag of keywords, but not its weights. Each share is a weight divided by
// the total. So with the factor 6, keywords count a sixth of what concepts of a text with the same
// weights would count.
qtPtrLight<zeSml> with_scaled_total(const zeSml& keywords, double factor) {
    qtPtrLight<zeSml> scaled(new zeSml(keywords, 0.0));
    const double total = scaled->m_total_weight * factor;
    scaled->m_is_new = scaled->m_is_new || total != scaled->m_total_weight;
    scaled->m_total_weight = total;
    return scaled;
}

// Makes the bag of `slot` the bag that training reads, and gives the message the weight of this
// slot.
void activate(zeMsg& msg, std::size_t slot, const zeStat_storage& storage, Concepts& seen) {
    const qtPtrLight<zeSml> bag = msg.smls[slot];
    if (!bag.IsNull()) {
        msg.smls[kWorkingSlot] =
            slot == kKeywordsSlot ? with_scaled_total(*bag, storage.m_keywords_frequency) : bag;
        msg.changed = true;
    }
    assign(msg.active_sml, kWorkingSlot, msg);
    assign(msg.weight, storage.m_sml_weights[slot], msg);
    // Counting skips a message with a weight that is not finite, so we do not trust its concepts.
    if (!bag.IsNull() && zandrel::detail::has_finite_weights(msg)) {
        for (const zeSml::Concept_info& entry : bag->m_concepts) {
            seen.insert(entry.m_concept);
        }
    }
}

void deactivate(zeMsg& msg, double weight) {
    msg.smls[kWorkingSlot] = qtPtrLight<zeSml>();
    msg.changed = true;
    assign(msg.active_sml, 0U, msg);
    assign(msg.weight, weight, msg);
}

// The settings of a storage during a bootstrap: no ceiling, no suppression, no likelihood tables.
struct Settings {
    explicit Settings(const zeStat_storage& storage)
        : clip_value(storage.m_clip_value),
          suppress_M(storage.m_suppress_M),
          use_train_likelihood(storage.m_use_train_likelihood) {}

    Settings() = default;

    void apply(zeStat_storage& storage) const {
        storage.m_clip_value = clip_value;
        storage.m_suppress_M = suppress_M;
        storage.set_use_train_likelihood(use_train_likelihood);
    }

    double clip_value = 0.0;
    bool suppress_M = false;
    bool use_train_likelihood = false;
};

void trust(const Concepts& seen, zeStat_storage& storage) {
    for (const Concept& each : seen) {
        const auto info = storage.m_concept_infos.find(each);
        if (!storage.end(info)) {
            info->second.m_rate = std::max(info->second.m_rate, kTrustedRate);
        }
    }
}

}  // namespace

void zeStat_trainer::bootstrap(zeCorpus_view& view) {
    if (view.msgs.empty()) {
        return;
    }
    m_storage->m_dirty = true;
    const Settings saved(*m_storage);
    Settings().apply(*m_storage);
    Concepts seen;
    for (std::size_t slot = kKeywordsSlot; slot <= kLastSlot; ++slot) {
        m_view = &view;
        std::vector<double> weights;
        for (const zeCorpus_view::Msg& entry : view.msgs) {
            const qtPtrLight<zeMsg> msg = fetch(entry);
            if (!msg.IsNull()) {
                weights.push_back(msg->weight);
                activate(*msg, slot, *m_storage, seen);
            }
        }
        train(view, false);
        for (const zeCorpus_view::Msg& entry : view.msgs) {
            const qtPtrLight<zeMsg> msg = fetch(entry);
            if (!msg.IsNull() && !weights.empty()) {
                // All messages get the weight of the first one, since callers depend on it.
                deactivate(*msg, weights.front());
            }
        }
    }
    saved.apply(*m_storage);
    trust(seen, *m_storage);
}
