// How zeIO reads a container.
#include "zandrel/persistence/zeIO.h"

#include <string>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Kc_steps.h"

void zeIO::LoadKC(const qtString& file, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    try {
        OpenRead(file, *mode);
    } catch (...) {
        m_pack.Abandon();
        throw;
    }
    LoadOpened(progress);
}

void zeIO::LoadKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    m_io_mode = KcIoMode::DIRECT_IO;
    mode->io_mode = KcIoMode::DIRECT_IO;
    try {
        m_pack.Open(buffer, 'r');
        VerifyMagic(false, mode->compact_read, mode->unicode, mode->version);
    } catch (...) {
        m_pack.Abandon();
        throw;
    }
    m_manager->m_version = static_cast<unsigned short>(m_version);
    LoadOpened(progress);
}

void zeIO::LoadOpened(CTProgress* progress) {
    // What fails from here on releases the container, and this with it.
    const qtPtrLight<zeIO> alive = m_manager->m_io;
    try {
        LoadClassifiers(progress);
        m_pack.Close();
    } catch (...) {
        m_pack.Abandon();
        m_manager->Release();
        throw;
    }
}

void zeIO::LoadClassifiers(CTProgress* progress) {
    Zandrel::Kc_progress steps(progress);
    steps.set_total(m_pack.GetIndexSize());
    LoadManager();
    const std::vector<zeNode*> nodes = Zandrel::classifier_nodes(m_manager->m_root);
    steps.set_total(nodes.size() + 1);
    steps.step();
    for (zeNode* const node : nodes) {
        LoadClassifier(node);
        steps.step();
    }
    Zandrel::RequireTrees(*m_manager);
    steps.end();
}

void zeIO::LoadClassifier(zeNode* node) {
    zeBase* const object = LoadObject(node->m_classifier_id, nullptr);
    auto* const classifier = dynamic_cast<zeClassifier*>(object);
    if (classifier == nullptr || classifier->m_node != node) {
        throw qtX<zeIO>(11, "Classifier without its node in kc file",
                        {qtString(std::to_string(object->m_id))});
    }
    m_manager->m_physical_tree->set_classifier(node, classifier);
}
