// Reads a container: first the manager with the trees, then the classifiers with their models, then
// the checks that need all of them. If a step raises, the manager is emptied and gets its earlier
// settings back.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Damaged_item.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

// Keeps the settings of a container, and restores them if reading fails: an empty container must
// not have the settings of a damaged file.
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
        m_manager.m_compact = false;  // an empty container lacks no statistics
    }

private:
    zeManager& m_manager;
    zeConfig m_config;
    zeDefaults m_defaults;
    bool m_compat55;
};

bool has_statistics(const zeStat_storage::Profile& profile) {
    return !profile.m_Ps.empty() || profile.m_weight != 0.0 || profile.m_msg_weight != 0.0 ||
           std::any_of(profile.m_bins.begin(), profile.m_bins.end(),
                       [](const auto& bin) { return bin.m_relevant != 0.0 || bin.m_total != 0.0; });
}

// Returns true if a model has something that its compact form leaves out. Empty bins do not count,
// since a category that was added to a compact container has them. A model that still has its
// training data as bytes has statistics, since a model without concepts is always complete.
bool has_statistics(const zeStat_storage& storage) {
    return !storage.is_complete() || !storage.m_concept_infos.empty() ||
           storage.m_total_weight != 0.0 || storage.m_total_msg_weight != 0.0 ||
           storage.m_total_sml_weight != 0.0 ||
           std::any_of(storage.m_profiles.begin(), storage.m_profiles.end(),
                       [](const auto& profile) { return has_statistics(*profile); });
}

// Sets the manager's compact flag, which prevents learning. The flag in the file is one bit and may
// be damaged, and learning without statistics would spoil a model. So the contents decide:
//
//   flag   some model has statistics   some model has counted messages   result
//   set    yes                         -                                 error: damaged flag
//   set    no                          -                                 compact
//   clear  yes                         -                                 full
//   clear  no                          yes                               compact
//   clear  no                          no                                full, and still empty
//
// Each counted message adds to the model's total of bags, so a full model that has counted messages
// has statistics. A compact container is written without any statistics.
void settle_compact_form(zeManager& manager, const std::vector<zeNode*>& nodes) {
    bool is_any_with_statistics = false;
    bool has_counted = false;
    for (zeNode* const node : nodes) {
        const auto* const matcher = dynamic_cast<const zeStat_matcher*>(node->m_classifier);
        if (matcher == nullptr) {
            continue;
        }
        const zeStat_storage& storage = *matcher->m_storage;
        const bool is_with_statistics = has_statistics(storage);
        if (manager.m_compact && is_with_statistics) {
            zandrel::detail::RaiseDamagedItem("compact flag", storage.m_id);
        }
        is_any_with_statistics = is_any_with_statistics || is_with_statistics;
        has_counted = has_counted || storage.m_num_msgs > 0;
    }
    manager.m_compact = manager.m_compact || (has_counted && !is_any_with_statistics);
}

}  // namespace

void zeIO::LoadKC(const qtString& file, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    const qtPtrLight<zeIO> alive = m_manager->m_io;  // a failed load resets m_io
    const zandrel::detail::Open_package open(m_pack);
    OpenRead(file, *mode);
    LoadOpened(progress);
}

void zeIO::LoadKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    const qtPtrLight<zeIO> alive = m_manager->m_io;  // a failed load resets m_io
    const zandrel::detail::Open_package open(m_pack);
    m_io_mode = KcIoMode::DIRECT_IO;
    mode->io_mode = KcIoMode::DIRECT_IO;
    m_pack.Open(buffer, 'r');
    IdentifyOpened(*mode);
    LoadOpened(progress);
}

void zeIO::LoadOpened(CTProgress* progress) {
    Kept_settings kept(*m_manager);
    try {
        LoadClassifiers(progress);
        m_pack.Close();
        m_for_classifying = false;
    } catch (...) {
        m_manager->Release();
        kept.put_back();
        throw;
    }
}

void zeIO::LoadClassifiers(CTProgress* progress) {
    const zandrel::detail::Progress steps(progress);
    steps.set_total(m_pack.GetIndexSize());
    LoadManager();
    const std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(m_manager->m_root);
    steps.set_total(nodes.size() + 1);
    steps.step();
    for (zeNode* const node : nodes) {
        LoadClassifier(node);
        steps.step();
    }
    zandrel::detail::RequireTrees(*m_manager);
    settle_compact_form(*m_manager, nodes);
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
