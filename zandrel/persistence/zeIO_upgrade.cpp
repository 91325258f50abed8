// Two changes of a file that exists: the upgrade of a file in cached form from version 1 to version
// 2, and the Unicode flag.
//
// In version 1, records are not scrambled and refer to nodes by their names. So the upgrade reads
// each record in the old form and writes it in the new one, in place. A container can be larger
// than memory, so only one statistical classifier is in memory at a time. An example with the
// statistical nodes A (the root) and B, the rule node R, and a stale item, which an old program has
// left in the file without an entry in the index:
//
//   what happens                         written to the file
//   1. the manager, R, A and B are read  -
//      and checked; A and B are
//      released; the place of a seal is
//      checked
//   2. the file is marked as changed     the state bit; a seal is deleted
//   3. stale items become holes          a tag and a size for each
//   4. A is read again and released      A and its model, in the new form
//      B is read again and released      B and its model
//   5. FlushCache                        R, the manager, the index; the state bit is cleared
//   6. the identity                      version 2
//
// Step 1 refuses a damaged file before anything is written. If the process ends between steps 4 and
// 6, the file has records of both versions, and its header still says version 1. No version reads
// such a file: the next open finds a scrambled record in step 1. We cannot write the new version
// first, since the records could then not be read. So a program that must not lose a container
// upgrades a copy of its file and renames it.
#include "zandrel/persistence/zeIO.h"

#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/Restored.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"

using zandrel::detail::kKcCompact;
using zandrel::detail::kKcFileId;
using zandrel::detail::kKcUnicode;
using zandrel::detail::kKcVersion;

void zeIO::ConvertCachedKc(KcIoMode& mode) {
    m_version = 1;
    m_manager->m_version = 1;
    const std::vector<zeNode*> nodes = ReadForUpgrade();
    RequireSoundItem(zandrel::Kc_seal::kKey);
    PrepareChange();
    m_cache_pack->MarkDeleted602Records();
    for (zeNode* const node : nodes) {
        m_manager->m_physical_tree->get_classifier(node)->m_dirty = true;
        ClearCache(nullptr);
    }
    m_manager->m_modified = true;
    FlushCache(false, nullptr);
    const auto flags = static_cast<unsigned char>(mode.unicode ? kKcUnicode : 0);
    m_cache_pack->SetFileID(kKcFileId, kKcVersion, flags);
    m_version = kKcVersion;
    m_manager->m_version = kKcVersion;
}

// Reads and checks all records without writing. Afterwards the trees and the rule classifiers are
// in memory. Returns the nodes with classifiers.
std::vector<zeNode*> zeIO::ReadForUpgrade() {
    const zandrel::detail::Restored<bool> writes_nothing(m_read_only, true);
    LoadManager();
    std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(m_manager->m_root);
    for (zeNode* const node : nodes) {
        if (node->m_classifier_type == ZE_STAT) {
            m_manager->m_physical_tree->get_classifier(node);
            ClearCache(nullptr);
        } else {
            LoadClassifier(node);
        }
    }
    zandrel::detail::RequireTrees(*m_manager);
    return nodes;
}

// The file is opened by an object and a manager of their own, so that the version of this manager
// remains.
void zeIO::SetUnicodeFlag(const qtString& file, bool flag) {
    RequireOtherFile(file);
    if (!m_manager->m_io.IsNull()) {
        m_manager->m_io->RequireOtherFile(file);
    }
    zeManager nobody;
    zeIO other(&nobody);
    other.m_keeps_version = true;
    KcIoMode mode;
    mode.create = false;
    other.OpenRead(file, mode);
    other.m_pack.Close();
    other.AbandonCache();
    const auto flags =
        static_cast<unsigned char>((flag ? kKcUnicode : 0) | (mode.compact_read ? kKcCompact : 0));
    if (mode.io_mode == KcIoMode::CACHED_IO) {
        CachePack pack;
        pack.Open(file, false, false);
        pack.SetFileID(kKcFileId, mode.version, flags);
        pack.Close();
    } else {
        other.m_pack.Open(file, 'u');
        other.m_pack.SetFileID(kKcFileId, mode.version, flags);
        other.m_pack.Close();
    }
}
