// The record of a zeStat_matcher: its table of weights, and the id of its storage, which is a
// separate object.  Format: docs/formats/kc.md
#include "zandrel/statistics/zeStat_matcher.h"

#include <algorithm>
#include <cstddef>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Damaged_item.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/Concept_order.h"
#include "zandrel/statistics/Match_scorer.h"
#include "zandrel/storage/Record_reader.h"

namespace {

// The fewest bytes of an entry of the table, and the bytes of a pair.
constexpr unsigned int kLeastEntrySize = 8;
constexpr unsigned int kPairSize = 8;

}  // namespace

// A stale table may name profiles that were deleted. Their pairs are ignored by scoring, and Load
// would take them for damage, so we do not write them.
void zeStat_matcher::Dump(Hio<HSegment>& io) const {
    zeClassifier::Dump(io);
    const auto has_profile = [this](const Concept_weight& pair) {
        return m_storage->has_profile(pair.m_iprofile);
    };
    io.WriteCount(m_table.size());
    for (const auto& [prefix, entry] : zandrel::detail::in_text_order(m_table.rows())) {
        const zandrel::detail::Match_table::Pairs& pairs = entry->second;
        io << entry->first;
        io.WriteCount(
            static_cast<std::size_t>(std::count_if(pairs.begin(), pairs.end(), has_profile)));
        for (const Concept_weight& pair : pairs) {
            if (has_profile(pair)) {
                io << pair.m_weight << pair.m_iprofile;
            }
        }
    }
    io << m_storage->m_id;
    m_manager->m_io->DumpObject(m_storage);
}

void zeStat_matcher::Load(Hio<HSegment>& io) {
    load_table(io);
    unsigned int storage_id = 0;
    io >> storage_id;
    zeBase* const object = m_manager->m_io->LoadObject(storage_id, m_node);
    m_storage = dynamic_cast<zeStat_storage*>(object);
    if (m_storage == nullptr) {
        m_manager->Release(object);
    }
    ZANDREL_ASSERT(m_storage != nullptr, "m_storage");
    require_sound_table();
    m_table.set_profile_end(m_storage->profile_count());
    build_rest_scores();
    build_avg_likelihood();
}

void zeStat_matcher::load_table(Hio<HSegment>& io) {
    zandrel::detail::Record_reader reader(io);
    m_table.clear();
    unsigned int left = reader.Count(kLeastEntrySize);
    m_table.reserve(left);
    for (; left > 0; --left) {
        const Concept entry = Concept::insert_view(reader.Text());
        for (Concept_weight& pair : m_table.add(entry, reader.Count(kPairSize))) {
            pair.m_weight = reader.Get<float>();
            pair.m_iprofile = static_cast<int>(reader.Get<unsigned int>());
        }
    }
}

void zeStat_matcher::require_sound_table() const {
    for (const auto& [term, pairs] : m_table) {
        for (const Concept_weight& pair : pairs) {
            if (!m_storage->has_profile(pair.m_iprofile)) {
                zandrel::detail::RaiseDamagedItem("profile of a pair", m_id);
            }
            zandrel::detail::RequireFinite(static_cast<double>(pair.m_weight), "weight of a pair",
                                           m_id);
        }
    }
}
