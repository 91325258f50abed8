// Brings a container's file in cached form from version 1 to version 2, in place. The classifiers
// are read in the old form one after the other and written in the new one, so that never more than
// one of them is in memory.
#include "zandrel/persistence/zeIO.h"

#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_steps.h"

using zandrel::detail::kKcUnicode;
using zandrel::detail::kKcVersion;

void zeIO::ConvertCachedKc(KcIoMode& mode) {
    m_cache_pack->MarkDeleted602Records();
    m_version = 1;
    m_manager->m_version = 1;
    LoadManager();
    for (zeNode* const node : zandrel::detail::classifier_nodes(m_manager->m_root)) {
        LoadClassifier(node);
        node->m_classifier->m_dirty = true;
        ClearCache(nullptr);
    }
    m_manager->m_modified = true;
    FlushCache(false, nullptr);
    const auto flags = static_cast<unsigned char>(mode.unicode ? kKcUnicode : 0);
    m_cache_pack->SetFileID(zandrel::detail::kKcFileId, kKcVersion, flags);
    m_version = kKcVersion;
    m_manager->m_version = kKcVersion;
}
