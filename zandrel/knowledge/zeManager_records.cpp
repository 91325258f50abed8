// The record of zeManager, and the calls of zeIO that read and write files. The trees are repaired
// and checked as a whole (Tree_shape.h) before any object is read.
// Format: docs/formats/kc.md
#include "zandrel/knowledge/zeManager.h"

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Damaged_item.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_storage.h"

using zandrel::detail::RequireFinite;

namespace {

// Refuses settings that the library never writes, since each new model copies the settings.
void require_possible(const zeDefaults& settings) {
    constexpr unsigned int kNoObject = 0;
    // A model ignores a resolution below 1 and keeps its own, so this value is no damage.
    if (settings.likelihood_resolution > zeStat_storage::kGreatestResolution) {
        zandrel::detail::RaiseDamagedItem("likelihood_resolution", kNoObject);
    }
    RequireFinite(settings.clip_value, "clip_value", kNoObject);
    RequireFinite(settings.delete_P_factor, "delete_P_factor", kNoObject);
    RequireFinite(settings.min_Rlimit, "min_Rlimit", kNoObject);
    RequireFinite(settings.average_Rlimit, "average_Rlimit", kNoObject);
    RequireFinite(settings.max_Rlimit, "max_Rlimit", kNoObject);
    RequireFinite(settings.keywords_frequency, "keywords_frequency", kNoObject);
    RequireFinite(settings.weaken_small_cats_factor, "weaken_small_cats_factor", kNoObject);
    for (const double weight : settings.sml_weights) {
        RequireFinite(weight, "sml_weights", kNoObject);
    }
}

}  // namespace

// The old file is flushed while its zeIO is still `m_io`, as in Release().
void zeManager::ReplaceIo() {
    if (!m_io.IsNull()) {
        m_io->LeaveCachedForm();
    }
    m_io = qtPtrLight<zeIO>(new zeIO(this));
}

void zeManager::Read(const qtString& path, KcIoMode* mode, CTProgress* progress) {
    KcIoMode defaults;
    ReplaceIo();
    m_io->LoadKC(path, mode == nullptr ? &defaults : mode, progress);
}

void zeManager::Read(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    KcIoMode defaults;
    ReplaceIo();
    m_io->LoadKC(buffer, mode == nullptr ? &defaults : mode, progress);
}

void zeManager::Write(const qtString& path, KcIoMode* mode, CTProgress* progress) {
    KcIoMode defaults;
    KcIoMode& used = mode == nullptr ? defaults : *mode;
    if (ReadOnDemand() != 0) {
        WriteCached(path, used, progress);
        return;
    }
    if (m_io.IsNull()) {
        m_io = qtPtrLight<zeIO>(new zeIO(this));
    }
    if (used.io_mode == KcIoMode::CACHED_IO) {
        m_io->CopyKC(path, &used, nullptr, progress);
        return;
    }
    used.io_mode = KcIoMode::DIRECT_IO;
    m_io->DumpKC(path, &used, progress);
}

// Saving under the name of the open file is a flush.
void zeManager::WriteCached(const qtString& path, KcIoMode& mode, CTProgress* progress) {
    const bool is_plain = mode.io_mode == KcIoMode::DIRECT_IO;
    if (path != m_io->CacheFile()) {
        mode.io_mode = is_plain ? KcIoMode::DIRECT_IO : KcIoMode::CACHED_IO;
        m_io->CopyKC(path, &mode, nullptr, progress);
    } else if (is_plain) {
        throw qtX<zeManager>(2, "To remove Cache Format, save the KC under a new name");
    } else {
        m_io->FlushCache(false, progress);
    }
}

void zeManager::Write(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    KcIoMode defaults;
    if (ReadOnDemand() != 0) {
        throw qtX<zeManager>(3, "You may not copy a Cached KC to a buffer");
    }
    const qtPtrLight<zeIO> fresh(new zeIO(this));
    if (!m_io.IsNull()) {
        fresh->m_io_mode = m_io->m_io_mode;  // Read asks for it, if nothing can be written now
    }
    m_io = fresh;
    m_io->DumpKC(buffer, mode == nullptr ? &defaults : mode, progress);
}

void zeManager::Dump(Hio<HSegment>& io, const zeLogicalNode* top) {
    zeNode* const node = top == nullptr ? m_root : top->physical_node;
    m_physical_tree->Dump(io, node);
    m_logical_tree->Dump(io, top == nullptr ? 0 : top->id);
    m_config.Dump(io);
    m_defaults.Dump(io);
    io << m_last_object_id << zandrel::detail::reference_to(node);
}

void zeManager::Load(Hio<HSegment>& io) {
    const zeConfig config = m_config;
    const zeDefaults defaults = m_defaults;
    const bool is_compat55 = m_compat55;
    ReleaseContent();
    m_compact = false;
    m_modified = false;
    m_progress = nullptr;
    try {
        LoadRecords(io);
    } catch (...) {
        ReleaseContent();
        m_config = config;
        m_defaults = defaults;
        m_compat55 = is_compat55;
        throw;
    }
}

void zeManager::LoadRecords(Hio<HSegment>& io) {
    m_physical_tree->Load(io);
    m_logical_tree->Load(io);
    m_config.Load(io);
    m_defaults.Load(io);
    require_possible(m_defaults);
    io >> m_last_object_id;
    zandrel::detail::RequireRoomForIds(m_last_object_id);
    m_root = LoadCat(io, nullptr);
    if (m_root != nullptr && m_root->m_node_id == 0) {
        m_root = nullptr;  // a placeholder: other nodes refer to it, but it has no record
    }
    if (m_root != nullptr) {
        m_root->m_parent = nullptr;  // The record of a subtree names a parent that is not in it.
    }
    zandrel::detail::MendLinks(*this);
    zandrel::detail::RequireTrees(*this);
}

zeNode* zeManager::LoadCat(Hio<HSegment>& io, zeNode* parent) {
    if (!has_node_ids()) {
        Concept category;
        io >> category;
        return m_physical_tree->ConvertV1(category, parent);
    }
    unsigned int id = 0;
    io >> id;
    // A placeholder is treated as missing: it has no id, so a reference to it could not be written
    // again.
    zeNode* const node = m_physical_tree->GetNode(id);
    return node != nullptr && node->m_node_id == id ? node : nullptr;
}
