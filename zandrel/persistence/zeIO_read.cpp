// How zeIO reads a container.
#include "zandrel/persistence/zeIO.h"

#include <string>
#include <utility>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Kc_steps.h"

namespace {

// The settings of a container, to be put back if it cannot be read: an empty one is not to go on
// with those of a damaged file.
class Kept_settings {
public:
    explicit Kept_settings(zeManager& manager)
        : m_manager(manager),
          m_config(manager.m_config),
          m_defaults(manager.m_defaults),
          m_compat55(manager.m_compat55) {}

    void put_back() noexcept {
        std::swap(m_manager.m_config, m_config);
        std::swap(m_manager.m_defaults, m_defaults);
        m_manager.m_compat55 = m_compat55;
        m_manager.m_compact = false;  // nothing is left that could lack something
    }

private:
    zeManager& m_manager;
    zeConfig m_config;
    zeDefaults m_defaults;
    bool m_compat55;
};

}  // namespace

void zeIO::LoadKC(const qtString& file, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    const qtPtrLight<zeIO> alive = m_manager->m_io;  // which a failure releases
    const Zandrel::Open_package open(m_pack);
    OpenRead(file, *mode);
    LoadOpened(progress);
}

void zeIO::LoadKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    const qtPtrLight<zeIO> alive = m_manager->m_io;  // which a failure releases
    const Zandrel::Open_package open(m_pack);
    m_io_mode = KcIoMode::DIRECT_IO;
    mode->io_mode = KcIoMode::DIRECT_IO;
    m_pack.Open(buffer, 'r');
    VerifyMagic(false, mode->compact_read, mode->unicode, mode->version);
    m_manager->m_version = static_cast<unsigned short>(m_version);
    LoadOpened(progress);
}

void zeIO::LoadOpened(CTProgress* progress) {
    Kept_settings kept(*m_manager);
    try {
        LoadClassifiers(progress);
        m_pack.Close();
    } catch (...) {
        m_manager->Release();
        kept.put_back();
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
