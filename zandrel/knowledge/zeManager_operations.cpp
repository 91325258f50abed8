// The operations of zeManager that make and delete classifiers.
#include "zandrel/knowledge/zeManager.h"

#include <string>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

zeStat_storage* zeManager::GetRootStorage() {
    zeClassifier* const root = GetRootClassifier();
    if (root == nullptr) {
        throw qtX<zeManager>(1, "Root classifier is not set");
    }
    auto* const matcher = dynamic_cast<zeStat_matcher*>(root);
    if (matcher == nullptr) {
        throw qtX<zeManager>(1, "Root classifier is not statistic");
    }
    return matcher->m_storage;
}

zeClassifier* zeManager::AddClassifier(zeNode* node, unsigned int type) {
    if (type != ZE_STAT) {
        throw qtX<zeManager>(0, "Invalid classifier type", {qtString(std::to_string(type))});
    }
    zeClassifier* const classifier = make_statistical_classifier(node);
    m_physical_tree->set_classifier(node, classifier);
    return classifier;
}

zeClassifier* zeManager::make_statistical_classifier(zeNode* node) {
    auto* const storage = new zeStat_storage(this, m_defaults);
    try {
        return new zeStat_matcher(this, node, *storage, true);
    } catch (...) {
        // The registry must not keep what is gone: the matcher under the last id, if it got so
        // far, and the storage.
        if (m_last_object_id != storage->m_id) {
            m_objects.erase(m_last_object_id);
        }
        Release(storage);
        throw;
    }
}

void zeManager::DelClassifier(zeNode* node) {
    m_physical_tree->delete_classifier(node);
}
