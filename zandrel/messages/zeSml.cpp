// How a bag is filled, clipped and stored. The total is changed by each weight that is added or
// clipped, in the order of the entries, so that it is the same to the last bit in every run.
#include "zandrel/messages/zeSml.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/messages/Text_order.h"

using zandrel::detail::Clipped_bag;

zeSml::zeSml(double clip_value) : m_clip_value(clip_value) {
    check_clipping_value(clip_value);
}

zeSml::zeSml(const zeSml_feeder& feeder, double clip_value) : zeSml(clip_value) {
    feed(feeder);
}

zeSml::zeSml(zeSml_feeder&& feeder, double clip_value) : zeSml(clip_value) {
    feed(std::move(feeder));
}

zeSml::zeSml(const zeSml& source) : zeSml(source, 0.0) {}

zeSml::zeSml(const zeSml& source, double clip_value)
    : m_total_weight(source.m_total_weight), m_clip_value(source.m_clip_value) {
    check_clipping_value(clip_value);
    m_clip_value = Clipped_bag::ceiling_of_copy(source, clip_value);
    m_concepts.reserve(source.m_concepts.size());
    for (const Concept_info& entry : source.m_concepts) {
        const double clipped = clip_weight(entry.m_weight);
        m_total_weight -= entry.m_weight - clipped;
        m_concepts.push_back({entry.m_concept, clipped});
    }
}

void zeSml::check_clipping_value(double clip_value) {
    if (clip_value < 0.0) {
        throw qtX<zeSml>(0, "Invalid clipping value");
    }
}

double zeSml::clip_weight(double weight) const noexcept {
    return Clipped_bag::clip_weight(weight, m_clip_value);
}

void zeSml::feed(const zeSml_feeder& feeder) {
    append_in_text_order(feeder.m_concepts,
                         [](const Concept& fed) -> const Concept& { return fed; });
}

void zeSml::feed(zeSml_feeder&& feeder) {
    append_in_text_order(feeder.m_concepts, [](Concept& fed) { return std::move(fed); });
    feeder.clear();
}

// The total is summed in text order too: a sum of doubles depends on the order, and the order of
// the feeder's table depends on earlier texts.
template <class Weights, class Take>
void zeSml::append_in_text_order(Weights& weights, const Take& take) {
    std::vector<zandrel::detail::Text_key> keys;
    keys.reserve(weights.size());
    for (const auto& [fed, weight] : weights) {
        keys.push_back(zandrel::detail::text_key(fed, keys.size()));
    }
    zandrel::detail::sort_by_text(keys);
    const bool was_empty = m_concepts.empty();
    m_concepts.reserve(m_concepts.size() + weights.size());
    for (const zandrel::detail::Text_key& key : keys) {
        auto& [fed, weight] = weights.begin()[static_cast<std::ptrdiff_t>(key.index)];
        m_concepts.push_back({take(fed), clip_weight(weight)});
        m_total_weight += m_concepts.back().m_weight;
    }
    m_is_new = true;
    if (!was_empty) {
        sort_concepts();
    }
}

bool zeSml::clip(double clip_value) {
    check_clipping_value(clip_value);
    if (clip_value == 0.0 || (m_clip_value != 0.0 && clip_value > m_clip_value)) {
        return false;
    }
    for (Concept_info& entry : m_concepts) {
        const double clipped = clip_weight(entry.m_weight);
        m_total_weight -= entry.m_weight - clipped;
        entry.m_weight = clipped;
    }
    m_is_new = true;
    return true;
}

void zeSml::sort_concepts() {
    std::sort(m_concepts.begin(), m_concepts.end(), CompareConcepts());
}

bool zeSml::concept_exists(const Concept& wanted) const {
    return std::binary_search(m_concepts.begin(), m_concepts.end(), Concept_info{wanted, 0.0},
                              CompareConcepts());
}

bool zeSml::operator==(const zeSml& other) const {
    return m_total_weight == other.m_total_weight && m_clip_value == other.m_clip_value &&
           std::equal(
               m_concepts.begin(), m_concepts.end(), other.m_concepts.begin(),
               other.m_concepts.end(), [](const Concept_info& left, const Concept_info& right) {
                   return left.m_weight == right.m_weight && left.m_concept == right.m_concept;
               });
}

qtPtrLight<zeSml> zeSml::get_clipped_sml(const qtPtrLight<zeSml>& source, double clip_value) {
    return Clipped_bag::is_clipped(*source, clip_value)
               ? qtPtrLight<zeSml>(new zeSml(*source, clip_value))
               : source;
}

void zeSml::Dump(Hio<Generic32>& io) const {
    io << m_total_weight << m_clip_value;
    io.WriteCount(m_concepts.size());
    for (const Concept_info& entry : m_concepts) {
        io << entry.m_concept << entry.m_weight;
    }
}

void zeSml::Load(Hio<Generic32>& io) {
    constexpr unsigned int kLeastEntrySize = 4 + 8;  // a text's count and a weight
    io >> m_total_weight >> m_clip_value;
    const unsigned int count = io.ReadCount(kLeastEntrySize);
    m_concepts.reserve(m_concepts.size() + count);
    for (unsigned int i = 0; i < count; ++i) {
        Concept_info entry;
        entry.m_concept = ReadConcept(io);
        io >> entry.m_weight;
        m_concepts.push_back(std::move(entry));
    }
    m_is_new = false;
}

template <class T>
Concept ReadConcept(Hio<T>& io) {
    qtString text;
    io >> text;
    return Concept::insert(text);
}

template Concept ReadConcept<Generic32>(Hio<Generic32>& io);
