// Reads a container: first the manager with the trees, then the classifiers with their models, then
// the checks that need all of them. If a step raises, the manager is emptied and gets its earlier
// settings back.
//
// In cached form, statistical classifiers remain in the file until they are needed. So a check that
// needs all of them is replaced by one of each classifier when it is read.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
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

// Puts the version of the manager's records back if a load fails: opening a file has set it.
class Kept_version {
public:
    explicit Kept_version(zeManager& manager) : m_manager(manager), m_version(manager.m_version) {}

    Kept_version(const Kept_version&) = delete;
    Kept_version& operator=(const Kept_version&) = delete;

    ~Kept_version() {
        if (!m_is_loaded) {
            m_manager.m_version = m_version;
        }
    }

    void set_loaded() noexcept { m_is_loaded = true; }

private:
    zeManager& m_manager;
    unsigned short m_version;
    bool m_is_loaded = false;
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

// A container whose flag says compact has no model with statistics.
void require_compact_as_marked(const zeManager& manager, const zeStat_storage& storage) {
    if (manager.m_compact && has_statistics(storage)) {
        zandrel::detail::RaiseDamagedItem("compact flag", storage.m_id);
    }
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
        require_compact_as_marked(manager, storage);
        is_any_with_statistics = is_any_with_statistics || has_statistics(storage);
        has_counted = has_counted || storage.m_num_msgs > 0;
    }
    manager.m_compact = manager.m_compact || (has_counted && !is_any_with_statistics);
}

[[noreturn]] void refuse_classifier(zeManager& manager, zeBase* object) {
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): LoadObject returns an object or raises
    const unsigned int id = object->m_id;
    manager.Release(object);
    zandrel::detail::RaiseWithoutNode(id);
}

}  // namespace

void zeIO::LoadKC(const qtString& file, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    const qtPtrLight<zeIO> alive = m_manager->m_io;  // a failed load resets m_io
    LeaveCachedForm();
    const zandrel::detail::Open_package open(m_pack);
    Kept_version kept(*m_manager);
    OpenRead(file, *mode);
    ZANDREL_ASSERT(m_io_mode != KcIoMode::AUTO_IO, "m_io_mode != KcIoMode::AUTO_IO");
    LoadOpened(progress);
    kept.set_loaded();
}

void zeIO::LoadKC(qtPtr<qtBuffer>& buffer, KcIoMode* mode, CTProgress* progress) {
    ZANDREL_ASSERT(m_manager->m_io.get() == this, "m_manager->m_io.get() == this");
    const qtPtrLight<zeIO> alive = m_manager->m_io;  // a failed load resets m_io
    LeaveCachedForm();
    const zandrel::detail::Open_package open(m_pack);
    Kept_version kept(*m_manager);
    m_io_mode = KcIoMode::DIRECT_IO;
    mode->io_mode = KcIoMode::DIRECT_IO;
    m_pack.Open(buffer, 'r');
    IdentifyPlain(*mode);
    LoadOpened(progress);
    kept.set_loaded();
}

// The file in cached form is closed before the manager is emptied, so that nothing is written.
template <class Load>
void zeIO::LoadOrEmpty(Load&& load) {
    Kept_settings kept(*m_manager);
    try {
        load();
    } catch (...) {
        AbandonCache();
        m_manager->Release();
        kept.put_back();
        throw;
    }
}

void zeIO::LoadOpened(CTProgress* progress) {
    LoadOrEmpty([this, progress] {
        LoadClassifiers(progress);
        if (ReadOnDemand() == 0) {
            m_pack.Close();
            m_for_classifying = false;
        }
    });
}

// Upgrades the open file by reading it, as LoadOpened reads one.
void zeIO::UpgradeOpened(KcIoMode& mode) {
    LoadOrEmpty([this, &mode] {
        m_read_only = false;
        ConvertCachedKc(mode);
    });
}

unsigned int zeIO::ItemCount() const {
    return ReadOnDemand() == 0 ? m_pack.GetIndexSize() : m_cache_pack->GetIndexSize();
}

void zeIO::LoadClassifiers(CTProgress* progress) {
    const zandrel::detail::Progress steps(progress);
    steps.set_total(ItemCount());
    LoadManager();
    const std::vector<zeNode*> nodes = zandrel::detail::classifier_nodes(m_manager->m_root);
    steps.set_total(nodes.size() + 1);
    steps.step();
    for (zeNode* const node : nodes) {
        if (ReadOnDemand() == 0 || node->m_classifier_type != ZE_STAT) {
            LoadClassifier(node);
        }
        steps.step();
    }
    zandrel::detail::RequireTrees(*m_manager);
    if (ReadOnDemand() == 0) {
        settle_compact_form(*m_manager, nodes);
    }
    steps.end();
}

void zeIO::LoadClassifier(zeNode* node) {
    zeBase* const object = LoadObject(node->m_classifier_id, nullptr);
    auto* const classifier = dynamic_cast<zeClassifier*>(object);
    if (classifier == nullptr || classifier->m_node != node) {
        refuse_classifier(*m_manager, object);
    }
    m_manager->m_physical_tree->set_classifier(node, classifier);
    if (ReadOnDemand() != 0) {
        classifier->m_dirty = false;  // Reading its rules has marked a switcher as changed.
    }
}

// Reads a statistical classifier that the tree needs.
zeBase* zeIO::LoadCached(zeNode* node) {
    zeBase* const object = LoadObject(node->m_classifier_id, nullptr);
    auto* const matcher = dynamic_cast<zeStat_matcher*>(object);
    if (matcher == nullptr || matcher->m_node != node) {
        refuse_classifier(*m_manager, object);
    }
    try {
        require_compact_as_marked(*m_manager, *matcher->m_storage);
        zandrel::detail::RequireCategories(*node, *matcher);
    } catch (...) {
        m_manager->Release(object);
        throw;
    }
    return object;
}
