// Functions for containers in the cached form: open one with a limit of statistical classifiers in
// memory, flush it, and copy it to the plain form.
#ifndef ZANDREL_TESTS_SUPPORT_CACHED_CONTAINER_H_
#define ZANDREL_TESTS_SUPPORT_CACHED_CONTAINER_H_

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"

// Writes a container, which may be in memory, to a file of the cached form.
inline void write_cached(zeManager& manager, const qtString& path) {
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    manager.Write(path, &mode, nullptr);
}

// Replaces the content of a manager by the container in a file of the cached form.
inline void open_cached(zeManager& manager, const qtString& path, unsigned int limit) {
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    mode.cache_size = limit;
    mode.read_only = false;
    manager.Read(path, &mode, nullptr);
}

// Continues with a container of a manager in the cached form.
inline void continue_cached(zeManager& manager, const qtString& path, unsigned int limit) {
    write_cached(manager, path);
    open_cached(manager, path, limit);
}

// Brings the file of a cached container up to date.
inline void flush(zeManager& manager) {
    const qtString path = manager.m_io->CacheFile();
    manager.Write(path, nullptr, nullptr);
}

// Returns the bytes of a plain file of the container. The container remains in its form.
inline std::string plain_copy_of(zeManager& manager) {
    const std::string path = testing::TempDir() + "plain_copy_" + std::to_string(::getpid());
    KcIoMode mode;
    mode.io_mode = KcIoMode::DIRECT_IO;
    manager.Write(qtString(path), &mode, nullptr);
    std::ifstream file(path, std::ios::binary);
    const std::string bytes = {std::istreambuf_iterator<char>(file),
                               std::istreambuf_iterator<char>()};
    std::remove(path.c_str());
    return bytes;
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
