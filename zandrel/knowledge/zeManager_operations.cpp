// The operations of zeManager that make and delete classifiers.
#include "zandrel/knowledge/zeManager.h"

#include <string>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
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
    if (type != ZE_RULE && type != ZE_STAT) {
        throw qtX<zeManager>(0, "Invalid classifier type", {qtString(std::to_string(type))});
    }
    zeClassifier* const classifier = make_classifier(node, type);
    try {
        m_physical_tree->set_classifier(node, classifier);
    } catch (...) {
        Release(classifier);
        throw;
    }
    return classifier;
}

// An object enters the registry before it is whole. If its construction fails, the language
// destroys it and the registry must not keep it; what was completed before it goes with it.
zeClassifier* zeManager::make_classifier(zeNode* node, unsigned int type) {
    const unsigned int last_id_before = m_last_object_id;
    zeStat_storage* storage = nullptr;
    try {
        if (type == ZE_RULE) {
            return new zeSwitcher(this, node);
        }
        storage = new zeStat_storage(this, m_defaults);
        return new zeStat_matcher(this, node, *storage, true);
    } catch (...) {
        delete storage;
        for (unsigned int id = m_last_object_id; id > last_id_before; --id) {
            m_objects.erase(id);
        }
        throw;
    }
}

void zeManager::DelClassifier(zeNode* node) {
    m_physical_tree->delete_classifier(node);
}

qtPtrLight<zeWorkflow> zeManager::InitWorkflow(Concept& name) {
    zeLogicalNode root;
    root.type = ZE_STAT;
    root.attributes = zeNode::NoScore;
    root.category = name;
    root.name = name;
    m_logical_tree->AddLogicalNode(root);
    return GetWorkflow();
}
