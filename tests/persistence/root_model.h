// Shared by tests of containers with a statistical root: the root's matcher and its model.
#ifndef ZANDREL_TESTS_PERSISTENCE_ROOT_MODEL_H_
#define ZANDREL_TESTS_PERSISTENCE_ROOT_MODEL_H_

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

// The bit of a package's flags that marks a compact container.
constexpr unsigned char kCompactBit = 0x08;

inline zeStat_matcher& root_matcher(zeManager& manager) {
    return dynamic_cast<zeStat_matcher&>(*manager.m_physical_tree->get_classifier(manager.m_root));
}

inline zeStat_storage& root_model(zeManager& manager) {
    return *root_matcher(manager).m_storage;
}

#endif  // ZANDREL_TESTS_PERSISTENCE_ROOT_MODEL_H_
