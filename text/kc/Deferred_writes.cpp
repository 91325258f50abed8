// Edits of the tree must be all or nothing, and they delete items at once. Deferred_writes makes
// the engine believe that the file is read-only, and that there is room for all classifiers.
// commit() then makes up for what was not written: items of deleted classifiers are deleted, and
// new classifiers are marked as changed, so that the flush writes them.
#include "text/kc/Deferred_writes.h"

#include <limits>

#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/persistence/zeCache.h"
#include "zandrel/persistence/zeIO.h"

namespace zandrel {

namespace {

constexpr unsigned int kNoBound = std::numeric_limits<unsigned int>::max();

std::set<unsigned int> classifier_ids(const zeManager& manager) {
    std::set<unsigned int> ids;
    for (const zeNode* const node : zandrel::detail::classifier_nodes(manager.m_root)) {
        ids.insert(node->m_classifier_id);
    }
    return ids;
}

bool has_item(const zeIO& io, unsigned int id) {
    return io.m_cache_pack->Exists(io.m_cache_pack->MakeStringKey(id));
}

}  // namespace

Deferred_writes::Deferred_writes(zeManager& manager) : m_manager(manager) {
    const unsigned int bound = manager.ReadOnDemand();
    if (bound > 1) {
        m_bound = bound;
        m_ids = classifier_ids(manager);
        manager.m_io->m_cache->read_on_demand = kNoBound;
        manager.m_io->m_read_only = true;
    }
}

void Deferred_writes::commit() {
    if (m_bound == 0) {
        return;
    }
    zeIO& io = *m_manager.m_io;
    // Nothing is written if the flush would refuse the trees.
    io.RequireReadable(m_manager.m_root);
    io.m_read_only = false;
    const std::set<unsigned int> left = classifier_ids(m_manager);
    for (const unsigned int id : m_ids) {
        if (left.count(id) == 0 && has_item(io, id)) {
            io.DeleteItem(id);
        }
    }
    for (const auto& [id, object] : m_manager.m_objects) {
        if (!has_item(io, id)) {
            object->m_dirty = true;
        }
    }
    // Classifiers above the bound would stay in memory.
    io.FlushCache(false, nullptr);
    io.m_cache->read_on_demand = m_bound;
    m_bound = 0;
}

}  // namespace zandrel
