// Messages with frozen words. All that a message needs is kept for the next one: the table of the
// feeder, the list of the bag, the pairs, and the memory of unknown words.
#include "zandrel/frozen/Frozen_call.h"

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace zandrel::detail {

namespace {

// The memory of a text with more concepts than this is not kept, so that one enormous text does not
// cost memory for ever.
constexpr std::size_t kMostKept = std::size_t{1} << 16U;

}  // namespace

Frozen_call::Frozen_call() : m_bag(new zeSml(0.0)), m_msg(new zeMsg) {}

Frozen_call::~Frozen_call() = default;

void Frozen_call::clear() noexcept {
    m_msg->smls = {};
    m_msg->nvps.clear();
    m_msg->categories.clear();
    m_msg->active_sml = 0;
    m_msg->weight = 1.0;
    m_msg->changed = true;
    if (m_bag->m_concepts.capacity() > kMostKept) {
        release_memory();
    }
    m_bag->m_concepts.clear();
    m_bag->m_total_weight = 0.0;
    m_feeder.clear();
    m_words.clear();
}

// A bag that is in another slot of the message remains there.
void Frozen_call::renew_bag() {
    if (m_bag.use_count() > 1) {
        m_bag = qtPtrLight<zeSml>(new zeSml(0.0));
    }
    m_bag->m_concepts.clear();
    m_bag->m_total_weight = 0.0;
    m_bag->m_clip_value = 0.0;
    m_bag->m_is_new = true;
}

// A new feeder needs a little memory. If there is none, the old one is kept.
void Frozen_call::release_memory() noexcept {
    m_bag->m_concepts.clear();
    m_bag->m_concepts.shrink_to_fit();
    try {
        m_feeder = zeSml_feeder();
    } catch (const std::bad_alloc&) {
    }
}

Frozen_message::Frozen_message(Frozen_call& call, const Frozen_words& known)
    : m_call(call), m_known(known) {}

Frozen_message::~Frozen_message() {
    m_call.clear();
}

void Frozen_message::look_up(std::span<const std::string_view> texts, Concept* concepts) {
    m_call.m_words.look_up(m_known, texts, concepts);
}

Concept Frozen_message::word(std::string_view text) {
    Concept found;
    look_up({&text, 1}, &found);
    return found;
}

void Frozen_message::take_bag() {
    m_call.m_msg->smls[0].reset();
    m_call.renew_bag();
    m_call.m_bag->feed(std::move(m_call.m_feeder));
    m_call.m_msg->smls[0] = m_call.m_bag;
}

void Frozen_message::copy(const zeMsg& source) {
    zeMsg& copied = msg();
    for (std::size_t slot = 0; slot < copied.smls.size(); ++slot) {
        const qtPtrLight<zeSml>& bag = source.smls[slot];
        copied.smls[slot] = bag.IsNull() ? qtPtrLight<zeSml>() : copy_of(*bag);
    }
    copied.nvps.clear();
    for (const zeMsg::Nvp& pair : source.nvps) {
        copied.nvps.push_back({word(pair.name.view()), pair.type, pair.value, nullptr});
    }
    copied.active_sml = source.active_sml;
    copied.weight = source.weight;
}

// The order of the entries remains, since the order of texts does not depend on the handles.
qtPtrLight<zeSml> Frozen_message::copy_of(const zeSml& bag) {
    std::vector<std::string_view> texts;
    texts.reserve(bag.m_concepts.size());
    for (const zeSml::Concept_info& entry : bag.m_concepts) {
        texts.push_back(entry.m_concept.view());
    }
    std::vector<Concept> words(texts.size());
    look_up(texts, words.data());
    qtPtrLight<zeSml> copied(new zeSml(0.0));
    copied->m_total_weight = bag.m_total_weight;
    copied->m_clip_value = bag.m_clip_value;
    copied->m_concepts.reserve(words.size());
    for (std::size_t i = 0; i < words.size(); ++i) {
        copied->m_concepts.push_back({words[i], bag.m_concepts[i].m_weight});
    }
    return copied;
}

}  // namespace zandrel::detail
