// More functions for containers in cached form: continue with one, flush it, and count the
// classifiers in memory.
#ifndef ZANDREL_TESTS_SUPPORT_CACHED_CONTAINER_H_
#define ZANDREL_TESTS_SUPPORT_CACHED_CONTAINER_H_

#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/zeIO.h"

#include "tests/support/cached_kc.h"

// Writes a container, and continues with the file that was written.
inline void continue_cached(zeManager& manager, const qtString& path, unsigned int bound) {
    write_cached(manager, path);
    read_cached(manager, path, bound);
}

// Brings the file of a cached container up to date.
inline void flush(zeManager& manager) {
    const qtString path = manager.m_io->CacheFile();
    manager.Write(path, nullptr, nullptr);
}

// The number of statistical classifiers in memory.
inline unsigned int count_in_memory(const zeManager& manager) {
    unsigned int count = 0;
    for (const auto& [id, node] : manager.m_physical_tree->m_nodes) {
        if (node.m_classifier_type == ZE_STAT && node.m_classifier != nullptr) {
            ++count;
        }
    }
    return count;
}

#endif  // ZANDREL_TESTS_SUPPORT_CACHED_CONTAINER_H_
