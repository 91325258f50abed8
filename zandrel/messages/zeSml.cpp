// How a bag is filled, clipped and stored. The total is changed by each weight that is added or
// clipped, in the order of the entries, so that it is the same to the last bit in every run.
#include "zandrel/messages/zeSml.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/Clipped_bag.h"
#include "zandrel/messages/Text_order.h"
#include "zandrel/storage/Record_reader.h"

using zandrel::detail::Clipped_bag;
using zandrel::detail::Record_reader;

namespace {

// The entries of a record whose texts are not yet looked up in the dictionary. Many are looked up
// together, since Concept::insert_views is faster than one look-up after the other.
class Read_entries {
public:
    // BORROWS: `entries`, to which the entries are appended.
    explicit Read_entries(std::vector<zeSml::Concept_info>& entries) : m_entries(entries) {}

    // BORROWS: the bytes of `text`, until the entries are looked up.
    void add(std::string_view text, double weight) {
        m_texts[m_count] = text;
        m_weights[m_count] = weight;
        ++m_count;
        if (m_count == kTogether) {
            look_up();
        }
    }

    void look_up() {
        Concept::insert_views({m_texts.data(), m_count}, m_concepts.data());
        for (std::size_t i = 0; i < m_count; ++i) {
            m_entries.push_back({std::move(m_concepts[i]), m_weights[i]});
        }
        m_count = 0;
    }

private:
    static constexpr std::size_t kTogether = 16;  // as insert_views looks up at a time

    std::vector<zeSml::Concept_info>& m_entries;
    std::array<std::string_view, kTogether> m_texts;
    std::array<double, kTogether> m_weights = {};
    std::array<Concept, kTogether> m_concepts;
    std::size_t m_count = 0;
};

}  // namespace

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
    Record_reader reader(io);
    Load(reader);
}

void zeSml::Load(Record_reader& reader) {
    constexpr unsigned int kLeastEntrySize = 4 + 8;  // a text's count and a weight
    m_total_weight = reader.Get<double>();
    m_clip_value = reader.Get<double>();
    const unsigned int count = reader.Count(kLeastEntrySize);
    m_concepts.reserve(m_concepts.size() + count);
    LoadEntries(reader, count);
    m_is_new = false;
}

void zeSml::LoadEntries(Record_reader& reader, unsigned int count) {
    Read_entries read(m_concepts);
    try {
        for (; count > 0; --count) {
            const std::string_view text = reader.Text();
            if (reader.IsCopied(text)) {
                read.look_up();
                Concept found = Concept::insert_view(text);
                m_concepts.push_back({std::move(found), reader.Get<double>()});
            } else {
                read.add(text, reader.Get<double>());
            }
        }
    } catch (...) {
        read.look_up();  // the entries that were read remain
        throw;
    }
    read.look_up();
}

template <class T>
Concept ReadConcept(Hio<T>& io) {
    qtString text;
    io >> text;
    return Concept::insert(text);
}

template Concept ReadConcept<Generic32>(Hio<Generic32>& io);
