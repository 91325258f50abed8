// The cached form of a container: its file is open while it is used, and a bounded number of
// statistical classifiers is in memory.
//
// An example: a container has the statistical nodes A (the root), B and C, the rule node R, and a
// bound of 2.
//
//   what happens                   in memory     written to the file
//   open                           R             -
//   classify at A                  R A           -
//   learn at B                     R B A         -
//   classify at C: A was used      R C B         -
//     before B, so A is released
//   change a rule of R             R C B         -
//   classify at A: B is released   R A C         the state bit; B and its model
//   FlushCache                     R             R; the manager, if it has changes; the index;
//                                                the state bit is cleared
//
// The state bit is set in the file before the first change, and not by the change itself. So if the
// process ends at any moment between two flushes, the file is refused when it is opened again. Only
// a flush makes the changes complete.
//
// The seal of a file is deleted before its first change, since it no longer describes the file.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/storage/HioErr.h"

using zandrel::detail::kKcCompact;

namespace {

const Trace_file s_trace_file("zeIO_cache.cpp");

// Returns the objects of a class that are in memory, by ascending id, so that equal containers are
// written alike.
template <class Object>
std::vector<Object*> objects_in_order(const zeManager& manager) {
    std::vector<Object*> found;
    for (const auto& [id, object] : manager.m_objects) {
        if (auto* const wanted = dynamic_cast<Object*>(object)) {
            found.push_back(wanted);
        }
    }
    std::sort(found.begin(), found.end(),
              [](const Object* left, const Object* right) { return left->m_id < right->m_id; });
    return found;
}

std::uint64_t item_size(const qtString& key, unsigned int data_length) {
    return std::uint64_t{data_length} + key.size() + zandrel::detail::kItemOverhead;
}

// Clears the state bit in the file, if it is set.
void mark_clean(CachePack& pack) {
    if (pack.IsStale()) {
        pack.SetState(static_cast<unsigned char>(pack.state & ~CachePack::kStaleIndex));
    }
}

}  // namespace

void zandrel::detail::WriteChanges(zeNode& node, zeIO& io) {
    zeClassifier& classifier = *node.m_classifier;
    if (!classifier.is_changed()) {
        return;
    }
    zeManager& manager = *io.m_manager;
    const bool has_adopted = manager.ReadOnDemand() != 0 && AdoptLooseLeaves(node);
    manager.m_modified = manager.m_modified || has_adopted;
    io.DumpObject(&classifier);
    classifier.set_written();
}

const qtString& zeIO::CacheFile() const {
    ZANDREL_ASSERT(!m_cache_pack.IsNull(), "!m_cache_pack.IsNull()");
    return m_cache_pack->FileName();
}

// A record file whose change failed half-way must not be written any more. After a failed write its
// device would ignore all writes silently.
void zeIO::RequireWhole() const {
    if (m_is_broken) {
        HioErr::Raise(HioErr::kWriteFailed, "Write error in file " + CacheFile(), CacheFile());
    }
}

// Raises the error of the record file for an item that is not where the index says, or whose length
// is damaged: it can neither be replaced nor deleted. A key without an item is accepted.
void zeIO::RequireSoundItem(const qtString& key) {
    CachePack::Offset offset = 0;
    unsigned int length = 0;
    m_cache_pack->GetKeyInfo(key, offset, length);
    m_cache_pack->GetSlot(item_size(key, length));
}

// The seal must be sound.
void zeIO::PrepareChange() {
    m_cache_pack->MarkStale();
    const qtString seal = zandrel::Kc_seal::kKey;
    if (m_cache_pack->Exists(seal)) {
        m_cache_pack->DeleteItem(seal);
    }
}

// A refused change must leave the file as it was. So the callers, and this function for the seal,
// find out what the record file would refuse, before the state bit is set. Later only an index that
// is too large is refused, before it is written.
template <class Change>
void zeIO::ChangeFile(Change&& change) {
    RequireWhole();
    RequireSoundItem(zandrel::Kc_seal::kKey);
    try {
        PrepareChange();
        change(*m_cache_pack);
    } catch (const qtX<AbstractHreclaim>&) {
        throw;
    } catch (...) {
        m_is_broken = true;
        throw;
    }
}

void zeIO::DeleteItem(unsigned int id) {
    ZANDREL_ASSERT(m_io_mode == KcIoMode::CACHED_IO, "m_io_mode == KcIoMode::CACHED_IO");
    if (m_read_only) {
        return;
    }
    ZANDREL_ASSERT(!m_cache_pack.IsNull(), "!m_cache_pack.IsNull()");
    RequireWhole();
    const qtString key = Hpack::MakeStringKey(id);
    if (!m_cache_pack->Exists(key)) {
        m_cache_pack->DeleteItem(key);  // raises, and changes nothing
    }
    RequireSoundItem(key);
    ChangeFile([&key](CachePack& pack) { pack.DeleteItem(key); });
}

void zeIO::AddToFile(const qtString& key, SegBuf& buffer) {
    if (m_read_only) {
        return;
    }
    ZANDREL_ASSERT(!m_cache_pack.IsNull(), "!m_cache_pack.IsNull()");
    RequireWhole();
    m_cache_pack->RequireAddable(key, buffer.size);
    Scramble(buffer);
    ChangeFile([&key, &buffer](CachePack& pack) { pack.AddItem(key, buffer); });
}

void zeIO::TouchCache(zeNode* node) {
    zeNode* evicted = nullptr;
    m_cache->QueryCache(node, evicted);
    // After a failed write, a changed classifier cannot be written any more. It remains in memory,
    // so that the container can still be copied to another file.
    const bool is_kept = evicted != nullptr && m_is_broken && evicted->m_classifier != nullptr &&
                         evicted->m_classifier->is_changed();
    if (evicted != nullptr && !is_kept) {
        const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
        tree->release_classifier(evicted, m_read_only ? nullptr : this);
    }
}

zeBase* zeIO::LoadFromCache(zeNode* node) {
    try {
        TouchCache(node);
        return LoadCached(node);
    } catch (...) {
        RemoveFromCache(node);
        throw;
    }
}

void zeIO::RemoveFromCache(zeNode* node) {
    m_cache->Forget(node);
}

void zeIO::ClearCache(CTProgress* progress) {
    const std::vector<zeNode*> nodes(m_cache->lru.begin(), m_cache->lru.end());
    m_cache->Clear();
    const zandrel::detail::Progress steps(progress);
    steps.set_total(nodes.size() + 1);
    steps.check_interrupt();
    for (zeNode* const node : nodes) {
        m_manager->m_physical_tree->release_classifier(node, m_read_only ? nullptr : this);
        steps.step();
    }
}

void zeIO::FlushCache(bool close, CTProgress* progress) {
    if (m_cache_pack.IsNull() || m_cache.IsNull()) {
        return;
    }
    if (!m_read_only) {
        RequireWhole();
        if (m_manager->m_modified) {
            RequireReadable(m_manager->m_root);
        }
    }
    ClearCache(progress);
    ReleaseUncached();
    if (!m_read_only) {
        WriteSwitchers();
        WriteManager();
        WriteCacheIndex();
    }
    if (close) {
        CloseFile();
    }
    zandrel::detail::Progress(progress).end();
}

void zeIO::CloseFile() {
    const qtPtrLight<CachePack> pack = m_cache_pack;
    AbandonCache();
    pack->Close();
}

// A classifier is in memory, but not in the cache, if its eviction or an earlier ClearCache failed.
void zeIO::ReleaseUncached() {
    for (const zeStat_matcher* const matcher : objects_in_order<zeStat_matcher>(*m_manager)) {
        if (matcher->m_node != nullptr && matcher->m_node->m_classifier == matcher) {
            m_manager->m_physical_tree->release_classifier(matcher->m_node,
                                                           m_read_only ? nullptr : this);
        }
    }
}

void zeIO::WriteSwitchers() {
    for (zeSwitcher* const switcher : objects_in_order<zeSwitcher>(*m_manager)) {
        if (switcher->m_dirty) {
            DumpObject(switcher);
            switcher->m_dirty = false;
        }
    }
}

void zeIO::WriteManager() {
    if (m_manager->m_modified) {
        DumpManager(nullptr);
        // A container that was compact is not compact after its statistics were cleared. A flush
        // never sets the flag: a container that lost it in an upgrade is not marked again.
        if (!m_manager->m_compact) {
            WriteCompactFlag(false);
        }
        m_manager->m_modified = false;
    }
}

void zeIO::WriteCompactFlag(bool is_compact) {
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
    m_cache_pack->GetFileID(id, version, flags);
    const auto wanted =
        static_cast<unsigned char>((flags & ~kKcCompact) | (is_compact ? kKcCompact : 0));
    if (wanted != flags) {
        ChangeFile([=](CachePack& pack) { pack.SetFileID(id, version, wanted); });
    }
}

// WriteIndex does nothing if no item has changed, and then leaves the bit that PrepareChange has
// set. That happens if the only change was that of the compact flag.
void zeIO::WriteCacheIndex() {
    if (!m_cache_pack->IsStale()) {
        return;
    }
    ChangeFile([](CachePack& pack) {
        pack.WriteIndex();
        mark_clean(pack);
    });
}

void zeIO::CloseCache() noexcept {
    if (m_cache_pack.IsNull()) {
        return;
    }
    try {
        if (m_manager->m_io.get() == this) {
            FlushCache(true, nullptr);
        } else {
            FlushThroughNewIo();
        }
    } catch (const std::exception& error) {
        tracef(s_trace_file, zandrel::kTraceWarning, "Container was not written: %s", error.what());
    } catch (...) {
        tracef(s_trace_file, zandrel::kTraceWarning, "Container was not written");
    }
    AbandonCache();
}

// A matcher writes its storage through the manager's `m_io`, and that is not this object if the
// program replaced it. So another object gets the open file and becomes `m_io` for the flush.
void zeIO::FlushThroughNewIo() {
    const qtPtrLight<zeIO> own(new zeIO(m_manager));
    own->m_io_mode = m_io_mode;
    own->m_version = m_version;
    own->m_read_only = m_read_only;
    own->m_is_broken = m_is_broken;
    own->m_cache.swap(m_cache);
    own->m_cache_pack.swap(m_cache_pack);
    const zandrel::detail::Restored<qtPtrLight<zeIO>> at_end(m_manager->m_io, own);
    try {
        own->FlushCache(true, nullptr);
    } catch (...) {
        own->AbandonCache();
        throw;
    }
}

void zeIO::AbandonCache() noexcept {
    m_cache_pack.reset();
    m_cache.reset();
}

void zeIO::ForgetCache() noexcept {
    if (!m_cache.IsNull()) {
        m_cache->Clear();
    }
}

// The statistical classifiers can also be out of memory if the file was closed by FlushCache. They
// can then no longer be fetched.
void zeIO::LeaveCachedForm() {
    if (m_io_mode != KcIoMode::CACHED_IO) {
        return;
    }
    if (m_is_broken) {
        CloseCache();  // Nothing more can be written. The error is traced.
    } else {
        FlushCache(true, nullptr);
    }
    m_manager->ReleaseContent();
}
