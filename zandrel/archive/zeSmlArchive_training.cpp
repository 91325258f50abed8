// How an archive trains a container. `Learn` first learns and then deletes, so that a new message
// is learned even if it is not kept. `TrainKc` first deletes, so that it trains exactly with the
// messages that remain: the reserved ones and the newest ones. Both end with the binding: the
// container and the archive get the same time, and the archive the container's id.
#include "zandrel/archive/zeSmlArchive.h"

#include <cstdint>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

void zeSmlArchive::RequireMatch(const zeManager& manager) const {
    if (m_manager.kc_id != manager.m_config.kc_id ||
        m_manager.kc_time != manager.m_config.last_trained) {
        throw qtX<zeSmlArchive>(7, "Kc and SmlArchive do not match");
    }
}

// The difference is signed: after a deletion of the newest messages it may be below 0.
void zeSmlArchive::RequireNewSmls(const zeManager& manager) const {
    std::int64_t count = 0;
    if (!m_manager.sml_dates.empty()) {
        count = std::int64_t{m_manager.sml_dates.rbegin()->first} - m_manager.last_learned_sml;
    }
    if (count < std::int64_t{manager.m_config.activate_feedback}) {
        throw qtX<zeSmlArchive>(8, "Not enough new smls present in archive");
    }
}

void zeSmlArchive::DeleteByMinimalSize() {
    std::vector<unsigned int> list;
    GetDeleteListByMinimalSize(list);
    for (const unsigned int number : list) {
        DelSml(number);
    }
}

void zeSmlArchive::Bind(zeManager& manager) {
    qtTimeDate now;
    now.SetNowTime();
    manager.m_config.last_trained = now;
    manager.m_modified = true;
    m_manager.kc_time = now;
    m_manager.kc_id = manager.m_config.kc_id;
    m_manager.modified = true;
}

void zeSmlArchive::FinishTraining(zeManager& manager) {
    Bind(manager);
    Renumber();
    FlushArchive(true);
}

void zeSmlArchive::Learn(qtPtrLight<zeManager>& manager, bool check_match, bool check_new,
                         CTProgress* progress, bool flag) {
    static_cast<void>(File());  // nothing is learned from a closed archive
    if (check_match) {
        RequireMatch(*manager);
    }
    if (check_new) {
        RequireNewSmls(*manager);
    }
    std::vector<unsigned int> list;
    GetLearningListByNewSmls(list);
    if (list.empty()) {
        throw qtX<zeSmlArchive>(8, "No new smls in archive");
    }
    zeMemoryCorpus corpus;
    for (const unsigned int number : list) {
        qtPtrLight<zeMsg> msg = StoredSml(number);
        corpus.add_msg(msg);
    }
    // Before the view, which makes a node for each unknown label: a container without a root
    // remains unchanged.
    const qtPtrLight<zeWorkflow> workflow = manager->GetWorkflow();
    zeCorpus_view view(&corpus);
    view.add_all_msgs(manager.get());
    workflow->learn(view, progress, flag, true);
    m_manager.modified = true;
    m_manager.last_learned_sml = list.back();
    DeleteByMinimalSize();
    FinishTraining(*manager);
}

void zeSmlArchive::TrainKc(qtPtrLight<zeManager>& manager, bool rebuild, bool check_match,
                           bool check_new, CTProgress* progress, bool flag) {
    static_cast<void>(File());  // nothing is trained from a closed archive
    if (check_match && !rebuild) {
        RequireMatch(*manager);
    }
    if (check_new) {
        RequireNewSmls(*manager);
    }
    DeleteByMinimalSize();
    std::vector<unsigned int> list;
    list.reserve(m_manager.sml_dates.size());
    for (const auto& entry : m_manager.sml_dates) {
        list.push_back(entry.first);
    }
    if (list.empty()) {
        throw qtX<zeSmlArchive>(8, "No smls to train");
    }
    zeMemoryCorpus corpus;
    MakeTrainingCorpus(list, corpus, kRecursion);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(manager.get());
    WorkflowToTrain(*manager, rebuild)->train(view, rebuild, progress, flag);
    m_manager.modified = true;
    m_manager.last_learned_sml = list.back();
    FinishTraining(*manager);
}

qtPtrLight<zeWorkflow> zeSmlArchive::WorkflowToTrain(zeManager& manager, bool rebuild) {
    if (rebuild) {
        Concept name = Concept::insert(manager.m_config.kc_name);
        return manager.InitWorkflow(name);
    }
    qtPtrLight<zeWorkflow> workflow = manager.GetWorkflow();
    workflow->clear_statistics(nullptr, nullptr);
    return workflow;
}

void zeSmlArchive::CountMatureCategories(double& mature, double& fullness,
                                         unsigned int category_count) const {
    const auto known = static_cast<unsigned int>(m_manager.category_info.size());
    const auto categories = static_cast<float>(category_count == 0 ? known : category_count);
    mature = 0.0;
    fullness = 0.0;
    if (categories == 0.0F || m_manager.sml_dates.empty()) {
        return;
    }
    unsigned int mature_count = 0;
    for (const auto& entry : m_manager.category_info) {
        if (entry.second.reserved.size() >= m_manager.cat_reserved_size) {
            ++mature_count;
        }
    }
    // Each number becomes a float first, so a minimal size of 0 gives infinity.
    const float filled = static_cast<float>(m_manager.sml_dates.size()) * 100.0F /
                         (categories * static_cast<float>(m_manager.cat_minimal_size));
    const float matured = static_cast<float>(mature_count) * 100.0F / categories;
    fullness = static_cast<double>(filled);
    mature = static_cast<double>(matured);
}
