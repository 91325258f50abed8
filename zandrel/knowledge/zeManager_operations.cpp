// The operations of zeManager on classifiers. A classifier enters the registry in its constructor,
// and its node gets it only afterwards. So a failure in between has to be undone here.
#include "zandrel/knowledge/zeManager.h"

#include <string>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Classifier_type.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

// An object enters the registry before its construction is complete. If its construction fails, the
// objects made so far are destroyed, and the registry must not keep them.
zeClassifier* make_classifier(zeManager& manager, zeNode* node,
                              const zandrel::detail::Classifier_type& type) {
    const unsigned int last_id_before = manager.m_last_object_id;
    try {
        return type.make(&manager, node);
    } catch (...) {
        for (unsigned int id = manager.m_last_object_id; id > last_id_before; --id) {
            manager.m_objects.erase(id);
        }
        throw;
    }
}

}  // namespace

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
    const zandrel::detail::Classifier_type* const found =
        zandrel::detail::find_classifier_type(type);
    if (found == nullptr) {
        throw qtX<zeManager>(0, "Invalid classifier type", {qtString(std::to_string(type))});
    }
    const unsigned int type_before = node->m_classifier_type;
    const unsigned char flags_before = node->m_flags;
    zeClassifier* const classifier = make_classifier(*this, node, *found);
    try {
        m_physical_tree->set_classifier(node, classifier);
        if (ReadOnDemand() != 0) {
            m_io->DumpObject(classifier);
            classifier->m_dirty = false;
        }
    } catch (...) {
        if (ReadOnDemand() != 0) {
            m_io->RemoveFromCache(node);
        }
        node->m_classifier = nullptr;
        node->m_classifier_id = 0;
        Release(classifier);
        m_physical_tree->ChangeType(node, type_before);
        node->m_flags = flags_before;
        throw;
    }
    return classifier;
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
