// The registry of objects and the life of a container: making, emptying and destroying it.
#include "zandrel/knowledge/zeManager.h"

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

zeManager::zeManager()
    : m_logical_tree(new zeLogicalTree(this)),
      m_physical_tree(new zePhysicalTree(this)),
      m_objects(zandrel::kInitialBuckets) {}

zeManager::~zeManager() {
    Release();
}

void zeManager::RegisterObject(zeBase* object) {
    m_objects[object->m_id] = object;
}

void zeManager::UnregisterObject(zeBase* object) {
    m_objects.erase(object->m_id);
}

void zeManager::Release(zeBase* object) {
    UnregisterObject(object);
    // A matcher has no storage if its record could not be read to the end.
    auto* const matcher = dynamic_cast<zeStat_matcher*>(object);
    if (matcher != nullptr && matcher->m_storage != nullptr) {
        UnregisterObject(matcher->m_storage);
        delete matcher->m_storage;
    }
    delete object;
}

// The file is flushed while its zeIO is still `m_io`, since a matcher writes its storage through
// `m_io`.
void zeManager::Release() {
    if (!m_io.IsNull()) {
        m_io->CloseCache();
    }
    m_io.reset();
    ReleaseContent();
}

void zeManager::ReleaseContent() {
    if (ReadOnDemand() != 0) {
        m_io->ForgetCache();
        m_modified =
            false;  // A flush would otherwise write the empty trees over those in the file.
    }
    for (const auto& [id, object] : m_objects) {
        delete object;
    }
    m_objects.clear();
    m_last_object_id = 0;
    m_root = nullptr;
    // A tree may be missing if the manager is destroyed while a program replaces the tree.
    if (m_logical_tree) {
        m_logical_tree->Clear();
    }
    if (m_physical_tree) {
        m_physical_tree->Clear();
    }
}

unsigned int zeManager::ReadOnDemand() const {
    return m_io.IsNull() ? 0 : m_io->ReadOnDemand();
}

zeClassifier* zeManager::GetRootClassifier() {
    return m_root == nullptr ? nullptr : m_physical_tree->get_classifier(m_root);
}

void zeManager::GetAllCats(std::set<Concept>& cats, bool all) {
    cats.clear();
    for (const auto& [id, node] : m_physical_tree->m_nodes) {
        if (all || !node.is_no_score()) {
            cats.insert(node.m_concept);
        }
    }
}

qtPtrLight<zeWorkflow> zeManager::GetWorkflow() {
    return qtPtrLight<zeWorkflow>(new zeWorkflow(this));
}

void zeManager::check_interrupt() {
    zandrel::detail::Progress(m_progress).check_interrupt();
}

void zeInterrupts(CTProgress* progress) {
    if (progress->IsInterrupted()) {
        throw qtX<zeWorkflow>(2, "Process interrupted");
    }
}
