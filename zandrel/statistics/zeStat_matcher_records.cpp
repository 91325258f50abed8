// What zeStat_matcher writes and reads.  Format: docs/formats/kc.md
#include "zandrel/statistics/zeStat_matcher.h"

#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/Concept_order.h"

namespace {

// The fewest bytes of an entry of the table, and the bytes of a pair.
constexpr unsigned int kLeastEntrySize = 8;
constexpr unsigned int kPairSize = 8;

}  // namespace

void zeStat_matcher::Dump(Hio<HSegment>& io) const {
    zeClassifier::Dump(io);
    io.WriteCount(m_table.size());
    for (const auto& [prefix, entry] : Zandrel::in_text_order(m_table)) {
        io << entry->first;
        io.WriteCount(entry->second.size());
        for (const Concept_weight& pair : entry->second) {
            io << pair.m_weight << pair.m_iprofile;
        }
    }
    io << m_storage->m_id;
    m_manager->m_io->DumpObject(m_storage);
}

void zeStat_matcher::Load(Hio<HSegment>& io) {
    m_table.clear();
    const unsigned int entry_count = io.ReadCount(kLeastEntrySize);
    m_table.reserve(entry_count);
    for (unsigned int i = 0; i < entry_count; ++i) {
        Concept entry;
        io >> entry;
        std::vector<Concept_weight>& pairs = m_table[entry];
        pairs.resize(io.ReadCount(kPairSize));
        for (Concept_weight& pair : pairs) {
            io >> pair.m_weight >> pair.m_iprofile;
        }
    }
    unsigned int storage_id = 0;
    io >> storage_id;
    m_storage = dynamic_cast<zeStat_storage*>(m_manager->m_io->LoadObject(storage_id, m_node));
    ZANDREL_ASSERT(m_storage != nullptr, "m_storage");
    build_avg_likelihood();
}
